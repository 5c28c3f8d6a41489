#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <trelis/volume_image/md5.h>

namespace trelis::detail {

inline constexpr std::size_t kCacheFileHeaderBytes = 212;
inline constexpr wchar_t kCacheFileTypeTag[] = L"TRL6";

/// What stands before the pixels in a cache file. Texts are stored narrowed, the low byte of each
/// character, and come back as these bytes.
struct CacheFileHeader {
    std::wstring typeTag = kCacheFileTypeTag;
    std::uint32_t xsize = 0;
    std::uint32_t ysize = 0;
    std::int32_t zsize = 0;
    double xres = 0.0;
    double yres = 0.0;
    double zres = 0.0;
    double rescaleSlope = 0.0;
    double rescaleIntercept = 0.0;
    double pixelSlope = 0.0;
    std::int32_t pixelOffset = 0;
    std::wstring imageId;
    std::wstring seriesId;
    MD5Hash checksum;
};

using CacheFileHeaderBytes = std::array<unsigned char, kCacheFileHeaderBytes>;

CacheFileHeaderBytes encode(const CacheFileHeader& header);

/// Takes any bytes. The type tag comes back with all its characters, identifiers up to the first
/// zero.
CacheFileHeader decode(const CacheFileHeaderBytes& bytes);

}  // namespace trelis::detail
