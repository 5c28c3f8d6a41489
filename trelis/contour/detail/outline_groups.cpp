#include <trelis/contour/detail/outline_groups.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>

#include <trelis/contour/detail/disjoint_sets.h>
#include <trelis/contour/detail/glyph_coverage.h>

namespace trelis::detail {

namespace {

constexpr std::size_t kFewestPoints = 3;

/// Parts of an area below this are none.
constexpr double kAreaTolerance = 1e-6;

struct Bounds {
    double left = std::numeric_limits<double>::infinity();
    double right = -std::numeric_limits<double>::infinity();
    double bottom = std::numeric_limits<double>::infinity();
    double top = -std::numeric_limits<double>::infinity();
};

Bounds boundsOf(const Glyph& glyph) {
    Bounds bounds;
    for (const std::vector<EdgePoint>& contour : glyph) {
        for (const EdgePoint& p : contour) {
            bounds.left = std::min(bounds.left, p.x);
            bounds.right = std::max(bounds.right, p.x);
            bounds.bottom = std::min(bounds.bottom, p.y);
            bounds.top = std::max(bounds.top, p.y);
        }
    }
    return bounds;
}

bool areApart(const Bounds& a, const Bounds& b) {
    return a.left >= b.right || b.left >= a.right || a.bottom >= b.top || b.bottom >= a.top;
}

/// How two contours of a glyph lie to each other.
enum class Relation { kApart, kFirstInside, kSecondInside, kOverlapping };

Relation relationOf(const std::vector<EdgePoint>& first, const std::vector<EdgePoint>& second) {
    if (areApart(boundsOf({first}), boundsOf({second}))) {
        return Relation::kApart;
    }
    const SharedArea area = sharedArea({first}, {second});
    if (area.shared <= kAreaTolerance * std::min(area.first, area.second)) {
        return Relation::kApart;
    }
    // Of two equal ones the second is inside.
    if (area.shared >= (1.0 - kAreaTolerance) * area.second) {
        return Relation::kSecondInside;
    }
    return area.shared >= (1.0 - kAreaTolerance) * area.first ? Relation::kFirstInside
                                                              : Relation::kOverlapping;
}

}  // namespace

std::vector<OutlineGroup> outlineGroupsOf(const Glyph& glyph) {
    Glyph contours;
    std::copy_if(
        glyph.begin(), glyph.end(), std::back_inserter(contours),
        [](const std::vector<EdgePoint>& contour) { return contour.size() >= kFewestPoints; });
    DisjointSets sets(contours.size());
    std::vector<std::vector<std::size_t>> around(contours.size());
    for (std::size_t i = 0; i < contours.size(); ++i) {
        for (std::size_t k = i + 1; k < contours.size(); ++k) {
            switch (relationOf(contours[i], contours[k])) {
                case Relation::kFirstInside:
                    around[i].push_back(k);
                    break;
                case Relation::kSecondInside:
                    around[k].push_back(i);
                    break;
                case Relation::kOverlapping:
                    sets.join(i, k);
                    break;
                case Relation::kApart:
                    break;
            }
        }
    }
    for (std::size_t i = 0; i < contours.size(); ++i) {
        for (const std::size_t k : around[i]) {
            // A hole belongs to the outline that is directly around it.
            if (around[i].size() % 2 != 0 && around[k].size() + 1 == around[i].size()) {
                sets.join(i, k);
            }
        }
    }
    std::vector<OutlineGroup> groups(contours.size());
    for (std::size_t i = 0; i < contours.size(); ++i) {
        groups[sets.find(i)].push_back(contours[i]);
    }
    std::erase_if(groups, [](const OutlineGroup& group) { return group.empty(); });
    return groups;
}

bool doOverlap(const Glyph& a, const Glyph& b) {
    if (areApart(boundsOf(a), boundsOf(b))) {
        return false;
    }
    const SharedArea area = sharedArea(a, b);
    return area.shared > kAreaTolerance * std::min(area.first, area.second);
}

}  // namespace trelis::detail
