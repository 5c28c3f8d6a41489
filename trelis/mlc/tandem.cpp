#include <trelis/mlc/tandem.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace NMLC::Tandem {

namespace {

constexpr int kDistalPairs = 28;
constexpr int kProximalPairs = 29;
constexpr int kLayerPairs = kDistalPairs + kProximalPairs;
constexpr int kStrips = kLayerPairs - 1;

template <std::size_t kCount>
constexpr std::array<int, kCount> countFrom(int first) {
    std::array<int, kCount> pairs{};
    std::iota(pairs.begin(), pairs.end(), first);
    return pairs;
}

/// Consecutive leaf pairs, `end` not included.
struct IndexRange {
    int begin;
    int end;
};

IndexRange overlappingPairs(int pair) {
    if (IsDistal(pair)) {
        return {pair + kDistalPairs, pair + kDistalPairs + 2};
    }
    if (IsProximal(pair)) {
        const int place = pair - kDistalPairs;
        return {std::max(place - 1, 0), std::min(place + 1, kDistalPairs)};
    }
    return {0, 0};
}

LeafPositions partOf(const LeafPositions& all, int firstPair, int pairCount) {
    LeafPositions part(pairCount);
    std::copy_n(all.begin() + firstPair, pairCount, part.begin());
    return part;
}

LeafPositionPair makePair(float left, float right) {
    LeafPositionPair pair;
    pair.SetPosition(Bank::Left, left);
    pair.SetPosition(Bank::Right, right);
    return pair;
}

/// The opening of both pairs together.
LeafPositionPair moreOpen(const LeafPositionPair& a, const LeafPositionPair& b) {
    return makePair(std::min(a.GetPosition(Bank::Left), b.GetPosition(Bank::Left)),
                    std::max(a.GetPosition(Bank::Right), b.GetPosition(Bank::Right)));
}

/// The opening that both pairs leave; closed in the middle where they leave none.
LeafPositionPair moreClosed(const LeafPositionPair& a, const LeafPositionPair& b) {
    const float left = std::max(a.GetPosition(Bank::Left), b.GetPosition(Bank::Left));
    const float right = std::min(a.GetPosition(Bank::Right), b.GetPosition(Bank::Right));
    LeafPositionPair pair = makePair(left, right);
    if (pair.HasCollision()) {
        pair.CloseAt(
            static_cast<float>((static_cast<double>(left) + static_cast<double>(right)) / 2.0));
    }
    return pair;
}

/// What a leaf over two neighbouring strips takes from them: of a closed strip nothing, unless both
/// are closed.
LeafPositionPair overTwoStrips(const LeafPositionPair& a, const LeafPositionPair& b) {
    if (b.IsClosed()) {
        return a;
    }
    return a.IsClosed() ? b : moreOpen(a, b);
}

/// The leaf pairs of both layers in the order of their centres, proximal ones at even places, as
/// indices of the two-layer order.
int pairAtPlace(int place) { return place % 2 == 1 ? place / 2 : kDistalPairs + place / 2; }

}  // namespace

constinit const std::array<int, kDistalPairs> s_distalLeafPairs = countFrom<kDistalPairs>(0);
constinit const std::array<int, kProximalPairs> s_proximalLeafPairs =
    countFrom<kProximalPairs>(kDistalPairs);

bool IsTandem(const LeafConfiguration& configuration) { return configuration.HasTwoLayers(); }

bool IsTandem1(const LeafConfiguration& configuration) {
    return configuration.GetType() == MLCType::Tandem1;
}

bool IsTandem2(const LeafConfiguration& configuration) {
    return configuration.GetType() == MLCType::Tandem2;
}

bool IsDistal(int pair) { return pair >= 0 && pair < kDistalPairs; }

bool IsProximal(int pair) { return pair >= kDistalPairs && pair < kLayerPairs; }

void GetDistalLeafPositions(const LeafPositions& all, LeafPositions& distal) {
    distal = partOf(all, 0, kDistalPairs);
}

void GetProximalLeafPositions(const LeafPositions& all, LeafPositions& proximal) {
    proximal = partOf(all, kDistalPairs, kProximalPairs);
}

void GetOverlappingLeafPairs(int pair, std::vector<int>& result) {
    result.clear();
    const IndexRange others = overlappingPairs(pair);
    for (int other = others.begin; other < others.end; ++other) {
        result.push_back(other);
    }
}

bool HasOpening(const LeafConfiguration& configuration, const LeafPositions& positions, int pair) {
    const double closedGap = static_cast<double>(LeafPositionEpsilon) +
                             static_cast<double>(configuration.GetMinimumLeafGap());
    const auto positionsOf = [&](int i) -> const LeafPositionPair& {
        return positions.GetLeafPair(static_cast<std::size_t>(i));
    };
    const LeafPositionPair& opening = positionsOf(pair);
    if (opening.IsClosed(closedGap)) {
        return false;
    }
    const IndexRange others = overlappingPairs(pair);
    for (int i = others.begin; i < others.end; ++i) {
        const LeafPositionPair& other = positionsOf(i);
        if (!other.IsClosed(closedGap) &&
            other.GetPosition(Bank::Right) > opening.GetPosition(Bank::Left) &&
            opening.GetPosition(Bank::Right) > other.GetPosition(Bank::Left)) {
            return true;
        }
    }
    return false;
}

void Convert5mmLeavesToTwoLevels(const LeafPositions& fiveMm, bool isTandem2,
                                 LeafPositions& twoLevels) {
    LeafPositions levels(kLayerPairs);
    const auto strip = [&](int i) { return fiveMm.begin()[std::clamp(i, 0, kStrips - 1)]; };
    const auto level = [&](int pair) -> LeafPositionPair& { return levels.begin()[pair]; };
    for (int place = 0; place < kLayerPairs; ++place) {
        level(pairAtPlace(place)) = overTwoStrips(strip(place - 1), strip(place));
    }
    if (!isTandem2) {
        for (int i = 0; i < kProximalPairs; ++i) {
            // The first pair repeats the second, intended.
            const int upper = std::max(i, 1);
            level(kDistalPairs + i) =
                moreOpen(level(upper - 1), level(std::min(upper, kDistalPairs - 1)));
        }
    }
    twoLevels = std::move(levels);
}

void ConvertTwoLevelsTo5mmLeaves(const LeafPositions& twoLevels, LeafPositions& fiveMm) {
    LeafPositions strips(kStrips);
    for (int i = 0; i < kStrips; ++i) {
        strips.begin()[i] =
            moreClosed(twoLevels.begin()[pairAtPlace(i)], twoLevels.begin()[pairAtPlace(i + 1)]);
    }
    fiveMm = std::move(strips);
}

}  // namespace NMLC::Tandem
