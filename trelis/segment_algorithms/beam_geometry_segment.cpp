#include <trelis/segment_algorithms/beam_geometry_segment.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace NSegmentAlgorithms {

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

/// Coordinates from `low` to `high`.
struct Interval {
    double low;
    double high;
};

SegmentVolume emptyOn(const FVoxelSpaceGeometry& grid) {
    return {grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(), grid.zres()};
}

/// The voxels that may hold something and half a voxel around them, in voxel coordinates; low above
/// high where there are none.
struct OccupiedBox {
    Interval axes[3];

    explicit OccupiedBox(const SegmentVolume& segment) {
        std::vector<char> marks[3];
        const int sizes[] = {segment.xsize(), segment.ysize(), segment.zsize()};
        for (int axis = 0; axis < 3; ++axis) {
            marks[axis].resize(static_cast<std::size_t>(std::max(sizes[axis], 0)));
        }
        segment.calculateBoundingArrays(marks[0], marks[1], marks[2]);
        for (int axis = 0; axis < 3; ++axis) {
            const std::vector<char>& m = marks[axis];
            const auto first = std::find(m.begin(), m.end(), char{1}) - m.begin();
            const auto last = m.rend() - std::find(m.rbegin(), m.rend(), char{1}) - 1;
            // Values fall to 0 on the way to the next voxel.
            axes[axis] = {std::max(static_cast<double>(first) - 1.0, -0.5),
                          std::min(static_cast<double>(last) + 1.0, sizes[axis] - 0.5)};
        }
    }

    Vector corner(int i) const {
        const auto end = [&](int axis) {
            return (i >> axis & 1) != 0 ? axes[axis].high : axes[axis].low;
        };
        return {end(0), end(1), end(2)};
    }
};

/// Cuts an interval of x to where p + x d is in the other one.
void cut(Interval& x, double p, double d, const Interval& inside) {
    if (d == 0.0) {
        if (p < inside.low || p > inside.high) {
            x.high = x.low - 1.0;
        }
        return;
    }
    const double toLow = (inside.low - p) / d;
    const double toHigh = (inside.high - p) / d;
    x.low = std::max(x.low, std::min(toLow, toHigh));
    x.high = std::min(x.high, std::max(toLow, toHigh));
}

/// The blend of the eight voxels around a position that is at most half a voxel outside the grid,
/// where the border voxels go on.
double sample(const SegmentVolume& segment, const Vector& p) {
    const auto place = [](double position, int size, int& voxel, int& next) {
        const double inGrid = std::clamp(position, 0.0, size - 1.0);
        voxel = static_cast<int>(inGrid);
        next = std::min(voxel + 1, size - 1);
        return inGrid - voxel;
    };
    int x[2];
    int y[2];
    int z[2];
    const double u = place(p.x, segment.xsize(), x[0], x[1]);
    const double v = place(p.y, segment.ysize(), y[0], y[1]);
    const double w = place(p.z, segment.zsize(), z[0], z[1]);
    const auto alongX = [&](int j, int k) {
        return segment.pixel(x[0], j, k) * (1.0 - u) + segment.pixel(x[1], j, k) * u;
    };
    const auto alongY = [&](int k) { return alongX(y[0], k) * (1.0 - v) + alongX(y[1], k) * v; };
    return alongY(z[0]) * (1.0 - w) + alongY(z[1]) * w;
}

/// The segment on another grid; what is outside its own counts as 0.
SegmentVolume resampled(const SegmentVolume& segment, const FVoxelSpaceGeometry& from,
                        const FVoxelSpaceGeometry& to) {
    SegmentVolume result = emptyOn(to);
    const OccupiedBox box(segment);
    const bool hasVoxels = segment.xsize() > 0 && segment.ysize() > 0 && segment.zsize() > 0;
    if (!hasVoxels || box.axes[0].low > box.axes[0].high) {
        return result;
    }
    const int sizes[] = {to.xsize(), to.ysize(), to.zsize()};
    int first[3];
    int last[3];
    for (int axis = 0; axis < 3; ++axis) {
        Interval range{1e300, -1e300};
        for (int i = 0; i < 8; ++i) {
            const Vector p = to.RealToVoxel(from.VoxelToReal(box.corner(i)));
            const double along = axis == 0 ? p.x : axis == 1 ? p.y : p.z;
            range = {std::min(range.low, along), std::max(range.high, along)};
        }
        first[axis] = static_cast<int>(std::ceil(std::clamp(range.low, 0.0, double(sizes[axis]))));
        last[axis] = static_cast<int>(std::floor(std::clamp(range.high, -1.0, sizes[axis] - 1.0)));
    }
    const auto position = [&](int x, int y, int z) {
        return from.RealToVoxel(to.VoxelToReal(Vector(x, y, z)));
    };
    const Vector step = position(1, 0, 0) - position(0, 0, 0);
    for (int z = first[2]; z <= last[2]; ++z) {
        for (int y = first[1]; y <= last[1]; ++y) {
            const Vector p = position(0, y, z);
            Interval x{static_cast<double>(first[0]), static_cast<double>(last[0])};
            cut(x, p.x, step.x, box.axes[0]);
            cut(x, p.y, step.y, box.axes[1]);
            cut(x, p.z, step.z, box.axes[2]);
            for (double i = std::ceil(x.low); i <= x.high; ++i) {
                const auto value = static_cast<int>(sample(segment, p + i * step) + 0.5);
                result.setPixel(static_cast<int>(i), y, z, value);
            }
        }
    }
    result.compact();
    return result;
}

}  // namespace

BeamGeometrySegment::BeamGeometrySegment(const SegmentVolume& segment,
                                         const FVoxelSpaceGeometry& beam,
                                         const MMatrix& segmentToReal)
    : original_(segmentToReal, segment.xsize(), segment.ysize(), segment.zsize(), segment.xres(),
                segment.yres(), segment.zres()),
      beam_(beam),
      segment_(resampled(segment, original_, beam_)) {}

void BeamGeometrySegment::Add3DMargins(const MarginContainer& margins) {
    Add3DMargins(AxisAligned3DMarginAdder(margins));
}

void BeamGeometrySegment::Add3DMargins(const AxisAligned3DMarginAdder& adder) {
    SegmentVolume result = emptyOn(beam_);
    SegmentVolume ramp = result;
    SegmentVolume sources = result;
    if (adder.GetKernelXSize() > 0) {
        adder.AddMarginsButDoNotCalculateKernel(segment_, result, ramp, sources);
    } else {
        AxisAligned3DMarginAdder prepared = adder;
        prepared.AddMargins(segment_, result, ramp, sources);
    }
    segment_ = std::move(result);
}

void BeamGeometrySegment::ConvertBackToOriginalGeometry(
    std::unique_ptr<SegmentVolume>& segment) const {
    segment = std::make_unique<SegmentVolume>(resampled(segment_, beam_, original_));
}

}  // namespace NSegmentAlgorithms
