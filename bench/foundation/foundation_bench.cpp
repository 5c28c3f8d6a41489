#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace {

using Vector = MVectorTemplate<double>;

void voxelToReal(benchmark::State& state) {
    MMatrix transform;
    transform.SetRotation(0.1, 0.2, 0.3);
    transform.SetTranslation(10, 20, 30);
    const FVoxelSpaceGeometry grid(transform, 512, 512, 200, 0.98, 0.98, 2.5);
    constexpr int kPoints = 512 * 512;
    std::vector<Vector> points(kPoints);
    std::vector<Vector> expected(kPoints);
    const MMatrix& m = grid.GetTransformRVoxelToReal();
    const auto byHand = [&] {
        const double* const r0 = m[0];
        const double* const r1 = m[1];
        const double* const r2 = m[2];
        const double* const t = m[3];
        for (int i = 0; i < kPoints; ++i) {
            const int column = i % 512;
            const int row = i / 512;
            const double x = column + 0.5;
            const double y = row + 0.5;
            const double z = 7.5;
            expected[static_cast<std::size_t>(i)] = {x * r0[0] + y * r1[0] + z * r2[0] + t[0],
                                                     x * r0[1] + y * r1[1] + z * r2[1] + t[1],
                                                     x * r0[2] + y * r1[2] + z * r2[2] + t[2]};
        }
        benchmark::ClobberMemory();
    };
    const auto byGeometry = [&] {
        for (int i = 0; i < kPoints; ++i) {
            const int column = i % 512;
            const int row = i / 512;
            points[static_cast<std::size_t>(i)] = grid.VoxelToReal(Vector(column, row, 7.0));
        }
        benchmark::ClobberMemory();
    };
    byHand();
    byGeometry();
    if (points != expected) {
        state.SkipWithError("VoxelToReal differs from the arithmetic by hand");
        return;
    }
    bench::compare(state, byGeometry, byHand, 1.1);
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(voxelToReal)
    ->Name("VoxelToReal / by hand")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

QVolume<unsigned short> bigImage() {
    QVolume<unsigned short> image(512, 512, 200, 1, 1, 1);
    unsigned value = 1;
    for (unsigned short& pixel : image) {
        value = value * 1664525U + 1013904223U;
        pixel = static_cast<unsigned short>(value >> 17);
    }
    return image;
}

void copyPixels(benchmark::State& state) {
    const QVolume<unsigned short> source = bigImage();
    QVolume<unsigned short> copy(source);
    std::vector<unsigned short> plain(source.size(), 1);
    bench::compare(
        state,
        [&] {
            copy.CopyPixels(source);
            benchmark::ClobberMemory();
        },
        [&] {
            std::memcpy(plain.data(), source.begin(), source.size() * sizeof(unsigned short));
            benchmark::ClobberMemory();
        },
        1.5);
    if (!std::equal(plain.begin(), plain.end(), copy.begin())) {
        state.SkipWithError("copies differ");
    }
}
BENCHMARK(copyPixels)->Name("CopyPixels / memcpy")->UseManualTime()->Unit(benchmark::kMillisecond);

void minMax(benchmark::State& state) {
    QVolume<unsigned short> image = bigImage();
    const QVolume<unsigned short>& constant = image;
    const auto [low, high] = std::minmax_element(constant.begin(), constant.end());
    const auto info = image.MinMax();
    if (info.minimum != *low || info.maximum != *high) {
        state.SkipWithError("MinMax differs from std::minmax_element");
        return;
    }
    const auto* words = reinterpret_cast<const unsigned long long*>(constant.begin());
    const std::size_t wordCount = constant.size() * sizeof(unsigned short) / sizeof(*words);
    bench::compare(
        state,
        [&] {
            image.SetPixelsModified(false);
            benchmark::DoNotOptimize(image.MinMax());
        },
        [&] { benchmark::DoNotOptimize(std::accumulate(words, words + wordCount, 0ULL)); }, 2.0);
}
BENCHMARK(minMax)->Name("MinMax / read")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
