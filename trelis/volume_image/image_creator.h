#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/vector.h>
#include <trelis/volume_image/image_series_spec.h>
#include <trelis/volume_image/result_code.h>
#include <trelis/volume_image/slice.h>
#include <trelis/volume_image/volume_image_spec.h>

namespace trelis::VolumeImage {

/// Decides which slices form one volume, and where its planes lie. Add the slices, configure, tune
/// if need be, take the specification of the volume:
///
///     AddSlice ... AutoConfigure [SetBindingSlice SetdZ SetXSize SetYSize] [MakeIheroCompliant]
///     CreateNewVolumeImage
///
/// Output planes have one separation dZ and pass through the binding plane. A plane less than
/// 0.1 mm from a slice is *real*, a copy of the slice; others are interpolated between the slices
/// below and above. All lengths are millimetres; a plane distance is what `GetSlicePlaneDistance`
/// gives.
///
/// Keeps pointers to the slices and owns none. Copies are independent. No lock: calls for one
/// object must not run at the same time.
class TRELIS_API ImageCreator {
  public:
    /// The patient axis along the normal of the first slice, to 0.0001 in its cosine.
    enum class Direction : int { Sagittal = 0, Coronal = 1, Transversal = 2, Oblique = 3 };

    /// What one placement of the output planes makes of the input planes.
    struct PlaneSetup {
        std::uint64_t interpolatedPlaneCount = 0;
        std::uint64_t realPlaneCount = 0;
        double separation = 0.0;
        double bindingPosition = 0.0;
        /// The sum of |output plane - input plane| over the real planes.
        double deviation = 0.0;

        friend bool operator==(const PlaneSetup&, const PlaneSetup&) = default;
    };

    struct InputPlaneInfo {
        /// 1 for the first plane.
        std::uint32_t index = 0;
        /// The plane distance, negated where the normal runs against the patient axis (never for
        /// `Oblique`).
        double position = 0.0;
        /// Whether the plane lies less than 0.1 from the binding plane.
        bool isBindingPlane = false;
    };

    struct OutputPlaneInfo {
        /// 1 for the first plane.
        std::uint32_t index = 0;
        /// Signed as in `InputPlaneInfo`.
        double position = 0.0;
        /// Whether no input plane lies less than 0.1 away.
        bool isInterpolated = false;
    };

    /// Makes a new series from its specification and returns its slices, none of them null.
    using MakeSeries =
        std::function<std::vector<const ISliceVolumeDefinition*>(const ImageSeriesSpec&)>;

    /// With `requireSameSeries` all slices must have the series of the first one.
    explicit ImageCreator(bool requireSameSeries);

    void SetRequireSameSeries(bool requireSameSeries) { requireSameSeries_ = requireSameSeries; }

    /// Adds the slice if it may join those already there and returns whether it may. One that is
    /// there already is not checked or added again, and true is returned. The first slice accepted
    /// is the reference for others.
    ///
    /// The checks, of which the first that fails counts: `NoSlice` `NoPixelData` `LocalizerImage`;
    /// and against the slices already there, if any, `SeriesMismatch` `ParentMismatch`
    /// `ModalityMismatch` `RescaleMismatch` `OrientationMismatch` `DuplicatePlane`
    /// `UnsupportedModality` `FrameMismatch` `UndefinedPixelConversion`. A first slice of
    /// unsupported modality or without pixel conversion is accepted.
    bool AddSlice(const ISliceVolumeDefinition* slice);

    /// What the last `AddSlice` found, `Ok` if nothing. `slice` becomes the slice that the rejected
    /// one disagrees with: the reference for a mismatch of parent, modality, rescale and frame, the
    /// earlier slice for a duplicate plane, else null.
    ResultCode GetLastValidateError(const ISliceVolumeDefinition*& slice) const;

    /// Sorts the slices by plane distance, finds binding plane and separation, and sizes the
    /// volume. Tried are all separations of neighbouring slices (to 0.1 micrometre) with each slice
    /// as the binding plane; best is what makes most real planes, then fewest interpolated ones,
    /// then the smallest deviation. Placements with more interpolated planes than slices do not
    /// count. With fewer than two slices returns false and changes nothing. To be called again
    /// after more slices were added.
    bool AutoConfigure();

    /// Puts the output planes through input plane n, 1 for the lowest. Another n ends the process.
    /// This function and those below keep X and Y size and end the process before `AutoConfigure`.
    void SetBindingSlice(int n);

    /// Sets the plane separation. One that is not positive and finite, is below 1,024 roundings of
    /// the plane distances or makes more planes than fit an int ends the process.
    void SetdZ(double separation);

    /// Sets the number of pixels, not checked, over the same width or height. The other stays.
    void SetXSize(int size);
    void SetYSize(int size);

    /// Makes the list of output slices and the extent in the plane anew.
    void ReConfigure();

    Direction GetDirection() const { return direction_; }
    /// The plane distance of the binding plane.
    double GetBindingPD() const { return bindingPlaneDistance_; }
    double GetdZ() const { return dZ_; }
    int GetXSize() const { return xSize_; }
    int GetYSize() const { return ySize_; }
    int GetZSize() const { return zSize_; }
    std::size_t GetRealPlaneCount() const { return realPlaneCount_; }
    std::size_t GetInterpolatedPlaneCount() const { return interpolatedPlaneCount_; }
    /// How many slices the volume is made from.
    std::size_t GetOutputSliceCount() const { return outputSlices_.size(); }

    /// The separations of neighbouring slices, each once, in the order of the planes.
    void GetPlaneSeparationCandidates(std::deque<double>& candidates) const;

    /// The planes of the slices in ascending order of plane distance; none before `AutoConfigure`.
    void GetInputPlaneInfo(std::deque<InputPlaneInfo>& planes) const;

    /// The planes of the volume. Ends the process before `AutoConfigure`, as all below do that
    /// speak of output planes.
    void GetOutputPlaneInfo(std::deque<OutputPlaneInfo>& planes) const;

    /// The lowest plane on the grid through the binding plane that is above the lowest slice or
    /// less than 0.1 from it.
    double GetFirstOutputPlaneDistance() const;

    /// Whether no plane is interpolated and all output slices are of one series.
    bool IsIheroCompliant() const;

    /// Has the application make a new series, one slice for each plane if any is interpolated, else
    /// one for each output slice, and takes its slices for the output slices. Then no plane counts
    /// as interpolated. Returns false, doing nothing, when there is no need, and for PET, which is
    /// never resampled into a new series. A null slice in the new series ends the process, as does
    /// an interpolated plane next to a slice without pixel conversion.
    bool MakeIheroCompliant(const MakeSeries& makeSeries);

    /// Describes the volume; all of `spec` is overwritten.
    void CreateNewVolumeImage(VolumeImageSpec& spec) const;

  private:
    bool ValidateSlice(const ISliceVolumeDefinition* slice);
    bool validateAgainstOthers(const ISliceVolumeDefinition& slice);
    bool reject(ResultCode error, const ISliceVolumeDefinition* offender = nullptr);
    const ISliceVolumeDefinition* findDuplicate(const ISliceVolumeDefinition& slice) const;
    void sortInputSlices();
    void MakeOutputSlicesList();
    void Calculate3DTranslationAndSizeMM();
    void Calculate3DSizeInPixels();
    void CreateSeriesSpec(ImageSeriesSpec& spec) const;
    void requirePlanes() const;
    double positionSign() const;

    std::vector<const ISliceVolumeDefinition*> inputSlices_;
    std::vector<const ISliceVolumeDefinition*> outputSlices_;
    std::vector<double> inputPlaneDistances_;
    std::vector<double> planeSeparationCandidates_;
    std::uint64_t interpolatedPlaneCount_ = 0;
    std::uint64_t realPlaneCount_ = 0;
    MVectorTemplate<double> inPlaneTranslation_;
    Direction direction_ = Direction::Oblique;
    ResultCode lastValidateError_ = ResultCode::Ok;
    const ISliceVolumeDefinition* lastValidateSlice_ = nullptr;
    const ISliceVolumeDefinition* referenceSlice_ = nullptr;
    double bindingPlaneDistance_ = 0.0;
    double dZ_ = 0.0;
    int xSize_ = 0;
    int ySize_ = 0;
    int zSize_ = 0;
    double widthMM_ = 0.0;
    double heightMM_ = 0.0;
    bool requireSameSeries_;
};

}  // namespace trelis::VolumeImage
