#include <trelis/volume_image/image_creator.h>

#include <tuple>

#include <tests/volume_image/stack.h>

namespace {

TEST(ImageCreator, RejectsASliceForTheFirstRuleItBreaks) {
    Series otherStudy;
    otherStudy.parent = L"other";
    Slices slices{0.0, 2.0, 2.101};
    Slice& slice = slices[2];
    slice.rescaleIntercept = 0.001;
    slice.image.SetResMM(1.0, 1.009, 1.0);
    ImageCreator creator(true);
    EXPECT_TRUE(creator.AddSlice(&slices[0]) && creator.AddSlice(&slices[1]));
    EXPECT_TRUE(ImageCreator(creator).AddSlice(&slice));
    creator.SetRequireSameSeries(false);
    // One rule more is broken in each step; the slice that is named, by its index.
    const std::tuple<ResultCode, int, std::function<void()>> steps[] = {
        {ResultCode::UndefinedPixelConversion, -1, [&] { slice.pixelSlope = kNaN; }},
        {ResultCode::FrameMismatch, 0, [&] { slice.frame = L"other"; }},
        {ResultCode::DuplicatePlane, 1, [&] { slice.geometry.TranslateZ(-0.01); }},
        {ResultCode::OrientationMismatch, -1, [&] { slice.geometry.RotateX(0.001); }},
        {ResultCode::RescaleMismatch, 0, [&] { slice.rescaleSlope = 1.0011; }},
        {ResultCode::RescaleMismatch, 0, [&] { slice.rescaleSlope = kNaN; }},
        {ResultCode::ModalityMismatch, 0, [&] { slice.modality = L"MR"; }},
        {ResultCode::ParentMismatch, 0, [&] { slice.series = &otherStudy; }},
        {ResultCode::SeriesMismatch, -1, [&] { creator.SetRequireSameSeries(true); }},
        {ResultCode::SeriesMismatch, -1, [&] { slice.image.SetResMM(1.0, 1.01, 1.0); }},
        {ResultCode::LocalizerImage, -1, [&] { slice.imageType = L"DERIVED\\LOCALIZER"; }},
        {ResultCode::NoPixelData, -1, [&] { slice.hasPixelData = false; }},
        {ResultCode::NoSlice, -1, [&] { slice.series = nullptr; }},
    };
    const ISliceVolumeDefinition* offender = nullptr;
    for (const auto& [code, named, spoil] : steps) {
        spoil();
        EXPECT_FALSE(creator.AddSlice(&slice));
        EXPECT_EQ(creator.GetLastValidateError(offender), code);
        EXPECT_EQ(offender, named < 0 ? nullptr : &slices[static_cast<unsigned>(named)]);
    }
    slices[0].modality = slices[1].modality = L"XA";
    ImageCreator unsupported(false);
    EXPECT_TRUE(unsupported.AddSlice(&slices[0]) && unsupported.AddSlice(&slices[0])) << "again";
    EXPECT_FALSE(unsupported.AddSlice(&slices[1]) || unsupported.AutoConfigure());
    EXPECT_EQ(unsupported.GetLastValidateError(offender), ResultCode::UnsupportedModality);
}

TEST(ImageCreator, DescribesPlanesAlongThePatientAxis) {
    const Vector x = Vector::P_X, y = Vector::P_Y, z = Vector::P_Z;
    const std::tuple<MMatrix, int, double> cases[] = {
        {{x, y, z}, 2, 1}, {{x, -y, -z}, 2, -1}, {{x, z, -y}, 1, -1},
        {{y, z, x}, 0, 1}, {{y, -z, -x}, 0, -1}, {{x, {0, 0.8, 0.6}, {0, -0.6, 0.8}}, 3, 1},
    };
    for (const auto& [axes, direction, sign] : cases) {
        Slices slices{{14, axes}, {10, axes}, {12, axes}, {17.95, axes}, {20.05, axes}};
        ImageCreator creator = configured(slices);
        EXPECT_EQ(static_cast<int>(creator.GetDirection()), direction);
        std::deque<ImageCreator::InputPlaneInfo> inputs;
        std::deque<ImageCreator::OutputPlaneInfo> outputs;
        creator.GetOutputPlaneInfo(outputs);
        EXPECT_NEAR(outputs.at(5).position, sign * 20, 1e-9);
        EXPECT_TRUE(outputs[3].index == 4 && outputs[3].isInterpolated);
        creator.SetBindingSlice(4);
        creator.GetInputPlaneInfo(inputs);
        EXPECT_EQ(inputs.at(3).position, sign * creator.GetBindingPD());
        EXPECT_TRUE(inputs[3].isBindingPlane && !inputs[4].isBindingPlane);
        EXPECT_NEAR(creator.GetFirstOutputPlaneDistance(), 9.95, 1e-9);
    }
}

TEST(ImageCreator, ListsTheNearestSliceUpToAPlaneJustBeyondTheLast) {
    const Slices slices{0, 1.92, 2.03, 3.95};
    ImageCreator creator = configured(slices, 2.0);
    creator.SetBindingSlice(1);
    EXPECT_EQ(Built(creator).spec.slices, (Pointers{&slices[0], &slices[2], &slices[3]}));
    EXPECT_EQ(creator.GetZSize(), 3);
}

TEST(ImageCreator, SizesByTheSpacingOfMostSlicesAndKeepsTheSizeWhenTuned) {
    Slices slices;
    for (const double res : {0.977, 0.976, 0.977, 0.976, 0.5}) {
        const double distance = 2.0 * static_cast<double>(slices.size());
        slices.emplace_back(MMatrix(), distance, -50, res, 1000, 2, res, Slice::ramp);
        const double yRes[] = {0.29, 0.290004, 0.28, 0.28002, 0.6};
        slices.back().image.SetResMM(res, yRes[slices.size() - 1], 1.0);
    }
    ImageCreator creator = configured(slices);
    EXPECT_EQ(creator.GetXSize(), 1001) << "the smaller spacing of two";
    EXPECT_EQ(creator.GetYSize(), 6) << "1.844 mm at 0.29, of which there are two";
    creator.SetXSize(100);
    creator.SetdZ(2.5);  // 0; 2.5 between 2 and 4; 5 between 4 and 6; 7.5 between 6 and 8
    const VolumeImageSpec spec = Built(creator).spec;
    EXPECT_EQ(spec.size, QVolumeSize(100, creator.GetYSize(), 4, 9.77, spec.size.GetYResMM(), 2.5));
    EXPECT_NEAR(spec.geometry.GetTranslation().x, -50 + 977 / 2.0, 1e-9);
    EXPECT_EQ(spec.slices, (Pointers{&slices[0], &slices[1], &slices[2], &slices[3], &slices[4]}));
    EXPECT_EQ(spec.rangeSecond, 5);
}

TEST(ImageCreator, MakesASeriesWithTheMissingPlanes) {
    Slices slices{0.02, 2, 4, 10};
    ImageCreator creator = configured(slices);
    const auto makeSeries = [&](const ImageSeriesSpec& spec) {
        EXPECT_EQ(spec.entries.size(), 6U);
        double z = 0.5;
        for (const ImageSeriesSpec::Entry& entry : spec.entries) {
            const bool missing = z > 6 && z < 10;
            EXPECT_EQ(entry.isInterpolated, missing);
            EXPECT_EQ(entry.source, &slices[z > 10 ? 3 : z > 4 ? 2 : z > 2 ? 1 : 0]);
            EXPECT_EQ(entry.imageType.find(L"DERIVED\\SECONDARY\\AXIAL") == 0, missing);
            EXPECT_NEAR(entry.geometry.GetTranslation().z, z, 1e-12);
            EXPECT_NEAR(entry.image.GetPixel(2, 1, 0), 1000 + 10 * z + 2.5, 0.51);
            z += 2;
        }
        return Pointers(6, &slices[0]);
    };
    slices[0].modality = L"PT";
    EXPECT_FALSE(creator.IsIheroCompliant() || creator.MakeIheroCompliant(makeSeries));
    slices[0].modality = L"CT";
    EXPECT_TRUE(creator.MakeIheroCompliant(makeSeries) && creator.IsIheroCompliant());
    const Series other;
    slices[1].series = &other;
    slices.pop_back();
    EXPECT_TRUE(configured(slices).MakeIheroCompliant([&slices](const ImageSeriesSpec& spec) {
        EXPECT_EQ(spec.entries.size(), 3U);
        EXPECT_EQ(spec.entries[2].geometry, slices[2].geometry);
        EXPECT_EQ(spec.entries[1].source, &slices[1]);
        return Pointers{};
    }));
}

TEST(ImageCreator, NeverExtrapolatesAPlaneExactlyTheToleranceAboveASlice) {
    const auto grey = [](const Vector& p) { return p.z < 0.4 ? 1000 : p.z < 1 ? 2000 : 0; };
    const Slices slices{{-0.2, {}, grey}, {0, {}, grey}, {2.1, {}, grey}};
    ImageCreator creator = configured(slices, 0.1);
    creator.SetBindingSlice(1);
    creator.MakeIheroCompliant([](const ImageSeriesSpec& spec) {
        EXPECT_EQ(spec.entries.at(1).image.GetPixel(0, 0, 0), 1500);
        EXPECT_EQ(spec.entries.at(3).image.GetPixel(0, 0, 0), 1905);
        return Pointers{};
    });
}

TEST(ImageCreatorDeathTest, EndsTheProcessOnBrokenPreconditions) {
    const auto black = [](const Vector&) { return 0; };
    const Slices slices{0, 2, 4}, far{{1e9, {}, black}, {1e9 + 2, {}, black}};
    ImageCreator creator = configured(slices);
    EXPECT_DEATH(creator.SetBindingSlice(4), "binding slice out of range");
    for (const double dZ : {0.0, -1.0, 1e-9, 1e-300, kNaN, 1 / 0.0}) {
        EXPECT_DEATH(creator.SetdZ(dZ), "plane separation out of range");
    }
    EXPECT_DEATH(configured(far).SetdZ(3e-7), "plane separation out of range");
    EXPECT_DEATH(ImageCreator(false).ReConfigure(), "fewer than two input planes");
    Slices below{0, 4, 6}, above{6, 2, 0};
    below[0].pixelSlope = above[0].pixelSlope = kNaN;
    EXPECT_DEATH(configured(below).MakeIheroCompliant({}), "pixel conversion undefined");
    EXPECT_DEATH(configured(above).MakeIheroCompliant({}), "pixel conversion undefined");
}

}  // namespace
