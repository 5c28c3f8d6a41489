#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/contour/tracing.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment/span_x.h>

namespace {

using NSegment::SegmentVolume;

constexpr int kTraces = 200;

/// A disc of 60 voxels radius with a soft edge and a hole, in a square plane.
SegmentVolume disc(int width) {
    SegmentVolume s(width, width, 1, 1.0, 1.0, 1.0);
    for (int y = 130; y < 270; ++y) {
        for (int x = 130; x < 270; ++x) {
            const double distance = std::hypot(x - 200.3, y - 199.8);
            s.setPixel(x, y, 0,
                       SegmentVolume::fromFloat(std::min(60.5 - distance, distance - 20.0)));
        }
    }
    s.compact();
    return s;
}

void traceOften(const SegmentVolume& s, Glyph& outlines) {
    for (int i = 0; i < kTraces; ++i) {
        NEdgePointAlgorithms::TraceSegmentPlane(s, 0, outlines);
    }
}

/// The crossings of all squares, visited one by one, and nothing made of them.
std::size_t countCrossings(const SegmentVolume& s) {
    std::size_t count = 0;
    for (int y = 0; y + 1 < s.ysize(); ++y) {
        for (int x = 0; x + 1 < s.xsize(); ++x) {
            const bool inside = s.pixel(x, y, 0) >= 128;
            count += inside != (s.pixel(x + 1, y, 0) >= 128) ? 1U : 0U;
            count += inside != (s.pixel(x, y + 1, 0) >= 128) ? 1U : 0U;
        }
    }
    return count;
}

std::size_t vertexCount(const Glyph& glyph) {
    std::size_t count = 0;
    for (const auto& contour : glyph) {
        count += contour.size();
    }
    return count;
}

void planeSize(benchmark::State& state) {
    const SegmentVolume small = disc(512);
    const SegmentVolume large = disc(2048);
    Glyph outlines;
    Glyph outlinesOfLarge;
    traceOften(small, outlines);
    traceOften(large, outlinesOfLarge);
    if (outlines.size() != 2 || vertexCount(outlines) != vertexCount(outlinesOfLarge)) {
        state.SkipWithError("the outlines differ");
        return;
    }
    bench::compare(
        state, [&] { traceOften(large, outlinesOfLarge); }, [&] { traceOften(small, outlines); },
        1.5);
}
BENCHMARK(planeSize)
    ->Name("200 TraceSegmentPlane in 2048x2048 / in 512x512")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void plainLoop(benchmark::State& state) {
    const SegmentVolume s = disc(512);
    Glyph outlines;
    NEdgePointAlgorithms::TraceSegmentPlane(s, 0, outlines);
    if (vertexCount(outlines) != countCrossings(s)) {
        state.SkipWithError("the crossings differ");
        return;
    }
    bench::compareSpeedup(
        state, [&] { NEdgePointAlgorithms::TraceSegmentPlane(s, 0, outlines); },
        [&] { benchmark::DoNotOptimize(countCrossings(s)); }, 20.0);
}
BENCHMARK(plainLoop)
    ->Name("TraceSegmentPlane in 512x512 / looking at all squares")
    ->Iterations(100)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void volumePlane(benchmark::State& state) {
    QVolume<unsigned int> dose(512, 512, 1, 1.0, 1.0, 1.0);
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x) {
            dose.SetPixel(
                x, y, 0,
                static_cast<unsigned>(60000 * std::exp(-std::hypot(x - 256.3, y - 255.1) / 90)));
        }
    }
    const QVolume<unsigned int>& plane = dose;
    std::vector<unsigned int> copy(dose.size());
    Glyph lines;
    bench::compare(
        state, [&] { NEdgePointAlgorithms::TraceVolumePlane(plane, 0, 30000.0, lines); },
        [&] {
            std::copy(plane.begin(), plane.end(), copy.begin());
            benchmark::DoNotOptimize(copy.data());
        },
        8.0);
}
BENCHMARK(volumePlane)
    ->Name("TraceVolumePlane in 512x512 / copying the plane")
    ->Iterations(100)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
