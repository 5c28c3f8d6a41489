#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <trelis/foundation/vector.h>
#include <trelis/segment/segment_volume.h>

namespace trelis::detail {

/// The values of a segment between its voxel centres, trilinear and on the 0 to 255 scale, with 0
/// beyond the grid; and what is known of them without looking at voxels. Refers to the segment,
/// which must not change. Concurrent reads are safe.
class SegmentField {
  public:
    explicit SegmentField(const NSegment::SegmentVolume& segment);

    /// Numbers the half voxels along an axis; even ones are voxel centres.
    using Sample = std::int64_t;

    /// The largest value on the half line from `source` through `target`, voxel coordinates; 0 when
    /// they are the same. It is read at every half voxel of the axis along which the line is
    /// steepest, and more finely round the largest of these values.
    ///
    /// `hint` is a sample to look at first, and becomes the one with the largest value; the result
    /// does not depend on it.
    double maximumAlong(const MVectorTemplate<double>& source,
                        const MVectorTemplate<double>& target, Sample& hint) const;

  private:
    using Position = std::array<double, 3>;
    using Index = std::array<int, 3>;

    /// What the lattice cubes that start in a cell are; their corners are in eight cells.
    enum class Region : unsigned char { Empty, Full, Mixed };

    class Line;
    struct Interval;

    void findBox();
    Region regionOfCells(const Index& cell) const;
    Region regionAt(const Index& cell) const;
    /// Where a line is in the box below.
    Interval withinBox(const Line& line) const;
    Index voxelAt(const Position& p) const;
    double valueAt(const Position& p, const Index& voxel) const;
    double valueAt(const Position& p) const { return valueAt(p, voxelAt(p)); }
    double pixelOr0(int x, int y, int z) const;
    /// The largest of some samples, up to the first of 255, and its place.
    double largestSample(const Line& line, Sample first, Sample last, Sample& place) const;
    /// A sample of 255 after one that is; lines beside this one are more likely to have 255 there.
    Sample furtherInside(const Line& line, Sample full, Sample last) const;
    /// The largest value near coordinate c, where `value` is.
    double refined(const Line& line, const Interval& range, double c, double value) const;

    const NSegment::SegmentVolume& segment_;
    // Beyond low_ < position < high_ all values are 0.
    Index low_{};
    Index high_{};
    // The cells in which the lattice cubes of this box start.
    Index firstCell_{};
    Index cellCounts_{};
    std::vector<Region> regions_;
};

}  // namespace trelis::detail
