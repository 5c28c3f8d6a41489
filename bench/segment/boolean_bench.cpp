#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment/boolean_operations.h>

namespace {

using NSegment::SegmentVolume;
using Byte = unsigned char;
using Dense = std::vector<Byte>;
using NSegmentAlgorithms::Intersection;
using NSegmentAlgorithms::IntersectionInPlace;
using NSegmentAlgorithms::Subtract;
using NSegmentAlgorithms::SubtractInPlace;
using NSegmentAlgorithms::Union;
using NSegmentAlgorithms::UnionInPlace;

using TwoInputs = void (*)(const SegmentVolume&, const SegmentVolume&, SegmentVolume&);
using InPlace = void (*)(const SegmentVolume&, SegmentVolume&);
using DenseLoop = void (*)(const Dense&, const Dense&, Dense&);

template <typename Operation>
void denseLoop(const Dense& a, const Dense& b, Dense& result, const Operation& operation) {
    const Byte* p = a.data();
    const Byte* q = b.data();
    Byte* r = result.data();
    const std::size_t size = result.size();
    for (std::size_t i = 0; i < size; ++i) {
        r[i] = operation(p[i], q[i]);
    }
    benchmark::ClobberMemory();
}

void denseUnion(const Dense& a, const Dense& b, Dense& result) {
    denseLoop(a, b, result, [](Byte p, Byte q) { return std::max(p, q); });
}

void denseIntersection(const Dense& a, const Dense& b, Dense& result) {
    denseLoop(a, b, result, [](Byte p, Byte q) { return std::min(p, q); });
}

void denseSubtract(const Dense& a, const Dense& b, Dense& result) {
    denseLoop(a, b, result, [](Byte p, Byte q) { return std::min(p, static_cast<Byte>(255 - q)); });
}

SegmentVolume firstNoise() { return bench::noise(1); }
SegmentVolume secondNoise() { return bench::noise(2); }

struct Scenes {
    const char* name;
    SegmentVolume (*a)();
    SegmentVolume (*b)();
    double speedup;  ///< asked for, of the two-input forms over the dense loop
};

constexpr Scenes kScenes[] = {{"body, organ", bench::body, bench::organ, 5.0},
                              {"organ, target", bench::organ, bench::target, 40.0},
                              {"noise", firstNoise, secondNoise, 0.4}};

struct Operation {
    const char* name;
    const char* nameInPlace;
    TwoInputs twoInputs;
    InPlace inPlace;
    DenseLoop dense;
};

constexpr Operation kOperations[] = {
    {"Union", "UnionInPlace", Union, UnionInPlace, denseUnion},
    {"Intersection", "IntersectionInPlace", Intersection, IntersectionInPlace, denseIntersection},
    {"Subtract", "SubtractInPlace", Subtract, SubtractInPlace, denseSubtract}};

void twoInputsByDense(benchmark::State& state, const Operation& operation, const Scenes& scenes) {
    const SegmentVolume a = scenes.a();
    const SegmentVolume b = scenes.b();
    SegmentVolume result = bench::emptyScene();
    const Dense denseA = bench::denseCopy(a);
    const Dense denseB = bench::denseCopy(b);
    Dense denseResult(denseA.size(), 1);
    const auto bySegments = [&] {
        operation.twoInputs(a, b, result);
        benchmark::ClobberMemory();
    };
    const auto byArrays = [&] { operation.dense(denseA, denseB, denseResult); };
    bySegments();
    byArrays();
    if (bench::denseCopy(result) != denseResult) {
        state.SkipWithError("the segments differ from the arrays");
        return;
    }
    bench::compareSpeedup(state, bySegments, byArrays, scenes.speedup);
    state.counters["bytes"] = static_cast<double>(result.calculateMemoryConsumption());
}

void inPlaceByTwoInputs(benchmark::State& state, const Operation& operation, const Scenes& scenes) {
    const SegmentVolume a = scenes.a();
    const SegmentVolume b = scenes.b();
    SegmentVolume result = a;
    const auto byTwoInputs = [&] {
        operation.twoInputs(a, b, result);
        benchmark::ClobberMemory();
    };
    const auto inPlace = [&] {
        operation.inPlace(b, result);
        benchmark::ClobberMemory();
    };
    // The same old content for both, of which what is not needed has to be freed.
    const auto prepare = [&] { result.assign(a); };
    inPlace();
    const Dense denseResult = bench::denseCopy(result);
    byTwoInputs();
    if (bench::denseCopy(result) != denseResult) {
        state.SkipWithError("the form in place differs");
        return;
    }
    constexpr double kTimerNoise = 0.05;
    bench::compare(state, inPlace, byTwoInputs, 1.0 + kTimerNoise, prepare);
}

/// The part of a dense array that a structure takes.
void memory(benchmark::State& state, SegmentVolume (*scene)(), double goal) {
    SegmentVolume segment = scene();
    for (auto _ : state) {
        segment.compact();
    }
    const auto voxels = static_cast<double>(segment.xsize()) * segment.ysize() * segment.zsize();
    const auto bytes = static_cast<double>(segment.calculateMemoryConsumption());
    state.counters["bytes"] = bytes;
    state.counters["ratio"] = bytes / voxels;
    state.counters["goal"] = goal;
}

/// Fixed, since the dense loops take far longer than what is timed.
constexpr int kRuns = 40;

[[maybe_unused]] const bool kRegistered = [] {
    const auto add = [](const std::string& name, auto run, const auto&... arguments) {
        benchmark::RegisterBenchmark(name.c_str(), run, arguments...)
            ->UseManualTime()
            ->Iterations(kRuns)
            ->Unit(benchmark::kMicrosecond);
    };
    for (const Operation& operation : kOperations) {
        for (const Scenes& scenes : kScenes) {
            const std::string of = std::string(" of ") + scenes.name;
            add(operation.name + of + " / dense", twoInputsByDense, operation, scenes);
            add(operation.nameInPlace + of + " / two inputs", inPlaceByTwoInputs, operation,
                scenes);
        }
    }
    const double cellWords =
        static_cast<double>(sizeof(NSegment::VolumeCell)) / NSegment::VolumeCell::kBytes;
    benchmark::RegisterBenchmark("memory of body / dense", memory, bench::body, 0.25);
    benchmark::RegisterBenchmark("memory of organ / dense", memory, bench::organ, 0.02 + cellWords);
    return true;
}();

}  // namespace
