#include <trelis/contour/scan_conversion.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

#include <gtest/gtest.h>
#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
using NSegmentAlgorithms::ScanConvertGlyph;

/// Whether a contour winds around a point, by the crossings to its right.
bool windsAround(const std::vector<EdgePoint>& contour, double x, double y) {
    int winding = 0;
    for (std::size_t i = 0; i < contour.size(); ++i) {
        const EdgePoint& a = contour[i];
        const EdgePoint& b = contour[(i + 1) % contour.size()];
        if ((a.y <= y) != (b.y <= y) && a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y) > x) {
            winding += b.y > a.y ? 1 : -1;
        }
    }
    return contour.size() > 2 && winding != 0;
}

double sampledValue(const Glyph& glyph, int x, int y) {
    constexpr int kSamples = 64;
    int inside = 0;
    for (int i = 0; i < kSamples * kSamples; ++i) {
        bool isInside = false;
        const int row = i / kSamples;
        for (const auto& contour : glyph) {
            isInside ^= windsAround(contour, x - 0.5 + (i % kSamples + 0.5) / kSamples,
                                    y - 0.5 + (row + 0.4999) / kSamples);
        }
        inside += isInside ? 1 : 0;
    }
    return 255.0 * inside / (kSamples * kSamples);
}

double sumOfPlane(const SegmentVolume& segment, int z) {
    double sum = 0.0;
    forEachVoxel({segment.xsize(), segment.ysize(), 1},
                 [&](int x, int y, int) { sum += segment.pixel(x, y, z) / 255.0; });
    return sum;
}

std::vector<EdgePoint> rectangle(double left, double bottom, double right, double top) {
    return {{left, bottom}, {right, bottom}, {right, top}, {left, top}};
}

TEST(ScanConversion, CoversWhatDenseSamplesOfRandomGlyphsCover) {
    Random random(31);
    for (int trial = 0; trial < 25; ++trial) {
        Glyph glyph(static_cast<std::size_t>(random.integer(1, 3)));
        for (auto& contour : glyph) {
            const double size = random.integer(1, 40) * 0.3;
            const bool onLattice = random.integer(0, 3) == 0;
            for (int n = random.integer(1, 7); n > 0; --n) {
                const EdgePoint p{5 + random.number(-size, size), 4 + random.number(-size, size)};
                contour.push_back(onLattice ? EdgePoint{std::round(2 * p.x) / 2, std::round(p.y)}
                                            : p);
            }
        }
        SegmentVolume segment(12, 9, 1, 1, 1, 1);
        ScanConvertGlyph(glyph, 0, segment);
        forEachVoxel({12, 9, 1}, [&](int x, int y, int) {
            ASSERT_NEAR(segment.pixel(x, y, 0), sampledValue(glyph, x, y), 5.0)
                << "trial " << trial << " at " << x << ", " << y;
        });
    }
}

TEST(ScanConversion, KeepsAreasOfHolesKeyholesIslandsAndSlivers) {
    const struct {
        Glyph glyph;
        double area;
    } cases[] = {
        {{rectangle(2.25, 2, 40.5, 20), rectangle(5, 5, 10.3, 10)}, 38.25 * 18 - 5.3 * 5},
        {{rectangle(2, 2, 30, 20), rectangle(2, 5, 10, 12)}, 28 * 18 - 8 * 7.0},
        {{rectangle(0, 0, 30, 20), rectangle(5, 5, 20, 15), rectangle(8, 8, 12, 12)},
         600 - 150 + 16.0},
        {{{{0, 0},
           {20, 0},
           {20, 10},
           {5, 10},
           {5, 6},
           {10, 6},
           {10, 3},
           {4, 3},
           {4, 6},
           {5, 6},
           {5, 10},
           {0, 10}}},
         200 - 6 * 3.0},
        {{rectangle(7.1, 7.1, 7.35, 7.5)}, 0.1},
        {{rectangle(3, 9.9, 43, 9.95)}, 2.0},
        {{rectangle(-100, -100, 2.5, 3.5), {{1, 1}, {1, 1}}}, 12.0},
    };
    for (const auto& [glyph, area] : cases) {
        SegmentVolume segment(50, 30, 9, 1, 1, 1);
        segment.setPixel(49, 29, 3, 200);
        segment.setPixel(49, 29, 4, 200);
        ScanConvertGlyph(glyph, 4, segment);
        EXPECT_NEAR(sumOfPlane(segment, 4), area, 0.5 / 255 * 250) << area;
        EXPECT_EQ(segment.pixel(49, 29, 3), 200);
        EXPECT_EQ(sumOfPlane(segment, 5), 0.0);
    }
}

TEST(ScanConversion, RefusesMissingPlanesAndInfiniteCoordinatesBeforeWriting) {
    SegmentVolume segment(8, 8, 2, 1, 1, 1);
    segment.setPixel(1, 1, 1, 9);
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_THROW(ScanConvertGlyph({}, 2, segment), std::invalid_argument);
    EXPECT_THROW(ScanConvertGlyph({{{0, 0}, {5, infinity}, {3, 3}}}, 1, segment),
                 std::invalid_argument);
    EXPECT_THROW(ScanConvertGlyph({{{-1.5e308, 3}, {1.5e308, 5}, {0, 9}}}, 1, segment),
                 std::invalid_argument);
    EXPECT_EQ(segment.pixel(1, 1, 1), 9);
}

}  // namespace
