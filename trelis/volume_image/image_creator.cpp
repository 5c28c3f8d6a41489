#include <trelis/volume_image/image_creator.h>

#include <algorithm>
#include <cmath>
#include <compare>
#include <string>
#include <utility>

#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/foundation/volume_tools.h>
#include <trelis/volume_image/detail/in_plane_extent.h>
#include <trelis/volume_image/detail/output_planes.h>
#include <trelis/volume_image/detail/pixel_scale.h>
#include <trelis/volume_image/detail/plane_placement.h>
#include <trelis/volume_image/detail/series_entries.h>
#include <trelis/volume_image/detail/slice_validation.h>

namespace trelis::VolumeImage {

namespace {

using Vector = MVectorTemplate<double>;

constexpr double kAxisTolerance = 0.0001;
constexpr double kPixelSpacingToleranceMM = 0.01;

ImageCreator::Direction directionOf(const Vector& normal) {
    const auto isAlong = [&normal](const Vector& axis) {
        return EpsilonZero(std::abs(normal.Dot(axis)) - 1, kAxisTolerance);
    };
    if (isAlong(Vector::P_Z)) {
        return ImageCreator::Direction::Transversal;
    }
    if (isAlong(Vector::P_Y)) {
        return ImageCreator::Direction::Coronal;
    }
    return isAlong(Vector::P_X) ? ImageCreator::Direction::Sagittal
                                : ImageCreator::Direction::Oblique;
}

bool areOfOneSeries(const ISliceVolumeDefinition& a, const ISliceVolumeDefinition& b) {
    const QVolumeSize& sizeA = a.GetImage();
    const QVolumeSize& sizeB = b.GetImage();
    return a.GetSeries() == b.GetSeries() &&
           EpsilonEqual(sizeA.GetXResMM(), sizeB.GetXResMM(), kPixelSpacingToleranceMM) &&
           EpsilonEqual(sizeA.GetYResMM(), sizeB.GetYResMM(), kPixelSpacingToleranceMM);
}

/// The first input plane above d, at least the second and at most the last. That is not the upper
/// plane in the list of output slices where one lies exactly the plane tolerance below d.
std::size_t upperNeighbour(const std::vector<double>& planes, double d) {
    const auto above = std::upper_bound(planes.begin() + 1, planes.end() - 1, d);
    return static_cast<std::size_t>(above - planes.begin());
}

}  // namespace

ImageCreator::ImageCreator(bool requireSameSeries) : requireSameSeries_(requireSameSeries) {}

bool ImageCreator::AddSlice(const ISliceVolumeDefinition* slice) {
    lastValidateError_ = ResultCode::Ok;
    lastValidateSlice_ = nullptr;
    if (std::find(inputSlices_.begin(), inputSlices_.end(), slice) != inputSlices_.end()) {
        return true;
    }
    if (!ValidateSlice(slice)) {
        return false;
    }
    inputSlices_.push_back(slice);
    return true;
}

ResultCode ImageCreator::GetLastValidateError(const ISliceVolumeDefinition*& slice) const {
    slice = lastValidateSlice_;
    return lastValidateError_;
}

bool ImageCreator::reject(ResultCode error, const ISliceVolumeDefinition* offender) {
    lastValidateError_ = error;
    lastValidateSlice_ = offender;
    return false;
}

bool ImageCreator::ValidateSlice(const ISliceVolumeDefinition* slice) {
    if (slice == nullptr || slice->GetSeries() == nullptr) {
        return reject(ResultCode::NoSlice);
    }
    if (!slice->HasPixelData()) {
        return reject(ResultCode::NoPixelData);
    }
    if (slice->GetImageType().find(L"LOCALIZER") != std::wstring::npos) {
        return reject(ResultCode::LocalizerImage);
    }
    if (inputSlices_.empty()) {
        referenceSlice_ = slice;
        return true;
    }
    return validateAgainstOthers(*slice);
}

bool ImageCreator::validateAgainstOthers(const ISliceVolumeDefinition& slice) {
    const ISliceVolumeDefinition& reference = *referenceSlice_;
    if (requireSameSeries_ && !areOfOneSeries(slice, reference)) {
        return reject(ResultCode::SeriesMismatch);
    }
    if (slice.GetSeries()->GetParentKey() != reference.GetSeries()->GetParentKey()) {
        return reject(ResultCode::ParentMismatch, &reference);
    }
    const ResultCode comparison = detail::compareWithReference(slice, reference);
    if (comparison == ResultCode::OrientationMismatch) {
        return reject(comparison);
    }
    if (comparison != ResultCode::Ok) {
        return reject(comparison, &reference);
    }
    if (const ISliceVolumeDefinition* duplicate = findDuplicate(slice)) {
        return reject(ResultCode::DuplicatePlane, duplicate);
    }
    if (!detail::isSupportedModality(slice.GetModality())) {
        return reject(ResultCode::UnsupportedModality);
    }
    if (slice.GetFrameKey() != reference.GetFrameKey()) {
        return reject(ResultCode::FrameMismatch, &reference);
    }
    if (!detail::isDefined(detail::scaleOf(slice))) {
        return reject(ResultCode::UndefinedPixelConversion);
    }
    return true;
}

const ISliceVolumeDefinition* ImageCreator::findDuplicate(
    const ISliceVolumeDefinition& slice) const {
    const auto duplicate = std::find_if(inputSlices_.begin(), inputSlices_.end(),
                                        [&slice](const ISliceVolumeDefinition* other) {
                                            return detail::areOnOnePlane(*other, slice);
                                        });
    return duplicate == inputSlices_.end() ? nullptr : *duplicate;
}

bool ImageCreator::AutoConfigure() {
    if (inputSlices_.size() < 2) {
        return false;
    }
    sortInputSlices();
    TrelisTrace(L"Input slice count: %Iu\n", inputSlices_.size());
    direction_ = directionOf(inputSlices_.front()->GetGeometry().GetUnitAxisZ());
    planeSeparationCandidates_ = detail::planeSeparationCandidates(inputPlaneDistances_);
    const PlaneSetup setup =
        detail::findPlanePositions(inputPlaneDistances_, planeSeparationCandidates_);
    bindingPlaneDistance_ = setup.bindingPosition;
    dZ_ = setup.separation;
    ReConfigure();
    Calculate3DSizeInPixels();
    return true;
}

void ImageCreator::sortInputSlices() {
    std::vector<std::pair<double, const ISliceVolumeDefinition*>> slices;
    slices.reserve(inputSlices_.size());
    for (const ISliceVolumeDefinition* slice : inputSlices_) {
        slices.emplace_back(GetSlicePlaneDistance(slice), slice);
    }
    std::stable_sort(slices.begin(), slices.end(), [](const auto& a, const auto& b) {
        return std::is_lt(std::weak_order(a.first, b.first));
    });
    inputSlices_.clear();
    inputPlaneDistances_.clear();
    for (const auto& [distance, slice] : slices) {
        inputSlices_.push_back(slice);
        inputPlaneDistances_.push_back(distance);
    }
}

void ImageCreator::SetBindingSlice(int n) {
    if (n < 1 || static_cast<std::size_t>(n) > inputPlaneDistances_.size()) {
        Crash(L"binding slice out of range");
    }
    bindingPlaneDistance_ = inputPlaneDistances_[static_cast<std::size_t>(n) - 1];
    ReConfigure();
}

void ImageCreator::SetdZ(double separation) {
    dZ_ = separation;
    ReConfigure();
}

void ImageCreator::SetXSize(int size) {
    xSize_ = size;
    ReConfigure();
}

void ImageCreator::SetYSize(int size) {
    ySize_ = size;
    ReConfigure();
}

void ImageCreator::ReConfigure() {
    MakeOutputSlicesList();
    Calculate3DTranslationAndSizeMM();
}

/// Slices that were added after `AutoConfigure` have no plane distance yet and are left alone.
void ImageCreator::requirePlanes() const {
    if (inputPlaneDistances_.size() < 2) {
        Crash(L"fewer than two input planes");
    }
}

void ImageCreator::MakeOutputSlicesList() {
    requirePlanes();
    if (!detail::isUsableSeparation(inputPlaneDistances_, dZ_)) {
        Crash(L"plane separation out of range");
    }
    outputSlices_.clear();
    interpolatedPlaneCount_ = 0;
    realPlaneCount_ = 0;
    zSize_ = 0;
    std::vector<bool> isListed(inputPlaneDistances_.size());
    const auto list = [&](std::size_t slice) {
        if (!isListed[slice]) {
            isListed[slice] = true;
            outputSlices_.push_back(inputSlices_[slice]);
        }
    };
    const auto visit = [&](const detail::OutputPlane& plane) {
        list(plane.lower);
        list(plane.upper);
        ++(plane.isInterpolated ? interpolatedPlaneCount_ : realPlaneCount_);
        ++zSize_;
    };
    detail::forEachOutputPlane(inputPlaneDistances_, GetFirstOutputPlaneDistance(), dZ_, visit);
    TrelisTrace(L"Output slices count: %Iu\n", outputSlices_.size());
}

void ImageCreator::Calculate3DTranslationAndSizeMM() {
    const detail::InPlaneExtent extent =
        detail::inPlaneExtent(outputSlices_, inputSlices_.front()->GetGeometry());
    inPlaneTranslation_ = extent.translation;
    widthMM_ = extent.width;
    heightMM_ = extent.height;
}

void ImageCreator::Calculate3DSizeInPixels() {
    const detail::PixelCounts counts = detail::pixelCounts(outputSlices_, widthMM_, heightMM_);
    xSize_ = counts.x;
    ySize_ = counts.y;
}

void ImageCreator::GetPlaneSeparationCandidates(std::deque<double>& candidates) const {
    candidates.assign(planeSeparationCandidates_.begin(), planeSeparationCandidates_.end());
}

double ImageCreator::positionSign() const {
    const Vector normal = inputSlices_.front()->GetGeometry().GetUnitAxisZ();
    switch (direction_) {
        case Direction::Sagittal:
            return normal.x < 0.0 ? -1.0 : 1.0;
        case Direction::Coronal:
            return normal.y < 0.0 ? -1.0 : 1.0;
        case Direction::Transversal:
            return normal.z < 0.0 ? -1.0 : 1.0;
        case Direction::Oblique:
            break;
    }
    return 1.0;
}

void ImageCreator::GetInputPlaneInfo(std::deque<InputPlaneInfo>& planes) const {
    planes.clear();
    for (const double distance : inputPlaneDistances_) {
        const auto index = static_cast<std::uint32_t>(planes.size() + 1);
        planes.push_back({index, distance * positionSign(),
                          EpsilonEqual(distance, bindingPlaneDistance_, detail::kPlaneTolerance)});
    }
}

void ImageCreator::GetOutputPlaneInfo(std::deque<OutputPlaneInfo>& planes) const {
    requirePlanes();
    planes.clear();
    const double sign = positionSign();
    const auto visit = [&](const detail::OutputPlane& plane) {
        const auto index = static_cast<std::uint32_t>(planes.size() + 1);
        planes.push_back({index, plane.distance * sign,
                          !detail::isNearInputPlane(inputPlaneDistances_, plane.distance)});
    };
    detail::forEachOutputPlane(inputPlaneDistances_, GetFirstOutputPlaneDistance(), dZ_, visit);
}

double ImageCreator::GetFirstOutputPlaneDistance() const {
    requirePlanes();
    return detail::firstOutputPlaneDistance(inputPlaneDistances_, bindingPlaneDistance_, dZ_);
}

bool ImageCreator::IsIheroCompliant() const {
    return interpolatedPlaneCount_ == 0 &&
           std::all_of(outputSlices_.begin(), outputSlices_.end(),
                       [this](const ISliceVolumeDefinition* slice) {
                           return slice->GetSeries() == outputSlices_.front()->GetSeries();
                       });
}

bool ImageCreator::MakeIheroCompliant(const MakeSeries& makeSeries) {
    if (IsIheroCompliant() || referenceSlice_->GetModality() == L"PT") {
        return false;
    }
    ImageSeriesSpec spec;
    CreateSeriesSpec(spec);
    detail::SliceDefinitions slices = makeSeries(spec);
    if (std::find(slices.begin(), slices.end(), nullptr) != slices.end()) {
        Crash(L"null slice in the new series");
    }
    outputSlices_ = std::move(slices);
    interpolatedPlaneCount_ = 0;
    return true;
}

void ImageCreator::CreateSeriesSpec(ImageSeriesSpec& spec) const {
    if (interpolatedPlaneCount_ == 0) {
        for (const ISliceVolumeDefinition* slice : outputSlices_) {
            detail::addCopy(*slice, spec);
        }
        return;
    }
    const auto visit = [&](const detail::OutputPlane& plane) {
        if (!plane.isInterpolated) {
            detail::addRealPlane(*inputSlices_[plane.lower], plane.distance, spec);
            return;
        }
        const std::size_t upper = upperNeighbour(inputPlaneDistances_, plane.distance);
        const std::size_t lower = upper - 1;
        TrelisTrace(L"Interpolate plane %.2f from lower slice: %.2f upper slice: %.2f\n",
                    plane.distance, inputPlaneDistances_[lower], inputPlaneDistances_[upper]);
        detail::addInterpolatedPlane(*inputSlices_[lower], *inputSlices_[upper], plane.distance,
                                     spec);
    };
    detail::forEachOutputPlane(inputPlaneDistances_, GetFirstOutputPlaneDistance(), dZ_, visit);
}

void ImageCreator::CreateNewVolumeImage(VolumeImageSpec& spec) const {
    const double firstPlane = GetFirstOutputPlaneDistance();
    const double xRes = widthMM_ / xSize_;
    const double yRes = heightMM_ / ySize_;
    TrelisTrace(
        L"Image\n\treal size: (%.4f, %.4f) [mm, mm]\n\tresolution: (%.4f, %.4f) [mm, mm]\n\tsize "
        L"in pixels (%d, %d)\n",
        widthMM_, heightMM_, xRes, yRes, xSize_, ySize_);
    spec = {};
    spec.size = {xSize_, ySize_, zSize_, xRes, yRes, dZ_};
    spec.geometry = inputSlices_.front()->GetGeometry();
    spec.geometry.SetTranslation(NVolumeTools::VectorToMiddle(spec.size, spec.geometry) +
                                 firstPlane * spec.geometry.GetUnitAxisZ() + inPlaneTranslation_);
    spec.slices = outputSlices_;
    for (const ISliceVolumeDefinition* slice : outputSlices_) {
        slice->GetRangeHint(spec.rangeFirst, spec.rangeSecond);
        if (spec.rangeFirst != 0 || spec.rangeSecond != 0) {
            break;
        }
    }
}

}  // namespace trelis::VolumeImage
