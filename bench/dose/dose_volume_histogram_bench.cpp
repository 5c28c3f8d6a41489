#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/dose/plain_dvh.h>
#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/dose/dose_super_sampling.h>
#include <trelis/dose/dose_volume_histogram.h>

namespace {

using NSegment::SegmentVolume;
using Dose = QVolume<unsigned int>;

constexpr double kDoseVoxel = 2.5;

/// Millimetres between lattice points for the target, of which there are 3 per dose voxel.
constexpr double kTargetStep = 1.0;

QProgressReporterNull nobody;

FVoxelSpaceGeometry geometryOf(const SegmentVolume& s) {
    return {MMatrix(), s.xsize(), s.ysize(), s.zsize(), s.xres(), s.yres(), s.zres()};
}

FVoxelSpaceGeometry geometryOf(const Dose& d) {
    return {MMatrix(),     d.GetXSize(),  d.GetYSize(), d.GetZSize(),
            d.GetXResMM(), d.GetYResMM(), d.GetZResMM()};
}

/// A bell around the centre of the grid, in hundredths of a Gy.
Dose bell(int x, int y, int z) {
    Dose dose(x, y, z, kDoseVoxel, kDoseVoxel, kDoseVoxel);
    const auto square = [](int i, int size) {
        const double d = (i - (size - 1) / 2.0) * kDoseVoxel / 80.0;
        return d * d;
    };
    for (int k = 0; k < z; ++k) {
        for (int j = 0; j < y; ++j) {
            const double square2 = square(j, y) + square(k, z);
            for (int i = 0; i < x; ++i) {
                dose.SetPixel(i, j, k,
                              static_cast<unsigned>(6000 * std::exp(-square(i, x) - square2)));
            }
        }
    }
    return dose;
}

trelis::DvhData histogram(const Dose& dose, const SegmentVolume& structure, double volume = 0.0) {
    trelis::DvhData result;
    trelis::CalculateDoseVolumeHistogramAndStatistics(
        dose, MMatrix(), 0.01, 0, structure, geometryOf(structure), volume, result, nobody);
    return result;
}

/// Reads every point of the lattice with an iterator made for it. The number of points inside.
int readEveryPoint(const Dose& dose, const SegmentVolume& structure) {
    const FVoxelSpaceGeometry from = geometryOf(dose);
    const FVoxelSpaceGeometry to = geometryOf(structure);
    const int steps = bench::plainSteps(kDoseVoxel, kTargetStep);
    const bench::Vector step = to.GetTransformRealToRVoxel().TransformVector(
        from.GetTransformRVoxelToReal().TransformVector({1.0 / steps, 0, 0}));
    int inside = 0;
    for (int z = 0; z < dose.GetZSize(); ++z) {
        for (int y = 0; y <= (dose.GetYSize() - 1) * steps; ++y) {
            const bench::Vector start =
                to.RealToRVoxel(from.VoxelToReal({0, y / double(steps), double(z)}));
            for (int x = 0; x <= (dose.GetXSize() - 1) * steps; ++x) {
                const bench::Vector point = start + step * x;
                const NSegment::SpanFixedPoint16TriLinearIterator iterator(
                    structure, point.x, point.y, point.z, step.x, step.y, step.z);
                inside += *iterator > 127 ? 1 : 0;
            }
        }
    }
    return inside;
}

bool agreesWithPlainSampling(const Dose& dose, const SegmentVolume& structure) {
    constexpr int kBins = 1000;
    const auto plain = bench::plainSample(dose, geometryOf(dose), structure, geometryOf(structure),
                                          kTargetStep, 7000, 0, kBins);
    std::vector<double> bins(kBins);
    double width, min, max;
    bench::Vector minAt, maxAt;
    trelis::CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
        dose, geometryOf(dose), structure, geometryOf(structure), 7000, 0, kTargetStep, kBins,
        bins.data(), width, min, minAt, max, maxAt, nobody);
    double difference = 0;
    double total = 0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        difference += std::abs(bins[i] - plain.bins[i]);
        total += plain.bins[i];
    }
    return min == plain.min && max == plain.max && difference <= 1e-9 * total;
}

void ofTarget(benchmark::State& state) {
    const SegmentVolume target = bench::target();
    const Dose dose = bell(200, 200, 120);
    if (!agreesWithPlainSampling(dose, target)) {
        state.SkipWithError("the histograms differ");
        return;
    }
    bench::compareSpeedup(
        state, [&] { benchmark::DoNotOptimize(histogram(dose, target)); },
        [&] { benchmark::DoNotOptimize(readEveryPoint(dose, target)); }, 10.0);
}
BENCHMARK(ofTarget)
    ->Name("DVH of target / reading every lattice point")
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// The body as far as the dose grid reaches.
void ofBody(benchmark::State& state) {
    const SegmentVolume body = bench::body();
    const Dose dose = bell(200, 200, 120);
    const trelis::DvhData data = histogram(dose, body);
    const double mm3 = 1000.0 * std::accumulate(data.bins.begin(), data.bins.end(), 0.0);
    const double millionPoints = mm3 / (kDoseVoxel * kDoseVoxel * kDoseVoxel) / 1e6;
    double best = 1e300;
    for (auto _ : state) {
        const double seconds =
            bench::secondsOf([&] { benchmark::DoNotOptimize(histogram(dose, body)); });
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["ms_per_million_points"] = 1e3 * best / millionPoints;
}
BENCHMARK(ofBody)
    ->Name("DVH of body")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// A grid eight times as large around the same structure.
void inLargeGrid(benchmark::State& state) {
    const SegmentVolume target = bench::target();
    const Dose small = bell(100, 100, 60);
    const Dose large = bell(200, 200, 120);
    const auto run = [&](const Dose& dose) {
        trelis::DvhData result;
        trelis::CalculateDoseVolumeHistogramAndStatistics(
            dose, MMatrix(), 0.01, 0, target, geometryOf(target), 0.0, 7000, 1000, result, nobody);
        benchmark::DoNotOptimize(result);
    };
    bench::compare(
        state, [&] { run(large); }, [&] { run(small); }, 1.2);
}
BENCHMARK(inLargeGrid)
    ->Name("DVH of target in a large dose grid / in one of an eighth")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
