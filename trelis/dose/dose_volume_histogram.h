#pragma once

#include <trelis/dose/dvh_data.h>
#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

/// Dose-volume histograms of a structure in a dose grid.
///
/// A dose grid value v means the dose v `doseScale`, and `doseOffset` must be 0. `doseTransform`
/// maps millimetres along the axes of the dose grid, from the centre of its box, to real
/// coordinates; `structureGeometry` is the place of the structure's grid. `structureVolume` is in
/// mm3 (a dose grid of a single plane: the area in mm2); for 0 it is measured with
/// `plexa::CalculateVolumeWithSubVoxelModeling`, in a single dose plane the area of the structure's
/// plane 0. `maxValue` is the largest dose value that the bins reach, 0 for the largest in the
/// grid; what is above comes into the last bins.
///
/// The dose is sampled as `CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling` says, on a grid
/// whose coarse axes (voxels above 11 mm in-plane and 2 mm along z) are refined linearly, with
/// rounded values, in steps of a seventh of the volume's edge, between 0.001 and 1 mm (2.6 mm above
/// 5 litres). A dose of zero everywhere, with a `maxValue` of 0, gives a histogram with the whole
/// volume in its first bin, a bin width of 0 and zero statistics.
///
/// All throw std::out_of_range with "Dose offset must be zero" for another offset, and `BadCast`
/// for a dose whose bin index is no int; a structure geometry that does not match the structure is
/// a `Crash`. `result` may have any content before; after a cancellation it is partly filled. Runs
/// on the caller's thread; calls with records and reporters of their own may run at the same time,
/// also on the same grids.
namespace trelis {

/// The histogram in cm3 (of a single dose plane: cm2) and its statistics, normalised such that its
/// total is volume x dose coverage. 100,000 bins up to 1.2 times the largest dose, truncated.
TRELIS_API void CalculateDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume, DvhData& result,
    FProgressReportingBody& progress);

/// The same with bins of the caller's choice. Without bins only volume, coverage and extreme doses
/// are defined.
TRELIS_API void CalculateDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    unsigned long long maxValue, int binCount, DvhData& result, FProgressReportingBody& progress);

/// The histogram as sampled, in mm3 (mm2), without the mean, modal and median dose, standard
/// deviation and sampling coverage, and not normalised.
TRELIS_API void CalculateDoseVolumeHistogram(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    unsigned long long maxValue, int binCount, DvhData& result, FProgressReportingBody& progress);

/// The dose-area histogram of a single dose plane and its statistics, in mm2 and not normalised
/// (intended): 100,000 bins up to 1.2 times the largest dose, sampled every 0.25 mm. More than one
/// plane: std::out_of_range with "Matrix Z size must be 1".
TRELIS_API void CalculateDoseAreaHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureArea, DvhData& result);

}  // namespace trelis
