#include <trelis/segment/detail/stripe_code.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <trelis/foundation/diagnostics.h>

namespace NSegmentUndo::detail {

namespace {

constexpr unsigned char kEscape = 0xA0;
constexpr unsigned char kEmptyRun = 0xA1;
constexpr unsigned char kFullRun = 0xA2;
constexpr unsigned char kEmpty = 0;
constexpr unsigned char kFull = 255;
constexpr std::size_t kLongestRun = 129;

/// The values that need the escape: those with this in their high four bits.
constexpr bool needsEscape(unsigned char value) { return (value & 0xF0U) == kEscape; }

/// How many of n values from the first on equal it, eight at a time as long as that goes.
std::size_t runLength(const unsigned char* values, std::size_t n) {
    std::uint64_t run = 0;
    std::memset(&run, *values, sizeof(run));
    const auto continues = [&](std::size_t i) {
        return std::memcmp(values + i, &run, sizeof(run)) == 0;
    };
    std::size_t length = 1;
    while (length + sizeof(run) <= n && continues(length)) {
        length += sizeof(run);
    }
    while (length < n && values[length] == *values) {
        ++length;
    }
    return length;
}

}  // namespace

unsigned char* encodeStripe(std::span<const unsigned char> values, unsigned char* code) {
    while (!values.empty()) {
        const unsigned char value = values[0];
        std::size_t length = 1;
        if (value == kEmpty || value == kFull) {
            length = runLength(values.data(), std::min(values.size(), kLongestRun));
            if (length > 1) {
                *code++ = value == kEmpty ? kEmptyRun : kFullRun;
                *code++ = static_cast<unsigned char>(length - 1);
            } else {
                *code++ = value;
            }
        } else {
            if (needsEscape(value)) {
                *code++ = kEscape;
            }
            *code++ = value;
        }
        values = values.subspan(length);
    }
    return code;
}

std::size_t decodeStripe(std::span<const unsigned char> code, std::span<unsigned char> values) {
    constexpr const wchar_t* kCutOff[] = {L"inconsistent rle 0xa0", L"inconsistent rle 0xa1",
                                          L"inconsistent rle 0xa2"};
    std::size_t count = 0;
    for (std::size_t i = 0; i < code.size(); ++i) {
        unsigned char value = code[i];
        std::size_t length = 1;
        if (value >= kEscape && value <= kFullRun) {
            if (++i == code.size()) {
                Crash(kCutOff[value - kEscape]);
            }
            if (value == kEscape) {
                value = code[i];
            } else {
                value = value == kEmptyRun ? kEmpty : kFull;
                length = std::size_t{code[i]} + 1;
            }
        }
        length = std::min(length, values.size() - count);
        std::fill_n(values.data() + count, length, value);
        count += length;
    }
    return count;
}

}  // namespace NSegmentUndo::detail
