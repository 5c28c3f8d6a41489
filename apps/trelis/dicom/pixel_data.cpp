#include <bit>

#include <fmt/format.h>

#include <apps/trelis/dicom/pixel_data.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

static_assert(std::endian::native == std::endian::little, "pixels are read as little-endian bytes");

constexpr int kBitsPerByte = 8;
constexpr std::uint64_t kLargestDecoded = std::uint64_t{1} << 29;  // bytes

std::uint64_t bytesOf(const PixelFormat& format, std::uint64_t count) {
    return count * static_cast<std::uint64_t>(format.bitsAllocated / kBitsPerByte);
}

DcmElement& pixelElement(const DicomFile& file) {
    DcmElement* element = nullptr;
    if (file.dataset()->findAndGetElement(DCM_PixelData, element).bad() || element == nullptr) {
        throw Unusable("has no pixel data");
    }
    return *element;
}

bool isCompressed(const DicomFile& file) {
    return DcmXfer(file.dataset()->getCurrentXfer()).isEncapsulated() == OFTrue;
}

void requireLength(std::uint64_t declared, std::uint64_t actual) {
    const std::uint64_t padded = declared + declared % 2;
    if (actual != declared && actual != padded) {
        throw Unusable(fmt::format("declares {} bytes of pixels but has {}", declared, actual));
    }
}

void decode(DicomFile& file) {
    const DcmXfer syntax(file.dataset()->getCurrentXfer());
    if (file.dataset()->chooseRepresentation(EXS_LittleEndianExplicit, nullptr).bad()) {
        throw Unusable(fmt::format("has compressed pixel data ({}) that cannot be decoded",
                                   syntax.getXferName()));
    }
}

/// The pixels as little-endian bytes, in the memory of the file.
const unsigned char* pixelBytes(const DicomFile& file) {
    DcmElement& element = pixelElement(file);
    Uint16* words = nullptr;
    if (element.getUint16Array(words).good() && words != nullptr) {
        return reinterpret_cast<const unsigned char*>(words);
    }
    Uint8* bytes = nullptr;
    if (element.getUint8Array(bytes).bad() || bytes == nullptr) {
        throw Unusable("has pixel data that cannot be read");
    }
    return bytes;
}

/// Moves the stored bits of `Bytes` bytes each down and signed values up. Returns which other bits
/// any of the values has.
template <int Bytes, typename Value>
std::uint32_t unpack(const unsigned char* bytes, const PixelFormat& format, std::uint64_t count,
                     Value* pixels) {
    const int shift = format.highBit + 1 - format.bitsStored;
    const auto mask = static_cast<std::uint32_t>((std::uint64_t{1} << format.bitsStored) - 1);
    const std::uint32_t sign = format.isSigned ? std::uint32_t{1} << (format.bitsStored - 1) : 0;
    const std::uint32_t middle = std::uint32_t{1} << (sizeof(Value) * kBitsPerByte - 1);
    const std::uint32_t raise = format.isSigned ? middle - sign : 0;
    std::uint32_t all = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint32_t raw = 0;
        for (int byte = 0; byte < Bytes; ++byte) {
            raw |= static_cast<std::uint32_t>(bytes[i * Bytes + static_cast<std::uint64_t>(byte)])
                   << (byte * kBitsPerByte);
        }
        all |= raw;
        pixels[i] = static_cast<Value>((((raw >> shift) & mask) ^ sign) + raise);
    }
    return all & ~(mask << shift);
}

/// As `unpack`.
template <typename Value>
std::uint32_t readInto(DicomFile& file, const PixelFormat& format, std::uint64_t count,
                       Value* pixels) {
    requirePixels(file, format, count);
    if (isCompressed(file)) {
        decode(file);
        requireLength(bytesOf(format, count), pixelElement(file).getLength());
        if (const PixelFormat decoded(file.attributes());
            decoded.bitsAllocated != format.bitsAllocated) {
            throw Unusable("has compressed pixel data of another size than it declares");
        }
    }
    const unsigned char* bytes = pixelBytes(file);
    switch (format.bitsAllocated) {
        case 8:
            return unpack<1>(bytes, format, count, pixels);
        case 16:
            return unpack<2>(bytes, format, count, pixels);
        default:
            return unpack<4>(bytes, format, count, pixels);
    }
}

}  // namespace

PixelFormat::PixelFormat(const AttributeReader& attributes)
    : bitsAllocated(attributes.integer(DCM_BitsAllocated)),
      bitsStored(attributes.integer(DCM_BitsStored)),
      highBit(attributes.findInteger(DCM_HighBit).value_or(bitsStored - 1)),
      isSigned(attributes.integer(DCM_PixelRepresentation) != 0) {
    if (attributes.findInteger(DCM_SamplesPerPixel).value_or(1) != 1) {
        throw Unusable("has more than one value per pixel");
    }
    const std::string meaning = attributes.text(DCM_PhotometricInterpretation);
    if (meaning != "MONOCHROME2") {
        throw Unusable(
            fmt::format("has pixels of the kind {}, not MONOCHROME2", inQuotes(meaning)));
    }
    const bool known = bitsAllocated == 8 || bitsAllocated == 16 || bitsAllocated == 32;
    if (!known || bitsStored < 1 || bitsStored > bitsAllocated || highBit < bitsStored - 1 ||
        highBit >= bitsAllocated) {
        throw Unusable(
            fmt::format("has pixels of {} bits in {} up to bit {}, which is not supported",
                        bitsStored, bitsAllocated, highBit));
    }
}

void requirePixels(const DicomFile& file, const PixelFormat& format, std::uint64_t count) {
    const DcmXfer syntax(file.dataset()->getCurrentXfer());
    if (syntax.getByteOrder() == EBO_BigEndian && format.bitsAllocated > 16) {
        throw Unusable("has pixels of 32 bits in big-endian order, which is not supported");
    }
    const std::uint64_t declared = bytesOf(format, count);
    if (!isCompressed(file)) {
        requireLength(declared, pixelElement(file).getLength());
    } else if (declared > kLargestDecoded) {
        throw Unusable(
            fmt::format("declares {} bytes of pixels, too many for compressed data", declared));
    }
}

void readPixels(DicomFile& file, const PixelFormat& format, std::uint64_t count,
                std::uint16_t* pixels) {
    readInto(file, format, count, pixels);
}

void readPixels(DicomFile& file, const PixelFormat& format, std::uint64_t count,
                std::uint32_t* pixels) {
    if (readInto(file, format, count, pixels) != 0) {
        throw Unusable("has values beyond its stored bits");
    }
}

}  // namespace app
