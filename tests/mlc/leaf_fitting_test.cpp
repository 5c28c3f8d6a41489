#include <trelis/mlc/leaf_fitting.h>

#include <gtest/gtest.h>

#include <tests/mlc/positions.h>
#include <trelis/trelis.h>

namespace {

using namespace NMLC;
using Open = OpenLeavesMeetingPoint;
using Closed = ClosedLeavesMeetingPoint;
using Tip = std::pair<float, float>;

/// Three leaf pairs of 5 mm about 0.
struct Collimator : LeafConfiguration {
    explicit Collimator(int type = 0, bool isParallelWithYJaws = false)
        : LeafConfiguration(3, MLCType{type}, 0.5F, true) {
        SetParallelWithYJaws(isParallelWithYJaws);
        for (const int i : {0, 1, 2}) {
            const auto y = static_cast<float>(5 * i);
            GetLeafPair(i) = {
                y - 5, 5, {Leaf{-200, 130 + y, nullptr, {}}, Leaf{-130 - y, 200, nullptr, {}}}};
        }
    }
};

TEST(FitLeaves, FindsWhatTheClosestApproachFindsAlsoNextToParallelAndToTheEnds) {
    Random random(71);
    const LeafConfiguration line(1, MLCType::Generic, 0, true);  // one pair, of no width
    const double y = -1e-6;
    for (int i = 0; i < 20000; ++i) {
        const double above = std::pow(10, random.number(-7, 0)) * (i % 2 * 2 - 1);
        const double run = std::pow(10, i % 50 ? random.number(-6, 2) : random.integer(7, 320));
        const EdgePoint a{random.number(-50, 50), i % 3 == 0 ? y : y + above};
        const EdgePoint b{a.x + run, a.y + run * (i % 7 == 0 ? 1 : i % 4 < 2 ? 0.0032 : -0.0032)};
        double right = -99;
        for (const auto& [p, q] : {std::pair(a, b), std::pair(b, a)}) {
            double d = 0;
            const Vector crossing = NVector::CalculateIntersectionPoint(
                {-1e8, y, 0}, {1e8, y, 0}, {p.x, p.y, 0}, {q.x, q.y, 0}, d, nullptr, nullptr);
            right = d >= 0 && d < 1 ? std::max(right, crossing.x) : right;
        }
        LeafPositions fitted;
        const Glyph outlines{{a, b}, {{-99, -9}, {-99, 9}}};
        FitLeaves(outlines, line, Open::Outside, Closed::Center, fitted, 1, 1);
        const Tip expected = right > -99 ? Tip(-99, right) : Tip(0, 0);
        ASSERT_EQ(tipsOf(fitted), tipsOf(positionsAt({expected}))) << "case " << i;
    }
}

TEST(FitLeaves, MeetsASlantAsModeScaleAndStepSayAndThrowsAfterWhatCameBefore) {
    constexpr const char* kErrors[] = {
        "", "`anonymous-namespace'::SelectPlanPosition: Undefined OpenLeavesMeetingPoint",
        "`anonymous-namespace'::FitLeavesImpl: Undefined ClosedLeavesMeetingPoint"};
    const Glyph band{{{-1, -1}, {199, -1}, {399, 199}, {199, 199}}};  // from x = y to y + 200
    /// Type, open mode, scale, step, a pair, its positions in 0.01 mm, the error.
    constexpr int kCases[][8] = {{0, 0, 1, 1, 1, 250, 19950, 0},   {0, 1, 1, 1, 1, -50, 20250, 0},
                                 {0, 2, 1, 1, 1, 100, 20100, 0},   {0, 2, 1, 3, 1, 250, 20250, 0},
                                 {0, 1, 2, 1, 1, -100, 20500, 0},  {0, 2, 1, -1, 2, 500, 20500, 0},
                                 {1, 1, 2, 1, 42, -100, 22000, 0}, {2, 1, 2, 1, 42, -100, 21000, 0},
                                 {0, 3, 1, 1, 1, 0, 0, 1},         {0, 0, 1, 1, 1, 250, 19950, 2}};
    for (const auto& [type, open, scale, step, pair, left, right, error] : kCases) {
        LeafPositions fitted = positionsAt({{1, 9}, {1, 9}});
        try {
            FitLeaves(band, Collimator(type), Open{open}, Closed{error + 1}, fitted, scale, step);
            EXPECT_EQ(error, 0);
        } catch (const std::runtime_error& caught) {
            EXPECT_STREQ(caught.what(), kErrors[error]);
        }
        EXPECT_EQ(tipsOf(fitted)[static_cast<std::size_t>(pair)], Tip(left / 100.0, right / 100.0))
            << type << open << step;
    }
}

TEST(ParkClosedLeaves, PutsClosedPairsWhereSpansAndLimitsAllow) {
    /// Mode, type, span of the opposite bank, where the second pair is and where the others go.
    constexpr float kCases[][6] = {
        {0, 0, 90, -30, 40, -50},   {0, 0, 85, -30, 40, -40},   {0, 0, 60, -30, 40, -20},
        {0, 4, 85, -30, 40, -45},   {0, 4, 999, -30, 40, -130}, {0, 0, 9999, 9980, 9980, 9980},
        {1, 0, 90, -30, 40, 60},    {1, 0, 85, -30, 40, 50},    {1, 0, 60, -30, 40, 30},
        {1, 4, 85, -30, 40, 55},    {1, 0, 500, 100, 150, 130}, {2, 0, 9, -250, 40, -80},
        {0, 4, 230, -30, 250, -30}, {2, 0, 9, 300, 400, 130},   {2, 0, 9, -400, -300, -130}};
    for (const auto& [mode, type, span, left, right, parked] : kCases) {
        Collimator collimator(static_cast<int>(type));
        collimator.SetMaxLeafSpan(mode == 0 ? Bank::Right : Bank::Left, span);
        LeafPositions positions = positionsAt({{1, 1}, {left, right}, {2, 2}});
        ParkClosedLeaves(collimator, Closed{static_cast<int>(mode)}, positions);
        EXPECT_EQ(tipsOf(positions), (Tips{{parked, parked}, {left, right}, {parked, parked}}));
    }
}

TEST(GetBankOutline, WalksTipsWithTheTongueOfTheTypeAndReturnsAlongTheBacks) {
    constexpr double kTongues[] = {0.33, 0, 0, 0.5, 0.1, 0.5, 0, 0.5, 0.15, 0};
    for (int i = 0; i < 40; ++i) {
        const Collimator collimator(i / 4, i % 2 == 1);
        const double w = i == 1 || i == 3 ? 0 : kTongues[i / 4];
        const double x[] = {11, 11, 21, 21, 21, 21, 5020, 5020, 5020, 5020, 5010, 5010};
        const double y[] = {-15, w - 5, w - 5, 5 - w, 5 - w, 15, 15, 5, 5, -5, -5, -15};
        const LeafPositions positions = positionsAt({{-10, 10}, {-20, 20}, {-20, 20}});
        std::vector<EdgePoint> outline(1);
        GetBankOutline(positions, collimator, 2, Bank{i / 2 % 2}, outline, 2);
        ASSERT_EQ(outline.size(), 12U);
        for (std::size_t k = 0; k < 12; ++k) {
            const EdgePoint point{i % 4 < 2 ? -x[k] : x[k], y[k]};
            EXPECT_NEAR_VECTOR(collimator.GetMLCToBeamTransform().TransformEdgePoint(point),
                               Vector(outline[k].x, outline[k].y, 0), 1e-9);
        }
    }
}

TEST(GetApertureExtents, BoundOpenPairsWithinDefinedJawsAlsoOfAMirroredAperture) {
    LeafPositions positions = positionsAt({{5, 5}, {-30, 20}, {-10, 10}});
    MirrorX(positions);
    MirrorY(positions);
    int range[] = {9, 9};
    GetApertureStartAndEndLeafPairs(positions, range[0], range[1]);
    EXPECT_TRUE(range[0] == 0 && range[1] == 1);
    constexpr double kNaN = trelis::Undefined<double>::value;
    /// Jaws, minimum gap, extents.
    constexpr double kCases[][9] = {
        {kNaN, 5, 5, kNaN, 0, -20, 30, -7.5, 2.5},    {-5, kNaN, kNaN, 0, 20, -20, 30, -2.5, 2.5},
        {-90, 90, -10, -2.5, 0, -10, 10, -7.5, -2.5}, {-5, 12, -2.5, 90, 0, -5, 12, -2.5, 2.5},
        {10, 12, -90, 90, 0, 10, 12, -2.5, 2.5},      {30, 50, -90, 90, 0, 0, 0, 0, 0}};
    float e[4];
    for (int i = 0; i < 12; ++i) {
        const auto& c = kCases[i / 2];
        const int x = i % 2 * 2;
        const NControlPoint::Collimator jaws{c[x], c[x + 1], c[2 - x], c[3 - x]};
        const bool isOpen =
            GetApertureExtents(Collimator(0, x == 2), positions, jaws, static_cast<float>(c[4]),
                               e[x], e[x + 1], e[2 - x], e[3 - x]);
        EXPECT_TRUE(isOpen == (i < 10) && std::equal(e, e + 4, c + 5)) << i;
    }
    EXPECT_DEATH(GetApertureExtents(Collimator(), {}, {}, 0, e[0], e[1], e[2], e[3]), "");
}

}  // namespace
