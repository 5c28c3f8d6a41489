#include <trelis/segment_algorithms/detail/grow.h>

#include <algorithm>
#include <vector>

#include <trelis/segment_algorithms/detail/boundary_voxels.h>
#include <trelis/segment_algorithms/detail/stamper.h>

namespace NSegmentAlgorithms::detail {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// A voxel value by a kernel value of 0 to 64, rounded.
struct Coverage {
    static Byte apply(Byte weight, Byte kernel) {
        return static_cast<Byte>((weight * kernel + 32) >> 6);
    }
};

Byte complementOf(Byte value) { return static_cast<Byte>(SegmentVolume::maxValue() - value); }

/// The boundary voxels that a growth stamps, `value` being their weight.
void findSources(BoundaryFinder& finder, int z, bool ofComplement,
                 std::vector<BoundaryVoxel>& sources) {
    finder.find(z, sources);
    if (ofComplement) {
        for (BoundaryVoxel& source : sources) {
            source.value = complementOf(source.value);
        }
    }
    sources.erase(std::remove_if(sources.begin(), sources.end(),
                                 [](const BoundaryVoxel& source) { return source.value == 0; }),
                  sources.end());
}

}  // namespace

void raiseRow(SegmentVolume& segment, int x, int y, int z, const Byte* values, int count,
              bool complement) {
    if (y < 0 || y >= segment.ysize() || z < 0 || z >= segment.zsize()) {
        return;
    }
    const int end = std::min(x + count, segment.xsize());
    for (int from = std::max(x, 0); from < end;) {
        const int to = std::min((from | VolumeCell::kMaskX) + 1, end);
        const Byte* part = values + (from - x);
        VolumeCell& cell = segment.Cells()[segment.cellIndex(from, y, z)];
        const bool isReached = complement ? cell.empty() : cell.full();
        if (!isReached &&
            (cell.allocated() ||
             std::any_of(part, part + (to - from), [](Byte value) { return value != 0; }))) {
            cell.allocateKeepingValues();
            Byte* row = cell.data() + SegmentVolume::offsetInCell(from, y, z);
            if (complement) {
                for (int i = 0; i < to - from; ++i) {
                    row[i] = std::min(row[i], complementOf(part[i]));
                }
            } else {
                for (int i = 0; i < to - from; ++i) {
                    row[i] = std::max(row[i], part[i]);
                }
            }
        }
        from = to;
    }
}

void grow(const SegmentVolume& in, const Growth& growth, int axes, int first, int last,
          SegmentVolume& out, FProgressReportingBody& progress, const char* function) {
    const SoftEllipsoid ellipsoid = ellipsoidOf(growth, in, axes, function);
    out.assign(in);
    BoundaryFinder finder(in, axes == 3);
    Stamper<Coverage> stamper(kernelOf(ellipsoid), finder.x(), finder.y());
    const Reach along = ellipsoid.reach[2];
    const auto flush = [&](int z) {
        stamper.flush(z, [&](int y, int x, const Byte* values, int count) {
            raiseRow(out, x, y, z, values, count, growth.ofComplement);
        });
    };
    std::vector<BoundaryVoxel> sources;
    for (int z = first; z <= last; ++z) {
        progress.ReportProgress(static_cast<double>(z - first) / (last - first + 1));
        findSources(finder, z, growth.ofComplement, sources);
        stamper.add(z, sources);
        flush(z - 1 - along.low);
    }
    if (first <= last) {
        stamper.add(last + 1, {});
        for (int z = last - along.low; z <= last + along.high; ++z) {
            flush(z);
        }
    }
    out.compact();
}

}  // namespace NSegmentAlgorithms::detail
