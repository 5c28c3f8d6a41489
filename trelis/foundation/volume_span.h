#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <type_traits>

namespace NVolume {

/// A contiguous run of voxels: a row along x or a whole plane. Refers to voxels of a volume, which
/// must outlive it. T may be const.
template <typename T>
class SpanPointer {
  public:
    SpanPointer(T* first, T* last) : begin_(first), end_(last) {}

    T* begin() const { return begin_; }
    T* end() const { return end_; }

  private:
    T* begin_;
    T* end_;
};

/// Walks voxels that lie `stride` elements apart; a random access iterator. Distances and order
/// mean something between iterators of one span only.
template <typename T>
class StrideIterator {
  public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = std::remove_cv_t<T>;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    StrideIterator() = default;
    StrideIterator(T* position, std::ptrdiff_t stride) : position_(position), stride_(stride) {}

    T& operator*() const { return *position_; }
    T* operator->() const { return position_; }
    T& operator[](std::ptrdiff_t n) const { return position_[n * stride_]; }

    StrideIterator& operator+=(std::ptrdiff_t n) {
        position_ += n * stride_;
        return *this;
    }
    StrideIterator& operator-=(std::ptrdiff_t n) { return *this += -n; }
    StrideIterator& operator++() { return *this += 1; }
    StrideIterator& operator--() { return *this -= 1; }
    StrideIterator operator++(int) {
        StrideIterator old = *this;
        ++*this;
        return old;
    }
    StrideIterator operator--(int) {
        StrideIterator old = *this;
        --*this;
        return old;
    }

    friend StrideIterator operator+(StrideIterator it, std::ptrdiff_t n) { return it += n; }
    friend StrideIterator operator+(std::ptrdiff_t n, StrideIterator it) { return it += n; }
    friend StrideIterator operator-(StrideIterator it, std::ptrdiff_t n) { return it -= n; }
    friend std::ptrdiff_t operator-(const StrideIterator& a, const StrideIterator& b) {
        return (a.position_ - b.position_) / a.stride_;
    }
    friend bool operator==(const StrideIterator& a, const StrideIterator& b) {
        return a.position_ == b.position_;
    }
    friend std::strong_ordering operator<=>(const StrideIterator& a, const StrideIterator& b) {
        return a.position_ <=> b.position_;
    }

  private:
    T* position_ = nullptr;
    std::ptrdiff_t stride_ = 1;
};

/// A strided run of voxels: a line along y or z. Refers to voxels of a volume, which must outlive
/// it; the end lies one stride past the last element. T may be const.
template <typename T>
class Span {
  public:
    Span(T* first, T* last, std::ptrdiff_t stride) : begin_(first), end_(last), stride_(stride) {}

    StrideIterator<T> begin() const { return {begin_, stride_}; }
    StrideIterator<T> end() const { return {end_, stride_}; }

  private:
    T* begin_;
    T* end_;
    std::ptrdiff_t stride_;
};

}  // namespace NVolume
