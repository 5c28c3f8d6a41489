#pragma once

#include <trelis/export.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

namespace NMLC {

/// Moves both leaves of every closed pair to one common point beside the aperture of the open
/// pairs (`Left`, `Right`) or in its middle (`Center`), in millimetres of the plan plane. Beside it
/// means 20 mm beyond its edge if the maximum span of the opposite bank lets leaves come so far, 10
/// mm if it reaches that, or else as far as it reaches; for `MLCType::Type4` always as far as it
/// reaches. The point never lies beyond what all leaves of the far bank can reach. Tips of open
/// leaves count where the effective limits let them be; without an open pair the aperture is taken
/// to run from 10000 to -10000.
///
/// `positions` has as many pairs as the configuration. Throws std::runtime_error for a meeting
/// point that does not exist and leaves `positions` alone then.
TRELIS_API void ParkClosedLeaves(const LeafConfiguration& configuration,
                                 ClosedLeavesMeetingPoint closedLeaves, LeafPositions& positions);

}  // namespace NMLC
