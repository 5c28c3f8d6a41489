#pragma once

#include <vector>

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume_size.h>
#include <trelis/volume_image/detail/pixel_scale.h>
#include <trelis/volume_image/slice.h>

/// Slices as seen from the pixels of a plane that they are copied to or interpolated for. Slices
/// are aligned with the plane by whole pixels.
namespace trelis::VolumeImage::detail {

/// The pixels of a plane, on which a slice lies: counts, edges in millimetres, and the corner that
/// is the origin of pixel (0, 0).
struct PlaneGrid {
    int xsize;
    int ysize;
    double xres;
    double yres;
    MVectorTemplate<double> corner;
};

PlaneGrid planeGrid(const QVolumeSize& size, const MMatrix& geometry);

/// One axis of a slice on the pixels of a plane.
class AxisAlignment {
  public:
    /// Between which pixels of the slice a pixel of the plane lies, and how far from the lower one
    /// to the upper: beyond 0 to 1 in the outermost half pixels, where the line goes on.
    struct Sample {
        int lower;
        int upper;
        double fraction;
    };

    /// `distance` is from the corner of the plane to that of the slice, in millimetres.
    AxisAlignment(int sliceSize, double sliceRes, int planeSize, double planeRes, double distance);

    /// The pixels of the plane whose centres the slice covers, from `begin` up to but not including
    /// `end`.
    int begin() const { return begin_; }
    int end() const { return end_; }
    bool covers(int i) const { return begin_ <= i && i < end_; }

    bool hasEqualSpacing() const { return hasEqualSpacing_; }

    /// The pixel of the slice at a covered pixel of the plane, for equal spacing.
    int pixelAt(int i) const { return i - static_cast<int>(shift_); }

    /// The same for any spacing.
    Sample sampleAt(int i) const;

  private:
    int sliceSize_;
    double pixelRatio_;
    bool hasEqualSpacing_;
    /// Whole pixels of the plane.
    double shift_;
    int begin_ = 0;
    int end_ = 0;
};

/// A slice on the pixels of a plane. Refers to the image of the slice.
class PlacedSlice {
  public:
    PlacedSlice(const ISlice& slice, const PlaneGrid& grid);

    /// Which pixels the slice covers; a slice without pixels covers none.
    const AxisAlignment& columns() const { return columns_; }
    bool coversRow(int y) const { return columns_.begin() < columns_.end() && rows_.covers(y); }

    /// Whether the pixels are those of the plane, so that `storedRow` can be used.
    bool hasEqualSpacing() const { return columns_.hasEqualSpacing() && rows_.hasEqualSpacing(); }

    /// The pixels of the slice at the covered columns of a covered row.
    const unsigned short* storedRow(int y) const;

    /// Fills in the values at the covered columns of a covered row, bilinear between the centres of
    /// the slice's pixels.
    void resampleRow(int y, double* values) const;

  private:
    const QVolume<unsigned short>& image_;
    AxisAlignment columns_;
    AxisAlignment rows_;
    std::vector<AxisAlignment::Sample> samples_;
};

/// Fills a plane of `grid` pixels from one slice, with values of the scale `from` converted to
/// `to`. What the slice does not cover becomes 0.
void copySlice(const PlacedSlice& slice, const PixelScale& from, const PixelScale& to,
               const PlaneGrid& grid, unsigned short* plane);

/// One of the two slices an interpolated plane lies between.
struct Neighbour {
    PlacedSlice slice;
    PixelScale scale;
    /// The weights of both neighbours add up to 1.
    double weight;
};

struct Neighbours {
    Neighbour lower;
    Neighbour upper;
};

/// The neighbours of a plane at `distance` between two slices. Of twice the same slice the lower
/// counts all.
Neighbours placeNeighbours(const ISlice& lower, const ISlice& upper, double distance,
                           const PlaneGrid& grid);

/// Fills a plane of `grid` pixels with values of the scale `to`. Where one neighbour does not cover
/// a pixel it counts as 0 on that scale, as in a plane copied from it.
void interpolateSlices(const Neighbours& neighbours, const PixelScale& to, const PlaneGrid& grid,
                       unsigned short* plane);

}  // namespace trelis::VolumeImage::detail
