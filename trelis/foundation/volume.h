#pragma once

#include <cstddef>
#include <iosfwd>

#include <trelis/export.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume_size.h>
#include <trelis/foundation/volume_span.h>

/// A dense volume of voxels, for T = unsigned short (images), unsigned int (doses), int (labels),
/// float and MVectorTemplate<float> (vector fields). Voxel (x, y, z) is element
/// x + xsize (y + ysize z) of one contiguous block. A volume has no pixels, owns its block, or
/// wraps one of the application. It has no position in space; callers pair it with an `MMatrix` or
/// an `FVoxelSpaceGeometry`.
///
/// Two flags serve the application: "modified" is set by every mutable access and cleared by every
/// (re)allocation and size change, "valid" is the application's own and true from the start. The
/// result of `MinMax` is cached until sizes, resolutions, flags or pixels change or a mutable
/// access is made.
///
/// There is no lock. Accessors that are not const, and `MinMax`, write flags and cache: parallel
/// loops take their pointers or spans before they start. Coordinates are not checked.
template <typename T>
class QVolume : public QVolumeSize {
  public:
    /// Where the extreme values are, and the values.
    struct MinMaxPixelInfo {
        int xOfMaximum = 0;
        int yOfMaximum = 0;
        int zOfMaximum = 0;
        int xOfMinimum = 0;
        int yOfMinimum = 0;
        int zOfMinimum = 0;
        T minimum{};
        T maximum{};
    };

    /// Sizes 0, resolutions 1.0, no pixels.
    QVolume() : QVolumeSize(0, 0, 0, 1.0, 1.0, 1.0) {}

    /// A volume with pixels of undefined content. Fails as `AllocatePixels` does.
    QVolume(int xsize, int ysize, int zsize, double xres, double yres, double zres);

    /// A deep copy, flags and cache included, so it equals its source. The copy owns its pixels
    /// even when the source wraps storage of the application. std::bad_alloc when they do not fit.
    QVolume(const QVolume& other);

    /// Copies sizes (`SetSize`), resolutions (`SetResMM`), pixels and the valid flag, and sets the
    /// modified flag; of a source without pixels only sizes, resolutions and the valid flag, and
    /// frees the pixels owned here. Fails as `SetSize` does. Storage of the application must hold
    /// all pixels of the source.
    QVolume& operator=(const QVolume& other);

    ~QVolume();

    /// (Re)allocates an owned block of undefined content for the current sizes; storage of the
    /// application is let go of. Clears the modified flag if there were pixels. Volumes of no
    /// columns and no planes get no block. A negative size ends the process; std::bad_alloc leaves
    /// a volume without pixels.
    void AllocatePixels();

    /// Frees owned pixels (storage of the application stays attached) and clears the modified flag.
    void FreePixels();

    bool PixelsAllocated() const { return pixels_ != nullptr; }

    /// Takes the sizes and allocates new pixels when they differ from the present ones or there are
    /// none. A volume over storage of the application keeps pointing at it: the caller sees to its
    /// size. Returns whether the sizes changed. Fails as `AllocatePixels` does; also over storage
    /// of the application a product of sizes that does not fit leaves a volume without pixels.
    bool SetSize(int x, int y, int z);

    /// As `SetSize` without allocation: after a change there are no owned pixels.
    bool SetSizeNoAllocation(int x, int y, int z);

    /// Takes the voxel sizes in millimetres unless all are within 1e-6 of the present ones. Returns
    /// whether they were taken.
    bool SetResMM(double xres, double yres, double zres);

    /// `SetSize` and `SetResMM` of the other's values.
    void CopyGeometry(const QVolumeSize& other);

    /// As `CopyGeometry` without allocation: when the sizes differ, owned pixels are freed.
    void CopyGeometryNoAllocation(const QVolumeSize& other);

    /// Takes sizes (`SetSize`) and pixels of the source, not its resolutions, and sets the modified
    /// flag. Of a source without pixels no pixel is copied, though some are allocated. Storage of
    /// the application must hold all pixels of the source.
    void CopyPixels(const QVolume& source);

    /// Equal sizes, resolutions (within 1e-6), modified flags and pixels. The flag belongs to it: a
    /// volume that was written differs from an untouched copy of the same data. A NaN is unequal to
    /// itself.
    bool operator==(const QVolume& other) const;

    T GetPixel(int x, int y, int z) const { return pixels_[index(x, y, z)]; }
    void SetPixel(int x, int y, int z, T value) { *GetPtr(x, y, z) = value; }

    /// The block, x fastest, and its number of elements (0 without pixels).
    T* begin() {
        touch();
        return pixels_;
    }
    T* end() {
        touch();
        return pixels_ + count_;
    }
    const T* begin() const { return pixels_; }
    const T* end() const { return pixels_ + count_; }
    std::size_t size() const { return count_; }

    /// The row at (y, z).
    NVolume::SpanPointer<T> GetSpanX(int y, int z) {
        T* row = GetPtr(0, y, z);
        return {row, row + xsize_};
    }
    NVolume::SpanPointer<const T> GetConstSpanX(int y, int z) const {
        const T* row = GetPtr(0, y, z);
        return {row, row + xsize_};
    }

    /// The plane z.
    NVolume::SpanPointer<T> GetSpanXY(int z) {
        T* plane = GetPtr(0, 0, z);
        return {plane, plane + planeStride()};
    }
    NVolume::SpanPointer<const T> GetConstSpanXY(int z) const {
        const T* plane = GetPtr(0, 0, z);
        return {plane, plane + planeStride()};
    }

    /// The line along y at (x, z).
    NVolume::Span<T> GetSpanY(int x, int z) {
        T* first = GetPtr(x, 0, z);
        return {first, first + planeStride(), xsize_};
    }
    NVolume::Span<const T> GetConstSpanY(int x, int z) const {
        const T* first = GetPtr(x, 0, z);
        return {first, first + planeStride(), xsize_};
    }

    /// The line along z at (x, y).
    NVolume::Span<T> GetSpanZ(int x, int y) {
        T* first = GetPtr(x, y, 0);
        return {first, first + planeStride() * zsize_, planeStride()};
    }
    NVolume::Span<const T> GetConstSpanZ(int x, int y) const {
        const T* first = GetPtr(x, y, 0);
        return {first, first + planeStride() * zsize_, planeStride()};
    }

    /// The earliest smallest and the latest largest value with their places; all zeros without
    /// pixels. NaNs are passed over while there is any number. Cached, but over storage of the
    /// application, which may change unseen, computed anew by every call. A vector volume has no
    /// order: `Crash`.
    MinMaxPixelInfo MinMax() const;

    bool PixelsModified() const { return modified_; }
    void SetPixelsModified(bool modified) {
        modified_ = modified;
        minMaxValid_ = false;
    }
    /// The modified flag itself, for a transaction of the application that saves and restores it.
    /// Writing through the pointer leaves the cache of `MinMax` as it is.
    bool* PixelsModifiedForTransaction() { return &modified_; }

    bool PixelsValid() const { return valid_; }
    void SetPixelsValid(bool valid) {
        valid_ = valid;
        minMaxValid_ = false;
    }

    /// Writes one line of text, "trelis VoxelSize=... XSize=...", with the stream's formatting,
    /// then the block as it lies in memory. For dumps; touches no flag.
    void Write(std::ostream& stream) const;

  protected:
    /// Wraps xsize ysize zsize voxels at `pixels`, which stay the caller's and are never freed.
    /// std::bad_alloc when that product does not fit the address space.
    QVolume(T* pixels, int xsize, int ysize, int zsize, double xres, double yres, double zres);

  private:
    std::ptrdiff_t planeStride() const { return static_cast<std::ptrdiff_t>(xsize_) * ysize_; }
    std::ptrdiff_t index(int x, int y, int z) const { return x + xsize_ * (y + rowsBefore(z)); }
    std::ptrdiff_t rowsBefore(int z) const { return static_cast<std::ptrdiff_t>(ysize_) * z; }

    T* GetPtr(int x, int y, int z) {
        touch();
        return pixels_ + index(x, y, z);
    }
    const T* GetPtr(int x, int y, int z) const { return pixels_ + index(x, y, z); }

    void touch() {
        modified_ = true;
        minMaxValid_ = false;
    }

    bool ChangeVolumeSize(int x, int y, int z);
    void GetCoordinatesFromIterator(const T* position, int& x, int& y, int& z) const;
    void copyMinMaxCache(const QVolume& source);

    bool modified_ = false;
    T* pixels_ = nullptr;
    std::size_t count_ = 0;
    bool valid_ = true;
    bool external_ = false;
    mutable bool minMaxValid_ = false;
    mutable MinMaxPixelInfo minMax_;
};

// A DLL has no inline functions of templates; a program that uses one compiles its own.
#if !defined(_WIN32) || defined(TRELIS_BUILDING)
extern template class TRELIS_API QVolume<unsigned short>;
extern template class TRELIS_API QVolume<int>;
extern template class TRELIS_API QVolume<unsigned int>;
extern template class TRELIS_API QVolume<float>;
extern template class TRELIS_API QVolume<MVectorTemplate<float>>;
#endif
