#pragma once

#include <trelis/export.h>
#include <trelis/mlc/collimator.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

/// Collimator jaws are brought into agreement with the leaves, or leaves with the jaws. Positions
/// are millimetres in the plan plane; what a rule misses by 0.05 mm or less stays. "Along" are the
/// jaws that move along the leaf travel (X1 and X2, or Y1 and Y2 if `ParallelWithYJaws()`),
/// "across" the others. The aperture reaches from the leftmost to the rightmost tip of the open
/// pairs, as far as the leaves' limits let these be. Each function returns whether it set
/// anything, be it to its old value. A jaw that is a NaN (undefined) stays one. Configuration and
/// positions have the same number of pairs. Nothing is thrown.
namespace NMLC {

/// Moves each jaw to its lowest position, then to its highest, where it is beyond, without
/// tolerance. Where the limits cross, the highest wins; this differs from below, intended.
TRELIS_API bool CorrectCollimatorJawAgainstOperatingLimits(
    const NControlPoint::CollimatorLimits& limits, NControlPoint::Collimator& jaws);

/// Corrects the jaws. With `openAlongJaws`, and always for types 7 and 8, along jaws that reach
/// into the aperture are opened to `xJawMargin` beyond it (`yJawMargin` for leaves along Y). Then,
/// by type:
///   - 0: across jaws close to the `acrossJawLimit`. Then, for leaves along X only: if one of them
///     is opened beyond the `shieldedHalfWidth` and any leaf pair is open, the along jaws close to
///     `alongJawOverlap` behind the most retracted leaf tip, those of closed pairs included; where
///     their limits do not let them, or with `keepAlongJawsType0`, the across jaws close to the
///     `shieldedHalfWidth`. Lastly no leaf is left exposed by more than `GetMaxLeafExposure`.
///   - 3 and 5: the Y jaws close to the open pairs, of which those at the minimum leaf gap do not
///     count; without `keepAlongJawsType3And5` the X jaws open to the aperture (where they do)
///     with `xJawMargin`.
///   - 6: the Y jaws close to the pairs that are open by more than the minimum leaf gap.
///   - 7 and 8: across jaws that have crossed are exchanged, and open to the open pairs.
/// No jaw moves beyond its limits, of which the lowest wins where they cross, but by the rule of
/// type 0 and the exchange of types 7 and 8.
TRELIS_API bool CorrectCollimatorJawPositions(const LeafConfiguration& configuration,
                                              const LeafPositions& positions,
                                              const NControlPoint::CollimatorLimits& limits,
                                              NControlPoint::Collimator& jaws,
                                              bool keepAlongJawsType0, bool keepAlongJawsType3And5,
                                              bool openAlongJaws);

/// For type 4 only: moves each leaf tip of the open pairs between the Y jaws that is not inside
/// the X jaws onto its X jaw. The lower edge tells whether a pair is between the Y jaws, in the
/// upper half of the leaf bank too, intended. An X jaw that is a NaN moves no leaf. The limits are
/// not used.
TRELIS_API bool CorrectCollimatorJawPositionsElektaBM(const LeafConfiguration& configuration,
                                                      LeafPositions& positions,
                                                      const NControlPoint::CollimatorLimits& limits,
                                                      const NControlPoint::Collimator& jaws);

}  // namespace NMLC
