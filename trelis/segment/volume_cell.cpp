#include <trelis/segment/volume_cell.h>

#include <array>
#include <cstring>
#include <exception>
#include <new>

namespace NSegment {

namespace {

/// Alignment that lets every vector instruction start on a border.
constexpr std::align_val_t kStorageAlignment{64};

template <unsigned char kValue>
constexpr std::array<unsigned char, VolumeCell::kBytes> kUniform = [] {
    std::array<unsigned char, VolumeCell::kBytes> values{};
    values.fill(kValue);
    return values;
}();

unsigned char* newStorage() {
    void* storage = ::operator new(VolumeCell::kBytes, kStorageAlignment, std::nothrow);
    if (storage == nullptr) {
        std::terminate();
    }
    return static_cast<unsigned char*>(storage);
}

}  // namespace

const unsigned char* VolumeCell::sharedValues(bool zeros) {
    return zeros ? kUniform<minValue()>.data() : kUniform<maxValue()>.data();
}

void VolumeCell::allocate() {
    if (!allocated()) {
        data_ = newStorage();
    }
    std::memset(data_, minValue(), kBytes);
}

void VolumeCell::allocateAndFillWithMaxValue() {
    if (!allocated()) {
        data_ = newStorage();
    }
    std::memset(data_, maxValue(), kBytes);
}

void VolumeCell::assign(const VolumeCell& other) {
    if (this == &other) {
        return;
    }
    if (!other.allocated()) {
        clear();
        data_ = other.data_;
        return;
    }
    if (!allocated()) {
        data_ = newStorage();
    }
    std::memcpy(data_, other.data_, kBytes);
}

void VolumeCell::clear() {
    if (allocated()) {
        ::operator delete(data_, kStorageAlignment);
    }
    data_ = nullptr;
}

void VolumeCell::compact() {
    if (!allocated() || (*data_ != minValue() && *data_ != maxValue())) {
        return;
    }
    // Equal to itself moved by one byte: all bytes equal the first.
    if (std::memcmp(data_, data_ + 1, kBytes - 1) == 0) {
        const bool isFull = *data_ == maxValue();
        clear();
        data_ = isFull ? dataOne() : nullptr;
    }
}

}  // namespace NSegment
