#pragma once

#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>

/// Extremes over the leaf pairs of a configuration and its positions. Tips count where the leaf's
/// effective limit lets them be. Of two different counts of pairs the smaller one counts.
namespace NMLC::detail {

/// The leftmost tip of bank `Left` of the open pairs, no tip left of its minimum; 10000 when none
/// is open.
double leftEdgeOfAperture(const LeafConfiguration& configuration, const LeafPositions& positions);

/// The rightmost tip of bank `Right` of the open pairs, no tip right of its maximum; -10000 when
/// none is open.
double rightEdgeOfAperture(const LeafConfiguration& configuration, const LeafPositions& positions);

/// The lowest tip of a bank, no tip below its minimum, over all pairs; 10000 for no pairs.
double lowestTip(const LeafConfiguration& configuration, const LeafPositions& positions, Bank bank);

/// The highest tip of a bank, no tip above its maximum, over all pairs; -10000 for no pairs.
double highestTip(const LeafConfiguration& configuration, const LeafPositions& positions,
                  Bank bank);

/// The smallest maximum and the largest minimum of a bank's effective limits, over all pairs;
/// infinity and -infinity for no pairs.
double lowestMaximum(const LeafConfiguration& configuration, Bank bank);
double highestMinimum(const LeafConfiguration& configuration, Bank bank);

/// The indices of a first and a last leaf pair, -1 for none.
struct PairRange {
    int first = -1;
    int last = -1;
};

/// The first and the last pair for which `isWanted(pair)` holds.
template <typename Predicate>
PairRange findFirstAndLast(const LeafPositions& positions, const Predicate& isWanted) {
    PairRange range;
    int i = 0;
    for (const LeafPositionPair& pair : positions) {
        if (isWanted(pair)) {
            range.first = range.first < 0 ? i : range.first;
            range.last = i;
        }
        ++i;
    }
    return range;
}

}  // namespace NMLC::detail
