#include <algorithm>
#include <cmath>
#include <numbers>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/contour/beams_eye_outline.h>
#include <trelis/contour/tracing.h>

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

constexpr double kStep = 0.5;
/// From the isocentre to the edge of the plain projection, lattice steps.
constexpr int kHalfWidth = 80;

/// The largest of the values at every half voxel of a ray through the grid.
float largestOn(const SegmentVolume& s, const Vector& from, const Vector& to) {
    const Vector way = to - from;
    const double steepest = std::max({std::abs(way.x), std::abs(way.y), std::abs(way.z)});
    const Vector stride = way * (0.5 / steepest);
    const double reach = Vector(s.xsize(), s.ysize(), s.zsize()).Length();
    double largest = 0.0;
    for (double i = std::floor(2 * (steepest - reach)); i < 2 * (steepest + reach); ++i) {
        const Vector p = from + i * stride;
        largest = std::max(largest, s.pixelTrilinearSafe(p.x, p.y, p.z));
    }
    return static_cast<float>(largest);
}

/// Looks at every lattice point from which the target could be seen.
void outlinePlainly(const SegmentVolume& s, const FVoxelSpaceGeometry& geometry,
                    const trelis::BeamGeometry& beam, Glyph& outlines) {
    constexpr int kWidth = 2 * kHalfWidth + 1;
    const MMatrix patientToBeam = trelis::GetPatientToBeamTransform(beam);
    const Vector source = geometry.RealToVoxel(trelis::GetSourcePosition(beam));
    QVolume<float> lattice(kWidth, kWidth, 1, kStep, kStep, 1.0);
    float* pixel = lattice.begin();
    for (int y = -kHalfWidth; y <= kHalfWidth; ++y) {
        for (int x = -kHalfWidth; x <= kHalfWidth; ++x) {
            const Vector target =
                geometry.RealToVoxel(patientToBeam.InverseTransform({x * kStep, y * kStep, 0.0}));
            *pixel++ = largestOn(s, source, target);
        }
    }
    NEdgePointAlgorithms::TraceVolumePlane(lattice, 0, 127.5, outlines);
    for (auto& contour : outlines) {
        for (EdgePoint& p : contour) {
            p = {(p.x - kHalfWidth) * kStep, (p.y - kHalfWidth) * kStep};
        }
    }
}

bool areNear(const Glyph& a, const Glyph& b) {
    const auto nearest = [](const EdgePoint& p, const std::vector<EdgePoint>& contour) {
        double distance = 1e9;
        for (const EdgePoint& q : contour) {
            distance = std::min(distance, std::hypot(p.x - q.x, p.y - q.y));
        }
        return distance;
    };
    return a.size() == 1 && b.size() == 1 &&
           std::all_of(a[0].begin(), a[0].end(),
                       [&](const EdgePoint& p) { return nearest(p, b[0]) < kStep; });
}

void outline(benchmark::State& state, double gantryDegrees, double couchDegrees) {
    const SegmentVolume s = bench::target();
    const FVoxelSpaceGeometry geometry(MMatrix(), s.xsize(), s.ysize(), s.zsize(), s.xres(),
                                       s.yres(), s.zres());
    constexpr double kDegree = std::numbers::pi / 180;
    const trelis::BeamGeometry beam{
        gantryDegrees * kDegree, couchDegrees * kDegree, 0.3, {-10, 0, 30}, 1000};
    QProgressReporterNull nobody;
    Glyph outlines;
    Glyph plain;
    trelis::TraceBeamsEyeOutline(s, geometry, beam, kStep, outlines, nobody);
    outlinePlainly(s, geometry, beam, plain);
    if (!areNear(outlines, plain)) {
        state.SkipWithError("the outlines differ");
        return;
    }
    bench::compareSpeedup(
        state, [&] { trelis::TraceBeamsEyeOutline(s, geometry, beam, kStep, outlines, nobody); },
        [&] { outlinePlainly(s, geometry, beam, plain); }, 5.0);
}
BENCHMARK_CAPTURE(outline, straight, 0.0, 0.0)
    ->Name("beam's-eye outline of target, gantry 0 / ray by ray")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(outline, oblique, 50.0, 30.0)
    ->Name("beam's-eye outline of target, gantry 50, couch 30 / ray by ray")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
