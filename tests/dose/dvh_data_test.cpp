#include <trelis/dose/dvh_data.h>

#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <trelis/foundation/diagnostics.h>

namespace {

using trelis::DvhData;

DvhData record(std::vector<double> bins, double binWidth) {
    DvhData data;
    data.bins = std::move(bins);
    data.binWidth = binWidth;
    return data;
}

TEST(DvhData, IsUndefinedAtFirstAndAfterClear) {
    DvhData cleared = record({1, 2}, 0.5);
    cleared.coveredVoxelCount = 3;
    cleared.minDosePosition = {1, 2, 3};
    cleared.Clear();
    for (const DvhData& d : {DvhData(), cleared}) {
        EXPECT_FALSE(d.IsValid() || d.HasValidDoseCoverage() || d.HasValidSamplingCoverage());
        EXPECT_EQ(d.coveredVoxelCount, 0x7FFFDEAD);
        EXPECT_EQ(d.minDosePosition, MVectorTemplate<double>());
        for (const double value :
             {d.binWidth, d.doseCoverage, d.volume, d.minDose, d.maxDose, d.meanDose, d.modalDose,
              d.medianDose, d.standardDeviation, d.samplingCoverage}) {
            EXPECT_TRUE(std::isnan(value));
        }
    }
}

TEST(DvhData, GivesItsValuesAtDoses) {
    constexpr double kUndefined = trelis::Undefined<double>::value;
    const DvhData data = record({8, 6, 4, 2}, 0.5);
    const double cases[][6] = {
        // dose, width, value, interpolated, sampled, exported
        {-0.1, 1, 0, 0, 0, 0},     {0, 1, 8, 8, 7, 14},         {0, 0, 8, 8, 8, 8},
        {0.25, 1, 8, 7, 7, 12},    {0.25, 9, 8, 7, 6, 16},      {0.75, 0, 6, 5, 6, 3},
        {0.6, -1, 6, 5.6, 6, 4.8}, {1.6, 0.1, 2, 2, 2, 1.6},    {2, 0, 2, 2, 2, 0},
        {2.0001, 0, 0, 0, 0, 0},   {kUndefined, 0, 0, 0, 0, 0},
    };
    const auto expectValues = [](const DvhData& d, const double(&c)[6]) {
        EXPECT_DOUBLE_EQ(d.GetValueAt(c[0]), c[2]) << c[0];
        EXPECT_DOUBLE_EQ(d.GetInterpolatedValue(c[0]), c[3]) << c[0];
        EXPECT_DOUBLE_EQ(d.GetSampledValue(c[0], c[1]), c[4]) << c[0];
        EXPECT_DOUBLE_EQ(d.GetSampledValueForExport(c[0], c[1]), c[5]) << c[0];
    };
    for (const auto& c : cases) {
        expectValues(data, c);
    }
    expectValues(record({8, 6}, 1e-7), {0, 0, 0, 0, 0, 0});
    expectValues(record({}, 1), {0, 0, 0, 0, 0, 0});
}

std::wstring lastTrace;

TEST(DvhData, FindsTheBinAtWhichACumulativeHistogramFallsBelowAVolume) {
    SetDebugOutput([](const wchar_t* message) { lastTrace = message; });
    const std::vector<double> bins{10, 8, 8, 3, 0};
    const struct {
        std::vector<double> bins;
        double volume;
        unsigned found;
    } cases[] = {{bins, 10.5, 0},   {bins, 9, 0},       {bins, 8, 2},
                 {bins, 3, 3},      {bins, 0, 3},       {{5}, 1, 0},
                 {{}, 1, 0},        {{10, 9, 8}, 1, 2}, {{5, 5, 5}, 5 + 1e-6, 1},
                 {{10, 9, 0}, 2, 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(record(c.bins, 1).FindThresholdVolume(c.volume), c.found) << c.volume;
    }
    SetDebugOutput(nullptr);
    EXPECT_EQ(lastTrace, L"DVH: FindThresholdVolume(2) = 2\n");
}

TEST(DvhData, CumulatesAndScales) {
    DvhData data = record({1, 2, 3, 4}, 0.5);
    data.Cumulate();
    EXPECT_EQ(data.bins, (std::vector<double>{10, 9, 7, 4}));
    EXPECT_TRUE(data.ScaleToVolume());
    EXPECT_EQ(data.bins, (std::vector<double>{100, 90, 70, 40}));
    data.ScaleTo(1e-7);
    data.ScaleTo(10);
    data.DifferentialToDVolumeDDose();
    EXPECT_EQ(data.bins, (std::vector<double>{20, 18, 14, 8}));
    EXPECT_FALSE(record({1e-7, 5}, 1).ScaleToVolume() || record({}, 1).ScaleToVolume());
    data.volume = 7;
    data.minDose = data.maxDose = data.meanDose = 1;
    data.modalDose = data.medianDose = data.standardDeviation = 2;
    data.ScaleStatistics(3);
    data.ScaleBinWidth(3);
    EXPECT_EQ(data.minDose + data.maxDose + data.meanDose, 9);
    EXPECT_EQ(data.modalDose + data.medianDose + data.standardDeviation, 18);
    EXPECT_EQ(data.binWidth * data.volume, 1.5 * 7);
    data.doseCoverage = 0.9995;
    data.samplingCoverage = 0.8994;
    EXPECT_TRUE(data.HasValidDoseCoverage() && !data.HasValidSamplingCoverage());
}

TEST(DvhData, BecomesNaturalAndBackButForTheFirstBin) {
    DvhData data = record({1, 2, 3, 4}, 0.5);
    data.Naturalize();
    EXPECT_EQ(data.bins[0], 0);
    EXPECT_DOUBLE_EQ(data.bins[2], 2);
    data.UnNaturalize(0.6666666666666666);
    EXPECT_EQ(data.bins[0], 0);
    EXPECT_DOUBLE_EQ(data.bins[3], 4);
}

}  // namespace
