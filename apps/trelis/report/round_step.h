#pragma once

namespace app::report {

/// 1, 2 or 5 times a power of ten, whose multiples are the doubles that a person would write.
class RoundStep {
  public:
    /// The smallest of which `most` reach `range`, which is positive and finite.
    RoundStep(double range, int most);

    double times(int n) const;

    /// How many digits after the point its multiples have.
    int decimals() const { return exponent_ < 0 ? -exponent_ : 0; }

  private:
    int mantissa_ = 1;
    int exponent_;
};

}  // namespace app::report
