#include <trelis/contour/beams_eye_outline.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include <trelis/contour/detail/segment_field.h>
#include <trelis/contour/tracing.h>
#include <trelis/foundation/detail/parallel.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/foundation/volume.h>

namespace trelis {

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

/// The level between 127 and 128.
constexpr double kLevel = 127.5;

constexpr double kResolutionTolerance = 1e-6;

/// Rows of the lattice for which a thread is worth its start.
constexpr std::size_t kRowsPerThread = 8;

[[noreturn]] void refuse(const char* what) {
    throw std::invalid_argument(std::string("trelis::TraceBeamsEyeOutline: ") + what);
}

bool isFinite(const Vector& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool isPositive(double value) { return value > 0.0 && std::isfinite(value); }

void checkArguments(const SegmentVolume& segment, const FVoxelSpaceGeometry& geometry,
                    const BeamGeometry& beam, double step) {
    const auto differ = [](double a, double b) {
        return !EpsilonEqual(a, b, kResolutionTolerance);
    };
    if (segment.xsize() != geometry.xsize() || segment.ysize() != geometry.ysize() ||
        segment.zsize() != geometry.zsize() || differ(segment.xres(), geometry.xres()) ||
        differ(segment.yres(), geometry.yres()) || differ(segment.zres(), geometry.zres())) {
        Crash(L"TraceBeamsEyeOutline: segment and geometry differ");
    }
    if (!isPositive(step)) {
        refuse("the step is not positive");
    }
    if (!isPositive(beam.sourceAxisDistance)) {
        refuse("the source-axis distance is not positive");
    }
    if (!isFinite({beam.gantryAngle, beam.couchAngle, beam.collimatorAngle}) ||
        !isFinite(beam.isocentre)) {
        refuse("the beam is not finite");
    }
    const Vector corner(segment.xsize(), segment.ysize(), segment.zsize());
    if (!((geometry.RealToVoxel(geometry.VoxelToReal(corner)) - corner).Length() < 0.5)) {
        refuse("the geometry has no inverse");
    }
}

/// A lattice on the isocentre plane with a point at the isocentre; it starts at (firstX, firstY)
/// steps.
struct Lattice {
    double step;
    double firstX;
    double firstY;
    int xsize;
    int ysize;

    EdgePoint at(double x, double y) const { return {(firstX + x) * step, (firstY + y) * step}; }
};

/// The lattice steps that hold an interval with one more on each side.
void coverInterval(double low, double high, double step, double& first, int& count) {
    first = std::floor(low / step) - 1.0;
    const double steps = std::ceil(high / step) + 2.0 - first;
    if (!(steps < std::numeric_limits<int>::max())) {
        refuse("the step is too small");
    }
    count = static_cast<int>(steps);
}

/// The lattice under the box of the inside voxels and what is one voxel around them, beyond which
/// no ray reaches the level.
Lattice latticeUnder(const SegmentVolume& segment, const FVoxelSpaceGeometry& geometry,
                     const BeamGeometry& beam, double step) {
    int box[2][3];
    segment.GetBoundingBoxForIteration(box[0][0], box[0][1], box[0][2], box[1][0], box[1][1],
                                       box[1][2]);
    const MMatrix patientToBeam = GetPatientToBeamTransform(beam);
    EdgePoint low{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    EdgePoint high{-low.x, -low.y};
    for (int corner = 0; corner < 8; ++corner) {
        const auto coordinate = [&](int axis) {
            const int side = corner >> axis & 1;
            return box[side][axis] + 2.0 * side - 1.0;
        };
        const Vector p = patientToBeam.Transform(
            geometry.VoxelToReal({coordinate(0), coordinate(1), coordinate(2)}));
        if (!(p.z < beam.sourceAxisDistance)) {
            refuse("the segment reaches to the source or behind it");
        }
        const double magnification = beam.sourceAxisDistance / (beam.sourceAxisDistance - p.z);
        low = {std::min(low.x, p.x * magnification), std::min(low.y, p.y * magnification)};
        high = {std::max(high.x, p.x * magnification), std::max(high.y, p.y * magnification)};
    }
    Lattice lattice{step, 0.0, 0.0, 0, 0};
    coverInterval(low.x, high.x, step, lattice.firstX, lattice.xsize);
    coverInterval(low.y, high.y, step, lattice.firstY, lattice.ysize);
    return lattice;
}

/// Gives each lattice point the largest value that its ray meets.
QVolume<float> projectOnto(const Lattice& lattice, const SegmentVolume& segment,
                           const FVoxelSpaceGeometry& geometry, const BeamGeometry& beam,
                           FProgressReportingBody& progress) {
    const detail::SegmentField field(segment);
    const MMatrix patientToBeam = GetPatientToBeamTransform(beam);
    const Vector source = geometry.RealToVoxel(GetSourcePosition(beam));
    const auto voxelAt = [&](const EdgePoint& p) {
        return geometry.RealToVoxel(patientToBeam.InverseTransform({p.x, p.y, 0.0}));
    };
    QVolume<float> values(lattice.xsize, lattice.ysize, 1, lattice.step, lattice.step, 1.0);
    float* const pixels = values.begin();
    detail::parallelFor(
        static_cast<std::size_t>(lattice.ysize), progress,
        [&](std::size_t y) {
            float* row = pixels + y * static_cast<std::size_t>(lattice.xsize);
            detail::SegmentField::Sample hint = 0;
            for (int x = 0; x < lattice.xsize; ++x) {
                const Vector target = voxelAt(lattice.at(x, static_cast<double>(y)));
                row[x] = static_cast<float>(field.maximumAlong(source, target, hint));
            }
        },
        kRowsPerThread);
    return values;
}

}  // namespace

void TraceBeamsEyeOutline(const SegmentVolume& segment, const FVoxelSpaceGeometry& geometry,
                          const BeamGeometry& beam, double step, Glyph& outlines,
                          FProgressReportingBody& progress) {
    checkArguments(segment, geometry, beam, step);
    if (segment.IsEmpty()) {
        outlines.clear();
        return;
    }
    const Lattice lattice = latticeUnder(segment, geometry, beam, step);
    // The lattice may be so large that filling it takes long.
    progress.ReportProgress(0.0);
    Glyph traced;
    NEdgePointAlgorithms::TraceVolumePlane(projectOnto(lattice, segment, geometry, beam, progress),
                                           0, kLevel, traced);
    for (auto& contour : traced) {
        for (EdgePoint& p : contour) {
            p = lattice.at(p.x, p.y);
        }
    }
    outlines = std::move(traced);
}

}  // namespace trelis
