#include <trelis/mlc/jaw_correction.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <trelis/foundation/undefined.h>
#include <trelis/mlc/detail/leaf_extremes.h>

namespace NMLC {

namespace {

using NControlPoint::Collimator;
using NControlPoint::CollimatorLimits;
using NControlPoint::JawLimits;

/// Millimetres.
constexpr double kTolerance = 0.05;

/// No comparison with it holds, so no jaw moves to it.
constexpr double kUndefined = trelis::Undefined<double>::value;

/// A jaw that is corrected, and where it may stand.
struct Jaw {
    double& position;
    JawLimits limits;

    /// As far as the limits let it; where they cross, the lowest wins. Returns true.
    bool moveTo(double target) const {
        position = std::max(std::min(target, limits.highest), limits.lowest);
        return true;
    }
};

/// Two jaws that face each other.
struct JawPair {
    Jaw lower;
    Jaw upper;
};

struct Jaws {
    JawPair along;
    JawPair across;
};

JawPair withoutLimits(const JawPair& jaws) {
    return {{jaws.lower.position, {}}, {jaws.upper.position, {}}};
}

/// An interval along the leaf travel or across the leaves.
struct Extent {
    double lower;
    double upper;
};

bool exceeds(double a, double b) { return a - b > kTolerance; }

bool isOpenBeyond(const Extent& extent, const JawPair& jaws) {
    return exceeds(extent.lower, jaws.lower.position) || exceeds(jaws.upper.position, extent.upper);
}

/// Closes jaws that are open beyond the extent.
bool closeTo(const Extent& extent, const JawPair& jaws) {
    bool changed = false;
    if (exceeds(extent.lower, jaws.lower.position)) {
        changed = jaws.lower.moveTo(extent.lower);
    }
    if (exceeds(jaws.upper.position, extent.upper)) {
        changed = jaws.upper.moveTo(extent.upper);
    }
    return changed;
}

/// Opens jaws that cut into the extent, to `margin` beyond it.
bool openTo(const Extent& extent, double margin, const JawPair& jaws) {
    bool changed = false;
    if (exceeds(jaws.lower.position, extent.lower)) {
        changed = jaws.lower.moveTo(extent.lower - margin);
    }
    if (exceeds(extent.upper, jaws.upper.position)) {
        changed = jaws.upper.moveTo(extent.upper + margin);
    }
    return changed;
}

Extent aperture(const LeafConfiguration& configuration, const LeafPositions& positions) {
    return {detail::leftEdgeOfAperture(configuration, positions),
            detail::rightEdgeOfAperture(configuration, positions)};
}

/// From the lower edge of the first to the upper edge of the last pair with isOpen(pair);
/// undefined when there is none.
template <typename Predicate>
Extent openPairs(const LeafConfiguration& configuration, const LeafPositions& positions,
                 const Predicate& isOpen) {
    const detail::PairRange range = detail::findFirstAndLast(positions, isOpen);
    if (range.first < 0 || range.last >= configuration.GetLeafPairCount()) {
        return {kUndefined, kUndefined};
    }
    return {configuration.GetLeafPair(range.first).GetLowerEdge(),
            configuration.GetLeafPair(range.last).GetUpperEdge()};
}

/// The same for pairs that are not closed with a gap.
Extent openPairsWithGap(const LeafConfiguration& configuration, const LeafPositions& positions,
                        float gap) {
    return openPairs(configuration, positions, [&](const LeafPositionPair& pair) {
        return !pair.IsClosed(static_cast<double>(gap));
    });
}

/// Compares as `openTo` but for rounding, which decides next to the tolerance.
bool openToAperture(const Extent& aperture, double margin, const JawPair& jaws) {
    bool changed = false;
    if (jaws.lower.position > aperture.lower + kTolerance) {
        changed = jaws.lower.moveTo(aperture.lower - margin);
    }
    if (aperture.upper - kTolerance > jaws.upper.position) {
        changed = jaws.upper.moveTo(aperture.upper + margin);
    }
    return changed;
}

/// The most retracted tips, with the overlap of the jaws.
Extent retractedTips(const LeafConfiguration& configuration, const LeafPositions& positions) {
    const auto overlap = static_cast<double>(configuration.alongJawOverlap);
    return {detail::lowestTip(configuration, positions, Bank::Left) - overlap,
            detail::highestTip(configuration, positions, Bank::Right) + overlap};
}

/// As far as the most extended leaves still reach under the jaws.
Extent exposureLimits(const LeafConfiguration& configuration, const LeafPositions& positions) {
    return {detail::highestTip(configuration, positions, Bank::Left) -
                static_cast<double>(configuration.GetMaxLeafExposure(Bank::Left)),
            detail::lowestTip(configuration, positions, Bank::Right) +
                static_cast<double>(configuration.GetMaxLeafExposure(Bank::Right))};
}

/// Closes jaws that are open beyond the extent, the upper one first. Returns false at the first
/// whose limits are against it.
bool tryToCloseTo(const Extent& extent, const JawPair& jaws, bool& changed) {
    if (exceeds(jaws.upper.position, extent.upper)) {
        if (!(extent.upper > jaws.upper.limits.lowest)) {
            return false;
        }
        jaws.upper.position = extent.upper;
        changed = true;
    }
    if (exceeds(extent.lower, jaws.lower.position)) {
        if (!(extent.lower < jaws.lower.limits.highest)) {
            return false;
        }
        jaws.lower.position = extent.lower;
        changed = true;
    }
    return true;
}

/// The limits of the jaws decide only whether the along jaws close, intended.
bool correctGeneric(const LeafConfiguration& configuration, const LeafPositions& positions,
                    bool keepAlongJaws, const Jaws& jaws) {
    const JawPair across = withoutLimits(jaws.across);
    const auto limit = static_cast<double>(configuration.acrossJawLimit);
    bool changed = configuration.limitAcrossJaws && closeTo({-limit, limit}, across);
    if (configuration.ParallelWithYJaws()) {
        return changed;
    }
    const auto halfWidth = static_cast<double>(configuration.shieldedHalfWidth);
    const Extent shielded = {-halfWidth, halfWidth};
    if (!positions.IsClosed() && isOpenBeyond(shielded, across)) {
        const Extent tips = retractedTips(configuration, positions);
        if (keepAlongJaws || !tryToCloseTo(tips, jaws.along, changed)) {
            changed |= closeTo(shielded, across);
        }
    }
    changed |= closeTo(exposureLimits(configuration, positions), withoutLimits(jaws.along));
    return changed;
}

bool correctType3And5(const LeafConfiguration& configuration, const LeafPositions& positions,
                      bool keepXJaws, const JawPair& xJaws, const JawPair& yJaws) {
    const auto minimumGap = static_cast<double>(configuration.GetMinimumLeafGap());
    const Extent across = openPairs(configuration, positions, [&](const LeafPositionPair& pair) {
        const bool isParked =
            std::abs(pair.GetGap() - minimumGap) < static_cast<double>(LeafPositionEpsilon);
        return !pair.IsClosed() && !isParked;
    });
    bool changed = false;
    if (yJaws.lower.position < across.lower - kTolerance) {
        changed = yJaws.lower.moveTo(across.lower);
    }
    if (across.upper + kTolerance < yJaws.upper.position) {
        changed = yJaws.upper.moveTo(across.upper);
    }
    if (!keepXJaws) {
        const Extent along = aperture(configuration, positions);
        changed |= openTo(along, static_cast<double>(configuration.xJawMargin), xJaws);
    }
    return changed;
}

bool correctType6(const LeafConfiguration& configuration, const LeafPositions& positions,
                  const JawPair& yJaws) {
    const float gap = configuration.GetMinimumLeafGap();
    return closeTo(openPairsWithGap(configuration, positions, gap), yJaws);
}

bool correctType7And8(const LeafConfiguration& configuration, const LeafPositions& positions,
                      const JawPair& acrossJaws) {
    const bool haveCrossed = exceeds(acrossJaws.lower.position, acrossJaws.upper.position);
    if (haveCrossed) {
        std::swap(acrossJaws.lower.position, acrossJaws.upper.position);
    }
    const float gap = std::max(configuration.GetMinimumLeafGap(), LeafPositionEpsilon);
    const Extent open = openPairsWithGap(configuration, positions, gap);
    return openTo(open, 0.0, acrossJaws) || haveCrossed;
}

/// Here the highest position wins where the limits cross, intended.
bool returnToLimits(double& jaw, const JawLimits& limits) {
    bool changed = false;
    if (limits.lowest > jaw) {
        jaw = limits.lowest;
        changed = true;
    }
    if (jaw > limits.highest) {
        jaw = limits.highest;
        changed = true;
    }
    return changed;
}

}  // namespace

bool CorrectCollimatorJawAgainstOperatingLimits(const CollimatorLimits& limits, Collimator& jaws) {
    bool changed = returnToLimits(jaws.X1, limits.X1);
    changed |= returnToLimits(jaws.X2, limits.X2);
    changed |= returnToLimits(jaws.Y1, limits.Y1);
    changed |= returnToLimits(jaws.Y2, limits.Y2);
    return changed;
}

bool CorrectCollimatorJawPositions(const LeafConfiguration& configuration,
                                   const LeafPositions& positions, const CollimatorLimits& limits,
                                   Collimator& jaws, bool keepAlongJawsType0,
                                   bool keepAlongJawsType3And5, bool openAlongJaws) {
    const JawPair x = {{jaws.X1, limits.X1}, {jaws.X2, limits.X2}};
    const JawPair y = {{jaws.Y1, limits.Y1}, {jaws.Y2, limits.Y2}};
    const bool alongY = configuration.ParallelWithYJaws();
    const Jaws oriented = alongY ? Jaws{y, x} : Jaws{x, y};
    const MLCType type = configuration.GetType();
    bool changed = false;
    if (openAlongJaws || type == MLCType::Type7 || type == MLCType::Type8) {
        const float margin = alongY ? configuration.yJawMargin : configuration.xJawMargin;
        changed = openToAperture(aperture(configuration, positions), static_cast<double>(margin),
                                 oriented.along);
    }
    switch (type) {
        case MLCType::Generic:
            changed |= correctGeneric(configuration, positions, keepAlongJawsType0, oriented);
            break;
        // These have the same jaws whatever the orientation, intended.
        case MLCType::Type3:
        case MLCType::Type5:
            changed |= correctType3And5(configuration, positions, keepAlongJawsType3And5, x, y);
            break;
        case MLCType::Type6:
            changed |= correctType6(configuration, positions, y);
            break;
        case MLCType::Type7:
        case MLCType::Type8:
            changed |= correctType7And8(configuration, positions, oriented.across);
            break;
        default:
            break;
    }
    return changed;
}

bool CorrectCollimatorJawPositionsElektaBM(const LeafConfiguration& configuration,
                                           LeafPositions& positions,
                                           const CollimatorLimits& /*limits*/,
                                           const Collimator& jaws) {
    if (configuration.GetType() != MLCType::Type4) {
        return false;
    }
    bool changed = false;
    const int count = configuration.GetLeafPairCount();
    for (int i = 0; i < std::min(count, positions.GetLeafPairCount()); ++i) {
        LeafPositionPair& pair = positions.GetLeafPair(static_cast<std::size_t>(i));
        const double lowerEdge = configuration.GetLeafPair(i).GetLowerEdge();
        const double insideAcross = i < count / 2 ? lowerEdge - jaws.Y1 : jaws.Y2 - lowerEdge;
        if (!(insideAcross > kTolerance) || pair.IsClosed()) {
            continue;
        }
        const auto moveOnto = [&](Bank bank, double jaw, double inside) {
            if (!(inside > kTolerance) && !std::isnan(jaw)) {
                pair.SetPosition(bank, static_cast<float>(jaw));
                changed = true;
            }
        };
        moveOnto(Bank::Right, jaws.X2,
                 jaws.X2 - static_cast<double>(pair.GetPosition(Bank::Right)));
        moveOnto(Bank::Left, jaws.X1, static_cast<double>(pair.GetPosition(Bank::Left)) - jaws.X1);
    }
    return changed;
}

}  // namespace NMLC
