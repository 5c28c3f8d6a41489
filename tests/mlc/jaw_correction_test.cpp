#include <trelis/mlc/jaw_correction.h>

#include <cmath>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include <tests/mlc/positions.h>

namespace {

using namespace NControlPoint;
using namespace NMLC;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

std::string text(const Collimator& jaws, bool changed) {
    std::ostringstream out;
    out << jaws.X1 << " " << jaws.X2 << " " << jaws.Y1 << " " << jaws.Y2 << " " << changed;
    return out.str();
}

/// Jaws corrected for a pair that is closed, pairs of 5 mm below and above 0 that are open from
/// -30 to 40 and from -20 to 30, and one at the minimum leaf gap. The setup is the type and any of:
/// y leaves along Y, c all leaves closed, o open along jaws, k keep along jaws of type 0, j of
/// types 3 and 5, t tight limits, l across jaws limited to 60 (not a number otherwise), u no limit
/// after all, s leaves shield to 50, e exposure up to 60 (left) and 70, p the closed pair parked at
/// 60 or, with z, at -60, m leaves that travel to 28 only.
std::string corrected(const std::string& setup, Collimator jaws) {
    const auto has = [&](char letter) { return setup.find(letter) != std::string::npos; };
    LeafConfiguration collimator(4, MLCType{setup[0] - '0'}, 0.5F, true);
    for (int i = 0; i < 4; ++i) {
        const float travel = has('m') ? 28 : 140;
        const Leaf leaf{-travel, travel, nullptr, {}};
        collimator.GetLeafPair(i) = {static_cast<float>(5 * i - 7.5), 5, {leaf, leaf}};
    }
    collimator.SetParallelWithYJaws(has('y'));
    collimator.xJawMargin = 5;
    collimator.yJawMargin = 7;
    collimator.limitAcrossJaws = !has('u');
    collimator.acrossJawLimit = has('l') ? 60 : NAN;
    collimator.shieldedHalfWidth = has('s') ? 50 : 1000;
    collimator.alongJawOverlap = 2;
    collimator.SetMaxLeafExposure(Bank::Left, has('e') ? 60 : 1000);
    collimator.SetMaxLeafExposure(Bank::Right, has('e') ? 70 : 1000);
    const CollimatorLimits tight = {{-32, -33}, {60, 50}, {-9, -8}, {7, 9}};
    const float parked = has('p') ? (has('z') ? -60 : 60) : 0;
    const Tips tips = {{parked, parked}, {-30, 40}, {-20, 30}, {0, 0.5F}};
    const bool changed = CorrectCollimatorJawPositions(
        collimator, positionsAt(has('c') ? Tips(4) : tips), has('t') ? tight : CollimatorLimits(),
        jaws, has('k'), has('j'), has('o'));
    return text(jaws, changed);
}

/// Setup, jaws before and after.
constexpr char kCases[] = R"(
1     -20 20 -3 3         -20 20 -3 3           1o    -20 20 -3 3         -35 45 -3 3
1o    -29.95 39.95 -3 3   -29.95 39.95 -3 3     1o    -29.94 39.94 -3 3   -35 45 -3 3
2ot   -20 20 -3 3         -32 60 -3 3           3oc   -3 3 -3 3           -3 3 -3 3
0l    -25 20 -80 80       -25 20 -60 60         0l    -25 20 -60.04 60.04 -25 20 -60.04 60.04
0lu   -25 20 -80 80       -25 20 -80 80         0lsey -80 80 -90 90       -60 60 -90 90
0sj   -90 90 -80 20       -32 42 -80 20         0s    -90 20 -20 80       -32 20 -20 80
0s    -32 42 -80 80       -32 42 -80 80         0s    -90 90 -50.04 50    -90 90 -50.04 50
0sc   -90 90 -80 80       -90 90 -80 80         0sk   -90 90 -80 20       -90 90 -50 20
0st   -90 90 -80 80       -90 90 -50 50         0st   -90 20 -20 80       -90 20 -20 50
0st   -20 90 -80 80       -20 90 -50 50         0et   -90 90 -3 3         -60 70 -3 3
3k    -20 20 -80 80       -35 45 -5 5           5yj   -20 20 -80 80       -20 20 -5 5
3t    -90 20 -80 5.04     -90 60 -8 5.04        5     -90 90 -3 3         -90 90 -3 3
6y    -20 20 -80 80       -20 20 -5 5           6t    -20 20 -3 80        -20 20 -3 7
7     -20 20 -3 3         -35 45 -5 5           8y    -3 3 -20 20         -5 5 -37 47
7     -90 90 80 -3        -90 90 -5 80          8t    -90 90 -3 80        -90 90 -8 80
0sp   -90 90 -80 80       -32 62 -80 80         0spz  -90 90 -80 80       -62 42 -80 80
1op   -20 20 -3 3         -35 45 -3 3           1opz  -20 20 -3 3         -35 45 -3 3
3p    -20 20 -3 3         -35 45 -3 3           1om   -20 20 -3 3         -33 33 -3 3
0sm   -20 90 -80 20       -20 30 -80 20         0o    -20 20 -3 3         -35 45 -3 3
7     -20 20 -30 30       -35 45 -30 30         7     -90 90 30 -30       -90 90 -30 30
3o    -20 20 -5 5         -35 45 -5 5           6o    -20 20 -3 3         -35 45 -3 3
3     -40 50 -80 3        -40 50 -5 3           3     -40 50 -3 80        -40 50 -3 5
)";

TEST(JawCorrection, FollowsTheRuleOfTheType) {
    std::istringstream in(kCases);
    std::string setup;
    for (Collimator a, b;
         in >> setup >> a.X1 >> a.X2 >> a.Y1 >> a.Y2 >> b.X1 >> b.X2 >> b.Y1 >> b.Y2;) {
        EXPECT_EQ(corrected(setup, a), text(b, text(a, true) != text(b, true))) << setup;
    }
    EXPECT_EQ(corrected("6t", {-9, 9, -3, 7}), text({-9, 9, -3, 7}, true));
    EXPECT_EQ(corrected("0lseo", {kNone, kNone, kNone, kNone}), "nan nan nan nan 0");
}

TEST(JawCorrection, KeepsJawsWithinTheirOperatingLimits) {
    const CollimatorLimits limits = {{-200, 0}, {-2, 200}, {9, -9}, {0, 1}};
    Collimator jaws = {10, -5, 0, kNone};
    EXPECT_TRUE(NMLC::CorrectCollimatorJawAgainstOperatingLimits(limits, jaws));
    EXPECT_EQ(text(jaws, true), "0 -2 -9 nan 1");
    EXPECT_FALSE(NMLC::CorrectCollimatorJawAgainstOperatingLimits({}, jaws));
}

TEST(JawCorrection, MovesLeavesOfType4OntoTheXJaws) {
    const Tips before = {{-30, 40}, {60, 60}, {-25.05F, 24}, {-30, 40}, {-30, 40}};
    const Tips onJaws = {{-30, 40}, {60, 60}, {-25, 24}, {-25, 25}, {-30, 40}};
    Tips withoutRightJaw = onJaws;
    withoutRightJaw[3].second = 40;
    const struct {
        MLCType type;
        double rightJaw;
        Tips after;
    } cases[] = {{MLCType::Type4, 25, onJaws},
                 {MLCType::Type4, kNone, withoutRightJaw},
                 {MLCType::Generic, 25, before}};
    for (const auto& c : cases) {
        LeafConfiguration collimator(5, c.type, 0, true);
        for (int i = 0; i < 5; ++i) {
            collimator.GetLeafPair(i).centre = static_cast<float>(5 * i - 7.5);
            collimator.GetLeafPair(i).width = 5;
        }
        // The lower edges are -10, -5, 0, 5 and 10: the first is within 0.05 of its jaw.
        const Collimator jaws = {-25, c.rightJaw, -10.04, 8};
        LeafPositions moved = positionsAt(before);
        EXPECT_EQ(CorrectCollimatorJawPositionsElektaBM(collimator, moved, {}, jaws),
                  c.after != before);
        EXPECT_EQ(tipsOf(moved), c.after);
    }
}

}  // namespace
