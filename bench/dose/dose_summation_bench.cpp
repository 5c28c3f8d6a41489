#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/dose/dose_summation.h>
#include <trelis/foundation/detail/parallel.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace {

using Dose = QVolume<unsigned int>;
using Vector = MVectorTemplate<double>;

constexpr double kFactor = 0.37;

/// A bump of dose amid zeros.
Dose dose(int size, double resolution) {
    Dose volume(size, size, size, resolution, resolution, resolution);
    const int half = size / 2;
    for (int z = 0; z < size; ++z) {
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const double r = Vector(x - half, y - half, z - half).Length() / size;
                volume.SetPixel(x, y, z,
                                static_cast<unsigned>(std::max(0.0, 70000 * (1 - r * r * 4))));
            }
        }
    }
    return volume;
}

void add(const Dose& source, const MMatrix& place, Dose& result) {
    trelis::AddWithWeight(kFactor, 0, place, source, 1.0, 0, MMatrix(), result, 1.0);
}

void sameGrid(benchmark::State& state) {
    const Dose source = dose(256, 2.5);
    Dose result(source);
    Dose other(source);
    const unsigned int* from = source.begin();
    bench::compare(
        state,
        [&] {
            add(source, MMatrix(), result);
            benchmark::ClobberMemory();
        },
        [&] {
            unsigned int* to = other.begin();
            for (std::size_t i = 0; i < source.size(); ++i) {
                to[i] += from[i];
            }
            benchmark::ClobberMemory();
        },
        1.5);
}
BENCHMARK(sameGrid)
    ->Name("AddWithWeight on the same grid / integer sum")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

double trilinear(const Dose& dose, const Vector& p) {
    const auto outside = [](double c, int size) { return c < -1e-5 || c >= size - 1 + 1e-5; };
    if (outside(p.x, dose.GetXSize()) || outside(p.y, dose.GetYSize()) ||
        outside(p.z, dose.GetZSize())) {
        return -1.0;
    }
    const auto cell = [](double c, int size) {
        const int i = static_cast<int>(c);
        return i >= size - 1 ? i - 1 : i;
    };
    const int x = cell(p.x, dose.GetXSize());
    const int y = cell(p.y, dose.GetYSize());
    const int z = cell(p.z, dose.GetZSize());
    const auto alongX = [&](int j, int k) {
        const double a = dose.GetPixel(x, y + j, z + k);
        const double b = dose.GetPixel(x + 1, y + j, z + k);
        return a + (p.x - x) * (b - a);
    };
    const auto alongY = [&](int k) {
        const double a = alongX(0, k);
        return a + (p.y - y) * (alongX(1, k) - a);
    };
    const double a = alongY(0);
    return std::max(a + (p.z - z) * (alongY(1) - a), 0.0);
}

void addVoxelByVoxel(const Dose& source, const MMatrix& place, Dose& result) {
    const auto geometryOf = [](const Dose& d, const MMatrix& m) {
        return FVoxelSpaceGeometry(m, d.GetXSize(), d.GetYSize(), d.GetZSize(), d.GetXResMM(),
                                   d.GetYResMM(), d.GetZResMM());
    };
    const auto from = geometryOf(source, place);
    const auto to = geometryOf(result, MMatrix());
    unsigned int* voxel = result.begin();
    for (int z = 0; z < result.GetZSize(); ++z) {
        for (int y = 0; y < result.GetYSize(); ++y) {
            for (int x = 0; x < result.GetXSize(); ++x, ++voxel) {
                const double sample =
                    trilinear(source, from.RealToVoxel(to.VoxelToReal(Vector(x, y, z))));
                if (sample >= 0) {
                    *voxel += static_cast<unsigned>(static_cast<std::int64_t>(sample * kFactor));
                }
            }
        }
    }
}

void resampled(benchmark::State& state, double angle, double goal) {
    const Dose source = dose(100, 3.0);
    MMatrix place;
    place.SetRotation(angle, 0.7 * angle, 2 * angle);
    place.SetTranslation(1.3, 2.1, -4.7);
    Dose result(150, 150, 150, 2.1, 2.1, 2.1);
    std::fill(result.begin(), result.end(), 5U);
    Dose other(result);
    const trelis::detail::ScopedThreadCount threads(1);
    add(source, place, result);
    addVoxelByVoxel(source, place, other);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (std::abs(static_cast<int>(result.begin()[i] - other.begin()[i])) > 1) {
            state.SkipWithError("the sums differ");
            return;
        }
    }
    bench::compareSpeedup(
        state, [&] { add(source, place, result); }, [&] { addVoxelByVoxel(source, place, other); },
        goal);
}
BENCHMARK_CAPTURE(resampled, parallel, 0.0, 2.0)
    ->Name("AddWithWeight on a parallel grid / voxel by voxel")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(resampled, turned, 0.2, 1.5)
    ->Name("AddWithWeight on a turned grid / voxel by voxel")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void twoThreads(benchmark::State& state) {
    const Dose source = dose(100, 3.0);
    MMatrix place;
    place.SetRotation(0.2, 0.1, 0.3);
    Dose result(source);
    const auto withThreads = [&](unsigned count) {
        const trelis::detail::ScopedThreadCount threads(count);
        add(source, place, result);
    };
    bench::compareSpeedup(
        state, [&] { withThreads(2); }, [&] { withThreads(1); }, 1.6);
}
BENCHMARK(twoThreads)
    ->Name("AddWithWeight on a turned grid, two threads / one")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
