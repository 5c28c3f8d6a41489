#pragma once

#include <trelis/export.h>
#include <trelis/segment/segment_volume.h>

/// Voxel by voxel combinations of structures. Values are covered fractions, so the operations are
/// the fuzzy ones: union is the maximum, intersection the minimum, subtraction the minimum with the
/// complement.
///
/// Segments have one geometry when their sizes are equal and their resolutions differ by less than
/// 1e-6 mm on every axis. What a function refuses is checked in the order listed, before anything
/// is written, and ends the process through `Crash` with the message quoted.
///
/// Results are not compacted: a cell whose values became all 0 or all 255 may keep storage until
/// `SegmentVolume::compact`. Storage that a result has already may be used again. Results keep
/// their resolutions unless said otherwise. All work is done on the calling thread; inputs must not
/// change meanwhile.
namespace NSegmentAlgorithms {

/// result := max(a, b) everywhere. `a` and `b` may be the same object.
/// Refuses a result that is a or b: "result and parameters are the same"; then a, b and result
/// without one geometry: "non-uniform geometries in input segments".
TRELIS_API void Union(const NSegment::SegmentVolume& a, const NSegment::SegmentVolume& b,
                      NSegment::SegmentVolume& result);

/// result := min(a, b) everywhere. `a` and `b` may be the same object.
/// Refuses a, b and result without one geometry: "non-uniform geometries in input segments"; then a
/// result that is a or b: "segments result and a or b are the same".
TRELIS_API void Intersection(const NSegment::SegmentVolume& a, const NSegment::SegmentVolume& b,
                             NSegment::SegmentVolume& result);

/// result := min(a, 255 - b) everywhere; the result takes the resolutions of a. `a` and `b` may be
/// the same object.
/// Refuses a and b, then a and result, of different geometry: "non-uniform geometries in input
/// segments"; then a result that is a or b: "result and parameters are the same".
TRELIS_API void Subtract(const NSegment::SegmentVolume& a, const NSegment::SegmentVolume& b,
                         NSegment::SegmentVolume& result);

/// result := 255 - a everywhere; the result takes the sizes and resolutions of a.
/// Refuses a result that is a: "result and parameters are the same".
TRELIS_API void Invert(const NSegment::SegmentVolume& a, NSegment::SegmentVolume& result);

/// result := max(result, a) everywhere: the form with planes, for 0 to a.zsize().
TRELIS_API void UnionInPlace(const NSegment::SegmentVolume& a, NSegment::SegmentVolume& result);

/// result := min(result, a) everywhere: the form with planes, for 0 to a.zsize().
TRELIS_API void IntersectionInPlace(const NSegment::SegmentVolume& a,
                                    NSegment::SegmentVolume& result);

/// result := min(result, 255 - a) everywhere: the form with planes, for 0 to a.zsize().
TRELIS_API void SubtractInPlace(const NSegment::SegmentVolume& a, NSegment::SegmentVolume& result);

/// result := max(result, a) on the planes zBegin <= z < zEnd; other planes are left alone. A
/// negative zBegin is 0; without planes in the range nothing changes.
/// Refuses a and result of different geometry: "non-uniform geometries in input segments"; then a
/// zEnd above zsize(): "z argument out of range"; then a result that is a: "result and parameters
/// are the same".
TRELIS_API void UnionInPlace(const NSegment::SegmentVolume& a, int zBegin, int zEnd,
                             NSegment::SegmentVolume& result);

/// result := min(result, a) on the planes zBegin <= z < zEnd; other planes are left alone. A
/// negative zBegin is 0; without planes in the range nothing changes.
/// Refuses a and result of different geometry: "non-uniform geometries in input segments"; then a
/// result that is a: "result and parameters are the same"; then a zEnd above zsize(): "z argument
/// out of range".
TRELIS_API void IntersectionInPlace(const NSegment::SegmentVolume& a, int zBegin, int zEnd,
                                    NSegment::SegmentVolume& result);

/// result := min(result, 255 - a) on the planes zBegin <= z < zEnd; other planes are left alone. A
/// negative zBegin is 0; without planes in the range nothing changes.
/// Refuses what `IntersectionInPlace` refuses, with its messages and in its order.
TRELIS_API void SubtractInPlace(const NSegment::SegmentVolume& a, int zBegin, int zEnd,
                                NSegment::SegmentVolume& result);

/// result := max(result, a, b) in the box that encloses the bounding boxes of a and of b
/// (`SegmentVolume::GetBoundingBoxForIteration`), cut to the grid. Outside it the result is left
/// alone, also where a or b holds a value below 128. The box of a segment without inside voxels is
/// the high corner of the grid: with one such input the box reaches up to there, with two nothing
/// changes.
/// Refuses that any two of a, b and result are the same: "result and parameters are the same"; then
/// a, b and result without one geometry: "non-uniform geometries in input segments".
TRELIS_API void TernaryUnionInPlace(const NSegment::SegmentVolume& a,
                                    const NSegment::SegmentVolume& b,
                                    NSegment::SegmentVolume& result);

/// `Union` of a and of b resampled onto the grid of a. With a and b of one geometry it is `Union`
/// itself, and refuses what that refuses.
///
/// Otherwise the boxes of the two grids (sizes times resolutions) are laid over each other, axes
/// parallel. On an axis on which a is larger, both are centred: the voxels of a from
/// trunc((A - B) / 2 / res_a + 0.5) up to but not including trunc(((A - B) / 2 + B) / res_a + 0.5),
/// A and B being the extents, are covered, the first of them by the low corner of b. On others all
/// voxels of a are, centred along x but, deliberately, from the low corner of b along y and z. On
/// covered voxels b is sampled at the voxel's centre, bilinearly in x and y
/// (`NSegment::SpanFixedPoint16BiLinearIteratorAlongXAxis`, one for each row) in the plane of b
/// that holds it; beyond the outermost voxel centres of b, samples are 0. All other voxels of the
/// result become 0, whatever a holds there: b should cover a.
///
/// Refuses a and result of different geometry: "non-uniform geometries in input segments 'a' and
/// 'result'"; then, only when a and b differ in geometry, a result that is a or b: "segments result
/// and a or b are the same"; and an x resolution of b below 2.2e-16 in magnitude: "x resolution of
/// input segment is zero".
TRELIS_API void UnionDifferentGeometries(const NSegment::SegmentVolume& a,
                                         const NSegment::SegmentVolume& b,
                                         NSegment::SegmentVolume& result);

/// `Intersection` of a and of b resampled onto the grid of a by the rule of
/// `UnionDifferentGeometries`, with its checks; with a and b of one geometry, `Intersection`
/// itself. Voxels of a that b does not cover become 0 in the result.
TRELIS_API void IntersectionDifferentGeometries(const NSegment::SegmentVolume& a,
                                                const NSegment::SegmentVolume& b,
                                                NSegment::SegmentVolume& result);

/// `Subtract` of a and of b resampled onto the grid of a by the rule of `UnionDifferentGeometries`,
/// with its checks; with a and b of one geometry, `Subtract` itself. Voxels of a that b does not
/// cover become 0 in the result.
TRELIS_API void SubtractDifferentGeometries(const NSegment::SegmentVolume& a,
                                            const NSegment::SegmentVolume& b,
                                            NSegment::SegmentVolume& result);

}  // namespace NSegmentAlgorithms
