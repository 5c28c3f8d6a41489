#include <trelis/segment/segment_volume.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
using Box = std::array<int, 6>;
using Extent = std::array<double, 6>;

const NSegment::VolumeCell& cellOf(const SegmentVolume& s, int x, int y, int z) {
    return s.Cells()[s.cellIndex(x, y, z)];
}

/// The scan voxel by voxel with its runs.
Extent extentByTheRules(const SegmentVolume& s) {
    const double large = std::numeric_limits<double>::max();
    Extent e = {large, large, large, -large, -large, -large};
    const auto run = [&](int x, int y, int z) {
        const int toEnd = std::min(x / 32 * 32 + 32, s.xsize()) - x;
        return y < 0 || z < 0 ? 0 : cellOf(s, x, y, z).allocated() ? 1 : toEnd;
    };
    int next = 0;
    forEachVoxel(sizeOf(s), [&](int x, int y, int z) {
        if (x > 0 && x < next) {
            return;
        }
        const int v = s.pixel(x, y, z);
        const int last[3] = {s.xsize() - 1, s.ysize() - 1, s.zsize() - 1};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            int p[3] = {x, y, z};
            const int index = p[axis]--;
            const int back = index == 0 ? 0 : s.pixel(p[0], p[1], p[2]);
            if (v >= 128 && back < 128) {
                e[axis] = std::min(e[axis], index + 0.5 - (v - 128.0) / (v - back));
            }
            if (v >= 128 && index == last[axis]) {
                e[axis + 3] = std::max(e[axis + 3], index + 0.5 + (v - 128.0) / v);
            }
            if (v < 128 && back >= 128) {
                e[axis + 3] = std::max(e[axis + 3], index - 0.5 + (back - 128.0) / (back - v));
            }
        }
        const int runs = std::max({run(x, y, z), run(x, y - 1, z), run(x, y, z - 1)});
        next = x + (v >= 128 ? 1 : runs);
    });
    return e;
}

TEST(SegmentVolume, WritingAllocatesOnlyWhereTheValueDiffersFromTheCells) {
    SegmentVolume s(64, 17, 8, 1, 1, 1);
    constexpr std::size_t kBare = 64 + 8 * 4;
    s.setPixel(0, 0, 0, 0);
    s.addToPixel(0, 0, 0, 0);
    s.Cells()[1].fill();
    s.setPixel(40, 0, 0, 255);
    s.addToPixel(40, 0, 0, 7);
    EXPECT_EQ(s.pixel(40, 0, 0), 255);
    EXPECT_EQ(s.calculateMemoryConsumption(), kBare);
    s.setPixel(40, 0, 0, 256 + 255);
    EXPECT_EQ(s.calculateMemoryConsumption(), kBare + 4096);
    s.setPixel(41, 0, 0, 256 + 5);
    EXPECT_EQ(s.pixel(41, 0, 0) * 1000 + s.pixel(32, 0, 0), 5255);
    s.addToPixel(1, 2, 3, 100);
    s.addToPixel(1, 2, 3, 200);
    EXPECT_EQ(s.pixel(1, 2, 3), 44);
    s.addToPixel(1, 2, 3, -45);
    EXPECT_EQ(s.Cells()[0].data()[(3 * 16 + 2) * 32 + 1], 255);
    EXPECT_EQ(s.calculateMemoryConsumption(), kBare + 8192);
    s.clear();
    EXPECT_EQ(s.calculateMemoryConsumption(), kBare);
}

TEST(SegmentVolume, BoundingArraysMarkTheCellsThatAreNotEmptyWhateverTheyHold) {
    SegmentVolume s(70, 40, 19, 1, 1, 1);
    s.Cells()[s.cellIndex(32, 16, 8)].allocate();
    s.Cells()[s.cellIndex(64, 32, 16)].allocate();
    std::vector<char> xs(70, 7);
    std::vector<char> ys(40, 7);
    std::vector<char> zs(19, 7);
    s.calculateBoundingArrays(xs, ys, zs);
    EXPECT_EQ(std::string(xs.begin(), xs.end()), std::string(32, 0) + std::string(38, 1));
    EXPECT_EQ(std::string(ys.begin(), ys.end()), std::string(16, 0) + std::string(24, 1));
    EXPECT_EQ(std::string(zs.begin(), zs.end()), std::string(8, 0) + std::string(11, 1));
}

TEST(SegmentVolume, ConvertsFractionsWithRoundingAndInSinglePrecision) {
    EXPECT_EQ(SegmentVolume::fromFloat(0.5), 128);
    EXPECT_EQ(SegmentVolume::fromFloat(-0.1) + SegmentVolume::fromFloat(std::nan("")), 0);
    EXPECT_EQ(SegmentVolume::fromFloat(1.5), 255);
    EXPECT_EQ(SegmentVolume::toFloat(100), static_cast<double>(100.0F / 255.0F));
}

TEST(SegmentVolume, MeasuresAgreeWithAPlainWalkOverTheVoxels) {
    Random random(20);
    for (int i = 0; i < 80; ++i) {
        SCOPED_TRACE(i);
        const GridSize& size = kOddSizes[i % 8];
        SegmentVolume s = randomSegment(random, size);
        if (i % 4 == 0) {
            // A few voxels only, so that boxes are small.
            s.clear();
            for (int k = 0; k < i / 16; ++k) {
                s.setPixel(random.integer(0, size.x - 1), random.integer(0, size.y - 1),
                           random.integer(0, size.z - 1), random.integer(120, 135));
            }
        }
        Box box = {size.x, size.y, size.z, -1, -1, -1};
        forEachVoxel(size, [&](int x, int y, int z) {
            if (i % 4 == 1 && cellOf(s, x, y, z).allocated()) {
                // Below the level next to full cells, so that extents are not those of the grid.
                s.setPixel(x, y, z, s.pixel(x, y, z) / 2);
            }
            if (s.pixel(x, y, z) >= 128) {
                box = {std::min(box[0], x), std::min(box[1], y), std::min(box[2], z),
                       std::max(box[3], x), std::max(box[4], y), std::max(box[5], z)};
            }
        });
        EXPECT_EQ(s.IsEmpty(), box[3] < 0);
        if (box[3] < 0) {
            std::copy_n(box.begin(), 3, box.begin() + 3);
        }
        Box b;
        s.GetBoundingBoxForIteration(b[0], b[1], b[2], b[3], b[4], b[5]);
        EXPECT_EQ(b, box);
        Extent e;
        s.GetExtendWithSubPixelAccuracy(e[0], e[1], e[2], e[3], e[4], e[5]);
        EXPECT_EQ(e, extentByTheRules(s));
    }
}

TEST(SegmentVolume, CompactionFreesUniformCellsOfZeroOr255AndKeepsValues) {
    Random random(21);
    for (const GridSize& size : kOddSizes) {
        const SegmentVolume s = randomSegment(random, size);
        SegmentVolume compacted = s;
        compacted.compact();
        EXPECT_EQ(dense(compacted), dense(s));
        for (std::size_t c = 0; c <= s.cellIndex(size.x - 1, size.y - 1, size.z - 1); ++c) {
            const unsigned char* v = s.Cells()[c].values();
            const bool uniform = std::all_of(v, v + 4096, [v](unsigned char b) { return b == *v; });
            EXPECT_EQ(compacted.Cells()[c].allocated(), !uniform || (*v != 0 && *v != 255));
        }
    }
}

TEST(SegmentVolume, ResolutionsAreEqualWithinAMillionthOfAMillimetre) {
    const SegmentVolume s(2, 2, 2, 1, 1, 1);
    EXPECT_TRUE(s.hasEqualGeometry({2, 2, 2, 1.0000005, 1.0000005, 1.0000005}));
    for (const auto& [x, y, z] : {Vector::P_X, Vector::P_Y, Vector::P_Z}) {
        EXPECT_FALSE(s.hasEqualGeometry({2, 2, 2, 1 + 2e-6 * x, 1 + 2e-6 * y, 1 + 2e-6 * z}));
    }
    EXPECT_FALSE(s.hasEqualGeometry({3, 2, 2, 1, 1, 1}) || s.hasEqualGeometry({2, 3, 2, 1, 1, 1}));
}

TEST(SegmentVolume, TrilinearFormsDifferAtTheLastVoxels) {
    Random random(22);
    const SegmentVolume s = randomSegment(random, {64, 32, 16});
    const double last[3] = {63, 31, 15};
    const auto near = [](double distance) { return 1 - std::abs(distance); };
    for (int i = 0; i < 500; ++i) {
        double p[3] = {random.number(0, 63), random.number(0, 31), random.number(0, 15)};
        double expected = 0;
        forEachVoxel({2, 2, 2}, [&](int dx, int dy, int dz) {
            const int c[3] = {static_cast<int>(p[0]) + dx, static_cast<int>(p[1]) + dy,
                              static_cast<int>(p[2]) + dz};
            const double weight = near(p[0] - c[0]) * near(p[1] - c[1]) * near(p[2] - c[2]);
            expected += weight * s.pixel(c[0], c[1], c[2]);
        });
        EXPECT_NEAR(s.pixelTrilinearSafe(p[0], p[1], p[2]), expected, 1e-9);
        EXPECT_NEAR(s.pixelTrilinearSafeCorrect(p[0], p[1], p[2]), expected, 1e-9);
        p[i % 3] = last[i % 3];
        EXPECT_EQ(s.pixelTrilinearSafe(p[0], p[1], p[2]), 0.0);
        p[i % 3] = i % 2 == 0 ? -1e-9 : last[i % 3] + 1e-9;
        EXPECT_EQ(s.pixelTrilinearSafe(p[0], p[1], p[2]), 0.0);
        EXPECT_EQ(s.pixelTrilinearSafeCorrect(p[0], p[1], p[2]), 0.0);
    }
    EXPECT_EQ(s.pixelTrilinearSafeCorrect(63, 31, 15), s.pixel(63, 31, 15));
}

TEST(SegmentSpan, ReadsAndWritesRowsWithStandardAlgorithms) {
    Random random(23);
    for (const GridSize& size : kOddSizes) {
        SegmentVolume s = randomSegment(random, size);
        std::vector<unsigned char> values;
        forEachVoxel({1, size.y, size.z}, [&](int, int y, int z) {
            const auto row = s.GetConstSpanX(y, z);
            std::copy(row.begin(), row.end(), std::back_inserter(values));
            for (auto it = row.begin(); it != row.end(); it += it.pixelsOfConstantValue()) {
                const int run = it.pixelsOfConstantValue();
                EXPECT_TRUE(std::all_of(it, it + run, [&](int value) { return value == *it; }));
                const auto bytes = it.valuesToCellEnd();
                EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), it));
            }
        });
        EXPECT_EQ(values, dense(s));
        const auto written = s.GetSpanX(size.y - 1, size.z - 1);
        std::reverse(written.begin(), written.end());
        EXPECT_TRUE(std::equal(written.begin(), written.end(), values.rbegin()));
    }
}

}  // namespace
