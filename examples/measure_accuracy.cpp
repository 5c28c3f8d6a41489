#include <algorithm>
#include <cmath>
#include <cstdio>

#include <trelis/trelis.h>

namespace {

constexpr double kPi = 3.14159265358979323846;

struct VoxelSize {
    double x, y, z;
};

/// A ball around a point off the voxel centres, each voxel with its covered fraction found by
/// 8 x 8 x 8 samples; binary: inside from half on.
NSegment::SegmentVolume ball(double radius, const VoxelSize& voxel, bool binary) {
    constexpr int kSamples = 8;
    const auto sizeAlong = [radius](double res) { return static_cast<int>(2 * radius / res) + 6; };
    NSegment::SegmentVolume segment(sizeAlong(voxel.x), sizeAlong(voxel.y), sizeAlong(voxel.z),
                                    voxel.x, voxel.y, voxel.z);
    const auto offset = [](int i, int sample, int size, double res, double shift) {
        return (i + (sample + 0.5) / kSamples - size / 2.0 + shift) * res;
    };
    for (int z = 0; z < segment.zsize(); ++z) {
        for (int y = 0; y < segment.ysize(); ++y) {
            for (int x = 0; x < segment.xsize(); ++x) {
                int inside = 0;
                for (int sample = 0; sample < kSamples * kSamples * kSamples; ++sample) {
                    const double dx = offset(x, sample % kSamples, segment.xsize(), voxel.x, 0.13);
                    const double dy =
                        offset(y, sample / kSamples % kSamples, segment.ysize(), voxel.y, 0.29);
                    const double dz =
                        offset(z, sample / kSamples / kSamples, segment.zsize(), voxel.z, -0.17);
                    inside += dx * dx + dy * dy + dz * dz < radius * radius ? 1 : 0;
                }
                const double fraction =
                    inside / static_cast<double>(kSamples * kSamples * kSamples);
                const double value = binary ? std::floor(fraction + 0.5) : fraction;
                segment.setPixel(x, y, z, NSegment::SegmentVolume::fromFloat(value));
            }
        }
    }
    segment.compact();
    return segment;
}

/// Per cent of the analytic volume.
double error(double radius, const VoxelSize& voxel, bool binary) {
    QProgressReporterNull nobody;
    const double exact = 4.0 / 3.0 * kPi * radius * radius * radius;
    const auto segment = ball(radius, voxel, binary);
    const double measured = plexa::CalculateVolumeWithSubVoxelModeling(segment, nobody);
    return 100.0 * (measured / exact - 1.0);
}

void printTable(bool binary) {
    constexpr VoxelSize kVoxels[] = {{0.5, 0.5, 0.5}, {1, 1, 1}, {1, 1, 3}, {2, 2, 2}, {2, 2, 5}};
    std::printf("| radius, mm |");
    for (const VoxelSize& voxel : kVoxels) {
        std::printf(" %.3gx%.3gx%.3g |", voxel.x, voxel.y, voxel.z);
    }
    std::printf("\n|---|---|---|---|---|---|\n");
    for (const double radius : {3.0, 5.0, 10.0, 20.0}) {
        std::printf("| %.0f |", radius);
        for (const VoxelSize& voxel : kVoxels) {
            std::printf(" %+.1f %% |", error(radius, voxel, binary));
        }
        std::printf("\n");
    }
}

}  // namespace

/// Tables of the error of the volume measure for balls, by radius and voxel size.
int main() {
    std::printf("Partial-volume edges:\n\n");
    printTable(false);
    std::printf("\nBinary edges:\n\n");
    printTable(true);
    return 0;
}
