#pragma once

#include <limits>

namespace trelis::VolumeImage::detail {

/// x without its fraction, or the nearest value of T where it does not fit; the lowest for a NaN.
/// Without branches, so that loops over pixels go through vector registers. T has up to 32 bits.
template <typename T>
T saturated(double x) {
    constexpr double kLowest = std::numeric_limits<T>::lowest();
    constexpr double kHighest = std::numeric_limits<T>::max();
    const double atLeastLowest = x > kLowest ? x : kLowest;
    return static_cast<T>(atLeastLowest < kHighest ? atLeastLowest : kHighest);
}

}  // namespace trelis::VolumeImage::detail
