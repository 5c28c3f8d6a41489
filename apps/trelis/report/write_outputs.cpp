#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>

#include <apps/trelis/report/csv_output.h>
#include <apps/trelis/report/earlier_outputs.h>
#include <apps/trelis/report/json_output.h>
#include <apps/trelis/report/nrrd_output.h>
#include <apps/trelis/report/report_page.h>
#include <apps/trelis/report/staged_folder.h>
#include <apps/trelis/report/wording.h>
#include <apps/trelis/report/write_outputs.h>

namespace app {
namespace {

/// They may be of another patient.
void removeEarlierLabelMaps(const std::filesystem::path& folder,
                            const std::vector<std::string>& written, report::StagedFolder& staged) {
    for (const std::string& name : report::earlierLabelMaps(folder)) {
        if (std::find(written.begin(), written.end(), name) == written.end()) {
            staged.remove(name);
        }
    }
}

}  // namespace

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
    removeEarlierLabelMaps(folder, data.labelMaps, staged);
    // Before the files are moved: it is the last that can be cancelled.
    phases.end(fmt::format("report.html, dvh.csv, plan.json, {}",
                           report::counted(data.labelMaps.size(), "label map")));
    return staged.commit();
}

}  // namespace app
