#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/detail/inside_bits.h>

namespace NSegmentAlgorithms::detail {

using Byte = unsigned char;

/// Coordinates from `begin` up to but not including `end`.
struct Range {
    int begin = 0;
    int end = 0;
};

struct BoundaryVoxel {
    int x;
    int y;
    Byte value;
};

/// Finds the voxels that have a face neighbour on the other side of the 128 threshold, plane by
/// plane. The border of the grid is no boundary. Refers to the segment.
class BoundaryFinder {
  public:
    /// Without `alongZ` only the four neighbours in the plane count.
    explicit BoundaryFinder(const NSegment::SegmentVolume& segment, bool alongZ = true)
        : segment_(segment),
          alongZ_(alongZ),
          words_(static_cast<std::size_t>(wordsPerRow(segment))) {
        int xmin, ymin, zmin, xmax, ymax, zmax;
        segment.GetBoundingBoxForIteration(xmin, ymin, zmin, xmax, ymax, zmax);
        if (xmin < segment.xsize()) {
            x_ = {std::max(xmin - 1, 0), std::min(xmax + 2, segment.xsize())};
            y_ = {std::max(ymin - 1, 0), std::min(ymax + 2, segment.ysize())};
            z_ = {std::max(zmin - 1, 0), std::min(zmax + 2, segment.zsize())};
        }
        for (Plane& plane : planes_) {
            plane.bits.resize(words_ * static_cast<std::size_t>(y_.end - y_.begin));
        }
    }

    /// Where boundary voxels can be; empty without inside voxels.
    Range x() const { return x_; }
    Range y() const { return y_; }
    Range z() const { return z_; }

    /// The boundary voxels of a plane in raster order. Fastest with planes in order.
    void find(int z, std::vector<BoundaryVoxel>& voxels) {
        voxels.clear();
        if (z < z_.begin || z >= z_.end) {
            return;
        }
        const Plane& here = load(z);
        const Plane& below = load(alongZ_ ? std::max(z - 1, z_.begin) : z);
        const Plane& above = load(alongZ_ ? std::min(z + 1, z_.end - 1) : z);
        for (int y = y_.begin; y < y_.end; ++y) {
            const std::uint64_t* row = rowOf(here, y);
            const std::uint64_t* others[] = {rowOf(here, std::max(y - 1, y_.begin)),
                                             rowOf(here, std::min(y + 1, y_.end - 1)),
                                             rowOf(below, y), rowOf(above, y)};
            for (std::size_t w = 0; w < words_; ++w) {
                std::uint64_t bits = alongRow(row, w);
                for (const std::uint64_t* other : others) {
                    bits |= row[w] ^ other[w];
                }
                for (; bits != 0; bits &= bits - 1) {
                    const int x = static_cast<int>(w) * kBitsPerWord + std::countr_zero(bits);
                    voxels.push_back({x, y, static_cast<Byte>(segment_.pixel(x, y, z))});
                }
            }
        }
    }

  private:
    struct Plane {
        int z = -1;
        std::vector<std::uint64_t> bits;
    };

    /// Bits of the voxels that differ from a neighbour in their row.
    std::uint64_t alongRow(const std::uint64_t* row, std::size_t w) const {
        // The border voxels are their own neighbours.
        const std::uint64_t first = w > 0 ? row[w - 1] >> (kBitsPerWord - 1) : row[w] & 1U;
        const std::uint64_t low = row[w] << 1 | first;
        std::uint64_t high = row[w] >> 1;
        const int last = segment_.xsize() - 1 - static_cast<int>(w) * kBitsPerWord;
        if (last < kBitsPerWord) {
            high |= row[w] & std::uint64_t{1} << last;
        } else {
            high |= row[w + 1] << (kBitsPerWord - 1);
        }
        const std::uint64_t used =
            last + 1 < kBitsPerWord ? (std::uint64_t{1} << (last + 1)) - 1 : ~std::uint64_t{0};
        return ((row[w] ^ low) | (row[w] ^ high)) & used;
    }

    const std::uint64_t* rowOf(const Plane& plane, int y) const {
        return plane.bits.data() + words_ * static_cast<std::size_t>(y - y_.begin);
    }

    const Plane& load(int z) {
        Plane& plane = planes_[z % kPlanes];
        if (plane.z != z) {
            for (int y = y_.begin; y < y_.end; ++y) {
                insideBitsOfRow(
                    segment_, y, z,
                    plane.bits.data() + words_ * static_cast<std::size_t>(y - y_.begin));
            }
            plane.z = z;
        }
        return plane;
    }

    static constexpr int kPlanes = 3;

    const NSegment::SegmentVolume& segment_;
    bool alongZ_;
    std::size_t words_;
    Range x_;
    Range y_;
    Range z_;
    Plane planes_[kPlanes];
};

}  // namespace NSegmentAlgorithms::detail
