#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include <trelis/foundation/bad_cast.h>

namespace trelis::detail {

/// A histogram under construction, in which a weight spread over doses goes to each bin by overlap:
/// a difference array, in which this costs the same for any number of bins. Bin i covers doses
/// [i, i + 1) times the bin width; what lies beyond the bins is moved to their end.
class SpreadHistogram {
  public:
    /// `binWidth` is dose per bin. Fewer than two bins stay empty.
    SpreadHistogram(int binCount, double binWidth)
        : binCount_(binCount),
          binWidth_(binWidth),
          steps_(static_cast<std::size_t>(std::max(binCount, 0)) + 1) {}

    /// Spreads the weight evenly over the doses from `low` to `high`, which are at least 0.
    /// `BadCast` for a dose whose bin is no int.
    void add(double low, double high, double weight) {
        if (binCount_ < 2) {
            return;
        }
        const double begin = position(low);
        const double end = position(high);
        const int first = std::min(static_cast<int>(begin), binCount_ - 1);
        const int last = std::min(static_cast<int>(end), binCount_ - 1);
        if (first == last || end - begin < kNoSpread) {
            raise(first, 0.0, weight);
            raise(first, 1.0, -weight);
        } else {
            const double perBin = weight / (end - begin);
            raise(first, begin - first, perBin);
            raise(last, end - last, -perBin);
        }
    }

    /// Writes the bins, with `unit` for a weight of 1.
    void integrate(double unit, std::vector<double>& bins) const {
        double sum = 0.0;
        for (std::size_t i = 0; i < bins.size(); ++i) {
            sum += steps_[i];
            // Rounding may leave less than nothing.
            bins[i] = std::max(sum, 0.0) * unit;
        }
    }

  private:
    /// In bins; shorter spreads go into one bin.
    static constexpr double kNoSpread = 1e-6;

    /// In bins.
    double position(double dose) const {
        const double bins = dose / binWidth_;
        if (!(bins < std::numeric_limits<int>::max() + 1.0)) {
            throw BadCast();
        }
        return std::min<double>(bins, binCount_);
    }

    /// Raises all bins from a place within one on.
    void raise(int bin, double place, double perBin) {
        double* const steps = steps_.data() + bin;
        steps[0] += perBin * (1.0 - place);
        steps[1] += perBin * place;
    }

    int binCount_;
    double binWidth_;
    /// From bin to bin, and behind the last.
    std::vector<double> steps_;
};

}  // namespace trelis::detail
