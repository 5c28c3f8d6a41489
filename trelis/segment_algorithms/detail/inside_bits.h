#pragma once

#include <algorithm>
#include <cstdint>

#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms::detail {

constexpr int kBitsPerWord = 64;

/// The words that hold one bit for each voxel of a row.
inline int wordsPerRow(const NSegment::SegmentVolume& segment) {
    return segment.xsize() / kBitsPerWord + (segment.xsize() % kBitsPerWord > 0 ? 1 : 0);
}

/// The top bits of eight bytes, those of the first byte lowest.
inline std::uint32_t topBitsOf8(const unsigned char* bytes) {
    std::uint64_t word = 0;
    for (int i = 0; i < 8; ++i) {
        word |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    }
    // The product gathers bit i of the eight ones in bit 56 + i.
    return static_cast<std::uint32_t>((word >> 7 & 0x0101010101010101U) * 0x0102040810204080U >>
                                      56);
}

/// Sets bit x % 64 of word x / 64 for every inside voxel (128 and above) of the row at (y, z), all
/// others to 0. `words` has `wordsPerRow` of them. Empty and full cells cost nothing per voxel.
inline void insideBitsOfRow(const NSegment::SegmentVolume& segment, int y, int z,
                            std::uint64_t* words) {
    using NSegment::VolumeCell;
    std::fill_n(words, wordsPerRow(segment), std::uint64_t{0});
    const VolumeCell* cells = segment.Cells() + segment.cellIndex(0, y, z);
    const int offset = NSegment::SegmentVolume::offsetInCell(0, y, z);
    for (int i = 0; i < segment.superBlockSizeX(); ++i) {
        if (cells[i].empty()) {
            continue;
        }
        std::uint64_t bits = 0xFFFFFFFFU;
        if (cells[i].allocated()) {
            const unsigned char* row = cells[i].data() + offset;
            bits = topBitsOf8(row) | topBitsOf8(row + 8) << 8 | topBitsOf8(row + 16) << 16 |
                   topBitsOf8(row + 24) << 24;
        }
        words[i / 2] |= bits << (i % 2 * VolumeCell::kSizeX);
    }
}

}  // namespace NSegmentAlgorithms::detail
