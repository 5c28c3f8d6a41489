#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/support/scenes.h>
#include <trelis/segment/span_x.h>
#include <trelis/segment_algorithms/clean_up.h>
#include <trelis/segment_algorithms/connected_components.h>

using NSegment::SegmentVolume;

namespace {

/// The usual implementation: two passes over all voxels, two padded planes of values and labels,
/// and for each inside voxel a look at its 13 earlier neighbours.
class TwoPass {
  public:
    TwoPass(const SegmentVolume& segment, int& labelCount, QVolume<int>& labels)
        : segment_(segment), stride_(segment.xsize() + 2) {
        const auto padded =
            static_cast<std::size_t>(stride_) * (static_cast<std::size_t>(segment.ysize()) + 2);
        for (std::vector<int>* plane : {&values_, &values1_, &labels_, &labels1_}) {
            plane->resize(padded);
        }
        int* out = labels.begin();
        for (int z = 0; z < segment.zsize(); ++z) {
            load(z);
            for (int y = 0; y < segment.ysize(); ++y) {
                for (int x = 0; x < segment.xsize(); ++x) {
                    *out++ = at_[at(x, y)] = label(at(x, y));
                }
            }
        }
        labelCount = 0;
        for (std::size_t i = 0; i < parent_.size(); ++i) {
            const auto above = static_cast<std::size_t>(parent_[i]);
            parent_[i] = above == i ? labelCount++ : parent_[above];
        }
        for (int& value : labels) {
            value = parent_[static_cast<std::size_t>(value)];
        }
    }

  private:
    int at(int x, int y) const { return (y + 1) * stride_ + x + 1; }

    void load(int z) {
        values_.swap(values1_);
        labels_.swap(labels1_);
        v_ = values_.data();
        w_ = values1_.data();
        at_ = labels_.data();
        for (int y = 0; y < segment_.ysize(); ++y) {
            const auto row = segment_.GetConstSpanX(y, z);
            std::copy(row.begin(), row.end(), v_ + at(0, y));
        }
    }

    int root(int label) const {
        while (parent_[static_cast<std::size_t>(label)] != label) {
            label = parent_[static_cast<std::size_t>(label)];
        }
        return label;
    }

    void take(int& label, int other) {
        if (label == 0 || label == other) {
            label = other;
            return;
        }
        const int a = root(label);
        const int b = root(other);
        parent_[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
    }

    int label(int i) {
        const int* const v = v_ + i;
        const int* const w = w_ + i;
        const int* const now = at_ + i;
        const int* const old = labels1_.data() + i;
        const int s = stride_;
        if (v[0] < 128) {
            return 0;
        }
        int found = 0;
        for (const int dx : {-1, 0, 1}) {
            if (w[dx - s] < 128) {
                continue;
            }
            const int sum = w[dx - s] + w[0] + v[dx - s] + v[0];
            if (dx == 0 ? w[-s] + v[-s] + w[0] + v[0] >= 510
                        : sum + w[dx] + w[-s] + v[dx] + v[-s] >= 1020) {
                take(found, old[dx - s]);
            }
        }
        for (const int dx : {-1, 0, 1}) {
            if (w[dx] >= 128 && (dx == 0 || w[dx] + w[0] + v[dx] + v[0] >= 510)) {
                take(found, old[dx]);
            }
        }
        for (const int dx : {-1, 0, 1}) {
            if (w[dx + s] >= 128 && (dx == 0 ? w[s] + v[s] + w[0] + v[0] >= 510
                                             : 2 * (w[dx + s] + w[s] + w[dx] + w[0]) >= 1020)) {
                take(found, old[dx + s]);
            }
        }
        for (const int dx : {-1, 0, 1}) {
            if (v[dx - s] >= 128 && (dx == 0 || v[dx - s] + v[-s] + v[dx] + v[0] >= 510)) {
                take(found, now[dx - s]);
            }
        }
        if (v[-1] >= 128) {
            take(found, now[-1]);
        }
        if (found == 0) {
            found = static_cast<int>(parent_.size());
            parent_.push_back(found);
        }
        return found;
    }

    const SegmentVolume& segment_;
    int stride_;
    std::vector<int> values_, values1_, labels_, labels1_;
    int* v_ = nullptr;
    const int* w_ = nullptr;
    int* at_ = nullptr;
    std::vector<int> parent_{0};
};

QVolume<int> touchedLabels(const SegmentVolume& s) {
    QVolume<int> labels(s.xsize(), s.ysize(), s.zsize(), 1, 1, 1);
    std::fill(labels.begin(), labels.end(), -1);
    return labels;
}

/// False, with an error, when the two ways differ.
bool equalTwoPass(benchmark::State& state, const SegmentVolume& s) {
    QVolume<int> labels = touchedLabels(s);
    QVolume<int> expected = touchedLabels(s);
    int count = 0;
    int expectedCount = 0;
    NSegmentAlgorithms::Labeling3d(s, count, labels);
    const TwoPass direct(s, expectedCount, expected);
    if (count == expectedCount && labels == expected) {
        return true;
    }
    state.SkipWithError("the labels differ");
    return false;
}

void labelByFill(benchmark::State& state, const SegmentVolume& s, double goal) {
    if (!equalTwoPass(state, s)) {
        return;
    }
    QVolume<int> labels = touchedLabels(s);
    int count = 0;
    bench::compare(
        state, [&] { NSegmentAlgorithms::Labeling3d(s, count, labels); },
        [&] {
            std::fill(labels.begin(), labels.end(), count);
            benchmark::ClobberMemory();
        },
        goal);
}
BENCHMARK_CAPTURE(labelByFill, organ, bench::organ(), 4.0)
    ->Name("Labeling3d organ / fill")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(labelByFill, body, bench::body(), 8.0)
    ->Name("Labeling3d body / fill")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void labelNoise(benchmark::State& state) {
    const SegmentVolume s = bench::noise(1);
    if (!equalTwoPass(state, s)) {
        return;
    }
    QVolume<int> labels = touchedLabels(s);
    int count = 0;
    bench::compareSpeedup(
        state, [&] { NSegmentAlgorithms::Labeling3d(s, count, labels); },
        [&] { const TwoPass direct(s, count, labels); }, 3.0);
}
BENCHMARK(labelNoise)
    ->Name("two passes noise / Labeling3d")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Removes from the body, by a look at every label, what is smaller than a tenth of it.
SegmentVolume cleaned(SegmentVolume s) {
    QVolume<int> labels = touchedLabels(s);
    int count = 0;
    NSegmentAlgorithms::Labeling3d(s, count, labels);
    std::vector<int> sizes(static_cast<std::size_t>(count));
    for (const int label : std::as_const(labels)) {
        ++sizes[static_cast<std::size_t>(label)];
    }
    std::vector<bool> remove(sizes.size());
    std::transform(sizes.begin(), sizes.end(), remove.begin(),
                   [](int size) { return size < 1000000; });
    NSegmentAlgorithms::RemoveSelectedLabels3d(remove, labels, s);
    return s;
}

SegmentVolume bodyWithSpecks() {
    SegmentVolume s = bench::body();
    std::mt19937 random(1);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int i = 0; i < 500; ++i) {
        // Beside the body along y.
        s.setPixel(below(s.xsize()), i % 2 == 0 ? below(100) : 511 - below(100), below(s.zsize()),
                   255);
    }
    return s;
}

void cleanUp(benchmark::State& state, const std::function<void(SegmentVolume&)>& operation) {
    const SegmentVolume s = bodyWithSpecks();
    SegmentVolume result = s;
    operation(result);
    if (bench::denseCopy(result) != bench::denseCopy(cleaned(s)) ||
        bench::denseCopy(result) == bench::denseCopy(s)) {
        state.SkipWithError("the results differ");
        return;
    }
    QVolume<int> labels = touchedLabels(s);
    int count = 0;
    bench::compare(
        state, [&] { operation(result); },
        [&] { NSegmentAlgorithms::Labeling3d(s, count, labels); }, 1.5, [&] { result = s; });
}
BENCHMARK_CAPTURE(cleanUp, largest,
                  [](SegmentVolume& s) { NSegmentAlgorithms::KeepNLargestSegments(1, s); })
    ->Name("KeepNLargestSegments body and 500 specks / labelling")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cleanUp, small,
                  [](SegmentVolume& s) { NSegmentAlgorithms::RemoveSmallSegments3d(1000.0, s); })
    ->Name("RemoveSmallSegments3d body and 500 specks / labelling")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
