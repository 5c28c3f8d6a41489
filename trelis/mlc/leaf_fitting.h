#pragma once

#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

namespace NMLC {

/// Opens the leaf pairs of a collimator to an aperture and parks the pairs that it misses.
///
/// `outlines` are outlines and holes in the plan plane of the collimator, in millimetres. The strip
/// of a pair is its edges, each 1e-6 mm inwards, times `edgeScale`, which maps leaf widths into the
/// plane of the outlines; positions are not scaled. Lines along the leaves sample the strip every
/// `sampleStep` (in the plane of the outlines) from its lower edge on and at its upper edge; a step
/// above half the strip becomes that half less 1e-4, and where steps do not advance, or are not
/// above 0, the two edges are all. Each line that crosses an outline gives its outermost crossings,
/// so holes and concavities along a leaf stay open. `NVector::CalculateIntersectionPoint` finds the
/// crossings: edges that end on a line count, edges within 0.18 degrees of parallel never do.
///
/// A pair opens from the largest of the left to the smallest of the right crossings (`Inside`), the
/// other way round (`Outside`), or as the middle line does in ascending order of y, the mean of two
/// for an even number (`Middle`). Leaf limits are not respected, and `Inside` may leave the leaves
/// of a pair crossed where the outline is steeply slanted: both are for validation to find. Pairs
/// that no line opened, or by less than 0.005 mm, are parked as by `ParkClosedLeaves`.
///
/// A dual-layer collimator is fitted with its equivalent single layer of 5 mm, and the result
/// converted to the two layers. `result` gets as many pairs as the configuration, or 57. Throws
/// std::runtime_error for a meeting point that does not exist: of open leaves at the first pair
/// that is crossed, with every pair of a single layer at 0; of closed leaves after fitting.
TRELIS_API void FitLeaves(const Glyph& outlines, const LeafConfiguration& configuration,
                          OpenLeavesMeetingPoint openLeaves, ClosedLeavesMeetingPoint closedLeaves,
                          LeafPositions& result, double edgeScale, double sampleStep);

}  // namespace NMLC
