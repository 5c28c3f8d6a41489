#include <algorithm>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include <bench/segment_algorithms/plain_margin.h>
#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment_algorithms/fast_margins.h>
#include <trelis/segment_algorithms/margin.h>

namespace {

using NSegment::SegmentVolume;

void margin(const SegmentVolume& in, double m, SegmentVolume& out) {
    QProgressReporterNull nobody;
    NSegmentAlgorithms::Margin(in, m, m, m, m, m, m, out, nobody);
    benchmark::ClobberMemory();
}

void marginByPlainStamping(benchmark::State& state, SegmentVolume (*scene)(), double millimetres) {
    const SegmentVolume in = scene();
    SegmentVolume out = bench::emptyScene();
    SegmentVolume plain = bench::emptyScene();
    const auto measured = [&] { margin(in, millimetres, out); };
    const auto baseline = [&] {
        const double m = millimetres;
        plainMargin(in, {m, m, m, m, m, m}, plain);
        benchmark::ClobberMemory();
    };
    measured();
    baseline();
    if (bench::denseCopy(out) != bench::denseCopy(plain)) {
        state.SkipWithError("the result differs from that of plain stamping");
        return;
    }
    bench::compareSpeedup(state, measured, baseline, 15.0);
}

/// Inside voxels of `a` that are not inside `b` and neither are their face neighbours.
int countBeyondOneVoxel(const SegmentVolume& a, const SegmentVolume& b) {
    int xmin, ymin, zmin, xmax, ymax, zmax;
    a.GetBoundingBoxForIteration(xmin, ymin, zmin, xmax, ymax, zmax);
    int count = 0;
    for (int z = zmin; z <= zmax; ++z) {
        for (int y = ymin; y <= ymax; ++y) {
            for (int x = xmin; x <= xmax; ++x) {
                const bool isNear =
                    std::max({b.pixel(x, y, z), b.pixel(x - 1, y, z), b.pixel(x + 1, y, z),
                              b.pixel(x, y - 1, z), b.pixel(x, y + 1, z), b.pixel(x, y, z - 1),
                              b.pixel(x, y, z + 1)}) >= SegmentVolume::crossingValue();
                count += a.pixel(x, y, z) >= SegmentVolume::crossingValue() && !isNear ? 1 : 0;
            }
        }
    }
    return count;
}

void fastByMargin(benchmark::State& state, SegmentVolume (*scene)(), double m, double goal) {
    const SegmentVolume in = scene();
    SegmentVolume fast = bench::emptyScene();
    SegmentVolume out = bench::emptyScene();
    const auto measured = [&] {
        NSegmentAlgorithms::FastAddMargins(in, {m, m, m, m, m, m}, fast);
        benchmark::ClobberMemory();
    };
    const auto baseline = [&] { margin(in, m, out); };
    measured();
    baseline();
    if (countBeyondOneVoxel(fast, out) + countBeyondOneVoxel(out, fast) > 0) {
        state.SkipWithError("the surface is more than a voxel from that of Margin");
        return;
    }
    bench::compareSpeedup(state, measured, baseline, goal);
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const double m : {5.0, 10.0}) {
        const std::string name = "Margin of target by " + std::to_string(static_cast<int>(m));
        benchmark::RegisterBenchmark((name + " mm / plain").c_str(), marginByPlainStamping,
                                     bench::target, m)
            ->UseManualTime()
            ->Iterations(5)
            ->Unit(benchmark::kMillisecond);
    }
    for (const auto& [m, goal] : {std::pair(10.0, 2.0), std::pair(20.0, 5.0)}) {
        const std::string name =
            "FastAddMargins of target by " + std::to_string(static_cast<int>(m));
        benchmark::RegisterBenchmark((name + " mm / Margin").c_str(), fastByMargin, bench::target,
                                     m, goal)
            ->UseManualTime()
            ->Iterations(20)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
