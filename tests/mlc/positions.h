#pragma once

#include <utility>
#include <vector>

#include <tests/support/vectors.h>
#include <trelis/mlc/leaf_positions.h>

/// `Left` and `Right` of each pair, for tables and exact comparison.
using Tips = std::vector<std::pair<float, float>>;

inline NMLC::LeafPositions positionsAt(const Tips& tips) {
    NMLC::LeafPositions positions(static_cast<int>(tips.size()));
    for (std::size_t i = 0; i < tips.size(); ++i) {
        positions.GetLeafPair(i).SetPosition(NMLC::Bank::Left, tips[i].first);
        positions.GetLeafPair(i).SetPosition(NMLC::Bank::Right, tips[i].second);
    }
    return positions;
}

inline Tips tipsOf(const NMLC::LeafPositions& positions) {
    Tips tips;
    for (const NMLC::LeafPositionPair& pair : positions) {
        tips.emplace_back(pair.GetPosition(NMLC::Bank::Left), pair.GetPosition(NMLC::Bank::Right));
    }
    return tips;
}
