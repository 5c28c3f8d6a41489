#include <trelis/segment_algorithms/clean_up.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include <trelis/segment/detail/cell_walk.h>
#include <trelis/segment_algorithms/detail/labelled_runs.h>

namespace NSegmentAlgorithms {

namespace {

using detail::LabelledRun;
using detail::LabelledRuns;
using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// By label: whether it is to be removed.
using Flags = std::vector<bool>;
using Points = std::vector<MVectorTemplate<double>>;

/// The highest value that is outside.
constexpr int kRemoved = SegmentVolume::crossingValue() - 1;

std::size_t indexOf(int label) { return static_cast<std::size_t>(label); }

void removeRun(const LabelledRun& run, SegmentVolume& seg) {
    for (int x = run.begin; x < run.end;) {
        const int end = std::min(run.end, (x | VolumeCell::kMaskX) + 1);
        VolumeCell& cell = seg.Cells()[seg.cellIndex(x, run.y, run.z)];
        cell.allocateKeepingValues();
        std::memset(cell.data() + SegmentVolume::offsetInCell(x, run.y, run.z), kRemoved,
                    static_cast<std::size_t>(end - x));
        x = end;
    }
}

/// Removes from the planes zBegin <= z < zEnd the components whose labels flagsOf(runs) flags.
template <typename FlagsOf>
void cleanUp(int zBegin, int zEnd, SegmentVolume& seg, const FlagsOf& flagsOf) {
    const LabelledRuns runs(seg, zBegin, zEnd);
    const Flags remove = flagsOf(runs);
    runs.forEach([&](const LabelledRun& run) {
        if (remove[indexOf(run.label)]) {
            removeRun(run, seg);
        }
    });
    if (zBegin >= zEnd) {
        return;
    }
    NSegment::detail::forEachCellInLayers(
        seg, zBegin >> VolumeCell::kShiftZ, ((zEnd - 1) >> VolumeCell::kShiftZ) + 1,
        [&](const NSegment::detail::CellBox& box) { seg.Cells()[box.index].compact(); });
}

template <typename FlagsOf>
void cleanUpPlane(int z, SegmentVolume& seg, const FlagsOf& flagsOf) {
    cleanUp(z, z + 1, seg, flagsOf);
}

template <typename FlagsOf>
void cleanUpVolume(SegmentVolume& seg, const FlagsOf& flagsOf) {
    cleanUp(0, seg.zsize(), seg, flagsOf);
}

/// The number of voxels of each component; 0 for the background.
std::vector<std::int64_t> sizesOf(const LabelledRuns& runs) {
    std::vector<std::int64_t> sizes(indexOf(runs.labelCount()));
    runs.forEach([&](const LabelledRun& run) { sizes[indexOf(run.label)] += run.end - run.begin; });
    return sizes;
}

/// Flags all components but the n largest.
Flags allButLargest(const LabelledRuns& runs, int n) {
    const std::vector<std::int64_t> sizes = sizesOf(runs);
    std::vector<std::pair<std::int64_t, int>> ranking;
    for (int label = 1; label < runs.labelCount(); ++label) {
        ranking.emplace_back(sizes[indexOf(label)], label);
    }
    // Labels order what is equally large, so that every standard library keeps the same.
    std::sort(ranking.begin(), ranking.end());
    const std::size_t kept = std::min(static_cast<std::size_t>(std::max(n, 0)), ranking.size());
    Flags remove(sizes.size(), false);
    for (std::size_t i = 0; i < ranking.size() - kept; ++i) {
        remove[indexOf(ranking[i].second)] = true;
    }
    return remove;
}

/// Flags the components of fewer voxels than the limit, in voxels.
Flags smaller(const LabelledRuns& runs, double limit) {
    const std::vector<std::int64_t> sizes = sizesOf(runs);
    Flags remove(sizes.size(), false);
    for (std::size_t label = 1; label < sizes.size(); ++label) {
        remove[label] = limit > static_cast<double>(sizes[label]);
    }
    return remove;
}

/// As `smaller`, without the components that have a voxel on the border of the plane or, `inDepth`,
/// of the volume.
Flags smallerInside(const LabelledRuns& runs, double limit, bool inDepth) {
    Flags remove = smaller(runs, limit);
    const SegmentVolume& seg = runs.segment();
    runs.forEach([&](const LabelledRun& run) {
        if (run.begin == 0 || run.end == seg.xsize() || run.y == 0 || run.y == seg.ysize() - 1 ||
            (inDepth && (run.z == 0 || run.z == seg.zsize() - 1))) {
            remove[indexOf(run.label)] = false;
        }
    });
    return remove;
}

/// Flags the components that a point picks, or all others. The background has no runs to remove.
Flags picked(const LabelledRuns& runs, Points::const_iterator first, Points::const_iterator last,
             bool keep) {
    Flags remove(indexOf(runs.labelCount()), keep);
    for (auto point = first; point != last; ++point) {
        const int label = runs.labelAt(static_cast<int>(point->x), static_cast<int>(point->y),
                                       static_cast<int>(point->z));
        remove[indexOf(label)] = !keep;
    }
    return remove;
}

void cleanUpPicked2d(Points& points, SegmentVolume& seg, bool keep) {
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& a, const auto& b) { return a.z < b.z; });
    for (auto first = points.cbegin(); first != points.cend();) {
        const int z = static_cast<int>(first->z);
        const auto last =
            std::find_if(first + 1, points.cend(), [&](const auto& point) { return point.z != z; });
        cleanUpPlane(z, seg,
                     [&](const LabelledRuns& runs) { return picked(runs, first, last, keep); });
        first = last;
    }
}

void cleanUpPicked3d(const Points& points, SegmentVolume& seg, bool keep) {
    cleanUpVolume(seg, [&](const LabelledRuns& runs) {
        return picked(runs, points.begin(), points.end(), keep);
    });
}

double areaInVoxels(double area, const SegmentVolume& seg) {
    return area / (seg.yres() * seg.xres());
}

double volumeInVoxels(double volume, const SegmentVolume& seg) {
    return volume / (seg.yres() * seg.xres() * seg.zres());
}

}  // namespace

void RemoveSelectedLabels3d(std::vector<bool>& remove, QVolume<int>& labels, SegmentVolume& seg) {
    const QVolume<int>& label = labels;
    NSegment::detail::forEachCell(seg, [&](const NSegment::detail::CellBox& box) {
        VolumeCell& cell = seg.Cells()[box.index];
        for (int z = box.z; z < box.z + box.depth; ++z) {
            for (int y = box.y; y < box.y + box.height; ++y) {
                const int* const row = label.GetConstSpanX(y, z).begin();
                for (int x = box.x; x < box.x + box.width; ++x) {
                    if (remove[indexOf(row[x])]) {
                        cell.writeAndAllocate(SegmentVolume::offsetInCell(x, y, z), kRemoved);
                    }
                }
            }
        }
    });
    seg.compact();
}

void KeepNLargestSegments(int n, SegmentVolume& seg) {
    cleanUpVolume(seg, [&](const LabelledRuns& runs) { return allButLargest(runs, n); });
}

void KeepNLargestSegmentsInSlice(int z, int n, SegmentVolume& seg) {
    cleanUpPlane(z, seg, [&](const LabelledRuns& runs) { return allButLargest(runs, n); });
}

void KeepSelectedPart2d(Points& points, SegmentVolume& seg) { cleanUpPicked2d(points, seg, true); }

void KeepSelectedPart3d(Points& points, SegmentVolume& seg) { cleanUpPicked3d(points, seg, true); }

void RemoveSelectedSegment2d(Points& points, SegmentVolume& seg) {
    cleanUpPicked2d(points, seg, false);
}

void RemoveSelectedSegment3d(Points& points, SegmentVolume& seg) {
    cleanUpPicked3d(points, seg, false);
}

void RemoveSmallSegments2d(int z, double minArea, SegmentVolume& seg) {
    const double limit = areaInVoxels(minArea, seg);
    cleanUpPlane(z, seg, [&](const LabelledRuns& runs) { return smaller(runs, limit); });
}

void RemoveSmallSegments3d(double minVolume, SegmentVolume& seg) {
    const double limit = volumeInVoxels(minVolume, seg);
    cleanUpVolume(seg, [&](const LabelledRuns& runs) { return smaller(runs, limit); });
}

void RemoveSmallSegmentsNotOnBorder2d(int z, double minArea, SegmentVolume& seg) {
    const double limit = areaInVoxels(minArea, seg);
    cleanUpPlane(z, seg,
                 [&](const LabelledRuns& runs) { return smallerInside(runs, limit, false); });
}

void RemoveSmallSegmentsNotOnBorder3d(double minVolume, SegmentVolume& seg) {
    const double limit = volumeInVoxels(minVolume, seg);
    cleanUpVolume(seg, [&](const LabelledRuns& runs) { return smallerInside(runs, limit, true); });
}

}  // namespace NSegmentAlgorithms
