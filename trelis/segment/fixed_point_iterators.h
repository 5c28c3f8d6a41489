#pragma once

#include <cstdint>
#include <limits>

#include <trelis/export.h>
#include <trelis/segment/segment_volume.h>

namespace NSegment {

/// One coordinate of a walk along a line in unsigned 16.16 fixed point. Integral values are voxel
/// centres. A position below the first centre wraps to a large number and so is outside, as is the
/// last centre itself. Made for axes of up to 32,768 voxels: on longer ones large numbers can be
/// inside.
class FixedPointAxis {
  public:
    /// `start` in R-voxel coordinates: trunc(start 65536 + 0.5) - 32768, and the step rounded
    /// likewise, both modulo 2^32. What does not fit 64 bits before that makes the axis stand still
    /// at the largest position. `size` is the number of voxels along the axis.
    TRELIS_API FixedPointAxis(double start, double step, int size);

    void advance(int n) {
        position_ += static_cast<std::uint32_t>(step_) * static_cast<std::uint32_t>(n);
    }

    bool isInside() const { return position_ < limit_; }
    std::uint32_t position() const { return position_; }
    std::int32_t step() const { return step_; }
    /// (size - 1) 65536; the first position that is outside.
    std::uint32_t limit() const { return limit_; }
    int voxel() const { return static_cast<int>(position_ >> 16); }
    /// The fraction between the voxel and the next, of 2048.
    unsigned fraction11() const { return (position_ >> 5) & 2047U; }
    /// The same, of 128.
    unsigned fraction7() const { return (position_ >> 9) & 127U; }

  private:
    std::uint32_t position_ = std::numeric_limits<std::uint32_t>::max();
    std::int32_t step_ = 0;
    std::uint32_t limit_;
};

/// Walks along x at fixed y and z and reads bilinear values. Refers to its segment, which must not
/// change its size.
class SpanFixedPoint16BiLinearIteratorAlongXAxis {
  public:
    /// R-voxel coordinates and step; the plane is the integer part of z.
    TRELIS_API SpanFixedPoint16BiLinearIteratorAlongXAxis(const SegmentVolume& segment, double x,
                                                          double y, double z, double dx);

    /// The value here, 0 to 255, rounded; weights have 11 bits. 0 outside.
    TRELIS_API int operator*() const;

    SpanFixedPoint16BiLinearIteratorAlongXAxis& operator++() { return *this += 1; }
    SpanFixedPoint16BiLinearIteratorAlongXAxis& operator+=(int n) {
        x_.advance(n);
        return *this;
    }

    /// The number of whole steps, rounded down and at least 1, to the next cell border along x
    /// (backwards: to the start of the cell, or from beyond the end to the last voxel centre). 1 in
    /// the last row of a cell, in an allocated cell and for a step of 0. Steps after the last voxel
    /// centre of a cell already blend in the next cell: see `stepsOfConstantValue`.
    TRELIS_API int stepToCrossOver() const;

    /// For how many steps, this position included, the value is known to stay; at least 1.
    TRELIS_API int stepsOfConstantValue() const;

    /// 2 where x is outside, plus 1 where the row is.
    int isOutsideVolume() const { return (x_.isInside() ? 0 : 2) + (rowInRange_ ? 0 : 1); }

  private:
    const SegmentVolume* segment_;
    FixedPointAxis x_;
    FixedPointAxis y_;
    int plane_;
    bool rowInRange_;
};

/// Walks along a line in a plane and reads bilinear values. Refers to its segment, which must not
/// change its size.
class SpanFixedPoint16BiLinearIterator {
  public:
    /// R-voxel coordinates and steps; the plane is the integer part of z.
    TRELIS_API SpanFixedPoint16BiLinearIterator(const SegmentVolume& segment, double x, double y,
                                                double z, double dx, double dy);

    /// The value here, 0 to 255, rounded; weights have 11 bits. 0 outside.
    TRELIS_API int operator*() const;

    SpanFixedPoint16BiLinearIterator& operator++() { return *this += 1; }
    SpanFixedPoint16BiLinearIterator& operator+=(int n) {
        x_.advance(n);
        y_.advance(n);
        return *this;
    }

    /// As that of the trilinear iterator, in the plane.
    TRELIS_API int stepToCrossOver() const;

    /// For how many steps, this position included, the value is known to stay; at least 1.
    TRELIS_API int stepsOfConstantValue() const;

    /// 1 where x is at or above *twice* its limit (intended; reading gives 0 from the limit on),
    /// plus 1 where y is outside.
    int isOutsideVolume() const {
        const std::uint64_t doubledLimit = 2 * static_cast<std::uint64_t>(x_.limit());
        return (x_.position() >= doubledLimit ? 1 : 0) + (y_.isInside() ? 0 : 1);
    }

  private:
    const SegmentVolume* segment_;
    FixedPointAxis x_;
    FixedPointAxis y_;
    int plane_;
};

/// Walks along a line in space and reads trilinear values. Refers to its segment, which must not
/// change its size.
class SpanFixedPoint16TriLinearIterator {
  public:
    /// R-voxel coordinates and steps.
    TRELIS_API SpanFixedPoint16TriLinearIterator(const SegmentVolume& segment, double x, double y,
                                                 double z, double dx, double dy, double dz);

    /// The value here, 0 to 255, rounded; weights have 7 bits. 0 outside.
    TRELIS_API int operator*() const;

    SpanFixedPoint16TriLinearIterator& operator++() { return *this += 1; }
    SpanFixedPoint16TriLinearIterator& operator+=(int n) {
        x_.advance(n);
        y_.advance(n);
        z_.advance(n);
        return *this;
    }

    /// 1 in an allocated cell, or where 4 steps along an axis that moves lead into another cell or
    /// to the last voxel of a cell; else 4 where 12 steps do so, else 12. See
    /// `stepsOfConstantValue` for what may be skipped.
    TRELIS_API int stepToCrossOver() const;

    /// For how many steps, this position included, the value is known to stay; at least 1.
    TRELIS_API int stepsOfConstantValue() const;

    /// 1 where x is outside, plus 2 where y is, plus 4 where z is.
    int isOutsideVolume() const {
        return (x_.isInside() ? 0 : 1) + (y_.isInside() ? 0 : 2) + (z_.isInside() ? 0 : 4);
    }

  private:
    const SegmentVolume* segment_;
    FixedPointAxis x_;
    FixedPointAxis y_;
    FixedPointAxis z_;
};

}  // namespace NSegment
