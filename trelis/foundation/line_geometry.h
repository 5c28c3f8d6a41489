#pragma once

#include <trelis/export.h>
#include <trelis/foundation/vector.h>

namespace NVector {

/// The closest approach of the lines p1-p2 and q1-q2, each given by two of its points and unlimited
/// to both sides. Returns the middle between the two closest points and writes these to the
/// pointers that are not null. `distance` becomes their distance d, or -d - 0.0001 when one of them
/// lies outside its segment p1-p2 or q1-q2. For lines whose directions' squared sine is below 1e-5
/// (parallel) `distance` is 1e8, the result p1, and neither closest point is written. Two equal
/// points give a line along X.
TRELIS_API MVectorTemplate<double> CalculateIntersectionPoint(
    const MVectorTemplate<double>& p1, const MVectorTemplate<double>& p2,
    const MVectorTemplate<double>& q1, const MVectorTemplate<double>& q2, double& distance,
    MVectorTemplate<double>* closestOnFirst, MVectorTemplate<double>* closestOnSecond);

/// The distance of point p from the segment a-b, which may be a single point.
TRELIS_API double DistanceFromLineSegment(const MVectorTemplate<double>& p,
                                          const MVectorTemplate<double>& a,
                                          const MVectorTemplate<double>& b);

}  // namespace NVector
