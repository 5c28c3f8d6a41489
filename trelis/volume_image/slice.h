#pragma once

#include <string>
#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume.h>

/// Construction of a regular volume from image slices. The interfaces here are implemented by the
/// application, which owns the objects and keeps them alive and unchanged while an `ImageCreator`
/// or a `VolumeCreator` refers to them. The library calls them on the thread that called it.
namespace trelis::VolumeImage {

/// The series a slice was acquired in. Objects at different addresses are different series.
class TRELIS_API ISliceSeries {
  public:
    /// What the series belongs to, a study or an examination; the same for all slices of a volume.
    virtual std::wstring GetParentKey() const = 0;

  protected:
    ~ISliceSeries() = default;
};

/// One image slice. Unknown numbers are `trelis::Undefined<double>::value` and
/// `trelis::UnknownInteger`.
class TRELIS_API ISlice {
  public:
    /// The place of the slice. Rows 0 and 1 are the directions of pixel rows and columns, row 2 the
    /// normal; all of unit length. The translation is the centre of the slice, in millimetres,
    /// where a slice is a box of pixels 1 mm thick.
    virtual const MMatrix& GetGeometry() const = 0;

    /// The stored pixels, Z size 1. X and Y resolution are the pixel edges in millimetres.
    virtual const QVolume<unsigned short>& GetImage() const = 0;

    /// "CT", "MR", "PT" or "US".
    virtual std::wstring GetModality() const = 0;

    /// A stored value v stands for (v + pixel offset) * pixel slope on the scale that all slices of
    /// a volume share.
    virtual double GetPixelSlope() const = 0;
    virtual int GetPixelOffset() const = 0;

    /// A value x on the shared scale means x * rescale slope + rescale intercept, for example in
    /// Hounsfield units.
    virtual double GetRescaleSlope() const = 0;
    virtual double GetRescaleIntercept() const = 0;

  protected:
    ~ISlice() = default;
};

/// A slice with what decides whether it may join a volume.
class TRELIS_API ISliceVolumeDefinition : public ISlice {
  public:
    /// Never called by the library.
    virtual void HostOperation() const {}

    /// The image type values of the slice, such as "ORIGINAL\PRIMARY\AXIAL".
    virtual std::wstring GetImageType() const = 0;

    /// The series, null when unknown.
    virtual const ISliceSeries* GetSeries() const = 0;

    virtual bool HasPixelData() const = 0;

    /// Two numbers handed through to the specification of the volume; 0 and 0 when unset.
    virtual void GetRangeHint(int& first, int& second) const = 0;

    /// The frame of reference, the same for all slices of a volume.
    virtual std::wstring GetFrameKey() const = 0;

  protected:
    ~ISliceVolumeDefinition() = default;
};

/// A volume that is to be filled, made by the application from a `VolumeImageSpec`.
class TRELIS_API IVolumeImage {
  public:
    /// The place of the volume; the translation is that of the specification, not yet shifted to
    /// the voxel centres.
    virtual const MMatrix& GetGeometry() const = 0;

    /// Appends the slices that make the volume.
    virtual void GetSlices(std::vector<const ISlice*>& slices) const = 0;

    /// Asked once at the end of each construction that succeeds. The answer is not used.
    virtual bool HostQuery() const { return true; }

  protected:
    ~IVolumeImage() = default;
};

/// The signed position of a slice along its normal in millimetres: translation . normal - 0.5. That
/// is the lower face of the slice's box, which is 1 mm thick whatever the plane separation.
TRELIS_API double GetSlicePlaneDistance(const ISlice* slice);

}  // namespace trelis::VolumeImage
