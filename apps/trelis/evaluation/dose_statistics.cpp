#include <apps/trelis/evaluation/dose_statistics.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace app {

namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

/// The volume at edge i of the bins; there is one edge more than bins.
double atEdge(const trelis::DvhData& data, std::size_t i) {
    return i < data.bins.size() ? data.bins[i] : 0.0;
}

}  // namespace

double doseAtVolume(const trelis::DvhData& cumulative, double fraction) {
    const std::vector<double>& bins = cumulative.bins;
    if (bins.empty() || !(bins.front() > 0.0)) {
        return kUndefined;
    }
    const double wanted = fraction * bins.front();
    const auto below = std::find_if(bins.begin(), bins.end(), [wanted](double volume) {
        return volume < wanted || volume <= 0.0;
    });
    const auto upper = static_cast<std::size_t>(below - bins.begin());
    if (upper == 0) {
        return 0.0;
    }
    const double high = atEdge(cumulative, upper - 1);
    const double low = atEdge(cumulative, upper);
    const double place = (high - std::max(wanted, 0.0)) / (high - low);
    return (static_cast<double>(upper - 1) + place) * cumulative.binWidth;
}

double volumeAtDose(const trelis::DvhData& cumulative, double dose) {
    if (cumulative.bins.empty()) {
        return kUndefined;
    }
    if (dose <= 0.0) {
        return cumulative.bins.front();
    }
    const double position = dose / cumulative.binWidth;
    if (!(position < static_cast<double>(cumulative.bins.size()))) {
        return 0.0;
    }
    const auto lower = static_cast<std::size_t>(position);
    const double low = atEdge(cumulative, lower);
    return low + (atEdge(cumulative, lower + 1) - low) * (position - std::floor(position));
}

}  // namespace app
