#pragma once

#include <cstdint>
#include <utility>

#include <trelis/export.h>

namespace NSegment {

/// 32 x 16 x 8 voxels of a segment in one machine word: empty (all 0), full (all 255), both without
/// storage, or allocated with 4,096 bytes of its own. The byte of voxel (x, y, z) is at offset
/// ((z mod 8) 16 + (y mod 16)) 32 + (x mod 32). Running out of memory ends the process.
class VolumeCell {
  public:
    static constexpr int kSizeX = 32;
    static constexpr int kSizeY = 16;
    static constexpr int kSizeZ = 8;
    /// x >> kShiftX is the cell of a coordinate, x & kMaskX its place there; y and z likewise.
    static constexpr int kShiftX = 5;
    static constexpr int kShiftY = 4;
    static constexpr int kShiftZ = 3;
    static constexpr int kMaskX = kSizeX - 1;
    static constexpr int kMaskY = kSizeY - 1;
    static constexpr int kMaskZ = kSizeZ - 1;
    static constexpr int kRowBytes = kSizeX;
    static constexpr int kPlaneBytes = kSizeX * kSizeY;
    static constexpr int kBytes = kPlaneBytes * kSizeZ;

    /// Empty.
    VolumeCell() = default;
    VolumeCell(const VolumeCell& other) { assign(other); }
    VolumeCell(VolumeCell&& other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assign handles it
    VolumeCell& operator=(const VolumeCell& other) {
        assign(other);
        return *this;
    }
    VolumeCell& operator=(VolumeCell&& other) noexcept {
        std::swap(data_, other.data_);
        return *this;
    }
    ~VolumeCell() { clear(); }

    bool allocated() const { return data_ != nullptr && data_ != dataOne(); }
    bool empty() const { return data_ == nullptr; }
    bool full() const { return data_ == dataOne(); }

    /// The storage of an allocated cell.
    unsigned char* data() { return data_; }
    const unsigned char* data() const { return data_; }

    /// The 4,096 values in any state; those of empty and full cells are in shared storage.
    const unsigned char* values() const { return allocated() ? data_ : sharedValues(empty()); }

    /// The value at an offset in any state.
    int value(int offset) const { return allocated() ? data_[offset] : empty() ? 0 : kMaximum; }

    /// Gives the cell storage of zeros. What it held before is gone.
    TRELIS_API void allocate();

    /// Gives the cell storage of 255. What it held before is gone.
    TRELIS_API void allocateAndFillWithMaxValue();

    /// Gives an empty or full cell storage that holds its values; an allocated one keeps its own.
    void allocateKeepingValues() {
        if (empty()) {
            allocate();
        } else if (full()) {
            allocateAndFillWithMaxValue();
        }
    }

    /// Takes the state of the other cell, and a copy of its values into storage of this one.
    TRELIS_API void assign(const VolumeCell& other);

    /// Becomes empty and frees its storage.
    TRELIS_API void clear();

    /// Becomes full and frees its storage.
    void fill() {
        clear();
        data_ = dataOne();
    }

    /// An allocated cell whose values are all 0 or all 255 becomes empty or full.
    TRELIS_API void compact();

    /// Writes the low byte of the value, allocating first, unless an empty cell is to hold 0 or a
    /// full one 255.
    void writeAndAllocate(int offset, int value) {
        if ((empty() && value == 0) || (full() && value == kMaximum)) {
            return;
        }
        allocateKeepingValues();
        data_[offset] = static_cast<unsigned char>(value);
    }

    /// The word of a full cell; never to be dereferenced.
    static unsigned char* dataOne() {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a mark, no address
        return reinterpret_cast<unsigned char*>(std::uintptr_t{1});
    }

    static constexpr int minValue() { return 0; }
    static constexpr int maxValue() { return kMaximum; }

    /// The value of a covered fraction: 0 below 0 and for NaN, 255 above 1, else rounded.
    static constexpr unsigned char fromFloat(double fraction) {
        if (!(fraction > 0.0)) {
            return 0;
        }
        return fraction > 1.0 ? kMaximum : static_cast<unsigned char>(fraction * kMaximum + 0.5);
    }

    /// The covered fraction of a value, value / 255 in single precision (intended), widened.
    static constexpr double toFloat(unsigned char value) {
        return static_cast<double>(static_cast<float>(value) / 255.0F);
    }

  private:
    static constexpr int kMaximum = 255;

    TRELIS_API static const unsigned char* sharedValues(bool zeros);

    unsigned char* data_ = nullptr;
};

}  // namespace NSegment
