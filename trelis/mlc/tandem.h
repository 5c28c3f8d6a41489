#pragma once

#include <array>
#include <vector>

#include <trelis/export.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

/// The dual-layer family: 28 distal leaf pairs (indices 0 to 27) above 29 proximal ones (28 to 56),
/// offset by half a leaf across the field. Each strip of 5 mm lies under one pair of either layer,
/// and the beam passes where both are open. The functions do not check how many pairs they are
/// given, 57 in two layers or 56 in the equivalent single layer.
namespace NMLC::Tandem {

/// The leaf pairs of the layers, in order.
extern TRELIS_API const std::array<int, 28> s_distalLeafPairs;
extern TRELIS_API const std::array<int, 29> s_proximalLeafPairs;

/// Millimetres.
constexpr double GetDynamicLeafGap() { return 0.5; }
constexpr double GetInterLayerOffset() { return 20.0; }

TRELIS_API bool IsTandem(const LeafConfiguration& configuration);
TRELIS_API bool IsTandem1(const LeafConfiguration& configuration);
TRELIS_API bool IsTandem2(const LeafConfiguration& configuration);

/// In which layer a leaf pair is; in none when there is no such pair.
TRELIS_API bool IsDistal(int pair);
TRELIS_API bool IsProximal(int pair);

/// The positions of one layer, 28 or 29 pairs.
TRELIS_API void GetDistalLeafPositions(const LeafPositions& all, LeafPositions& distal);
TRELIS_API void GetProximalLeafPositions(const LeafPositions& all, LeafPositions& proximal);

/// The pairs of the other layer, in ascending order, that share a strip with the pair.
TRELIS_API void GetOverlappingLeafPairs(int pair, std::vector<int>& result);

/// Whether the opening of a pair overlaps with that of a pair of the other layer, so that beam
/// passes. Gaps count as closed up to the minimum leaf gap plus 0.015 mm.
TRELIS_API bool HasOpening(const LeafConfiguration& configuration, const LeafPositions& positions,
                           int pair);

/// Two-layer positions for an aperture fitted to 56 pairs of 5 mm. A distal pair takes the union of
/// its two strips' openings. A proximal pair takes that of its own strips (`isTandem2`), or the
/// union of the distal pairs it overlaps, closed ones included; there, intended, the first pair
/// repeats the second.
TRELIS_API void Convert5mmLeavesToTwoLevels(const LeafPositions& fiveMm, bool isTandem2,
                                            LeafPositions& twoLevels);

/// The opening left by both layers in each of the 56 strips. Where none is left, the pair is closed
/// in the middle of the overlap.
TRELIS_API void ConvertTwoLevelsTo5mmLeaves(const LeafPositions& twoLevels, LeafPositions& fiveMm);

}  // namespace NMLC::Tandem
