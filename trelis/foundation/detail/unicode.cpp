#include <trelis/foundation/detail/unicode.h>

#include <bit>
#include <cstdint>

namespace trelis::detail {

namespace {

constexpr char32_t kFirstHighSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kBehindSurrogates = 0xE000;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kLargest = 0x10FFFF;

bool isHighSurrogate(char32_t code) noexcept {
    return code >= kFirstHighSurrogate && code < kFirstLowSurrogate;
}

std::size_t utf8Length(char32_t code) noexcept {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < kFirstSupplementary ? 3 : 4;
}

}  // namespace

bool isCharacter(char32_t code) noexcept {
    return code < kFirstHighSurrogate || (code >= kBehindSurrogates && code <= kLargest);
}

std::size_t wholeLength(const wchar_t* text, std::size_t length) noexcept {
    const bool half = sizeof(wchar_t) == 2 && length > 0 &&
                      isHighSurrogate(static_cast<char32_t>(text[length - 1]));
    return half ? length - 1 : length;
}

char32_t takeCharacter(const wchar_t*& next) noexcept {
    const auto code = static_cast<char32_t>(*next++);
    if constexpr (sizeof(wchar_t) == 2) {
        const auto low = static_cast<char32_t>(*next);
        if (isHighSurrogate(code) && low >= kFirstLowSurrogate && low < kBehindSurrogates) {
            ++next;
            return kFirstSupplementary + ((code - kFirstHighSurrogate) << 10) +
                   (low - kFirstLowSurrogate);
        }
    }
    return code;
}

char32_t takeCharacter(const char*& next) noexcept {
    const auto lead = static_cast<std::uint8_t>(*next++);
    const auto length = static_cast<std::size_t>(std::countl_one(lead));
    if (length == 0) {
        return lead;
    }
    if (length == 1 || length > kMaximumUtf8Length) {
        return kReplacementCharacter;
    }
    auto code = static_cast<char32_t>(lead & (0xFF >> length));
    const char* end = next;
    for (std::size_t i = 1; i < length; ++i, ++end) {
        const auto byte = static_cast<std::uint8_t>(*end);
        if ((byte & 0xC0) != 0x80) {
            return kReplacementCharacter;
        }
        code = code << 6 | (byte & 0x3F);
    }
    // Only the shortest form is valid.
    if (!isCharacter(code) || utf8Length(code) != length) {
        return kReplacementCharacter;
    }
    next = end;
    return code;
}

std::size_t encode(char32_t code, char (&utf8)[kMaximumUtf8Length]) noexcept {
    if (!isCharacter(code)) {
        code = kReplacementCharacter;
    }
    const std::size_t length = utf8Length(code);
    for (std::size_t i = length - 1; i > 0; --i) {
        utf8[i] = static_cast<char>(0x80 | (code & 0x3F));
        code >>= 6;
    }
    constexpr char32_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    utf8[0] = static_cast<char>(kLead[length] | code);
    return length;
}

std::size_t encode(char32_t code, wchar_t (&wide)[kMaximumWideLength]) noexcept {
    if (!isCharacter(code)) {
        code = kReplacementCharacter;
    }
    if constexpr (sizeof(wchar_t) == 2) {
        if (code >= kFirstSupplementary) {
            code -= kFirstSupplementary;
            wide[0] = static_cast<wchar_t>(kFirstHighSurrogate + (code >> 10));
            wide[1] = static_cast<wchar_t>(kFirstLowSurrogate + (code & 0x3FF));
            return 2;
        }
    }
    wide[0] = static_cast<wchar_t>(code);
    return 1;
}

}  // namespace trelis::detail
