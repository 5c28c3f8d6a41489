#pragma once

#include <limits>

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/volume.h>
#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms {

/// Writes the Euclidean distance in millimetres from each voxel centre to the centre of the nearest
/// inside voxel (128 or above) of a segment: 0 in inside voxels, infinity where it is above `limit`
/// millimetres, but for rounding, or there is no inside voxel. `distances` takes the sizes and
/// resolutions of the segment, which must be positive.
///
/// Exact but for rounding to single precision (2 units in the last place). Without a limit the time
/// follows the voxels of the grid, with one the cells within about the limit and a cell of the
/// surface, and the writing of the output. Felzenszwalb and Huttenlocher, Distance Transforms of
/// Sampled Functions, Theory of Computing 8, 2012: lower envelopes of parabolas along one axis
/// after the other.
///
/// A limit that is negative or NaN is std::invalid_argument. Progress is reported by
/// `ReportProgress` per plane and row; after a cancellation the output is partly written.
TRELIS_API void DistanceTransform3d(const NSegment::SegmentVolume& seg, double limit,
                                    QVolume<float>& distances, FProgressReportingBody& progress);

/// As `DistanceTransform3d`, and in inside voxels the negative distance to the centre of the
/// nearest outside voxel of the grid, minus infinity where that is above the limit. The surface is
/// where neighbours have opposite signs; no voxel has 0.
TRELIS_API void SignedDistanceTransform3d(const NSegment::SegmentVolume& seg, double limit,
                                          QVolume<float>& distances,
                                          FProgressReportingBody& progress);

}  // namespace NSegmentAlgorithms
