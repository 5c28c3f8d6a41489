#include <trelis/foundation/detail/platform.h>

#include <cmath>
#include <numbers>

namespace trelis::detail {

// The functions of this platform are good up to an eighth of a turn. Some of its run-time libraries
// reduce larger angles with a pi of 66 bits, and then few digits are right beside the multiples of
// a quarter turn. So it is done here, with 152 bits (W. J. Cody and W. Waite, Software Manual for
// the Elementary Functions, 1980).

namespace {

/// Products of the number of quarter turns with a part of their length are exact below it.
constexpr double kLargestAngle = 1e6;

/// An angle is quarterTurns pi / 2 + high + low, and |high + low| at most an eighth of a turn.
struct ReducedAngle {
    int quarterTurns;
    double high;
    double low;
};

ReducedAngle reduce(double angle) {
    constexpr double kQuarterTurn[] = {1.57079632673412561417e+00, 6.07710050630396597660e-11,
                                       2.02226624871116645580e-21, 8.47842766036889956997e-32};
    const double count = std::floor(angle * (2.0 / std::numbers::pi) + 0.5);
    ReducedAngle reduced = {static_cast<int>(count), angle, 0.0};
    for (const double part : kQuarterTurn) {
        // The difference and its rounding error (D. E. Knuth).
        const double minuend = reduced.high;
        const double subtrahend = count * part;
        reduced.high = minuend - subtrahend;
        const double taken = minuend - reduced.high;
        reduced.low += (minuend - (reduced.high + taken)) + (taken - subtrahend);
    }
    return reduced;
}

double sineOf(const ReducedAngle& angle) {
    return std::sin(angle.high) + angle.low * std::cos(angle.high);
}

double cosineOf(const ReducedAngle& angle) {
    return std::cos(angle.high) - angle.low * std::sin(angle.high);
}

/// The sine of the angle and that many quarter turns more.
double shiftedSine(const ReducedAngle& angle, int quarterTurns) {
    switch ((angle.quarterTurns + quarterTurns) & 3) {
        case 0:
            return sineOf(angle);
        case 1:
            return cosineOf(angle);
        case 2:
            return -sineOf(angle);
        default:
            return -cosineOf(angle);
    }
}

bool isToBeReduced(double angle) {
    constexpr double kEighthTurn = std::numbers::pi / 4.0;
    return std::abs(angle) > kEighthTurn && std::abs(angle) <= kLargestAngle;
}

}  // namespace

double sine(double angle) {
    return isToBeReduced(angle) ? shiftedSine(reduce(angle), 0) : std::sin(angle);
}

double cosine(double angle) {
    return isToBeReduced(angle) ? shiftedSine(reduce(angle), 1) : std::cos(angle);
}

}  // namespace trelis::detail
