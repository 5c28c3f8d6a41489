#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume.h>
#include <trelis/segment/segment_volume.h>

/// Removal of connected components from a segment. Components are those of `Labeling3d`, or of
/// `Labeling2d` in one plane; their size is the number of their voxels, whatever the values.
///
/// To remove is to write 127, one below inside, into each voxel of the component: it is gone from
/// every inside test, but its voxels are not emptied. All other voxels keep their values.
/// Afterwards uniform cells are made empty or full (`SegmentVolume::compact`): all cells by the
/// functions for the volume, those of the cell layer that holds the plane by those for a plane.
///
/// Points are in voxel coordinates, voxel centres at integers, and stand for the voxel whose
/// indices are their coordinates truncated toward zero. It must exist, as must a plane z; neither
/// is checked. A point on no component picks none.
///
/// Work is done on the calling thread. std::bad_alloc, and `trelis::BadCast` for 2^31 - 1 runs of
/// inside voxels or more, leave the segment as it was; in functions with points per plane, with the
/// planes before finished. Running out of memory for cells ends the process.
namespace NSegmentAlgorithms {

/// Writes 127 into every voxel whose label is flagged, label 0 included if that is. `labels` has
/// the sizes of the segment, `remove` a flag for each label that occurs; both are left alone.
TRELIS_API void RemoveSelectedLabels3d(std::vector<bool>& remove, QVolume<int>& labels,
                                       NSegment::SegmentVolume& seg);

/// Keeps the n largest components and removes the others; n below 1 removes every component. Which
/// of equally large ones are kept is open.
TRELIS_API void KeepNLargestSegments(int n, NSegment::SegmentVolume& seg);

/// As `KeepNLargestSegments` with the components of plane z. Other planes are left alone.
TRELIS_API void KeepNLargestSegmentsInSlice(int z, int n, NSegment::SegmentVolume& seg);

/// Sorts the points by z, equal ones in their order. Then, for each group of points, removes from
/// its plane all components that no point of the group picks. Planes without points are left alone.
///
/// A group is a point, whose z truncated is the plane, and the points after it whose z is exactly
/// that number. So two points at z = 5.5 are two groups of plane 5, and only a component
/// that both pick survives: intended.
TRELIS_API void KeepSelectedPart2d(std::vector<MVectorTemplate<double>>& points,
                                   NSegment::SegmentVolume& seg);

/// Removes the components that no point picks. The points are left alone.
TRELIS_API void KeepSelectedPart3d(std::vector<MVectorTemplate<double>>& points,
                                   NSegment::SegmentVolume& seg);

/// Sorts and groups the points as `KeepSelectedPart2d` does, and removes from the plane of each
/// group the components that its points pick.
TRELIS_API void RemoveSelectedSegment2d(std::vector<MVectorTemplate<double>>& points,
                                        NSegment::SegmentVolume& seg);

/// Removes the components that points pick. The points are left alone.
TRELIS_API void RemoveSelectedSegment3d(std::vector<MVectorTemplate<double>>& points,
                                        NSegment::SegmentVolume& seg);

/// Removes the components of plane z of less than minArea / (yres xres) voxels; minArea in mm2.
/// Other planes are left alone.
TRELIS_API void RemoveSmallSegments2d(int z, double minArea, NSegment::SegmentVolume& seg);

/// Removes the components of less than minVolume / (yres xres zres) voxels; minVolume in mm3.
TRELIS_API void RemoveSmallSegments3d(double minVolume, NSegment::SegmentVolume& seg);

/// As `RemoveSmallSegments2d`, but keeps components with a voxel in the first or last row or column
/// of the plane.
TRELIS_API void RemoveSmallSegmentsNotOnBorder2d(int z, double minArea,
                                                 NSegment::SegmentVolume& seg);

/// As `RemoveSmallSegments3d`, but keeps components with a voxel in the first or last plane, row or
/// column of the grid.
TRELIS_API void RemoveSmallSegmentsNotOnBorder3d(double minVolume, NSegment::SegmentVolume& seg);

}  // namespace NSegmentAlgorithms
