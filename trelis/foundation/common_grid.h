#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace trelis {

/// The grid that several grids have in common: the box that all of them cover, along the axes of
/// one of them, with per axis the finest (`useFinestResolution`) or the coarsest voxel size found.
/// The box is snapped inwards to the voxel borders of the grid whose size was taken, with a
/// tolerance of a tenth of a voxel, unless no more than 1.1 voxels would remain. Sizes are rounded,
/// so that of an overlap below half a voxel is 0. Grids that share no volume, and a finest voxel
/// size of 0, give sizes (1, 1, 0), with the centre in the middle of the empty box.
///
/// The frame is that of the grid that comes first when all are ordered by the bytes of their
/// stored numbers (least significant byte first, larger first), so the result does not depend, to
/// the bit, on the order of the list. Grids turned against the frame enter with the extent of
/// their low and high corner in it.
///
/// Ends the process (std::terminate) on an empty list, when no finite voxel size was found
/// (finest) or the coarsest is within 1e-6 of 0, and when a size does not fit an int.
TRELIS_API FVoxelSpaceGeometry CalculateIntersectionSizeAndResolution(
    const std::vector<FVoxelSpaceGeometry>& geometries, bool useFinestResolution);

}  // namespace trelis
