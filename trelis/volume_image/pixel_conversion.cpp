#include <trelis/volume_image/pixel_conversion.h>

#include <algorithm>
#include <cmath>

#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/volume_image/detail/pixel_scale.h>
#include <trelis/volume_image/detail/saturate.h>

namespace trelis::VolumeImage {

namespace {

using detail::PixelScale;

using Slices = std::vector<const ISlice*>;

constexpr double kSlopeTolerance = 1e-6;

/// Steps of the joint scale, without and with an offset.
constexpr double kSteps = 65535.0;
constexpr double kStepsWithOffset = 65533.0;

/// From which distance of the smallest value to 0, in steps, an offset is used.
constexpr double kOffsetThreshold = 0.25;

/// The largest offset of the joint scale, below `UnknownInteger` and what an int holds.
constexpr double kLargestOffset = 2e9;

bool haveOneScale(const Slices& slices) {
    const PixelScale first = detail::scaleOf(*slices.front());
    return std::all_of(slices.begin(), slices.end(), [&first](const ISlice* slice) {
        const PixelScale scale = detail::scaleOf(*slice);
        return EpsilonEqual(scale.slope, first.slope, kSlopeTolerance) &&
               scale.offset == first.offset;
    });
}

/// A scale on which the values of all slices fit 16 bits.
PixelScale jointScale(const Slices& slices) {
    double minimum = 1e99;
    double maximum = -1e99;
    for (const ISlice* slice : slices) {
        const PixelScale scale = detail::scaleOf(*slice);
        const auto stored = slice->GetImage().MinMax();
        for (const double value : {stored.minimum, stored.maximum}) {
            const double real = (value + scale.offset) * scale.slope;
            minimum = std::min(minimum, real);
            maximum = std::max(maximum, real);
        }
    }
    const double range = maximum - minimum;
    if (range == 0.0) {
        return detail::scaleOf(*slices.front());
    }
    const double slope = range / kSteps;
    if (std::abs(minimum / slope) < kOffsetThreshold) {
        return {slope, 0};
    }
    // Fewer steps where the values are so close together, that far from 0, that the offset would
    // not fit.
    const double slopeWithOffset =
        std::max(range / kStepsWithOffset, std::abs(minimum) / kLargestOffset);
    return {slopeWithOffset,
            detail::saturated<int>(std::floor(minimum / slopeWithOffset + 0.5) - 1)};
}

PixelScale outputScale(const Slices& slices) {
    const bool defined = std::all_of(slices.begin(), slices.end(), [](const ISlice* slice) {
        return slice != nullptr && detail::isDefined(detail::scaleOf(*slice));
    });
    if (slices.empty() || !defined) {
        Crash(L"pixel conversion undefined");
    }
    if (haveOneScale(slices) || slices.front()->GetModality() == L"CT") {
        return detail::scaleOf(*slices.front());
    }
    return jointScale(slices);
}

double firstDefined(const Slices& slices, double (ISlice::*attribute)() const, double otherwise) {
    for (const ISlice* slice : slices) {
        const double value = (slice->*attribute)();
        if (!std::isnan(value)) {
            return value;
        }
    }
    return otherwise;
}

}  // namespace

detail::RescalePair detail::rescaleFor(const Slices& slices, const PixelScale& scale) {
    const double slope = firstDefined(slices, &ISlice::GetRescaleSlope, 1.0);
    const double intercept = firstDefined(slices, &ISlice::GetRescaleIntercept, 0.0);
    const double outputSlope = slope * scale.slope;
    return {outputSlope, scale.offset * outputSlope + intercept};
}

void CalculatePixelOutputConversionFactors(const Slices& slices, double& pixelSlope,
                                           int& pixelOffset, double& rescaleSlope,
                                           double& rescaleIntercept) {
    const PixelScale scale = outputScale(slices);
    const detail::RescalePair rescale = detail::rescaleFor(slices, scale);
    pixelSlope = scale.slope;
    pixelOffset = scale.offset;
    rescaleSlope = rescale.slope;
    rescaleIntercept = rescale.intercept;
    TrelisTrace(
        L"Volumetric values\npixel slope = %.3f\npixel offset = %i\nrescale slope = %.3f\nrescale "
        L"intercept = %.3f\n",
        pixelSlope, pixelOffset, rescaleSlope, rescaleIntercept);
}

}  // namespace trelis::VolumeImage
