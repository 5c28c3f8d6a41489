#pragma once

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms {

/// Grows a structure, all margins being 0 or more, or shrinks it, all being 0 or less, by margins
/// in millimetres: m1 and m4 on its low-x and high-x side, m2 and m5 on low and high y, m3 and m6
/// on low and high z. `out` takes the grid of `in` and is compacted.
///
/// Around every voxel at the boundary, one with a face neighbour on the other side of the 128
/// threshold, `out` is raised (to shrink: lowered) to the value of that voxel weighted by a kernel:
/// an ellipsoid whose eight octants have the margins they face as semi-axes, each margin of m
/// voxels widened to sqrt(m^2 + 0.49) + 0.3. The edge of the kernel is an eighth of a voxel soft on
/// both sides, measured along the shortest semi-axis. Everything else is copied from `in`: the
/// border of the grid is no boundary. A margin below 0.01 voxels is not widened and keeps the
/// structure from moving on that side, but makes the whole kernel as soft as can be, so that the
/// other sides may move up to a quarter of their margin further.
///
/// In cubic voxels a grown binary ball comes out some 0.35 voxels too large in radius, a shrunk one
/// some 0.4 too small; balls with a soft edge 0.1 to 0.3. Oblong voxels add to that.
///
/// `in` and `out` must not be the same object (`Crash`). Margins of mixed signs, and such that are
/// not finite, in millimetres or in voxels, throw std::invalid_argument before `out` is touched.
///
/// Reports z / zsize before each plane z by `ReportProgress`; after a cancellation `out` is partly
/// written. Time follows the surface of the structure and the area of the kernel.
TRELIS_API void Margin(const NSegment::SegmentVolume& in, double m1, double m2, double m3,
                       double m4, double m5, double m6, NSegment::SegmentVolume& out,
                       FProgressReportingBody& progress);

}  // namespace NSegmentAlgorithms
