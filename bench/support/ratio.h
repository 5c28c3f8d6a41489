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

/// Runs prepare, baseline, prepare and measured in turn, so that both see the same machine, with
/// the time of `measured` as the benchmark's. Returns the fastest measured time by the fastest of
/// the baseline.
template <typename Measured, typename Baseline, typename Prepare>
double ratioOf(benchmark::State& state, const Measured& measured, const Baseline& baseline,
               const Prepare& prepare) {
    double bestMeasured = 1e300;
    double bestBaseline = 1e300;
    for (auto _ : state) {
        prepare();
        bestBaseline = std::min(bestBaseline, secondsOf(baseline));
        prepare();
        const double seconds = secondsOf(measured);
        bestMeasured = std::min(bestMeasured, seconds);
        state.SetIterationTime(seconds);
    }
    return bestMeasured / bestBaseline;
}

/// Reports `ratio` = measured / baseline; `goal` is the highest ratio allowed. `prepare` runs
/// before each of the two and is not timed.
template <typename Measured, typename Baseline, typename Prepare>
void compare(benchmark::State& state, const Measured& measured, const Baseline& baseline,
             double goal, const Prepare& prepare) {
    state.counters["ratio"] = ratioOf(state, measured, baseline, prepare);
    state.counters["goal"] = goal;
}

template <typename Measured, typename Baseline>
void compare(benchmark::State& state, const Measured& measured, const Baseline& baseline,
             double goal) {
    compare(state, measured, baseline, goal, [] {});
}

/// Reports `speedup` = baseline / measured; `goal` is the lowest speedup allowed.
template <typename Measured, typename Baseline>
void compareSpeedup(benchmark::State& state, const Measured& measured, const Baseline& baseline,
                    double goal) {
    state.counters["speedup"] = 1.0 / ratioOf(state, measured, baseline, [] {});
    state.counters["goal_speedup"] = goal;
}

}  // namespace bench
