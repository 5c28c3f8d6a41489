#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/segment/segment_volume.h>

namespace NSegmentAlgorithms {

/// Appends to `planes` each plane that has more than 100 connected pieces, the number that the
/// IHE-RO profile allows for contours of one structure, and returns whether `planes` is empty then.
/// What the list holds before stays and counts.
TRELIS_API bool isSegmentIHEROCompliant(const NSegment::SegmentVolume& seg,
                                        std::vector<int>& planes);

/// Keeps the 100 largest pieces of each plane listed (`KeepNLargestSegmentsInSlice`), all of which
/// must exist.
TRELIS_API void makeSegmentIHEROCompliant(NSegment::SegmentVolume& seg,
                                          const std::vector<int>& planes);

}  // namespace NSegmentAlgorithms
