#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include <trelis/segment/segment_volume.h>

namespace trelis::detail {

/// The partial volumes of a structure, plane by plane, and of the cells into which its voxels are
/// divided in-plane. A voxel is covered by value / 255. One below 128 counts only where one of its
/// eight neighbours in the plane is inside: clean-up operations leave 127 in what they remove.
/// Refers to its segment.
class PartialVolumeCells {
  public:
    /// The voxels that can count: first to end - 1 on each axis.
    struct Box {
        int xFirst, yFirst, zFirst;
        int xEnd, yEnd, zEnd;
    };

    /// Steps per voxel.
    PartialVolumeCells(const NSegment::SegmentVolume& structure, int stepsX, int stepsY);

    const Box& box() const { return box_; }

    /// Makes plane z of the box the one that is read.
    void load(int z);

    /// The covered fraction of a voxel of the box.
    double fraction(int x, int y) const { return fractionAt(values_.data() + index(x, y)); }

    /// The covered fractions of the cells of a voxel, x fastest; their mean is `fraction(x, y)`.
    /// The boundary is a straight line across the gradient of the 3 x 3 voxels around, placed where
    /// it cuts off the fraction, as in the volume-of-fluid method of Youngs (1982). Valid until the
    /// next call.
    std::span<const double> cells(int x, int y);

  private:
    /// How far towards the inside a cell of a voxel lies.
    struct Depth {
        int depth;
        std::size_t cell;
    };

    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y - box_.yFirst + 1) * rowLength_ +
               static_cast<std::size_t>(x - box_.xFirst + 1);
    }
    double fractionAt(const unsigned char* voxel) const;
    void sortByDepth(const unsigned char* voxel);
    void fillDeepestFirst(double fraction);

    const NSegment::SegmentVolume& structure_;
    int stepsX_;
    int stepsY_;
    Box box_{};
    /// The values of the plane in the box and in a frame of one voxel around it.
    std::size_t rowLength_;
    std::vector<unsigned char> values_;
    std::vector<Depth> depths_;
    std::vector<double> cells_;
};

/// The sum of the partial volumes, mm3.
double partialVolume(const NSegment::SegmentVolume& structure);

}  // namespace trelis::detail
