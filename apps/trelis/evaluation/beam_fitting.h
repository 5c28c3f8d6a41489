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
/// Jaws start the width of the narrowest leaf, at most 10 mm, outside the box around the outline,
/// wherever they are planned; the plan tells only which pairs of them there are. Those along the
/// leaves stay in reach and open to the aperture, those across close to the ends of the bank.
std::vector<EvaluatedBeam> fitBeams(const std::vector<Beam>& beams,
                                    const EvaluatedStructure& target, Messages& messages,
                                    FProgressReportingBody& progress);

}  // namespace app
