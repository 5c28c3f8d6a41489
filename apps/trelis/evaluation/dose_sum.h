#pragma once

#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Adds the doses, of which there is one at least, with their weights into a new `sum`. On the grid
/// that all of them have, or else on one along the axes of the first that reaches as far as any of
/// them, but for less than a voxel at each end, with the finest voxels along each axis. Its scale
/// keeps 29 bits of the largest possible sum.
void sumDoses(const std::vector<DoseGrid>& doses, const std::vector<double>& weights, DoseSum& sum,
              Messages& messages, FProgressReportingBody& progress);

/// Warns of each dose that covers a part of a structure only: it is missing in the sum elsewhere.
void warnOfPartialDoses(const std::vector<DoseGrid>& doses,
                        const std::vector<EvaluatedStructure>& structures, Messages& messages,
                        FProgressReportingBody& progress);

}  // namespace app
