#pragma once

#include <cstddef>
#include <cstdint>

#include <apps/trelis/dicom/dicom_file.h>

namespace app {

/// How stored pixels lie in the bits of the file.
struct PixelFormat {
    /// `Unusable` for what is not one grey value in 8, 16 or 32 bits per pixel, brighter when
    /// larger.
    explicit PixelFormat(const AttributeReader& attributes);

    int bitsAllocated;
    int bitsStored;
    int highBit;
    bool isSigned;
};

/// Reads `count` pixels of a file that was read whole, decoding compressed ones. Signed
/// values are raised by 2^(bits of a value - 1). `Unusable` where the file does not hold exactly as
/// many. Of values of 16 bits only the stored bits count, such of 32 bits must have no others.
void readPixels(DicomFile& file, const PixelFormat& format, std::uint64_t count,
                std::uint16_t* pixels);
void readPixels(DicomFile& file, const PixelFormat& format, std::uint64_t count,
                std::uint32_t* pixels);

/// Throws `Unusable` where the file does not hold the bytes of exactly so many pixels. Allocates
/// nothing, so that it is asked before the memory for the pixels is taken.
void requirePixels(const DicomFile& file, const PixelFormat& format, std::uint64_t count);

}  // namespace app
