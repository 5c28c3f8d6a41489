#include <cstdint>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <examples/support/analytic_solids.h>

namespace {

/// A ball of 7.2 cm3 in contours 2 mm apart; items are cells. The figure is the time by that of the
/// fixed histogram.
void ofABall(benchmark::State& state, double step) {
    const auto dose = analytic::linearDose(analytic::Gradient::AlongZ, 2.0);
    const auto ball = analytic::contourStack(analytic::Solid::Sphere, 2.0);
    const auto fine = [&] { return analytic::fineHistogram(dose, ball, {step, step}); };
    const auto fixed = [&] { return analytic::fixedHistogram(dose, ball); };
    state.counters["figure"] = bench::ratioOf(
        state, [&] { benchmark::DoNotOptimize(fine()); },
        [&] { benchmark::DoNotOptimize(fixed()); }, [] {});
    const double cells = fine().volume * 1000.0 / (step * step * step);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cells));
}
BENCHMARK_CAPTURE(ofABall, half, 0.5)
    ->Name("fine histogram of a ball of 7.2 cm3, 0.5 mm / fixed")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ofABall, quarter, 0.25)
    ->Name("fine histogram of a ball of 7.2 cm3, 0.25 mm / fixed")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ofABall, tenth, 0.1)
    ->Name("fine histogram of a ball of 7.2 cm3, 0.1 mm / fixed")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
