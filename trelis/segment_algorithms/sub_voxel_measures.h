#pragma once

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/segment/segment_volume.h>

/// Sizes of a structure that change smoothly with its boundary. The values of neighbouring voxel
/// centres are the corners of lattice squares or cubes; the field between them is linear, and what
/// is above 127.5 counts. A square or cube with an inside corner (128 or above) counts at least one
/// thousandth, intended. The outer half voxel of the grid never counts: leave a voxel of margin
/// around a structure. The reporters are not called.
namespace plexa {

/// The area in mm2 of the cross-section in plane z, which must exist: 8 lines along x for each
/// lattice square.
TRELIS_API double CalculateSurfaceWithSubVoxelModeling(const NSegment::SegmentVolume& seg, int z,
                                                       FProgressReportingBody& progress);

/// The volume in mm3: 64 lines along z for each lattice cube. Time follows the surface of the
/// structure.
TRELIS_API double CalculateVolumeWithSubVoxelModeling(const NSegment::SegmentVolume& seg,
                                                      FProgressReportingBody& progress);

/// The same as `CalculateVolumeWithSubVoxelModeling`.
TRELIS_API double CalculateVolumeWithoutSkipping(const NSegment::SegmentVolume& seg,
                                                 FProgressReportingBody& progress);

}  // namespace plexa
