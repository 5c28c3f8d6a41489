#include <algorithm>
#include <cstddef>
#include <numeric>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment/segment_volume.h>

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

namespace {

std::size_t cellCount(const SegmentVolume& s) {
    return s.cellIndex(s.xsize() - 1, s.ysize() - 1, s.zsize() - 1) + 1;
}

/// The lower bound: reads every allocated byte once.
unsigned long long readAllocated(const SegmentVolume& s) {
    unsigned long long sum = 0;
    for (std::size_t i = 0; i < cellCount(s); ++i) {
        if (s.Cells()[i].allocated()) {
            const auto* words = reinterpret_cast<const unsigned long long*>(s.Cells()[i].data());
            sum = std::accumulate(words, words + VolumeCell::kBytes / sizeof(*words), sum);
        }
    }
    return sum;
}

/// A segment whose allocated cells have to be read to their end to tell that nothing is inside.
SegmentVolume nothingInside() {
    SegmentVolume s = bench::noise(1);
    for (std::size_t i = 0; i < cellCount(s); ++i) {
        unsigned char* bytes = s.Cells()[i].data();
        std::transform(bytes, bytes + VolumeCell::kBytes, bytes,
                       [](unsigned char v) { return static_cast<unsigned char>(v / 2); });
    }
    return s;
}

template <typename Operation>
void againstRead(benchmark::State& state, const SegmentVolume& s, const Operation& operation) {
    bench::compare(
        state, operation, [&] { benchmark::DoNotOptimize(readAllocated(s)); }, 2.0);
}

void isEmpty(benchmark::State& state) {
    const SegmentVolume s = nothingInside();
    againstRead(state, s, [&] { benchmark::DoNotOptimize(s.IsEmpty()); });
}
BENCHMARK(isEmpty)->Name("IsEmpty noise / read")->UseManualTime()->Unit(benchmark::kMillisecond);

void boundingBox(benchmark::State& state, const SegmentVolume& s) {
    againstRead(state, s, [&] {
        int box[6];
        s.GetBoundingBoxForIteration(box[0], box[1], box[2], box[3], box[4], box[5]);
        benchmark::DoNotOptimize(box);
    });
}
BENCHMARK_CAPTURE(boundingBox, body, bench::body())
    ->Name("bounding box body / read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(boundingBox, noise, nothingInside())
    ->Name("bounding box noise / read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void compact(benchmark::State& state) {
    // Cells of 7 with another last byte are read to the end and stay allocated.
    SegmentVolume s = bench::emptyScene();
    for (std::size_t i = 0; i < cellCount(s); ++i) {
        s.Cells()[i].allocate();
        s.Cells()[i].data()[VolumeCell::kBytes - 1] = 7;
    }
    againstRead(state, s, [&] { s.compact(); });
}
BENCHMARK(compact)->Name("compact / read")->UseManualTime()->Unit(benchmark::kMillisecond);

void assign(benchmark::State& state, const SegmentVolume& s) {
    SegmentVolume copy = s;
    againstRead(state, s, [&] {
        copy.assign(s);
        benchmark::ClobberMemory();
    });
}
BENCHMARK_CAPTURE(assign, body, bench::body())
    ->Name("assign body / read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(assign, noise, bench::noise(1))
    ->Name("assign noise / read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

long long sumByPixel(const SegmentVolume& s) {
    long long sum = 0;
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            for (int x = 0; x < s.xsize(); ++x) {
                sum += s.pixel(x, y, z);
            }
        }
    }
    return sum;
}

/// Sums run by run; where values vary, addVarying(iterator, sum) takes what it likes and moves on.
template <typename AddVarying>
long long sumOverRuns(const SegmentVolume& s, const AddVarying& addVarying) {
    long long sum = 0;
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            const auto row = s.GetConstSpanX(y, z);
            const auto end = row.end();
            for (auto it = row.begin(); it != end;) {
                const int run = it.pixelsOfConstantValue();
                if (run == 1) {
                    addVarying(it, sum);
                } else {
                    sum += static_cast<long long>(run) * *it;
                    it += run;
                }
            }
        }
    }
    return sum;
}

long long sumByRuns(const SegmentVolume& s) {
    return sumOverRuns(s, [](auto& it, long long& sum) {
        sum += *it;
        ++it;
    });
}

/// As above, with the bytes of an allocated cell taken together.
long long sumByRunsAndBytes(const SegmentVolume& s) {
    return sumOverRuns(s, [](auto& it, long long& sum) {
        const auto values = it.valuesToCellEnd();
        sum += std::accumulate(values.begin(), values.end(), 0);
        it += static_cast<std::ptrdiff_t>(values.size());
    });
}

void iterate(benchmark::State& state, long long (*sum)(const SegmentVolume&)) {
    const SegmentVolume s = bench::body();
    if (sum(s) != sumByPixel(s)) {
        state.SkipWithError("the sums differ");
        return;
    }
    bench::compareSpeedup(
        state, [&] { benchmark::DoNotOptimize(sum(s)); },
        [&] { benchmark::DoNotOptimize(sumByPixel(s)); }, 4.0);
}
BENCHMARK_CAPTURE(iterate, runs, sumByRuns)
    ->Name("ConstSpanX runs body / pixel()")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(iterate, bytes, sumByRunsAndBytes)
    ->Name("ConstSpanX runs and bytes body / pixel()")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
