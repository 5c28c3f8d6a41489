#pragma once

#include <cstddef>

#include <trelis/export.h>

namespace NSegmentAlgorithms {

/// Six margins in millimetres, in the order x low, x high, y low, y high, z low, z high. A plain
/// value; nothing here fails. The order of `Margin` and its kin is another one.
class MarginContainer {
  public:
    /// All margins 0.
    MarginContainer() = default;
    MarginContainer(double xLow, double xHigh, double yLow, double yHigh, double zLow, double zHigh)
        : margins_{xLow, xHigh, yLow, yHigh, zLow, zHigh} {}

    /// The margin on the low or high side of axis 0, 1 or 2, which is not checked.
    double low(int axis) const { return margins_[std::ptrdiff_t{2} * axis]; }
    double high(int axis) const { return margins_[std::ptrdiff_t{2} * axis + 1]; }

    /// The smallest and the largest of the six, the first of equal ones. With a NaN among them the
    /// result depends on its place: see `AllMarginsDefined`.
    TRELIS_API double MinMargin() const;
    TRELIS_API double MaxMargin() const;

    /// Whether the smallest margin is above 0 or within 1e-6 of it.
    TRELIS_API bool AllMarginsPositive() const;

    /// Whether the *largest* margin is not within 1e-6 of 0. The others are not looked at.
    TRELIS_API bool AnyMarginExisting() const;

    /// Whether none of the six is a NaN.
    TRELIS_API bool AllMarginsDefined() const;

  private:
    double margins_[6] = {};
};

}  // namespace NSegmentAlgorithms
