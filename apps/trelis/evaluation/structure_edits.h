#pragma once

#include <optional>
#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/evaluation/evaluation_plan.h>
#include <apps/trelis/study/message.h>

namespace app {

/// Makes the edits of the plan: first all margins, then what is subtracted from the target (with
/// its own margin where it has one), then the parts of the target that are kept; and takes the last
/// of the target's edits back. Returns the originals, each followed by what was made from it, with
/// the target marked.
std::vector<EvaluatedStructure> editStructures(
    std::vector<std::optional<EvaluatedStructure>> originals, const Study& study,
    const EvaluationPlan& plan, const EvaluationOptions& options, Messages& messages,
    FProgressReportingBody& progress);

}  // namespace app
