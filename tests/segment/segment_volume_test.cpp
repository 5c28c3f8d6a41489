#include <trelis/segment/segment_volume.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

using Box = std::array<int, 6>;
using Extent = std::array<double, 6>;

Box boundingBox(const SegmentVolume& s) {
    Box b;
    s.GetBoundingBoxForIteration(b[0], b[1], b[2], b[3], b[4], b[5]);
    return b;
}

Extent extent(const SegmentVolume& s) {
    Extent e;
    s.GetExtendWithSubPixelAccuracy(e[0], e[1], e[2], e[3], e[4], e[5]);
    return e;
}

/// Calls visit(x, y, z) for every voxel in raster order.
template <typename Visitor>
void forEachVoxel(const SegmentVolume& s, const Visitor& visit) {
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            for (int x = 0; x < s.xsize(); ++x) {
                visit(x, y, z);
            }
        }
    }
}

/// What a voxel with value v, whose neighbour one step back has value p, adds to an axis.
void addCandidate(double v, double p, int index, int size, double& low, double& high) {
    if (v >= 128 && p < 128) {
        low = std::min(low, index + 0.5 - (v - 128) / (v - p));
    }
    if (v >= 128 && index == size - 1) {
        high = std::max(high, index + 0.5 + (v - 128) / v);
    }
    if (v < 128 && p >= 128) {
        high = std::max(high, (index - 0.5) + (p - 128) / (p - v));
    }
}

/// The scan voxel by voxel through `pixel`, with its runs.
Extent extentByTheRules(const SegmentVolume& s) {
    const double large = std::numeric_limits<double>::max();
    Extent e = {large, large, large, -large, -large, -large};
    const auto value = [&](int x, int y, int z) {
        return x < 0 || y < 0 || z < 0 ? 0 : s.pixel(x, y, z);
    };
    const auto run = [&](int x, int y, int z) {
        if (y < 0 || z < 0) {
            return 0;
        }
        const bool allocated = s.Cells()[s.cellIndex(x, y, z)].allocated();
        return allocated ? 1 : std::min(x / 32 * 32 + 32, s.xsize()) - x;
    };
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            for (int x = 0; x < s.xsize();) {
                const int v = s.pixel(x, y, z);
                addCandidate(v, value(x - 1, y, z), x, s.xsize(), e[0], e[3]);
                addCandidate(v, value(x, y - 1, z), y, s.ysize(), e[1], e[4]);
                addCandidate(v, value(x, y, z - 1), z, s.zsize(), e[2], e[5]);
                x += v >= 128 ? 1 : std::max({run(x, y, z), run(x, y - 1, z), run(x, y, z - 1)});
            }
        }
    }
    return e;
}

TEST(SegmentVolume, StartsEmptyAndCountsItsCells) {
    const SegmentVolume s(100, 50, 20, 1, 1, 1);
    EXPECT_EQ(s.superBlockSizeX() * 100 + s.superBlockSizeY() * 10 + s.superBlockSizeZ(), 443);
    EXPECT_EQ(s.calculateMemoryConsumption(), 64U + 8 * 48);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_EQ(boundingBox(s), (Box{100, 50, 20, 100, 50, 20}));
    EXPECT_TRUE(SegmentVolume(0, 5, 5, 1, 1, 1).IsEmpty());
}

TEST(SegmentVolume, WritingAllocatesOnlyWhereTheValueDiffersFromTheCells) {
    SegmentVolume s(64, 16, 8, 1, 1, 1);
    const std::size_t bare = s.calculateMemoryConsumption();
    s.setPixel(0, 0, 0, 0);
    s.addToPixel(0, 0, 0, 0);
    s.Cells()[1].fill();
    s.setPixel(40, 0, 0, 255);
    s.addToPixel(40, 0, 0, 7);
    EXPECT_EQ(s.pixel(40, 0, 0), 255);
    EXPECT_EQ(s.calculateMemoryConsumption(), bare);
    s.setPixel(1, 2, 3, 127);
    s.Cells()[1].writeAndAllocate(0, 511);
    s.setPixel(41, 0, 0, 256 + 5);
    EXPECT_EQ(s.calculateMemoryConsumption(), bare + 8192);
    EXPECT_EQ(s.pixel(41, 0, 0) * 1000 + s.pixel(32, 0, 0), 5255);
    s.setPixel(1, 2, 3, 100);
    s.addToPixel(1, 2, 3, 200);
    EXPECT_EQ(s.pixel(1, 2, 3), 44);
    s.addToPixel(1, 2, 3, -45);
    EXPECT_EQ(s.pixel(1, 2, 3), 255);
    EXPECT_EQ(s.Cells()[0].data()[(3 * 16 + 2) * 32 + 1], 255);
    s.clear();
    EXPECT_EQ(s.calculateMemoryConsumption(), bare);
}

TEST(SegmentVolume, ConvertsFractionsWithRoundingAndInSinglePrecision) {
    EXPECT_EQ(SegmentVolume::fromFloat(0.5), 128);
    EXPECT_EQ(SegmentVolume::fromFloat(-0.1) + SegmentVolume::fromFloat(std::nan("")), 0);
    EXPECT_EQ(SegmentVolume::fromFloat(1.5), 255);
    EXPECT_EQ(SegmentVolume::toFloat(255), 1.0);
    EXPECT_EQ(SegmentVolume::toFloat(100), static_cast<double>(100.0F / 255.0F));
}

TEST(SegmentVolume, MeasuresAgreeWithAPlainWalkOverTheVoxels) {
    Random random(20);
    for (int i = 0; i < 80; ++i) {
        SegmentVolume s = randomSegment(random, kOddSizes[i % 8]);
        if (i % 4 == 0) {
            // A few voxels only, so that boxes are small.
            s.clear();
            for (int k = 0; k < i / 16; ++k) {
                s.setPixel(random.integer(0, s.xsize() - 1), random.integer(0, s.ysize() - 1),
                           random.integer(0, s.zsize() - 1), random.integer(120, 135));
            }
        }
        if (i % 4 == 1) {
            // Below the level next to full cells, so that extents are not those of the grid.
            for (std::size_t c = 0; c <= s.cellIndex(s.xsize() - 1, s.ysize() - 1, s.zsize() - 1);
                 ++c) {
                unsigned char* bytes = s.Cells()[c].allocated() ? s.Cells()[c].data() : nullptr;
                std::for_each(bytes, bytes == nullptr ? bytes : bytes + 4096,
                              [](unsigned char& b) { b /= 2; });
            }
        }
        Box box = {s.xsize(), s.ysize(), s.zsize(), -1, -1, -1};
        std::vector<char> marks[3] = {std::vector<char>(static_cast<std::size_t>(s.xsize()), 7),
                                      std::vector<char>(static_cast<std::size_t>(s.ysize()), 7),
                                      std::vector<char>(static_cast<std::size_t>(s.zsize()), 7)};
        s.calculateBoundingArrays(marks[0], marks[1], marks[2]);
        std::vector<char> expected[3] = {marks[0], marks[1], marks[2]};
        std::for_each(expected, expected + 3,
                      [](auto& v) { std::fill(v.begin(), v.end(), char{0}); });
        forEachVoxel(s, [&](int x, int y, int z) {
            const int p[3] = {x, y, z};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                if (!s.Cells()[s.cellIndex(x, y, z)].empty()) {
                    expected[axis][static_cast<std::size_t>(p[axis])] = 1;
                }
                if (s.pixel(x, y, z) >= 128) {
                    box[axis] = std::min(box[axis], p[axis]);
                    box[axis + 3] = std::max(box[axis + 3], p[axis]);
                }
            }
        });
        EXPECT_TRUE(std::equal(marks, marks + 3, expected)) << "case " << i;
        const bool empty = box[3] < 0;
        EXPECT_EQ(s.IsEmpty(), empty);
        EXPECT_EQ(boundingBox(s),
                  empty ? (Box{box[0], box[1], box[2], box[0], box[1], box[2]}) : box);
        EXPECT_EQ(extent(s), extentByTheRules(s)) << "case " << i;
    }
}

TEST(SegmentVolume, SubVoxelExtentOfOneVoxelAndOfNone) {
    SegmentVolume s(20, 20, 20, 1, 1, 1);
    EXPECT_EQ(extent(s)[0], std::numeric_limits<double>::max());
    s.setPixel(5, 5, 5, 255);
    EXPECT_DOUBLE_EQ(extent(s)[0], 5.5 - 127.0 / 255);
    EXPECT_DOUBLE_EQ(extent(s)[5], 5.5 + 127.0 / 255);
}

TEST(SegmentVolume, CopiesAreDeepAndCompactionKeepsValues) {
    Random random(21);
    SegmentVolume target(3, 3, 3, 9, 9, 9);
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
        target.assign(s);
        EXPECT_TRUE(target.hasEqualGeometry(s));
        compacted.setPixel(0, 0, 0, 255 - s.pixel(0, 0, 0));
        EXPECT_EQ(dense(target), dense(s));
        target.assign(compacted);
        EXPECT_EQ(dense(target), dense(compacted));
    }
    const SegmentVolume one(2, 2, 2, 1, 1, 1);
    EXPECT_TRUE(one.hasEqualGeometry({2, 2, 2, 1.0000005, 1.0000005, 1.0000005}));
    for (const SegmentVolume& other :
         {SegmentVolume(2, 2, 2, 1.000002, 1, 1), SegmentVolume(2, 2, 2, 1, 1.000002, 1),
          SegmentVolume(2, 2, 2, 1, 1, 1.000002), SegmentVolume(3, 2, 2, 1, 1, 1),
          SegmentVolume(2, 3, 2, 1, 1, 1), SegmentVolume(2, 2, 3, 1, 1, 1)}) {
        EXPECT_FALSE(one.hasEqualGeometry(other));
    }
}

TEST(SegmentVolume, TrilinearFormsDifferAtTheLastVoxels) {
    Random random(22);
    const SegmentVolume s = randomSegment(random, {64, 32, 16});
    for (int i = 0; i < 500; ++i) {
        const double p[3] = {random.number(0, 63), random.number(0, 31), random.number(0, 15)};
        double expected = 0;
        for (int corner = 0; corner < 8; ++corner) {
            double weight = 1;
            int c[3];
            for (int axis = 0; axis < 3; ++axis) {
                c[axis] = static_cast<int>(p[axis]) + ((corner >> axis) & 1);
                weight *= 1 - std::abs(p[axis] - c[axis]);
            }
            expected += weight * s.pixel(c[0], c[1], c[2]);
        }
        EXPECT_NEAR(s.pixelTrilinear(p[0], p[1], p[2]), expected, 1e-9);
        EXPECT_EQ(s.pixelTrilinearSafe(p[0], p[1], p[2]), s.pixelTrilinear(p[0], p[1], p[2]));
        EXPECT_EQ(s.pixelTrilinearSafeCorrect(39, p[1], 8),
                  s.pixelTrilinearSafeCorrect(39, p[1], 8.0));
    }
    EXPECT_EQ(s.pixelTrilinearSafeCorrect(63, 31, 15), s.pixel(63, 31, 15));
    for (int axis = 0; axis < 3; ++axis) {
        double p[3] = {1, 1, 1};
        const double last = axis == 0 ? 63 : axis == 1 ? 31 : 15;
        for (const double outside : {-1e-9, last + 1e-9}) {
            p[axis] = outside;
            EXPECT_EQ(s.pixelTrilinearSafeCorrect(p[0], p[1], p[2]), 0.0);
        }
        p[axis] = last;
        EXPECT_EQ(s.pixelTrilinearSafe(p[0], p[1], p[2]), 0.0);
    }
}

TEST(SegmentSpan, ReadsAndWritesRowsWithStandardAlgorithms) {
    Random random(23);
    for (const GridSize& size : kOddSizes) {
        SegmentVolume s = randomSegment(random, size);
        std::vector<unsigned char> values;
        for (int z = 0; z < size.z; ++z) {
            for (int y = 0; y < size.y; ++y) {
                const auto row = s.GetConstSpanX(y, z);
                for (const int value : row) {
                    values.push_back(static_cast<unsigned char>(value));
                }
                EXPECT_EQ(std::distance(row.begin(), row.end()), size.x);
                auto it = row.begin();
                while (it != row.end()) {
                    const int run = it.pixelsOfConstantValue();
                    EXPECT_TRUE(std::all_of(it, it + run, [&](int value) { return value == *it; }));
                    const auto bytes = it.valuesToCellEnd();
                    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), it));
                    it += run;
                }
            }
        }
        EXPECT_EQ(values, dense(s));
        const auto written = s.GetSpanX(size.y - 1, size.z - 1);
        std::transform(written.begin(), written.end(), written.begin(),
                       [](int v) { return 255 - v; });
        std::reverse(written.begin(), written.end());
        std::vector<int> expected(values.end() - size.x, values.end());
        std::reverse(expected.begin(), expected.end());
        EXPECT_TRUE(std::equal(written.begin(), written.end(), expected.begin(), expected.end(),
                               [](int a, int b) { return a == 255 - b; }));
    }
}

}  // namespace
