#include <trelis/foundation/common_grid.h>

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>
#include <trelis/foundation/volume_tools.h>

namespace {

constexpr auto commonGrid = trelis::CalculateIntersectionSizeAndResolution;

/// A grid along the axes with its centre on the x axis.
FVoxelSpaceGeometry gridAt(double x, int xsize, int size, double xres, double res) {
    MMatrix m;
    m.SetTranslation(x, 0, 0);
    return {m, xsize, size, size, xres, res, res};
}

auto sizesOf(const FVoxelSpaceGeometry& g) { return std::tuple(g.xsize(), g.ysize(), g.zsize()); }

TEST(VoxelGeometry, PlacesCentresAndCornersInAnyFrameAndBack) {
    Random random(5);
    for (int i = 0; i < 100; ++i) {
        const MMatrix m = random.rigid(1.0);
        const int n[3] = {random.integer(1, 50), random.integer(1, 50), random.integer(1, 50)};
        const Vector r(random.number(0.5, 5), random.number(0.5, 5), random.number(0.5, 5));
        const FVoxelSpaceGeometry g(m, n[0], n[1], n[2], r.x, r.y, r.z);
        const Vector p = random.vector(40);
        EXPECT_NEAR_VECTOR(g.RealToVoxel(g.VoxelToReal(p)), p, 1e-9);
        const Vector q = p + Vector(0.5, 0.5, 0.5) - 0.5 * Vector(n[0], n[1], n[2]);
        EXPECT_NEAR_VECTOR(g.VoxelToReal(p), m.Transform({q.x * r.x, q.y * r.y, q.z * r.z}), 1e-9);
        const QVolumeSize size(n[0], n[1], n[2], r.x, r.y, r.z);
        const Vector centre = g.RVoxelToReal({}) + NVolumeTools::VectorToMiddle(size, m);
        EXPECT_NEAR_VECTOR(centre, m.GetTranslation(), 1e-9);
    }
}

TEST(CommonGrid, SnapsInwardsToTheGridWhoseVoxelsWereTakenUnlessAVoxelOrNothingWouldRemain) {
    const FVoxelSpaceGeometry turned(Random(6).rigid(1.0), 7, 5, 3, 1.5, 2, 2.5);
    const auto wide = gridAt(0, 10, 4, 2, 2);
    // From -5.3 to 14.7 along x.
    const auto moved = gridAt(4.7, 20, 8, 1, 1);
    // Two grids of 1 mm voxels, one moved by about a tenth. Zero bytes sort last: the grid at 0 is
    // the later one and gives the borders.
    const auto ten = gridAt(0, 10, 4, 1, 1);
    const struct {
        std::vector<FVoxelSpaceGeometry> grids;
        bool finest;
        Vector corner;
        std::tuple<int, int, int> sizes;
    } cases[] = {
        {{turned, turned}, true, turned.RVoxelToReal({}), {7, 5, 3}},
        {{turned, turned}, false, turned.RVoxelToReal({}), {7, 5, 3}},
        {{wide, moved}, true, {-5.3, -4, -4}, {15, 8, 8}},
        {{wide, moved}, false, {-4, -4, -4}, {7, 4, 4}},
        // From 1 to 4, which would become 2 to 4: two voxels about the centre.
        {{gridAt(0, 4, 4, 2, 2), gridAt(2.5, 3, 4, 1, 2)}, false, {0.5, -4, -4}, {2, 4, 4}},
        {{ten, gridAt(0.0625, 10, 4, 1, 1)}, true, {-5, -2, -2}, {10, 4, 4}},
        {{ten, gridAt(0.1875, 10, 4, 1, 1)}, true, {-4, -2, -2}, {9, 4, 4}},
        {{ten, gridAt(10, 10, 4, 1, 1)}, false, {4.5, -0.5, 0}, {1, 1, 0}},
    };
    for (const auto& [grids, finest, corner, sizes] : cases) {
        const auto common = commonGrid(grids, finest);
        EXPECT_NEAR_VECTOR(common.RVoxelToReal({}), corner, 1e-9);
        EXPECT_EQ(sizesOf(common), sizes);
    }
}

TEST(CommonGrid, OfVoxelsWithoutLengthHasNoPlanesHoweverTurned) {
    Random random(10);
    for (int i = 0; i < 20; ++i) {
        const FVoxelSpaceGeometry flat(random.rigid(1.0), 40, 40, 30, 0, 1.5, 2);
        const auto common = commonGrid({flat}, true);
        EXPECT_EQ(sizesOf(common), std::tuple(1, 1, 0));
    }
}

TEST(CommonGrid, IsTheSameToTheBitInEveryOrderAndTakesItsFrameFromTheLargestBytes) {
    Random random(7);
    for (int i = 0; i < 20; ++i) {
        std::vector<FVoxelSpaceGeometry> grids;
        for (int k = 0; k < 3; ++k) {
            MMatrix m = random.rigid(1.0);
            m.SetTranslation(random.vector(5));
            grids.emplace_back(m, random.integer(20, 40), 30, 30, random.number(1, 2), 1.5, 1.5);
        }
        const auto expected = commonGrid(grids, i % 2 == 0);
        for (int rotation = 0; rotation < 6; ++rotation) {
            std::rotate(grids.begin(), grids.begin() + 1 + rotation % 2, grids.end());
            std::swap(grids[0], grids[1]);
            const auto g = commonGrid(grids, i % 2 == 0);
            EXPECT_EQ(g.VoxelToReal({3, 5, 7}), expected.VoxelToReal({3, 5, 7}));
            EXPECT_EQ(sizesOf(g), sizesOf(expected));
        }
    }
    MMatrix turned;
    turned.SetRotation(0, 0, 0.5);
    // The lowest byte of 1.0 is 0, that of cos 0.5 is above: the turned grid is larger.
    const auto common =
        commonGrid({gridAt(0, 9, 9, 1, 1), FVoxelSpaceGeometry(turned, 9, 9, 9, 1, 1, 1)}, true);
    EXPECT_TRUE(common.GetTransform().EqualRotation(turned));
}

TEST(CommonGridDeathTest, EndsTheProcessWithoutAGridOrAVoxelSize) {
    EXPECT_DEATH(commonGrid({}, true), "terminate");
    EXPECT_DEATH(commonGrid({gridAt(0, 4, 4, 1, 0)}, false), "terminate");
}

}  // namespace
