#pragma once

#include <cstddef>

/// The text forms of the platforms: wide strings are UTF-16 where `wchar_t` has 16 bits and UTF-32
/// elsewhere; bytes are UTF-8.
namespace trelis::detail {

/// Stands for what is no character.
inline constexpr char32_t kReplacementCharacter = 0xFFFD;

inline constexpr std::size_t kMaximumUtf8Length = 4;
inline constexpr std::size_t kMaximumWideLength = 4 / sizeof(wchar_t);

bool isCharacter(char32_t code) noexcept;

/// The length of a text that is cut behind `length` elements, without the first half of a pair of
/// surrogates at its end.
std::size_t wholeLength(const wchar_t* text, std::size_t length) noexcept;

// Each takes one character from the beginning of a text that is not at its terminating zero, and
// moves `next` behind it. Of what is no character it takes one element and returns a surrogate or
// more than 0x10FFFF from a wide text, the replacement character from UTF-8.

char32_t takeCharacter(const wchar_t*& next) noexcept;
char32_t takeCharacter(const char*& next) noexcept;

// Each writes a character, not terminated, and returns the number of elements. What is no character
// becomes the replacement character.

std::size_t encode(char32_t code, char (&utf8)[kMaximumUtf8Length]) noexcept;
std::size_t encode(char32_t code, wchar_t (&wide)[kMaximumWideLength]) noexcept;

/// Passes a text in UTF-8 to write(bytes, count), in one piece where it has up to 1,023 characters.
/// Does not allocate.
template <typename Write>
void writeUtf8(const wchar_t* text, const Write& write) noexcept {
    constexpr std::size_t kBufferSize = 4096;
    char buffer[kBufferSize];
    std::size_t used = 0;
    while (*text != L'\0') {
        if (used + kMaximumUtf8Length > kBufferSize) {
            write(buffer, used);
            used = 0;
        }
        char bytes[kMaximumUtf8Length];
        const std::size_t length = encode(takeCharacter(text), bytes);
        for (std::size_t i = 0; i < length; ++i) {
            buffer[used++] = bytes[i];
        }
    }
    write(buffer, used);
}

}  // namespace trelis::detail
