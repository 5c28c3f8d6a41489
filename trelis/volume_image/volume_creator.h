#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/undefined.h>
#include <trelis/foundation/volume.h>
#include <trelis/volume_image/result_code.h>
#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage {

/// Fills the pixels of a volume from the slices of its definition. Refers to the definition, its
/// slices and the volume last constructed, and owns none of them. No lock: calls for one object
/// must not run at the same time.
class TRELIS_API VolumeCreator {
  public:
    /// Takes the slices of the definition, which must not change while this object is used.
    explicit VolumeCreator(const IVolumeImage& image);

    /// Checks the slices as `ImageCreator::AddSlice` does: `NoSlice` without slices or with a null
    /// one; then slice by slice `ModalityMismatch`, `RescaleMismatch` and `OrientationMismatch`
    /// against the first slice, `DuplicatePlane` against all before, `UnsupportedModality` and
    /// `UndefinedPixelConversion`.
    ResultCode ValidateSlices() const;

    /// Fills the volume, which must have the sizes and resolutions of the specification; pixels are
    /// allocated when it has none.
    ///
    /// With a pixel slope of NaN or a pixel offset of `UnknownInteger` the scale of the volume is
    /// what `CalculatePixelOutputConversionFactors` gives, which ends the process when a slice has
    /// no conversion; else it is the one given, and only the rescale pair is computed:
    /// `UndefinedPixelConversion`, with nothing changed, when a slice has no conversion. All four
    /// describe the volume afterwards.
    ///
    /// A plane with a slice less than 0.1 mm away is a copy of the nearest such slice, of the first
    /// of equally near ones; beyond the outermost slices 1e-6 mm more will do. Other planes are
    /// interpolated between the nearest slices below and above; `NoSlice` when there are not both,
    /// with the planes filled so far left in the volume. `NoSlice` also without slices and with a
    /// null one.
    ///
    /// Slices are aligned by whole pixels of the volume. One with the pixel edges of the volume (to
    /// 1e-9 mm) is copied pixel by pixel, another resampled bilinearly between pixel centres.
    /// Values are converted unless slope and offset are exactly the volume's, rounded, and limited
    /// to 0 ... 65,535. A pixel no slice covers is 0.
    ///
    /// Reports the planes done by all planes after each one; `QAbortPressed` from there leaves a
    /// partly filled volume.
    ResultCode Construct(FProgressReportingBody& progress, QVolume<unsigned short>& volume,
                         double& pixelSlope, int& pixelOffset, double& rescaleSlope,
                         double& rescaleIntercept);

  private:
    bool hasAllSlices() const;
    bool haveAllConversions() const;

    const IVolumeImage& image_;
    std::vector<const ISlice*> slices_;
    QVolume<unsigned short>* volume_ = nullptr;
    double pixelSlope_ = Undefined<double>::value;
    int pixelOffset_ = UnknownInteger;
};

}  // namespace trelis::VolumeImage
