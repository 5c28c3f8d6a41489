#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/contour/contour_geometry.h>

namespace {

using NEdgePointAlgorithms::areContoursIntersecting;
using NEdgePointAlgorithms::isInside;
using NEdgePointAlgorithms::isSelfIntersecting;

using Contour = std::vector<EdgePoint>;

/// Points around the origin, each at a random distance between the two given.
Contour outline(double nearest, double farthest, int count) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<double> distance(nearest, farthest);
    Contour c;
    for (int i = 0; i < count; ++i) {
        c.push_back(NEdgePointAlgorithms::rotate({distance(engine), 0.0},
                                                 2.0 * std::numbers::pi * i / count));
    }
    return c;
}

bool doAllPairsMeet(const Contour& closed, const Contour& open) {
    EdgePoint ignored;
    for (std::size_t i = 0; i + 1 < open.size(); ++i) {
        for (std::size_t j = 0; j < closed.size(); ++j) {
            const EdgePoint& end = closed[j + 1 < closed.size() ? j + 1 : 0];
            if (NEdgePointAlgorithms::intersectionPoint(open[i], open[i + 1], closed[j], end,
                                                        ignored)) {
                return true;
            }
        }
    }
    return false;
}

bool doAllPairsMeet(const Contour& c) {
    EdgePoint ignored;
    for (std::size_t i = 0; i + 1 < c.size(); ++i) {
        for (std::size_t j = i + 2; j < c.size() - (i == 0 ? 1 : 0); ++j) {
            const EdgePoint& end = c[j + 1 < c.size() ? j + 1 : 0];
            if (NEdgePointAlgorithms::intersectionPoint(c[i], c[i + 1], c[j], end, ignored)) {
                return true;
            }
        }
    }
    return false;
}

/// Two nested outlines of 2,000 points: nothing intersects, which takes longest to find out.
struct Nested {
    Contour inner;
    Contour outer;
};
Nested smooth() { return {outline(90.0, 90.0, 2000), outline(91.0, 91.0, 2000)}; }
Nested rough() { return {outline(80.0, 81.0, 2000), outline(82.0, 83.0, 2000)}; }
Nested needles() { return {outline(10.0, 40.0, 2000), outline(50.0, 100.0, 2000)}; }

void contours(benchmark::State& state, Nested (*scene)()) {
    const Nested s = scene();
    if (areContoursIntersecting(s.outer, s.inner) || doAllPairsMeet(s.outer, s.inner)) {
        state.SkipWithError("the contours intersect");
        return;
    }
    bench::compareSpeedup(
        state, [&] { benchmark::DoNotOptimize(areContoursIntersecting(s.outer, s.inner)); },
        [&] { benchmark::DoNotOptimize(doAllPairsMeet(s.outer, s.inner)); }, 10.0);
}
BENCHMARK_CAPTURE(contours, smooth, smooth)
    ->Name("areContoursIntersecting of circles / all pairs")
    ->Iterations(20)
    ->UseManualTime();
BENCHMARK_CAPTURE(contours, rough, rough)
    ->Name("areContoursIntersecting of rough outlines / all pairs")
    ->Iterations(20)
    ->UseManualTime();
BENCHMARK_CAPTURE(contours, needles, needles)
    ->Name("areContoursIntersecting of stars of needles / all pairs")
    ->Iterations(20)
    ->UseManualTime();

void self(benchmark::State& state, Nested (*scene)()) {
    const Contour c = scene().outer;
    if (isSelfIntersecting(c) || doAllPairsMeet(c)) {
        state.SkipWithError("the contour intersects itself");
        return;
    }
    bench::compareSpeedup(
        state, [&] { benchmark::DoNotOptimize(isSelfIntersecting(c)); },
        [&] { benchmark::DoNotOptimize(doAllPairsMeet(c)); }, 10.0);
}
BENCHMARK_CAPTURE(self, smooth, smooth)
    ->Name("isSelfIntersecting of a circle / all pairs")
    ->Iterations(20)
    ->UseManualTime();
BENCHMARK_CAPTURE(self, rough, rough)
    ->Name("isSelfIntersecting of a rough outline / all pairs")
    ->Iterations(20)
    ->UseManualTime();
BENCHMARK_CAPTURE(self, needles, needles)
    ->Name("isSelfIntersecting of a star of needles / all pairs")
    ->Iterations(20)
    ->UseManualTime();

/// What is done to a circle of 20,000 points against to one of 2,000, each a hundred times.
template <typename Operation>
void tenTimesThePoints(benchmark::State& state, const Operation& operation) {
    const Contour many = outline(82.0, 82.0, 20000);
    const Contour few = outline(82.0, 82.0, 2000);
    const auto often = [&](const Contour& c) {
        for (int i = 0; i < 100; ++i) {
            operation(c);
        }
    };
    bench::compare(
        state, [&] { often(many); }, [&] { often(few); }, 12.0);
}

void inside(benchmark::State& state) {
    tenTimesThePoints(state, [](const Contour& c) {
        benchmark::DoNotOptimize(isInside({3.0, 4.0}, c));
    });
}
BENCHMARK(inside)->Name("isInside of 20,000 points / of 2,000")->Iterations(20)->UseManualTime();

void resample(benchmark::State& state) {
    Contour samples;
    tenTimesThePoints(state, [&](const Contour& c) {
        const double perimeter = NEdgePointAlgorithms::length(c);
        NEdgePointAlgorithms::resampleLoopedContour(c, perimeter / static_cast<double>(c.size()),
                                                    samples);
        benchmark::DoNotOptimize(samples.data());
    });
}
BENCHMARK(resample)
    ->Name("resampleLoopedContour of 20,000 points / of 2,000")
    ->Iterations(20)
    ->UseManualTime();

/// The sum of the steps between the angles of all vertices.
bool isWoundAround(const EdgePoint& p, const Contour& c) {
    const auto angle = [&](const EdgePoint& vertex) {
        return std::atan2(vertex.y - p.y, vertex.x - p.x);
    };
    double sum = 0.0;
    double previous = angle(c.back());
    for (const EdgePoint& vertex : c) {
        const double next = angle(vertex);
        const double step = next - previous;
        sum += step > std::numbers::pi     ? step - 2.0 * std::numbers::pi
               : step <= -std::numbers::pi ? step + 2.0 * std::numbers::pi
                                           : step;
        previous = next;
    }
    return std::abs(sum) > std::numbers::pi;
}

void insideByAngles(benchmark::State& state) {
    const Contour c = outline(82.0, 83.0, 2000);
    if (!isInside({3.0, 4.0}, c) || !isWoundAround({3.0, 4.0}, c)) {
        state.SkipWithError("the point is not found inside");
        return;
    }
    bench::compareSpeedup(
        state,
        [&] {
            benchmark::DoNotOptimize(isInside({3.0, 4.0}, c));
        },
        [&] {
            benchmark::DoNotOptimize(isWoundAround({3.0, 4.0}, c));
        },
        5.0);
}
BENCHMARK(insideByAngles)
    ->Name("isInside / by the angles of all vertices")
    ->Iterations(20)
    ->UseManualTime();

}  // namespace
