#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms {

/// How the space between and beyond the planes of a contour stack is filled.
struct ContourStackOptions {
    /// The distance of neighbouring contour planes in millimetres. 0 takes the median distance of
    /// the stack (two planes are always joined then), for a single plane that of the grid's planes.
    double planeSpacing = 0.0;
    /// Planes up to this many spacings apart are joined; a wider gap is kept. 1 fills nothing.
    double widestGap = 4.0;
    /// Whether what ends in a plane reaches half a spacing beyond it (at most halfway to the next
    /// plane).
    bool endCaps = true;
};

/// Makes a segment on a grid from planar contours in patient coordinates, as DICOM structures have
/// them. The contours may come in any order; those in one plane (within 0.1 mm) are its glyph, in
/// which a point is inside when an odd number of contours wind around it. Contours with fewer than
/// 3 points are ignored. `seg` takes the sizes and resolutions of the grid and is compacted; what
/// is beyond the grid is cut off.
///
/// A plane of the grid that lies in a contour plane holds what `ScanConvertGlyph` gives; without
/// caps, half of it where the structure ends. Between two contour planes the shape is that where
/// the signed distances to both outlines, weighted by closeness, sum to more than 0 (Raya and
/// Udupa, Shape-Based Interpolation of Multidimensional Objects, IEEE Trans. Med. Imaging 9, 1990;
/// here with exact distances to the polygons instead of those of a mask). Outlines with their holes
/// that overlap within the widest gap are one body; each body is interpolated by itself, over its
/// own planes. Parts of a plane that nothing in the body's next plane overlaps end there, as at the
/// ends of the stack: with a cap or without. A tube so oblique that its contours overlap little
/// narrows between them. Voxels that an end runs through get a share. Where contour planes are
/// denser than those of the grid, the average over the thickness of a grid plane is written.
///
/// Contours must lie in planes of the grid: std::invalid_argument names, by its index, the first
/// contour with a point more than 0.1 mm off the plane of its first point or with a coordinate that
/// is not finite (or above 1e100 voxels); also thrown for options that are negative or not finite
/// and for a grid without voxels. The grid's transform has scale 1. Progress is reported by
/// `ReportProgress` per plane; after a cancellation `seg` is partly filled or as it was.
TRELIS_API void ConvertContourStack(
    const std::vector<std::vector<MVectorTemplate<double>>>& contours,
    const FVoxelSpaceGeometry& grid, const ContourStackOptions& options,
    NSegment::SegmentVolume& seg, FProgressReportingBody& progress);

}  // namespace NSegmentAlgorithms
