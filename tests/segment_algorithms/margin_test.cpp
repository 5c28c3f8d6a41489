#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <bench/segment_algorithms/plain_margin.h>
#include <tests/support/reporter.h>
#include <tests/support/segments.h>
#include <tests/support/vectors.h>
#include <trelis/segment/boolean_operations.h>
#include <trelis/segment_algorithms/beam_geometry_segment.h>
#include <trelis/segment_algorithms/fast_margins.h>
#include <trelis/segment_algorithms/margin.h>
#include <trelis/segment_algorithms/margin_adder.h>
#include <trelis/segment_algorithms/margin_container.h>
#include <trelis/segment_algorithms/morphology.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

namespace {

using namespace NSegmentAlgorithms;
using NSegment::SegmentVolume;

/// Low x, y, z, then high, in millimetres.
using Margins = std::array<double, 6>;

QProgressReporterNull nobody;

SegmentVolume margin(const SegmentVolume& in, const Margins& m) {
    SegmentVolume out(1, 2, 3, 4, 5, 6);
    Margin(in, m[0], m[1], m[2], m[3], m[4], m[5], out, nobody);
    return out;
}

SegmentVolume fastMargin(const SegmentVolume& in, const Margins& m) {
    SegmentVolume out(1, 2, 3, 4, 5, 6);
    FastAddMargins(in, {m[0], m[3], m[1], m[4], m[2], m[5]}, out);
    return out;
}

SegmentVolume plain(const SegmentVolume& in, const Margins& m) {
    SegmentVolume out(1, 2, 3, 4, 5, 6);
    plainMargin(in, {m[0], m[1], m[2], m[3], m[4], m[5]}, out);
    return out;
}

/// A ball around the centre of the grid moved by `shift`, millimetres, with an edge so wide.
SegmentVolume ball(const GridSize& size, const Vector& res, double radius, double edge,
                   const Vector& shift = {}) {
    SegmentVolume segment(size.x, size.y, size.z, res.x, res.y, res.z);
    forEachVoxel(sizeOf(segment), [&](int x, int y, int z) {
        const Vector p((x + 0.5 - size.x / 2.0) * res.x, (y + 0.5 - size.y / 2.0) * res.y,
                       (z + 0.5 - size.z / 2.0) * res.z);
        const double inward = radius - (p - shift).Length();
        segment.setPixel(x, y, z, SegmentVolume::fromFloat(0.5 + inward / edge));
    });
    segment.compact();
    return segment;
}

double volume(const SegmentVolume& segment) {
    return plexa::CalculateVolumeWithSubVoxelModeling(segment, nobody);
}

/// A few soft, binary and noisy structures.
SegmentVolume randomBlobs(Random& random, const GridSize& size, const Vector& resolution) {
    SegmentVolume segment(size.x, size.y, size.z, resolution.x, resolution.y, resolution.z);
    for (int blob = random.integer(1, 3); blob > 0; --blob) {
        const Vector centre(random.number(0, size.x), random.number(0, size.y),
                            random.number(0, size.z));
        const double radius = random.number(0.5, 6);
        const double edge = random.number(0.01, 4);
        forEachVoxel(sizeOf(segment), [&](int x, int y, int z) {
            const double inward = (radius - (Vector(x, y, z) - centre).Length()) / edge;
            const int value = SegmentVolume::fromFloat(inward);
            segment.setPixel(x, y, z, std::max(segment.pixel(x, y, z), value));
        });
    }
    for (int i = random.integer(0, 20); i > 0; --i) {
        segment.setPixel(random.integer(0, size.x - 1), random.integer(0, size.y - 1),
                         random.integer(0, size.z - 1), random.integer(0, 255));
    }
    return segment;
}

/// Six margins up to `most` millimetres, with zeros and tiny ones among them.
Margins randomMargins(Random& random, double most, bool withTiny) {
    Margins margins;
    for (double& m : margins) {
        const int kind = withTiny ? random.integer(0, 5) : 5;
        m = kind == 0 ? 0 : kind == 1 ? random.number(0, 0.02) : random.number(0.05, most);
    }
    return margins;
}

Margins times(double factor, Margins margins) {
    for (double& m : margins) {
        m *= factor;
    }
    return margins;
}

TEST(Margin, GivesTheValuesOfStampingVoxelByVoxel) {
    Random random(1);
    const Vector resolutions[] = {{1, 1, 1}, {1, 2, 3}, {0.98, 0.98, 2.5}};
    const Margins listed[] = {{},                     // shrinks by nothing
                              {5, 5, 5, 5, 5, 0},     // tiny on one side
                              {2, 2, 2, 2, 2, 2},     // reaches three voxels
                              {1e-9, 3, 3, 3, 3, 3},  // below a hundredth of a voxel
                              {90, 1, 1, 1, 1, 1},    // beyond the grid
                              {1, 0, 0, 0, 0, 200}};
    for (int run = 0; run < 60; ++run) {
        SCOPED_TRACE(run);
        const GridSize& size = kOddSizes[run % 8];
        const Vector& resolution = resolutions[run % 3];
        const SegmentVolume in = run % 5 == 0 ? randomSegment(random, {20, 9, 5}, resolution)
                                              : randomBlobs(random, size, resolution);
        const Margins m = run < 6 ? listed[run] : randomMargins(random, 7, true);
        for (const double sign : {1.0, -1.0}) {
            const SegmentVolume out = margin(in, times(sign, m));
            EXPECT_TRUE(out.hasEqualGeometry(in));
            EXPECT_EQ(dense(out), dense(plain(in, times(sign, m))));
            SegmentVolume same = out;
            const auto operation = sign > 0 ? Dilation : Erosion;
            operation(in, m[0], m[1], m[2], m[3], m[4], m[5], same, nobody);
            EXPECT_EQ(dense(same), dense(out));
        }
    }
}

bool isInside(const SegmentVolume& s, int x, int y, int z) {
    return x >= 0 && x < s.xsize() && y >= 0 && y < s.ysize() && z >= 0 && z < s.zsize() &&
           s.pixel(x, y, z) >= 128;
}

/// Inside voxels of `a` that are not inside `b` and neither are their face neighbours.
int countBeyondOneVoxel(const SegmentVolume& a, const SegmentVolume& b) {
    int count = 0;
    forEachVoxel(sizeOf(a), [&](int x, int y, int z) {
        count += isInside(a, x, y, z) && !isInside(b, x, y, z) && !isInside(b, x - 1, y, z) &&
                 !isInside(b, x + 1, y, z) && !isInside(b, x, y - 1, z) &&
                 !isInside(b, x, y + 1, z) && !isInside(b, x, y, z - 1) &&
                 !isInside(b, x, y, z + 1);
    });
    return count;
}

SegmentVolume inverted(const SegmentVolume& segment) {
    SegmentVolume inverse(segment);
    Invert(segment, inverse);
    return inverse;
}

TEST(FastAddMargins, StaysWithinOneVoxelOfMargin) {
    Random random(2);
    for (int run = 0; run < 100; ++run) {
        SCOPED_TRACE(run);
        const SegmentVolume in = randomBlobs(random, kOddSizes[run % 8], {0.98, 0.98, 2.5});
        const Margins m = randomMargins(random, run % 3 == 0 ? 30 : 8, false);
        const std::pair<SegmentVolume, SegmentVolume> results[] = {
            {fastMargin(in, m), margin(in, m)},
            {inverted(fastMargin(in, times(-1, m))), inverted(margin(in, times(-1, m)))}};
        for (const auto& [fast, exact] : results) {
            EXPECT_EQ(countBeyondOneVoxel(fast, exact) + countBeyondOneVoxel(exact, fast), 0);
        }
    }
}

/// Plane z alone, between two copies of itself, so that nothing in it borders on another plane.
SegmentVolume threeOf(const SegmentVolume& in, int z) {
    SegmentVolume planes(in.xsize(), in.ysize(), 3, in.xres(), in.yres(), in.zres());
    forEachVoxel(sizeOf(planes),
                 [&](int x, int y, int k) { planes.setPixel(x, y, k, in.pixel(x, y, z)); });
    return planes;
}

TEST(Morphology, TreatsEachPlaneOfARangeByItself) {
    Random random(5);
    for (int run = 0; run < 20; ++run) {
        SCOPED_TRACE(run);
        const SegmentVolume in = randomBlobs(random, {70, 40, 9}, {1, 2, 3});
        const Margins m = randomMargins(random, 7, false);
        const int first = random.integer(0, 8);
        const int last = random.integer(0, 8);
        for (const bool erode : {false, true}) {
            SegmentVolume out(1, 1, 1, 1, 1, 1);
            RecordingReporter reporter;
            (erode ? Erosion2d : Dilation2d)(in, m[0], m[1], m[3], m[4], first, last, out,
                                             reporter);
            EXPECT_EQ(reporter.fractions().size(), std::max(0, last - first + 1));
            for (int z = 0; z < in.zsize(); ++z) {
                // In space a plane between its copies grows as it does by itself.
                const double far = 60;
                const Margins inPlane{m[0], m[1], far, m[3], m[4], far};
                SegmentVolume expected = threeOf(in, z);
                if (first <= z && z <= last) {
                    expected = plain(expected, times(erode ? -1 : 1, inPlane));
                }
                forEachVoxel({in.xsize(), in.ysize(), 1}, [&](int x, int y, int) {
                    ASSERT_EQ(out.pixel(x, y, z), expected.pixel(x, y, 1)) << x << " " << y;
                });
            }
        }
    }
}

TEST(Morphology, ClosesGapsAndOpensBridgesAndBringsBackWhatIsSmooth) {
    const GridSize size{60, 40, 40};
    SegmentVolume balls = ball(size, {1, 1, 1}, 8, 1, {-10, 0, 0});
    SegmentVolume other = ball(size, {1, 1, 1}, 8, 1, {10, 0, 0});
    UnionInPlace(other, balls);
    SegmentVolume bridged = balls;
    for (int x = 20; x < 40; ++x) {
        bridged.setPixel(x, 20, 20, 255);
    }
    for (const bool inPlanes : {false, true}) {
        SegmentVolume closed = balls;
        SegmentVolume opened = bridged;
        inPlanes ? Connect2d(closed, 8, 20, 20, nobody) : Connect3d(closed, 8, nobody);
        inPlanes ? Disconnect2d(opened, 6, 20, 20, nobody) : Disconnect3d(opened, 6, nobody);
        EXPECT_NEAR(volume(closed) / volume(balls), 1, 0.05);
        EXPECT_NEAR(volume(opened) / volume(balls), 1, 0.05);
        EXPECT_GE(closed.pixel(30, 20, 20), 128);
        EXPECT_LT(balls.pixel(30, 20, 20), 128);
        EXPECT_LT(opened.pixel(30, 20, 20), 128);
        EXPECT_EQ(closed.pixel(30, 20, 12), 0);
    }
}

/// Everything that reports, on a small segment.
struct Reporting {
    int calls;
    std::function<void(SegmentVolume&, SegmentVolume&, FProgressReportingBody&)> run;
};

const Reporting kReporting[] = {
    {9, [](auto& in, auto& out, auto& p) { Margin(in, 2, 2, 2, 2, 2, 2, out, p); }},
    {9, [](auto& in, auto& out, auto& p) { Dilation(in, 2, 2, 2, 2, 2, 2, out, p); }},
    {9, [](auto& in, auto& out, auto& p) { Erosion(in, 2, 2, 2, 2, 2, 2, out, p); }},
    {4, [](auto& in, auto& out, auto& p) { Dilation2d(in, 2, 2, 2, 2, 3, 6, out, p); }},
    {4, [](auto& in, auto& out, auto& p) { Erosion2d(in, 2, 2, 2, 2, 3, 6, out, p); }},
    {18, [](auto& in, auto&, auto& p) { Connect3d(in, 4, p); }},
    {18, [](auto& in, auto&, auto& p) { Disconnect3d(in, 4, p); }},
    {8, [](auto& in, auto&, auto& p) { Connect2d(in, 4, 3, 6, p); }},
    {8, [](auto& in, auto&, auto& p) { Disconnect2d(in, 4, 3, 6, p); }}};

TEST(MarginProgress, RisesPlaneByPlaneAndMayBeCancelledAtEveryCall) {
    Random random(6);
    const SegmentVolume segment = randomBlobs(random, {33, 17, 9}, {1, 1, 1});
    for (const Reporting& reporting : kReporting) {
        SCOPED_TRACE(&reporting - kReporting);
        SegmentVolume in = segment;
        SegmentVolume out = segment;
        RecordingReporter complete;
        reporting.run(in, out, complete);
        ASSERT_EQ(complete.fractions().size(), static_cast<std::size_t>(reporting.calls));
        for (int call = 1; call <= reporting.calls; ++call) {
            EXPECT_NEAR(complete.fractions()[static_cast<std::size_t>(call - 1)],
                        (call - 1.0) / reporting.calls, 1e-12);
            in = segment;
            RecordingReporter reporter(call);
            EXPECT_THROW(reporting.run(in, out, reporter), QAbortPressed);
            EXPECT_EQ(reporter.fractions().size(), static_cast<std::size_t>(call));
        }
    }
}

TEST(MarginFailures, NameTheFunctionAndLeaveTheOutputAlone) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    SegmentVolume in(9, 9, 9, 1, 1, 1);
    in.setPixel(4, 4, 4, 255);
    SegmentVolume out = in;
    out.setPixel(1, 1, 1, 77);
    const SegmentVolume flat(9, 9, 9, 1, 0, 1);
    const MarginContainer mixedSigns(1, 1, -1, 1, 1, 1);
    const MarginContainer infinite(1, 1, kInfinity, 1, 1, 1);
    const auto before = dense(out);
    const auto beforeIn = dense(in);
    const std::string mixed = ": all arguments must be either positive or negative";
    const std::string notFinite = ": all arguments must be finite";
    const std::string negative = ": all distances must be positive";
    const std::pair<std::string, std::function<void()>> cases[] = {
        {"Margin" + mixed, [&] { Margin(in, 1, 0, 0, 0, 0, -1e-9, out, nobody); }},
        {"Margin" + notFinite, [&] { Margin(in, 1, kNan, 0, 0, 0, 0, out, nobody); }},
        {"Margin" + notFinite + " in voxels", [&] { Margin(flat, 1, 1, 1, 1, 1, 1, out, nobody); }},
        {"FastAddMargins" + mixed, [&] { FastAddMargins(in, mixedSigns, out); }},
        {"FastAddMargins" + notFinite, [&] { FastAddMargins(in, infinite, out); }},
        {"Dilation" + negative, [&] { Dilation(in, 1, 1, 1, 1, -1, 1, out, nobody); }},
        {"Dilation2d" + negative, [&] { Dilation2d(in, -1, 1, 1, 1, 1, 1, out, nobody); }},
        {"Connect3d" + negative, [&] { Connect3d(in, -1, nobody); }},
        {"AxisAligned3DMarginAdder::CalculateKernel" + negative,
         [&] { AxisAligned3DMarginAdder(mixedSigns).CalculateKernel(); }}};
    for (const auto& [message, call] : cases) {
        try {
            call();
            ADD_FAILURE() << message;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), "NSegmentAlgorithms::" + message);
        }
        EXPECT_EQ(dense(out), before);
        EXPECT_EQ(dense(in), beforeIn);
    }
}

TEST(MarginFailuresDeathTest, EndTheProcessForOneObjectAndPlanesOutsideTheGrid) {
    SegmentVolume in(9, 9, 9, 1, 1, 1);
    SegmentVolume out = in;
    SegmentVolume work = in;
    const std::string same = "result and parameters are the same";
    const std::string plane = "z argument out of range";
    const std::pair<std::string, std::function<void()>> cases[] = {
        {same, [&] { Margin(in, 1, 1, 1, 1, 1, -1, in, nobody); }},
        {same, [&] { FastAddMargins(in, {}, in); }},
        {same, [&] { Erosion2d(in, 1, 1, 1, 1, 0, 99, in, nobody); }},
        {same, [&] { AxisAligned3DMarginAdder({}).AddMargins(in, out, work, out); }},
        {plane, [&] { Dilation2d(in, 1, 1, 1, 1, -1, 3, out, nobody); }},
        {plane, [&] { Connect2d(in, 1, 3, 9, nobody); }}};
    for (const auto& [message, call] : cases) {
        EXPECT_DEATH(call(), "^" + message + "\n");
    }
}

TEST(MarginContainer, ComparesItsExtremesWithATolerance) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        MarginContainer margins;
        bool positive, existing, defined;
    } cases[] = {{{}, true, false, true},
                 {{-2, 3, 0, 1, 5, -1}, false, true, true},
                 {{-9e-7, 0, 0, 0, 0, 9e-7}, true, false, true},
                 {{-2e-6, 0, 0, 0, 0, 2e-6}, false, true, true},
                 {{-5, -5, -5, -5, -5, 0}, false, false, true},  // only the largest counts
                 {{1, 1, 1, 1, 1, nan}, true, true, false}};
    for (const auto& [margins, positive, existing, defined] : cases) {
        EXPECT_EQ(margins.AllMarginsPositive(), positive);
        EXPECT_EQ(margins.AnyMarginExisting(), existing);
        EXPECT_EQ(margins.AllMarginsDefined(), defined);
    }
}

TEST(AxisAligned3DMarginAdder, HasARampAroundTheEllipsoid) {
    AxisAligned3DMarginAdder adder({4, 8, 2, 2, 0, 0.3});
    adder.CalculateKernel();
    EXPECT_EQ(adder.GetKernelXSize(), 2 * 9 + 1);
    EXPECT_EQ(adder.GetKernelYSize(), 2 * 3 + 1);
    EXPECT_EQ(adder.GetKernelZSize(), 2 * 1 + 1);  // the ramp ends at three times the margin
    const struct {
        int x, y, z, value;
    } cases[] = {{0, 0, 0, 191}, {-4, 0, 0, 128}, {8, 0, 0, 128}, {4, 0, 0, 160}, {-2, 0, 0, 160},
                 {0, 2, 0, 128}, {0, -3, 0, 96},  {9, 0, 0, 120}, {-8, 0, 0, 64}, {0, 0, -1, 0},
                 {3, 0, -1, 0},  {0, 0, 1, 0},    {4, 1, 0, 146},  // radius sqrt(1/2)
                 {-9, 3, 0, 18}};
    for (const auto& c : cases) {
        EXPECT_EQ(adder.KernelPixel(c.x + 9, c.y + 3, c.z + 1), c.value) << c.x << " " << c.y;
    }
    SegmentVolume ramp(20, 20, 3, 1, 1, 1);
    adder.SetKernelPixel(9, 3, 1, 7);
    adder.ApplyKernel(3, 10, 1, 5, ramp);
    EXPECT_EQ(ramp.pixel(3, 10, 1), 12);
    EXPECT_EQ(ramp.pixel(11, 10, 1), 133);
    EXPECT_EQ(ramp.pixel(12, 10, 1), 125);
    EXPECT_EQ(ramp.pixel(13, 10, 1), 0);
}

constexpr double kPi = 3.141592653589793;

TEST(BeamGeometrySegment, BringsATargetGrownInATurnedBeamBackWithTheRightVolume) {
    const SegmentVolume target = ball({90, 90, 40}, {0.98, 0.98, 2.5}, 20, 1, {2, -3, 4});
    MMatrix patient;
    patient.SetTranslation(10, 20, 30);
    MMatrix turned;
    turned.RotateZ(kPi / 6);
    turned.SetTranslation(11, 19, 31);
    const FVoxelSpaceGeometry beam(turned, 80, 80, 80, 1, 1, 1);
    const FVoxelSpaceGeometry original(patient, 90, 90, 40, 0.98, 0.98, 2.5);
    const MarginContainer margins(5, 5, 5, 5, 5, 5);
    const AxisAligned3DMarginAdder projected(margins, original, beam, MMatrix());
    EXPECT_TRUE(projected.IsProjected());
    for (int run = 0; run < 3; ++run) {
        BeamGeometrySegment segment(target, beam, patient);
        EXPECT_EQ(segment.GetBeamSegmentGeometry().xsize(), 80);
        EXPECT_NEAR(volume(segment.GetBeamSegment()) / volume(target), 1, 0.01);
        if (run == 1) {
            segment.Add3DMargins(margins);
        } else if (run == 2) {
            segment.Add3DMargins(projected);
        }
        std::unique_ptr<SegmentVolume> back;
        segment.ConvertBackToOriginalGeometry(back);
        EXPECT_TRUE(back->hasEqualGeometry(target));
        const double radius = run == 0 ? 20 : 25;
        EXPECT_NEAR(volume(*back) / (4.0 / 3 * kPi * radius * radius * radius), 1, 0.02) << run;
    }
}

TEST(AxisAligned3DMarginAdder, GrowsByFractionsOfAVoxelAndByNothing) {
    const SegmentVolume in = ball({40, 40, 40}, {1, 1, 1}, 12, 1);
    SegmentVolume out[3] = {in, in, in};
    for (const double m : {0.0, 1e-7, 0.1, 0.5, 1.0}) {
        AxisAligned3DMarginAdder({m, m, m, m, m, m}).AddMargins(in, out[0], out[1], out[2]);
        EXPECT_NEAR(std::cbrt(volume(out[0]) / volume(in)), 1 + m / 12, 0.03) << m;
    }
}

TEST(AxisAligned3DMarginAdder, ProjectsMarginsAlongTheAxesOfTheirOwnGrid) {
    MMatrix turned;
    turned.RotateZ(kPi / 2);  // x of the beam is y of the margins, y is -x
    const FVoxelSpaceGeometry beam(turned, 40, 40, 40, 1, 1, 1);
    const FVoxelSpaceGeometry original(MMatrix(), 40, 40, 40, 1, 1, 1);
    AxisAligned3DMarginAdder adder({2, 4, 6, 8, 10, 12}, original, beam, MMatrix());
    SegmentVolume in(40, 40, 40, 1, 1, 1);
    in.setPixel(20, 20, 20, 255);
    SegmentVolume out[3] = {in, in, in};
    adder.AddMargins(in, out[0], out[1], out[2]);
    double e[6];
    out[0].GetExtendWithSubPixelAccuracy(e[0], e[1], e[2], e[3], e[4], e[5]);
    EXPECT_NEAR_VECTOR(Vector(e[0], e[1], e[2]), Vector(20 - 6, 20 - 4, 20 - 10), 0.87);
    EXPECT_NEAR_VECTOR(Vector(e[3], e[4], e[5]), Vector(21 + 8, 21 + 2, 21 + 12), 0.87);
}

}  // namespace
