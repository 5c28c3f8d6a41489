#include <cstddef>

#include <fmt/format.h>

#include <apps/trelis/report/csv_output.h>
#include <apps/trelis/report/json_output.h>
#include <apps/trelis/report/nrrd_output.h>
#include <apps/trelis/report/report_page.h>
#include <apps/trelis/report/staged_folder.h>
#include <apps/trelis/report/write_outputs.h>

namespace app {

std::vector<std::filesystem::path> writeOutputs(const std::filesystem::path& folder,
                                                const Study& study,
                                                const EvaluationOptions& options,
                                                const Evaluation& evaluation,
                                                const Messages& messages, Phases& phases) {
    FProgressReportingBody& progress = phases.begin("report");
    report::StagedFolder staged(folder);
    const report::ReportData data = report::reportData(study, options, evaluation, messages);
    const double parts = 3.0 + static_cast<double>(data.structures.size());
    staged.write("report.html", report::pageOf(data));
    progress.SetProgress(1.0 / parts);
    staged.write("dvh.csv", report::csvOf(data));
    progress.SetProgress(2.0 / parts);
    staged.write("plan.json", report::jsonOf(data));
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        progress.SetProgress((3.0 + static_cast<double>(s)) / parts);
        staged.write(data.labelMaps[s],
                     report::nrrdOf(evaluation.structures[s], data.structures[s].box));
    }
    // Before the files are moved: it is the last that can be cancelled.
    phases.end(
        fmt::format("report.html, dvh.csv, plan.json, {} label maps", data.structures.size()));
    return staged.commit();
}

}  // namespace app
