#include <trelis/volume_image/detail/slice_validation.h>

#include <cmath>

#include <trelis/foundation/epsilon.h>

namespace trelis::VolumeImage::detail {

namespace {

constexpr double kRescaleTolerance = 0.001;

/// Two unknown values agree, an unknown and a known one do not.
bool rescaleAgrees(double a, double b) {
    return std::abs(a - b) <= kRescaleTolerance || (std::isnan(a) && std::isnan(b));
}

}  // namespace

ResultCode compareWithReference(const ISlice& slice, const ISlice& reference) {
    const std::wstring modality = slice.GetModality();
    if (modality != reference.GetModality()) {
        return ResultCode::ModalityMismatch;
    }
    if (modality == L"CT" &&
        !(rescaleAgrees(slice.GetRescaleSlope(), reference.GetRescaleSlope()) &&
          rescaleAgrees(slice.GetRescaleIntercept(), reference.GetRescaleIntercept()))) {
        return ResultCode::RescaleMismatch;
    }
    return slice.GetGeometry().EqualRotation(reference.GetGeometry())
               ? ResultCode::Ok
               : ResultCode::OrientationMismatch;
}

bool areOnOnePlane(const ISlice& a, const ISlice& b) {
    return EpsilonEqual(GetSlicePlaneDistance(&a), GetSlicePlaneDistance(&b), kPlaneTolerance);
}

bool isSupportedModality(const std::wstring& modality) {
    return modality == L"CT" || modality == L"MR" || modality == L"PT" || modality == L"US";
}

}  // namespace trelis::VolumeImage::detail
