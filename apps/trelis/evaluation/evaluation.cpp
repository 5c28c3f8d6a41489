#include <apps/trelis/evaluation/evaluation.h>

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include <apps/trelis/evaluation/beam_fitting.h>
#include <apps/trelis/evaluation/dose_sum.h>
#include <apps/trelis/evaluation/evaluation_plan.h>
#include <apps/trelis/evaluation/histograms.h>
#include <apps/trelis/evaluation/image_volume.h>
#include <apps/trelis/evaluation/structure_edits.h>
#include <apps/trelis/evaluation/structure_grids.h>
#include <apps/trelis/evaluation/structure_segments.h>

namespace app {

namespace {

using Segments = std::vector<std::optional<EvaluatedStructure>>;

std::string counted(std::size_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string outcomeOf(const std::optional<ImageVolume>& image) {
    if (!image) {
        return "none";
    }
    const QVolumeSize& size = image->pixels;
    const std::string source =
        image->restoredFromCache
            ? "restored from the cache"
            : fmt::format("built from {}", counted(image->slices, "slice", "slices"));
    return fmt::format("{} x {} x {} voxels, {}", size.GetXSize(), size.GetYSize(), size.GetZSize(),
                       source);
}

void makeImage(const Study& study, const EvaluationOptions& options, Evaluation& evaluation,
               Messages& messages, Phases& phases) {
    if (!study.image) {
        messages.note("image", "there is no image; structures lie on grids of 1 mm");
        return;
    }
    FProgressReportingBody& progress = phases.begin("image volume");
    evaluation.image.emplace();
    if (!buildImageVolume(*study.image, options.cacheDirectory, *evaluation.image, messages,
                          progress)) {
        evaluation.image.reset();
    }
    phases.end(outcomeOf(evaluation.image));
}

void makeStructures(const Study& study, const EvaluationOptions& options,
                    const EvaluationPlan& plan, Evaluation& evaluation, Messages& messages,
                    Phases& phases) {
    if (study.structures.empty()) {
        messages.warn("structures",
                      "there are none, so there are no histograms and no fitted beams");
        return;
    }
    Segments segments =
        makeSegments(study, frameOf(evaluation.image), plan, messages, phases.begin("structures"));
    phases.end(counted(static_cast<std::size_t>(
                           std::count_if(segments.begin(), segments.end(),
                                         [](const auto& segment) { return segment.has_value(); })),
                       "segment", "segments"));
    if (plan.target && !options.target) {
        messages.note(study.structures[*plan.target].name, "it is taken as the target");
    }
    const bool hasEdits =
        !plan.margins.empty() || !plan.subtractions.empty() || options.keepLargest.has_value();
    if (!hasEdits) {
        QProgressReporterNull nobody;
        evaluation.structures =
            editStructures(std::move(segments), study, plan, options, messages, nobody);
        return;
    }
    evaluation.structures =
        editStructures(std::move(segments), study, plan, options, messages, phases.begin("edits"));
    std::size_t edits = 0;
    for (const EvaluatedStructure& structure : evaluation.structures) {
        edits += structure.edits.size();
    }
    phases.end(fmt::format("{}, {} taken back", counted(edits, "edit", "edits"), options.undo));
}

void makeDose(const Study& study, const EvaluationPlan& plan, Evaluation& evaluation,
              Messages& messages, Phases& phases) {
    if (study.doses.empty()) {
        messages.warn("dose", "there is no dose, so there are no histograms");
        return;
    }
    FProgressReportingBody& progress = phases.begin("dose");
    evaluation.dose.emplace();
    sumDoses(study.doses, plan.weights, *evaluation.dose, messages, progress.SubRange(0.0, 0.8));
    warnOfPartialDoses(study.doses, evaluation.structures, messages, progress.SubRange(0.8, 1.0));
    const QVolumeSize& size = evaluation.dose->values;
    phases.end(fmt::format("{} x {} x {} voxels, sum of {}", size.GetXSize(), size.GetYSize(),
                           size.GetZSize(), counted(study.doses.size(), "dose", "doses")));
}

void makeHistograms(const EvaluationOptions& options, Evaluation& evaluation, Messages& messages,
                    Phases& phases) {
    if (!evaluation.dose || evaluation.structures.empty()) {
        return;
    }
    computeHistograms(*evaluation.dose, options.fineStep, evaluation.structures, messages,
                      phases.begin("histograms"));
    phases.end(counted(static_cast<std::size_t>(std::count_if(
                           evaluation.structures.begin(), evaluation.structures.end(),
                           [](const auto& structure) { return structure.dvh.IsValid(); })),
                       "histogram", "histograms"));
}

/// How the patient lies for beams that do not say it.
std::string patientPositionOf(const Study& study, Messages& messages) {
    if (study.plan && !study.plan->beams.empty()) {
        return study.plan->beams.front().patientPosition;
    }
    if (study.image && !study.image->patientPosition.empty()) {
        return study.image->patientPosition;
    }
    messages.warn("beams",
                  "nothing tells how the patient lies; it is taken to be head first supine");
    return "HFS";
}

std::vector<Beam> beamsOf(const Study& study, const EvaluationOptions& options,
                          Messages& messages) {
    std::vector<Beam> beams = options.beams;
    if (beams.empty() && study.plan) {
        beams = study.plan->beams;
    }
    std::string position;
    for (Beam& beam : beams) {
        if (beam.patientPosition.empty()) {
            if (position.empty()) {
                position = patientPositionOf(study, messages);
            }
            beam.patientPosition = position;
        }
    }
    return beams;
}

void makeBeams(const Study& study, const EvaluationOptions& options, Evaluation& evaluation,
               Messages& messages, Phases& phases) {
    const std::vector<Beam> beams = beamsOf(study, options, messages);
    if (beams.empty()) {
        messages.note("beams", "there are none");
        return;
    }
    const auto target =
        std::find_if(evaluation.structures.begin(), evaluation.structures.end(),
                     [](const EvaluatedStructure& structure) { return structure.isTarget; });
    if (target == evaluation.structures.end()) {
        messages.fault("beams", "there is no target that leaves could be fitted to");
        return;
    }
    evaluation.beams = fitBeams(beams, *target, messages, phases.begin("beams"));
    phases.end(fmt::format("{} fitted to \"{}\"", counted(evaluation.beams.size(), "beam", "beams"),
                           target->name));
}

}  // namespace

Evaluation evaluate(const Study& study, const EvaluationOptions& options, Messages& messages,
                    Phases& phases) {
    const EvaluationPlan plan = planEvaluation(study, options);
    Evaluation evaluation;
    makeImage(study, options, evaluation, messages, phases);
    makeStructures(study, options, plan, evaluation, messages, phases);
    makeDose(study, plan, evaluation, messages, phases);
    makeHistograms(options, evaluation, messages, phases);
    makeBeams(study, options, evaluation, messages, phases);
    return evaluation;
}

}  // namespace app
