#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment_algorithms/plane_utilities.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

namespace {

using NSegment::SegmentVolume;

double covered(double low, double high) {
    if (low > high) {
        std::swap(low, high);
    }
    return low >= 127.5 ? 1.0 : high < 127.5 ? 0.0 : (high - 127.5) / (high - low);
}

/// The fraction of one lattice cube from eight calls of `pixel`.
double cubeFraction(const SegmentVolume& s, int x, int y, int z) {
    double c[8];
    int inside = 0;
    for (int k = 0; k < 8; ++k) {
        const int value = s.pixel(x + (k & 1), y + (k >> 1 & 1), z + (k >> 2));
        inside += value >= 128 ? 1 : 0;
        c[k] = value;
    }
    if (inside == 0 || inside == 8) {
        return inside / 8.0;
    }
    const auto lerp = [](double p, double q, double t) { return p * (1.0 - t) + q * t; };
    double sum = 0.0;
    for (int i = 0; i < 8; ++i) {
        const double t = (i + 0.5) / 8;
        const double a = lerp(c[0], c[2], t);
        const double b = lerp(c[1], c[3], t);
        const double aNext = lerp(c[4], c[6], t);
        const double bNext = lerp(c[5], c[7], t);
        for (int j = 0; j < 8; ++j) {
            const double u = (j + 0.5) / 8;
            sum += covered(lerp(a, b, u), lerp(aNext, bNext, u));
        }
    }
    return std::max(sum / 64, 0.001);
}

double volumeCubeByCube(const SegmentVolume& s) {
    double sum = 0.0;
    for (int z = 0; z + 1 < s.zsize(); ++z) {
        for (int y = 0; y + 1 < s.ysize(); ++y) {
            for (int x = 0; x + 1 < s.xsize(); ++x) {
                sum += cubeFraction(s, x, y, z);
            }
        }
    }
    return s.xres() * s.yres() * s.zres() * sum;
}

void volume(benchmark::State& state, SegmentVolume (*scene)()) {
    const SegmentVolume s = scene();
    QProgressReporterNull nobody;
    const double expected = volumeCubeByCube(s);
    if (std::abs(plexa::CalculateVolumeWithSubVoxelModeling(s, nobody) - expected) >
        1e-9 * expected) {
        state.SkipWithError("the volumes differ");
        return;
    }
    bench::compareSpeedup(
        state,
        [&] { benchmark::DoNotOptimize(plexa::CalculateVolumeWithSubVoxelModeling(s, nobody)); },
        [&] { benchmark::DoNotOptimize(volumeCubeByCube(s)); }, 15.0);
}
BENCHMARK_CAPTURE(volume, body, bench::body)
    ->Name("volume of body / cube by cube")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(volume, target, bench::target)
    ->Name("volume of target / cube by cube")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// A structure that is the same in every plane.
SegmentVolume column(int planes) {
    SegmentVolume s(512, 512, planes, 0.98, 0.98, 2.5);
    for (int z = 0; z < planes; ++z) {
        for (int y = 100; y < 400; ++y) {
            std::fill_n(s.GetSpanX(y, z).begin() + 100, 300, 200);
        }
    }
    return s;
}

/// What is done to one plane, in 400 planes against in 40.
template <typename Operation>
void onePlane(benchmark::State& state, const Operation& operation) {
    SegmentVolume many = column(400);
    SegmentVolume few = column(40);
    const auto often = [&](SegmentVolume& s) {
        for (int i = 0; i < 100; ++i) {
            operation(s);
        }
    };
    bench::compare(
        state, [&] { often(many); }, [&] { often(few); }, 1.5);
}

void isPlaneEmpty(benchmark::State& state) {
    onePlane(state, [](SegmentVolume& s) {
        benchmark::DoNotOptimize(NSegmentAlgorithms::IsPlaneEmpty(s, 20));
    });
}
BENCHMARK(isPlaneEmpty)->Name("100 IsPlaneEmpty of 400 planes / of 40")->UseManualTime();

void copySlice(benchmark::State& state) {
    onePlane(state, [](SegmentVolume& s) { NSegmentAlgorithms::copySlice(s, 10, 20, s); });
}
BENCHMARK(copySlice)->Name("100 copySlice of 400 planes / of 40")->UseManualTime();

void clearPlane(benchmark::State& state) {
    onePlane(state, [](SegmentVolume& s) {
        NSegmentAlgorithms::ClearPlaneZ(20, s);
        NSegmentAlgorithms::copySlice(s, 10, 20, s);
    });
}
BENCHMARK(clearPlane)->Name("100 ClearPlaneZ and copySlice of 400 planes / of 40")->UseManualTime();

void overlap(benchmark::State& state) {
    onePlane(state, [](SegmentVolume& s) {
        benchmark::DoNotOptimize(NSegmentAlgorithms::OverlappingSurfaceRatioForPlaneZ(20, s, s));
    });
}
BENCHMARK(overlap)->Name("100 OverlappingSurfaceRatio of 400 planes / of 40")->UseManualTime();

}  // namespace
