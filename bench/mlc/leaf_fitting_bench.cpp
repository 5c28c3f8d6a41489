#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/foundation/line_geometry.h>
#include <trelis/mlc/leaf_fitting.h>
#include <trelis/mlc/leaf_parking.h>

namespace {

using NMLC::LeafConfiguration;
using NMLC::LeafPositions;
using Open = NMLC::OpenLeavesMeetingPoint;
using Closed = NMLC::ClosedLeavesMeetingPoint;

constexpr int kPairs = 60;
constexpr int kPoints = 400;
constexpr double kStep = 1.0;

/// 60 leaf pairs of 5 mm.
class Collimator : public LeafConfiguration {
  public:
    Collimator() : LeafConfiguration(kPairs, NMLC::MLCType::Generic, 0.5F, true) {
        for (int i = 0; i < kPairs; ++i) {
            NMLC::LeafPair& pair = GetLeafPair(i);
            pair.centre = static_cast<float>(5.0 * i - 147.5);
            pair.width = 5.0F;
            for (NMLC::Leaf& leaf : pair.leaves) {
                leaf.unscaledMinimum = -200.0F;
                leaf.unscaledMaximum = 200.0F;
            }
        }
    }
};

/// A lobed outline that reaches over all leaf pairs.
Glyph outlineAt(double gantryAngle) {
    Glyph outlines(1);
    for (int i = 0; i < kPoints; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / kPoints;
        const double radius = 130.0 + 15.0 * std::sin(5.0 * angle + gantryAngle);
        outlines[0].push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    return outlines;
}

struct Crossings {
    double left = 1e6;
    double right = -1e6;
};

Crossings crossEveryEdge(const Glyph& outlines, double y) {
    Crossings crossings;
    for (const auto& contour : outlines) {
        EdgePoint from = contour.back();
        for (const EdgePoint& to : contour) {
            double distance = 0.0;
            const double x = NVector::CalculateIntersectionPoint(
                                 {-1e8, y, 0.0}, {1e8, y, 0.0}, {from.x, from.y, 0.0},
                                 {to.x, to.y, 0.0}, distance, nullptr, nullptr)
                                 .x;
            if (distance >= 0.0 && distance < 1.0) {
                crossings.left = std::min(crossings.left, x);
                crossings.right = std::max(crossings.right, x);
            }
            from = to;
        }
    }
    return crossings;
}

/// One bank's position from its crossings in ascending order of y.
double choose(const std::vector<double>& values, Open mode, Open smallest) {
    const std::size_t n = values.size();
    if (mode == Open::Middle) {
        return (values[(n - 1) / 2] + values[n / 2]) / 2.0;
    }
    return mode == smallest ? *std::min_element(values.begin(), values.end())
                            : *std::max_element(values.begin(), values.end());
}

LeafPositions fitLineByLine(const Glyph& outlines, const LeafConfiguration& configuration,
                            Open mode) {
    LeafPositions positions(configuration.GetLeafPairCount());
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        std::vector<double> left;
        std::vector<double> right;
        const auto addSample = [&](double y) {
            const Crossings crossings = crossEveryEdge(outlines, y);
            if (crossings.left <= crossings.right) {
                left.push_back(crossings.left);
                right.push_back(crossings.right);
            }
        };
        const double upper = configuration.GetLeafPair(i).GetUpperEdge() - 1e-6;
        double y = configuration.GetLeafPair(i).GetLowerEdge() + 1e-6;
        while (y < upper) {
            addSample(y);
            y += kStep;
        }
        addSample(upper);
        if (!left.empty()) {
            NMLC::LeafPositionPair& pair = positions.GetLeafPair(static_cast<std::size_t>(i));
            pair.SetPosition(NMLC::Bank::Right,
                             static_cast<float>(choose(right, mode, Open::Inside)));
            pair.SetPosition(NMLC::Bank::Left,
                             static_cast<float>(choose(left, mode, Open::Outside)));
        }
    }
    NMLC::ParkClosedLeaves(configuration, Closed::Left, positions);
    return positions;
}

LeafPositions fit(const Glyph& outlines, const LeafConfiguration& configuration, Open mode) {
    LeafPositions positions;
    NMLC::FitLeaves(outlines, configuration, mode, Closed::Left, positions, 1.0, kStep);
    return positions;
}

void fitOne(benchmark::State& state, Open mode) {
    const Collimator collimator;
    const Glyph outlines = outlineAt(0.0);
    if (!(fit(outlines, collimator, mode) == fitLineByLine(outlines, collimator, mode))) {
        state.SkipWithError("the positions differ");
        return;
    }
    bench::compareSpeedup(
        state, [&] { benchmark::DoNotOptimize(fit(outlines, collimator, mode)); },
        [&] { benchmark::DoNotOptimize(fitLineByLine(outlines, collimator, mode)); }, 10.0);
}
BENCHMARK_CAPTURE(fitOne, inside, Open::Inside)
    ->Name("fit 60 leaf pairs inside 400 points / every line with every edge")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(fitOne, outside, Open::Outside)
    ->Name("fit 60 leaf pairs outside 400 points / every line with every edge")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(fitOne, middle, Open::Middle)
    ->Name("fit 60 leaf pairs on 400 points / every line with every edge")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

/// All 180 control points of an arc, on one core; the ratio is to 20 ms.
void fitArc(benchmark::State& state) {
    const Collimator collimator;
    std::vector<Glyph> arc(180);
    for (std::size_t i = 0; i < arc.size(); ++i) {
        arc[i] = outlineAt(static_cast<double>(i) * std::numbers::pi / 90.0);
    }
    double best = 1e300;
    for (auto _ : state) {
        const double seconds = bench::secondsOf([&] {
            for (const Glyph& outlines : arc) {
                benchmark::DoNotOptimize(fit(outlines, collimator, Open::Middle));
            }
        });
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = best / 0.020;
    state.counters["goal"] = 1.0;
}
BENCHMARK(fitArc)
    ->Name("fit the 180 control points of an arc / 20 ms")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
