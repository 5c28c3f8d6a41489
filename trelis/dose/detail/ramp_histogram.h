#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include <trelis/foundation/bad_cast.h>
#include <trelis/foundation/undefined.h>
#include <trelis/foundation/vector.h>

namespace trelis::detail {

/// A histogram under construction in the caller's bins: a difference array, in which spreading a
/// weight over any number of bins costs the same.
class RampHistogram {
  public:
    /// Sets the bins to 0. `binWidth` is dose per bin.
    RampHistogram(double* bins, int binCount, double binWidth)
        : bins_(bins), count_(binCount), binWidth_(binWidth) {
        std::fill_n(bins_, std::max(count_, 0), 0.0);
    }

    /// The dose by the bin width, rounded. `BadCast` for what is no int.
    int bin(double dose) const {
        using Limits = std::numeric_limits<int>;
        const double position = dose / binWidth_ + 0.5;
        if (!(position > Limits::min() - 1.0 && position < Limits::max() + 1.0)) {
            throw BadCast();
        }
        return static_cast<int>(position);
    }

    /// Spreads the weight evenly over the bins from one dose to the other, but at least 13 of them.
    /// Nothing is spread over fewer than two bins.
    void add(double dose, double otherDose, double weight) {
        if (count_ < 2) {
            return;
        }
        const auto [first, last] = std::minmax<std::int64_t>({bin(dose), bin(otherDose)});
        const std::int64_t missing =
            std::max<std::int64_t>(0, kSmallestSpread - (last + 1 - first));
        const std::int64_t low = std::clamp<std::int64_t>(first - (missing + 1) / 2, 0, count_ - 2);
        const std::int64_t high =
            std::clamp<std::int64_t>(last + 1 + missing / 2, low + 1, count_ - 1);
        const double share = weight / static_cast<double>(high - low);
        bins_[low] += share;
        bins_[high] -= share;
    }

    /// Turns the difference array into the histogram, with `unit` for a weight of 1.
    void integrate(double unit) {
        double sum = 0.0;
        for (int i = 0; i < count_; ++i) {
            sum += bins_[i];
            bins_[i] = sum * unit;
        }
    }

    /// Moves what lies in bins below that of the one dose or above that of the other into these.
    void fold(double minimum, double maximum) {
        if (count_ < 1) {
            return;
        }
        const int low = std::clamp(bin(minimum), 0, count_ - 1);
        const int high = std::clamp(bin(maximum), low, count_ - 1);
        for (int i = 0; i < low; ++i) {
            bins_[low] += bins_[i];
            bins_[i] = 0.0;
        }
        for (int i = high + 1; i < count_; ++i) {
            bins_[high] += bins_[i];
            bins_[i] = 0.0;
        }
    }

  private:
    /// The smoothing of the method.
    static constexpr std::int64_t kSmallestSpread = 13;

    double* bins_;
    int count_;
    double binWidth_;
};

/// The extreme values of a stream and where they were met, undefined at first.
struct SampledExtremes {
    using Vector = MVectorTemplate<double>;

    double minimum = Undefined<double>::value;
    double maximum = Undefined<double>::value;
    Vector minimumAt;
    Vector maximumAt;

    bool areDefined() const { return minimum == minimum && maximum == maximum; }

    /// A value that becomes the minimum is not tried as the maximum: intended. `position` is called
    /// for the place of an extreme.
    template <typename Position>
    void take(double value, const Position& position) {
        if (!(value >= minimum)) {
            minimum = value;
            minimumAt = position();
        } else if (!(value <= maximum)) {
            maximum = value;
            maximumAt = position();
        }
    }
};

}  // namespace trelis::detail
