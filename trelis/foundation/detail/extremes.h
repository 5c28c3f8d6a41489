#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace trelis::detail {

/// The smallest and the largest of the `count` values at `values`, NaNs passed over; the largest
/// below the smallest when there is no number. The lanes make it one vector operation per step
/// also for float, whose minima compilers may not reorder.
template <typename T>
std::pair<T, T> rangeOfBlock(const T* values, std::size_t count) {
    using Limits = std::numeric_limits<T>;
    constexpr std::size_t kLanes = 64 / sizeof(T);
    constexpr T kHighest = Limits::has_infinity ? Limits::infinity() : Limits::max();
    constexpr T kLowest = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
    T low[kLanes];
    T high[kLanes];
    std::fill_n(low, kLanes, kHighest);
    std::fill_n(high, kLanes, kLowest);
    const auto take = [&](T value, std::size_t lane) {
        low[lane] = value < low[lane] ? value : low[lane];
        high[lane] = value > high[lane] ? value : high[lane];
    };
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            take(values[i + lane], lane);
        }
    }
    for (std::size_t lane = 0; i < count; ++i, ++lane) {
        take(values[i], lane);
    }
    return {*std::min_element(low, low + kLanes), *std::max_element(high, high + kLanes)};
}

/// The first of the smallest and the last of the largest values of a range that is not empty. NaNs
/// are passed over; if there is nothing else, the first and the last element are returned. Reads
/// the range once: the places are looked up in the two blocks that hold them.
template <typename T>
std::pair<const T*, const T*> findExtremes(const T* first, const T* last) {
    constexpr std::ptrdiff_t kBlock = 4096;
    struct Extreme {
        const T* begin;
        const T* end;
        T value;
    };
    bool found = false;
    Extreme low{};
    Extreme high{};
    for (const T* block = first; block != last;) {
        const T* blockEnd = block + std::min(kBlock, last - block);
        const auto [blockLow, blockHigh] =
            rangeOfBlock(block, static_cast<std::size_t>(blockEnd - block));
        if (blockLow <= blockHigh) {
            if (!found || blockLow < low.value) {
                low = {block, blockEnd, blockLow};
            }
            if (!found || blockHigh >= high.value) {
                high = {block, blockEnd, blockHigh};
            }
            found = true;
        }
        block = blockEnd;
    }
    if (!found) {
        return {first, last - 1};
    }
    const T* smallest = std::find(low.begin, low.end, low.value);
    const T* largest = high.end - 1;
    while (!(*largest == high.value)) {
        --largest;
    }
    return {smallest, largest};
}

}  // namespace trelis::detail
