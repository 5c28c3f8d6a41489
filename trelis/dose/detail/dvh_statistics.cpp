#include <trelis/dose/detail/dvh_statistics.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace trelis::detail {

namespace {

/// A histogram with no more in it has no statistics.
constexpr double kNoVolume = 1e-8;

/// Sampling coverage: its denominators are at least this, and below it nothing is normalised.
constexpr double kSmallestNormaliser = 1e-6;

constexpr double kPercent = 100.0;

double binCentre(const DvhData& data, std::size_t bin) {
    return (static_cast<double>(bin) + 0.5) * data.binWidth;
}

double total(const DvhData& data) {
    return std::accumulate(data.bins.begin(), data.bins.end(), 0.0);
}

double mean(const DvhData& data, double volume) {
    double sum = 0.0;
    for (std::size_t i = 0; i < data.bins.size(); ++i) {
        sum += binCentre(data, i) * data.bins[i];
    }
    return sum / volume;
}

/// The centre of the first bin at which the running sum exceeds half the volume.
double median(const DvhData& data, double volume) {
    double sum = 0.0;
    for (std::size_t i = 0; i < data.bins.size(); ++i) {
        sum += data.bins[i];
        if (sum > volume * 0.5) {
            return binCentre(data, i);
        }
    }
    return 0.0;
}

double standardDeviation(const DvhData& data, double volume) {
    double sum = 0.0;
    for (std::size_t i = 0; i < data.bins.size(); ++i) {
        const double deviation = binCentre(data, i) - data.meanDose;
        sum += deviation * deviation * data.bins[i];
    }
    const double variance = sum / volume;
    return variance > 0.0 ? std::sqrt(variance) : 0.0;
}

}  // namespace

void setZeroDose(DvhData& data) {
    if (!data.bins.empty()) {
        data.bins[0] = data.volume;
    }
    data.binWidth = 0.0;
    data.coveredVoxelCount = 0;
    data.doseCoverage = 1.0;
    data.minDose = 0.0;
    data.maxDose = 0.0;
    data.meanDose = 0.0;
    data.modalDose = 0.0;
    data.medianDose = 0.0;
    data.standardDeviation = 0.0;
}

void computeStatistics(DvhData& data, FProgressReportingBody& progress) {
    data.meanDose = 0.0;
    data.medianDose = 0.0;
    data.standardDeviation = 0.0;
    const auto largest = std::max_element(data.bins.begin(), data.bins.end());
    data.modalDose = static_cast<double>(largest - data.bins.begin()) * data.binWidth;
    const double volume = total(data);
    if (!(volume > kNoVolume)) {
        return;
    }
    data.meanDose = mean(data, volume);
    progress.ReportProgress(0.3);
    data.medianDose = median(data, volume);
    progress.ReportProgress(0.6);
    data.standardDeviation = standardDeviation(data, volume);
    progress.ReportProgress(1.0);
}

void normaliseSampling(DvhData& data) {
    data.samplingCoverage = total(data) / std::max(kSmallestNormaliser, data.volume) * kPercent /
                            std::max(kSmallestNormaliser, data.doseCoverage * kPercent);
    if (data.samplingCoverage >= kSmallestNormaliser) {
        data.ScaleTo(data.samplingCoverage);
    }
}

}  // namespace trelis::detail
