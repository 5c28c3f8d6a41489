#include <trelis/segment_algorithms/margin_adder.h>

#include <algorithm>
#include <cmath>

#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/segment_algorithms/detail/boundary_voxels.h>
#include <trelis/segment_algorithms/detail/grow.h>
#include <trelis/segment_algorithms/detail/soft_ellipsoid.h>
#include <trelis/segment_algorithms/detail/stamper.h>

namespace NSegmentAlgorithms {

namespace {

using detail::BoundaryVoxel;
using detail::Byte;
using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

/// Millimetres.
constexpr double kZeroTolerance = 1e-6;

/// The ramp: its value at the centre, what it falls by along a semi-axis, and its value, before
/// rounding, on the ellipsoid.
constexpr int kCentreValue = 191;
constexpr double kGradient = 64.0;
constexpr double kSurfaceValue = 127.5;
constexpr int kSurface = 128;
constexpr int kMaximum = 255;

/// The largest shift for how far the surface passes a voxel.
constexpr int kLargestShift = 127;

/// In semi-axes, where the ramp is 0.
constexpr double kRampEnd = 3.0;

/// A kernel value raised by the weight less 1.
struct Shifted {
    static Byte apply(Byte weight, Byte kernel) {
        const int sum = kernel + weight - 1;
        const int limited = sum < kMaximum ? sum : kMaximum;
        return static_cast<Byte>(kernel > 0 ? limited : 0);
    }
};

FVoxelSpaceGeometry gridOf(const SegmentVolume& segment) {
    return {MMatrix(),      segment.xsize(), segment.ysize(), segment.zsize(),
            segment.xres(), segment.yres(),  segment.zres()};
}

bool isZero(double millimetres) { return trelis::EpsilonZero(millimetres, kZeroTolerance); }

int clampToByte(double value) { return static_cast<int>(std::clamp(value, 0.0, double{kMaximum})); }

/// The difference along an axis to the neighbour that differs more; what is not there does not.
double steepest(int value, int low, int high) {
    return std::abs(value - low) > std::abs(high - value) ? value - low : high - value;
}

void emptyOnGridOf(const SegmentVolume& in, SegmentVolume& segment) {
    segment = SegmentVolume(in.xsize(), in.ysize(), in.zsize(), in.xres(), in.yres(), in.zres());
}

}  // namespace

AxisAligned3DMarginAdder::AxisAligned3DMarginAdder(const MarginContainer& margins)
    : margins_(margins),
      geometry_(MMatrix(), 0, 0, 0, 1.0, 1.0, 1.0),
      steps_{Vector::P_X, Vector::P_Y, Vector::P_Z} {}

AxisAligned3DMarginAdder::AxisAligned3DMarginAdder(const MarginContainer& margins,
                                                   const FVoxelSpaceGeometry& source,
                                                   const FVoxelSpaceGeometry& target,
                                                   const MMatrix& sourceToTarget)
    : margins_(margins), geometry_(target), isProjected_(true), toMargins_(sourceToTarget) {
    toMargins_.InvertTransform();
    toMargins_.InverseCombineTransform(source.GetTransform());
    CalculateProjected2DKernel();
}

void AxisAligned3DMarginAdder::InitializeKernel(int xsize, int ysize, int zsize) {
    sizes_[0] = xsize;
    sizes_[1] = ysize;
    sizes_[2] = zsize;
    kernel_.assign(static_cast<std::size_t>(xsize) * static_cast<std::size_t>(ysize) *
                       static_cast<std::size_t>(zsize),
                   0);
}

void AxisAligned3DMarginAdder::CalculateKernel() {
    for (int axis = 0; axis < 3; ++axis) {
        steps_[axis] = geometry_.GetTransformRVoxelToReal().GetVector(axis);
    }
    calculateKernel("AxisAligned3DMarginAdder::CalculateKernel");
}

void AxisAligned3DMarginAdder::CalculateProjected2DKernel() {
    for (int axis = 0; axis < 3; ++axis) {
        steps_[axis] =
            toMargins_.TransformVector(geometry_.GetTransformRVoxelToReal().GetVector(axis));
    }
    calculateKernel("AxisAligned3DMarginAdder::CalculateProjected2DKernel");
}

/// The margins of the sides that a direction faces.
Vector AxisAligned3DMarginAdder::semiAxesTowards(const Vector& direction) const {
    const auto facing = [&](int axis, double d) {
        return d < 0.0 ? margins_.low(axis) : margins_.high(axis);
    };
    return {facing(0, direction.x), facing(1, direction.y), facing(2, direction.z)};
}

/// The largest product of the direction with a point of the ellipsoid.
double AxisAligned3DMarginAdder::supportOf(const Vector& direction) const {
    const Vector m = semiAxesTowards(direction);
    return Vector(m.x * direction.x, m.y * direction.y, m.z * direction.z).Length();
}

void AxisAligned3DMarginAdder::calculateKernel(const char* function) {
    const MarginContainer& m = margins_;
    detail::requireNotNegative(
        {{m.low(0), m.high(0)}, {m.low(1), m.high(1)}, {m.low(2), m.high(2)}}, function);
    int reach[3];
    for (int axis = 0; axis < 3; ++axis) {
        const double voxel = steps_[axis].Length();
        const Vector direction = steps_[axis] * (1.0 / voxel);
        const double margin = std::max(supportOf(direction), supportOf(-direction)) / voxel;
        reach[axis] = isZero(margin * voxel)
                          ? 0
                          : static_cast<int>(std::ceil(std::min(kRampEnd * margin, margin + 1.0)));
    }
    InitializeKernel(2 * reach[0] + 1, 2 * reach[1] + 1, 2 * reach[2] + 1);
    for (int z = -reach[2]; z <= reach[2]; ++z) {
        for (int y = -reach[1]; y <= reach[1]; ++y) {
            for (int x = -reach[0]; x <= reach[0]; ++x) {
                SetKernelPixel(
                    x + reach[0], y + reach[1], z + reach[2],
                    rampAt(double(x) * steps_[0] + double(y) * steps_[1] + double(z) * steps_[2]));
            }
        }
    }
}

/// The kernel value at an offset along the axes of the margins.
int AxisAligned3DMarginAdder::rampAt(const Vector& offset) const {
    if (isZero(offset.Length())) {
        return kCentreValue;
    }
    const Vector semiAxes = semiAxesTowards(offset);
    const double offsets[] = {offset.x, offset.y, offset.z};
    const double margins[] = {semiAxes.x, semiAxes.y, semiAxes.z};
    double radiusSquared = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        if (!isZero(margins[axis])) {
            const double scaled = offsets[axis] / margins[axis];
            radiusSquared += scaled * scaled;
        } else if (!isZero(offsets[axis])) {
            return 0;
        }
    }
    const double radius = std::sqrt(radiusSquared);
    return clampToByte(kSurfaceValue - kGradient * (radius - 1.0) + 0.5);
}

/// By how much the ramp around a boundary voxel is to be raised, since its centre lies inside the
/// 128 surface: the surface is taken as the plane that the values around the voxel tell.
int AxisAligned3DMarginAdder::shiftOf(const SegmentVolume& in, int x, int y, int z) const {
    const int value = in.pixel(x, y, z);
    const auto pixel = [&](int i, int j, int k) {
        const bool isInGrid =
            i >= 0 && i < in.xsize() && j >= 0 && j < in.ysize() && k >= 0 && k < in.zsize();
        return isInGrid ? in.pixel(i, j, k) : value;
    };
    const double slopes[] = {steepest(value, pixel(x - 1, y, z), pixel(x + 1, y, z)),
                             steepest(value, pixel(x, y - 1, z), pixel(x, y + 1, z)),
                             steepest(value, pixel(x, y, z - 1), pixel(x, y, z + 1))};
    Vector outward;
    for (int axis = 0; axis < 3; ++axis) {
        outward -= (slopes[axis] / steps_[axis].LengthSquared()) * steps_[axis];
    }
    const double support = supportOf(outward);
    if (!(support > 0.0)) {
        return 0;
    }
    return static_cast<int>(
        std::min(kGradient * (value - kSurface) / support + 0.5, double{kLargestShift}));
}

/// What turns one step of the ramp into voxel values that rise by 255 within a voxel, along the
/// axis where the ramp is the steepest.
double AxisAligned3DMarginAdder::gain() const {
    double shortest = 0.0;
    for (const Vector& step : steps_) {
        const double voxel = step.LengthSquared();
        for (const double margin : {supportOf(step) / voxel, supportOf(-step) / voxel}) {
            if (margin > 0.0 && (shortest == 0.0 || margin < shortest)) {
                shortest = margin;
            }
        }
    }
    return kMaximum / kGradient * shortest;
}

void AxisAligned3DMarginAdder::AddMargins(const SegmentVolume& in, SegmentVolume& out,
                                          SegmentVolume& ramp, SegmentVolume& sources) {
    if (isProjected_) {
        CalculateProjected2DKernel();
    } else {
        geometry_ = gridOf(in);
        CalculateKernel();
    }
    AddMarginsButDoNotCalculateKernel(in, out, ramp, sources);
}

void AxisAligned3DMarginAdder::AddMarginsButDoNotCalculateKernel(const SegmentVolume& in,
                                                                 SegmentVolume& out,
                                                                 SegmentVolume& ramp,
                                                                 SegmentVolume& sources) const {
    const SegmentVolume* const segments[] = {&in, &out, &ramp, &sources};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < i; ++j) {
            detail::requireDistinct(*segments[i], *segments[j]);
        }
    }
    out = in;
    emptyOnGridOf(in, ramp);
    emptyOnGridOf(in, sources);
    if (kernel_.empty()) {
        out.compact();
        return;
    }
    detail::Kernel kernel;
    for (int axis = 0; axis < 3; ++axis) {
        const int low = (sizes_[axis] - 1) / 2;
        kernel.reach[axis] = {low, sizes_[axis] - 1 - low};
    }
    kernel.values = kernel_;
    // With a margin of 0 what is inside stays as it is, so that the structure stays on that side.
    const bool keepsInside = isZero(margins_.MinMargin());
    const double perStep = gain();
    Byte values[kMaximum + 1];
    for (int step = 0; step <= kMaximum; ++step) {
        values[step] = static_cast<Byte>(clampToByte(kSurface + perStep * (step - kSurface) + 0.5));
    }
    detail::BoundaryFinder finder(in);
    detail::Stamper<Shifted> stamper(kernel, finder.x(), finder.y());
    std::vector<Byte> row;
    const detail::Reach along = kernel.reach[2];
    const auto flush = [&](int z) {
        stamper.flush(z, [&](int y, int x, const Byte* steps, int count) {
            detail::raiseRow(ramp, x, y, z, steps, count, false);
            if (y < 0 || y >= in.ysize() || z < 0 || z >= in.zsize()) {
                return;
            }
            row.assign(static_cast<std::size_t>(count), 0);
            for (int i = std::max(0, -x); i < std::min(count, in.xsize() - x); ++i) {
                if (!keepsInside || in.pixel(x + i, y, z) < kSurface) {
                    row[static_cast<std::size_t>(i)] = values[steps[i]];
                }
            }
            detail::raiseRow(out, x, y, z, row.data(), count, false);
        });
    };
    std::vector<BoundaryVoxel> voxels;
    for (int z = finder.z().begin; z <= finder.z().end; ++z) {
        finder.find(z, voxels);
        voxels.erase(std::remove_if(voxels.begin(), voxels.end(),
                                    [](const BoundaryVoxel& v) { return v.value < kSurface; }),
                     voxels.end());
        for (BoundaryVoxel& voxel : voxels) {
            sources.setPixel(voxel.x, voxel.y, z, kMaximum);
            voxel.value = static_cast<Byte>(shiftOf(in, voxel.x, voxel.y, z) + 1);
        }
        stamper.add(z, voxels);
        flush(z - 1 - along.low);
    }
    for (int z = finder.z().end - along.low; z <= finder.z().end + along.high; ++z) {
        flush(z);
    }
    out.compact();
    ramp.compact();
    sources.compact();
}

void AxisAligned3DMarginAdder::ApplyKernel(int x, int y, int z, int shift,
                                           SegmentVolume& ramp) const {
    std::vector<Byte> row(static_cast<std::size_t>(sizes_[0]));
    for (int k = 0; k < sizes_[2]; ++k) {
        for (int j = 0; j < sizes_[1]; ++j) {
            for (int i = 0; i < sizes_[0]; ++i) {
                const int value = KernelPixel(i, j, k);
                row[static_cast<std::size_t>(i)] =
                    static_cast<Byte>(value > 0 ? std::clamp(value + shift, 0, kMaximum) : 0);
            }
            detail::raiseRow(ramp, x - (sizes_[0] - 1) / 2, y - (sizes_[1] - 1) / 2 + j,
                             z - (sizes_[2] - 1) / 2 + k, row.data(), sizes_[0], false);
        }
    }
}

}  // namespace NSegmentAlgorithms
