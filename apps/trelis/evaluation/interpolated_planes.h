#pragma once

#include <trelis/segment/segment_volume.h>

#include <apps/trelis/evaluation/structure_grids.h>
#include <apps/trelis/study/study.h>

namespace app {

/// How many planes of a structure's segment were interpolated since contours are missing there:
/// planes that have none, between others, and planes that have some, but none of a part of the
/// structure that goes on above and below. The latter are found where the grid follows the
/// contours.
int countInterpolatedPlanes(const Structure& structure, const StructureGrid& grid,
                            const NSegment::SegmentVolume& segment);

}  // namespace app
