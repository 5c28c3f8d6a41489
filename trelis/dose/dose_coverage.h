#pragma once

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace trelis {

/// How much of a structure lies in a dose grid, for T = unsigned short and unsigned int.
/// `structureWeight` sums value / 255 over the inside voxels (128 and above); `coveredWeight` over
/// those of them, `coveredCount` of which there are, whose centres in voxel coordinates of the dose
/// grid are in [0, size) on every axis, for a single dose plane on x and y only: from the first
/// voxel centre to one voxel beyond the last. Each grid is described by its geometry. Reports
/// progress after each layer of 8 structure planes by `ReportProgress`. After a cancellation the
/// outputs are 0.
template <class T>
TRELIS_API void CalculateDoseCoverageForStructure(const QVolume<T>& dose,
                                                  const FVoxelSpaceGeometry& doseGeometry,
                                                  const NSegment::SegmentVolume& structure,
                                                  const FVoxelSpaceGeometry& structureGeometry,
                                                  double& structureWeight, double& coveredWeight,
                                                  int& coveredCount,
                                                  FProgressReportingBody& progress);

}  // namespace trelis
