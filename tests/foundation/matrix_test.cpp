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
    const struct {
        double a, b, eps;
        bool equal;
    } cases[] = {{nan, nan, 0, true}, {nan, 1, 1e9, false}, {1, nan, 1e9, false},
                 {1, 1, 0, false},    {1, 1.5, 0.5, false}, {1.5, 1, 0.51, true}};
    for (const auto& c : cases) {
        EXPECT_EQ(trelis::EpsilonEqual(c.a, c.b, c.eps), c.equal) << c.a << " " << c.b;
    }
    EXPECT_FALSE(trelis::EpsilonZero(-0.5, 0.5));
}

TEST(Matrix, AnglesTurnEachAxisRightHandedAboutFixedAxesInTurn) {
    MMatrix m;
    m.SetRotation(std::numbers::pi / 2, 0, 0);
    EXPECT_NEAR_VECTOR(m.Transform({0, 1, 0}), Vector(0, 0, 1), 1e-12);
    m.SetRotation(0, std::numbers::pi / 2, 0);
    EXPECT_NEAR_VECTOR(m.Transform({0, 0, 1}), Vector(1, 0, 0), 1e-12);
    m.SetRotation(0, 0, std::numbers::pi / 2);
    EXPECT_NEAR_VECTOR(m.Transform({1, 0, 0}), Vector(0, 1, 0), 1e-12);
    MMatrix composed;
    composed.SetRotation(0.1, 0.2, 0.3);
    Vector p(1, 2, 3);
    for (const auto& [a, b, c] : {Vector(0.1, 0, 0), Vector(0, 0.2, 0), Vector(0, 0, 0.3)}) {
        m.SetRotation(a, b, c);
        p = m.Transform(p);
    }
    EXPECT_NEAR_VECTOR(composed.Transform({1, 2, 3}), p, 1e-12);
}

TEST(Matrix, GetRotationInvertsSetRotationAndItsResidualShowsWhatIsNoRotation) {
    Random random(1);
    Vector angles;
    for (int i = 0; i < 200; ++i) {
        const MMatrix m = random.rigid(2.0);
        EXPECT_LT(m.GetRotation(angles.x, angles.y, angles.z), 1e-12);
    }
    MMatrix upright;
    upright.SetRotation(0.4, std::numbers::pi / 2, 0.0);
    EXPECT_LT(upright.GetRotation(angles.x, angles.y, angles.z), 1e-9);
    const MMatrix mirrored({-1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    EXPECT_GT(mirrored.GetRotation(angles.x, angles.y, angles.z), 1.0);
}

TEST(Matrix, RotationsApplyBeforeTheOldOnesAndAboutAnAxisTheOtherWayWithoutTranslation) {
    Random random(9);
    const MMatrix before = random.rigid(2.0);
    const Vector p = random.vector(5);
    for (const Vector& axis : {Vector::P_X, Vector::P_Y, Vector::P_Z}) {
        MMatrix turn;
        turn.SetRotation(0.3 * axis.x, 0.3 * axis.y, 0.3 * axis.z);
        MMatrix m = before;
        m.RotateX(0.3 * axis.x);
        m.RotateY(0.3 * axis.y);
        m.RotateZ(0.3 * axis.z);
        EXPECT_NEAR_VECTOR(m.Transform(p), before.Transform(turn.Transform(p)), 1e-12);
        m = before;
        m.RotateAboutAxis(-0.3, 7 * axis);
        EXPECT_NEAR_VECTOR(m.Transform(p), before.TransformVector(turn.Transform(p)), 1e-12);
    }
    // About an oblique axis: Rodrigues' formula with the negative angle.
    const Vector u = Vector(1, 2, 3).Normalized();
    MMatrix m;
    m.RotateAboutAxis(0.7, {1, 2, 3});
    EXPECT_NEAR_VECTOR(
        m.Transform(p),
        std::cos(0.7) * p - std::sin(0.7) * u.Cross(p) + (1 - std::cos(0.7)) * u.Dot(p) * u, 1e-12);
    m = MMatrix();
    m.RotateAboutAxis(0.3, Vector::ZERO);
    MMatrix aboutX;
    aboutX.RotateX(-0.3);
    EXPECT_EQ(m, aboutX);
}

TEST(Matrix, CombinationsEqualTheTransformsOneAfterTheOther) {
    Random random(2);
    for (int i = 0; i < 100; ++i) {
        const MMatrix a = random.rigid(random.number(0.5, 2));
        const MMatrix b = random.rigid(i % 2 == 0 ? 1.0 : random.number(0.5, 2));
        const Vector p = random.vector(50);
        const std::pair<void (MMatrix::*)(const MMatrix&), Vector> cases[] = {
            {&MMatrix::CombineTransform, b.Transform(a.Transform(p))},
            {&MMatrix::InverseCombineTransform, b.InverseTransform(a.Transform(p))},
            {&MMatrix::RelativeTransform, b.Transform(a.InverseTransform(p))}};
        for (const auto& [combine, expected] : cases) {
            MMatrix m = a;
            (m.*combine)(b);
            EXPECT_NEAR_VECTOR(m.Transform(p), expected, 1e-8);
        }
        MMatrix general;
        general.InverseAny4x3(a);
        EXPECT_NEAR_VECTOR(general.Transform(p), a.InverseTransform(p), 1e-8);
    }
}

TEST(Matrix, AnArgumentThatIsTheObjectItselfIsReadBeforeTheChange) {
    const MMatrix a = Random(3).rigid(1.5);
    for (const auto change : {static_cast<void (MMatrix::*)(const MMatrix&)>(&MMatrix::Mul),
                              &MMatrix::TransMul, &MMatrix::CombineTransform, &MMatrix::Adjunct,
                              &MMatrix::InverseCombineTransform, &MMatrix::RelativeTransform}) {
        MMatrix self = a;
        (self.*change)(self);
        MMatrix other = a;
        (other.*change)(a);
        EXPECT_EQ(self, other);
    }
}

TEST(Matrix, ProductsDifferInOrderAndLeaveTheTranslation) {
    const MMatrix a({1, 2, 3}, {4, 5, 6}, {7, 8, 10});
    MMatrix b({0, 1, 0}, {0, 0, 1}, {2, 0, 0});
    b.SetScale(3);
    MMatrix mul = a;
    mul.SetScale(2);
    mul.TranslateY(2);
    mul.Mul(b);
    EXPECT_EQ(mul.GetVector(0), Vector(6, 1, 2));
    EXPECT_EQ(mul.GetScale(), 6);
    EXPECT_EQ(mul.GetTranslation(), Vector(8, 10, 12));
    MMatrix transMul = a;
    transMul.TransMul(b);
    EXPECT_EQ(transMul.GetVector(2), Vector(2, 4, 6));
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

    EXPECT_EQ(inverse.InverseAny3x3({{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}), std::sqrt(2.0));
    EXPECT_EQ(inverse.GetVector(2), Vector(0, 0, 1e8));
    EXPECT_EQ(inverse.InverseAny3x3({Vector::ZERO, Vector::ZERO, Vector::ZERO}), 1.0);
}

TEST(Matrix, OrthogonalizeKeepsLengthsAndCollapsesALeftHandedFrame) {
    MMatrix frame({0, 2, 0}, {-3, 0, 0}, {0, 0, 0.5});
    const MMatrix before = frame;
    frame.Orthogonalize();
    EXPECT_TRUE(frame.EqualMatrix(before));
    MMatrix skewed({1, 0.1, 0}, {0, 1, 0.05}, {0, 0, 1});
    skewed.Orthogonalize();
    EXPECT_NEAR(skewed.GetVector(0).Dot(skewed.GetVector(1)), 0, 1e-8);
    EXPECT_NEAR(skewed.GetVector(0).Length(), 1, 0.01);
    MMatrix leftHanded({1, 0, 0}, {0, 1, 0}, {0, 0, -1});
    leftHanded.Orthogonalize();
    EXPECT_NEAR(leftHanded.FNorm(), 0, 1e-8);
}

TEST(Matrix, EqualityHasItsTolerances) {
    const MMatrix a;
    MMatrix b;
    b.SetScale(1 + 1e-9);
    EXPECT_EQ(a, b);
    b.SetScale(1 + 1e-7);
    EXPECT_NE(a, b);
    EXPECT_TRUE(a.EqualMatrix(b));
    b.SetTranslation(0, 0, 2e-4);
    EXPECT_FALSE(a.EqualMatrix(b));
    EXPECT_TRUE(a.EqualRotation(b));
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
    EXPECT_EQ(approach({1, -1, 3}, {1, 1, 3}), Vector(1, 0, 1.5));
    EXPECT_EQ(distance, 3);
    EXPECT_EQ(onSecond - onFirst, Vector(0, 0, 3));
    for (const Vector& q :
         {Vector(3, -1, 0), Vector(-1, -1, 0), Vector(1, 1, 0), Vector(1, -3, 0)}) {
        approach(q, q + Vector(0, 2, 0));
        EXPECT_DOUBLE_EQ(distance, -0.0001);
    }
    // An oblique line: y = x - 1.5.
    EXPECT_NEAR_VECTOR(approach({0.5, -1, 0}, {3.5, 2, 0}), Vector(1.5, 0, 0), 1e-12);
    EXPECT_NEAR(distance, 0, 1e-12);
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
