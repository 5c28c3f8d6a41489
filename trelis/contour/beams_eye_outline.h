#pragma once

#include <trelis/contour/beam_geometry.h>
#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace trelis {

/// The outlines of a segment as the source of a beam sees it, in the plane through the isocentre
/// across the beam: x and y of the beam frame, millimetres. Holes are where rays pass through the
/// structure without meeting it; orientation and order are those of
/// `NEdgePointAlgorithms::TraceSegmentPlane`.
///
/// The segment lies in patient coordinates by `geometry`, which has its sizes and resolutions, else
/// `Crash`: "TraceBeamsEyeOutline: segment and geometry differ". Each point of a square lattice on
/// the plane, `step` millimetres wide and with a point at the isocentre, gets the largest value
/// that its ray meets (trilinear between voxel centres, with 0 beyond the grid, read at half voxels
/// and more finely round the maximum); the outlines are at 127.5. Half the size of a voxel is a
/// good step. What lies between lattice points is not seen; a segment smaller than the step may
/// give no outline.
///
/// Rows of the lattice run in parallel; progress is reported before memory is taken, and of each.
/// `outlines` is replaced at the end, when cancelled not at all. std::invalid_argument for a step
/// or source-axis distance that is not positive and finite, for a step too small for the lattice to
/// be counted, for angles or an isocentre that are not finite, for a geometry without inverse, and
/// for a segment that, with a voxel around, reaches to the source or behind it. std::bad_alloc when
/// the lattice, four bytes a point, does not fit.
TRELIS_API void TraceBeamsEyeOutline(const NSegment::SegmentVolume& segment,
                                     const FVoxelSpaceGeometry& geometry, const BeamGeometry& beam,
                                     double step, Glyph& outlines,
                                     FProgressReportingBody& progress);

}  // namespace trelis
