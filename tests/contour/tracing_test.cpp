#include <trelis/contour/tracing.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/contour/scan_conversion.h>
#include <trelis/dose/isodose.h>

namespace {

using NEdgePointAlgorithms::TraceVolumePlane;
using NSegment::SegmentVolume;

Glyph traced(const SegmentVolume& s, int plane) {
    Glyph outlines = {{{1, 2}}};
    NEdgePointAlgorithms::TraceSegmentPlane(s, plane, outlines);
    return outlines;
}

/// x and y of both ends of edges of contours.
using Edges = std::multiset<std::array<double, 4>>;

Edges edgesOf(const Glyph& glyph) {
    Edges edges;
    for (const auto& c : glyph) {
        for (std::size_t i = 0; i < c.size(); ++i) {
            const EdgePoint& next = c[(i + 1) % c.size()];
            edges.insert({c[i].x, c[i].y, next.x, next.y});
        }
    }
    return edges;
}

/// Compares contours with what the rules say of each square; at(x, y) is the value of a voxel.
template <typename Values>
void expectContours(const Glyph& glyph, const GridSize& size, double level, double beyond,
                    const Values& at) {
    const auto value = [&](int x, int y) {
        const bool exists = x >= 0 && y >= 0 && x < size.x && y < size.y;
        return exists ? static_cast<double>(at(x, y)) : beyond;
    };
    const auto between = [&](double a, double b) {
        return std::isfinite(b - a) ? std::clamp((level - a) / (b - a), 1e-4, 1 - 1e-4) : 0.5;
    };
    Edges expected;
    forEachVoxel({size.x + 1, size.y + 1, 1}, [&](int x, int y, int) {
        const double v[] = {value(x - 1, y - 1), value(x, y - 1), value(x, y), value(x - 1, y)};
        const double crossings[][2] = {{x - 1 + between(v[0], v[1]), y - 1.0},
                                       {x + 0.0, y - 1 + between(v[1], v[2])},
                                       {x - 1 + between(v[3], v[2]), y + 0.0},
                                       {x - 1.0, y - 1 + between(v[0], v[3])}};
        const auto isInside = [&](int i) { return v[i % 4] >= level; };
        const int turn = (v[0] + v[1] + v[3] + v[2]) / 4 >= level ? 1 : 3;
        for (int i = 0; i < 4; ++i) {
            if (isInside(i) && !isInside(i + 1)) {
                int end = i;
                do {
                    end = (end + turn) % 4;
                } while (isInside(end) == isInside(end + 1));
                const auto [ax, ay] = crossings[i];
                const auto [bx, by] = crossings[end];
                expected.insert({ax, ay, bx, by});
            }
        }
    });
    EXPECT_EQ(edgesOf(glyph), expected);
    const auto lowerEnd = [](const EdgePoint& p) {
        return std::pair(std::floor(p.y), std::floor(p.x));
    };
    const auto start = [&](const auto& c) { return lowerEnd(c[0]); };
    EXPECT_TRUE(std::ranges::is_sorted(glyph, {}, start));
    for (const auto& c : glyph) {
        EXPECT_EQ(start(c), lowerEnd(*std::ranges::min_element(c, {}, lowerEnd)));
    }
}

TEST(Tracing, OutlinesSegmentsSquareBySquare) {
    Random random(50);
    for (int i = 0; i < 24; ++i) {
        SCOPED_TRACE(i);
        const SegmentVolume s = randomSegment(random, kOddSizes[i % 8]);
        const int plane = random.integer(0, s.zsize() - 1);
        expectContours(traced(s, plane), sizeOf(s), 127.5, 0.0,
                       [&](int x, int y) { return s.pixel(x, y, plane); });
    }
}

/// Planes of small numbers and of `special` ones.
template <typename T>
void expectLinesOfVolumes(const std::vector<T>& special) {
    Random random(51);
    for (int i = 0; i < 24; ++i) {
        SCOPED_TRACE(i);
        const GridSize size = kOddSizes[i % 8];
        QVolume<T> v(size.x, size.y, 2, 1, 1, 1);
        for (T& value : v) {
            const auto kind = static_cast<std::size_t>(random.integer(0, 9));
            value = kind < special.size() ? special[kind] : static_cast<T>(kind);
        }
        const double levels[] = {4.0, 4.75, 6.5, 100.0, -1.0};
        Glyph lines;
        TraceVolumePlane(v, 1, levels[i % 5], lines);
        expectContours(lines, size, levels[i % 5], std::nan(""),
                       [&](int x, int y) { return v.GetPixel(x, y, 1); });
    }
}

TEST(Tracing, DrawsLinesOfVolumesAlsoThroughVoxelsAtTheLevelAndBesideNaN) {
    expectLinesOfVolumes<unsigned short>({});
    expectLinesOfVolumes<unsigned int>({});
    expectLinesOfVolumes<int>({-7});
    expectLinesOfVolumes<float>({NAN, HUGE_VALF, -HUGE_VALF});
    QVolume<unsigned int> dose(5, 2, 3, 2.0, 5.0, 1.0);
    std::fill(dose.begin(), dose.end(), 4000U);
    dose.SetPixel(0, 1, 2, 4001);
    Glyph lines;
    trelis::TraceIsodose(dose, 0.001, 2, 4.001, lines);
    EXPECT_NEAR(lines.at(0).at(0).y, 2.4995, 1e-9);
    EXPECT_NEAR(lines.at(0).at(1).x, -3.9998, 1e-9);
}

TEST(Tracing, FindsTheCircleThatWasScanConverted) {
    Random random(52);
    for (const double radius : {3.0, 3.1, 3.3, 3.7, 5.0, 8.0, 15.0}) {
        const Vector centre(random.number(17, 18), random.number(17, 18), 0);
        std::vector<EdgePoint> circle;
        for (int i = 0; i < 720; ++i) {
            const double angle = 3.14159265358979 / 360 * i;
            circle.emplace_back(centre.x + radius * std::cos(angle),
                                centre.y + radius * std::sin(angle));
        }
        SegmentVolume s(36, 36, 1, 1, 1, 1);
        NSegmentAlgorithms::ScanConvertGlyph({circle}, 0, s);
        double area = 0;
        for (const auto& [ax, ay, bx, by] : edgesOf(traced(s, 0))) {
            area += (ax * by - bx * ay) / 2;
            for (const double t : {0.0, 0.2, 0.4, 0.6, 0.8}) {
                const Vector p(ax + t * (bx - ax), ay + t * (by - ay), 0);
                EXPECT_NEAR((p - centre).Length(), radius, 0.15);
            }
        }
        // Within a tenth of a voxel times the circumference.
        EXPECT_NEAR(area / (3.14159265358979 * radius), radius, 0.2);
    }
}

TEST(Tracing, RefusesPlanesAndLevelsThatDoNotExist) {
    const QVolume<unsigned int> v(4, 4, 2, 1, 1, 1);
    Glyph lines = {{{1, 2}}};
    EXPECT_THROW(traced(SegmentVolume(4, 4, 2, 1, 1, 1), 2), std::invalid_argument);
    EXPECT_THROW(TraceVolumePlane(v, -1, 1.0, lines), std::invalid_argument);
    EXPECT_THROW(TraceVolumePlane(v, 0, std::nan(""), lines), std::invalid_argument);
    EXPECT_THROW(trelis::TraceIsodose(v, 0.0, 0, 1.0, lines), std::invalid_argument);
    const QVolume<unsigned int> flat(4, 4, 2, 1, 0, 1);
    EXPECT_THROW(trelis::TraceIsodose(flat, 1.0, 0, 1.0, lines), std::invalid_argument);
    EXPECT_EQ(lines.size(), 1U);
    EXPECT_TRUE(traced(SegmentVolume(0, 4, 2, 1, 1, 1), 1).empty());
}

}  // namespace
