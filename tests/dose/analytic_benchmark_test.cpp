#include <cmath>

#include <gtest/gtest.h>

#include <examples/support/analytic_solids.h>

namespace {

/// How many values of the settings are more than 3 % off the closed formulas.
template <typename Settings>
int valuesBeyond(const Settings& settings, double voxel) {
    int beyond = 0;
    for (analytic::Setting setting : settings) {
        setting.voxel = voxel;
        analytic::forEachError(
            setting, 0.0,
            [](const auto& d, const auto& s) { return analytic::fineHistogram(d, s); },
            [&](auto, auto, int, double error) {
                beyond += std::abs(error) <= analytic::kTolerance ? 0 : 1;
            });
    }
    return beyond;
}

TEST(FineHistogram, HasFewerValuesOffTheClosedFormulasThanTheBestProgramOfThePublication) {
    for (const double voxel : {0.5, 2.0}) {
        EXPECT_LT(valuesBeyond(analytic::kFineContours, voxel), 5) << "of 260, " << voxel << " mm";
        EXPECT_LT(valuesBeyond(analytic::kCoarseContours, voxel), 18) << "of 195";
    }
}

}  // namespace
