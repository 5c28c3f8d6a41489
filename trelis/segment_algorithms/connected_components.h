#pragma once

#include <trelis/export.h>
#include <trelis/foundation/volume.h>
#include <trelis/segment/segment_volume.h>

/// Connected components of the inside voxels (128 and above) of a segment.
///
/// Voxels that share a face are connected. Voxels that touch along an edge only are when the four
/// voxels around it add up to 510, half of what they can hold; voxels that touch at a corner only,
/// when the eight around it add up to 1020. Values of outside voxels count in these sums, and
/// beyond the grid there are none to be connected with. One oddity is intended: where the voxel
/// with the higher z has the lower y, twice the four of the lower plane stand for the eight. On a
/// mask of 0 and 255 all voxels that share an edge are connected, and none that touch at a corner
/// only.
///
/// Label 0 is the background, every voxel below 128. Components are 1, 2, ... in the order of their
/// first voxels, x fastest, then y, then z. The number of labels counts the background.
///
/// Work is done on the calling thread; the segment must not change meanwhile. Besides the output
/// a label for each run of inside voxels along x is held, and four bytes for each voxel of a plane.
/// std::bad_alloc, and `trelis::BadCast` for 2^31 - 1 runs or more, leave the output alone.
namespace NSegmentAlgorithms {

/// The components of plane z, which must exist, without regard to other planes. `labels` has room
/// for xsize ysize labels; that of voxel (x, y) is written to y xsize + x.
TRELIS_API void Labeling2d(const NSegment::SegmentVolume& seg, int z, int& labelCount, int* labels);

/// The components of the whole segment. `labels` has pixels and the sizes of the segment: else
/// `Crash`, "Labeling3d : segment and labelVolume sizes differ". Its resolutions are left alone.
TRELIS_API void Labeling3d(const NSegment::SegmentVolume& seg, int& labelCount,
                           QVolume<int>& labels);

}  // namespace NSegmentAlgorithms
