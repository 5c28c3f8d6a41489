#pragma once

#include <cstddef>
#include <vector>

#include <trelis/contour/detail/glyph_coverage.h>
#include <trelis/contour/glyph.h>

namespace trelis::detail {

/// The signed distance of points from the border of a glyph, positive inside. Edges that a contour
/// runs along to and fro, as to a keyhole, and edges that two contours share are no border.
class GlyphDistance {
  public:
    /// Coordinates are multiplied by the spacings before distances are taken.
    GlyphDistance(const Glyph& glyph, double xSpacing, double ySpacing);

    /// Chooses the line y for the calls of `at` that follow.
    void moveTo(double y);

    /// The signed distance of (x, y). Not for concurrent calls: each starts its search from the
    /// edges that the last one found.
    double at(double x) const;

  private:
    struct Segment {
        double x, y;        ///< its begin, scaled
        double dx, dy;      ///< to its end
        double reciprocal;  ///< 1 / length^2, 0 for a point
    };

    /// Neighbouring segments and the box around them.
    struct Block {
        std::size_t begin, end;
        double left, right, bottom, top;
    };

    double squareTo(const Block& block, double x) const;
    double squareInBlock(const Block& block, double x, double best) const;
    bool isInside(double x) const;

    double xSpacing_;
    double ySpacing_;
    std::vector<GlyphEdge> edges_;
    std::vector<Segment> segments_;
    std::vector<Block> blocks_;
    std::vector<double> borders_;  ///< where the line enters and leaves the glyph
    std::vector<int> windings_;
    double y_ = 0.0;
    mutable std::size_t lastBlock_ = 0;
};

}  // namespace trelis::detail
