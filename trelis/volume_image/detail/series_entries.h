#pragma once

#include <trelis/volume_image/image_series_spec.h>

/// The slices of a new series that follows the planes of a volume.
namespace trelis::VolumeImage::detail {

/// A copy of the slice.
void addCopy(const ISliceVolumeDefinition& source, ImageSeriesSpec& spec);

/// A copy of the slice, moved along its normal to the plane distance.
void addRealPlane(const ISliceVolumeDefinition& source, double planeDistance,
                  ImageSeriesSpec& spec);

/// A slice at the plane distance, interpolated on the grid and the pixel scale of the lower one. A
/// neighbour without pixel conversion ends the process.
void addInterpolatedPlane(const ISliceVolumeDefinition& lower, const ISliceVolumeDefinition& upper,
                          double planeDistance, ImageSeriesSpec& spec);

}  // namespace trelis::VolumeImage::detail
