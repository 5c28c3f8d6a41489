#include <cstddef>
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment/boolean_operations.h>
#include <trelis/segment/undo_stack.h>

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

constexpr double kBrushRadius = 15.0;

/// The organ before and after a ball was painted on its surface.
struct Stroke {
    SegmentVolume before = bench::organ();
    SegmentVolume after = before;

    Stroke() {
        const SegmentVolume ball =
            bench::makeScene({10, 10, 20, kBrushRadius, kBrushRadius, kBrushRadius, 1});
        NSegmentAlgorithms::UnionInPlace(ball, after);
    }
};

/// Compares the cells of which one is allocated, each to its first difference.
std::size_t differingCells(const Stroke& stroke) {
    const std::size_t count = static_cast<std::size_t>(stroke.before.superBlockSizeX()) *
                              static_cast<std::size_t>(stroke.before.superBlockSizeY()) *
                              static_cast<std::size_t>(stroke.before.superBlockSizeZ());
    std::size_t differing = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const VolumeCell& before = stroke.before.Cells()[i];
        const VolumeCell& after = stroke.after.Cells()[i];
        if (before.allocated() || after.allocated()) {
            differing += std::memcmp(before.values(), after.values(), VolumeCell::kBytes) != 0;
        }
    }
    return differing;
}

/// What an action takes: its stripes and their bytes.
std::size_t bytesOf(const NSegmentUndo::Action& action) {
    std::size_t bytes = action.stripes.capacity() * sizeof(NSegmentUndo::ActionStripe);
    for (const NSegmentUndo::ActionStripe& stripe : action.stripes) {
        bytes += stripe.bytes.capacity();
    }
    return bytes;
}

void recordStroke(benchmark::State& state) {
    constexpr std::size_t kHistoryLength = 64;
    const Stroke stroke;
    std::vector<NSegmentUndo::Action> history;
    history.reserve(kHistoryLength);
    bench::compare(
        state,
        [&] {
            history.emplace_back().RecordDifferences(stroke.before, stroke.after);
            benchmark::ClobberMemory();
        },
        [&] { benchmark::DoNotOptimize(differingCells(stroke)); }, 1.5,
        [&] {
            if (history.size() == kHistoryLength) {
                history.clear();
            }
        });
    std::vector<NSegmentUndo::PlaneChange> changes;
    SegmentVolume undone = stroke.after;
    history.back().PlayDifferences(undone, changes, false);
    if (bench::denseCopy(undone) != bench::denseCopy(stroke.before)) {
        state.SkipWithError("the stroke is not undone");
    }
    state.counters["bytes"] = static_cast<double>(bytesOf(history.back()));
}
BENCHMARK(recordStroke)
    ->Name("RecordDifferences of a brush stroke / memcmp of the allocated cells")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
