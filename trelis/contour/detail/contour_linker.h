#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include <trelis/contour/glyph.h>

namespace NEdgePointAlgorithms::detail {

/// Marching squares: turns lattice squares that a level crosses into closed contours. The squares
/// come once each in raster order, x fastest; every crossing of a lattice edge is computed once and
/// belongs to the two squares beside it.
///
/// Contours keep what is at or above the level on their left. They start at the crossing
/// whose lattice edge comes first in raster order of lower ends, and come in the order of these.
class ContourLinker {
  public:
    /// The values at (x, y), (x + 1, y), (x, y + 1) and (x + 1, y + 1).
    using Corners = std::array<double, 4>;

    explicit ContourLinker(double level) : level_(level) {}

    /// Adds the square whose lower corner is (x, y). One that the level does not cross may be left
    /// out. NaN is outside.
    void add(int x, int y, const Corners& values) {
        unsigned inside = 0;
        for (std::size_t corner = 0; corner < values.size(); ++corner) {
            inside |= values[corner] >= level_ ? 1U << corner : 0U;
        }
        if (y != row_) {
            startRow(y);
        }
        const std::array<std::size_t, 4> crossings = crossingsOf(x, y, values, inside);
        const double mean = (values[0] + values[1] + values[2] + values[3]) / 4.0;
        for (const Link& link : linksOf(inside, mean >= level_)) {
            if (link.from != kNone) {
                vertices_[crossings[link.from]].next = crossings[link.to];
            }
        }
    }

    /// The contours; nothing can be added after.
    Glyph contours() && {
        Glyph contours;
        for (std::size_t first = 0; first < vertices_.size(); ++first) {
            if (vertices_[first].next != kTaken) {
                takeContour(first, contours.emplace_back());
            }
        }
        return contours;
    }

  private:
    /// Edges of a square, in counter-clockwise order.
    enum Edge : unsigned char { kBottom, kRight, kTop, kLeft, kNone };

    /// A directed piece of contour between two edges of a square.
    struct Link {
        Edge from = kNone;
        Edge to = kNone;
    };
    using Links = std::array<Link, 2>;

    struct Vertex {
        EdgePoint point;
        std::size_t next;
    };

    /// How far a vertex keeps from the lattice points, in lattice steps: where a value equals the
    /// level, the crossings around its point stay apart and the contours simple.
    static constexpr double kDistanceFromPoints = 1e-4;

    static constexpr std::size_t kTaken = std::numeric_limits<std::size_t>::max();

    static Links linksOf(unsigned inside, bool joinsInside) {
        static constexpr Links kLinks[16] = {{},
                                             {{{kBottom, kLeft}}},
                                             {{{kRight, kBottom}}},
                                             {{{kRight, kLeft}}},
                                             {{{kLeft, kTop}}},
                                             {{{kBottom, kTop}}},
                                             {{{kRight, kBottom}, {kLeft, kTop}}},
                                             {{{kRight, kTop}}},
                                             {{{kTop, kRight}}},
                                             {{{kBottom, kLeft}, {kTop, kRight}}},
                                             {{{kTop, kBottom}}},
                                             {{{kTop, kLeft}}},
                                             {{{kLeft, kRight}}},
                                             {{{kBottom, kRight}}},
                                             {{{kLeft, kBottom}}},
                                             {}};
        constexpr unsigned kRising = 0b1001;
        constexpr unsigned kFalling = 0b0110;
        if (joinsInside && inside == kRising) {
            return {{{kBottom, kRight}, {kTop, kLeft}}};
        }
        if (joinsInside && inside == kFalling) {
            return {{{kRight, kTop}, {kLeft, kBottom}}};
        }
        return kLinks[inside];
    }

    void startRow(int y) {
        row_ = y;
        below_.swap(above_);
        above_.clear();
        nextBelow_ = 0;
    }

    /// The vertices on the edges of a square: known ones of the squares below and to the left, new
    /// ones to the right and above.
    std::array<std::size_t, 4> crossingsOf(int x, int y, const Corners& values, unsigned inside) {
        const auto isCrossed = [inside](unsigned a, unsigned b) {
            return ((inside >> a ^ inside >> b) & 1U) != 0;
        };
        std::array<std::size_t, 4> crossings{};
        if (isCrossed(0, 1)) {
            crossings[kBottom] = below_[nextBelow_++];
        }
        if (isCrossed(0, 2)) {
            crossings[kLeft] = right_;
        }
        if (isCrossed(1, 3)) {
            right_ = addVertex({x + 1.0, y + crossing(values[1], values[3])});
            crossings[kRight] = right_;
        }
        if (isCrossed(2, 3)) {
            crossings[kTop] = addVertex({x + crossing(values[2], values[3]), y + 1.0});
            above_.push_back(crossings[kTop]);
        }
        return crossings;
    }

    /// Where, from 0 to 1, the level is between two neighbours.
    double crossing(double first, double second) const {
        const double difference = second - first;
        if (!std::isfinite(difference)) {
            return 0.5;
        }
        const double place = (level_ - first) / difference;
        return place < kDistanceFromPoints         ? kDistanceFromPoints
               : place > 1.0 - kDistanceFromPoints ? 1.0 - kDistanceFromPoints
                                                   : place;
    }

    std::size_t addVertex(const EdgePoint& point) {
        vertices_.push_back({point, kTaken});
        return vertices_.size() - 1;
    }

    void takeContour(std::size_t first, std::vector<EdgePoint>& contour) {
        std::size_t count = 1;
        for (std::size_t i = vertices_[first].next; i != first; i = vertices_[i].next) {
            ++count;
        }
        contour.reserve(count);
        for (std::size_t i = first; vertices_[i].next != kTaken;
             i = std::exchange(vertices_[i].next, kTaken)) {
            contour.push_back(vertices_[i].point);
        }
    }

    double level_;
    std::vector<Vertex> vertices_;
    int row_ = std::numeric_limits<int>::min();
    std::vector<std::size_t> below_;  // vertices on the lower edges of the row, by x
    std::vector<std::size_t> above_;  // the same on the upper edges
    std::size_t nextBelow_ = 0;
    std::size_t right_ = 0;  // vertex on the right edge of the square before
};

}  // namespace NEdgePointAlgorithms::detail
