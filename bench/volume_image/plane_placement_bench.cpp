#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/volume_image/stack.h>
#include <trelis/volume_image/image_creator.h>

namespace {

constexpr int kSliceCount = 1000;

/// Positions whose separations are `separation(random)`.
template <typename Separation>
std::vector<double> positions(const Separation& separation) {
    std::mt19937 random(1);
    std::vector<double> result{0.0};
    while (result.size() < kSliceCount) {
        result.push_back(result.back() + separation(random));
    }
    return result;
}

/// Times `AutoConfigure` with the milliseconds of the fastest run as counter. `goal` is the highest
/// number allowed.
void autoConfigure(benchmark::State& state, const std::vector<double>& planes, double goal) {
    bench::Stack stack(8, 1.0, planes);
    trelis::VolumeImage::ImageCreator added(false);
    for (const bench::Slice& slice : stack.slices()) {
        added.AddSlice(&slice);
    }
    trelis::VolumeImage::ImageCreator creator = added;
    double best = 1e300;
    for (auto _ : state) {
        creator = added;
        const double seconds = bench::secondsOf([&] { creator.AutoConfigure(); });
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    std::deque<double> candidates;
    creator.GetPlaneSeparationCandidates(candidates);
    state.counters["candidates"] = static_cast<double>(candidates.size());
    state.counters["real"] = static_cast<double>(creator.GetRealPlaneCount());
    state.counters["ms"] = 1000.0 * best;
    state.counters["goal_ms"] = goal;
}

void gaps(benchmark::State& state) {
    // Multiples of one separation: every candidate meets many slices.
    autoConfigure(state, positions([](std::mt19937& random) {
                      const auto draw = random();
                      return draw % 4 == 0 ? 1.0 + static_cast<double>(draw / 4 % 40) : 1.0;
                  }),
                  50.0);
}
BENCHMARK(gaps)->Name("AutoConfigure of 1,000 slices with gaps")->UseManualTime();

void mixedSeparations(benchmark::State& state) {
    autoConfigure(state, positions([](std::mt19937& random) {
                      return 2.0 + 0.05 * static_cast<double>(random() % 40);
                  }),
                  50.0);
}
BENCHMARK(mixedSeparations)
    ->Name("AutoConfigure of 1,000 slices with 40 separations")
    ->UseManualTime();

/// Jitter to both sides in thousandths of a millimetre.
void jitter(benchmark::State& state) {
    const auto steps = static_cast<std::uint64_t>(2 * state.range(0));
    autoConfigure(state, positions([steps](std::mt19937& random) {
                      const auto inSteps = static_cast<double>(random() % steps);
                      return 3.0 + 0.001 * (inSteps - static_cast<double>(steps) / 2.0);
                  }),
                  1000.0);
}
BENCHMARK(jitter)
    ->Name("AutoConfigure of 1,000 slices with jittered positions")
    ->Arg(50)
    ->Arg(1000)
    ->UseManualTime();

}  // namespace
