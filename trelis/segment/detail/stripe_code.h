#pragma once

#include <cstddef>
#include <span>

namespace NSegmentUndo::detail {

/// The most bytes that a value can take in the run-length code.
inline constexpr std::size_t kLargestCodeOfValue = 2;

/// Writes the run-length code of the values of a row and returns its end; `code` has room for
/// kLargestCodeOfValue bytes for each of them.
///
///   0xA1, n       n + 1 values of 0; at most 129 are written in one run
///   0xA2, n       n + 1 values of 255, likewise
///   0xA0, b       the value b
///   other byte b  the value b; single 0 and 255 are written so, 0xA0 to 0xAF are not
unsigned char* encodeStripe(std::span<const unsigned char> values, unsigned char* code);

/// Reads a code into `values`, returns how many were set, and ignores what does not fit. A code
/// that ends behind 0xA0, 0xA1 or 0xA2 calls `Crash` with "inconsistent rle 0xa0", "... 0xa1" or
/// "... 0xa2".
std::size_t decodeStripe(std::span<const unsigned char> code, std::span<unsigned char> values);

}  // namespace NSegmentUndo::detail
