#include <trelis/segment_algorithms/margin_adder.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

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

/// In voxels; longer kernels fit no memory.
constexpr double kLongestReach = 1e6;

/// The ramp is made no steeper than that of a margin of so many voxels.
constexpr double kShortestForGain = 1.0;

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
        const double longest = std::max(supportOf(direction), supportOf(-direction));
        const double margin = isZero(longest) ? 0.0 : longest / voxel;
        detail::requireFiniteInVoxels(margin, function);
        const double ramp = std::ceil(std::min(kRampEnd * margin, margin + 1.0));
        if (ramp > kLongestReach) {
            throw std::bad_alloc();
        }
        reach[axis] = static_cast<int>(ramp);
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
    const double reference = !isZero(margins[2])   ? margins[2]
                             : !isZero(margins[1]) ? margins[1]
                                                   : margins[0];
    Vector scaled;
    double* const scaledOffsets[] = {&scaled.x, &scaled.y, &scaled.z};
    for (int axis = 0; axis < 3; ++axis) {
        if (!isZero(margins[axis])) {
            *scaledOffsets[axis] = offsets[axis] * (reference / margins[axis]);
        } else if (!isZero(offsets[axis])) {
            return 0;
        }
    }
    const double radius = scaled.Length() / reference;
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
    double shortest = std::numeric_limits<double>::max();
    for (const Vector& step : steps_) {
        const double voxel = step.Length();
        for (const double margin : {supportOf(step) / voxel, supportOf(-step) / voxel}) {
            if (!isZero(margin)) {
                shortest = std::min(shortest, margin / voxel);
            }
        }
    }
    return kMaximum / kGradient * std::max(shortest, kShortestForGain);
}

/// The kernel for the stamper, without what is beyond the grid from every voxel.
detail::Kernel AxisAligned3DMarginAdder::kernelOnGridOf(const SegmentVolume& segment) const {
    const int gridSizes[] = {segment.xsize(), segment.ysize(), segment.zsize()};
    detail::Kernel kernel;
    int centre[3];
    for (int axis = 0; axis < 3; ++axis) {
        const int most = std::max(gridSizes[axis] - 1, 0);
        centre[axis] = (sizes_[axis] - 1) / 2;
        kernel.reach[axis] = {std::min(centre[axis], most),
                              std::min(sizes_[axis] - 1 - centre[axis], most)};
    }
    const detail::Reach(&reach)[3] = kernel.reach;
    for (int z = -reach[2].low; z <= reach[2].high; ++z) {
        for (int y = -reach[1].low; y <= reach[1].high; ++y) {
            const std::size_t first =
                indexOf(centre[0] - reach[0].low, centre[1] + y, centre[2] + z);
            const auto row = kernel_.begin() + static_cast<std::ptrdiff_t>(first);
            kernel.values.insert(kernel.values.end(), row, row + reach[0].size());
        }
    }
    return kernel;
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
    if (kernel_.empty() || !margins_.AnyMarginExisting()) {
        out.compact();
        return;
    }
    const detail::Kernel kernel = kernelOnGridOf(in);
    // With a margin of 0 what is inside stays as it is, so that the structure stays on that side.
    const bool keepsInside = isZero(margins_.MinMargin());
    const double perStep = gain();
    Byte values[kMaximum + 1] = {};
    for (int step = 1; step <= kMaximum; ++step) {
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
    const int limitedShift = std::clamp(shift, -kMaximum, kMaximum);
    for (int k = 0; k < sizes_[2]; ++k) {
        for (int j = 0; j < sizes_[1]; ++j) {
            for (int i = 0; i < sizes_[0]; ++i) {
                const int value = KernelPixel(i, j, k);
                row[static_cast<std::size_t>(i)] = static_cast<Byte>(
                    value > 0 ? std::clamp(value + limitedShift, 0, kMaximum) : 0);
            }
            detail::raiseRow(ramp, x - (sizes_[0] - 1) / 2, y - (sizes_[1] - 1) / 2 + j,
                             z - (sizes_[2] - 1) / 2 + k, row.data(), sizes_[0], false);
        }
    }
}

}  // namespace NSegmentAlgorithms
