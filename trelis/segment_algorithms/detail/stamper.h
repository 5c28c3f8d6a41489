#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <trelis/segment_algorithms/detail/boundary_voxels.h>
#include <trelis/segment_algorithms/detail/plane_ring.h>

namespace NSegmentAlgorithms::detail {

/// How many voxels something extends to the low and to the high side of a voxel.
struct Reach {
    int low = 0;
    int high = 0;

    int size() const { return low + high + 1; }
};

/// Bytes around a centre voxel, x fastest, then y, then z.
struct Kernel {
    Reach reach[3];
    std::vector<Byte> values;

    /// Offsets from the centre.
    std::size_t indexOf(int dx, int dy, int dz) const {
        const std::ptrdiff_t plane = dz + reach[2].low;
        const std::ptrdiff_t row = plane * reach[1].size() + dy + reach[1].low;
        return static_cast<std::size_t>(row * reach[0].size() + dx + reach[0].low);
    }
};

/// Raises every voxel around each source to Weighting::apply(weight of the source, kernel value),
/// plane by plane. `apply` must not fall with either argument and give 0 for a kernel value of 0.
///
/// A source is left out of the voxels at which one of its face neighbours, itself a source of no
/// smaller weight, has a kernel value that is no smaller: what the neighbour writes there is no
/// smaller either. (Of two neighbours of one weight the first in raster order counts as larger, so
/// that no two wait for each other.) What remains of a kernel's volume is mostly a part of its
/// shell. It is kept, for each of the 64 sets of larger neighbours, as a list of blocks of 16
/// voxels along x.
template <typename Weighting>
class Stamper {
  public:
    /// Sources lie within the ranges of x and y.
    Stamper(const Kernel& kernel, Range x, Range y)
        : reach_{kernel.reach[0], kernel.reach[1], kernel.reach[2]},
          sourcesX_(x),
          sourcesY_(y),
          ring_({x.begin - reach_[0].low, x.end + reach_[0].high},
                {y.begin - reach_[1].low, y.end + reach_[1].high}, reach_[2].size(), Byte{0}),
          weightStride_(x.end - x.begin + 2) {
        padKernel(kernel);
        const int rows = y.end - y.begin + 2;
        for (std::vector<Byte>& plane : weights_) {
            plane.assign(static_cast<std::size_t>(rows) * static_cast<std::size_t>(weightStride_),
                         0);
        }
        rowBlocks_.resize(static_cast<std::size_t>(ring_.y().end - ring_.y().begin));
    }

    /// The sources of a plane; `value` is the weight, at least 1. To be called for consecutive
    /// planes, once more after the last one without sources; what is stamped is the plane before.
    void add(int z, const std::vector<BoundaryVoxel>& sources) {
        std::vector<Byte>& weights = weights_[index(z)];
        for (const BoundaryVoxel& old : sources_[index(z)]) {
            weights[weightIndex(old)] = 0;
        }
        for (const BoundaryVoxel& source : sources) {
            weights[weightIndex(source)] = source.value;
        }
        sources_[index(z)] = sources;
        stamp(z - 1);
    }

    /// Calls take(y, x of the first value, values, count) for the rows of plane z that hold
    /// something, and wipes the plane. Complete when the sources of plane z + reach on the low
    /// side are stamped.
    template <typename Take>
    void flush(int z, const Take& take) {
        const PlaneRing<Byte>::Plane plane = ring_.plane(z);
        for (int y = ring_.y().begin; y < ring_.y().end; ++y) {
            ring_.forEachRun(plane.touched(y), [&](int x, int count) {
                take(y, x, static_cast<const Byte*>(plane.at(x, y)), count);
            });
        }
        plane.wipe();
    }

  private:
    static constexpr int kBlock = 16;
    static_assert(kBlock <= PlaneRing<Byte>::kPadding);

    /// Larger neighbours: one bit for each direction.
    static constexpr int kDirections = 6;
    static constexpr unsigned kSets = 1U << kDirections;

    struct Block {
        std::ptrdiff_t target;  ///< from the place of the source in a plane of the ring
        std::size_t kernel;     ///< in the padded kernel
    };

    /// What is to be stamped, with where each plane of the kernel begins.
    struct Stamp {
        std::vector<Block> blocks;
        std::vector<std::size_t> planes;
    };

    static std::size_t index(int z) { return static_cast<std::size_t>((z + 3) % 3); }

    std::size_t weightIndex(const BoundaryVoxel& v) const {
        const std::ptrdiff_t row = v.y - sourcesY_.begin + 1;
        return static_cast<std::size_t>(row * weightStride_ + v.x - sourcesX_.begin + 1);
    }

    /// Copies the kernel with zeros around it on all sides, after each row as many as a block that
    /// starts in it can read.
    void padKernel(const Kernel& kernel) {
        const auto width = static_cast<std::size_t>(reach_[0].size());
        kernelRow_ = width + kBlock;
        kernelPlane_ = static_cast<std::size_t>(reach_[1].size() + 1) * kernelRow_;
        kernelBegin_ = kBlock + kernelPlane_;
        kernel_.assign(
            static_cast<std::size_t>(reach_[2].size() + 2) * kernelPlane_ + 2 * std::size_t{kBlock},
            0);
        for (int dz = 0; dz < reach_[2].size(); ++dz) {
            for (int dy = 0; dy < reach_[1].size(); ++dy) {
                const Byte* row =
                    kernel.values.data() +
                    kernel.indexOf(-reach_[0].low, dy - reach_[1].low, dz - reach_[2].low);
                std::copy_n(row, width, kernel_.data() + rowBegin(dy, dz));
            }
        }
        full_.resize(kernel_.size());
        std::transform(kernel_.begin(), kernel_.end(), full_.begin(),
                       [](Byte k) { return Weighting::apply(kFullWeight, k); });
    }

    std::size_t rowBegin(int row, int plane) const {
        return kernelBegin_ + static_cast<std::size_t>(plane) * kernelPlane_ +
               static_cast<std::size_t>(row) * kernelRow_;
    }

    /// The stamp of a source with the given set of larger neighbours.
    const Stamp& stampFor(unsigned set) {
        Stamp& stamp = stamps_[set];
        if (!stamp.planes.empty()) {
            return stamp;
        }
        const auto x = std::ptrdiff_t{1};
        const auto y = static_cast<std::ptrdiff_t>(kernelRow_);
        const auto z = static_cast<std::ptrdiff_t>(kernelPlane_);
        const std::ptrdiff_t steps[kDirections] = {-x, x, -y, y, -z, z};
        std::vector<Byte> needed(kernel_.size());
        const std::size_t count = kernel_.size() - 2 * kernelBegin_;
        std::transform(kernel_.begin(), kernel_.end(), needed.begin(),
                       [](Byte k) { return static_cast<Byte>(k > 0 ? 1 : 0); });
        for (int direction = 0; direction < kDirections; ++direction) {
            if ((set >> direction & 1U) == 0) {
                continue;
            }
            const Byte* own = kernel_.data() + kernelBegin_;
            const Byte* others = own - steps[direction];
            Byte* result = needed.data() + kernelBegin_;
            for (std::size_t i = 0; i < count; ++i) {
                result[i] = own[i] > others[i] ? result[i] : Byte{0};
            }
        }
        for (int plane = 0; plane < reach_[2].size(); ++plane) {
            stamp.planes.push_back(stamp.blocks.size());
            for (int row = 0; row < reach_[1].size(); ++row) {
                addBlocks(needed, row, plane, stamp);
            }
        }
        stamp.planes.push_back(stamp.blocks.size());
        return stamp;
    }

    void addBlocks(const std::vector<Byte>& needed, int row, int plane, Stamp& stamp) const {
        const std::size_t begin = rowBegin(row, plane);
        for (std::size_t i = begin; i < begin + kernelRow_; ++i) {
            if (needed[i] != 0) {
                const auto target = (row - reach_[1].low) * ring_.stride() +
                                    static_cast<std::ptrdiff_t>(i - begin) - reach_[0].low;
                stamp.blocks.push_back({target, i});
                i += kBlock - 1;
            }
        }
    }

    /// The neighbours that are larger sources, in the order of the bits.
    unsigned largerNeighbours(const BoundaryVoxel& source, int z) const {
        const std::size_t at = weightIndex(source);
        const auto stride = static_cast<std::size_t>(weightStride_);
        const std::vector<Byte>& here = weights_[index(z)];
        const Byte low[] = {here[at - 1], here[at - stride], weights_[index(z - 1)][at]};
        const Byte high[] = {here[at + 1], here[at + stride], weights_[index(z + 1)][at]};
        unsigned set = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const unsigned lowBit = low[axis] >= source.value ? 1U : 0U;
            const unsigned highBit = high[axis] > source.value ? 2U : 0U;
            set |= (lowBit | highBit) << (2 * axis);
        }
        return set;
    }

    void stamp(int z) {
        const std::vector<BoundaryVoxel>& sources = sources_[index(z)];
        if (sources.empty()) {
            return;
        }
        touchAround(z, sources);
        planes_.resize(static_cast<std::size_t>(reach_[2].size()));
        for (int dz = 0; dz < reach_[2].size(); ++dz) {
            planes_[static_cast<std::size_t>(dz)] =
                ring_.plane(z + dz - reach_[2].low).at(ring_.x().begin, ring_.y().begin);
        }
        for (const BoundaryVoxel& source : sources) {
            const Stamp& stamp = stampFor(largerNeighbours(source, z));
            const std::ptrdiff_t place =
                (source.y - ring_.y().begin) * ring_.stride() + source.x - ring_.x().begin;
            for (std::size_t dz = 0; dz < planes_.size(); ++dz) {
                Byte* target = planes_[dz] + place;
                const Block* block = stamp.blocks.data() + stamp.planes[dz];
                const Block* end = stamp.blocks.data() + stamp.planes[dz + 1];
                if (source.value == kFullWeight) {
                    for (; block != end; ++block) {
                        raise(target + block->target, full_.data() + block->kernel);
                    }
                } else {
                    for (; block != end; ++block) {
                        raiseWeighted(target + block->target, kernel_.data() + block->kernel,
                                      source.value);
                    }
                }
            }
        }
    }

    static void raise(Byte* target, const Byte* values) {
        Byte a[kBlock];
        Byte b[kBlock];
        std::memcpy(a, target, kBlock);
        std::memcpy(b, values, kBlock);
        for (int i = 0; i < kBlock; ++i) {
            a[i] = a[i] > b[i] ? a[i] : b[i];
        }
        std::memcpy(target, a, kBlock);
    }

    static void raiseWeighted(Byte* target, const Byte* kernel, Byte weight) {
        Byte b[kBlock];
        for (int i = 0; i < kBlock; ++i) {
            b[i] = Weighting::apply(weight, kernel[i]);
        }
        raise(target, b);
    }

    /// Tells the ring what the sources of a plane write.
    void touchAround(int z, const std::vector<BoundaryVoxel>& sources) {
        std::fill(rowBlocks_.begin(), rowBlocks_.end(), 0);
        for (std::size_t i = 0; i < sources.size();) {
            const int row = sources[i].y;
            std::uint64_t blocks = 0;
            for (; i < sources.size() && sources[i].y == row; ++i) {
                const int x = sources[i].x;
                blocks |= ring_.blocksOf({x - reach_[0].low, x + reach_[0].high + 1});
            }
            for (int y = row - reach_[1].low; y <= row + reach_[1].high; ++y) {
                rowBlocks_[static_cast<std::size_t>(y - ring_.y().begin)] |= blocks;
            }
        }
        for (int dz = -reach_[2].low; dz <= reach_[2].high; ++dz) {
            const PlaneRing<Byte>::Plane plane = ring_.plane(z + dz);
            for (int y = ring_.y().begin; y < ring_.y().end; ++y) {
                plane.touch(y, rowBlocks_[static_cast<std::size_t>(y - ring_.y().begin)]);
            }
        }
    }

    static constexpr Byte kFullWeight = 255;

    Reach reach_[3];
    Range sourcesX_;
    Range sourcesY_;
    PlaneRing<Byte> ring_;
    std::vector<Byte*> planes_;
    std::vector<std::uint64_t> rowBlocks_;

    /// Of the last three planes: weights with a border of zeros, and sources.
    int weightStride_;
    std::array<std::vector<Byte>, 3> weights_;
    std::array<std::vector<BoundaryVoxel>, 3> sources_;

    std::vector<Byte> kernel_;
    std::vector<Byte> full_;  ///< the kernel as a source of full weight writes it
    std::size_t kernelRow_ = 0;
    std::size_t kernelPlane_ = 0;
    std::size_t kernelBegin_ = 0;
    std::array<Stamp, kSets> stamps_;
};

}  // namespace NSegmentAlgorithms::detail
