#pragma once

#include <algorithm>
#include <chrono>

#include <benchmark/benchmark.h>

namespace bench {

template <typename Function>
double secondsOf(const Function& function) {
    const auto start = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Runs measured and baseline alternately, so that both see the same machine, and reports the
/// fastest of each: time of the first as the benchmark's, `ratio` = measured / baseline. `goal` is
/// the highest ratio allowed.
template <typename Measured, typename Baseline>
void compare(benchmark::State& state, const Measured& measured, const Baseline& baseline,
             double goal) {
    double bestMeasured = 1e300;
    double bestBaseline = 1e300;
    for (auto _ : state) {
        bestBaseline = std::min(bestBaseline, secondsOf(baseline));
        const double seconds = secondsOf(measured);
        bestMeasured = std::min(bestMeasured, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = bestMeasured / bestBaseline;
    state.counters["goal"] = goal;
}

}  // namespace bench
