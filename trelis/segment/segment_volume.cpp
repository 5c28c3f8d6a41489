#include <trelis/segment/segment_volume.h>

#include <algorithm>
#include <utility>

#include <trelis/segment/detail/cell_bytes.h>
#include <trelis/segment/detail/cell_walk.h>

namespace NSegment {

namespace {

int cellCount(int size, int cellSize) {
    return size < 1 ? 0 : size / cellSize + (size % cellSize != 0 ? 1 : 0);
}

/// An inclusive box of voxels that grows.
struct Box {
    int xmin, ymin, zmin;
    int xmax = 0;
    int ymax = 0;
    int zmax = 0;
    bool any = false;

    bool contains(const detail::CellBox& cell) const {
        return any && xmin <= cell.x && cell.x + cell.width - 1 <= xmax && ymin <= cell.y &&
               cell.y + cell.height - 1 <= ymax && zmin <= cell.z &&
               cell.z + cell.depth - 1 <= zmax;
    }

    void add(int x0, int x1, int y0, int y1, int z0, int z1) {
        xmin = std::min(xmin, x0);
        xmax = std::max(xmax, x1);
        ymin = std::min(ymin, y0);
        ymax = std::max(ymax, y1);
        zmin = std::min(zmin, z0);
        zmax = std::max(zmax, z1);
        any = true;
    }

    /// Takes in the inside voxels of an allocated cell.
    void addAllocated(const unsigned char* bytes, const detail::CellBox& cell) {
        unsigned char columns[VolumeCell::kRowBytes] = {};
        bool rows[VolumeCell::kSizeY] = {};
        bool planes[VolumeCell::kSizeZ] = {};
        for (int z = 0; z < cell.depth; ++z) {
            for (int y = 0; y < cell.height; ++y) {
                const unsigned char* row = bytes + SegmentVolume::offsetInCell(0, y, z);
                if (detail::hasInsideByte(row, VolumeCell::kRowBytes)) {
                    rows[y] = true;
                    planes[z] = true;
                    for (int x = 0; x < VolumeCell::kRowBytes; ++x) {
                        columns[x] = static_cast<unsigned char>(columns[x] | row[x]);
                    }
                }
            }
        }
        const auto isInside = [](unsigned char bits) {
            return bits >= SegmentVolume::crossingValue();
        };
        const auto isSet = [](bool set) { return set; };
        const auto first = [](const auto& marks, const auto& test) {
            return static_cast<int>(std::find_if(std::begin(marks), std::end(marks), test) -
                                    std::begin(marks));
        };
        const auto last = [](const auto& marks, const auto& test) {
            return static_cast<int>(std::rend(marks) -
                                    std::find_if(std::rbegin(marks), std::rend(marks), test) - 1);
        };
        if (last(planes, isSet) >= 0) {
            add(cell.x + first(columns, isInside), cell.x + last(columns, isInside),
                cell.y + first(rows, isSet), cell.y + last(rows, isSet),
                cell.z + first(planes, isSet), cell.z + last(planes, isSet));
        }
    }
};

}  // namespace

SegmentVolume::SegmentVolume(int xsize, int ysize, int zsize, double xres, double yres, double zres)
    : xres_(xres), yres_(yres), zres_(zres) {
    setSize(xsize, ysize, zsize);
}

void SegmentVolume::setSize(int x, int y, int z) {
    xsize_ = x;
    ysize_ = y;
    zsize_ = z;
    cellsX_ = cellCount(x, VolumeCell::kSizeX);
    cellsY_ = cellCount(y, VolumeCell::kSizeY);
    cellsZ_ = cellCount(z, VolumeCell::kSizeZ);
    const std::size_t count = static_cast<std::size_t>(cellsX_) *
                              static_cast<std::size_t>(cellsY_) * static_cast<std::size_t>(cellsZ_);
    cells_ = std::vector<VolumeCell>(count);
}

void swap(SegmentVolume& a, SegmentVolume& b) noexcept {
    std::swap(a.xsize_, b.xsize_);
    std::swap(a.ysize_, b.ysize_);
    std::swap(a.zsize_, b.zsize_);
    std::swap(a.xres_, b.xres_);
    std::swap(a.yres_, b.yres_);
    std::swap(a.zres_, b.zres_);
    std::swap(a.cellsX_, b.cellsX_);
    std::swap(a.cellsY_, b.cellsY_);
    std::swap(a.cellsZ_, b.cellsZ_);
    a.cells_.swap(b.cells_);
}

void SegmentVolume::assign(const SegmentVolume& other) {
    if (this == &other) {
        return;
    }
    if (!hasEqualSize(other)) {
        setSize(other.xsize_, other.ysize_, other.zsize_);
    }
    xres_ = other.xres_;
    yres_ = other.yres_;
    zres_ = other.zres_;
    std::copy(other.cells_.begin(), other.cells_.end(), cells_.begin());
}

void SegmentVolume::addToPixel(int x, int y, int z, int delta) {
    VolumeCell& target = cell(x, y, z);
    if (delta == 0 || target.full()) {
        return;
    }
    if (target.empty()) {
        target.allocate();
    }
    unsigned char& byte = target.data()[offsetInCell(x, y, z)];
    byte = static_cast<unsigned char>(byte + static_cast<unsigned>(delta));
}

bool SegmentVolume::IsEmpty() const {
    if (std::any_of(cells_.begin(), cells_.end(), [](const VolumeCell& c) { return c.full(); })) {
        return false;
    }
    return std::none_of(cells_.begin(), cells_.end(), [](const VolumeCell& c) {
        return c.allocated() && detail::hasInsideByte(c.data(), VolumeCell::kBytes);
    });
}

void SegmentVolume::clear() {
    for (VolumeCell& c : cells_) {
        c.clear();
    }
}

void SegmentVolume::compact() {
    for (VolumeCell& c : cells_) {
        c.compact();
    }
}

std::size_t SegmentVolume::calculateMemoryConsumption() const {
    constexpr std::size_t kFixedBytes = 64;
    constexpr std::size_t kBytesPerCell = 8;
    const auto allocated = static_cast<std::size_t>(std::count_if(
        cells_.begin(), cells_.end(), [](const VolumeCell& c) { return c.allocated(); }));
    return kFixedBytes + kBytesPerCell * cells_.size() + VolumeCell::kBytes * allocated;
}

void SegmentVolume::calculateBoundingArrays(std::vector<char>& xs, std::vector<char>& ys,
                                            std::vector<char>& zs) const {
    for (std::vector<char>* marks : {&xs, &ys, &zs}) {
        std::fill(marks->begin(), marks->end(), char{0});
    }
    detail::forEachCell(*this, [&](const detail::CellBox& box) {
        if (!cells_[box.index].empty()) {
            std::fill_n(xs.begin() + box.x, box.width, char{1});
            std::fill_n(ys.begin() + box.y, box.height, char{1});
            std::fill_n(zs.begin() + box.z, box.depth, char{1});
        }
    });
}

void SegmentVolume::GetBoundingBoxForIteration(int& xmin, int& ymin, int& zmin, int& xmax,
                                               int& ymax, int& zmax) const {
    Box box{xsize_, ysize_, zsize_};
    // Full cells first: allocated ones inside the box they span need not be read.
    detail::forEachCell(*this, [&](const detail::CellBox& c) {
        if (cells_[c.index].full()) {
            box.add(c.x, c.x + c.width - 1, c.y, c.y + c.height - 1, c.z, c.z + c.depth - 1);
        }
    });
    detail::forEachCell(*this, [&](const detail::CellBox& c) {
        if (cells_[c.index].allocated() && !box.contains(c)) {
            box.addAllocated(cells_[c.index].data(), c);
        }
    });
    xmin = box.xmin;
    ymin = box.ymin;
    zmin = box.zmin;
    xmax = box.any ? box.xmax : xsize_;
    ymax = box.any ? box.ymax : ysize_;
    zmax = box.any ? box.zmax : zsize_;
}

}  // namespace NSegment
