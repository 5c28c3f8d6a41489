#pragma once

#include <optional>
#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>

namespace app {

/// Gives the structures their histograms, with cells of `fineStep` millimetres where that is given.
/// What lies outside the dose grid or is sampled too coarsely is a warning.
void computeHistograms(const DoseSum& dose, std::optional<double> fineStep,
                       std::vector<EvaluatedStructure>& structures, Messages& messages,
                       FProgressReportingBody& progress);

}  // namespace app
