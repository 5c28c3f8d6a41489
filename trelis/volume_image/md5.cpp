#include <trelis/volume_image/md5.h>

#include <algorithm>
#include <bit>

#include <trelis/foundation/bad_cast.h>

namespace trelis {

namespace {

using State = std::array<std::uint32_t, 4>;

constexpr std::size_t kBlockLength = 64;
constexpr std::size_t kLongestPiece = 0x7FFFFFFF;

/// The place in a block of the message length, which ends the last one.
constexpr std::size_t kLengthOffset = 56;

/// The integer part of 2^32 |sin(i + 1)|.
constexpr std::uint32_t kSines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};

std::uint32_t loadLittleEndian(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

/// One of the four rounds: 16 steps, of which step i takes word (i kStride + kOffset) % 16 of the
/// block. `add(sum, x, y, z)` adds the round's function of x, y, z to the sum. Inline, or the state
/// goes through memory.
template <int kRound, int kStride, int kOffset, typename Add>
inline void mix(State& state, const std::uint32_t* words, const int (&shifts)[4], const Add& add) {
    auto& [a, b, c, d] = state;
    for (int i = 0; i < 16; i += 4) {
        const auto term = [&](int step) {
            return words[(step * kStride + kOffset) % 16] + kSines[kRound * 16 + step];
        };
        a = b + std::rotl(add(a + term(i), b, c, d), shifts[0]);
        d = a + std::rotl(add(d + term(i + 1), a, b, c), shifts[1]);
        c = d + std::rotl(add(c + term(i + 2), d, a, b), shifts[2]);
        b = c + std::rotl(add(b + term(i + 3), c, d, a), shifts[3]);
    }
}

void addBlocks(State& result, const unsigned char* bytes, std::size_t count) {
    using Word = std::uint32_t;
    State state = result;
    for (; count > 0; --count, bytes += kBlockLength) {
        Word words[16];
        for (std::size_t i = 0; i < 16; ++i) {
            words[i] = loadLittleEndian(bytes + 4 * i);
        }
        const State before = state;
        mix<0, 1, 0>(state, words, {7, 12, 17, 22},
                     [](Word sum, Word x, Word y, Word z) { return sum + (z ^ (x & (y ^ z))); });
        // Two sums instead of (x & z) | (y & ~z): the first term need not wait for x.
        mix<1, 5, 1>(state, words, {5, 9, 14, 20},
                     [](Word sum, Word x, Word y, Word z) { return sum + (y & ~z) + (x & z); });
        mix<2, 3, 5>(state, words, {4, 11, 16, 23},
                     [](Word sum, Word x, Word y, Word z) { return sum + (x ^ (y ^ z)); });
        mix<3, 7, 0>(state, words, {6, 10, 15, 21},
                     [](Word sum, Word x, Word y, Word z) { return sum + (y ^ (x | ~z)); });
        for (std::size_t i = 0; i < state.size(); ++i) {
            state[i] += before[i];
        }
    }
    result = state;
}

}  // namespace

std::wstring MD5Hash::ToString() const {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

void MD5Hasher::AddData(const void* data, std::size_t length) {
    if (length > kLongestPiece) {
        throw BadCast();
    }
    const auto* bytes = static_cast<const unsigned char*>(data);
    const auto pending = static_cast<std::size_t>(length_ % kBlockLength);
    length_ += length;
    if (pending > 0) {
        const std::size_t taken = std::min(length, kBlockLength - pending);
        std::copy_n(bytes, taken, pending_.data() + pending);
        bytes += taken;
        if (pending + taken < kBlockLength) {
            return;
        }
        addBlocks(state_, pending_.data(), 1);
        length -= taken;
    }
    const std::size_t blocks = length / kBlockLength;
    addBlocks(state_, bytes, blocks);
    std::copy_n(bytes + blocks * kBlockLength, length % kBlockLength, pending_.data());
}

void MD5Hasher::GetHash(MD5Hash& hash) const {
    constexpr unsigned char kPadding[kBlockLength] = {0x80};
    MD5Hasher padded = *this;
    const auto used = static_cast<std::size_t>(length_ % kBlockLength);
    const std::size_t blocks = used < kLengthOffset ? 0 : kBlockLength;
    padded.AddData(kPadding, blocks + kLengthOffset - used);
    const std::uint64_t bits = length_ * 8;
    for (std::size_t i = 0; i < sizeof(bits); ++i) {
        padded.pending_[kLengthOffset + i] = static_cast<unsigned char>(bits >> (8 * i));
    }
    addBlocks(padded.state_, padded.pending_.data(), 1);
    for (std::size_t i = 0; i < hash.bytes.size(); ++i) {
        hash.bytes[i] = static_cast<unsigned char>(padded.state_[i / 4] >> (i % 4 * 8));
    }
}

void MD5Hasher::GetHash(const void* data, std::size_t length, MD5Hash& hash) {
    MD5Hasher hasher;
    hasher.AddData(data, length);
    hasher.GetHash(hash);
}

}  // namespace trelis
