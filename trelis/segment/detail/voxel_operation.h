#pragma once

#include <algorithm>

#include <trelis/segment/volume_cell.h>

/// The voxel values of the Boolean operations, and what follows from the state of a cell.
namespace NSegment::detail {

using Byte = unsigned char;

struct Maximum {
    static constexpr Byte apply(Byte a, Byte b) { return std::max(a, b); }
};

struct Minimum {
    static constexpr Byte apply(Byte a, Byte b) { return std::min(a, b); }
};

struct MinimumWithComplement {
    static constexpr Byte apply(Byte a, Byte b) {
        return std::min(a, static_cast<Byte>(VolumeCell::maxValue() - b));
    }
};

/// The lowest and the highest value that a cell may hold.
struct Bounds {
    Byte low;
    Byte high;

    constexpr bool areEqual() const { return low == high; }
};

inline constexpr Bounds kAnyValue{VolumeCell::minValue(), VolumeCell::maxValue()};

/// Known from the state alone: both 0, both 255, or 0 and 255.
inline Bounds boundsOf(const VolumeCell& cell) {
    return {static_cast<Byte>(cell.full() ? VolumeCell::maxValue() : VolumeCell::minValue()),
            static_cast<Byte>(cell.empty() ? VolumeCell::minValue() : VolumeCell::maxValue())};
}

/// Bounds of the operation's results. It is monotonic in each argument, so they are at corners.
template <typename Operation>
constexpr Bounds boundsOf(const Bounds& a, const Bounds& b) {
    const auto [low, high] =
        std::minmax({Operation::apply(a.low, b.low), Operation::apply(a.low, b.high),
                     Operation::apply(a.high, b.low), Operation::apply(a.high, b.high)});
    return {low, high};
}

/// Whether the operation returns its first argument whatever it is, the second being within the
/// bounds.
template <typename Operation>
constexpr bool returnsFirst(const Bounds& b) {
    constexpr auto low = kAnyValue.low;
    constexpr auto high = kAnyValue.high;
    return b.areEqual() && Operation::apply(low, b.low) == low &&
           Operation::apply(high, b.low) == high;
}

/// Whether it returns its second argument, the first being within the bounds.
template <typename Operation>
constexpr bool returnsSecond(const Bounds& a) {
    constexpr auto low = kAnyValue.low;
    constexpr auto high = kAnyValue.high;
    return a.areEqual() && Operation::apply(a.low, low) == low &&
           Operation::apply(a.low, high) == high;
}

}  // namespace NSegment::detail
