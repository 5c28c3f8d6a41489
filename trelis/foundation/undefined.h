#pragma once

#include <limits>

namespace trelis {

/// Markers of a missing value. `value` is a quiet NaN, to be tested with std::isnan, never with ==.
/// `legacy_value` is what older data holds in its place. All are constants from load time on, so
/// static initialisers of an application may use them.
template <typename T>
struct Undefined;

template <>
struct Undefined<double> {
    static constexpr double value = std::numeric_limits<double>::quiet_NaN();
    static constexpr double legacy_value = 99999999.0;
};

template <>
struct Undefined<float> {
    static constexpr float value = std::numeric_limits<float>::quiet_NaN();
    /// The float nearest to 99999999.
    static constexpr float legacy_value = 100000000.0F;
};

/// The marker of a missing integer.
inline constexpr int UnknownInteger = 0x7FFFDEAD;

}  // namespace trelis
