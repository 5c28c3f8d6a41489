#include <trelis/segment_algorithms/plane_utilities.h>

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/segment_algorithms/ihe_ro_compliance.h>

namespace {

using NSegment::SegmentVolume;
namespace Algorithms = NSegmentAlgorithms;

/// The values of `dense`, changed by change(value, x, y, z).
template <typename Change>
std::vector<unsigned char> changed(const SegmentVolume& s, const Change& change) {
    std::vector<unsigned char> values = dense(s);
    std::size_t i = 0;
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            for (int x = 0; x < s.xsize(); ++x, ++i) {
                values[i] = static_cast<unsigned char>(change(values[i], x, y, z));
            }
        }
    }
    return values;
}

TEST(PlaneUtilities, DoToEveryVoxelWhatTheirNameSays) {
    Random random(50);
    for (int i = 0; i < 40; ++i) {
        const GridSize size = kOddSizes[i % 8];
        const SegmentVolume s = randomSegment(random, size);
        const SegmentVolume other = randomSegment(random, size);
        const int from = random.integer(0, size.z - 1);
        const int to = random.integer(0, size.z - 1);

        SegmentVolume work = s;
        Algorithms::ClearPlaneZ(to, work);
        EXPECT_EQ(dense(work), changed(s, [&](int v, int, int, int z) { return z == to ? 0 : v; }));
        EXPECT_TRUE(Algorithms::IsPlaneEmpty(work, to));
        for (const SegmentVolume* source : {&other, &s}) {
            work = s;
            Algorithms::copySlice(source == &s ? work : *source, from, to, work);
            EXPECT_EQ(dense(work), changed(s, [&](int v, int x, int y, int z) {
                          return z == to ? source->pixel(x, y, from) : v;
                      }));
        }
        work = s;
        Algorithms::MirrorZ(work);
        EXPECT_EQ(dense(work), changed(s, [&](int, int x, int y, int z) {
                      return s.pixel(x, y, size.z - 1 - z);
                  }));
        const auto inverse = changed(s, [](int v, int, int, int) { return 255 - v; });
        work = other;
        Algorithms::InverseSegment(s, work);
        EXPECT_EQ(dense(work), inverse);
        work = s;
        Algorithms::InverseSegment(work);
        EXPECT_EQ(dense(work), inverse);
        Algorithms::InverseSegment(work);
        EXPECT_EQ(dense(work), dense(s));

        bool empty = true;
        double sum = 0;
        double products = 0;
        changed(s, [&](int v, int x, int y, int z) {
            empty = empty && (z != from || v < 128);
            sum += z == from ? v : 0;
            products += z == from ? v * other.pixel(x, y, z) : 0;
            return v;
        });
        EXPECT_EQ(Algorithms::IsPlaneEmpty(s, from), empty);
        EXPECT_EQ(Algorithms::IsEmpty(s), s.IsEmpty());
        EXPECT_DOUBLE_EQ(Algorithms::OverlappingSurfaceRatioForPlaneZ(from, s, other),
                         sum == 0 ? 0 : products / (255 * sum));
    }
}

TEST(PlaneUtilities, CopyBetweenSegmentsOfOtherDepth) {
    Random random(51);
    const SegmentVolume from = randomSegment(random, {40, 20, 9});
    SegmentVolume to(40, 20, 3, 1, 2, 7);
    Algorithms::copySlice(from, 8, 1, to);
    EXPECT_EQ(dense(to), changed(to, [&](int, int x, int y, int z) {
                  return z == 1 ? from.pixel(x, y, 8) : 0;
              }));
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
    const SegmentVolume wide(11, 10, 10, 1, 1, 1);
    const SegmentVolume coarse(10, 10, 10, 1, 1.1, 1);
    EXPECT_DEATH(Algorithms::copySlice(wide, 10, 0, s), "Invalid geometry arguments");
    EXPECT_DEATH(Algorithms::copySlice(s, 0, -1, s), "Invalid geometry arguments");
    EXPECT_DEATH(Algorithms::copySlice(wide, 0, 0, s),
                 "Mismatching or invalid geometries in input");
    EXPECT_DEATH(Algorithms::copySlice(coarse, 0, 0, s),
                 "Mismatching or invalid geometries in input");
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
    EXPECT_EQ(planes, std::vector<int>{1});
    planes.clear();
    EXPECT_TRUE(Algorithms::isSegmentIHEROCompliant(s, planes));
}

}  // namespace
