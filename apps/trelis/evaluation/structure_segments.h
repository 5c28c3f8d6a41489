#pragma once

#include <optional>
#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/evaluation/evaluation_plan.h>
#include <apps/trelis/evaluation/structure_grids.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Makes segments from the contours of the structures, on grids with room for the margins of the
/// plan, and measures them. One that cannot be made is a fault, and there is none in its place.
std::vector<std::optional<EvaluatedStructure>> makeSegments(const Study& study,
                                                            const GridFrame& frame,
                                                            const EvaluationPlan& plan,
                                                            Messages& messages,
                                                            FProgressReportingBody& progress);

/// The volume of a segment in cm3.
double measureVolume(const NSegment::SegmentVolume& segment, FProgressReportingBody& progress);

}  // namespace app
