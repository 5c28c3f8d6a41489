#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <iterator>
#include <span>
#include <type_traits>

#include <trelis/segment/segment_volume.h>

namespace NSegment {

/// What dereferencing a `SpanXIterator` yields: reads as an int, and assigning an int writes the
/// voxel by the rule of `SegmentVolume::setPixel`.
class SpanXIteratorPixelReference {
  public:
    SpanXIteratorPixelReference(VolumeCell* cell, int offset) : cell_(cell), offset_(offset) {}
    SpanXIteratorPixelReference(const SpanXIteratorPixelReference&) = default;

    operator int() const { return cell_->value(offset_); }  // NOLINT(google-explicit-constructor)

    const SpanXIteratorPixelReference& operator=(int value) const {
        cell_->writeAndAllocate(offset_, value);
        return *this;
    }
    /// Writes the value of the other voxel.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): writing a voxel's own value is harmless
    SpanXIteratorPixelReference& operator=(const SpanXIteratorPixelReference& other) {
        cell_->writeAndAllocate(offset_, other);
        return *this;
    }
    friend void swap(SpanXIteratorPixelReference a, SpanXIteratorPixelReference b) {
        const int value = a;
        a = static_cast<int>(b);
        b = value;
    }

  private:
    VolumeCell* cell_;
    int offset_;
};

/// A position in a row of voxels, x = 0 to xsize (the end). Random access; compares, and gives
/// distances, between iterators of one row. Refers to its segment, whose size must not change.
template <typename Segment>
class BasicSpanXIterator {
  public:
    static constexpr bool kConst = std::is_const_v<Segment>;
    using Cell = std::conditional_t<kConst, const VolumeCell, VolumeCell>;
    using iterator_category = std::random_access_iterator_tag;
    using value_type = int;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = std::conditional_t<kConst, int, SpanXIteratorPixelReference>;

    BasicSpanXIterator() = default;
    BasicSpanXIterator(Segment& segment, int x, int y, int z)
        : cell_(segment.Cells() + segment.cellIndex(0, y, z) + x / VolumeCell::kSizeX),
          offset_(SegmentVolume::offsetInCell(x, y, z)),
          segment_(&segment),
          x_(x),
          y_(y),
          z_(z) {}

    reference operator*() const {
        if constexpr (kConst) {
            return cell_->value(offset_);
        } else {
            return {cell_, offset_};
        }
    }
    reference operator[](std::ptrdiff_t n) const { return *(*this + n); }

    BasicSpanXIterator& operator++() {
        ++x_;
        ++offset_;
        if ((x_ & VolumeCell::kMaskX) == 0) {
            ++cell_;
            offset_ -= VolumeCell::kSizeX;
        }
        return *this;
    }
    BasicSpanXIterator& operator--() { return *this += -1; }
    BasicSpanXIterator& operator+=(std::ptrdiff_t n) {
        const int x = x_ + static_cast<int>(n);
        const int cells = (x >> VolumeCell::kShiftX) - (x_ >> VolumeCell::kShiftX);
        cell_ += cells;
        offset_ += static_cast<int>(n) - VolumeCell::kSizeX * cells;
        x_ = x;
        return *this;
    }
    BasicSpanXIterator& operator-=(std::ptrdiff_t n) { return *this += -n; }
    BasicSpanXIterator operator++(int) {
        BasicSpanXIterator old = *this;
        ++*this;
        return old;
    }
    BasicSpanXIterator operator--(int) {
        BasicSpanXIterator old = *this;
        --*this;
        return old;
    }

    /// How many voxels from here on are known to have this value: 1 in an allocated cell, else all
    /// to the end of the cell along x or of the row.
    int pixelsOfConstantValue() const { return cell_->allocated() ? 1 : voxelsToCellEnd(); }

    /// The values from here to the end of the cell along x, or of the row, as contiguous bytes: the
    /// fastest way through allocated cells. Valid until the cell is written.
    std::span<const unsigned char> valuesToCellEnd() const {
        return {cell_->values() + offset_, static_cast<std::size_t>(voxelsToCellEnd())};
    }

    int x() const { return x_; }
    int y() const { return y_; }
    int z() const { return z_; }

    friend BasicSpanXIterator operator+(BasicSpanXIterator it, std::ptrdiff_t n) { return it += n; }
    friend BasicSpanXIterator operator+(std::ptrdiff_t n, BasicSpanXIterator it) { return it += n; }
    friend BasicSpanXIterator operator-(BasicSpanXIterator it, std::ptrdiff_t n) { return it -= n; }
    friend std::ptrdiff_t operator-(const BasicSpanXIterator& a, const BasicSpanXIterator& b) {
        return a.x_ - b.x_;
    }
    // Members that lie side by side are not compared: g++ would do it in one load, right after
    // their two stores, and wait for both.
    friend bool operator==(const BasicSpanXIterator& a, const BasicSpanXIterator& b) {
        return a.x_ == b.x_ && a.cell_ == b.cell_ && a.offset_ == b.offset_;
    }
    friend std::strong_ordering operator<=>(const BasicSpanXIterator& a,
                                            const BasicSpanXIterator& b) {
        return a.x_ <=> b.x_;
    }

  private:
    int voxelsToCellEnd() const {
        const int toCellEnd = VolumeCell::kSizeX - (x_ & VolumeCell::kMaskX);
        return std::min(toCellEnd, segment_->xsize() - x_);
    }

    Cell* cell_ = nullptr;
    int offset_ = 0;
    Segment* segment_ = nullptr;
    int x_ = 0;
    int y_ = 0;
    int z_ = 0;
};

using SpanXIterator = BasicSpanXIterator<SegmentVolume>;
using ConstSpanXIterator = BasicSpanXIterator<const SegmentVolume>;

/// The row of voxels along x at (y, z), to be written. Refers to its segment.
class SpanX {
  public:
    SpanX(SegmentVolume& segment, int y, int z) : y_(y), z_(z), segment_(&segment) {}

    SpanXIterator begin() const { return {*segment_, 0, y_, z_}; }
    SpanXIterator end() const { return {*segment_, segment_->xsize(), y_, z_}; }

  private:
    int y_;
    int z_;
    SegmentVolume* segment_;
};

/// The row of voxels along x at (y, z), to be read. Refers to its segment.
class ConstSpanX {
  public:
    ConstSpanX(const SegmentVolume& segment, int y, int z) : y_(y), z_(z), segment_(&segment) {}

    ConstSpanXIterator begin() const { return {*segment_, 0, y_, z_}; }
    ConstSpanXIterator end() const { return {*segment_, segment_->xsize(), y_, z_}; }

  private:
    int y_;
    int z_;
    const SegmentVolume* segment_;
};

inline SpanX SegmentVolume::GetSpanX(int y, int z) { return {*this, y, z}; }

inline ConstSpanX SegmentVolume::GetConstSpanX(int y, int z) const { return {*this, y, z}; }

}  // namespace NSegment
