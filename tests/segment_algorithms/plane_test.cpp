#include <trelis/segment_algorithms/plane_utilities.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/segment_algorithms/ihe_ro_compliance.h>

namespace {

using NSegment::SegmentVolume;
namespace Algorithms = NSegmentAlgorithms;

/// Whether `after` is, to the state and the bytes of its cells, `before` with value(x, y, z) set
/// for every voxel.
template <typename Value>
bool isWritten(SegmentVolume before, const SegmentVolume& after, const Value& value) {
    forEachVoxel(sizeOf(before),
                 [&](int x, int y, int z) { before.setPixel(x, y, z, value(x, y, z)); });
    bool equal = before.hasEqualGeometry(after);
    NSegment::detail::forEachCell(before, [&](const NSegment::detail::CellBox& box) {
        const NSegment::VolumeCell& a = before.Cells()[box.index];
        const NSegment::VolumeCell& b = after.Cells()[box.index];
        equal = equal && a.allocated() == b.allocated() &&
                std::equal(a.values(), a.values() + 4096, b.values());
    });
    return equal;
}

TEST(PlaneUtilities, DoToEveryVoxelWhatTheirNameSays) {
    Random random(50);
    for (int i = 0; i < 40; ++i) {
        const GridSize size = kOddSizes[i % 8];
        const SegmentVolume s = randomSegment(random, size);
        const SegmentVolume other = randomSegment(random, {size.x, size.y, 9});
        const int from = random.integer(0, std::min(size.z, 9) - 1);
        const int to = random.integer(0, size.z - 1);
        SegmentVolume work = s;
        Algorithms::ClearPlaneZ(to, work);
        EXPECT_TRUE(isWritten(s, work,
                              [&](int x, int y, int z) { return z == to ? 0 : s.pixel(x, y, z); }));
        for (const SegmentVolume* source : {&other, &s}) {
            work = s;
            Algorithms::copySlice(source == &s ? work : *source, from, to, work);
            EXPECT_TRUE(isWritten(s, work, [&](int x, int y, int z) {
                return z == to ? source->pixel(x, y, from) : s.pixel(x, y, z);
            }));
        }
        work = s;
        Algorithms::MirrorZ(work);
        EXPECT_TRUE(
            isWritten(s, work, [&](int x, int y, int z) { return s.pixel(x, y, size.z - 1 - z); }));
        const auto inverse = [&](int x, int y, int z) { return 255 - s.pixel(x, y, z); };
        const SegmentVolume old = work;
        Algorithms::InverseSegment(s, work);
        EXPECT_TRUE(isWritten(old, work, inverse));
        work = s;
        Algorithms::InverseSegment(work);
        EXPECT_TRUE(isWritten(s, work, inverse));
        bool empty = true;
        double sum = 0;
        double products = 0;
        forEachVoxel({size.x, size.y, 1}, [&](int x, int y, int) {
            const int value = s.pixel(x, y, from);
            empty = empty && value < 128;
            sum += value;
            products += value * other.pixel(x, y, from);
        });
        EXPECT_EQ(Algorithms::IsPlaneEmpty(s, from), empty);
        EXPECT_DOUBLE_EQ(Algorithms::OverlappingSurfaceRatioForPlaneZ(from, s, other),
                         sum == 0 ? 0 : products / (255 * sum));
    }
}

TEST(PlaneUtilities, TestPointsInRVoxelCoordinates) {
    SegmentVolume s(10, 10, 10, 1, 1, 1);
    s.setPixel(3, 4, 5, 128);
    EXPECT_TRUE(Algorithms::IsPointInsideSegment({3.5, 4.5, 5.5}, s));
    EXPECT_FALSE(Algorithms::IsPointInsideSegment({3.6, 4.5, 5.5}, s));
    s.setPixel(3, 4, 5, 127);
    EXPECT_FALSE(Algorithms::IsPointInsideSegment({3.5, 4.5, 5.5}, s));
    s.setPixel(9, 9, 9, 255);
    EXPECT_FALSE(Algorithms::IsPointInsideSegment({9.5, 9.5, 9.5}, s));
}

TEST(PlaneUtilitiesDeathTest, RejectPlanesAndGridsThatDoNotFit) {
    SegmentVolume s(10, 10, 10, 1, 1, 1);
    EXPECT_THROW(Algorithms::IsPlaneEmpty(s, -1), std::invalid_argument);
    EXPECT_THROW(Algorithms::IsPlaneEmpty(s, 10), std::invalid_argument);
    const std::string range = "Invalid geometry arguments";
    const std::string mismatch = "Mismatching or invalid geometries in input segments";
    const struct {
        SegmentVolume from;
        int zFrom, zTo;
        std::string message;
    } cases[] = {{{11, 10, 10, 1, 1, 1}, 10, 0, range},
                 {s, -1, 0, range},
                 {s, 0, -1, range},
                 {s, 0, 10, range},
                 {{11, 10, 10, 1, 1, 1}, 0, 0, mismatch},
                 {{10, 9, 10, 1, 1, 1}, 0, 0, mismatch},
                 {{10, 10, 10, 1.00001, 1, 1}, 0, 0, mismatch},
                 {{10, 10, 10, 1, 1.00001, 1}, 0, 0, mismatch}};
    for (const auto& c : cases) {
        EXPECT_DEATH(Algorithms::copySlice(c.from, c.zFrom, c.zTo, s), "^" + c.message + "\n");
    }
}

TEST(IheRoCompliance, AllowsAHundredPiecesInAPlaneAndKeepsTheLargest) {
    SegmentVolume s(64, 64, 3, 1, 1, 1);
    for (int piece = 0; piece < 101; ++piece) {
        s.setPixel(piece % 16 * 4, piece / 16 * 4, 1, 255);
        s.setPixel(piece % 16 * 4 + 1, piece / 16 * 4, 1, piece == 50 ? 0 : 255);
        s.setPixel(piece % 16 * 4, piece / 16 * 4, 2, piece == 100 ? 0 : 255);
    }
    std::vector<int> planes;
    EXPECT_FALSE(Algorithms::isSegmentIHEROCompliant(s, planes));
    EXPECT_EQ(planes, std::vector<int>{1});
    Algorithms::makeSegmentIHEROCompliant(s, planes);
    EXPECT_EQ(s.pixel(8, 12, 1), 127);
    EXPECT_EQ(s.pixel(12, 12, 1), 255);
    EXPECT_FALSE(Algorithms::isSegmentIHEROCompliant(s, planes)) << "the list was not empty";
    planes.clear();
    EXPECT_TRUE(Algorithms::isSegmentIHEROCompliant(s, planes));
}

}  // namespace
