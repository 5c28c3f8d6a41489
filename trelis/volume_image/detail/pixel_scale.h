#pragma once

#include <cmath>
#include <vector>

#include <trelis/foundation/undefined.h>
#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage::detail {

/// A stored value v stands for (v + offset) slope.
struct PixelScale {
    double slope;
    int offset;

    friend bool operator==(const PixelScale&, const PixelScale&) = default;
};

inline PixelScale scaleOf(const ISlice& slice) {
    return {slice.GetPixelSlope(), slice.GetPixelOffset()};
}

inline bool isDefined(const PixelScale& scale) {
    return !std::isnan(scale.slope) && scale.offset != UnknownInteger;
}

/// The final value of a stored value v is v slope + intercept.
struct RescalePair {
    double slope;
    double intercept;
};

/// The pair for stored values of a volume with the scale given.
RescalePair rescaleFor(const std::vector<const ISlice*>& slices, const PixelScale& scale);

}  // namespace trelis::VolumeImage::detail
