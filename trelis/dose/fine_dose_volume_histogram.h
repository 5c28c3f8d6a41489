#pragma once

#include <trelis/dose/dvh_data.h>
#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

/// Dose-volume histograms of small structures and steep doses, to the accuracy wanted.
///
/// The voxels of the structure are divided into cells. A voxel counts with its partial volume,
/// value / 255 of it, also below 128 where an in-plane neighbour is inside; within its voxel the
/// covered part lies on the side of the inside. A plane of the structure stands for the slab around
/// it, as contours do: nothing is rounded off between planes. A cell spreads its covered volume
/// over the doses that it spans, found from dose and dose gradient, both trilinear, at its centre.
/// Doses beyond the extremes of the grid do not occur. Cells whose centres lie outside the box of
/// the dose's voxel centres are left out; along an axis with one voxel, outside that voxel, in
/// which the dose is the same. The dose coverage, as elsewhere, also counts what lies up to one
/// voxel beyond the last centres, so check `HasValidSamplingCoverage` where a structure may reach
/// over the border. A structure without inside voxels has volume and doses 0; that is no error.
///
/// Against `CalculateDoseVolumeHistogramAndStatistics`: the cells follow the structure's grid and
/// not the dose grid's, are weighed and not in or out, and cost more time for large structures. The
/// record has the same fields; differences are
///  - `structureVolume` 0 takes the sum of the partial volumes, in mm3;
///  - `minDose` and `maxDose` are the extreme doses that covered volume was spread to, and their
///    positions the centres of these cells;
///  - the unit is cm3 also for a dose grid of a single plane.
namespace trelis {

/// How finely voxels are divided, mm. An edge of a voxel is cut into the fewest equal steps that
/// are no longer than these, 64 at most.
struct DvhAccuracy {
    /// Along x and y of the structure's grid.
    double inPlaneStep = 0.5;
    /// Along z of the structure's grid.
    double planeStep = 0.5;
};

/// The histogram in cm3 and its statistics, normalised such that its total is volume x dose
/// coverage; 100,000 bins up to 1.2 times the largest dose, truncated. The arguments but the
/// accuracy are those of `CalculateDoseVolumeHistogramAndStatistics`, and so are the failures;
/// besides, a step that is not positive throws std::invalid_argument. Reports progress after each
/// plane of the structure. Runs on the caller's thread; calls with records and reporters of their
/// own may run at the same time.
TRELIS_API void CalculateFineDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    const DvhAccuracy& accuracy, DvhData& result, FProgressReportingBody& progress);

/// The same with bins of the caller's choice: `binCount` of them up to the dose value `maxValue`, 0
/// for the largest in the grid.
TRELIS_API void CalculateFineDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const NSegment::SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    const DvhAccuracy& accuracy, unsigned long long maxValue, int binCount, DvhData& result,
    FProgressReportingBody& progress);

}  // namespace trelis
