#include <trelis/contour/contour_geometry.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>

using namespace NEdgePointAlgorithms;

namespace {

using Contour = std::vector<EdgePoint>;

Contour square(double h) { return {{h, h}, {-h, h}, {-h, -h}, {h, -h}}; }

/// All pairs of an edge of the open polyline and one of the closed contour; of the contour itself
/// those that do not follow each other.
bool doAnyMeet(const Contour& closed, const Contour& open) {
    const bool self = &closed == &open;
    const std::size_t n = closed.size();
    EdgePoint ignored;
    bool meet = false;
    for (std::size_t i = 0; i + 1 < open.size(); ++i) {
        for (std::size_t j = self ? i + 2 : 0; j < n - (self && i == 0 ? 1 : 0); ++j) {
            meet |=
                intersectionPoint(open[i], open[i + 1], closed[j], closed[(j + 1) % n], ignored);
        }
    }
    return meet;
}

/// Random points, lattice points, a star of needles, a turned comb, or points on one line but for
/// their rounding; some repeated, some not a number.
Contour randomContour(Random& random, double size) {
    const int kind = random.integer(0, 4);
    const double start = random.number(-3, 3) * size;
    Contour c;
    for (int i = random.integer(0, 100); i > 0; --i) {
        const double t = random.number(-1, 1) * size;
        const EdgePoint points[] = {{t, random.number(-1, 1) * size},
                                    {random.integer(0, 5) * size, random.integer(0, 5) * size},
                                    rotate({start + (i % 2 == 0 ? size : 0.1 * t), 0}, 0.1 * i),
                                    rotate({start + 0.01 * i, i % 2 * size}, start),
                                    {std::nextafter(0.6 * t, start), 0.35 * t}};
        c.push_back(random.integer(0, 50) == 0 && !c.empty() ? c.back() : points[kind]);
        c.back().x = random.integer(0, 999) == 0 ? std::nan("") : c.back().x;
    }
    return c;
}

/// The ends of two edges far apart on one line.
Contour longEdges(Random& random) {
    const EdgePoint line(0.6, 0.35);
    return {{}, random.number(10, 300) * line, 500 * line, random.number(600, 3000) * line};
}

/// The ends of two edges with a small gap between them, on one line far from the origin.
Contour shortEdges(Random& random) {
    const EdgePoint line = rotate({1, 0}, random.number(-3, 3));
    const double end = random.number(610, 660);
    const double other = 240 / (end - 600);
    const double start = end + random.number(0.001, 0.004) * (end - 600 + other);
    return {600 * line, end * line, start * line, (start + other) * line};
}

/// Two edges, joined by arcs to both sides of them.
Contour loopOver(const Contour& ends, double height) {
    Contour c;
    for (std::size_t i = 0; i < 4; i += 2, height *= -4) {
        c.push_back(ends[i]);
        const EdgePoint d = ends[(i + 2) % 4] - ends[i + 1];
        for (int k = 0; k < 20; ++k) {
            const EdgePoint across = height * std::sin(0.157 * k) * EdgePoint(-0.35, 0.6);
            c.push_back(ends[i + 1] + 0.05 * k * d + across);
        }
    }
    return c;
}

/// Of edges on one line rounding lets a few meet.
TEST(ContourIntersections, AreThoseOfAllPairsOfEdgesWithTheirRoundingInAllMagnitudes) {
    Random random(50);
    for (int i = 0; i < 100000; ++i) {
        Contour ends = i % 4 == 0 ? shortEdges(random) : longEdges(random);
        Contour a = {ends[0], ends[1]};
        Contour b = {ends[2], ends[3]};
        const bool meet = doAnyMeet(a, b);
        // Edges without length meet nothing but make the others worth a search.
        a.resize(40, ends[1]);
        b.resize(40, ends[3]);
        ASSERT_EQ(areContoursIntersecting(a, b), meet) << "case " << i;
        if (i % 5 == 1) {
            std::swap(ends[2], ends[i % 2 == 0 ? 2 : 3]);
            const Contour loop = loopOver(ends, i % 2 == 0 ? 100 : -100);
            ASSERT_EQ(isSelfIntersecting(loop), doAnyMeet(loop, loop)) << "case " << i;
        }
    }
    constexpr double kSizes[] = {1e-7, 0.01, 1, 30, 1000, 1e6, 1e160};
    for (int i = 0; i < 4000; ++i) {
        const Contour a = randomContour(random, kSizes[i % 7]);
        const Contour b = randomContour(random, kSizes[i % 3 == 0 ? i / 7 % 7 : i % 7]);
        ASSERT_EQ(areContoursIntersecting(a, b), doAnyMeet(a, b)) << "case " << i;
        ASSERT_EQ(isSelfIntersecting(a), doAnyMeet(a, a)) << "case " << i;
    }
    EXPECT_EQ(countIntersectingContours(square(2), {square(1), {{0, 0}, {3, 3}}, square(2)}), 2);
}

TEST(IntersectionPoint, IsWrittenWhereSegmentsCrossOrTouchAndElseLeftAlone) {
    const EdgePoint none(7, 7);
    const EdgePoint cases[][4] = {
        {{2, 2}, {0, 2}, {2, 0}, {1, 1}},         {{1, 0}, {1, 0}, {1, 5}, {1, 0}},
        {{1, 0}, {-9e-14, 0}, {-9e-14, 5}, {}},   {{1, 0}, {-2e-13, 0}, {-2e-13, 5}, none},
        {{1, 0}, {1 + 2e-13, 0}, {1, -9}, none},  {{2, 0}, {1, 0}, {3, 0}, none},
        {{1e-6, 0}, {0, -4e-7}, {0, 5e-7}, none}, {{1e-6, 0}, {0, -6e-7}, {0, 6e-7}, {}}};
    for (const auto& [a2, b1, b2, expected] : cases) {
        EdgePoint point = none;
        EXPECT_EQ(intersectionPoint({}, a2, b1, b2, point), expected != none);
        EXPECT_EQ(point, expected);
    }
}

/// By the steps between the angles of the vertices, of which only the full turns do not cancel.
bool isWoundAround(const EdgePoint& p, const Contour& c) {
    int turns = 0;
    for (std::size_t i = 0; i < c.size(); ++i) {
        const EdgePoint v = c[i] - p;
        const EdgePoint w = c[(i + 1) % c.size()] - p;
        const double step = (length(w) < 1e-15 ? 0.0 : std::atan2(w.y, w.x)) -
                            (length(v) < 1e-15 ? 0.0 : std::atan2(v.y, v.x));
        turns += step > std::numbers::pi ? -1 : step <= -std::numbers::pi ? 1 : 0;
    }
    return turns != 0;
}

/// The point of the closed contour at a distance along it.
EdgePoint pointAt(double distance, const Contour& c, std::size_t i = 0) {
    const EdgePoint d = c[(i + 1) % c.size()] - c[i];
    return distance < length(d) ? c[i] + distance / length(d) * d
                                : pointAt(distance - length(d), c, (i + 1) % c.size());
}

TEST(Contour, WindsAroundPointsIsResampledEvenlyAndIsAsCloseAsItsClosestSample) {
    Random random(60);
    for (int i = 0; i < 5000; ++i) {
        Contour c = {{0.15, 0.25}, {-0.3, 0.05}};
        for (int k = random.integer(1, 12); k > 0; --k) {
            const EdgePoint lattice(random.integer(-2, 2), random.integer(-2, 2));
            c.push_back(random.integer(0, 5) == 0 ? c.back() : 0.1 * lattice);
        }
        const EdgePoint p(random.number(-0.3, 0.3), random.number(-0.3, 0.3));
        for (const EdgePoint& q : {p, c.back(), 1e6 * p}) {
            ASSERT_EQ(isInside(q, c), isWoundAround(q, c)) << "case " << i;
        }
        const double perimeter = length(c) + length(c.back() - c.front());
        const double spacing = random.number(0.005, 0.02);
        Contour samples;
        resampleLoopedContour(c, spacing, samples);
        ASSERT_EQ(samples.size(), static_cast<std::size_t>(perimeter / spacing + 0.5));
        double closest = 1e9;
        for (std::size_t k = 0; k < samples.size(); ++k) {
            const double part = static_cast<double>(k) / static_cast<double>(samples.size());
            ASSERT_LT(length(samples[k] - pointAt(part * perimeter, c)), 1e-9) << "case " << i;
            closest = std::min(closest, length(samples[k] - p));
        }
        EdgePoint out = p;
        closestPointOnContour(out, c, out);
        ASSERT_NEAR(length(out - p), closest, 0.02) << "case " << i;
        c[0].y = std::nan("");
        EXPECT_FALSE(isInside(p, c));
    }
}

TEST(Contour, FollowsTheRulesAtItsEdges) {
    EXPECT_EQ(EdgePoint(), EdgePoint(5e-9, -5e-9));
    EXPECT_NE(EdgePoint(1, 2), EdgePoint(1 + 2e-8, 2));
    EXPECT_EQ(rotate({1, 0}, 2.5), EdgePoint(std::cos(2.5), -std::sin(2.5)));
    EXPECT_EQ(length(square(0.5)), 3.0);
    EXPECT_EQ(area({{0, 0}, {2, 2}, {2, -2}, {-1, 1}, {-1, -1}}), 3.0);
    EdgePoint first;
    closestPointOnContour({0, 0}, square(1), first);
    EXPECT_EQ(first, EdgePoint(0, 1));
    EXPECT_THROW(closestPointOnContour({}, {}, first), std::invalid_argument);
    closestPointOnLineSegment({1, 0}, {}, {1e-7, 0}, first);
    EXPECT_EQ(first.x, 1e-7);
    const Contour triangle = {{}, {-1, 1}, {-1, -1}};
    EXPECT_TRUE(!isInside({1e-13, 0}, triangle) && isInside({9e-16, 0}, triangle));
    Contour out;
    resampleLoopedContour(square(0.5), 5, out);
    EXPECT_EQ(out, square(0.5));
    resampleLoopedContour(out, 4, out);
    EXPECT_EQ(out, Contour({{0.5, 0.5}, {-0.5, -0.5}}));
    resampleLoopedContour({{1, 1}, {1 + 1e-7, 1}, {1, 1 + 1e-7}}, 1e-8, out);
    EXPECT_EQ(out, Contour(34, {1, 1}));
    removeZeroLengthSegmentsFromContour(out);
    EXPECT_EQ(out, Contour());
    out = {{}, {6e-7, 0}, {12e-7, 0}, {1, 0}, {1, 1}, {}};
    removeZeroLengthSegmentsFromContour(out);
    EXPECT_EQ(out, Contour({{}, {12e-7, 0}, {1, 0}, {1, 1}}));
}

TEST(Glyph, HasHolesByNestingAndContainsWhatLiesInsideOneOutline) {
    const Glyph nested = {square(3), square(5), {}, square(1), square(4)};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(isHole(nested, i), i >= 3) << i;
    }
    const auto contains = outerOutlineContainsInnerOutline;
    EXPECT_TRUE(contains(nested, {square(2), {}, square(4.5)}));
    EXPECT_FALSE(contains(nested, {square(2), square(6)}));
    EXPECT_TRUE(contains({}, {}) && !contains({}, {{}}));
    // Out through the closing edge of the outer outline, which does not count.
    EXPECT_TRUE(contains({square(5)}, {{{0, 0}, {6, 1}, {6, -1}}}));
    EXPECT_FALSE(contains({square(5)}, {{{0, 0}, {-6, 1}, {-6, -1}}}));
}

TEST(ContourDeathTest, EndsTheProcessWithoutSuchAContourOrStep) {
    Contour out;
    EXPECT_DEATH(isHole({square(1)}, 1), "glyph too small");
    EXPECT_DEATH(isHole({square(1)}, -1), "glyph too small");
    EXPECT_DEATH(resampleLoopedContour(square(1), 0, out), "offset error for contour resample");
}

}  // namespace
