#include <trelis/dose/fine_dose_volume_histogram.h>

#include <cmath>
#include <numeric>
#include <stdexcept>

#include <gtest/gtest.h>

#include <examples/support/analytic_solids.h>
#include <tests/support/reporter.h>
#include <tests/support/segments.h>
#include <trelis/foundation/bad_cast.h>

namespace {

using NSegment::SegmentVolume;

QProgressReporterNull nobody;

/// A structure around the origin, in a frame of its own.
FVoxelSpaceGeometry geometryOf(const SegmentVolume& s) {
    MMatrix turned;
    turned.SetRotation(0.3, -0.2, 0.9);
    return {turned, s.xsize(), s.ysize(), s.zsize(), s.xres(), s.yres(), s.zres()};
}

trelis::DvhData histogram(const SegmentVolume& s, double step, unsigned offset = 0,
                          FProgressReportingBody& progress = nobody) {
    static const auto dose = analytic::obliqueDose();
    trelis::DvhData dvh;
    trelis::CalculateFineDoseVolumeHistogramAndStatistics(dose, MMatrix(), analytic::kDoseScale,
                                                          offset, s, geometryOf(s), 0, {step, step},
                                                          dvh, progress);
    return dvh;
}

double doseAt(const SegmentVolume& s, const Vector& voxel) {
    return analytic::kObliqueMiddle + analytic::kOblique.Dot(geometryOf(s).VoxelToReal(voxel));
}

TEST(FineHistogram, HasTheMomentsOfPartialVolumesInDosesOfAnySizesAlsoPartlyOutside) {
    Random random(7);
    for (const GridSize& d : {GridSize{9, 14, 6}, {1, 9, 8}, {8, 1, 12}, {12, 9, 1}}) {
        SegmentVolume s(12, 9, 7, 1.2, 1.5, 2.4);
        MMatrix turned = random.rigid(1);
        turned.SetTranslation(random.vector(2));
        const FVoxelSpaceGeometry to{turned, d.x, d.y, d.z, 1.5, 2, 2.5}, from = geometryOf(s);
        const auto inDose = [&](const Vector& p) { return to.RealToVoxel(from.VoxelToReal(p)); };
        // Trilinear, so that interpolation finds it everywhere.
        const auto value = [&](const Vector& p) {
            return 100 * (10 + (d.x > 1) * p.x) * (30 - (d.y > 1) * p.y) * (20 + (d.z > 1) * p.z);
        };
        QVolume<unsigned> dose(d.x, d.y, d.z, 1.5, 2, 2.5);
        forEachVoxel(d, [&](int x, int y, int z) {
            dose.SetPixel(x, y, z, static_cast<unsigned>(value(Vector(x, y, z))));
        });
        const auto has = [](double p, int n) {
            return std::abs(p - (n - 1) / 2.0) <= (n - (n > 1)) / 2.0;
        };
        double weight = 0, sums[3] = {};
        forEachVoxel(sizeOf(s), [&](int x, int y, int z) {
            const int w = random.integer(0, 1) * random.integer(128, 255);
            s.setPixel(x, y, z, w);
            weight += w;
            for (const double k : {-0.375, -0.125, 0.125, 0.375}) {
                const Vector cell(x, y, z + k);
                const Vector p = inDose(cell);
                const auto spread = [&](const Vector& half) {
                    return value(inDose(cell + half)) - value(inDose(cell - half));
                };
                const Vector spreads(spread({0.5, 0, 0}), spread({0, 0.5, 0}),
                                     spread({0, 0, 0.125}));
                const double part = has(p.x, d.x) && has(p.y, d.y) && has(p.z, d.z) ? w / 4.0 : 0;
                sums[0] += part;
                sums[1] += part * value(p);
                sums[2] += part * (value(p) * value(p) + spreads.Dot(spreads) / 12);
            }
        });
        const double volume = weight / 255 * 4.32 + (d.x == 1 ? 900 : 0);
        trelis::DvhData dvh;
        trelis::CalculateFineDoseVolumeHistogramAndStatistics(
            dose, turned, 1e-3, 0, s, from, d.x == 1 ? volume : 0, {100, 0.6}, dvh, nobody);
        const double mean = sums[1] / sums[0];
        EXPECT_NEAR(dvh.volume, volume / 1000, 1e-9);
        EXPECT_LT(dvh.doseCoverage, 1);
        EXPECT_NEAR(dvh.samplingCoverage * dvh.doseCoverage, sums[0] / 255 * 4.32 / volume, 1e-9);
        EXPECT_NEAR(dvh.meanDose, mean / 1000, 0.01);
        EXPECT_NEAR(dvh.standardDeviation, std::sqrt(sums[2] / sums[0] - mean * mean) / 1000, 0.05);
    }
}

TEST(FineHistogram, FindsStraightEdgesWithinVoxelsAndPassesOverWhatCleanUpRemoved) {
    SegmentVolume box(9, 9, 9, 2, 2, 2);
    forEachVoxel({3, 3, 3}, [&](int x, int y, int z) {
        box.setPixel(x + 3, y + 3, z + 3, x == 0 ? 51 : 255);
        box.setPixel(x, 0, z + 3, 127);
    });
    const auto dvh = histogram(box, 0.2);
    EXPECT_NEAR(dvh.volume, 2.2 * 2 * 36 / 1000, 1e-9);
    EXPECT_NEAR(dvh.meanDose, doseAt(box, {4.4, 4, 4}), 0.01);
}

TEST(FineHistogram, StaysWithinTheDoseAndDoesNotDependOnTheWidthOfTheBins) {
    const auto ball = analytic::contourStack(analytic::Solid::Sphere, 1);
    QVolume<unsigned> dose(9, 9, 9, 3, 3, 3);
    for (int i = 0; unsigned& v : dose) {
        v = i++ / 3 % 3 == 1 ? 4'000'000'000 : 3'000'000'000;
    }
    trelis::DvhData dvh;
    const auto volumeBelow85Percent = [&](unsigned long long maxValue, int count) {
        trelis::CalculateFineDoseVolumeHistogramAndStatistics(dose, MMatrix(), 1, 0, ball.segment,
                                                              ball.geometry, 0, {}, maxValue, count,
                                                              dvh, nobody);
        return std::accumulate(dvh.bins.begin(), dvh.bins.begin() + count * 17 / 20, 0.0);
    };
    EXPECT_NEAR(volumeBelow85Percent(0, 101), volumeBelow85Percent(0, 100001), 1e-9);
    EXPECT_GE(dvh.minDose, 3e9);
    EXPECT_LE(dvh.maxDose, 4e9);
    EXPECT_THROW(volumeBelow85Percent(1, 3), trelis::BadCast);
}

TEST(FineHistogram, FillsCellsOfEqualDepthEqually) {
    const auto dose = analytic::linearDose(analytic::Gradient::AlongY, 2);
    MMatrix turned;
    turned.SetRotation(0, 0, -analytic::kPi / 4);
    SegmentVolume s(4, 4, 1, 2, 2, 2);
    for (int value = 1; value < 256; ++value) {
        forEachVoxel({2, 2, 1}, [&](int x, int y, int z) {
            s.setPixel(x + 1, y + 1, z, x + y > 0 ? 255 : value);
        });
        const auto dvh = analytic::fineHistogram(dose, {s, {turned, 4, 4, 1, 2, 2, 2}},
                                                 {2.0 / (2 + value % 9), 2});
        EXPECT_NEAR(dvh.meanDose, analytic::kMiddleDose, 1e-4) << value;
    }
}

TEST(FineHistogram, RefusesBadArgumentsAndPassesCancellationOn) {
    SegmentVolume s(5, 5, 5, 1, 1, 1);
    s.setPixel(2, 2, 2, 255);
    EXPECT_THROW(histogram(s, 1, 1), std::out_of_range);
    EXPECT_THROW(histogram(s, 0), std::invalid_argument);
    for (int i = 1; i <= 4; ++i) {
        RecordingReporter reporter(i);
        EXPECT_THROW(histogram(s, 1, 0, reporter), QAbortPressed);
    }
}

}  // namespace
