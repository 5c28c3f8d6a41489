#include <trelis/foundation/matrix.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/foundation/line_geometry.h>
#include <trelis/foundation/undefined.h>

namespace {

const Vector initialisedFromConstant = Vector::M_Y;

TEST(Vector, ConstantsAreReadyForStaticInitialisersAndZeroNormalisesToX) {
    EXPECT_EQ(initialisedFromConstant, Vector(0, -1, 0));
    EXPECT_EQ(Vector::ZERO.Normalized(), Vector::P_X);
}

TEST(Epsilon, IsStrictAndNanEqualsNan) {
    const double nan = trelis::Undefined<double>::value;
    EXPECT_TRUE(trelis::EpsilonEqual(nan, nan, 0));
    EXPECT_FALSE(trelis::EpsilonEqual(nan, 1, 1e9) || trelis::EpsilonEqual(1, nan, 1e9));
    EXPECT_FALSE(trelis::EpsilonEqual(1, 1.5, 0.5) || trelis::EpsilonZero(-0.5, 0.5));
    EXPECT_TRUE(trelis::EpsilonEqual(1.5, 1, 0.51));
}

/// Rodrigues' formula.
Vector turned(const Vector& p, const Vector& axis, double angle) {
    const Vector u = axis.Normalized();
    return std::cos(angle) * p + std::sin(angle) * u.Cross(p) +
           (1 - std::cos(angle)) * u.Dot(p) * u;
}

TEST(Matrix, RotationsAreRightHandedAndApplyFirstButAboutAnAxisTheOtherWayWithoutTranslation) {
    Random random(9);
    for (int i = 0; i < 100; ++i) {
        const MMatrix before = random.rigid(2.0);
        const Vector p = random.vector(5);
        const Vector angles(random.number(-3, 3), random.number(-1.5, 1.5), random.number(-3, 3));
        const Vector aboutX = turned(p, Vector::P_X, angles.x);
        const Vector aboutY = turned(aboutX, Vector::P_Y, angles.y);
        const Vector aboutZ = turned(aboutY, Vector::P_Z, angles.z);
        MMatrix m = before;
        m.SetRotation(angles.x, angles.y, angles.z);
        EXPECT_NEAR_VECTOR(m.TransformVector(p), 2 * aboutZ, 1e-12);
        Vector read;
        EXPECT_LT(m.GetRotation(read.x, read.y, read.z), 1e-12);
        EXPECT_NEAR_VECTOR(read, angles, 1e-12);
        m = before;
        m.RotateZ(angles.z);
        m.RotateY(angles.y);
        m.RotateX(angles.x);
        EXPECT_NEAR_VECTOR(m.Transform(p), before.Transform(aboutZ), 1e-12);
        m = before;
        const Vector axis = i == 0 ? Vector::ZERO : angles;
        m.RotateAboutAxis(0.3, axis);
        EXPECT_NEAR_VECTOR(m.Transform(p), before.TransformVector(turned(p, axis, -0.3)), 1e-12);
    }
}

TEST(Matrix, ResidualOfTheAnglesShowsWhatIsNoRotation) {
    Vector angles;
    MMatrix m;
    m.SetRotation(0.4, std::numbers::pi / 2, 0.0);
    EXPECT_LT(m.GetRotation(angles.x, angles.y, angles.z), 1e-9);
    m = {{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    EXPECT_GT(m.GetRotation(angles.x, angles.y, angles.z), 1.0);
}

TEST(Matrix, CombinationsEqualTheTransformsOneAfterTheOtherAlsoWithItself) {
    Random random(2);
    for (int i = 0; i < 100; ++i) {
        const MMatrix a = random.rigid(random.number(0.5, 2));
        const bool itself = i % 4 == 0;
        const MMatrix b = itself ? a : random.rigid(i % 2 == 0 ? 1.0 : random.number(0.5, 2));
        const Vector p = random.vector(50);
        const Vector t = a.GetTranslation();
        const std::pair<void (MMatrix::*)(const MMatrix&), Vector> cases[] = {
            {&MMatrix::Mul, b.TransformVector(a.TransformVector(p)) + t},
            {&MMatrix::TransMul, a.TransformVector(b.TransformVector(p)) + t},
            {&MMatrix::CombineTransform, b.Transform(a.Transform(p))},
            {&MMatrix::InverseCombineTransform, b.InverseTransform(a.Transform(p))},
            {&MMatrix::RelativeTransform, b.Transform(a.InverseTransform(p))}};
        for (const auto& [combine, expected] : cases) {
            MMatrix m = a;
            (m.*combine)(itself ? m : b);
            EXPECT_NEAR_VECTOR(m.Transform(p), expected, 1e-8);
        }
        MMatrix m;
        m.InverseAny4x3(a);
        EXPECT_NEAR_VECTOR(m.Transform(p), a.InverseTransform(p), 1e-8);
        m = a;
        m.TranslateY(2);
        EXPECT_NEAR_VECTOR(m.Transform(p), a.Transform(p) + 2 * a.GetUnitAxisY(), 1e-8);
    }
}

TEST(Matrix, GeneralInverseReadsItsOwnScaleAndMultipliesSingularOnesBy1e8) {
    MMatrix m({2, 0, 1}, {0, 3, 5}, {1, 0, 4});
    m.SetScale(2);
    MMatrix inverse;
    EXPECT_DOUBLE_EQ(inverse.InverseAny3x3(m), 2 * std::sqrt(56.0));
    EXPECT_NEAR_VECTOR(inverse.TransformVector(m.TransformVector({1, 2, 3})), Vector(1, 2, 3),
                       1e-12);
    MMatrix scaled;
    scaled.SetScale(4);
    scaled.InverseAny3x3(m);
    EXPECT_EQ(scaled.GetScale(), 0.25);
    EXPECT_TRUE(scaled.EqualRotation(inverse));
    m.InverseAny3x3(m);
    EXPECT_TRUE(m.EqualRotation(inverse));
    EXPECT_EQ(inverse.InverseAny3x3({{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}), std::sqrt(2.0));
    EXPECT_EQ(inverse.GetVector(2), Vector(0, 0, 1e8));
    EXPECT_EQ(inverse.InverseAny3x3({Vector::ZERO, Vector::ZERO, Vector::ZERO}), 1.0);
}

TEST(Matrix, OrthogonalizeKeepsLengthsAndCollapsesALeftHandedFrame) {
    MMatrix m({0, 2, 0}, {-3, 0, 0}, {0, 0, 0.5});
    m.Orthogonalize();
    EXPECT_TRUE(m.EqualMatrix({{0, 2, 0}, {-3, 0, 0}, {0, 0, 0.5}}));
    m = {{1, 0.1, 0}, {0, 1, 0.05}, {0, 0, 1}};
    m.Orthogonalize();
    EXPECT_NEAR(m.GetVector(0).Dot(m.GetVector(1)), 0, 1e-8);
    EXPECT_NEAR(m.GetVector(0).Length(), 1, 0.01);
    m = {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}};
    m.Orthogonalize();
    EXPECT_NEAR(m.FNorm(), 0, 1e-8);
}

TEST(Matrix, EqualityHasItsTolerances) {
    MMatrix m;
    m.SetScale(1 + 1e-9);
    EXPECT_EQ(m, MMatrix());
    m.SetScale(1 + 1e-7);
    EXPECT_TRUE(m != MMatrix() && m.EqualMatrix(MMatrix()));
    m.SetTranslation(0, 0, 2e-4);
    EXPECT_TRUE(!m.EqualMatrix(MMatrix()) && m.EqualRotation(MMatrix()));
}

TEST(Matrix, DominantAxisTakesTheEarlierOfTwo) {
    const std::pair<Vector, int> cases[] = {{{0, 0, 0}, -1}, {{0, -1, 1}, 3}, {{1, 1, -2}, 5},
                                            {{-2, 2, 2}, 1}, {{0, 3, 1}, 2},  {{0, 0, 1}, 4}};
    for (const auto& [row, code] : cases) {
        EXPECT_EQ(NMatrix::calculateOffsetTypeIndex({{}, row, {}}, 1), code);
    }
}

TEST(Lines, ClosestApproachTellsSegmentsFromLines) {
    double distance = 0;
    Vector onFirst;
    Vector onSecond;
    const auto approach = [&](const Vector& q1, const Vector& q2) {
        return NVector::CalculateIntersectionPoint({0, 0, 0}, {2, 0, 0}, q1, q2, distance, &onFirst,
                                                   &onSecond);
    };
    // An oblique line: y = x - 1.5.
    EXPECT_NEAR_VECTOR(approach({0.5, -1, 3}, {3.5, 2, 3}), Vector(1.5, 0, 1.5), 1e-12);
    EXPECT_NEAR(distance, 3, 1e-12);
    EXPECT_NEAR_VECTOR(onSecond - onFirst, Vector(0, 0, 3), 1e-12);
    for (const double x : {3, -1}) {
        approach({x, -1, 0}, {x, 1, 0});
        EXPECT_DOUBLE_EQ(distance, -0.0001);
        approach({1, x, 0}, {1, x + 0.5, 0});
        EXPECT_DOUBLE_EQ(distance, -0.0001);
    }
    onFirst = {9, 9, 9};
    EXPECT_EQ(approach({5, 5, 5}, {6, 5.003, 5}), Vector::ZERO);
    EXPECT_EQ(distance, 1e8);
    EXPECT_EQ(onFirst, Vector(9, 9, 9));
}

TEST(Lines, DistanceFromSegmentIsTheSmallestOverItsPoints) {
    Random random(4);
    for (int i = 0; i < 100; ++i) {
        const Vector p = random.vector(3);
        const Vector a = random.vector(2);
        const Vector b = i % 10 == 0 ? a : random.vector(2);
        double smallest = std::numeric_limits<double>::max();
        for (int k = 0; k <= 10000; ++k) {
            smallest = std::min(smallest, (a + (k / 10000.0) * (b - a) - p).Length());
        }
        EXPECT_NEAR(NVector::DistanceFromLineSegment(p, a, b), smallest, 1e-6);
    }
}

}  // namespace
