#include <trelis/contour/detail/shape_interpolation.h>

#include <algorithm>
#include <cmath>
#include <span>

#include <trelis/contour/detail/glyph_coverage.h>

namespace trelis::detail {

namespace {

/// Coverage this close to 0 or 1 is that; smaller than any step of a segment's values.
constexpr double kCoverageTolerance = 1e-9;

/// The part of the unit square where a field is positive that has these values at the corners, in
/// turn, and is linear along the sides.
double positivePart(const double (&field)[4]) {
    constexpr double kX[] = {0.0, 1.0, 1.0, 0.0};
    constexpr double kY[] = {0.0, 0.0, 1.0, 1.0};
    double area = 0.0;
    double firstX = 0.0;
    double firstY = 0.0;
    double lastX = 0.0;
    double lastY = 0.0;
    bool any = false;
    const auto goTo = [&](double x, double y) {
        if (any) {
            area += lastX * y - x * lastY;
        } else {
            firstX = x;
            firstY = y;
            any = true;
        }
        lastX = x;
        lastY = y;
    };
    for (int i = 0; i < 4; ++i) {
        const int next = (i + 1) % 4;
        if (field[i] > 0.0) {
            goTo(kX[i], kY[i]);
        }
        if ((field[i] > 0.0) != (field[next] > 0.0)) {
            const double t = field[i] / (field[i] - field[next]);
            goTo(kX[i] + t * (kX[next] - kX[i]), kY[i] + t * (kY[next] - kY[i]));
        }
    }
    area += lastX * firstY - firstX * lastY;
    return area / 2.0;
}

}  // namespace

SquareBox boxOf(const Glyph& glyph, int xsize, int ysize) {
    double left = xsize;
    double right = 0.0;
    double bottom = ysize;
    double top = 0.0;
    for (const std::vector<EdgePoint>& contour : glyph) {
        for (const EdgePoint& p : contour) {
            left = std::min(left, p.x);
            right = std::max(right, p.x);
            bottom = std::min(bottom, p.y);
            top = std::max(top, p.y);
        }
    }
    const auto cut = [](double value, int size) {
        return static_cast<int>(std::clamp(value, 0.0, static_cast<double>(size)));
    };
    SquareBox box{cut(std::floor(left), xsize), cut(std::ceil(right), xsize),
                  cut(std::floor(bottom), ysize), cut(std::ceil(top), ysize)};
    if (box.left >= box.right || box.bottom >= box.top) {
        box = {};
    }
    return box;
}

SquareBox enclosing(const SquareBox& a, const SquareBox& b) {
    if (a.width() == 0 || b.width() == 0) {
        return a.width() == 0 ? b : a;
    }
    return {std::min(a.left, b.left), std::max(a.right, b.right), std::min(a.bottom, b.bottom),
            std::max(a.top, b.top)};
}

CoverageImage::CoverageImage(const Glyph& glyph, int xsize, int ysize)
    : CoverageImage(boxOf(glyph, xsize, ysize)) {
    forEachCoveredRow(
        edgesOf(glyph), xsize, ysize,
        [&](int y, int firstColumn, std::span<const double> fractions) {
            // Beyond the box they are 0, but for rounding.
            const int begin = std::max(firstColumn, box_.left);
            const int end = std::min(firstColumn + static_cast<int>(fractions.size()), box_.right);
            if (begin < end && y >= box_.bottom && y < box_.top) {
                std::copy(fractions.begin() + (begin - firstColumn),
                          fractions.begin() + (end - firstColumn), row(y) + (begin - box_.left));
            }
        });
}

void CoverageImage::clear() { std::fill(values_.begin(), values_.end(), 0.0); }

void CoverageImage::add(const CoverageImage& other, double weight) {
    const SquareBox& from = other.box_;
    for (int y = from.bottom; y < from.top; ++y) {
        const double* source = other.row(y);
        double* target = row(y) + (from.left - box_.left);
        for (int i = 0; i < from.width(); ++i) {
            target[i] += weight * source[i];
        }
    }
}

ShapeInterpolation::ShapeInterpolation(const Glyph& lower, const Glyph& upper, int xsize, int ysize,
                                       double xSpacing, double ySpacing)
    : lower_(lower, xsize, ysize),
      upper_(upper, xsize, ysize),
      fromLower_(lower, xSpacing, ySpacing),
      fromUpper_(upper, xSpacing, ySpacing),
      box_(enclosing(lower_.box(), upper_.box())),
      cornersBelow_(static_cast<std::size_t>(box_.width()) + 1),
      cornersAbove_(cornersBelow_.size()) {}

void ShapeInterpolation::addTo(CoverageImage& image, double fraction, double weight) {
    if (fraction <= 0.0 || fraction >= 1.0) {
        image.add(fraction <= 0.0 ? lower_ : upper_, weight);
        return;
    }
    if (box_.width() == 0) {
        return;
    }
    measureCorners(box_.bottom);
    for (int y = box_.bottom; y < box_.top; ++y) {
        std::swap(cornersBelow_, cornersAbove_);
        measureCorners(y + 1);
        double* row = image.row(y) - image.box().left;
        for (int x = box_.left; x < box_.right; ++x) {
            if (isUndecided(x, y)) {
                row[x] += weight * coverageOf(x, y, fraction);
            } else if (lower_.at(x, y) > 0.5) {
                row[x] += weight;
            }
        }
    }
}

/// Whether a square is not inside both glyphs and not outside both; what is, stays so between.
bool ShapeInterpolation::isUndecided(int x, int y) const {
    const double lower = lower_.at(x, y);
    const double upper = upper_.at(x, y);
    return std::max(lower, upper) > kCoverageTolerance &&
           std::min(lower, upper) < 1.0 - kCoverageTolerance;
}

/// Those of undecided squares along the line y, into `cornersAbove_`.
void ShapeInterpolation::measureCorners(int y) {
    fromLower_.moveTo(y);
    fromUpper_.moveTo(y);
    bool leftNeedsIt = false;
    for (int x = box_.left; x <= box_.right; ++x) {
        const bool rightNeedsIt = isUndecided(x, y - 1) || isUndecided(x, y);
        if (leftNeedsIt || rightNeedsIt) {
            cornersAbove_[static_cast<std::size_t>(x - box_.left)] = {fromLower_.at(x),
                                                                      fromUpper_.at(x)};
        }
        leftNeedsIt = rightNeedsIt;
    }
}

double ShapeInterpolation::coverageOf(int x, int y, double fraction) const {
    const auto i = static_cast<std::size_t>(x - box_.left);
    const Corner corners[] = {cornersBelow_[i], cornersBelow_[i + 1], cornersAbove_[i + 1],
                              cornersAbove_[i]};
    double lower[4];
    double upper[4];
    double between[4];
    for (int k = 0; k < 4; ++k) {
        lower[k] = corners[k].lower;
        upper[k] = corners[k].upper;
        between[k] = (1.0 - fraction) * corners[k].lower + fraction * corners[k].upper;
    }
    // What the corners miss of the glyphs themselves is known, and fades in from them: slivers in
    // both. Away from the shape's own border what they miss of one glyph alone has gone.
    const double part = positivePart(between);
    const double missedOfLower = lower_.at(x, y) - positivePart(lower);
    const double missedOfUpper = upper_.at(x, y) - positivePart(upper);
    if ((part == 0.0 || part == 1.0) && missedOfLower * missedOfUpper <= 0.0) {
        return part;
    }
    return std::clamp(part + (1.0 - fraction) * missedOfLower + fraction * missedOfUpper, 0.0, 1.0);
}

}  // namespace trelis::detail
