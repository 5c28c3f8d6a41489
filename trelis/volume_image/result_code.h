#pragma once

namespace trelis::VolumeImage {

/// What became of a slice or a volume.
enum class ResultCode : int {
    /// Accepted, or built.
    Ok = 0,
    /// No slice, a null one, or one without a series; no slices to interpolate between.
    NoSlice = 1,
    /// The slice says that it has no pixels.
    NoPixelData = 2,
    /// The image type contains "LOCALIZER".
    LocalizerImage = 3,
    /// The modality differs from that of the reference slice.
    ModalityMismatch = 4,
    /// An earlier slice lies less than 0.1 mm from the same plane.
    DuplicatePlane = 5,
    /// Slices of one series are required: another series, or pixel edges that differ by 0.01 mm or
    /// more.
    SeriesMismatch = 6,
    /// The parent key of the series differs from the reference.
    ParentMismatch = 7,
    /// The axes differ from the reference (`MMatrix::EqualRotation`).
    OrientationMismatch = 8,
    /// CT only: rescale slope or intercept differs from the reference by more than 0.001.
    RescaleMismatch = 9,
    /// The modality is none of "CT", "MR", "PT" and "US".
    UnsupportedModality = 10,
    /// The frame key differs from the reference.
    FrameMismatch = 11,
    /// Pixel slope or pixel offset is unknown.
    UndefinedPixelConversion = 12,
};

}  // namespace trelis::VolumeImage
