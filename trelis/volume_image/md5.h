#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <trelis/export.h>

namespace trelis {

/// An MD5 digest: 16 bytes in the order of RFC 1321.
struct TRELIS_API MD5Hash {
    std::array<unsigned char, 16> bytes{};

    bool operator==(const MD5Hash& other) const = default;

    /// 32 upper-case hexadecimal digits, byte 0 first, its high half before its low one.
    std::wstring ToString() const;
};

/// Computes the MD5 digest (R. Rivest, RFC 1321) of bytes that come in any number of pieces. Two
/// hashers may be used by two threads, one by one only. MD5 finds damage; it is no protection
/// against forgery.
class TRELIS_API MD5Hasher {
  public:
    /// Adds `length` bytes. BadCast, and nothing added, when there are more than 0x7FFFFFFF.
    void AddData(const void* data, std::size_t length);

    /// The digest of all bytes so far. More may be added afterwards.
    void GetHash(MD5Hash& hash) const;

    /// The digest of one buffer. Fails as `AddData` does.
    static void GetHash(const void* data, std::size_t length, MD5Hash& hash);

  private:
    std::array<std::uint32_t, 4> state_{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::uint64_t length_ = 0;
    /// The beginning of a block, length_ % 64 bytes.
    std::array<unsigned char, 64> pending_{};
};

}  // namespace trelis
