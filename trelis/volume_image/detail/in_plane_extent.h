#pragma once

#include <vector>

#include <trelis/foundation/vector.h>
#include <trelis/volume_image/slice.h>

/// How large a volume must be to hold its slices side by side.
namespace trelis::VolumeImage::detail {

using SliceDefinitions = std::vector<const ISliceVolumeDefinition*>;

struct InPlaneExtent {
    /// The low corner of the box round all slices, without its part along the normal.
    MVectorTemplate<double> translation;
    double width = 0.0;
    double height = 0.0;
};

/// Each slice is measured along its own axes; `axes` are those of the result. Millimetres.
InPlaneExtent inPlaneExtent(const SliceDefinitions& slices, const MMatrix& axes);

struct PixelCounts {
    int x;
    int y;
};

/// The pixels along a width and a height in millimetres with the pixel edges that most slices have,
/// to 0.00001 mm, X and Y apart; the smaller edges where as many have others.
PixelCounts pixelCounts(const SliceDefinitions& slices, double width, double height);

}  // namespace trelis::VolumeImage::detail
