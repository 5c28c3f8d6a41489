#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>
#include <zlib.h>

#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/nrrd_output.h>
#include <apps/trelis/report/printable.h>

namespace app::report {
namespace {

/// Writes gzip, always the same bytes for the same content.
class Compressor {
  public:
    Compressor() {
        constexpr int kGzip = 16 + MAX_WBITS;
        constexpr int kMemory = 8;
        if (deflateInit2(&stream_, Z_BEST_SPEED, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
            throw std::runtime_error("cannot compress a label map");
        }
    }
    ~Compressor() { deflateEnd(&stream_); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    void add(std::vector<unsigned char>& bytes, std::string& out) {
        stream_.next_in = bytes.data();
        stream_.avail_in = static_cast<uInt>(bytes.size());
        run(Z_NO_FLUSH, out);
    }
    void finish(std::string& out) {
        stream_.avail_in = 0;
        run(Z_FINISH, out);
    }

  private:
    void run(int flush, std::string& out) {
        constexpr std::size_t kChunk = 1U << 16U;
        do {
            const std::size_t before = out.size();
            out.resize(before + kChunk);
            stream_.next_out = reinterpret_cast<Bytef*>(out.data() + before);
            stream_.avail_out = kChunk;
            deflate(&stream_, flush);
            out.resize(out.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    }

    z_stream stream_{};
};

VoxelBox grown(const VoxelBox& box, const NSegment::SegmentVolume& segment) {
    const int sizes[3] = {segment.xsize(), segment.ysize(), segment.zsize()};
    VoxelBox result{};
    for (int axis = 0; axis < 3; ++axis) {
        result.low[axis] = std::max(box.low[axis] - 1, 0);
        result.high[axis] = std::min(box.high[axis] + 1, sizes[axis] - 1);
    }
    return result;
}

/// Writes 0 or 1 for the voxels of a row from `first` on.
void labelRow(const NSegment::SegmentVolume& segment, int first, int y, int z,
              unsigned char* labels, unsigned char* end) {
    auto voxel = segment.GetConstSpanX(y, z).begin() + first;
    while (labels != end) {
        const auto values = voxel.valuesToCellEnd();
        const auto count = std::min(values.size(), static_cast<std::size_t>(end - labels));
        for (std::size_t i = 0; i < count; ++i) {
            labels[i] = values[i] >= NSegment::SegmentVolume::crossingValue() ? 1 : 0;
        }
        labels += count;
        voxel += static_cast<std::ptrdiff_t>(count);
    }
}

std::string tripleOf(const Vector& v) { return fmt::format("({},{},{})", v.x, v.y, v.z); }

std::string header(const EvaluatedStructure& structure, const VoxelBox& box) {
    const FVoxelSpaceGeometry& place = structure.geometry;
    const Vector origin =
        place.VoxelToReal({static_cast<double>(box.low[0]), static_cast<double>(box.low[1]),
                           static_cast<double>(box.low[2])});
    const MMatrix& axes = place.GetTransform();
    std::string name = printable(structure.name);
    for (std::size_t at = 0; (at = name.find('\\', at)) != std::string::npos; at += 2) {
        name.insert(at, 1, '\\');
    }
    return fmt::format(
        "NRRD0005\n"
        "type: uint8\n"
        "dimension: 3\n"
        "space: left-posterior-superior\n"
        "sizes: {} {} {}\n"
        "space directions: {} {} {}\n"
        "kinds: domain domain domain\n"
        "space units: \"mm\" \"mm\" \"mm\"\n"
        "encoding: gzip\n"
        "space origin: {}\n"
        "name:={}\n"
        "colour:={}\n"
        "\n",
        box.high[0] - box.low[0] + 1, box.high[1] - box.low[1] + 1, box.high[2] - box.low[2] + 1,
        tripleOf(axes.TransformVector({place.xres(), 0.0, 0.0})),
        tripleOf(axes.TransformVector({0.0, place.yres(), 0.0})),
        tripleOf(axes.TransformVector({0.0, 0.0, place.zres()})), tripleOf(origin), name,
        hex(structure.colour));
}

}  // namespace

std::string nrrdOf(const EvaluatedStructure& structure, const std::optional<VoxelBox>& box) {
    const NSegment::SegmentVolume& segment = structure.segment;
    const VoxelBox crop = box ? grown(*box, segment) : VoxelBox{};
    std::string file = header(structure, crop);
    const auto count = [&](int axis) {
        return static_cast<std::size_t>(crop.high[axis]) -
               static_cast<std::size_t>(crop.low[axis]) + 1;
    };
    const std::size_t columns = count(0);
    const std::size_t rows = count(1);
    std::vector<unsigned char> plane(columns * rows, 0);
    Compressor compressor;
    for (int z = crop.low[2]; z <= crop.high[2]; ++z) {
        stopIfInterrupted();
        unsigned char* row = plane.data();
        for (int y = crop.low[1]; box && y <= crop.high[1]; ++y, row += columns) {
            labelRow(segment, crop.low[0], y, z, row, row + columns);
        }
        compressor.add(plane, file);
    }
    compressor.finish(file);
    return file;
}

}  // namespace app::report
