#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <trelis/segment_algorithms/detail/boundary_voxels.h>

namespace NSegmentAlgorithms::detail {

/// The few planes that a sweep along z writes at a time: plane z takes the place of plane z -
/// count, which must have been wiped. Rows are divided into at most 64 blocks; values are blank but
/// in blocks that were touched, so that reading and wiping cost what was written.
template <typename T>
class PlaneRing {
  public:
    /// Values of a row that may be read and written beyond its end (and before its begin, where
    /// that is not the first row of all).
    static constexpr int kPadding = 16;

    static constexpr int kBlocks = 64;

    PlaneRing(Range x, Range y, int count, T blank)
        : x_(x),
          y_(y),
          count_(count),
          blank_(blank),
          stride_(x.end - x.begin + kPadding),
          block_((x.end - x.begin + kBlocks * kPadding - 1) / (kBlocks * kPadding) * kPadding),
          rows_(static_cast<std::size_t>(y.end - y.begin)),
          values_(kPadding +
                      rows_ * static_cast<std::size_t>(stride_) * static_cast<std::size_t>(count) +
                      kPadding,
                  blank),
          touched_(rows_ * static_cast<std::size_t>(count)) {}

    /// A plane of the ring; refers to it.
    class Plane {
      public:
        T* at(int x, int y) const {
            return values_ + (y - ring_->y_.begin) * ring_->stride_ + (x - ring_->x_.begin);
        }

        /// The blocks of a row that were touched.
        std::uint64_t touched(int y) const { return touched_[y - ring_->y_.begin]; }

        /// Says that blocks of a row are written.
        void touch(int y, std::uint64_t blocks) const { touched_[y - ring_->y_.begin] |= blocks; }

        /// Makes everything blank.
        void wipe() const {
            for (int y = ring_->y_.begin; y < ring_->y_.end; ++y) {
                ring_->forEachRun(touched(y), [&](int x, int count) {
                    std::fill_n(at(x, y), count, ring_->blank_);
                });
                touched_[y - ring_->y_.begin] = 0;
            }
        }

      private:
        friend class PlaneRing;
        Plane(const PlaneRing& ring, T* values, std::uint64_t* touched)
            : ring_(&ring), values_(values), touched_(touched) {}

        const PlaneRing* ring_;
        T* values_;
        std::uint64_t* touched_;
    };

    Range x() const { return x_; }
    Range y() const { return y_; }
    /// From a value to the one above it.
    std::ptrdiff_t stride() const { return stride_; }

    Plane plane(int z) {
        const std::size_t row = static_cast<std::size_t>((z % count_ + count_) % count_) * rows_;
        return {*this, values_.data() + kPadding + row * static_cast<std::size_t>(stride_),
                touched_.data() + row};
    }

    /// The blocks of a row that hold coordinates from x.begin to x.end, one at least.
    std::uint64_t blocksOf(Range x) const {
        const int first = (x.begin - x_.begin) / block_;
        const int last = (x.end - 1 - x_.begin) / block_;
        return (~std::uint64_t{0} << first) & (~std::uint64_t{0} >> (kBlocks - 1 - last));
    }

    /// Calls visit(x, count) for stretches of adjacent blocks.
    template <typename Visit>
    void forEachRun(std::uint64_t blocks, const Visit& visit) const {
        int block = 0;
        while (blocks != 0) {
            const int skipped = std::countr_zero(blocks);
            blocks >>= skipped;
            const int length = std::countr_one(blocks);
            block += skipped;
            const int x = x_.begin + block * block_;
            visit(x, std::min(length * block_, x_.end - x));
            block += length;
            blocks = length < kBlocks ? blocks >> length : 0;
        }
    }

  private:
    Range x_;
    Range y_;
    int count_;
    T blank_;
    int stride_;
    int block_;
    std::size_t rows_;
    std::vector<T> values_;
    std::vector<std::uint64_t> touched_;
};

}  // namespace NSegmentAlgorithms::detail
