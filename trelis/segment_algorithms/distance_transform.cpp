#include <trelis/segment_algorithms/distance_transform.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include <trelis/segment_algorithms/detail/inside_bits.h>
#include <trelis/segment_algorithms/detail/parabola_envelope.h>

namespace NSegmentAlgorithms {

namespace {

using detail::kBitsPerWord;
using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// A distance that equals the limit but for rounding is within it.
constexpr double kRounding = 3e-7;

/// Limits from here on, in millimetres, are none.
constexpr double kFarthest = 1e30;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The voxels from which distances are counted.
enum class Sites { kInside, kOutside };

/// One mark for each cell of a segment.
class CellMarks {
  public:
    explicit CellMarks(const SegmentVolume& segment)
        : sizes_{segment.superBlockSizeX(), segment.superBlockSizeY(), segment.superBlockSizeZ()},
          strides_{1, sizes_[0], sizes_[0] * sizes_[1]},
          marks_(static_cast<std::size_t>(sizes_[0]) * static_cast<std::size_t>(sizes_[1]) *
                 static_cast<std::size_t>(sizes_[2])) {}

    bool at(int x, int y, int z) const { return marks_[index(x, y, z)] != 0; }
    void mark(int x, int y, int z) { marks_[index(x, y, z)] = 1; }

    /// Marks the cells up to `reach` from a marked one along an axis, too.
    void widen(int axis, int reach) {
        const std::vector<char> before = marks_;
        for (std::size_t i = 0; i < marks_.size(); ++i) {
            if (before[i] != 0) {
                const int place = static_cast<int>(i) / strides_[axis] % sizes_[axis];
                const int first = std::max(-reach, -place);
                const int last = std::min(reach, sizes_[axis] - 1 - place);
                for (int step = first; step <= last; ++step) {
                    marks_[i + static_cast<std::size_t>(step) *
                                   static_cast<std::size_t>(strides_[axis])] = 1;
                }
            }
        }
    }

  private:
    std::size_t index(int x, int y, int z) const {
        return static_cast<std::size_t>(x) +
               static_cast<std::size_t>(strides_[1]) * static_cast<std::size_t>(y) +
               static_cast<std::size_t>(strides_[2]) * static_cast<std::size_t>(z);
    }

    int sizes_[3];
    int strides_[3];
    std::vector<char> marks_;
};

/// Whether there may be a step from a site to a voxel that is none into or out of the cell: it is
/// allocated, or full beside one that is not. Of such a step one voxel at least lies in such cells.
bool isAtSurface(const SegmentVolume& segment, int x, int y, int z) {
    const int sizes[] = {segment.superBlockSizeX(), segment.superBlockSizeY(),
                         segment.superBlockSizeZ()};
    const int strides[] = {1, sizes[0], sizes[0] * sizes[1]};
    const int place[] = {x, y, z};
    const VolumeCell* cell = segment.Cells() + (x + strides[1] * y + strides[2] * z);
    if (!cell->full()) {
        return cell->allocated();
    }
    for (int axis = 0; axis < 3; ++axis) {
        if ((place[axis] > 0 && !cell[-strides[axis]].full()) ||
            (place[axis] + 1 < sizes[axis] && !cell[strides[axis]].full())) {
            return true;
        }
    }
    return false;
}

/// Marks the cells that may hold voxels within the limit of the surface. All others are uniform.
CellMarks cellsNearSurface(const SegmentVolume& segment, double limit) {
    CellMarks marks(segment);
    for (int z = 0; z < segment.superBlockSizeZ(); ++z) {
        for (int y = 0; y < segment.superBlockSizeY(); ++y) {
            for (int x = 0; x < segment.superBlockSizeX(); ++x) {
                if (isAtSurface(segment, x, y, z)) {
                    marks.mark(x, y, z);
                }
            }
        }
    }
    const double cellSizes[] = {VolumeCell::kSizeX * segment.xres(),
                                VolumeCell::kSizeY * segment.yres(),
                                VolumeCell::kSizeZ * segment.zres()};
    const int counts[] = {segment.superBlockSizeX(), segment.superBlockSizeY(),
                          segment.superBlockSizeZ()};
    for (int axis = 0; axis < 3; ++axis) {
        const double reach = std::floor(limit / cellSizes[axis]) + 1.0;
        marks.widen(axis, reach < counts[axis] ? static_cast<int>(reach) : counts[axis]);
    }
    return marks;
}

/// Squares of distances, one axis after the other, in the cells near the surface. What lies between
/// a voxel and its site on the way through the axes is within the limit of the site as well, hence
/// in such cells: the stretches of them along a line can be worked on one by one.
class DistancePasses {
  public:
    DistancePasses(const SegmentVolume& segment, Sites sites, double limit, float* distances)
        : segment_(segment),
          isSiteBit_(sites == Sites::kInside),
          limit_(limit < kFarthest ? static_cast<float>(limit * (1.0 + kRounding)) : kInfinity),
          nearSurface_(cellsNearSurface(segment, limit)),
          distances_(distances),
          alongY_(segment.ysize(), segment.yres()),
          alongZ_(segment.zsize(), segment.zres()),
          insideBits_(static_cast<std::size_t>(detail::wordsPerRow(segment))) {}

    void run(FProgressReportingBody& progress) {
        const double total = static_cast<double>(segment_.zsize()) + segment_.ysize();
        for (int z = 0; z < segment_.zsize(); ++z) {
            progress.ReportProgress(z / total);
            planeHasSites_ = false;
            for (int y = 0; y < segment_.ysize(); ++y) {
                transformRow(y, z);
            }
            if (planeHasSites_) {
                transformColumns(z);
            }
        }
        for (int y = 0; y < segment_.ysize(); ++y) {
            progress.ReportProgress((segment_.zsize() + y) / total);
            transformDepths(y);
        }
    }

  private:
    float* at(int x, int y, int z) const {
        const auto row = static_cast<std::size_t>(segment_.ysize()) * static_cast<std::size_t>(z) +
                         static_cast<std::size_t>(y);
        return distances_ + row * static_cast<std::size_t>(segment_.xsize()) + x;
    }

    /// Calls visit(begin, end) for the stretches of marked cells along a line, in voxels.
    template <typename IsMarked, typename Visit>
    static void forEachStretch(int size, int shift, const IsMarked& isMarked, const Visit& visit) {
        const int cells = (size + (1 << shift) - 1) >> shift;
        for (int cell = 0; cell < cells;) {
            const bool marked = isMarked(cell);
            const int begin = cell;
            while (cell < cells && isMarked(cell) == marked) {
                ++cell;
            }
            visit(begin << shift, std::min(size, cell << shift), marked);
        }
    }

    void transformRow(int y, int z) {
        detail::insideBitsOfRow(segment_, y, z, insideBits_.data());
        const int cellY = y >> VolumeCell::kShiftY;
        const int cellZ = z >> VolumeCell::kShiftZ;
        forEachStretch(
            segment_.xsize(), VolumeCell::kShiftX,
            [&](int cell) { return nearSurface_.at(cell, cellY, cellZ); },
            [&](int begin, int end, bool marked) {
                if (marked) {
                    transformRowStretch(begin, end, y, z);
                } else {
                    // Far from the surface: no site near, or nothing but sites.
                    const bool full = segment_.Cells()[segment_.cellIndex(begin, y, z)].full();
                    std::fill(at(begin, y, z), at(end, y, z),
                              full == isSiteBit_ ? 0.0F : kInfinity);
                }
            });
    }

    void transformRowStretch(int begin, int end, int y, int z) {
        float* distances = at(0, y, z);
        for (int gap = begin; gap < end;) {
            const int site = nextWith(isSiteBit_, gap, end);
            planeHasSites_ = planeHasSites_ || site < end;
            fillGap(distances, gap, site, gap > begin, site < end);
            gap = nextWith(!isSiteBit_, site, end);
            std::fill(distances + site, distances + gap, 0.0F);
        }
    }

    /// The first voxel from x on, before `end`, whose bit of the row is set or not, else `end`.
    int nextWith(bool bit, int x, int end) const {
        while (x < end) {
            const std::uint64_t word = insideBits_[static_cast<std::size_t>(x / kBitsPerWord)];
            const int place = x % kBitsPerWord;
            const int skipped = std::countr_zero((bit ? word : ~word) >> place);
            if (skipped < kBitsPerWord) {
                return std::min(x + skipped, end);
            }
            x += kBitsPerWord - place;
        }
        return end;
    }

    /// The squares of distances between the sites begin - 1 and end, where these exist.
    void fillGap(float* distances, int begin, int end, bool siteBefore, bool siteAfter) const {
        if (!siteBefore && !siteAfter) {
            std::fill(distances + begin, distances + end, kInfinity);
            return;
        }
        const int middle = !siteAfter ? end : siteBefore ? begin + (end - begin + 1) / 2 : begin;
        for (int x = begin; x < middle; ++x) {
            distances[x] = squareOfSteps(x - begin + 1);
        }
        for (int x = middle; x < end; ++x) {
            distances[x] = squareOfSteps(end - x);
        }
    }

    float squareOfSteps(int steps) const {
        const double distance = steps * segment_.xres();
        return static_cast<float>(distance * distance);
    }

    void transformColumns(int z) {
        const int cellZ = z >> VolumeCell::kShiftZ;
        for (int cellX = 0; cellX < segment_.superBlockSizeX(); ++cellX) {
            forEachStretch(
                segment_.ysize(), VolumeCell::kShiftY,
                [&](int cell) { return nearSurface_.at(cellX, cell, cellZ); },
                [&](int begin, int end, bool marked) {
                    if (marked) {
                        transformLines(alongY_, cellX, at(0, begin, z), segment_.xsize(),
                                       end - begin, [](const float* squares, int width, float* to) {
                                           std::copy_n(squares, width, to);
                                       });
                    }
                });
        }
    }

    void transformDepths(int y) {
        const int cellY = y >> VolumeCell::kShiftY;
        for (int cellX = 0; cellX < segment_.superBlockSizeX(); ++cellX) {
            forEachStretch(
                segment_.zsize(), VolumeCell::kShiftZ,
                [&](int cell) { return nearSurface_.at(cellX, cellY, cell); },
                [&](int begin, int end, bool marked) {
                    if (marked) {
                        const std::ptrdiff_t plane = at(0, 0, 1) - at(0, 0, 0);
                        transformLines(
                            alongZ_, cellX, at(0, y, begin), plane, end - begin,
                            [limit = limit_](const float* squares, int width, float* to) {
                                for (int i = 0; i < width; ++i) {
                                    const float distance = std::sqrt(squares[i]);
                                    to[i] = distance <= limit ? distance : kInfinity;
                                }
                            });
                    }
                });
        }
    }

    /// Transforms the lines through the columns of a cell; `row` is where they begin.
    /// finish(squares, width, to) writes each row of the result.
    template <typename Finish>
    void transformLines(detail::ParabolaEnvelopes& envelopes, int cellX, float* row,
                        std::ptrdiff_t stride, int count, const Finish& finish) const {
        const int x = cellX * VolumeCell::kSizeX;
        const int width = std::min(VolumeCell::kSizeX, segment_.xsize() - x);
        float* values = row + x;
        int begin = count;
        int end = 0;
        for (int i = 0; i < count; ++i) {
            if (copyRow(values + i * stride, width, envelopes.row(i))) {
                begin = std::min(begin, i);
                end = i + 1;
            }
        }
        if (end > 0) {
            envelopes.build(width, begin, end, count);
            envelopes.evaluate(count, [&](int i, const float* squares) {
                finish(squares, width, values + i * stride);
            });
        }
    }

    /// Returns whether any of the values is finite.
    static bool copyRow(const float* from, int width, float* to) {
        std::uint32_t finite = 0;
        for (int column = 0; column < width; ++column) {
            to[column] = from[column];
            finite |= std::bit_cast<std::uint32_t>(from[column]) ^
                      std::bit_cast<std::uint32_t>(kInfinity);
        }
        return finite != 0;
    }

    const SegmentVolume& segment_;
    bool isSiteBit_;  ///< whether a set bit marks a site
    float limit_;
    CellMarks nearSurface_;
    float* distances_;
    detail::ParabolaEnvelopes alongY_;
    detail::ParabolaEnvelopes alongZ_;
    std::vector<std::uint64_t> insideBits_;  ///< of the row at hand
    bool planeHasSites_ = false;
};

void checkLimit(double limit, const char* message) {
    if (!(limit >= 0.0)) {
        throw std::invalid_argument(message);
    }
}

void transform(const SegmentVolume& seg, Sites sites, double limit, QVolume<float>& distances,
               FProgressReportingBody& progress) {
    distances.SetSize(seg.xsize(), seg.ysize(), seg.zsize());
    distances.SetResMM(seg.xres(), seg.yres(), seg.zres());
    if (distances.size() > 0) {
        DistancePasses(seg, sites, limit, distances.begin()).run(progress);
    }
}

}  // namespace

void DistanceTransform3d(const SegmentVolume& seg, double limit, QVolume<float>& distances,
                         FProgressReportingBody& progress) {
    checkLimit(limit, "NSegmentAlgorithms::DistanceTransform3d: the limit must be 0 or more");
    transform(seg, Sites::kInside, limit, distances, progress);
}

void SignedDistanceTransform3d(const SegmentVolume& seg, double limit, QVolume<float>& distances,
                               FProgressReportingBody& progress) {
    checkLimit(limit, "NSegmentAlgorithms::SignedDistanceTransform3d: the limit must be 0 or more");
    transform(seg, Sites::kInside, limit, distances, progress.SubRange(0.0, 0.5));
    QVolume<float> depths;
    transform(seg, Sites::kOutside, limit, depths, progress.SubRange(0.5, 1.0));
    std::transform(distances.begin(), distances.end(), depths.begin(), distances.begin(),
                   [](float distance, float depth) { return depth > 0.0F ? -depth : distance; });
}

}  // namespace NSegmentAlgorithms
