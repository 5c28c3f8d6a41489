#pragma once

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/segment/segment_volume.h>

/// Growing, shrinking, closing and opening of structures in space and per plane. Distances are
/// millimetres and 0 or more, for `Erosion` too: one that is negative or not finite, in millimetres
/// or in voxels, throws std::invalid_argument before anything is written. What is done around each
/// boundary voxel is that of `Margin`. `in` and `out` must not be the same object (`Crash`).
///
/// Progress is reported by `ReportProgress` before each plane that is worked on, with the part of
/// them that is done; after a cancellation the output is partly written. The two stages of the
/// closings and openings have half of the range each.
///
/// The per-plane forms treat the planes from firstPlane to lastPlane (inclusive) one by one, with
/// neighbours and kernels in the plane only; other planes stay as they are. With firstPlane above
/// lastPlane there are none; else both must be in the grid (`Crash`).
namespace NSegmentAlgorithms {

/// Grows on the low-x, -y and -z side by xLow, yLow and zLow and on the high sides by the others:
/// the same as `Margin`. `out` takes the grid of `in` and is compacted.
TRELIS_API void Dilation(const NSegment::SegmentVolume& in, double xLow, double yLow, double zLow,
                         double xHigh, double yHigh, double zHigh, NSegment::SegmentVolume& out,
                         FProgressReportingBody& progress);

/// Shrinks by as much on each side: the same as `Margin` by the negative distances.
TRELIS_API void Erosion(const NSegment::SegmentVolume& in, double xLow, double yLow, double zLow,
                        double xHigh, double yHigh, double zHigh, NSegment::SegmentVolume& out,
                        FProgressReportingBody& progress);

/// `Dilation` per plane. The kernel is that of `Margin` without a third axis: its soft edge follows
/// the four distances.
TRELIS_API void Dilation2d(const NSegment::SegmentVolume& in, double xLow, double yLow,
                           double xHigh, double yHigh, int firstPlane, int lastPlane,
                           NSegment::SegmentVolume& out, FProgressReportingBody& progress);

/// `Erosion` per plane.
TRELIS_API void Erosion2d(const NSegment::SegmentVolume& in, double xLow, double yLow, double xHigh,
                          double yHigh, int firstPlane, int lastPlane, NSegment::SegmentVolume& out,
                          FProgressReportingBody& progress);

/// Closes gaps up to about `distance` wide: grows by half of it on all sides, then shrinks by as
/// much. What is near the border of the grid may grow beyond it and does not come back from there.
TRELIS_API void Connect3d(NSegment::SegmentVolume& seg, double distance,
                          FProgressReportingBody& progress);

/// Opens: shrinks by half of `distance`, then grows by as much, which removes what is thinner.
TRELIS_API void Disconnect3d(NSegment::SegmentVolume& seg, double distance,
                             FProgressReportingBody& progress);

/// `Connect3d` per plane.
TRELIS_API void Connect2d(NSegment::SegmentVolume& seg, double distance, int firstPlane,
                          int lastPlane, FProgressReportingBody& progress);

/// `Disconnect3d` per plane.
TRELIS_API void Disconnect2d(NSegment::SegmentVolume& seg, double distance, int firstPlane,
                             int lastPlane, FProgressReportingBody& progress);

}  // namespace NSegmentAlgorithms
