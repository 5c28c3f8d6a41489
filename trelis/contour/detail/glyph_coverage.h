#pragma once

#include <functional>
#include <span>
#include <vector>

#include <trelis/contour/glyph.h>

namespace trelis::detail {

/// An edge of a contour that is not horizontal.
struct GlyphEdge {
    EdgePoint low;
    EdgePoint high;
    double slope;   ///< change of x with y
    int contour;    ///< index in the glyph
    int direction;  ///< 1 where the contour runs upward, -1 where it runs downward

    /// The x where the edge is at y, from low.y to high.y; exact at both ends.
    double xAt(double y) const { return y == high.y ? high.x : low.x + (y - low.y) * slope; }
};

/// The edges of the contours with at least 3 points, by ascending low.y. A point is in the glyph
/// when an odd number of contours wind around it.
std::vector<GlyphEdge> edgesOf(const Glyph& glyph);

/// Whether the coordinates are numbers of a size that arithmetic can take.
bool isUsable(const EdgePoint& point);

/// Takes a row, its first column that may be covered at all, and the covered fractions of the
/// squares from there on.
using CoverageVisitor = std::function<void(int row, int firstColumn, std::span<const double>)>;

/// Calls visit for each row of a grid of xsize x ysize unit squares that the glyph touches, in
/// ascending order. Square (i, j) covers [i, i+1) x [j, j+1) (R-voxel coordinates), and its
/// fraction is the area of the glyph in it, exact but for rounding.
void forEachCoveredRow(const std::vector<GlyphEdge>& edges, int xsize, int ysize,
                       const CoverageVisitor& visit);

/// The areas of two glyphs and of what is in both, as parts of the box around them.
struct SharedArea {
    double first = 0.0;
    double second = 0.0;
    double shared = 0.0;
};

SharedArea sharedArea(const Glyph& first, const Glyph& second);

}  // namespace trelis::detail
