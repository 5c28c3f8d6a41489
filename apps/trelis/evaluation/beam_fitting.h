#pragma once

#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Fits the leaves of each beam to the outline of the target and corrects the jaws to them. A beam
/// for which that is impossible is a fault, and left out.
///
/// A leaf meets the outline in the middle of its width. Closed pairs meet 20 mm beside the
/// aperture, at smaller coordinates, where a jaw covers the gap between them. The leaves are those
/// of the plan, or without them 60 pairs over 400 mm: 40 of 5 mm between 10 of 10 mm on each side.
/// Jaws start where they are planned, or else one leaf width outside the outline; jaws along the
/// leaves that reach into the aperture are opened, jaws across the leaves close to the ends of the
/// bank.
std::vector<EvaluatedBeam> fitBeams(const std::vector<Beam>& beams,
                                    const EvaluatedStructure& target, Messages& messages,
                                    FProgressReportingBody& progress);

}  // namespace app
