#include <trelis/dose/dose_volume_histogram.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

#include <gtest/gtest.h>

#include <bench/dose/analytic_dvh.h>
#include <bench/dose/plain_dvh.h>
#include <tests/support/reporter.h>
#include <tests/support/segments.h>
#include <trelis/dose/dose_coverage.h>
#include <trelis/dose/dose_super_sampling.h>
#include <trelis/foundation/bad_cast.h>

namespace {

using NSegment::SegmentVolume;
using trelis::DvhData;
using Dose = QVolume<unsigned int>;
using Geometry = FVoxelSpaceGeometry;

QProgressReporterNull nobody;

Geometry placed(const MMatrix& m, const QVolumeSize& v) {
    return {
        m, v.GetXSize(), v.GetYSize(), v.GetZSize(), v.GetXResMM(), v.GetYResMM(), v.GetZResMM()};
}

template <typename T, typename Function>
QVolume<T> doseOn(const GridSize& size, const Vector& voxel, const Function& function) {
    QVolume<T> dose(size.x, size.y, size.z, voxel.x, voxel.y, voxel.z);
    forEachVoxel(size, [&](int x, int y, int z) {
        dose.SetPixel(x, y, z, static_cast<T>(function(x, y, z)));
    });
    return dose;
}

/// Some structure, and a dose of noise or a gradient in a single plane or several, on a grid that
/// is aligned with that of the structure or rotated, near it or far away.
template <typename T>
struct RandomCase {
    RandomCase(Random& random, double largestVoxel)
        : structure(randomSegment(
              random, {random.integer(2, 40), random.integer(2, 20), random.integer(1, 12)},
              {random.number(0.5, 2), random.number(0.5, 2), random.number(0.5, 5)})),
          geometry(random.rigid(1.0), structure.xsize(), structure.ysize(), structure.zsize(),
                   structure.xres(), structure.yres(), structure.zres()) {
        parallel = random.integer(0, 1) == 0;
        const Vector shift = random.vector(random.integer(0, 3) == 0 ? 40 : 6);
        doseAt = parallel ? geometry.GetTransform() : random.rigid(1.0);
        doseAt.SetTranslation(geometry.GetTransform().GetTranslation() + shift);
        const bool noise = random.integer(0, 1) == 0;
        const Vector gradient = random.vector(100);
        const int planes = random.integer(0, 3) == 0 ? 1 : random.integer(2, 7);
        const auto edge = [&] { return random.number(0.8, largestVoxel); };
        const GridSize size{random.integer(1, 9), random.integer(1, 9), planes};
        dose = doseOn<T>(size, {edge(), edge(), edge() / 4}, [&](int x, int y, int z) {
            const double ramp = std::max(0.0, 1000 + gradient.Dot(Vector(x, y, z)));
            return noise ? random.integer(0, 60000) : ramp;
        });
    }

    SegmentVolume structure;
    Geometry geometry;
    bool parallel;
    MMatrix doseAt;
    QVolume<T> dose;
};

void expectEqualBins(const std::vector<double>& bins, const std::vector<double>& expected,
                     double factor) {
    const double total = std::accumulate(expected.begin(), expected.end(), 0.0) * factor;
    double difference = 0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        difference = std::max(difference, std::abs(bins[i] - expected[i] * factor));
    }
    EXPECT_LE(difference, 1e-12 * total);
}

template <typename T>
void compareWithPlainSampling(Random& random) {
    const RandomCase<T> c(random, 5);
    const Geometry doseGeometry = placed(c.doseAt, c.dose);
    const double step = random.number(0.1, 3);
    const double maxValue = random.number(30, 70000);
    const double offset = random.integer(0, 1) * 7.0;
    const auto plain = bench::plainSample(c.dose, doseGeometry, c.structure, c.geometry, step,
                                          maxValue, offset, 500);
    std::vector<double> bins(500, 7.0);
    double width, min, max;
    Vector minAt, maxAt;
    trelis::CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
        c.dose, doseGeometry, c.structure, c.geometry, maxValue, offset, step, 500, bins.data(),
        width, min, minAt, max, maxAt, nobody);
    expectEqualBins(bins, plain.bins, 1.0);
    EXPECT_TRUE(width == plain.binWidth && min == plain.min && max == plain.max);
    EXPECT_NEAR_VECTOR(minAt, plain.minAt, 1e-9);
    EXPECT_NEAR_VECTOR(maxAt, plain.maxAt, 1e-9);

    const auto coverage = bench::plainCoverage(doseGeometry, c.structure, c.geometry);
    double weight, covered;
    int count;
    trelis::CalculateDoseCoverageForStructure(c.dose, doseGeometry, c.structure, c.geometry, weight,
                                              covered, count, nobody);
    EXPECT_EQ(count, coverage.count);
    EXPECT_NEAR(weight, coverage.structureWeight, 1e-9 * weight);
    EXPECT_NEAR(covered, coverage.coveredWeight, 1e-9 * weight);
}

TEST(SuperSampling, EqualsReadingEveryLatticePointByItself) {
    Random random(60);
    for (int i = 0; i < 400 && !HasFailure(); ++i) {
        SCOPED_TRACE(i);
        compareWithPlainSampling<unsigned int>(random);
        compareWithPlainSampling<unsigned short>(random);
    }
}

TEST(SuperSampling, LosesNoPointToTheDriftOfNegativeSteps) {
    // Rows of 29,700 points against the x axis of the structure, each step rounded by 1.5 units.
    const double voxel = 33 * 88.49 / 65536;
    Dose dose(900, 3, 3, voxel, 1, 1);
    for (int i = 0; i < 900 * 9; ++i) {
        dose.SetPixel(i % 900, i / 900 % 3, i / 2700, static_cast<unsigned>(1000 + i % 900));
    }
    MMatrix opposed;
    opposed.SetUnitAxisX({-1, 0, 0});
    opposed.SetUnitAxisY({0, -1, 0});
    SegmentVolume structure(40, 6, 4, 1, 1, 1);
    forEachVoxel({40, 6, 4},
                 [&](int x, int y, int z) { structure.setPixel(x, y, z, x == 3 ? 255 : 127); });
    const Geometry around({}, 40, 6, 4, 1, 1, 1);
    const auto plain =
        bench::plainSample(dose, placed(opposed, dose), structure, around, 0.001, 5000, 0, 300);
    std::vector<double> bins(300);
    double binWidth, minimum, maximum;
    Vector minimumAt, maximumAt;
    trelis::CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
        dose, placed(opposed, dose), structure, around, 5000, 0, 0.001, 300, bins.data(), binWidth,
        minimum, minimumAt, maximum, maximumAt, nobody);
    expectEqualBins(bins, plain.bins, 1.0);
    EXPECT_EQ(maximum, plain.max);
}

TEST(DoseVolumeHistogram, SamplesARefinedCopyAndAddsStatistics) {
    Random random(61);
    for (int i = 0; i < 250 && !HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const RandomCase<unsigned int> c(random, 30);
        const bool plane = c.dose.GetZSize() == 1;
        const bool keepPlanes = plane || (c.parallel && c.geometry.zres() >= c.dose.GetZResMM());
        const Dose refined = bench::plainRefined(c.dose, keepPlanes);
        const double volumes[] = {random.number(10, 1000), 5000000, 5000001};
        const double volume = volumes[i % 3];
        const double largestStep = volume > 5000000 ? 2.6 : 1.0;
        const double step = std::min(largestStep, std::pow(volume, 0.33333) / 7);
        const auto plain = bench::plainSample(refined, placed(c.doseAt, refined), c.structure,
                                              c.geometry, step, 5000, 0, 300);
        const auto coverage =
            bench::plainCoverage(placed(c.doseAt, c.dose), c.structure, c.geometry);
        DvhData data;
        trelis::CalculateDoseVolumeHistogram(c.dose, c.doseAt, 0.01, 0, c.structure, c.geometry,
                                             volume, 5000, 300, data, nobody);
        expectEqualBins(data.bins, plain.bins, 1.0);
        EXPECT_DOUBLE_EQ(data.binWidth, plain.binWidth * 0.01);
        EXPECT_DOUBLE_EQ(data.minDose, plain.min * 0.01);
        EXPECT_DOUBLE_EQ(data.maxDose, plain.max * 0.01);
        EXPECT_EQ(data.coveredVoxelCount, coverage.count);
        EXPECT_NEAR(data.doseCoverage, coverage.fraction(), 1e-9);
        EXPECT_TRUE(data.volume == volume && std::isnan(data.meanDose));

        trelis::CalculateDoseVolumeHistogramAndStatistics(
            c.dose, c.doseAt, 0.01, 0, c.structure, c.geometry, volume, 5000, 300, data, nobody);
        const auto statistics = bench::plainStatistics(plain.bins, data.binWidth);
        const double sampling = statistics.total / volume / std::max(1e-8, coverage.fraction());
        const double unit = plane ? 100 : 1000;
        EXPECT_NEAR(data.samplingCoverage, sampling, 1e-9 * sampling);
        EXPECT_DOUBLE_EQ(data.volume, volume / unit);
        expectEqualBins(data.bins, plain.bins, 1 / unit / (sampling >= 1e-6 ? sampling : 1.0));
        EXPECT_NEAR(data.meanDose, statistics.mean, 1e-9);
        EXPECT_NEAR(data.standardDeviation, statistics.deviation, 1e-5);
    }
}

struct Scene {
    SegmentVolume structure;
    Geometry geometry;

    DvhData histogram(const Dose& dose, const MMatrix& at = {}, double scale = 0.01,
                      double volume = 0, FProgressReportingBody& progress = nobody) const {
        DvhData data;
        trelis::CalculateDoseVolumeHistogramAndStatistics(dose, at, scale, 0, structure, geometry,
                                                          volume, data, progress);
        return data;
    }
};

/// A box of 8 x 8 x 6 voxels of 2 mm, in a grid with one more voxel around it.
Scene box() {
    Scene scene{SegmentVolume(10, 10, 8, 2, 2, 2), Geometry({}, 10, 10, 8, 2, 2, 2)};
    forEachVoxel({8, 8, 6},
                 [&](int x, int y, int z) { scene.structure.setPixel(x + 1, y + 1, z + 1, 255); });
    return scene;
}

/// Voxels of 2 mm with a dose that changes by `slopeX` and `slopeZ` from voxel to voxel.
Dose ramp(const GridSize& size, unsigned first, int slopeX, int slopeZ) {
    return doseOn<unsigned int>(size, {2, 2, 2}, [&](int x, int, int z) {
        return first + static_cast<unsigned>(slopeX * x + slopeZ * z);
    });
}

TEST(DoseVolumeHistogram, IsCloseToAnalyticTruth) {
    MMatrix shifted;
    shifted.SetTranslation(0.4, -0.7, 0.9);
    MMatrix rotated = shifted;
    rotated.SetRotation(0.3, -0.5, 0.7);
    for (const bench::Solid* solid : bench::kSolids) {
        const double size = std::cbrt(30000.0 / solid->volume);
        const Geometry around = bench::gridAround(size, {1, 1, 2});
        const Scene scene{bench::rasterised(*solid, size, around), around};
        for (const bench::Field& field : bench::kFields) {
            for (const Geometry& grid : {around, Geometry(shifted, 24, 24, 24, 2.5, 2.5, 2.5),
                                         Geometry(rotated, 40, 40, 40, 2.5, 2.5, 2.5)}) {
                if (field.solid != solid) {
                    continue;
                }
                SCOPED_TRACE(std::string(solid->name) + " " + field.name);
                const DvhData data = scene.histogram(bench::doseOf(field, size, grid),
                                                     grid.GetTransform(), bench::kDoseScale);
                const bench::DvhErrors e = bench::errorsOf(data, field, size);
                EXPECT_TRUE(e.areBelow({1.5, 1.8, 0.35, 0.45, 0.7, 3.0})) << e.text();
            }
        }
    }
}

TEST(DoseVolumeHistogram, HoldsAUniformDoseInOneBin) {
    const DvhData data = box().histogram(ramp({10, 10, 8}, 5000, 0, 0));
    EXPECT_TRUE(data.minDose == 50 && data.maxDose == 50 && data.standardDeviation == 0);
    EXPECT_NEAR(data.meanDose, 50, data.binWidth);
    EXPECT_DOUBLE_EQ(data.binWidth, 6001 / 99999.0 * 0.01);
    const auto full = std::max_element(data.bins.begin(), data.bins.end());
    const auto bin = static_cast<double>(full - data.bins.begin());
    EXPECT_DOUBLE_EQ(data.modalDose, bin * data.binWidth);
    EXPECT_DOUBLE_EQ(data.medianDose, (bin + 0.5) * data.binWidth);
    EXPECT_NEAR(*full, data.volume, 1e-12);
    EXPECT_TRUE(data.coveredVoxelCount == 8 * 8 * 6 && data.HasValidDoseCoverage());
}

TEST(DoseVolumeHistogram, OfNoDoseIsOneBinWithTheWholeVolume) {
    const DvhData data = box().histogram(ramp({3, 3, 3}, 0, 0, 0), {}, 0.01, 7000);
    EXPECT_EQ(data.bins.size(), 100000U);
    EXPECT_TRUE(data.bins[0] == 7 && data.volume == 7);
    EXPECT_EQ(data.binWidth + data.minDose + data.maxDose + data.meanDose + data.medianDose +
                  data.modalDose + data.standardDeviation,
              0);
    EXPECT_TRUE(data.doseCoverage == 1 && data.coveredVoxelCount == 0);
}

TEST(DoseVolumeHistogram, OutsideTheDoseGridCoversNothing) {
    MMatrix far;
    far.SetTranslation(100, 0, 0);
    const DvhData data = box().histogram(ramp({3, 3, 3}, 9, 0, 0), far);
    EXPECT_TRUE(data.doseCoverage == 0 && !data.HasValidDoseCoverage());
    EXPECT_TRUE(data.minDose == 0 && data.maxDose == 0 && data.volume > 2);
}

TEST(DoseVolumeHistogram, NeverTriesADoseThatBecomesTheMinimumAsTheMaximum) {
    const DvhData data = box().histogram(ramp({1, 1, 5}, 1000, 0, -100));
    EXPECT_TRUE(data.minDose == 6 && data.maxDose == 9);
    EXPECT_NEAR_VECTOR(data.maxDosePosition, Vector(0, 0, -2), 1e-12);
    const DvhData once = box().histogram(ramp({1, 1, 2}, 1000, 0, -100));
    EXPECT_TRUE(once.maxDose == 0 && once.minDose == 0) << "no maximum was defined";
}

TEST(DoseAreaHistogram, IsOfOnePlaneAndNotNormalised) {
    const Scene scene = box();
    MMatrix at;
    at.SetTranslation(0, 0, 1);
    DvhData data;
    const auto run = [&](const Dose& dose, double area) {
        trelis::CalculateDoseAreaHistogramAndStatistics(dose, at, 0.01, 0, scene.structure,
                                                        scene.geometry, area, data);
    };
    run(ramp({10, 10, 1}, 0, 100, 0), 0);
    EXPECT_EQ(data.volume, 0) << "plane 0 is empty";
    run(ramp({10, 10, 1}, 0, 100, 0), 256);
    EXPECT_EQ(data.volume, 256);
    EXPECT_NEAR(std::accumulate(data.bins.begin(), data.bins.end(), 0.0), 256, 3);
    EXPECT_DOUBLE_EQ(data.binWidth, (900 * 1.2 + 1) / 99999 * 0.01);
    EXPECT_NEAR(data.meanDose, 4.5, 0.01);
    EXPECT_NEAR(data.maxDose, 8.5, 0.01);
    EXPECT_TRUE(std::isnan(data.samplingCoverage));
    EXPECT_THROW(run(ramp({2, 2, 2}, 1, 0, 0), 0), std::out_of_range);
}

TEST(DoseVolumeHistogram, RefusesOffsetsForeignGeometriesAndHugeBinIndices) {
    const Scene scene = box();
    const Dose dose = ramp({10, 10, 8}, 4000000000U, 0, 0);
    DvhData data;
    const auto run = [&](unsigned offset, const Geometry& geometry, int binCount) {
        trelis::CalculateDoseVolumeHistogram(dose, {}, 1, offset, scene.structure, geometry, 1, 1,
                                             binCount, data, nobody);
    };
    EXPECT_THROW(run(1, scene.geometry, 10), std::out_of_range);
    EXPECT_THROW(run(0, scene.geometry, 100), trelis::BadCast);
    for (const int binCount : {-5, 0, 1, 2}) {
        run(0, scene.geometry, binCount);
        EXPECT_EQ(data.bins.size(), static_cast<std::size_t>(std::max(0, binCount)));
    }
    EXPECT_DEATH(run(0, Geometry({}, 10, 10, 8, 2, 2, 2.1), 10),
                 "attempted with invalid geometries");
}

TEST(DoseVolumeHistogram, IsCancelledByTheReporterAtEveryCall) {
    const Dose dose = ramp({4, 4, 4}, 0, 1, 0);
    RecordingReporter listener;
    box().histogram(dose, {}, 1, 0, listener);
    const std::vector<double>& fractions = listener.fractions();
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()) && fractions.back() == 1);
    for (int call = 1; call <= static_cast<int>(fractions.size()); ++call) {
        RecordingReporter aborting(call);
        EXPECT_THROW(box().histogram(dose, {}, 1, 0, aborting), QAbortPressed);
    }
}

}  // namespace
