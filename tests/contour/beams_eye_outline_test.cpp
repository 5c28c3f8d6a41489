#include <trelis/contour/beams_eye_outline.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <gtest/gtest.h>

#include <tests/support/reporter.h>
#include <tests/support/segments.h>
#include <trelis/contour/contour_geometry.h>
#include <trelis/foundation/detail/parallel.h>

namespace {

using NSegment::SegmentVolume;
using trelis::BeamGeometry;

QProgressReporterNull nobody;

Glyph outlineOf(const SegmentVolume& s, const MMatrix& transform, const BeamGeometry& beam,
                double step, FProgressReportingBody& progress = nobody) {
    const FVoxelSpaceGeometry geometry(transform, s.xsize(), s.ysize(), s.zsize(), s.xres(),
                                       s.yres(), s.zres());
    Glyph outlines = {{{1, 2}}};
    trelis::TraceBeamsEyeOutline(s, geometry, beam, step, outlines, progress);
    return outlines;
}

BeamGeometry randomBeam(Random& random) {
    return {random.number(-4, 4), random.number(-2, 2), random.number(-3, 3), random.vector(30),
            random.number(600, 1500)};
}

TEST(BeamGeometry, FollowsIec61217ForAPatientHeadFirstSupine) {
    const Vector isocentre(7, -8, 9);
    const Vector leftBackHead(10, 20, 30);
    // Gantry, couch and collimator in quarter turns, and where the point is in the beam frame.
    const std::pair<Vector, Vector> cases[] = {
        {{0, 0, 0}, {10, 30, -20}},  {{1, 0, 0}, {20, 30, 10}},   {{2, 0, 0}, {-10, 30, 20}},
        {{3, 0, 0}, {-20, 30, -10}}, {{0, 1, 0}, {-30, 10, -20}}, {{0, 0, 1}, {30, -10, -20}},
        {{1, 1, 0}, {20, 10, -30}},  {{1, 0, 1}, {30, -20, 10}}};
    for (const auto& [turns, inBeam] : cases) {
        const Vector angles = turns * std::acos(0.0);
        const BeamGeometry beam{angles.x, angles.y, angles.z, isocentre, 1000};
        const MMatrix toBeam = trelis::GetPatientToBeamTransform(beam);
        EXPECT_NEAR_VECTOR(toBeam.Transform(isocentre + leftBackHead), inBeam, 1e-12);
        const Vector source = trelis::GetSourcePosition(beam);
        EXPECT_NEAR_VECTOR(toBeam.Transform(source), Vector(0, 0, 1000), 1e-9);
        const EdgePoint p = ProjectToIsocentrePlane(beam, isocentre + leftBackHead);
        EXPECT_NEAR(p.x, inBeam.x * 1000 / (1000 - inBeam.z), 1e-9);
        EXPECT_NEAR(p.y, inBeam.y * 1000 / (1000 - inBeam.z), 1e-9);
        EXPECT_THROW(ProjectToIsocentrePlane(beam, 1.01 * source), std::invalid_argument);
        EXPECT_THROW(ProjectToIsocentrePlane(beam, -HUGE_VAL * source), std::invalid_argument);
    }
}

TEST(BeamsEyeOutline, OfABallIsItsShadow) {
    Random random(60);
    for (int i = 0; i < 12; ++i) {
        constexpr double kRadius = 20;
        const Vector centre = random.vector(1);
        SegmentVolume s(48, 48, 48, 1, 1, 1);
        forEachVoxel(sizeOf(s), [&](int x, int y, int z) {
            const Vector p = Vector(x, y, z) - Vector(23.5, 23.5, 23.5) - centre;
            s.setPixel(x, y, z, SegmentVolume::fromFloat(0.5 + (kRadius - p.Length()) / 2));
        });
        const MMatrix transform = i < 3 ? MMatrix() : random.rigid(1.0);
        BeamGeometry beam = randomBeam(random);
        const MMatrix toBeam = trelis::GetPatientToBeamTransform(beam);
        const Vector source(0, 0, beam.sourceAxisDistance);
        const Vector toCentre = toBeam.Transform(transform.Transform(centre)) - source;
        const Glyph glyph = outlineOf(s, transform, beam, 0.5);
        ASSERT_EQ(glyph.size(), 1U);
        for (const EdgePoint& p : glyph[0]) {
            // In the shadow a ray passes the centre at less than the radius.
            const Vector ray = (Vector(p.x, p.y, 0) - source).Normalized();
            const double gap = ray.Cross(toCentre).Length() - kRadius;
            EXPECT_NEAR(gap * source.z / toCentre.Length(), 0, 0.05) << "case " << i;
        }
        beam.sourceAxisDistance = i % 2 == 0 ? 1e16 : 1e300;
        const Glyph parallel = outlineOf(s, transform, beam, 0.5);
        for (const EdgePoint& p : parallel.at(0)) {
            EXPECT_NEAR(std::hypot(p.x - toCentre.x, p.y - toCentre.y), kRadius, 0.05);
        }
    }
}

/// Inside an odd number of contours.
bool isInside(const EdgePoint& p, const Glyph& glyph) {
    return std::count_if(glyph.begin(), glyph.end(),
                         [&](const std::vector<EdgePoint>& contour) {
                             return NEdgePointAlgorithms::isInside(p, contour);
                         }) %
               2 !=
           0;
}

TEST(BeamsEyeOutline, HoldsTheRaysThatMeetTheStructureAndNoOthers) {
    Random random(61);
    for (const unsigned threads : {1U, 2U, 7U, 1U, 2U, 7U, 2U, 7U, 2U, 7U}) {
        const trelis::detail::ScopedThreadCount scope(threads);
        const GridSize size{66, 50, threads == 7 ? 1 : 30};
        SegmentVolume s(size.x, size.y, size.z, 1, 1, 2);
        SegmentVolume padded(size.x + 2, size.y + 2, size.z + 2, 1, 1, 2);
        const FVoxelSpaceGeometry geometry({}, size.x + 2, size.y + 2, size.z + 2, 1, 1, 2);
        std::vector<Vector> voxels;
        for (int k = 0; k < 4; ++k) {
            // Often on the border of the grid, or last in its cell.
            const int x = std::clamp(random.integer(-9, size.x + 8) | k / 2 * 31, 0, size.x - 1);
            const int y = std::clamp(random.integer(-9, size.y + 8) | k / 2 * 15, 0, size.y - 1);
            const int z = std::clamp(random.integer(-9, size.z + 8) | k / 2 * 7, 0, size.z - 1);
            s.setPixel(x, y, z, 255);
            voxels.emplace_back(x + 1, y + 1, z + 1);
        }
        // Full cells round one that is not.
        forEachVoxel(size, [&](int x, int y, int z) {
            const bool isFull = threads == 1 && std::max({x / 32, y / 16, z / 8}) == 1;
            s.setPixel(x, y, z, isFull ? 255 : s.pixel(x, y, z));
            padded.setPixel(x + 1, y + 1, z + 1, s.pixel(x, y, z));
        });
        s.compact();
        const BeamGeometry beam = randomBeam(random);
        const Vector source = geometry.RealToVoxel(trelis::GetSourcePosition(beam));
        const Glyph glyph = outlineOf(s, {}, beam, 0.125);
        for (int k = 0; k < 300; ++k) {
            const Vector through = voxels[static_cast<std::size_t>(k) % 4] + random.vector(1);
            double largest = 0;
            for (double t = 0.85; t < 1.15; t += 0.00005) {
                const Vector q = source + t * (through - source);
                largest = std::max(largest, padded.pixelTrilinearSafe(q.x, q.y, q.z));
            }
            // Nearer to the level the width of the lattice shows in corners.
            if (std::abs(largest - 127.5) > 12) {
                const EdgePoint p = ProjectToIsocentrePlane(beam, geometry.VoxelToReal(through));
                EXPECT_EQ(isInside(p, glyph), largest > 127.5) << threads << ' ' << largest;
            }
        }
    }
    // The middle ray meets the core between planes of voxel centres, and faint voxels on its way.
    SegmentVolume s(12, 12, 12, 1, 1, 1);
    forEachVoxel(sizeOf(s), [&](int x, int y, int z) {
        const bool isCore = x / 2 == 2 && y == 6 && z == 6;
        s.setPixel(x, y, z, isCore ? 255 : std::min({x, y, z}) < 2 ? 100 : 0);
    });
    EXPECT_EQ(outlineOf(s, {}, {.gantryAngle = 1.0, .couchAngle = 0.75}, 0.1).size(), 1U);
}

TEST(BeamsEyeOutline, RefusesWhatCannotBeProjectedAndCanBeCancelled) {
    SegmentVolume s(40, 40, 20, 1, 1, 2);
    EXPECT_TRUE(outlineOf(s, {}, {}, 1.0).empty());
    s.setPixel(20, 0, 10, 255);
    EXPECT_EQ(outlineOf(s, {}, {.sourceAxisDistance = 20.6}, 1.0).size(), 1U);
    for (const double wrong : {0.0, -1.0, HUGE_VAL}) {
        const BeamGeometry beam{.sourceAxisDistance = wrong};
        EXPECT_THROW(outlineOf(s, {}, beam, 1.0), std::invalid_argument);
        EXPECT_THROW(outlineOf(s, {}, {}, wrong), std::invalid_argument);
        EXPECT_THROW(GetSourcePosition(beam), std::invalid_argument);
        EXPECT_THROW(ProjectToIsocentrePlane(beam, {0, 9, 0}), std::invalid_argument);
    }
    EXPECT_THROW(outlineOf(s, {}, {.sourceAxisDistance = 20.5}, 1.0), std::invalid_argument);
    EXPECT_THROW(outlineOf(s, {}, {.couchAngle = HUGE_VAL}, 1.0), std::invalid_argument);
    EXPECT_THROW(outlineOf(s, {}, {}, 1e-12), std::invalid_argument);
    EXPECT_THROW(outlineOf(s, MMatrix({}, {}, {}), {}, 1.0), std::invalid_argument);
    // The first report comes before memory is taken, here too much of it.
    RecordingReporter cancelling(1);
    Glyph outlines = {{{1, 2}}};
    const FVoxelSpaceGeometry own({}, 40, 40, 20, 1, 1, 2);
    EXPECT_THROW(trelis::TraceBeamsEyeOutline(s, own, {}, 1e-8, outlines, cancelling),
                 QAbortPressed);
    EXPECT_EQ(outlines.size(), 1U);
    const FVoxelSpaceGeometry other({}, 40, 40, 20, 1, 1, 2.1);
    EXPECT_DEATH(trelis::TraceBeamsEyeOutline(s, other, {}, 1.0, outlines, nobody),
                 "TraceBeamsEyeOutline: segment and geometry differ");
}

}  // namespace
