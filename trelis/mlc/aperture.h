#pragma once

#include <trelis/export.h>
#include <trelis/mlc/collimator.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

namespace NMLC {

/// The bounding rectangle of the aperture within the jaws, in millimetres: of the strips of the
/// pairs that are open by `minimumGap` + 0.01 or more (or overlap by as much) and not covered by a
/// jaw, each from its left to its right leaf, clipped to the jaws along the leaf travel. The jaws
/// across select pairs as a whole. Leaves travel along x or, if the configuration is parallel with
/// the Y jaws, along y. Two opposite jaws count only if both are defined, no NaN. Returns whether
/// there is such a pair; without one all four outputs are 0. Ends the process with std::terminate
/// unless there are as many positions as leaf pairs.
TRELIS_API bool GetApertureExtents(const LeafConfiguration& configuration,
                                   const LeafPositions& positions,
                                   const NControlPoint::Collimator& jaws, float minimumGap,
                                   float& xMin, float& xMax, float& yMin, float& yMax);

/// The indices of the first and the last pair that is not closed, both -1 when all are.
TRELIS_API void GetApertureStartAndEndLeafPairs(const LeafPositions& positions, int& first,
                                                int& last);

/// Mirrors the aperture about 0 along the leaf travel: every pair (a, b) becomes (-b, -a).
TRELIS_API void MirrorX(LeafPositions& positions);

/// Mirrors the aperture across the leaf travel: reverses the order of the pairs.
TRELIS_API void MirrorY(LeafPositions& positions);

}  // namespace NMLC
