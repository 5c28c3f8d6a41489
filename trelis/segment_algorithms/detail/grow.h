#pragma once

#include <trelis/foundation/progress.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/detail/soft_ellipsoid.h>

namespace NSegmentAlgorithms::detail {

/// `out` := `in` with the planes first to last (inclusive) grown, by the neighbours in all
/// directions or, with two axes, in the plane only. Reports before each of these planes.
/// Compacts. `function` is named by exceptions.
void grow(const NSegment::SegmentVolume& in, const Growth& growth, int axes, int first, int last,
          NSegment::SegmentVolume& out, FProgressReportingBody& progress, const char* function);

/// Raises the voxels of a row from x on to `values`, or, to lower them, the complement of the
/// voxels. What lies outside the grid is left out. Cells are given storage where a value changes.
void raiseRow(NSegment::SegmentVolume& segment, int x, int y, int z, const Byte* values, int count,
              bool complement);

}  // namespace NSegmentAlgorithms::detail
