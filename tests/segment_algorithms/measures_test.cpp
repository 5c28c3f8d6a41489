#include <trelis/segment_algorithms/sub_voxel_measures.h>

#include <algorithm>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;

QProgressReporterNull nobody;

double area(const SegmentVolume& s, int z) {
    return plexa::CalculateSurfaceWithSubVoxelModeling(s, z, nobody);
}
double volume(const SegmentVolume& s) {
    return plexa::CalculateVolumeWithSubVoxelModeling(s, nobody);
}

double covered(double p, double q) {
    const double low = std::min(p, q);
    const double high = std::max(p, q);
    return low >= 127.5 ? 1.0 : high < 127.5 ? 0.0 : (high - 127.5) / (high - low);
}

/// The fraction of the lattice cube at a voxel, or of the square (`corners` 4), line by line.
double fractionByTheRules(const SegmentVolume& s, int x, int y, int z, int corners) {
    double c[8];
    int inside = 0;
    for (int k = 0; k < corners; ++k) {
        c[k] = s.pixel(x + (k & 1), y + (k >> 1 & 1), z + (k >> 2));
        inside += c[k] >= 128 ? 1 : 0;
    }
    if (inside == 0 || inside == corners) {
        return inside == 0 ? 0.0 : 1.0;
    }
    double sum = 0;
    for (int i = 0; i < 8; ++i) {
        const double t = (i + 0.5) / 8;
        const auto alongY = [&](int low) { return c[low] * (1 - t) + c[low + 2] * t; };
        if (corners == 4) {
            sum += covered(alongY(0), alongY(1)) * 8;
            continue;
        }
        for (int j = 0; j < 8; ++j) {
            const double u = (j + 0.5) / 8;
            sum +=
                covered(alongY(0) * (1 - u) + alongY(1) * u, alongY(4) * (1 - u) + alongY(5) * u);
        }
    }
    return std::max(sum / 64, 0.001);
}

TEST(SubVoxelMeasures, SumTheFractionsOfAllLatticeCells) {
    Random random(40);
    for (int i = 0; i < 24; ++i) {
        const SegmentVolume s = randomSegment(random, kOddSizes[i % 8]);
        double cubes = 0;
        for (int z = 0; z < s.zsize(); ++z) {
            double squares = 0;
            for (int y = 0; y + 1 < s.ysize(); ++y) {
                for (int x = 0; x + 1 < s.xsize(); ++x) {
                    squares += fractionByTheRules(s, x, y, z, 4);
                    cubes += z + 1 < s.zsize() ? fractionByTheRules(s, x, y, z, 8) : 0.0;
                }
            }
            EXPECT_NEAR(area(s, z), 2 * squares, 1e-9 * (1 + squares));
        }
        EXPECT_NEAR(volume(s), 6 * cubes, 1e-9 * (1 + cubes)) << "case " << i;
        EXPECT_EQ(plexa::CalculateVolumeWithoutSkipping(s, nobody), volume(s));
    }
}

TEST(SubVoxelMeasures, CountAThousandthAtLeastAndNothingWithoutNeighbours) {
    SegmentVolume faint(5, 5, 5, 1, 1, 1);
    faint.setPixel(2, 2, 2, 128);
    EXPECT_DOUBLE_EQ(volume(faint), 8 * 0.001);
    EXPECT_EQ(area(SegmentVolume(5, 1, 5, 1, 1, 1), 2), 0.0);
    EXPECT_EQ(area(SegmentVolume(0, 5, 5, 1, 1, 1), 2), 0.0);
}

}  // namespace
