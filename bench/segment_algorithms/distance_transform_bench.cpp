#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/segment_algorithms/distance_transform.h>

namespace {

using NSegment::SegmentVolume;
constexpr double kNoLimit = std::numeric_limits<double>::infinity();

/// A ball of this radius in voxels in the middle of a grid.
SegmentVolume ball(double radius, int xsize, int ysize, int zsize) {
    SegmentVolume segment(xsize, ysize, zsize, 1, 1, 1);
    const auto reach = static_cast<int>(radius) + 1;
    for (int z = -reach; z <= reach; ++z) {
        for (int y = -reach; y <= reach; ++y) {
            for (int x = -reach; x <= reach; ++x) {
                if (x * x + y * y + z * z < radius * radius) {
                    segment.setPixel(xsize / 2 + x, ysize / 2 + y, zsize / 2 + z, 255);
                }
            }
        }
    }
    segment.compact();
    return segment;
}

/// Against a copy of the output.
void distanceTransform(benchmark::State& state) {
    const SegmentVolume segment = ball(40, 256, 256, 128);
    QVolume<float> distances;
    QProgressReporterNull nobody;
    NSegmentAlgorithms::DistanceTransform3d(segment, kNoLimit, distances, nobody);
    if (std::fabs(distances.GetPixel(128, 128, 0) - 24.0F - 1.0F) > 1.0F) {
        std::abort();
    }
    QVolume<float> copy(distances);
    bench::compare(
        state,
        [&] { NSegmentAlgorithms::DistanceTransform3d(segment, kNoLimit, distances, nobody); },
        [&] {
            std::copy(distances.begin(), distances.end(), copy.begin());
            benchmark::ClobberMemory();
        },
        20);
}
BENCHMARK(distanceTransform)->UseManualTime()->Unit(benchmark::kMillisecond);

/// Up to 5 mm, against the same in a ball of half the radius: time follows the surface (4 times)
/// and, weakly, the output that is filled.
void bandedDistanceTransform(benchmark::State& state) {
    const SegmentVolume large = ball(56, 256, 256, 128);
    const SegmentVolume small = ball(28, 256, 256, 128);
    QVolume<float> distances;
    QProgressReporterNull nobody;
    const auto transform = [&](const SegmentVolume& segment) {
        NSegmentAlgorithms::DistanceTransform3d(segment, 5.0, distances, nobody);
    };
    transform(large);
    bench::compare(
        state, [&] { transform(large); }, [&] { transform(small); }, 4);
}
BENCHMARK(bandedDistanceTransform)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
