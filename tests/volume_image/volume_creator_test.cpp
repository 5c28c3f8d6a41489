#include <trelis/volume_image/volume_creator.h>

#include <algorithm>
#include <tuple>

#include <tests/support/reporter.h>
#include <tests/volume_image/stack.h>
#include <trelis/volume_image/pixel_conversion.h>

namespace {

TEST(VolumeCreator, BringsBackALinearFunctionOfPosition) {
    const Vector x = Vector::P_X, y = Vector::P_Y, z = Vector::P_Z;
    for (unsigned i = 0; i < 60; ++i) {
        Random random(i);
        const MMatrix orientations[] = {{x, y, z}, {x, z, -y}, {y, -z, -x}, random.rigid(1.0)};
        const MMatrix axes = orientations[random.integer(0, 3)];
        const Vector corner = random.vector(200), gradient = random.vector(2.8);
        Vector inAxes = axes.Rotate(corner);
        const auto grey = [&](const Vector& p) { return 20000 + gradient.Dot(p - corner); };
        const double separation = random.number(0.8, 4), res = random.number(0.5, 2);
        const bool gaps = i % 2 == 0, shifts = i % 4 < 2, mixed = i % 4 == 3;
        const double jitter = i % 3 == 0 && !mixed ? 0.04 : 0.0;
        // Beyond the outer pixel centres the rounding of the slices themselves counts more.
        const double tolerance = mixed ? 1.63 : 1.001;
        Slices slices;
        for (int s = 0; s < 12; ++s) {
            const double shift = shifts ? res * random.integer(0, 3) : 0.0;
            const int zoom = mixed && s % 3 == 0 ? 2 : 1;
            slices.emplace_back(axes, inAxes.z + random.number(-jitter, jitter), inAxes.x + shift,
                                inAxes.y - shift, 24 / zoom, 16 / zoom, res * zoom, grey);
            slices.back().modality = std::vector{L"CT", L"MR", L"PT", L"US"}[i % 4];
            slices.back().rescaleIntercept = i % 4 == 0 ? 0 : s;
            inAxes.z += separation * (gaps ? random.integer(1, 3) : 1);
        }
        Built built(configured(slices));
        ASSERT_EQ(built.construct(), ResultCode::Ok);
        // The voxel centres of the finished volume lie where the slices' pixels were.
        MMatrix place = built.spec.geometry;
        const QVolumeSize& size = built.spec.size;
        place.TranslateZ((1 - size.GetZResMM()) / 2);
        const FVoxelSpaceGeometry grid(place, size.GetXSize(), size.GetYSize(), size.GetZSize(),
                                       size.GetXResMM(), size.GetYResMM(), size.GetZResMM());
        const int edge = shifts ? 3 : 0, width = grid.xsize() - 2 * edge;
        for (int k = 0; k < grid.zsize() * width * (grid.ysize() - 2 * edge); ++k) {
            const int column = k % width + edge, plane = k / width % grid.zsize();
            const int row = k / width / grid.zsize() + edge;
            const double value = grey(grid.VoxelToReal(Vector(column, row, plane)));
            ASSERT_NEAR(built.at(column, row, plane), value, tolerance) << "stack " << i;
        }
    }
}

TEST(VolumeCreator, ConvertsBetweenScalesAndSaturates) {
    for (unsigned i = 0; i < 100; ++i) {
        Random random(i);
        const auto grey = [&random](const Vector&) { return random.integer(0, 65535); };
        const auto slope = [&] { return i % 3 == 0 ? 1.0 : random.number(0.2, 2); };
        const auto offset = [&] { return i % 4 == 0 ? 9 : random.integer(-20000, 20000); };
        Slices slices{{0, {}, grey}, {4, {}, grey}};
        for (Slice& slice : slices) {
            slice.pixelSlope = slope();
            slice.pixelOffset = offset();
            slice.rescaleIntercept = -1024;
        }
        Built built(configured(slices, 1.0));
        const double s = built.pixelSlope = slope();
        const int off = built.pixelOffset = offset();
        slices[i % 2].rescaleIntercept = kNaN;
        std::tie(slices[0].rescaleSlope, slices[1].rescaleSlope) = std::pair(kNaN, 3.0);
        ASSERT_EQ(built.construct(), ResultCode::Ok);
        EXPECT_EQ(built.rescaleSlope, 3 * s);
        EXPECT_EQ(built.rescaleIntercept, off * built.rescaleSlope - 1024);
        for (int z = 0; z <= 4; ++z) {
            const auto share = [&](const Slice& slice, double weight) {
                return (slice.image.GetPixel(2, 1, 0) + 1.0 * slice.pixelOffset) * weight *
                       slice.pixelSlope / s;
            };
            const double sum = share(slices[0], (4.0 - z) / 4) + share(slices[1], z / 4.0);
            const double value = std::clamp(sum - off + 0.5, 0.0, 65535.0);
            ASSERT_EQ(built.at(2, 1, z), static_cast<int>(value)) << "case " << i;
        }
    }
}

TEST(VolumeCreator, SpansTheJointRangeOfDifferentScales) {
    // Modality, slopes, offsets, lowest pixel where all else is 1,000; slope and offset found.
    const std::tuple<const wchar_t*, double, double, int, int, int, double, int> cases[] = {
        {L"PT", 2.0, 2.0 + 9e-7, 7, 7, 0, 2.0, 7},
        {L"CT", 2.0, 3.0, 7, 8, 0, 2.0, 7},
        {L"PT", 2.0, 3.0, 0, 0, 0, 3000 / 65535.0, 0},
        {L"MR", 1.0, 65.535, -16, 0, 0, 65551 / 65533.0, -17},
        {L"MR", 2.0, 3.0, 0, 500, 1000, 2500 / 65533.0, 52425},
        {L"PT", 1.0, 0.5, 0, 1000, 1000, 1.0, 0},
        {L"PT", 2.0, 2.0 + 1.1e-6, 7, 7, 0, 2000.0011077 / 65533.0, 458},
        {L"PT", 0.24, 65.53524, 0, 0, 1, 1.0, 0},
        {L"PT", 0.26, 65.53526, 0, 0, 1, 65535 / 65533.0, -1},
        {L"PT", 1.0, 1.00001, 0, 0, 1000, 1000 / 2e9, 1999999999},
    };
    for (const auto& [modality, slope0, slope1, offset0, offset1, lowest, slope, offset] : cases) {
        Slices slices(2, Slice(0.0, {}, [](const Vector&) { return 1000.0; }));
        slices[0].modality = modality;
        std::tie(slices[0].pixelSlope, slices[1].pixelSlope) = std::tuple(slope0, slope1);
        std::tie(slices[0].pixelOffset, slices[1].pixelOffset) = std::tuple(offset0, offset1);
        slices[0].image.SetPixel(1, 1, 0, static_cast<unsigned short>(lowest));
        double s = 0, rescale = 0, intercept = 0;
        int off = 0;
        CalculatePixelOutputConversionFactors({&slices[0], &slices[1]}, s, off, rescale, intercept);
        EXPECT_NEAR(s, slope, 1e-12) << slope1;
        EXPECT_EQ(off, offset) << slope1;
    }
}

TEST(VolumeCreator, LeavesZeroWhereNoSliceIs) {
    const auto grey = [](const Vector&) { return 1000.0; };
    Slices slices{{MMatrix(), 0, 0, 0, 4, 4, 1, grey}, {MMatrix(), 2, 3, 2, 4, 4, 1, grey}};
    for (const auto& [from, to] : {std::pair(0, 0), std::pair(0, -16), std::pair(-16, -16)}) {
        slices[0].pixelOffset = slices[1].pixelOffset = from;
        Built built(configured(slices, 1.0));
        std::tie(built.pixelSlope, built.pixelOffset) = std::pair(1.0, to);
        ASSERT_EQ(built.construct(), ResultCode::Ok);
        const int full = 1000 + from - to;
        for (int i = 0; i < 6 * 7; ++i) {
            const int x = i % 7, y = i / 7;
            const int lower = x < 4 && y < 4 ? full : 0, upper = x >= 3 && y >= 2 ? full : 0;
            EXPECT_EQ(built.at(x, y, 0), lower);
            EXPECT_EQ(built.at(x, y, 1), (lower + upper) / 2);
        }
    }
}

TEST(VolumeCreator, CopiesTheLastSliceWhenItLiesJustWithinTheTolerance) {
    const Slices slices{-35.9, -35, -34.1, -33.3};
    Built built(configured(slices));
    ASSERT_EQ(built.construct(), ResultCode::Ok);
    EXPECT_EQ(built.at(0, 0, 3), slices[3].image.GetPixel(0, 0, 0));
}

TEST(VolumeCreator, CopiesTheNearestSliceThenTheFirstReportsAndCanBeCancelled) {
    const Slices slices{0, 2, 4, 8}, more{0.05, -0.03, 2.0625, 1.9375, 4, 8};
    Built built(configured(slices));
    built.spec.slices = {&more[0], &more[1], &more[2], &more[3], &more[4], &more[5]};
    built.pixelSlope = 5;  // Without an offset it is not a scale.
    RecordingReporter reporter, cancelling(5);
    ASSERT_EQ(built.construct(reporter), ResultCode::Ok);
    EXPECT_EQ(built.at(0, 0, 0), more[1].image.GetPixel(0, 0, 0));
    EXPECT_EQ(built.at(0, 0, 1), more[2].image.GetPixel(0, 0, 0));
    EXPECT_EQ(reporter.fractions(), (std::vector{0.2, 0.4, 0.6, 0.8, 1.0}));
    EXPECT_THROW(built.construct(cancelling), QAbortPressed);
}

TEST(VolumeCreatorDeathTest, FindsTheFirstBrokenRuleAmongItsSlices) {
    Slices slices{0, 2, 4};
    Built built(configured(slices));
    EXPECT_EQ(VolumeCreator(built).ValidateSlices(), ResultCode::Ok);
    slices[2].pixelOffset = trelis::UnknownInteger;
    EXPECT_EQ(VolumeCreator(built).ValidateSlices(), ResultCode::UndefinedPixelConversion);
    EXPECT_DEATH(built.construct(), "pixel conversion undefined");
    std::tie(built.pixelSlope, built.pixelOffset) = std::pair(1.0, 0);
    EXPECT_EQ(built.construct(), ResultCode::UndefinedPixelConversion);
    EXPECT_EQ(built.rescaleSlope, 0) << "nothing is changed";
    const std::pair<ResultCode, std::function<void()>> steps[] = {
        {ResultCode::DuplicatePlane, [&] { slices[2].geometry.TranslateZ(-1.95); }},
        {ResultCode::OrientationMismatch, [&] { slices[2].geometry.RotateX(0.001); }},
        {ResultCode::RescaleMismatch, [&] { slices[2].rescaleIntercept = 1; }},
        {ResultCode::ModalityMismatch, [&] { slices[2].modality = L"MR"; }},
        {ResultCode::UnsupportedModality, [&] { slices[0].modality = L"XA"; }},
    };
    for (const auto& [code, spoil] : steps) {
        spoil();
        EXPECT_EQ(VolumeCreator(built).ValidateSlices(), code);
    }
    built.spec.slices = {&slices[0]};
    EXPECT_EQ(built.construct(), ResultCode::NoSlice) << "none above";
    built.spec.slices = {&slices[0], nullptr};
    EXPECT_EQ(VolumeCreator(built).ValidateSlices(), ResultCode::NoSlice);
}

TEST(VolumeCreator, StaysWithinItsArraysWhateverTheSizes) {
    const double edges[] = {1.0, 0.01, 40.0, 0.0, -1.0, 1e300, kNaN, 1 / 0.0};
    Random random(61);
    const auto upTo = [&random](int largest) { return random.integer(0, largest); };
    for (int i = 0; i < 400; ++i) {
        Slices slices{0, 2, 4, 8};
        Built built(configured(slices));
        for (Slice& slice : slices) {
            slice.image.SetSizeNoAllocation(upTo(5), upTo(5), upTo(2));
            slice.image.SetResMM(edges[upTo(7)], edges[upTo(7)], 1.0);
            upTo(3) > 0 ? slice.image.AllocatePixels() : slice.image.FreePixels();
            slice.geometry.TranslateX(random.number(-9, 9) * (i % 3 == 0 ? 1e9 : 1));
        }
        built.volume.SetSizeNoAllocation(upTo(9), upTo(9), 4);
        built.construct();
        configured(slices);
    }
}

}  // namespace
