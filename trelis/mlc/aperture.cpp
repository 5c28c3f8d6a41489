#include <trelis/mlc/aperture.h>

#include <algorithm>
#include <cmath>
#include <exception>

#include <trelis/mlc/detail/leaf_extremes.h>

namespace NMLC {

namespace {

/// A gap is open from this much above the minimum gap on, in millimetres.
constexpr double kGapTolerance = 0.01;

/// The search for extents starts from plus and minus this, in millimetres.
constexpr double kSearchReach = 1e6;

/// From `low` to `high` on one axis, in millimetres.
struct Range {
    double low;
    double high;

    bool isDefined() const { return !std::isnan(low) && !std::isnan(high); }

    /// Also when they touch.
    bool isApartFrom(const Range& other) const { return high <= other.low || other.high <= low; }

    void clipTo(const Range& other) {
        low = std::max(low, other.low);
        high = std::min(high, other.high);
    }

    void extendBy(const Range& other) {
        low = std::min(low, other.low);
        high = std::max(high, other.high);
    }
};

Range openingOf(const LeafPositionPair& pair) {
    return {static_cast<double>(pair.GetPosition(Bank::Left)),
            static_cast<double>(pair.GetPosition(Bank::Right))};
}

void store(const Range& range, float& low, float& high) {
    low = static_cast<float>(range.low);
    high = static_cast<float>(range.high);
}

}  // namespace

bool GetApertureExtents(const LeafConfiguration& configuration, const LeafPositions& positions,
                        const NControlPoint::Collimator& jaws, float minimumGap, float& xMin,
                        float& xMax, float& yMin, float& yMax) {
    if (positions.GetLeafPairCount() != configuration.GetLeafPairCount()) {
        std::terminate();
    }
    const bool travelsAlongY = configuration.ParallelWithYJaws();
    const Range xJaws{jaws.X1, jaws.X2};
    const Range yJaws{jaws.Y1, jaws.Y2};
    const Range& jawsAlong = travelsAlongY ? yJaws : xJaws;
    const Range& jawsAcross = travelsAlongY ? xJaws : yJaws;

    bool hasOpenPair = false;
    Range along{kSearchReach, -kSearchReach};
    Range across = along;
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        const LeafPositionPair& pair = positions.GetLeafPair(static_cast<std::size_t>(i));
        const LeafPair& leaves = configuration.GetLeafPair(i);
        const Range strip{leaves.GetLowerEdge(), leaves.GetUpperEdge()};
        Range opening = openingOf(pair);
        const bool isOpen =
            std::abs(pair.GetGap()) >= static_cast<double>(minimumGap) + kGapTolerance;
        if (!isOpen || (jawsAcross.isDefined() && strip.isApartFrom(jawsAcross)) ||
            (jawsAlong.isDefined() && opening.isApartFrom(jawsAlong))) {
            continue;
        }
        if (jawsAlong.isDefined()) {
            opening.clipTo(jawsAlong);
        }
        along.extendBy(opening);
        across.extendBy(strip);
        hasOpenPair = true;
    }
    if (!hasOpenPair) {
        along = across = {0.0, 0.0};
    }
    store(travelsAlongY ? across : along, xMin, xMax);
    store(travelsAlongY ? along : across, yMin, yMax);
    return hasOpenPair;
}

void GetApertureStartAndEndLeafPairs(const LeafPositions& positions, int& first, int& last) {
    const auto range = detail::findFirstAndLast(
        positions, [](const LeafPositionPair& pair) { return !pair.IsClosed(); });
    first = range.first;
    last = range.last;
}

void MirrorX(LeafPositions& positions) {
    for (LeafPositionPair& pair : positions) {
        const float left = pair.GetPosition(Bank::Left);
        pair.SetPosition(Bank::Left, -pair.GetPosition(Bank::Right));
        pair.SetPosition(Bank::Right, -left);
    }
}

void MirrorY(LeafPositions& positions) { std::reverse(positions.begin(), positions.end()); }

}  // namespace NMLC
