#pragma once

#include <filesystem>
#include <vector>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>
#include <apps/trelis/terminal/phases.h>

namespace app {

/// Writes report.html, dvh.csv, plan.json and NAME.nrrd for each structure into a folder, which is
/// made where it is missing; files of these names are replaced. Label maps that a plan.json there
/// lists, those of an earlier run, are removed unless they are written anew; it may have been of
/// another patient. All are written under other names first and renamed at the end, so that after a
/// failure (std::runtime_error that names the file) or a cancellation none is half-written and all
/// earlier ones are there. Returns the paths.
std::vector<std::filesystem::path> writeOutputs(const std::filesystem::path& folder,
                                                const Study& study,
                                                const EvaluationOptions& options,
                                                const Evaluation& evaluation,
                                                const Messages& messages, Phases& phases);

}  // namespace app
