#include <trelis/contour/detail/glyph_distance.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace trelis::detail {

namespace {

constexpr std::size_t kBlockSize = 12;

using Ends = std::pair<EdgePoint, EdgePoint>;

bool isLess(const EdgePoint& a, const EdgePoint& b) {
    return std::tie(a.x, a.y) < std::tie(b.x, b.y);
}

bool isSame(const EdgePoint& a, const EdgePoint& b) { return !isLess(a, b) && !isLess(b, a); }

/// The edges of a glyph without those that are no border: a contour runs along them in both
/// directions, or two contours share them.
std::vector<Ends> bordersOf(const Glyph& glyph) {
    struct Edge {
        EdgePoint low, high;
        std::size_t contour;
        bool swapped;
        std::size_t index;
    };
    std::vector<Edge> edges;
    for (std::size_t c = 0; c < glyph.size(); ++c) {
        const std::vector<EdgePoint>& contour = glyph[c];
        for (std::size_t i = 0; i < contour.size(); ++i) {
            const EdgePoint& from = contour[i];
            const EdgePoint& to = contour[(i + 1) % contour.size()];
            const bool swapped = isLess(to, from);
            edges.push_back({swapped ? to : from, swapped ? from : to, c, swapped, edges.size()});
        }
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
        return std::tie(a.low.x, a.low.y, a.high.x, a.high.y, a.index) <
               std::tie(b.low.x, b.low.y, b.high.x, b.high.y, b.index);
    });
    std::vector<Edge> kept;
    for (const Edge& edge : edges) {
        const bool cancels =
            !kept.empty() && isSame(kept.back().low, edge.low) &&
            isSame(kept.back().high, edge.high) &&
            (kept.back().contour != edge.contour || kept.back().swapped != edge.swapped);
        if (cancels) {
            kept.pop_back();
        } else {
            kept.push_back(edge);
        }
    }
    // In the order of the contours, so that neighbours are near each other.
    std::sort(kept.begin(), kept.end(),
              [](const Edge& a, const Edge& b) { return a.index < b.index; });
    std::vector<Ends> borders;
    borders.reserve(kept.size());
    for (const Edge& edge : kept) {
        borders.emplace_back(edge.low, edge.high);
    }
    return borders;
}

}  // namespace

GlyphDistance::GlyphDistance(const Glyph& glyph, double xSpacing, double ySpacing)
    : xSpacing_(xSpacing), ySpacing_(ySpacing), edges_(edgesOf(glyph)), windings_(glyph.size()) {
    for (const auto& [from, to] : bordersOf(glyph)) {
        const double dx = (to.x - from.x) * xSpacing;
        const double dy = (to.y - from.y) * ySpacing;
        const double square = dx * dx + dy * dy;
        segments_.push_back(
            {from.x * xSpacing, from.y * ySpacing, dx, dy, square > 0.0 ? 1.0 / square : 0.0});
    }
    for (std::size_t begin = 0; begin < segments_.size(); begin += kBlockSize) {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        Block block{begin,     std::min(begin + kBlockSize, segments_.size()),
                    kInfinity, -kInfinity,
                    kInfinity, -kInfinity};
        for (std::size_t i = block.begin; i < block.end; ++i) {
            const Segment& s = segments_[i];
            block.left = std::min({block.left, s.x, s.x + s.dx});
            block.right = std::max({block.right, s.x, s.x + s.dx});
            block.bottom = std::min({block.bottom, s.y, s.y + s.dy});
            block.top = std::max({block.top, s.y, s.y + s.dy});
        }
        blocks_.push_back(block);
    }
}

void GlyphDistance::moveTo(double y) {
    y_ = y * ySpacing_;
    std::vector<std::pair<double, const GlyphEdge*>> crossings;
    for (const GlyphEdge& edge : edges_) {
        if (edge.low.y > y) {
            break;
        }
        if (y < edge.high.y) {
            crossings.emplace_back(edge.xAt(y), &edge);
        }
    }
    std::sort(crossings.begin(), crossings.end());
    borders_.clear();
    for (const auto& [x, edge] : crossings) {
        int& winding = windings_[static_cast<std::size_t>(edge->contour)];
        const bool wasAround = winding != 0;
        winding += edge->direction;
        if (wasAround != (winding != 0)) {
            borders_.push_back(x * xSpacing_);
        }
    }
}

double GlyphDistance::at(double x) const {
    const double scaled = x * xSpacing_;
    double best = std::numeric_limits<double>::infinity();
    if (lastBlock_ < blocks_.size()) {
        best = squareInBlock(blocks_[lastBlock_], scaled, best);
    }
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
        if (squareTo(blocks_[i], scaled) < best) {
            const double square = squareInBlock(blocks_[i], scaled, best);
            if (square < best) {
                best = square;
                lastBlock_ = i;
            }
        }
    }
    return isInside(scaled) ? std::sqrt(best) : -std::sqrt(best);
}

double GlyphDistance::squareTo(const Block& block, double x) const {
    const double dx = std::max({block.left - x, x - block.right, 0.0});
    const double dy = std::max({block.bottom - y_, y_ - block.top, 0.0});
    return dx * dx + dy * dy;
}

double GlyphDistance::squareInBlock(const Block& block, double x, double best) const {
    for (std::size_t i = block.begin; i < block.end; ++i) {
        const Segment& s = segments_[i];
        const double px = x - s.x;
        const double py = y_ - s.y;
        const double t = std::clamp((px * s.dx + py * s.dy) * s.reciprocal, 0.0, 1.0);
        const double dx = px - t * s.dx;
        const double dy = py - t * s.dy;
        best = std::min(best, dx * dx + dy * dy);
    }
    return best;
}

bool GlyphDistance::isInside(double x) const {
    const auto before = std::lower_bound(borders_.begin(), borders_.end(), x) - borders_.begin();
    return before % 2 != 0;
}

}  // namespace trelis::detail
