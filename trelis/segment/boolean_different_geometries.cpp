#include <algorithm>
#include <cmath>
#include <limits>

#include <trelis/foundation/diagnostics.h>
#include <trelis/segment/boolean_operations.h>
#include <trelis/segment/detail/voxel_operation.h>
#include <trelis/segment/fixed_point_iterators.h>

namespace NSegmentAlgorithms {

namespace {

using NSegment::ConstSpanXIterator;
using NSegment::SegmentVolume;
using NSegment::SpanXIterator;
using NSegment::VolumeCell;
using NSegment::detail::boundsOf;
using NSegment::detail::Byte;
using NSegment::detail::Maximum;
using NSegment::detail::Minimum;
using NSegment::detail::MinimumWithComplement;
using Sampler = NSegment::SpanFixedPoint16BiLinearIteratorAlongXAxis;

/// The integer part of a value, 0 or below it, and the limit at and above that.
int truncated(double value, int limit) {
    return value > 0.0 ? static_cast<int>(std::min<double>(value, limit)) : 0;
}

/// How b lies over a along one axis.
class OverlaidAxis {
  public:
    /// `centred`: b is centred on a also when it is the larger.
    OverlaidAxis(int sizeA, double resolutionA, int sizeB, double resolutionB, bool centred)
        : last_(sizeA - 1), resolutionA_(resolutionA), resolutionB_(resolutionB) {
        const double extentA = sizeA * resolutionA;
        const double extentB = sizeB * resolutionB;
        if (extentA > extentB) {
            const double margin = (extentA - extentB) / 2;
            first_ = truncated(margin / resolutionA + 0.5, sizeA);
            last_ = truncated((margin + extentB) / resolutionA + 0.5, sizeA) - 1;
        } else if (centred) {
            offset_ = (extentB - extentA) / 2;
        }
    }

    /// The voxels of a that b covers, both inclusive; none when the last is below the first.
    int first() const { return first_; }
    int last() const { return last_; }

    /// Where the centre of a voxel of a is in b, in R-voxel coordinates.
    double position(int voxel) const {
        return (offset_ + (voxel - first_ + 0.5) * resolutionA_) / resolutionB_;
    }

  private:
    int first_ = 0;
    int last_;
    double offset_ = 0.0;
    double resolutionA_;
    double resolutionB_;
};

/// Combines `count` voxels of a row of a with samples of b into a row of zeros.
template <typename Operation>
void combineRow(ConstSpanXIterator a, Sampler b, SpanXIterator result, int count) {
    while (count > 0) {
        const auto valueA = static_cast<Byte>(*a);
        int run = std::min(count, a.pixelsOfConstantValue());
        const auto bounds = boundsOf<Operation>({valueA, valueA}, NSegment::detail::kAnyValue);
        Byte value = bounds.low;
        if (!bounds.areEqual()) {
            value = Operation::apply(valueA, static_cast<Byte>(*b));
            run = run > 1 ? std::min(run, b.stepsOfConstantValue()) : 1;
        }
        if (value != VolumeCell::minValue()) {
            std::fill_n(result, run, value);
        }
        a += run;
        b += run;
        result += run;
        count -= run;
    }
}

template <typename Operation>
void combineDifferentGeometries(const SegmentVolume& a, const SegmentVolume& b,
                                SegmentVolume& result) {
    if (&result == &a || &result == &b) {
        Crash(L"segments result and a or b are the same");
    }
    if (std::abs(b.xres()) < std::numeric_limits<double>::epsilon()) {
        Crash(L"x resolution of input segment is zero");
    }
    result.clear();
    const OverlaidAxis x(a.xsize(), a.xres(), b.xsize(), b.xres(), true);
    const OverlaidAxis y(a.ysize(), a.yres(), b.ysize(), b.yres(), false);
    const OverlaidAxis z(a.zsize(), a.zres(), b.zsize(), b.zres(), false);
    for (int plane = z.first(); plane <= z.last(); ++plane) {
        for (int row = y.first(); row <= y.last(); ++row) {
            const Sampler sampler(b, x.position(x.first()), y.position(row), z.position(plane),
                                  a.xres() / b.xres());
            combineRow<Operation>({a, x.first(), row, plane}, sampler,
                                  {result, x.first(), row, plane}, x.last() - x.first() + 1);
        }
    }
}

/// The operation on different grids, or `onOneGrid` where they are equal.
template <typename Operation>
void combineOverlaid(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result,
                     void (*onOneGrid)(const SegmentVolume&, const SegmentVolume&,
                                       SegmentVolume&)) {
    if (!a.hasEqualGeometry(result)) {
        Crash(L"non-uniform geometries in input segments 'a' and 'result'");
    }
    if (a.hasEqualGeometry(b)) {
        onOneGrid(a, b, result);
    } else {
        combineDifferentGeometries<Operation>(a, b, result);
    }
}

}  // namespace

void UnionDifferentGeometries(const SegmentVolume& a, const SegmentVolume& b,
                              SegmentVolume& result) {
    combineOverlaid<Maximum>(a, b, result, Union);
}

void IntersectionDifferentGeometries(const SegmentVolume& a, const SegmentVolume& b,
                                     SegmentVolume& result) {
    combineOverlaid<Minimum>(a, b, result, Intersection);
}

void SubtractDifferentGeometries(const SegmentVolume& a, const SegmentVolume& b,
                                 SegmentVolume& result) {
    combineOverlaid<MinimumWithComplement>(a, b, result, Subtract);
}

}  // namespace NSegmentAlgorithms
