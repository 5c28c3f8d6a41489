#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include <apps/trelis/dicom/dose_reader.h>
#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/dicom/image_reader.h>
#include <apps/trelis/dicom/plan_reader.h>
#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/dicom/structure_reader.h>
#include <apps/trelis/dicom/study_linking.h>
#include <apps/trelis/dicom/text.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

/// Patient and study in words, each from the first object that names it.
void readNames(const Selection& selection, Study& study) {
    std::vector<const FoundObject*> objects = selection.images;
    objects.insert(objects.end(), {selection.structures, selection.plan});
    objects.insert(objects.end(), selection.doses.begin(), selection.doses.end());
    const auto takeFirst = [](std::string& text, const std::string& other) {
        if (text.empty()) {
            text = other;
        }
    };
    for (const FoundObject* object : objects) {
        if (object != nullptr) {
            takeFirst(study.patientName, object->patientName);
            takeFirst(study.patientId, object->patientId);
            takeFirst(study.description, object->studyDescription);
        }
    }
}

/// A plan's own dose holds those of its beams and fractions.
void warnOfDoubleDoses(const std::vector<DoseGrid>& doses, Messages& messages) {
    for (const DoseGrid& whole : doses) {
        if (whole.planUid.empty() || whole.summationType != "PLAN") {
            continue;
        }
        for (const DoseGrid& part : doses) {
            if (&part != &whole && part.planUid == whole.planUid) {
                messages.warn(whole.file, fmt::format("is the dose of a whole plan, of which {} is "
                                                      "there too: the sum may count doses twice",
                                                      inQuotes(part.file)));
                break;
            }
        }
    }
}

void readDoses(const std::vector<const FoundObject*>& objects, Study& study, Messages& messages,
               FProgressReportingBody& progress) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        progress.ReportProgress(static_cast<double>(i) / static_cast<double>(objects.size()));
        reportUnusable(objects[i]->file, messages, [&] {
            DoseGrid dose = readDose(*objects[i], messages);
            if (!study.doses.empty() && dose.units != study.doses.front().units) {
                throw Unusable(fmt::format("has doses in {}, unlike {} in {}", dose.units,
                                           inQuotes(study.doses.front().file),
                                           study.doses.front().units));
            }
            study.doses.push_back(std::move(dose));
        });
    }
    warnOfDoubleDoses(study.doses, messages);
}

void readRest(const Selection& selection, Study& study, Messages& messages,
              FProgressReportingBody& progress) {
    if (selection.structures != nullptr) {
        const FoundObject& object = *selection.structures;
        reportUnusable(object.file, messages, [&] {
            StructureSet set = readStructureSet(object, selection.frameUid, messages);
            study.structuresFile = object.file;
            study.structuresLabel = std::move(set.label);
            study.structures = std::move(set.structures);
        });
    }
    if (selection.plan != nullptr) {
        reportUnusable(selection.plan->file, messages,
                       [&] { study.plan = readPlan(*selection.plan, messages); });
    }
    readDoses(selection.doses, study, messages, progress);
}

std::string outcome(const Study& study) {
    return fmt::format("{} images, {} structures, {} doses, {} beams",
                       study.image ? study.image->slices.size() : 0, study.structures.size(),
                       study.doses.size(), study.plan ? study.plan->beams.size() : 0);
}

}  // namespace

Study readStudy(const std::filesystem::path& folder, const StudyChoice& choice, Messages& messages,
                Phases& phases) {
    const FoundObjects found = findObjects(folder, messages, phases);
    FProgressReportingBody& progress = phases.begin("Read objects");
    const Selection selection = linkObjects(found.objects, choice, messages);
    Study study;
    study.folder = cleanText(folder.string());
    study.skippedFiles = found.skippedFiles;
    readNames(selection, study);
    if (!selection.images.empty()) {
        study.image = readImageSeries(selection.images, messages, progress.SubRange(0.0, 0.8));
    }
    readRest(selection, study, messages, progress.SubRange(0.8, 1.0));
    phases.end(outcome(study));
    return study;
}

}  // namespace app
