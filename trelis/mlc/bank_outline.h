#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/edge_point.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

namespace NMLC {

/// Replaces `outline` by the polygon that the leaves of one bank cover, in millimetres of the beam
/// frame: two points for the tip of each leaf from the first pair to the last, then two for the
/// back of each leaf, 5000 mm behind its position, from the last to the first. Tips are drawn
/// `tipOffset` / 2 further back than the positions. Leaf edges are multiplied by `edgeScale`; where
/// neighbours end at different positions, the protruding leaf is widened by the tongue of this type
/// of collimator (0 to 0.5 mm, not scaled), and of two at the same position the first is, intended,
/// narrowed. `positions` has as many pairs as the configuration.
TRELIS_API void GetBankOutline(const LeafPositions& positions,
                               const LeafConfiguration& configuration, double tipOffset, Bank bank,
                               std::vector<EdgePoint>& outline, double edgeScale);

}  // namespace NMLC
