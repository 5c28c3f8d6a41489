#pragma once

#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/foundation/volume.h>
#include <trelis/segment/segment_volume.h>

/// Outlines of what is in a plane of a grid, in voxel coordinates of that plane: voxel centres at
/// integers. Vertices lie where the straight line between two voxels that are neighbours along x or
/// y crosses the level, one for each such pair.
///
/// Contours are closed, without repeating the first point, never cross or touch each other or
/// themselves, and have the inside on their left: with x to the right and y up, outlines run
/// counter-clockwise (positive area), holes clockwise. Between two inside and two outside voxels at
/// opposite corners of a square the mean of the four decides: at or above the level the inside ones
/// are joined, as in `NSegmentAlgorithms::Labeling2d`.
///
/// Each contour starts at the vertex whose pair of voxels comes first in raster order of lower
/// ends, and they come in the order of these. Vertices keep 1e-4 voxels away from voxel centres, so
/// that there are no edges of length 0 where a value equals the level.
///
/// `outlines` is replaced. std::invalid_argument for a plane that does not exist leaves it alone.
namespace NEdgePointAlgorithms {

/// The outlines of plane `plane` of a segment: voxels of 128 and above are inside, vertices lie at
/// 127.5. Beyond the grid there is 0, so what is full on the border closes half a voxel outside the
/// last centres. Time follows the cells that are on the boundary.
TRELIS_API void TraceSegmentPlane(const NSegment::SegmentVolume& segment, int plane,
                                  Glyph& outlines);

/// The lines at a level of plane `plane` of a volume: voxels of that value or above are inside. For
/// T = unsigned short, unsigned int, int and float. Beyond the grid and for NaN is outside; there,
/// as beside infinite values, vertices lie half way between the centres. std::invalid_argument for
/// a level that is NaN and for a volume without pixels.
template <typename T>
void TraceVolumePlane(const QVolume<T>& volume, int plane, double level, Glyph& outlines);

extern template TRELIS_API void TraceVolumePlane(const QVolume<unsigned short>&, int, double,
                                                 Glyph&);
extern template TRELIS_API void TraceVolumePlane(const QVolume<unsigned int>&, int, double, Glyph&);
extern template TRELIS_API void TraceVolumePlane(const QVolume<int>&, int, double, Glyph&);
extern template TRELIS_API void TraceVolumePlane(const QVolume<float>&, int, double, Glyph&);

}  // namespace NEdgePointAlgorithms
