#include <trelis/contour/contour_geometry.h>

#include <algorithm>
#include <cstddef>

#include <trelis/contour/detail/edge_tree.h>
#include <trelis/contour/detail/segments_meet.h>

namespace NEdgePointAlgorithms {

using detail::EdgeTree;

bool intersectionPoint(const EdgePoint& a1, const EdgePoint& a2, const EdgePoint& b1,
                       const EdgePoint& b2, EdgePoint& out) {
    double t;
    if (!detail::segmentsMeet(a1, a2, b1, b2, t)) {
        return false;
    }
    out = a1 + t * (a2 - a1);
    return true;
}

bool areContoursIntersecting(const std::vector<EdgePoint>& closed,
                             const std::vector<EdgePoint>& open) {
    if (closed.empty() || open.size() < 2) {
        return false;
    }
    const EdgeTree tree(closed, open);
    for (std::size_t i = 0; i + 1 < open.size(); ++i) {
        if (tree.isMetBy(open[i], open[i + 1], 0, closed.size())) {
            return true;
        }
    }
    return false;
}

bool isSelfIntersecting(const std::vector<EdgePoint>& c) {
    if (c.empty()) {
        return false;
    }
    const EdgeTree tree(c, c);
    for (std::size_t i = 0; i + 2 < c.size(); ++i) {
        // The closing edge follows the first edge.
        const std::size_t last = i == 0 ? c.size() - 1 : c.size();
        if (tree.isMetBy(c[i], c[i + 1], i + 2, last)) {
            return true;
        }
    }
    return false;
}

}  // namespace NEdgePointAlgorithms

int countIntersectingContours(const std::vector<EdgePoint>& c, const Glyph& glyph) {
    return static_cast<int>(
        std::count_if(glyph.begin(), glyph.end(), [&](const std::vector<EdgePoint>& contour) {
            return NEdgePointAlgorithms::areContoursIntersecting(contour, c);
        }));
}
