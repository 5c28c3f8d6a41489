#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace NSegment::detail {

/// Whether any of `count` values, a multiple of 8, is inside (128 or above).
inline bool hasInsideByte(const unsigned char* values, std::size_t count) {
    constexpr std::uint64_t kInsideBits = 0x8080808080808080U;
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < count; i += sizeof(bits)) {
        std::uint64_t word = 0;
        std::memcpy(&word, values + i, sizeof(word));
        bits |= word;
    }
    return (bits & kInsideBits) != 0;
}

}  // namespace NSegment::detail
