#include <trelis/foundation/line_geometry.h>

#include <algorithm>

namespace NVector {

namespace {

using Vector = MVectorTemplate<double>;

/// Lines are parallel when the squared sine of their angle is below this.
constexpr double kParallelLimit = 1e-5;
constexpr double kParallelDistance = 1e8;

/// Keeps the negated distance of lines that touch outside their segments below 0.
constexpr double kOutsideOffset = 0.0001;

}  // namespace

Vector CalculateIntersectionPoint(const Vector& p1, const Vector& p2, const Vector& q1,
                                  const Vector& q2, double& distance, Vector* closestOnFirst,
                                  Vector* closestOnSecond) {
    const Vector d1 = (p2 - p1).Normalized();
    const Vector d2 = (q2 - q1).Normalized();
    const Vector w = q1 - p1;
    const double beta = -d1.Dot(d2);
    const double squaredSine = 1.0 - beta * beta;
    if (squaredSine < kParallelLimit) {
        const Vector first = p1;  // distance may be one of its components
        distance = kParallelDistance;
        return first;
    }

    const double g = 1.0 / squaredSine;
    const double s = (beta * w.Dot(d2) + w.Dot(d1)) * g;
    const double u = (-beta * w.Dot(d1) - w.Dot(d2)) * g;
    const bool outsideSegments =
        s < 0.0 || u < 0.0 || s > (p2 - p1).Length() || u > (q2 - q1).Length();
    const Vector p = p1 + s * d1;
    const Vector q = q1 + u * d2;
    distance = (p - q).Length();
    if (outsideSegments) {
        distance = -distance - kOutsideOffset;
    }
    if (closestOnFirst != nullptr) {
        *closestOnFirst = p;
    }
    if (closestOnSecond != nullptr) {
        *closestOnSecond = q;
    }
    const Vector sum = p + q;
    return {sum.x / 2.0, sum.y / 2.0, sum.z / 2.0};
}

double DistanceFromLineSegment(const Vector& p, const Vector& a, const Vector& b) {
    const Vector direction = b - a;
    const double toStart = (a - p).Length();
    const bool footOnSegment = (p - a).Dot(direction) >= 0.0 && (p - b).Dot(a - b) >= 0.0;
    if (!footOnSegment) {
        return std::min(toStart, (b - p).Length());
    }
    if (direction.LengthSquared() == 0.0) {
        return toStart;
    }
    return (p - a).Cross(direction).Length() / direction.Length();
}

}  // namespace NVector
