#pragma once

#include <cmath>

namespace trelis {

/// Whether a and b differ by less than eps, strictly: eps > |a - b|. Two NaNs are equal, a NaN and
/// a number are not. An eps of 0 makes everything but two NaNs unequal.
inline bool EpsilonEqual(double a, double b, double eps) {
    if (std::isnan(a)) {
        return std::isnan(b);
    }
    if (std::isnan(b)) {
        return false;
    }
    return eps > std::abs(a - b);
}

/// Whether |a| is below eps, strictly. False for a NaN.
inline bool EpsilonZero(double a, double eps) { return eps > std::abs(a); }

}  // namespace trelis
