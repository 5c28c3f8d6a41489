#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <tests/volume_image/stack.h>
#include <trelis/trelis.h>

namespace {

using NSegment::SegmentVolume;
using Dose = QVolume<unsigned int>;

/// The first 8 digits of the MD5 digest of numbers as they lie in memory.
template <typename Numbers>
std::wstring digest(const Numbers& numbers) {
    trelis::MD5Hash hash;
    trelis::MD5Hasher::GetHash(&*std::begin(numbers),
                               std::size(numbers) * sizeof(*std::begin(numbers)), hash);
    return hash.ToString().substr(0, 8);
}

std::vector<EdgePoint> pointsOf(const Glyph& glyph) {
    std::vector<EdgePoint> points;
    for (const auto& contour : glyph) {
        points.insert(points.end(), contour.begin(), contour.end());
    }
    return points;
}

class SameBits : public testing::Test {
  protected:
    SameBits() {
        doseAt.SetTranslation({0.3, -1.7, 2.2});
        for (unsigned int& value : dose) {
            value = static_cast<unsigned int>(random.integer(0, 60000));
        }
    }

    Random random{1};
    SegmentVolume segment = randomSegment(random, {70, 40, 19}, {0.9, 1.1, 2.7});
    Dose dose{23, 17, 11, 3.1, 2.9, 4.7};
    MMatrix doseAt;
};

// The digests are those of every platform, compiler and processor.

TEST_F(SameBits, OfSegmentsAndTheirMeasures) {
    SegmentVolume grown(1, 1, 1, 1, 1, 1);
    NSegmentAlgorithms::Margin(segment, 3.3, 2.1, 1.7, 4.9, 5.2, 2.6, grown, nobody);
    EXPECT_EQ(digest(dense(grown)), L"A2DE3A87");
    QVolume<float> distances;
    NSegmentAlgorithms::SignedDistanceTransform3d(segment, 20, distances, nobody);
    EXPECT_EQ(digest(distances), L"D63564A3");
    const double volumes[] = {plexa::CalculateVolumeWithSubVoxelModeling(segment, nobody)};
    EXPECT_EQ(digest(volumes), L"168294D7");
}

TEST_F(SameBits, OfContours) {
    Glyph glyph(20);
    for (auto& contour : glyph) {
        contour.resize(50, EdgePoint(0, 0));
        for (EdgePoint& point : contour) {
            point = {random.number(-5, 80), random.number(-5, 50)};
        }
    }
    NSegmentAlgorithms::ScanConvertGlyph(glyph, 5, segment);
    EXPECT_EQ(digest(dense(segment)), L"BAB03C8C");
    Glyph outlines;
    NEdgePointAlgorithms::TraceSegmentPlane(segment, 5, outlines);
    EXPECT_EQ(digest(pointsOf(outlines)), L"FFE5F101");
    NEdgePointAlgorithms::TraceVolumePlane(dose, 5, 31234.5, outlines);
    EXPECT_EQ(digest(pointsOf(outlines)), L"6B2FB777");
}

TEST_F(SameBits, OfDosesAndHistograms) {
    Dose sum(31, 29, 13, 1.3, 1.7, 2.3);
    std::fill(sum.begin(), sum.end(), 100);
    trelis::AddWithWeight(0.013, 17, doseAt, dose, 0.011, 0, {}, sum, 1.07);
    EXPECT_EQ(digest(sum), L"1F0234A7");
    trelis::DvhData dvh;
    const FVoxelSpaceGeometry geometry({}, 70, 40, 19, 0.9, 1.1, 2.7);
    trelis::CalculateDoseVolumeHistogramAndStatistics(dose, doseAt, 0.013, 0, segment, geometry, 0,
                                                      dvh, nobody);
    EXPECT_EQ(digest(dvh.bins), L"DAD487D7");
    const double statistics[] = {dvh.volume,   dvh.doseCoverage, dvh.samplingCoverage,
                                 dvh.meanDose, dvh.medianDose,   dvh.standardDeviation};
    EXPECT_EQ(digest(statistics), L"7A47C2D6");
}

TEST_F(SameBits, OfVolumesFromSlices) {
    Slices slices;
    for (int i = 0; i < 9; ++i) {
        slices.emplace_back(MMatrix(), 3 * i + random.number(-0.04, 0.04), 0.7 * (i % 3), -0.4, 24,
                            16, 0.7, [&](const Vector&) { return random.integer(0, 60000); });
        slices.back().pixelSlope = random.number(0.5, 2);
    }
    Built built(configured(slices, 1.3));
    ASSERT_EQ(built.construct(), ResultCode::Ok);
    EXPECT_EQ(digest(built.volume), L"1685EAD3");
    const double scale[] = {built.pixelSlope, built.rescaleSlope, built.rescaleIntercept};
    EXPECT_EQ(digest(scale), L"9BD40E52");
}

TEST(Angles, ArePreciseAlsoBesideTheMultiplesOfAQuarterTurn) {
    /// An angle, its sine and its cosine.
    constexpr double kCases[][3] = {{0.7853981633974483, 0.7071067811865475, 0.7071067811865476},
                                    {1.5707963267948966, 1.0, 6.123233995736766e-17},
                                    {-1.5707963267948966, -1.0, 6.123233995736766e-17},
                                    {3.141592653589793, 1.2246467991473532e-16, -1.0},
                                    {-6.283185307179586, 2.4492935982947064e-16, 1.0},
                                    {11.0, -0.9999902065507035, 0.004425697988050785},
                                    {355.0, -3.014435335948845e-05, -0.999999999545659},
                                    {9999.0, 0.6360869563962336, -0.7716173818043345}};
    for (const auto& [angle, sine, cosine] : kCases) {
        const EdgePoint turned = NEdgePointAlgorithms::rotate({0, 1}, angle);
        EXPECT_NEAR(turned.x / sine, 1.0, 4.5e-16) << angle;
        EXPECT_NEAR(turned.y / cosine, 1.0, 4.5e-16) << angle;
    }
}

}  // namespace
