#include <cmath>
#include <initializer_list>

#include <apps/trelis/report/round_step.h>

namespace app::report {

RoundStep::RoundStep(double range, int most)
    : exponent_(static_cast<int>(std::floor(std::log10(range / most)))) {
    for (const int mantissa : {1, 2, 5}) {
        mantissa_ = mantissa;
        if (times(most) >= range) {
            return;
        }
    }
    mantissa_ = 1;
    ++exponent_;
}

double RoundStep::times(int n) const {
    const double multiple = static_cast<double>(n) * mantissa_;
    return exponent_ < 0 ? multiple / std::pow(10.0, -exponent_)
                         : multiple * std::pow(10.0, exponent_);
}

}  // namespace app::report
