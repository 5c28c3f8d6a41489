#pragma once

#include <cstddef>
#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/segment/volume_cell.h>

namespace NSegment {

class ConstSpanX;
class SpanX;

/// The partial-volume mask of a structure on a regular grid: one value per voxel, 0 outside, 255
/// inside, value / 255 the covered fraction between; 128 and above counts as inside. The grid is
/// tiled by cells of 32 x 16 x 8 voxels, of which only those that are neither empty nor full take
/// storage. A segment knows its voxel size in millimetres but not its place in space.
///
/// Invariant: values of edge cells beyond the grid are 0, so an edge cell is never full; whoever
/// writes through `Cells` keeps it. Cells that turned uniform by writing keep their storage until
/// `compact`. The segment owns its cells and copies deeply. Coordinates are not checked.
///
/// There is no lock. Concurrent reads are safe; concurrent writers must write disjoint cells.
class SegmentVolume {
  public:
    /// All cells empty. Sizes are voxel counts, resolutions voxel edge lengths in millimetres. A
    /// size below 1 gives no cells. std::bad_alloc when there is no memory for the array of cells.
    TRELIS_API SegmentVolume(int xsize, int ysize, int zsize, double xres, double yres,
                             double zres);
    SegmentVolume(const SegmentVolume& other) = default;
    /// Leaves the other segment without voxels.
    SegmentVolume(SegmentVolume&& other) noexcept : SegmentVolume(0, 0, 0, 1.0, 1.0, 1.0) {
        swap(*this, other);
    }
    SegmentVolume& operator=(const SegmentVolume& other) {
        assign(other);
        return *this;
    }

    SegmentVolume& operator=(SegmentVolume&& other) noexcept {
        swap(*this, other);
        return *this;
    }
    TRELIS_API friend void swap(SegmentVolume& a, SegmentVolume& b) noexcept;

    /// Becomes a copy of the other segment; cells that are allocated here are used again.
    TRELIS_API void assign(const SegmentVolume& other);

    int xsize() const { return xsize_; }
    int ysize() const { return ysize_; }
    int zsize() const { return zsize_; }
    double xres() const { return xres_; }
    double yres() const { return yres_; }
    double zres() const { return zres_; }

    /// The value at a voxel, 0 to 255.
    int pixel(int x, int y, int z) const { return cell(x, y, z).value(offsetInCell(x, y, z)); }

    /// Writes the low byte of the value. Nothing is allocated to write 0 into an empty cell or 255
    /// into a full one (the whole int is compared).
    void setPixel(int x, int y, int z, int value) {
        cell(x, y, z).writeAndAllocate(offsetInCell(x, y, z), value);
    }

    /// Adds to a voxel modulo 256, without saturation; in a full cell it does nothing. Both are
    /// intended: callers add amounts that fit.
    TRELIS_API void addToPixel(int x, int y, int z, int delta);

    /// The trilinear blend, on the 0 to 255 scale, of the eight voxels around a position in voxel
    /// coordinates. The position must be at least 0 and below size - 1 on every axis.
    TRELIS_API double pixelTrilinear(double x, double y, double z) const;

    /// As `pixelTrilinear`; 0 where a coordinate is below 0 or not below size - 1.
    TRELIS_API double pixelTrilinearSafe(double x, double y, double z) const;

    /// As `pixelTrilinear`; 0 where a coordinate is below 0 or above size - 1, so that the last
    /// voxel centres are reached.
    TRELIS_API double pixelTrilinearSafeCorrect(double x, double y, double z) const;

    /// True when no voxel is inside (128 or above).
    TRELIS_API bool IsEmpty() const;

    /// Makes every cell empty and frees its storage.
    TRELIS_API void clear();

    /// Makes allocated cells that are all 0 or all 255 empty or full.
    TRELIS_API void compact();

    /// Bytes: 64, 8 for each cell and 4,096 for each allocated one.
    TRELIS_API std::size_t calculateMemoryConsumption() const;

    /// Marks with 1 the coordinates of cells that are not empty, whatever they hold, and all others
    /// with 0. The caller sizes the vectors to xsize, ysize and zsize.
    TRELIS_API void calculateBoundingArrays(std::vector<char>& xs, std::vector<char>& ys,
                                            std::vector<char>& zs) const;

    /// The box of the inside voxels, both corners inclusive. Without inside voxels all six are the
    /// sizes: a loop from minimum to maximum then runs once, outside the grid.
    TRELIS_API void GetBoundingBoxForIteration(int& xmin, int& ymin, int& zmin, int& xmax,
                                               int& ymax, int& zmax) const;

    /// The extent of the 128 iso-surface in R-voxel coordinates (voxel i spans [i, i + 1]), linear
    /// between voxel centres, with 0 assumed beyond the grid. An axis without a crossing keeps the
    /// largest double as minimum and its negative as maximum.
    ///
    /// After an outside voxel the scan skips the longest of the constant runs of its row and of the
    /// rows one back in y and z. That loses crossings and inside voxels in the first row or plane
    /// of a cell, and is intended.
    TRELIS_API void GetExtendWithSubPixelAccuracy(double& xmin, double& ymin, double& zmin,
                                                  double& xmax, double& ymax, double& zmax) const;

    bool hasEqualSize(const SegmentVolume& s) const {
        return xsize_ == s.xsize_ && ysize_ == s.ysize_ && zsize_ == s.zsize_;
    }
    /// Voxel edges that differ by less than 1e-6 mm.
    bool hasEqualResolution(const SegmentVolume& s) const {
        return trelis::EpsilonEqual(xres_, s.xres_, kResolutionTolerance) &&
               trelis::EpsilonEqual(yres_, s.yres_, kResolutionTolerance) &&
               trelis::EpsilonEqual(zres_, s.zres_, kResolutionTolerance);
    }
    bool hasEqualGeometry(const SegmentVolume& s) const {
        return hasEqualResolution(s) && hasEqualSize(s);
    }

    /// The row of voxels along x at (y, z); <trelis/segment/span_x.h> has the types.
    SpanX GetSpanX(int y, int z);
    ConstSpanX GetConstSpanX(int y, int z) const;

    /// Samples `count` points (x0 + i dx, y0 + i dy, z0 + i dz), R-voxel coordinates, and sets bit
    /// i, most significant first, in word i / 32 where the interpolated value is 128 or above. The
    /// caller provides (count - 1) / 32 + 1 words, one for a count of 0; unused bits become 0.
    ///
    /// The points are those of one fixed-point iterator: bilinear when z0 is within 0.005 of a
    /// voxel centre and |dz| < 1e-8 (the one along x when |dy| < 1e-8 and |dx| >= 0.4), else
    /// trilinear.
    TRELIS_API void segmentToBinaryStripe(double x0, double y0, double z0, double dx, double dy,
                                          double dz, int count, unsigned int* bits) const;

    /// The cells, x fastest, then y, then z; superBlockSizeX() times Y times Z of them.
    VolumeCell* Cells() { return cells_.data(); }
    const VolumeCell* Cells() const { return cells_.data(); }

    /// The number of cells along each axis.
    int superBlockSizeX() const { return cellsX_; }
    int superBlockSizeY() const { return cellsY_; }
    int superBlockSizeZ() const { return cellsZ_; }

    static constexpr int minValue() { return VolumeCell::minValue(); }
    static constexpr int maxValue() { return VolumeCell::maxValue(); }
    /// The lowest value that is inside.
    static constexpr int crossingValue() { return 128; }
    static constexpr unsigned char fromFloat(double fraction) {
        return VolumeCell::fromFloat(fraction);
    }
    static constexpr double toFloat(unsigned char value) { return VolumeCell::toFloat(value); }

    /// Where the byte of a voxel is in its cell.
    static int offsetInCell(int x, int y, int z) {
        return (((z & VolumeCell::kMaskZ) << VolumeCell::kShiftY) + (y & VolumeCell::kMaskY)) *
                   VolumeCell::kSizeX +
               (x & VolumeCell::kMaskX);
    }

    /// The index in `Cells` of the cell that holds a voxel.
    std::size_t cellIndex(int x, int y, int z) const {
        const auto row =
            static_cast<std::size_t>(cellsY_) * static_cast<std::size_t>(z >> VolumeCell::kShiftZ) +
            static_cast<std::size_t>(y >> VolumeCell::kShiftY);
        return row * static_cast<std::size_t>(cellsX_) +
               static_cast<std::size_t>(x >> VolumeCell::kShiftX);
    }

  private:
    static constexpr double kResolutionTolerance = 1e-6;

    const VolumeCell& cell(int x, int y, int z) const { return cells_[cellIndex(x, y, z)]; }
    VolumeCell& cell(int x, int y, int z) { return cells_[cellIndex(x, y, z)]; }
    void setSize(int x, int y, int z);

    int xsize_ = 0;
    int ysize_ = 0;
    int zsize_ = 0;
    double xres_;
    double yres_;
    double zres_;
    int cellsX_ = 0;
    int cellsY_ = 0;
    int cellsZ_ = 0;
    std::vector<VolumeCell> cells_;
};

}  // namespace NSegment

// The definitions of GetSpanX and GetConstSpanX.
#include <trelis/segment/span_x.h>
