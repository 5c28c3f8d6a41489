#pragma once

#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms {

/// Writes a glyph into plane z of a segment: each voxel of the plane becomes the fraction of its
/// square that the glyph covers, 0 to 255, rounded. The area is that of the polygon cut to the
/// square, not a count of samples, so slivers and contours smaller than a voxel keep theirs.
///
/// Points are in voxel coordinates: voxel (i, j) is the square of side 1 around (i, j). A point is
/// in the glyph when an odd number of contours wind around it, whatever their orientation: holes,
/// islands in holes, holes that touch their outline and contours that run along a line into a hole,
/// around it the other way and back come out as they should. Contours with fewer than 3 points are
/// ignored; what is beyond the grid is cut off.
///
/// Other planes stay as they are; the cells that plane z runs through are compacted. A plane that
/// does not exist and coordinates that are not finite (or above 1e100) are std::invalid_argument,
/// before anything is written. Time follows the covered voxels and, for each point and crossing,
/// the number of edges at its height: some for an outline, all of them for a comb.
TRELIS_API void ScanConvertGlyph(const Glyph& glyph, int z, NSegment::SegmentVolume& seg);

}  // namespace NSegmentAlgorithms
