#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage {

/// Finds the scale of a volume's pixels. A stored value v of a slice or of the volume stands for
/// (v + pixel offset) * pixel slope; v * rescaleSlope + rescaleIntercept of the volume is the final
/// value.
///
/// Pixel slope and offset are those of the first slice if all slices have the same (slopes within
/// 1e-6), if the modality of the first slice is "CT", or if all pixels stand for one value.
/// Otherwise they spread the values of all slices over 16 bits: with offset 0 and 65,535 steps
/// while the smallest value is less than a quarter step from 0, else with 65,533 steps and the
/// smallest value stored as about 1; with fewer steps where the pixel offset would otherwise be
/// beyond 2,000,000,000.
///
/// The rescale pair is that of the first slice that knows each, 1 and 0 if none does, carried over
/// to stored values of the volume.
///
/// No slices, and a slice without pixel slope or offset, end the process.
TRELIS_API void CalculatePixelOutputConversionFactors(const std::vector<const ISlice*>& slices,
                                                      double& pixelSlope, int& pixelOffset,
                                                      double& rescaleSlope,
                                                      double& rescaleIntercept);

}  // namespace trelis::VolumeImage
