#include <trelis/volume_image/detail/cache_file_header.h>

#include <algorithm>
#include <bit>
#include <type_traits>

namespace trelis::detail {

namespace {

constexpr std::size_t kTypeTagBytes = 4;
constexpr std::size_t kIdBytes = 64;

/// The unsigned integer that has the bits of a field.
template <typename Number>
using Bits = std::conditional_t<sizeof(Number) == 8, std::uint64_t, std::uint32_t>;

/// Writes fields one after another, numbers with the low byte first.
class Encoder {
  public:
    explicit Encoder(unsigned char* next) : next_(next) {}

    template <typename Number>
    void number(Number value) {
        const auto bits = std::bit_cast<Bits<Number>>(value);
        for (std::size_t i = 0; i < sizeof(bits); ++i) {
            *next_++ = static_cast<unsigned char>(bits >> (8 * i));
        }
    }
    /// What is missing to the length stays as it is.
    void characters(const std::wstring& text, std::size_t length) {
        const std::size_t used = std::min(text.size(), length);
        std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(used), next_,
                       [](wchar_t wide) { return static_cast<unsigned char>(wide); });
        next_ += length;
    }
    void text(const std::wstring& text, std::size_t length) { characters(text, length); }
    void hash(const MD5Hash& hash) { next_ = std::ranges::copy(hash.bytes, next_).out; }

  private:
    unsigned char* next_;
};

/// The counterpart of `Encoder`.
class Decoder {
  public:
    explicit Decoder(const unsigned char* next) : next_(next) {}

    template <typename Number>
    void number(Number& value) {
        Bits<Number> bits = 0;
        for (std::size_t i = 0; i < sizeof(bits); ++i) {
            bits |= static_cast<Bits<Number>>(*next_++) << (8 * i);
        }
        value = std::bit_cast<Number>(bits);
    }
    void characters(std::wstring& text, std::size_t length) {
        text.assign(next_, next_ + length);
        next_ += length;
    }
    void text(std::wstring& text, std::size_t length) {
        characters(text, length);
        text.resize(std::min(text.find(L'\0'), length));
    }
    void hash(MD5Hash& hash) {
        std::copy_n(next_, hash.bytes.size(), hash.bytes.begin());
        next_ += hash.bytes.size();
    }

  private:
    const unsigned char* next_;
};

/// The layout: the fields in the order of the file, without gaps.
template <typename Codec, typename Header>
void passFields(Codec codec, Header& header) {
    codec.characters(header.typeTag, kTypeTagBytes);
    codec.number(header.xsize);
    codec.number(header.ysize);
    codec.number(header.zsize);
    codec.number(header.xres);
    codec.number(header.yres);
    codec.number(header.zres);
    codec.number(header.rescaleSlope);
    codec.number(header.rescaleIntercept);
    codec.number(header.pixelSlope);
    codec.number(header.pixelOffset);
    codec.text(header.imageId, kIdBytes);
    codec.text(header.seriesId, kIdBytes);
    codec.hash(header.checksum);
}

}  // namespace

CacheFileHeaderBytes encode(const CacheFileHeader& header) {
    CacheFileHeaderBytes bytes{};
    passFields(Encoder(bytes.data()), header);
    return bytes;
}

CacheFileHeader decode(const CacheFileHeaderBytes& bytes) {
    CacheFileHeader header;
    passFields(Decoder(bytes.data()), header);
    return header;
}

}  // namespace trelis::detail
