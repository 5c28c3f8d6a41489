#include <trelis/foundation/volume.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <ostream>
#include <type_traits>
#include <utility>

#include <trelis/foundation/detail/extremes.h>
#include <trelis/foundation/diagnostics.h>

namespace {

/// The element count of a block; 0 when a size is negative. Throws std::bad_alloc when the block
/// would not fit the address space.
std::size_t blockSize(int x, int y, int z, std::size_t elementSize) {
    if (x < 0 || y < 0 || z < 0) {
        return 0;
    }
    const auto limit =
        static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / elementSize;
    const auto plane = static_cast<std::size_t>(x) * static_cast<std::size_t>(y);
    const auto planes = static_cast<std::size_t>(z);
    if (planes != 0 && plane > limit / planes) {
        throw std::bad_alloc();
    }
    return plane * planes;
}

}  // namespace

template <typename T>
QVolume<T>::QVolume(int xsize, int ysize, int zsize, double xres, double yres, double zres)
    : QVolumeSize(xsize, ysize, zsize, xres, yres, zres) {
    AllocatePixels();
}

template <typename T>
QVolume<T>::QVolume(T* pixels, int xsize, int ysize, int zsize, double xres, double yres,
                    double zres)
    : QVolumeSize(xsize, ysize, zsize, xres, yres, zres),
      pixels_(pixels),
      count_(pixels == nullptr ? 0 : blockSize(xsize, ysize, zsize, sizeof(T))),
      external_(true) {}

template <typename T>
QVolume<T>::QVolume(const QVolume& other) : QVolumeSize(other), valid_(other.valid_) {
    if (other.pixels_ != nullptr) {
        AllocatePixels();
        std::copy_n(other.pixels_, other.count_, pixels_);
    }
    modified_ = other.modified_;
    copyMinMaxCache(other);
}

template <typename T>
QVolume<T>& QVolume<T>::operator=(const QVolume& other) {
    if (this == &other) {
        return *this;
    }
    if (other.pixels_ != nullptr) {
        CopyPixels(other);
    } else {
        FreePixels();
        SetSizeNoAllocation(other.xsize_, other.ysize_, other.zsize_);
    }
    SetResMM(other.xres_, other.yres_, other.zres_);
    if (other.pixels_ != nullptr) {
        copyMinMaxCache(other);
    }
    valid_ = other.valid_;
    return *this;
}

template <typename T>
QVolume<T>::~QVolume() {
    FreePixels();
}

template <typename T>
void QVolume<T>::AllocatePixels() {
    minMaxValid_ = false;
    if (pixels_ != nullptr) {
        FreePixels();
    }
    pixels_ = nullptr;
    count_ = 0;
    external_ = false;
    if (xsize_ < 0 || ysize_ < 0 || zsize_ < 0) {
        std::terminate();
    }
    if (planeStride() == 0 && zsize_ == 0) {
        return;
    }
    try {
        const std::size_t count = blockSize(xsize_, ysize_, zsize_, sizeof(T));
        pixels_ = new T[count];
        count_ = count;
    } catch (const std::bad_alloc&) {
        FreePixels();
        throw;
    }
}

template <typename T>
void QVolume<T>::FreePixels() {
    if (!external_) {
        delete[] pixels_;
        pixels_ = nullptr;
        count_ = 0;
    }
    modified_ = false;
    minMaxValid_ = false;
}

template <typename T>
bool QVolume<T>::ChangeVolumeSize(int x, int y, int z) {
    if (hasSizes(x, y, z)) {
        return false;
    }
    xsize_ = x;
    ysize_ = y;
    zsize_ = z;
    minMaxValid_ = false;
    return true;
}

template <typename T>
bool QVolume<T>::SetSizeNoAllocation(int x, int y, int z) {
    minMaxValid_ = false;
    if (!ChangeVolumeSize(x, y, z)) {
        return false;
    }
    FreePixels();
    if (pixels_ != nullptr) {
        // Storage of the application stays, unless its new size cannot be expressed.
        T* const storage = std::exchange(pixels_, nullptr);
        count_ = 0;
        count_ = blockSize(x, y, z, sizeof(T));
        pixels_ = storage;
    }
    return true;
}

template <typename T>
bool QVolume<T>::SetSize(int x, int y, int z) {
    const bool changed = SetSizeNoAllocation(x, y, z);
    if (pixels_ == nullptr) {
        AllocatePixels();
    }
    return changed;
}

template <typename T>
bool QVolume<T>::SetResMM(double xres, double yres, double zres) {
    if (hasResolutions(xres, yres, zres)) {
        return false;
    }
    xres_ = xres;
    yres_ = yres;
    zres_ = zres;
    minMaxValid_ = false;
    return true;
}

template <typename T>
void QVolume<T>::CopyGeometry(const QVolumeSize& other) {
    SetSize(other.GetXSize(), other.GetYSize(), other.GetZSize());
    SetResMM(other.GetXResMM(), other.GetYResMM(), other.GetZResMM());
}

template <typename T>
void QVolume<T>::CopyGeometryNoAllocation(const QVolumeSize& other) {
    if (!hasSizes(other.GetXSize(), other.GetYSize(), other.GetZSize())) {
        SetSizeNoAllocation(other.GetXSize(), other.GetYSize(), other.GetZSize());
    }
    SetResMM(other.GetXResMM(), other.GetYResMM(), other.GetZResMM());
}

template <typename T>
void QVolume<T>::CopyPixels(const QVolume& source) {
    if (this == &source) {
        return;
    }
    SetSize(source.xsize_, source.ysize_, source.zsize_);
    std::copy_n(source.pixels_, source.count_, pixels_);
    modified_ = true;
    copyMinMaxCache(source);
}

/// Nothing is taken from or into storage of the application, which may have changed unseen.
template <typename T>
void QVolume<T>::copyMinMaxCache(const QVolume& source) {
    minMaxValid_ = source.minMaxValid_ && !external_ && !source.external_;
    minMax_ = source.minMax_;
}

template <typename T>
bool QVolume<T>::operator==(const QVolume& other) const {
    return QVolumeSize::operator==(other) && modified_ == other.modified_ &&
           std::equal(begin(), end(), other.begin(), other.end());
}

template <typename T>
void QVolume<T>::GetCoordinatesFromIterator(const T* position, int& x, int& y, int& z) const {
    const std::ptrdiff_t element = position - pixels_;
    const std::ptrdiff_t inPlane = element % planeStride();
    z = static_cast<int>(element / planeStride());
    y = static_cast<int>(inPlane / xsize_);
    x = static_cast<int>(inPlane % xsize_);
}

template <typename T>
typename QVolume<T>::MinMaxPixelInfo QVolume<T>::MinMax() const {
    if constexpr (!std::is_arithmetic_v<T>) {
        Crash(L"Assertion failed");
    } else {
        if (minMaxValid_ && !external_) {
            return minMax_;
        }
        MinMaxPixelInfo info;
        if (count_ > 0) {
            const auto [smallest, largest] = trelis::detail::findExtremes(begin(), end());
            GetCoordinatesFromIterator(smallest, info.xOfMinimum, info.yOfMinimum, info.zOfMinimum);
            GetCoordinatesFromIterator(largest, info.xOfMaximum, info.yOfMaximum, info.zOfMaximum);
            info.minimum = *smallest;
            info.maximum = *largest;
        }
        minMax_ = info;
        minMaxValid_ = pixels_ != nullptr;
        return info;
    }
}

template <typename T>
void QVolume<T>::Write(std::ostream& stream) const {
    stream << "trelis"
           << " VoxelSize=" << sizeof(T) << " XSize=" << xsize_ << " YSize=" << ysize_
           << " ZSize=" << zsize_ << " XResMM=" << xres_ << " YResMM=" << yres_
           << " ZResMM=" << zres_ << std::endl;
    stream.write(reinterpret_cast<const char*>(pixels_),
                 static_cast<std::streamsize>(count_ * sizeof(T)));
}

template class QVolume<unsigned short>;
template class QVolume<int>;
template class QVolume<unsigned int>;
template class QVolume<float>;
template class QVolume<MVectorTemplate<float>>;
