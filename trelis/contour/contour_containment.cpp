#include <trelis/contour/contour_geometry.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include <trelis/foundation/diagnostics.h>

namespace NEdgePointAlgorithms {

namespace {

/// A vertex whose squared distance is below this has no direction of its own.
constexpr double kAtVertexSquared = 1e-30;

/// A cross product above this part of the product of the lengths has the sign of the angle's sine,
/// as computed from arc tangents too.
constexpr double kSureSine = 1e-14;

EdgePoint directionTo(const EdgePoint& vertex, const EdgePoint& p) {
    const EdgePoint offset = vertex - p;
    const bool atVertex = offset.x * offset.x + offset.y * offset.y < kAtVertexSquared;
    return atVertex ? EdgePoint(1.0, 0.0) : offset;
}

/// Each direction has an angle in (-pi, pi]. The step from one to the next, taken as the smaller
/// turn, is their difference plus this number of full turns.
int fullTurns(const EdgePoint& from, const EdgePoint& to) {
    if ((from.y > 0.0 && to.y > 0.0) || (from.y < 0.0 && to.y < 0.0)) {
        return 0;
    }
    const double cross = from.x * to.y - from.y * to.x;
    const double scale = (std::abs(from.x) + std::abs(from.y)) * (std::abs(to.x) + std::abs(to.y));
    if (from.y != 0.0 && to.y != 0.0 && std::abs(cross) > kSureSine * scale) {
        const bool passesNegativeX = from.y > 0.0 ? cross > 0.0 : cross < 0.0;
        return !passesNegativeX ? 0 : from.y > 0.0 ? 1 : -1;
    }
    const double step = std::atan2(to.y, to.x) - std::atan2(from.y, from.x);
    return step > std::numbers::pi ? -1 : step <= -std::numbers::pi ? 1 : 0;
}

bool containsContour(const Glyph& outer, const std::vector<EdgePoint>& contour) {
    return contour.empty() ||
           std::any_of(outer.begin(), outer.end(), [&](const std::vector<EdgePoint>& outline) {
               return !areContoursIntersecting(contour, outline) &&
                      isInside(contour.front(), outline);
           });
}

}  // namespace

// Around a closed contour the differences of the angles cancel: the sum of all steps is 2 pi times
// the sum of the full turns, and above pi, or a truncated pi, unless that is 0.
bool isInside(const EdgePoint& p, const std::vector<EdgePoint>& c) {
    if (c.size() < 3) {
        return false;
    }
    int turns = 0;
    EdgePoint previous = directionTo(c.back(), p);
    for (const EdgePoint& vertex : c) {
        const EdgePoint direction = directionTo(vertex, p);
        if (std::isunordered(direction.x, direction.y)) {
            return false;
        }
        turns += fullTurns(previous, direction);
        previous = direction;
    }
    return turns != 0;
}

bool isHole(Glyph glyph, int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= glyph.size()) {
        Crash(L"glyph too small");
    }
    const std::vector<EdgePoint>& contour = glyph[static_cast<std::size_t>(index)];
    if (contour.empty()) {
        return false;
    }
    const auto containing =
        std::count_if(glyph.begin(), glyph.end(), [&](const std::vector<EdgePoint>& other) {
            return &other != &contour && isInside(contour.front(), other);
        });
    return containing % 2 != 0;
}

bool outerOutlineContainsInnerOutline(const Glyph& outer, const Glyph& inner) {
    return inner.empty() ||
           (!outer.empty() &&
            std::all_of(inner.begin(), inner.end(), [&](const std::vector<EdgePoint>& contour) {
                return containsContour(outer, contour);
            }));
}

}  // namespace NEdgePointAlgorithms
