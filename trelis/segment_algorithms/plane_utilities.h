#pragma once

#include <trelis/export.h>
#include <trelis/foundation/vector.h>
#include <trelis/segment/segment_volume.h>

/// Operations on the planes of a segment, which are voxel indices along z. What is said of one
/// plane touches that plane only. Nothing is compacted; cells are allocated by the rule of
/// `SegmentVolume::setPixel`.
namespace NSegmentAlgorithms {

/// Whether no voxel is inside (128 or above).
TRELIS_API bool IsEmpty(const NSegment::SegmentVolume& seg);

/// Whether no voxel of plane z is inside. A plane that does not exist is std::invalid_argument.
TRELIS_API bool IsPlaneEmpty(const NSegment::SegmentVolume& seg, int z);

/// Makes every voxel of plane z, which must exist, 0.
TRELIS_API void ClearPlaneZ(int z, NSegment::SegmentVolume& seg);

/// Writes plane zFrom of `from` over plane zTo of `to`, which may be the same segment. Depths and
/// distances of planes may differ. Ends the process with "Invalid geometry arguments" when a plane
/// does not exist, then with "Mismatching or invalid geometries in input segments" when the sizes
/// along x and y differ, or the resolutions there by 1e-6 mm.
TRELIS_API void copySlice(const NSegment::SegmentVolume& from, int zFrom, int zTo,
                          NSegment::SegmentVolume& to);

/// Exchanges planes z and zsize - 1 - z.
TRELIS_API void MirrorZ(NSegment::SegmentVolume& seg);

/// Writes 255 - v of every voxel v of `in` to the same voxel of `out`, which must have at least the
/// sizes of `in` (not checked) and may be the same segment. Voxels that only `out` has stay.
TRELIS_API void InverseSegment(const NSegment::SegmentVolume& in, NSegment::SegmentVolume& out);
TRELIS_API void InverseSegment(NSegment::SegmentVolume& seg);

/// Whether the trilinear value at a point in R-voxel coordinates is 128 or above. False outside the
/// voxel centres of the grid, the last ones included; see `NSegment::FixedPointAxis` for far
/// positions.
TRELIS_API bool IsPointInsideSegment(const MVectorTemplate<double>& p,
                                     const NSegment::SegmentVolume& seg);

/// The share of a's plane z that b covers, 0 to 1, weighted by the values of both: the sum of a b
/// over the sum of 255 a; 0 when a has nothing in the plane. Plane z must exist in both, which
/// should have equal sizes along x and y (not checked; what only one has is left out).
TRELIS_API double OverlappingSurfaceRatioForPlaneZ(int z, const NSegment::SegmentVolume& a,
                                                   const NSegment::SegmentVolume& b);

}  // namespace NSegmentAlgorithms
