#include <cmath>
#include <cstdlib>
#include <numbers>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/contour/contour_geometry.h>
#include <trelis/contour/contour_stack.h>
#include <trelis/contour/scan_conversion.h>
#include <trelis/foundation/matrix.h>

namespace {

using NSegment::SegmentVolume;

constexpr int kPlanes = 200;
constexpr int kPoints = 400;

/// A wavy outline of some 60 voxels radius.
std::vector<EdgePoint> outline(double scale) {
    std::vector<EdgePoint> points;
    for (int i = 0; i < kPoints; ++i) {
        const double angle = 2 * std::numbers::pi * i / kPoints;
        const double radius = scale * (60 + 6 * std::sin(5 * angle));
        points.emplace_back(255 + radius * std::cos(angle), 255 + radius * std::sin(angle));
    }
    return points;
}

/// The plain way: a voxel of the bounding box is in or out by its centre.
void convertByCentres(const std::vector<EdgePoint>& contour, int z, SegmentVolume& segment) {
    for (int y = 185; y <= 325; ++y) {
        for (int x = 185; x <= 325; ++x) {
            if (NEdgePointAlgorithms::isInside({static_cast<double>(x), static_cast<double>(y)},
                                               contour)) {
                segment.setPixel(x, y, z, 255);
            }
        }
    }
}

void scanConversion(benchmark::State& state) {
    const std::vector<EdgePoint> contour = outline(1);
    SegmentVolume exact(512, 512, kPlanes, 1, 1, 1);
    SegmentVolume plain = exact;
    NSegmentAlgorithms::ScanConvertGlyph({contour}, 0, exact);
    convertByCentres(contour, 0, plain);
    for (int i = 0; i < 512 * 512; ++i) {
        const int value = exact.pixel(i % 512, i / 512, 0);
        if ((value == 0 || value == 255) && plain.pixel(i % 512, i / 512, 0) != value) {
            std::abort();
        }
    }
    bench::compareSpeedup(
        state,
        [&] {
            for (int z = 0; z < kPlanes; ++z) {
                NSegmentAlgorithms::ScanConvertGlyph({contour}, z, exact);
            }
        },
        [&] {
            for (int z = 0; z < kPlanes; ++z) {
                convertByCentres(contour, z, plain);
            }
        },
        20);
}
BENCHMARK(scanConversion)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

/// Every second plane of the grid lies between contours.
void contourStack(benchmark::State& state) {
    const FVoxelSpaceGeometry grid(MMatrix(), 512, 512, kPlanes, 1, 1, 1);
    std::vector<std::vector<MVectorTemplate<double>>> contours;
    for (int z = 0; z < kPlanes; z += 2) {
        contours.emplace_back();
        for (const EdgePoint& p : outline(1.0 - 0.002 * z)) {
            contours.back().push_back(grid.VoxelToReal({p.x, p.y, static_cast<double>(z)}));
        }
    }
    SegmentVolume segment(1, 1, 1, 1, 1, 1);
    QProgressReporterNull nobody;
    for (auto _ : state) {
        NSegmentAlgorithms::ConvertContourStack(contours, grid, {}, segment, nobody);
    }
}
BENCHMARK(contourStack)->Unit(benchmark::kMillisecond);

}  // namespace
