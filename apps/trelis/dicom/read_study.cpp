#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include <apps/trelis/dicom/dose_reader.h>
#include <apps/trelis/dicom/double_doses.h>
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

void requireUnits(const DoseGrid& dose, const DoseGrid& first) {
    if (dose.units != first.units) {
        throw Unusable(fmt::format("has doses in {}, unlike {} in {}", dose.units,
                                   inQuotes(first.file), first.units));
    }
}

/// A single plane says nothing of the dose beside it: it adds up with others on its own grid only.
void dropLonePlanes(std::vector<DoseGrid>& doses, Messages& messages) {
    const auto hasPlanes = [](const DoseGrid& dose) { return dose.values.GetZSize() > 1; };
    const auto volume = std::find_if(doses.begin(), doses.end(), hasPlanes);
    if (doses.empty()) {
        return;
    }
    const DoseGrid& reference = volume == doses.end() ? doses.front() : *volume;
    const QVolumeSize size = reference.values;
    const MMatrix transform = reference.transform;
    std::erase_if(doses, [&](const DoseGrid& dose) {
        const QVolumeSize& own = dose.values;
        const bool fits = hasPlanes(dose) || (own == size && transform.EqualMatrix(dose.transform));
        if (!fits) {
            messages.fault(dose.file,
                           "has a single plane, which cannot be added to doses of other "
                           "grids, and is left out");
        }
        return !fits;
    });
}

void readDoses(const std::vector<const FoundObject*>& objects, Study& study, Messages& messages,
               FProgressReportingBody& progress) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        progress.ReportProgress(static_cast<double>(i) / static_cast<double>(objects.size()));
        reportUnusable(objects[i]->file, messages, [&] {
            DoseGrid dose = readDose(*objects[i], messages);
            requireUnits(dose, study.doses.empty() ? dose : study.doses.front());
            study.doses.push_back(std::move(dose));
        });
    }
    dropLonePlanes(study.doses, messages);
    std::vector<const FoundObject*> taken = objects;
    std::erase_if(taken, [&](const FoundObject* object) {
        return std::none_of(study.doses.begin(), study.doses.end(),
                            [&](const DoseGrid& dose) { return dose.file == object->file; });
    });
    warnOfDoubleDoses(taken, messages);
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
    FProgressReportingBody& progress = phases.begin("read objects");
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
