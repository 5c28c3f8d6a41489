#pragma once

#include <vector>

#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/foundation/edge_point.h>

/// Measures and tests of planar contours. A contour is closed by the edge from its last point back
/// to its first, which is not repeated, unless a function says that it takes an open polyline. All
/// points of a call are in one unit and so are the results; the absolute tolerances are made for
/// millimetres and voxels. An output may be the same object as an input. Pure functions, callable
/// from any thread.
namespace NEdgePointAlgorithms {

/// The length of a vector.
TRELIS_API double length(const EdgePoint& v);

/// The length of an open polyline, without the edge from the last point to the first; 0 for fewer
/// than 2 points.
TRELIS_API double length(const std::vector<EdgePoint>& c);

/// The area of a closed contour of either orientation, not negative; where it crosses itself, lobes
/// of opposite orientation cancel. 0 for fewer than 3 points.
TRELIS_API double area(const std::vector<EdgePoint>& c);

/// The vector turned by `angle` radians, clockwise where y points up.
TRELIS_API EdgePoint rotate(const EdgePoint& p, double angle);

/// Writes the point of the segment a-b closest to p to `out`; a for a segment shorter than 1e-8.
TRELIS_API void closestPointOnLineSegment(const EdgePoint& p, const EdgePoint& a,
                                          const EdgePoint& b, EdgePoint& out);

/// Writes the point of the closed contour closest to p to `out`, of equally close ones that on the
/// earliest edge. Throws `std::invalid_argument` for an empty contour.
TRELIS_API void closestPointOnContour(const EdgePoint& p, const std::vector<EdgePoint>& c,
                                      EdgePoint& out);

/// Whether the segments a1-a2 and b1-b2 meet; if so, the point where they do is written to `out`,
/// which else is left alone. Touching counts, up to 1e-13 of a segment beyond its ends. Segments
/// whose cross product is below 1e-12, parallel or very short ones, never meet, not even when they
/// overlap.
TRELIS_API bool intersectionPoint(const EdgePoint& a1, const EdgePoint& a2, const EdgePoint& b1,
                                  const EdgePoint& b2, EdgePoint& out);

/// Whether any edge of the closed contour meets any edge of the open polyline, by
/// `intersectionPoint`. The order of the arguments matters: the second has no edge from its last
/// point to its first. Time about n log n in the points of both, for outlines of any kind that do
/// not run over each other.
TRELIS_API bool areContoursIntersecting(const std::vector<EdgePoint>& closed,
                                        const std::vector<EdgePoint>& open);

/// Whether any two edges of the closed contour that do not follow each other meet, by
/// `intersectionPoint`. A contour that retraces itself from a shared point is not found, and a
/// repeated point makes the edges beside it touch: clean up first
/// (`removeZeroLengthSegmentsFromContour`). Time as `areContoursIntersecting`.
TRELIS_API bool isSelfIntersecting(const std::vector<EdgePoint>& c);

/// Whether the closed contour, of either orientation, winds around p: at least once, in sum. On an
/// edge the answer may be either. A vertex within 1e-15 of p is taken to lie in the direction of x.
/// False for fewer than 3 points or a point that is not a number.
TRELIS_API bool isInside(const EdgePoint& p, const std::vector<EdgePoint>& c);

/// Whether the contour at `index` is a hole: its first point is inside an odd number of the other
/// contours of the glyph. False for an empty contour. `Crash` when there is no such index.
TRELIS_API bool isHole(std::vector<std::vector<EdgePoint>> glyph, int index);

/// Whether each contour of `inner` that is not empty has its first point inside some contour of
/// `outer` that does not intersect it. `areContoursIntersecting` takes the outer contour as open.
/// True for an inner glyph without contours.
TRELIS_API bool outerOutlineContainsInnerOutline(const std::vector<std::vector<EdgePoint>>& outer,
                                                 const std::vector<std::vector<EdgePoint>>& inner);

/// Removes each point within 1e-6 of the last one kept, then the last one when it is within 1e-6
/// of the first. A contour that is nowhere larger becomes empty.
TRELIS_API void removeZeroLengthSegmentsFromContour(std::vector<EdgePoint>& c);

/// Writes points that lie at equal distances along the closed contour, starting with its first
/// point: perimeter / spacing of them, rounded, but at least 2. A sample that falls on an edge
/// shorter than 1e-6 moves to the next longer one. A contour of fewer than 2 points or of a
/// perimeter below `spacing` is copied. `Crash` when that number is none or above an `int`: for a
/// spacing of 0 or one too small, or coordinates that are not numbers or too large.
TRELIS_API void resampleLoopedContour(const std::vector<EdgePoint>& in, double spacing,
                                      std::vector<EdgePoint>& out);

}  // namespace NEdgePointAlgorithms

/// The number of contours of the glyph, each closed, that the open polyline c meets
/// (`areContoursIntersecting`).
TRELIS_API int countIntersectingContours(const std::vector<EdgePoint>& c,
                                         const std::vector<std::vector<EdgePoint>>& glyph);
