#include <trelis/dose/dvh_data.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>

#include <trelis/foundation/detail/platform.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>

namespace trelis {

namespace {

/// Dose ranges and volumes below this count as zero.
constexpr double kZero = 1e-6;

/// A threshold volume is lowered by the first and is at least the second.
constexpr double kThresholdSlack = 1e-6;
constexpr double kSmallestThreshold = 1e-8;

constexpr double kValidDoseCoverage = 0.9995;
constexpr double kValidSamplingCoverage = 0.8994;

constexpr double kNaturalExponent = 2.5;
constexpr double kNaturalFactor = 0.6666666666666666;

constexpr double kPercent = 100.0;

/// Where a histogram is read: doses in units of its bins.
class DoseAxis {
  public:
    explicit DoseAxis(const DvhData& data)
        : count_(data.bins.size()), range_(static_cast<double>(count_) * data.binWidth) {}

    bool contains(double dose) const {
        return dose >= 0.0 && dose <= range_ && !EpsilonZero(range_, kZero);
    }
    double inBins(double dose) const { return dose / range_ * static_cast<double>(count_); }

    /// The bin that holds a position, the last for what is beyond.
    std::size_t bin(double position) const {
        if (!(position < static_cast<double>(count_))) {
            return count_ - 1;
        }
        return position > 0.0 ? static_cast<std::size_t>(position) : 0;
    }

  private:
    std::size_t count_;
    double range_;
};

void multiply(std::vector<double>& bins, double factor) {
    for (double& bin : bins) {
        bin *= factor;
    }
}

double natural(std::size_t bin, double binWidth) {
    return detail::power(static_cast<double>(bin) * binWidth, kNaturalExponent);
}

double sum(const std::vector<double>& bins, std::size_t first, std::size_t end) {
    const auto at = [&bins](std::size_t i) {
        return bins.begin() + static_cast<std::ptrdiff_t>(i);
    };
    return std::accumulate(at(first), at(end), 0.0);
}

/// Where between two neighbouring values the threshold lies, 0 to 1.
double crossing(double threshold, double value, double nextValue) {
    if (threshold > value) {
        return 0.0;
    }
    if (nextValue > threshold) {
        return 1.0;
    }
    const double fraction = (threshold - value) / (nextValue - value);
    return std::isnan(fraction) ? 0.0 : fraction;
}

}  // namespace

void DvhData::Clear() {
    DvhData cleared;
    cleared.bins.swap(bins);
    cleared.bins.clear();
    *this = std::move(cleared);
}

void DvhData::Cumulate() { std::partial_sum(bins.rbegin(), bins.rend(), bins.rbegin()); }

void DvhData::DifferentialToDVolumeDDose() { multiply(bins, 1.0 / binWidth); }

unsigned DvhData::FindThresholdVolume(double thresholdVolume) const {
    if (bins.empty()) {
        return 0;
    }
    const double threshold = std::max(thresholdVolume - kThresholdSlack, kSmallestThreshold);
    const auto below = std::find_if(bins.begin(), bins.end() - 1,
                                    [threshold](double bin) { return bin < threshold; });
    const auto found = static_cast<std::size_t>(below - bins.begin());
    TrelisTrace(L"DVH: FindThresholdVolume(%g) = %Iu\n", threshold, found);
    if (bins.size() == 1) {
        return 0;
    }
    const std::size_t upper = std::max<std::size_t>(found, 1);
    const double position =
        static_cast<double>(upper - 1) + crossing(threshold, bins[upper - 1], bins[upper]);
    return static_cast<unsigned>(position);
}

double DvhData::GetInterpolatedValue(double dose) const {
    const DoseAxis axis(*this);
    if (!axis.contains(dose)) {
        return 0.0;
    }
    const double position = axis.inBins(dose);
    const std::size_t low = axis.bin(std::floor(position));
    const double high = std::ceil(position);
    if (!(high < static_cast<double>(bins.size()) && static_cast<double>(low) < high)) {
        return bins[low];
    }
    const double lowDose = static_cast<double>(low) * binWidth;
    const double fraction = (dose - lowDose) / (high * binWidth - lowDose);
    return bins[low] + (bins[axis.bin(high)] - bins[low]) * fraction;
}

double DvhData::GetSampledValue(double dose, double width) const {
    const DoseAxis axis(*this);
    if (!axis.contains(dose)) {
        return 0.0;
    }
    const std::size_t first = axis.bin(axis.inBins(dose));
    const std::size_t end = std::max(axis.bin(axis.inBins(dose + width)), first + 1);
    return sum(bins, first, end) / static_cast<double>(end - first);
}

double DvhData::GetSampledValueForExport(double dose, double width) const {
    const DoseAxis axis(*this);
    const auto count = static_cast<double>(bins.size());
    if (!axis.contains(dose) || axis.inBins(dose) >= count) {
        return 0.0;
    }
    const double from = axis.inBins(dose);
    const double to = axis.inBins(dose + width);
    const std::size_t first = axis.bin(from);
    const std::size_t last = axis.bin(to);
    const double restOfFirst = (1.0 - (from - static_cast<double>(first))) * bins[first];
    if (last <= first) {
        return restOfFirst;
    }
    const double partOfLast = to < count ? to - static_cast<double>(last) : 1.0;
    return restOfFirst + partOfLast * bins[last] + sum(bins, first + 1, last);
}

double DvhData::GetValueAt(double dose) const {
    const DoseAxis axis(*this);
    return axis.contains(dose) ? bins[axis.bin(axis.inBins(dose))] : 0.0;
}

bool DvhData::HasValidDoseCoverage() const { return doseCoverage >= kValidDoseCoverage; }

bool DvhData::HasValidSamplingCoverage() const { return samplingCoverage > kValidSamplingCoverage; }

void DvhData::Naturalize() {
    for (std::size_t i = 0; i < bins.size(); ++i) {
        bins[i] = i == 0 ? 0.0 : natural(i, binWidth) * bins[i] * kNaturalFactor;
    }
}

void DvhData::UnNaturalize(double factor) {
    for (std::size_t i = 0; i < bins.size(); ++i) {
        bins[i] = i == 0 ? 0.0 : bins[i] / (natural(i, binWidth) * factor);
    }
}

void DvhData::ScaleStatistics(double factor) {
    for (double* dose :
         {&minDose, &maxDose, &meanDose, &modalDose, &medianDose, &standardDeviation}) {
        *dose *= factor;
    }
}

void DvhData::ScaleTo(double unit) {
    if (!EpsilonZero(unit, kZero)) {
        multiply(bins, 1.0 / unit);
    }
}

bool DvhData::ScaleToVolume() {
    if (bins.empty() || bins[0] < kZero) {
        return false;
    }
    multiply(bins, kPercent / bins[0]);
    return true;
}

}  // namespace trelis
