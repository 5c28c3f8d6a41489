#include <algorithm>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/segment_algorithms/clean_up.h>
#include <trelis/segment_algorithms/connected_components.h>

namespace {

using namespace NSegmentAlgorithms;  // NOLINT(google-build-using-namespace): they are the subject
using NSegment::SegmentVolume;

using Points = std::vector<Vector>;

std::size_t indexOf(int i) { return static_cast<std::size_t>(i); }

/// A mixture of cells, or noise of values close to the thresholds.
SegmentVolume scene(Random& random, const GridSize& size, int kind) {
    SegmentVolume s = randomSegment(random, size, {2, 3, 5});
    const int density = random.integer(1, 9);
    forEachVoxel(size, [&](int x, int y, int z) {
        constexpr int kLevels[] = {127, 128, 255, 140, 200, 0, 126, 60, 127, 0};
        const int noise = kLevels[random.integer(random.integer(0, 9) < density ? 0 : 5, 9)];
        const int values[] = {s.pixel(x, y, z), noise};
        s.setPixel(x, y, z, values[kind]);
    });
    return s;
}

/// The labels of the planes from zBegin to zEnd the direct way: sets of voxels, pair after pair.
std::vector<int> plainLabels(const SegmentVolume& s, int zBegin, int zEnd, int& count) {
    const GridSize size{s.xsize(), s.ysize(), zEnd - zBegin};
    const auto at = [&](int x, int y, int z) {
        const bool in = x >= 0 && y >= 0 && z >= 0 && x < size.x && y < size.y;
        return in ? s.pixel(x, y, zBegin + z) : 0;
    };
    std::vector<int> parent(indexOf(size.x * size.y * size.z));
    std::iota(parent.begin(), parent.end(), 0);
    const auto root = [&](int i) {
        while (parent[indexOf(i)] != i) {
            i = parent[indexOf(i)];
        }
        return i;
    };
    int voxel = 0;
    forEachVoxel(size, [&](int x, int y, int z) {
        for (int n = 0; n < 13; ++n) {  // the earlier neighbours, in raster order
            const int dx = n % 3 - 1;
            const int dy = n / 3 % 3 - 1;
            const int dz = n / 9 - 1;
            const int axes = std::abs(dx) + std::abs(dy) + std::abs(dz);
            const bool forward = axes == 3 && dy == 1;
            int sum = 0;
            for (int i = 0; i < 8; ++i) {
                const bool isOther = (dx != 0 || i % 2 == 0) && (dy != 0 || i / 2 % 2 == 0) &&
                                     (dz != 0 || i / 4 == 0);
                const int plane = forward ? -1 : i / 4 * dz;
                sum += isOther ? at(x + i % 2 * dx, y + i / 2 % 2 * dy, z + plane) : 0;
            }
            constexpr int kThreshold[] = {0, 0, 510, 1020};
            if (at(x, y, z) >= 128 && at(x + dx, y + dy, z + dz) >= 128 &&
                sum >= kThreshold[axes]) {
                const int other = root(voxel + (dz * size.y + dy) * size.x + dx);
                const int own = root(voxel);
                parent[indexOf(std::max(own, other))] = std::min(own, other);
            }
        }
        ++voxel;
    });
    count = 1;
    std::vector<int> labels;
    forEachVoxel(size, [&](int x, int y, int z) {
        const std::size_t first = indexOf(root(static_cast<int>(labels.size())));
        labels.push_back(at(x, y, z) < 128 ? 0 : first == labels.size() ? count++ : labels[first]);
    });
    return labels;
}

std::vector<int> labelled(const SegmentVolume& s, int& count) {
    QVolume<int> labels(s.xsize(), s.ysize(), s.zsize(), 1, 1, 1);
    std::fill(labels.begin(), labels.end(), -1);
    Labeling3d(s, count, labels);
    return {labels.begin(), labels.end()};
}

template <typename Test>
void forScenes(unsigned seed, const Test& test) {
    Random random(seed);
    for (int round = 0; round < 96; ++round) {
        SCOPED_TRACE(round);
        const GridSize sizes[] = {{65, 5, 4}, {130, 7, 3}, {64, 9, 5}, kOddSizes[round / 4 % 8]};
        test(random, scene(random, sizes[round % 4], round / 4 % 2));
    }
}

TEST(Labeling, EqualsTheUnionOfPairsNumberedInRasterOrder) {
    forScenes(1, [](Random&, const SegmentVolume& s) {
        int count = -1;
        int expectedCount = -2;
        const std::vector<int> expected = plainLabels(s, 0, s.zsize(), expectedCount);
        EXPECT_EQ(labelled(s, count), expected);
        EXPECT_EQ(count, expectedCount);
        for (int z = 0; z < s.zsize(); ++z) {
            std::vector<int> labels(indexOf(s.xsize() * s.ysize()), -1);
            Labeling2d(s, z, count, labels.data());
            EXPECT_EQ(labels, plainLabels(s, z, z + 1, expectedCount));
            EXPECT_EQ(count, expectedCount);
        }
    });
}

TEST(Labeling, ConnectsTouchingVoxelsByTheSumAroundTheContact) {
    // The lower plane row by row, then the upper, and the components in the volume.
    constexpr struct {
        int values[8];
        int components;
    } kCases[] = {
        {{128, 127, 127, 128}, 1},  // outside voxels count
        {{128, 127, 126, 128}, 2},
        {{255, 0, 0, 0, 0, 0, 0, 255}, 2},  // a corner alone, even of a mask
        {{255, 127, 127, 1, 127, 127, 0, 255}, 2},
        {{127, 1, 255, 127, 0, 128, 0, 0}, 1},        // forward: only the lower plane counts
        {{127, 0, 255, 127, 127, 255, 127, 127}, 2},  // however much the upper one holds
    };
    for (const auto& [values, components] : kCases) {
        SegmentVolume s(2, 2, 2, 1, 1, 1);
        for (int i = 0; i < 8; ++i) {
            s.setPixel(i % 2, i / 2 % 2, i / 4, values[i]);
        }
        int count = 0;
        labelled(s, count);
        EXPECT_EQ(count, components + 1) << testing::PrintToString(values);
    }
}

TEST(Labeling, FindsNothingInAGridWithoutVoxels) {
    int count = 0;
    EXPECT_TRUE(labelled(SegmentVolume(0, 3, 3, 1, 1, 1), count).empty());
    EXPECT_EQ(count, 1);
}

TEST(LabelingDeathTest, RefusesLabelsOfAnotherSize) {
    for (const auto& [x, y, z] : {GridSize{1, 3, 4}, {2, 1, 4}, {2, 3, 1}}) {
        QVolume<int> labels(x, y, z, 1, 1, 1);
        int count = 0;
        EXPECT_DEATH(Labeling3d(SegmentVolume(2, 3, 4, 1, 1, 1), count, labels),
                     "^Labeling3d : segment and labelVolume sizes differ\n");
    }
}

struct Component {
    int size = 0;
    bool onBorder = false;
    bool picked = false;
    bool kept = false;
};

struct Operation {
    std::function<void(SegmentVolume&)> inPlane, inVolume;
    std::function<bool(const Component&)> removes;
    bool withBackground = false;
};

/// Each operation in one plane, or in the volume.
void testCleanUp(Random& random, const SegmentVolume& s, bool flat) {
    const int plane = flat ? random.integer(0, s.zsize() - 1) : 0;
    const GridSize size{s.xsize(), s.ysize(), flat ? 1 : s.zsize()};
    int count = 0;
    const auto labels = plainLabels(s, plane, plane + size.z, count);
    const int n = random.integer(-1, std::min(count, 5));
    std::vector<Component> components(indexOf(count));
    Points points;
    int limit = 0;
    std::vector<bool> flags(components.size());
    QVolume<int> dense3d(s.xsize(), s.ysize(), s.zsize(), 1, 1, 1);
    std::copy(labels.begin(), labels.end(), dense3d.begin());
    const auto isSmall = [&](const Component& c) { return c.size < limit; };
    const double area = s.xres() * s.yres();
    const Operation operations[] = {
        {[&](auto& r) { KeepNLargestSegmentsInSlice(plane, n, r); },
         [&](auto& r) { KeepNLargestSegments(n, r); }, [&](const Component& c) { return !c.kept; }},
        {[&](auto& r) { RemoveSmallSegments2d(plane, limit * area, r); },
         [&](auto& r) { RemoveSmallSegments3d(limit * area * s.zres(), r); }, isSmall},
        {[&](auto& r) { RemoveSmallSegmentsNotOnBorder2d(plane, limit * area, r); },
         [&](auto& r) { RemoveSmallSegmentsNotOnBorder3d(limit * area * s.zres(), r); },
         [&](const Component& c) { return isSmall(c) && !c.onBorder; }},
        {[&](auto& r) { RemoveSelectedSegment2d(points, r); },
         [&](auto& r) { RemoveSelectedSegment3d(points, r); },
         [&](const Component& c) { return c.picked; }},
        {[&](auto& r) { KeepSelectedPart2d(points, r); },
         [&](auto& r) { KeepSelectedPart3d(points, r); },
         [&](const Component& c) { return !c.picked; }},
        {[](auto&) {}, [&](auto& r) { RemoveSelectedLabels3d(flags, dense3d, r); },
         [&](const Component& c) { return !flat && c.onBorder; }, true}};
    SegmentVolume largest = s;
    (flat ? operations[0].inPlane : operations[0].inVolume)(largest);
    std::size_t i = 0;
    forEachVoxel(size, [&](int x, int y, int z) {
        Component& c = components[indexOf(labels[i])];
        ++c.size;
        c.onBorder |= x == 0 || y == 0 || x == size.x - 1 || y == size.y - 1 ||
                      (!flat && (z == 0 || z == size.z - 1));
        flags[indexOf(labels[i++])] = c.onBorder;
        c.kept |= largest.pixel(x, y, plane + z) >= 128;
        if (points.empty() || random.integer(0, 50) == 0) {
            c.picked = true;
            points.emplace_back(x + 0.9, y + 0.9, flat ? plane : z + 0.9);
        }
    });
    limit = components[indexOf(random.integer(0, count - 1))].size;
    for (const Operation& operation : operations) {
        auto expected = dense(s);
        for (i = 0; i < labels.size(); ++i) {
            if ((labels[i] != 0 || operation.withBackground) &&
                operation.removes(components[indexOf(labels[i])])) {
                expected[i + indexOf(plane * size.x * size.y)] = 127;
            }
        }
        SegmentVolume result = s;
        (flat ? operation.inPlane : operation.inVolume)(result);
        EXPECT_EQ(dense(result), expected) << "operation " << &operation - operations;
    }
    components.erase(components.begin());
    std::sort(components.begin(), components.end(), [](const auto& a, const auto& b) {
        return std::pair(a.size, a.kept) > std::pair(b.size, b.kept);
    });
    for (i = 0; i < components.size(); ++i) {
        EXPECT_EQ(components[i].kept, static_cast<int>(i) < n);
    }
}

TEST(CleanUp, Writes127IntoTheVoxelsOfTheComponentsChosenAndNowhereElse) {
    forScenes(2, [](Random& random, const SegmentVolume& s) {
        testCleanUp(random, s, true);
        testCleanUp(random, s, false);
    });
}

TEST(CleanUp, GroupsSortedPointsByZThatIsExactlyThePlane) {
    const struct {
        Points points;
        std::vector<unsigned char> kept;  // planes 0 and 1 of four columns, two of them inside
    } cases[] = {{{{2, 0, 1.5}, {0, 0, 1}}, {255, 0, 255, 0, 127, 0, 127, 0}},
                 {{{0, 0, 1.5}, {2, 0, 1.5}}, {255, 0, 255, 0, 127, 0, 127, 0}},
                 {{{0, 0, 1.5}, {0, 0, 1}}, {255, 0, 255, 0, 255, 0, 127, 0}},
                 {{{2, 0, 1}, {0.9, 0, 0}, {0, 0, 1}}, {255, 0, 127, 0, 255, 0, 255, 0}}};
    for (auto [points, kept] : cases) {
        SegmentVolume s(4, 1, 2, 1, 1, 1);
        for (const int i : {0, 2, 4, 6}) {
            s.setPixel(i % 4, 0, i / 4, 255);
        }
        KeepSelectedPart2d(points, s);
        EXPECT_EQ(dense(s), kept);
    }
}

TEST(CleanUp, CompactsAllCellsOrThoseOfTheLayerOfItsPlane) {
    SegmentVolume s(32, 16, 23, 1, 1, 1);
    for (const int i : {0, 1, 2}) {
        s.Cells()[i].allocate();
    }
    SegmentVolume layer = s;
    RemoveSmallSegments2d(15, 1, layer);
    RemoveSmallSegments3d(1, s);
    for (const int i : {0, 1, 2}) {
        EXPECT_EQ(layer.Cells()[i].empty(), i == 1);
        EXPECT_TRUE(s.Cells()[i].empty());
    }
}

}  // namespace
