#include <trelis/volume_image/volume_creator.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <trelis/volume_image/detail/pixel_scale.h>
#include <trelis/volume_image/detail/slice_resampling.h>
#include <trelis/volume_image/detail/slice_validation.h>
#include <trelis/volume_image/pixel_conversion.h>

namespace trelis::VolumeImage {

namespace {

using detail::PixelScale;
using detail::PlaneGrid;

using Slices = std::vector<const ISlice*>;

/// The slices by their place along the normal.
class Stack {
  public:
    explicit Stack(const Slices& slices) : slices_(slices) {
        distances_.reserve(slices.size());
        for (const ISlice* slice : slices) {
            distances_.push_back(GetSlicePlaneDistance(slice));
        }
    }

    /// The slice that makes the plane at d, null if there is none.
    const ISlice* at(double d) const {
        const auto cost = [d](double distance) { return std::abs(distance - d); };
        const ISlice* slice = best(cost, detail::kPlaneTolerance);
        if (slice != nullptr || (below(d) != nullptr && above(d) != nullptr)) {
            return slice;
        }
        // `ImageCreator` adds up its planes and so finds the same distance but for rounding. An
        // outermost plane that is real there could not be interpolated here.
        return best(cost, detail::kPlaneTolerance + kRounding);
    }

    /// The nearest slices on both sides of d, null if there is none.
    const ISlice* below(double d) const {
        return best([d](double distance) { return distance < d ? d - distance : kNowhere; },
                    kNowhere);
    }
    const ISlice* above(double d) const {
        return best([d](double distance) { return distance > d ? distance - d : kNowhere; },
                    kNowhere);
    }

  private:
    static constexpr double kNowhere = std::numeric_limits<double>::infinity();

    /// By how much one plane may differ between specification and construction, in millimetres.
    static constexpr double kRounding = 1e-6;

    /// The first slice with the smallest cost below the limit.
    template <typename Cost>
    const ISlice* best(const Cost& cost, double limit) const {
        const ISlice* found = nullptr;
        for (std::size_t i = 0; i < slices_.size(); ++i) {
            if (cost(distances_[i]) < limit) {
                limit = cost(distances_[i]);
                found = slices_[i];
            }
        }
        return found;
    }

    const Slices& slices_;
    std::vector<double> distances_;
};

/// Fills the planes of a volume. Refers to all it is made from.
class PlaneFiller {
  public:
    PlaneFiller(const Slices& slices, const MMatrix& geometry, const PixelScale& scale,
                QVolume<unsigned short>& volume)
        : stack_(slices),
          scale_(scale),
          volume_(volume),
          grid_(detail::planeGrid(volume, geometry)),
          firstDistance_(grid_.corner.Dot(geometry.GetUnitAxisZ())) {}

    /// First all copies, then what lies between them.
    ResultCode fill(FProgressReportingBody& progress) {
        const int count = volume_.GetZSize();
        int done = 0;
        std::vector<int> missing;
        for (int z = 0; z < count; ++z) {
            if (copyPlane(z)) {
                progress.SetProgress(static_cast<double>(++done) / count);
            } else {
                missing.push_back(z);
            }
        }
        for (const int z : missing) {
            if (!interpolatePlane(z)) {
                return ResultCode::NoSlice;
            }
            progress.SetProgress(static_cast<double>(++done) / count);
        }
        return ResultCode::Ok;
    }

  private:
    double distanceOf(int z) const { return firstDistance_ + z * volume_.GetZResMM(); }

    bool copyPlane(int z) {
        const ISlice* slice = stack_.at(distanceOf(z));
        if (slice == nullptr) {
            return false;
        }
        detail::copySlice({*slice, grid_}, detail::scaleOf(*slice), scale_, grid_,
                          volume_.GetSpanXY(z).begin());
        return true;
    }

    bool interpolatePlane(int z) {
        const double distance = distanceOf(z);
        const ISlice* lower = stack_.below(distance);
        const ISlice* upper = stack_.above(distance);
        if (lower == nullptr || upper == nullptr) {
            return false;
        }
        detail::interpolateSlices(detail::placeNeighbours(*lower, *upper, distance, grid_), scale_,
                                  grid_, volume_.GetSpanXY(z).begin());
        return true;
    }

    Stack stack_;
    PixelScale scale_;
    QVolume<unsigned short>& volume_;
    PlaneGrid grid_;
    double firstDistance_;
};

}  // namespace

VolumeCreator::VolumeCreator(const IVolumeImage& image) : image_(image) {
    image_.GetSlices(slices_);
}

bool VolumeCreator::hasAllSlices() const {
    return !slices_.empty() && std::find(slices_.begin(), slices_.end(), nullptr) == slices_.end();
}

bool VolumeCreator::haveAllConversions() const {
    return std::all_of(slices_.begin(), slices_.end(), [](const ISlice* slice) {
        return detail::isDefined(detail::scaleOf(*slice));
    });
}

ResultCode VolumeCreator::ValidateSlices() const {
    if (!hasAllSlices()) {
        return ResultCode::NoSlice;
    }
    for (auto slice = slices_.begin(); slice != slices_.end(); ++slice) {
        const ResultCode comparison = detail::compareWithReference(**slice, *slices_.front());
        if (comparison != ResultCode::Ok) {
            return comparison;
        }
        if (std::any_of(slices_.begin(), slice, [slice](const ISlice* earlier) {
                return detail::areOnOnePlane(*earlier, **slice);
            })) {
            return ResultCode::DuplicatePlane;
        }
        if (!detail::isSupportedModality((*slice)->GetModality())) {
            return ResultCode::UnsupportedModality;
        }
        if (!detail::isDefined(detail::scaleOf(**slice))) {
            return ResultCode::UndefinedPixelConversion;
        }
    }
    return ResultCode::Ok;
}

ResultCode VolumeCreator::Construct(FProgressReportingBody& progress,
                                    QVolume<unsigned short>& volume, double& pixelSlope,
                                    int& pixelOffset, double& rescaleSlope,
                                    double& rescaleIntercept) {
    volume_ = &volume;
    if (!hasAllSlices()) {
        return ResultCode::NoSlice;
    }
    if (!detail::isDefined({pixelSlope, pixelOffset})) {
        CalculatePixelOutputConversionFactors(slices_, pixelSlope, pixelOffset, rescaleSlope,
                                              rescaleIntercept);
    } else if (!haveAllConversions()) {
        return ResultCode::UndefinedPixelConversion;
    } else {
        const detail::RescalePair rescale = detail::rescaleFor(slices_, {pixelSlope, pixelOffset});
        rescaleSlope = rescale.slope;
        rescaleIntercept = rescale.intercept;
    }
    pixelSlope_ = pixelSlope;
    pixelOffset_ = pixelOffset;
    if (!volume_->PixelsAllocated()) {
        volume_->AllocatePixels();
    }
    const ResultCode result =
        PlaneFiller(slices_, image_.GetGeometry(), {pixelSlope_, pixelOffset_}, *volume_)
            .fill(progress);
    if (result == ResultCode::Ok) {
        image_.HostQuery();
    }
    return result;
}

}  // namespace trelis::VolumeImage
