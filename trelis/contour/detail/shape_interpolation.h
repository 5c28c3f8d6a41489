#pragma once

#include <cstddef>
#include <vector>

#include <trelis/contour/detail/glyph_distance.h>
#include <trelis/contour/glyph.h>

namespace trelis::detail {

/// Columns and rows of unit squares, ends excluded.
struct SquareBox {
    int left = 0;
    int right = 0;
    int bottom = 0;
    int top = 0;

    int width() const { return right - left; }
    int height() const { return top - bottom; }
};

/// The squares of a grid of xsize x ysize that a glyph in R-voxel coordinates can touch.
SquareBox boxOf(const Glyph& glyph, int xsize, int ysize);

/// The smallest box around two; one without squares does not count.
SquareBox enclosing(const SquareBox& a, const SquareBox& b);

/// The fraction of each square of a box that is covered.
class CoverageImage {
  public:
    explicit CoverageImage(const SquareBox& box)
        : box_(box),
          values_(static_cast<std::size_t>(box.width()) * static_cast<std::size_t>(box.height())) {}

    /// That of a glyph in R-voxel coordinates, on its own box in the grid.
    CoverageImage(const Glyph& glyph, int xsize, int ysize);

    const SquareBox& box() const { return box_; }

    /// The squares of a row of the box, from its left end on.
    double* row(int y) { return values_.data() + offset(y); }
    const double* row(int y) const { return values_.data() + offset(y); }

    /// 0 outside the box.
    double at(int x, int y) const {
        const bool isIn = x >= box_.left && x < box_.right && y >= box_.bottom && y < box_.top;
        return isIn ? row(y)[x - box_.left] : 0.0;
    }

    void clear();

    /// Adds the other image, whose box lies within this one, times a weight.
    void add(const CoverageImage& other, double weight);

  private:
    std::size_t offset(int y) const {
        return static_cast<std::size_t>(y - box_.bottom) * static_cast<std::size_t>(box_.width());
    }

    SquareBox box_;
    std::vector<double> values_;
};

/// The shapes between two glyphs: where the signed distances from their borders, weighted by
/// closeness, sum to more than 0.
class ShapeInterpolation {
  public:
    /// Glyphs in R-voxel coordinates, each with an edge at least; spacings in millimetres.
    ShapeInterpolation(const Glyph& lower, const Glyph& upper, int xsize, int ysize,
                       double xSpacing, double ySpacing);

    /// Adds, times a weight, the covered fractions of the shape at `fraction` of the way from the
    /// lower glyph (0, exact) to the upper one (1, exact) to an image that encloses both.
    void addTo(CoverageImage& image, double fraction, double weight);

  private:
    /// The distances from both borders at a corner of squares.
    struct Corner {
        double lower;
        double upper;
    };

    bool isUndecided(int x, int y) const;
    void measureCorners(int y);
    double coverageOf(int x, int y, double fraction) const;

    CoverageImage lower_;
    CoverageImage upper_;
    GlyphDistance fromLower_;
    GlyphDistance fromUpper_;
    SquareBox box_;
    std::vector<Corner> cornersBelow_;  ///< along the lower side of the row at hand
    std::vector<Corner> cornersAbove_;
};

}  // namespace trelis::detail
