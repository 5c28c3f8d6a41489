#include <trelis/foundation/common_grid.h>

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>
#include <trelis/foundation/volume_tools.h>

namespace {

using trelis::CalculateIntersectionSizeAndResolution;

/// A grid along the axes with its centre on the x axis.
FVoxelSpaceGeometry gridAt(double x, int xsize, int size, double xres, double res) {
    MMatrix m;
    m.SetTranslation(x, 0, 0);
    return {m, xsize, size, size, xres, res, res};
}

auto sizesOf(const FVoxelSpaceGeometry& g) { return std::tuple(g.xsize(), g.ysize(), g.zsize()); }

TEST(VoxelGeometry, PlacesCentresAndCornersInAnyFrameAndBack) {
    const FVoxelSpaceGeometry example(MMatrix(), 4, 4, 4, 2, 2, 2);
    EXPECT_EQ(example.VoxelToReal({0, 0, 0}), Vector(-3, -3, -3));
    EXPECT_EQ(example.RVoxelToReal({0, 0, 0}), Vector(-4, -4, -4));
    Random random(5);
    for (int i = 0; i < 100; ++i) {
        const MMatrix m = random.rigid(1.0);
        const QVolumeSize size(random.integer(1, 50), random.integer(1, 50), random.integer(1, 50),
                               random.number(0.5, 5), random.number(0.5, 5), random.number(0.5, 5));
        const FVoxelSpaceGeometry g(m, size.GetXSize(), size.GetYSize(), size.GetZSize(),
                                    size.GetXResMM(), size.GetYResMM(), size.GetZResMM());
        const Vector p = random.vector(40);
        EXPECT_NEAR_VECTOR(g.RealToVoxel(g.VoxelToReal(p)), p, 1e-9);
        const Vector millimetres((p.x + 0.5 - g.xsize() / 2.0) * g.xres(),
                                 (p.y + 0.5 - g.ysize() / 2.0) * g.yres(),
                                 (p.z + 0.5 - g.zsize() / 2.0) * g.zres());
        EXPECT_NEAR_VECTOR(g.VoxelToReal(p), m.Transform(millimetres), 1e-9);
        EXPECT_NEAR_VECTOR(g.RVoxelToReal({}) + NVolumeTools::VectorToMiddle(size, m),
                           m.GetTranslation(), 1e-9);
    }
}

TEST(CommonGrid, OfEqualGridsIsTheGrid) {
    const FVoxelSpaceGeometry g(Random(6).rigid(1.0), 7, 5, 3, 1.5, 2, 2.5);
    for (const bool finest : {false, true}) {
        const FVoxelSpaceGeometry common = CalculateIntersectionSizeAndResolution({g, g}, finest);
        EXPECT_EQ(sizesOf(common), sizesOf(g));
        EXPECT_NEAR_VECTOR(common.RVoxelToReal({1, 1, 1}), g.RVoxelToReal({1, 1, 1}), 1e-9);
    }
}

TEST(CommonGrid, SnapsInwardsToTheGridWhoseVoxelsWereTakenUnlessAVoxelWouldRemain) {
    // Along x the box [-10, 10] with 2 mm voxels and the box [-5.3, 14.7] with 1 mm voxels.
    const auto wide = gridAt(0, 10, 4, 2, 2);
    const auto fine =
        CalculateIntersectionSizeAndResolution({wide, gridAt(4.7, 20, 8, 1, 1)}, true);
    EXPECT_NEAR_VECTOR(fine.RVoxelToReal({}), Vector(-5.3, -4, -4), 1e-9);
    EXPECT_EQ(sizesOf(fine), std::tuple(15, 8, 8));
    const auto coarse =
        CalculateIntersectionSizeAndResolution({wide, gridAt(4.7, 20, 8, 1, 1)}, false);
    EXPECT_NEAR_VECTOR(coarse.RVoxelToReal({}), Vector(-4, -4, -4), 1e-9);
    EXPECT_EQ(sizesOf(coarse), std::tuple(7, 4, 4));
    // [1, 4] would become [2, 4].
    const auto kept = CalculateIntersectionSizeAndResolution(
        {gridAt(0, 4, 4, 2, 2), gridAt(2.5, 3, 4, 1, 2)}, false);
    EXPECT_NEAR_VECTOR(kept.GetTransform().GetTranslation(), Vector(2.5, 0, 0), 1e-9);
    EXPECT_EQ(kept.xsize(), 2);
}

TEST(CommonGrid, SnapsAcrossATenthOfAVoxelAndTakesTiesFromTheLaterGrid) {
    // Two grids of 1 mm voxels, one moved by the offset. Zero bytes sort last: the grid at 0 is the
    // later one and gives the borders.
    for (const auto& [offset, low] : {std::pair(0.0625, -5.0), std::pair(0.1875, -4.0)}) {
        const auto g = CalculateIntersectionSizeAndResolution(
            {gridAt(0, 10, 4, 1, 1), gridAt(offset, 10, 4, 1, 1)}, true);
        EXPECT_EQ(g.xsize(), 5 - low);
        EXPECT_NEAR(g.RVoxelToReal({}).x, low, 1e-12);
    }
}

TEST(CommonGrid, OfDisjointGridsOrOfVoxelsWithoutLengthHasNoPlanes) {
    const auto a = gridAt(0, 4, 4, 1, 1);
    EXPECT_EQ(sizesOf(CalculateIntersectionSizeAndResolution({a, gridAt(4, 4, 4, 1, 1)}, false)),
              std::tuple(1, 1, 0));
    Random random(10);
    for (int i = 0; i < 20; ++i) {
        const FVoxelSpaceGeometry flat(random.rigid(1.0), 40, 40, 30, 0, 1.5, 2);
        EXPECT_EQ(sizesOf(CalculateIntersectionSizeAndResolution({flat}, true)),
                  std::tuple(1, 1, 0));
    }
}

TEST(CommonGrid, IsTheSameToTheBitInEveryOrderOfTheList) {
    Random random(7);
    for (int i = 0; i < 20; ++i) {
        std::vector<FVoxelSpaceGeometry> grids;
        for (int k = 0; k < 3; ++k) {
            MMatrix m = random.rigid(1.0);
            m.SetTranslation(random.vector(5));
            grids.emplace_back(m, random.integer(20, 40), 30, 30, random.number(1, 2), 1.5, 1.5);
        }
        const auto expected = CalculateIntersectionSizeAndResolution(grids, i % 2 == 0);
        for (int rotation = 0; rotation < 6; ++rotation) {
            std::rotate(grids.begin(), grids.begin() + 1 + rotation % 2, grids.end());
            std::swap(grids[0], grids[1]);
            const auto g = CalculateIntersectionSizeAndResolution(grids, i % 2 == 0);
            EXPECT_EQ(g.VoxelToReal({3, 5, 7}), expected.VoxelToReal({3, 5, 7}));
            EXPECT_EQ(sizesOf(g), sizesOf(expected));
        }
    }
}

TEST(CommonGrid, TakesItsFrameFromTheGridWhoseBytesAreLargest) {
    MMatrix turned;
    turned.SetRotation(0, 0, 0.5);
    // The lowest byte of 1.0 is 0, that of cos 0.5 is above: the turned grid is larger.
    const auto common = CalculateIntersectionSizeAndResolution(
        {gridAt(0, 9, 9, 1, 1), FVoxelSpaceGeometry(turned, 9, 9, 9, 1, 1, 1)}, true);
    EXPECT_TRUE(common.GetTransform().EqualRotation(turned));
}

TEST(CommonGridDeathTest, EndsTheProcessWithoutAGridOrAVoxelSize) {
    EXPECT_DEATH(CalculateIntersectionSizeAndResolution({}, true), "terminate");
    EXPECT_DEATH(CalculateIntersectionSizeAndResolution({gridAt(0, 4, 4, 1, 0)}, false),
                 "terminate");
}

}  // namespace
