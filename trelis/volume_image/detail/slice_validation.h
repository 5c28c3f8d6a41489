#pragma once

#include <string>

#include <trelis/volume_image/result_code.h>
#include <trelis/volume_image/slice.h>

/// The rules for slices of one volume.
namespace trelis::VolumeImage::detail {

/// How near two plane distances in millimetres must be to be one plane; they must be below it.
inline constexpr double kPlaneTolerance = 0.1;

/// `ModalityMismatch`, `RescaleMismatch`, `OrientationMismatch` or `Ok`, in this order.
ResultCode compareWithReference(const ISlice& slice, const ISlice& reference);

bool areOnOnePlane(const ISlice& a, const ISlice& b);

bool isSupportedModality(const std::wstring& modality);

}  // namespace trelis::VolumeImage::detail
