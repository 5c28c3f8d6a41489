#include <trelis/mlc/detail/leaf_extremes.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace NMLC::detail {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// What an extreme over tips is when no pair takes part, or its negative; millimetres.
constexpr double kNoTip = 10000.0;

double orNone(double extreme, double none) { return std::isinf(extreme) ? none : extreme; }

double tipAboveMinimum(const LeafPair& leaves, const LeafPositionPair& pair, Bank bank) {
    return std::max(static_cast<double>(pair.GetPosition(bank)),
                    leaves.GetLeaf(bank).GetMinPlanPosition());
}

double tipBelowMaximum(const LeafPair& leaves, const LeafPositionPair& pair, Bank bank) {
    return std::min(static_cast<double>(pair.GetPosition(bank)),
                    leaves.GetLeaf(bank).GetMaxPlanPosition());
}

/// Calls visit(leaves, pair) for every leaf pair and its positions.
template <typename Visitor>
void forEachPair(const LeafConfiguration& configuration, const LeafPositions& positions,
                 const Visitor& visit) {
    const int count = std::min(configuration.GetLeafPairCount(), positions.GetLeafPairCount());
    for (int i = 0; i < count; ++i) {
        visit(configuration.GetLeafPair(i), positions.GetLeafPair(static_cast<std::size_t>(i)));
    }
}

}  // namespace

double leftEdgeOfAperture(const LeafConfiguration& configuration, const LeafPositions& positions) {
    double edge = kInfinity;
    forEachPair(configuration, positions,
                [&](const LeafPair& leaves, const LeafPositionPair& pair) {
                    if (!pair.IsClosed()) {
                        edge = std::min(edge, tipAboveMinimum(leaves, pair, Bank::Left));
                    }
                });
    return orNone(edge, kNoTip);
}

double rightEdgeOfAperture(const LeafConfiguration& configuration, const LeafPositions& positions) {
    double edge = -kInfinity;
    forEachPair(configuration, positions,
                [&](const LeafPair& leaves, const LeafPositionPair& pair) {
                    if (!pair.IsClosed()) {
                        edge = std::max(edge, tipBelowMaximum(leaves, pair, Bank::Right));
                    }
                });
    return orNone(edge, -kNoTip);
}

double lowestTip(const LeafConfiguration& configuration, const LeafPositions& positions,
                 Bank bank) {
    double lowest = kInfinity;
    forEachPair(configuration, positions,
                [&](const LeafPair& leaves, const LeafPositionPair& pair) {
                    lowest = std::min(lowest, tipAboveMinimum(leaves, pair, bank));
                });
    return orNone(lowest, kNoTip);
}

double highestTip(const LeafConfiguration& configuration, const LeafPositions& positions,
                  Bank bank) {
    double highest = -kInfinity;
    forEachPair(configuration, positions,
                [&](const LeafPair& leaves, const LeafPositionPair& pair) {
                    highest = std::max(highest, tipBelowMaximum(leaves, pair, bank));
                });
    return orNone(highest, -kNoTip);
}

double lowestMaximum(const LeafConfiguration& configuration, Bank bank) {
    double lowest = kInfinity;
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        const Leaf& leaf = configuration.GetLeafPair(i).GetLeaf(bank);
        lowest = std::min(lowest, leaf.GetMaxPlanPosition());
    }
    return lowest;
}

double highestMinimum(const LeafConfiguration& configuration, Bank bank) {
    double highest = -kInfinity;
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        const Leaf& leaf = configuration.GetLeafPair(i).GetLeaf(bank);
        highest = std::max(highest, leaf.GetMinPlanPosition());
    }
    return highest;
}

}  // namespace NMLC::detail
