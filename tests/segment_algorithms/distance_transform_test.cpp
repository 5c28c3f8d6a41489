#include <trelis/segment_algorithms/distance_transform.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <tests/support/reporter.h>
#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Mixed cells, or few voxels of the other kind in empty or full surroundings.
SegmentVolume sparseSegment(Random& random, const GridSize& size, const Vector& resolution) {
    SegmentVolume segment = randomSegment(random, size, resolution);
    const int kind = random.integer(0, 2);
    if (kind > 0) {
        forEachVoxel(size, [&](int x, int y, int z) {
            if (random.integer(0, 300) > 0) {
                segment.setPixel(x, y, z, kind == 1 ? 0 : 255);
            }
        });
        segment.compact();
    }
    return segment;
}

TEST(DistanceTransform, AgreesWithAllPairsForEveryLimitAndSpacing) {
    Random random(17);
    QProgressReporterNull nobody;
    for (int trial = 0; trial < 24; ++trial) {
        const GridSize size = kOddSizes[trial % 8];
        const Vector spacing(random.integer(1, 5) * 0.3, random.integer(1, 5) * 0.5, 2.0);
        const SegmentVolume segment = sparseSegment(random, size, spacing);
        const double limit = trial % 3 == 0 ? kInfinity : random.integer(0, 30) * 0.71;
        QVolume<float> unsignedDistances;
        QVolume<float> distances;
        NSegmentAlgorithms::DistanceTransform3d(segment, limit, unsignedDistances, nobody);
        NSegmentAlgorithms::SignedDistanceTransform3d(segment, limit, distances, nobody);
        std::vector<Vector> places[2];
        const auto place = [&](int x, int y, int z) {
            return Vector(x * spacing.x, y * spacing.y, z * spacing.z);
        };
        forEachVoxel(size, [&](int x, int y, int z) {
            places[segment.pixel(x, y, z) >= 128 ? 1 : 0].push_back(place(x, y, z));
        });
        for (int sample = 0; sample < 200; ++sample) {
            const int x = random.integer(0, size.x - 1);
            const int y = random.integer(0, size.y - 1);
            const int z = random.integer(0, size.z - 1);
            const bool inside = segment.pixel(x, y, z) >= 128;
            double nearest = kInfinity;
            for (const Vector& other : places[inside ? 0 : 1]) {
                nearest = std::min(nearest, (other - place(x, y, z)).Length());
            }
            const auto expected = static_cast<float>(nearest <= limit ? nearest : kInfinity);
            ASSERT_FLOAT_EQ(distances.GetPixel(x, y, z), inside ? -expected : expected)
                << "trial " << trial << " at " << x << ", " << y << ", " << z;
            ASSERT_FLOAT_EQ(unsignedDistances.GetPixel(x, y, z), inside ? 0.0F : expected);
        }
    }
}

TEST(DistanceTransform, FindsTheSitesOfSparseCellsWithinTheLimit) {
    Random random(18);
    QProgressReporterNull nobody;
    for (int trial = 0; trial < 12; ++trial) {
        const GridSize size{200, 100, 60};
        SegmentVolume segment(size.x, size.y, size.z, 1, 1.5, 2);
        std::vector<Vector> sites;
        for (int n = random.integer(1, 4); n > 0; --n) {
            // Also at the borders of cells.
            const int x = random.integer(0, 1) == 0 ? 64 - n % 2 : random.integer(0, 199);
            const int y = random.integer(0, 99);
            const int z = random.integer(0, 59);
            sites.emplace_back(x, 1.5 * y, 2 * z);
            segment.setPixel(x, y, z, 255);
        }
        const double limit = random.integer(0, 120);
        QVolume<float> distances;
        NSegmentAlgorithms::DistanceTransform3d(segment, limit, distances, nobody);
        for (int sample = 0; sample < 3000; ++sample) {
            const int x = random.integer(0, 199);
            const int y = random.integer(0, 99);
            const int z = random.integer(0, 59);
            double nearest = kInfinity;
            for (const Vector& site : sites) {
                nearest = std::min(nearest, (site - Vector(x, 1.5 * y, 2 * z)).Length());
            }
            ASSERT_FLOAT_EQ(distances.GetPixel(x, y, z),
                            static_cast<float>(nearest <= limit ? nearest : kInfinity))
                << "trial " << trial << " at " << x << ", " << y << ", " << z;
        }
    }
}

TEST(DistanceTransform, RefusesBadLimitsAndCanBeCancelled) {
    const SegmentVolume segment(40, 20, 10, 1, 1, 1);
    QVolume<float> distances;
    QProgressReporterNull nobody;
    for (const double limit : {-1.0, std::nan("")}) {
        EXPECT_THROW(NSegmentAlgorithms::DistanceTransform3d(segment, limit, distances, nobody),
                     std::invalid_argument);
    }
    RecordingReporter reporter(9);
    EXPECT_THROW(NSegmentAlgorithms::DistanceTransform3d(segment, 1.0, distances, reporter),
                 QAbortPressed);
}

}  // namespace
