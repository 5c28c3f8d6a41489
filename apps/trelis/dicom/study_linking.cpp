#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>

#include <fmt/format.h>

#include <apps/trelis/dicom/most_frequent.h>
#include <apps/trelis/dicom/study_linking.h>
#include <apps/trelis/dicom/text.h>

namespace app {
namespace {

using Objects = std::vector<const FoundObject*>;

bool contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

/// Whether a person who writes this means the object (an image: its series).
bool isMeant(const FoundObject& object, const std::string& wanted) {
    const std::string& uid =
        object.kind == ObjectKind::Image ? object.seriesUid : object.instanceUid;
    return uid == wanted || object.file == wanted || object.path == wanted;
}

/// The first of the objects for which the score is greatest; null where there are none.
template <typename Score>
const FoundObject* best(const Objects& objects, Score score) {
    const auto found =
        std::max_element(objects.begin(), objects.end(),
                         [&](const auto* a, const auto* b) { return score(*a) < score(*b); });
    return found == objects.end() ? nullptr : *found;
}

class Linker {
  public:
    Linker(const std::vector<FoundObject>& objects, const StudyChoice& choice, Messages& messages)
        : choice_(choice), messages_(messages) {
        for (const FoundObject& object : objects) {
            candidates_.push_back(&object);
        }
    }

    Selection link() {
        dropCopies();
        dropOtherPatients();
        selection_.plan = choosePlan();
        selection_.structures = chooseStructures();
        selection_.images = chooseImages();
        selection_.frameUid = sharedFrame();
        dropPlanElsewhere();
        takeDoses();
        return std::move(selection_);
    }

  private:
    Objects ofKind(ObjectKind kind) const {
        Objects found;
        std::copy_if(candidates_.begin(), candidates_.end(), std::back_inserter(found),
                     [&](const FoundObject* object) { return object->kind == kind; });
        return found;
    }

    /// The objects of each series, in the order of their first files.
    std::vector<Objects> allSeries() const {
        std::vector<Objects> series;
        std::map<std::string, std::size_t> places;
        for (const FoundObject* image : ofKind(ObjectKind::Image)) {
            const auto [place, isNew] = places.emplace(image->seriesUid, series.size());
            if (isNew) {
                series.emplace_back();
            }
            series[place->second].push_back(image);
        }
        return series;
    }

    static std::string withOthersOf(const Objects& series) {
        return series.size() == 1 ? std::string()
                                  : fmt::format(", with {} other images of its {} series",
                                                series.size() - 1, series.front()->modality);
    }

    /// A copy would count its dose twice.
    void dropCopies() {
        std::map<std::string, std::string> files;
        std::erase_if(candidates_, [&](const FoundObject* object) {
            const auto [first, isNew] = files.emplace(object->instanceUid, object->file);
            if (isNew || object->instanceUid.empty()) {
                return false;
            }
            messages_.warn(object->file, fmt::format("has the instance UID of {} and is left out",
                                                     inQuotes(first->second)));
            return true;
        });
    }

    std::optional<std::string> wanted(ObjectKind kind) const {
        switch (kind) {
            case ObjectKind::Image:
                return choice_.series;
            case ObjectKind::Structures:
                return choice_.structures;
            case ObjectKind::Plan:
                return choice_.plan;
            default:
                return std::nullopt;
        }
    }

    /// That of what was asked for, else the one with objects of most kinds, then with most objects,
    /// then the first. Empty where no object names a patient.
    std::string patientOfStudy() const {
        struct Patient {
            bool wanted = false;
            std::set<ObjectKind> kinds;
            std::size_t objects = 0;
            auto score() const { return std::tuple(wanted, kinds.size(), objects); }
        };
        std::map<std::string, Patient> patients;
        for (const FoundObject* object : candidates_) {
            Patient& patient = patients[object->patientId];
            patient.kinds.insert(object->kind);
            ++patient.objects;
            const auto choice = wanted(object->kind);
            patient.wanted = patient.wanted || (choice && isMeant(*object, *choice));
        }
        const FoundObject* chosen = best(candidates_, [&](const FoundObject& object) {
            return std::pair(!object.patientId.empty(), patients[object.patientId].score());
        });
        return chosen == nullptr ? std::string() : chosen->patientId;
    }

    /// For objects that have no patient ID, only their names tell.
    void warnOfOtherNames() {
        const std::string name =
            mostFrequent(candidates_, [](const FoundObject& object) { return object.patientName; });
        for (const FoundObject* object : candidates_) {
            if (!object->patientName.empty() && object->patientName != name) {
                messages_.warn(object->file,
                               fmt::format("is of {}, unlike others of {}, and has no "
                                           "patient ID; it is used all the same",
                                           inQuotes(object->patientName), inQuotes(name)));
            }
        }
    }

    void dropOtherPatients() {
        const std::string patient = patientOfStudy();
        if (patient.empty()) {
            warnOfOtherNames();
            return;
        }
        std::erase_if(candidates_, [&](const FoundObject* object) {
            if (object->patientId == patient) {
                return false;
            }
            if (object->patientId.empty()) {
                messages_.warn(object->file, fmt::format("has no patient ID; it is taken to be of "
                                                         "patient {}",
                                                         inQuotes(patient)));
                return false;
            }
            messages_.fault(object->file,
                            fmt::format("belongs to patient {}, not to patient {}, "
                                        "and is left out",
                                        inQuotes(object->patientId), inQuotes(patient)));
            return true;
        });
    }

    /// What was asked for; std::invalid_argument where it is not there.
    const FoundObject* requested(ObjectKind kind, const char* what) const {
        const std::string name = *wanted(kind);
        std::set<std::string> known;
        for (const FoundObject* object : ofKind(kind)) {
            if (isMeant(*object, name)) {
                return object;
            }
            known.insert(kind == ObjectKind::Image ? object->seriesUid : object->file);
        }
        throw std::invalid_argument(
            fmt::format("there is no {} {}; there {}", what, inQuotes(name),
                        known.empty() ? "is none" : fmt::format("is {}", fmt::join(known, ", "))));
    }

    void noteOthers(const Objects& objects, const FoundObject* taken, const char* why) {
        for (const FoundObject* object : objects) {
            if (object != taken && taken != nullptr) {
                messages_.note(object->file,
                               fmt::format("is not used: {} {}", inQuotes(taken->file), why));
            }
        }
    }

    const FoundObject* choosePlan() {
        const Objects plans = ofKind(ObjectKind::Plan);
        if (choice_.plan) {
            const FoundObject* plan = requested(ObjectKind::Plan, "plan");
            noteOthers(plans, plan, "was asked for");
            return plan;
        }
        const Objects doses = ofKind(ObjectKind::Dose);
        const auto referrals = [&](const FoundObject& plan) {
            return std::count_if(doses.begin(), doses.end(), [&](const FoundObject* dose) {
                return contains(dose->references, plan.instanceUid);
            });
        };
        const FoundObject* plan = best(plans, referrals);
        const bool isReferred = plan != nullptr && referrals(*plan) > 0;
        noteOthers(plans, plan,
                   isReferred ? "is the plan that most doses refer to" : "is the first plan");
        return plan;
    }

    const FoundObject* chooseStructures() {
        const Objects sets = ofKind(ObjectKind::Structures);
        if (choice_.structures) {
            const FoundObject* set = requested(ObjectKind::Structures, "structure set");
            noteOthers(sets, set, "was asked for");
            return set;
        }
        if (selection_.plan != nullptr && !selection_.plan->references.empty()) {
            for (const FoundObject* set : sets) {
                if (contains(selection_.plan->references, set->instanceUid)) {
                    noteOthers(sets, set, "is the structure set of the plan");
                    return set;
                }
            }
            messages_.warn(selection_.plan->file, "refers to a structure set that is not there");
        }
        const FoundObject* set = best(sets, [&](const FoundObject& candidate) {
            return std::pair(sharedFrames(candidate), candidate.contours);
        });
        noteOthers(sets, set, "matches more images and doses, or has more contours");
        return set;
    }

    /// How many images and doses have a frame of reference of the structure set. A series that was
    /// asked for counts alone.
    std::ptrdiff_t sharedFrames(const FoundObject& set) const {
        return std::count_if(
            candidates_.begin(), candidates_.end(), [&](const FoundObject* object) {
                const bool counts =
                    choice_.series
                        ? object->kind == ObjectKind::Image && isMeant(*object, *choice_.series)
                        : object->kind == ObjectKind::Image || object->kind == ObjectKind::Dose;
                return counts && contains(set.frames, object->frame());
            });
    }

    Objects chooseImages() {
        const std::vector<Objects> all = allSeries();
        if (choice_.series) {
            const std::string uid = requested(ObjectKind::Image, "series of images")->seriesUid;
            return pick(all, "the series that was asked for",
                        [&](const Objects& series) { return series.front()->seriesUid == uid; });
        }
        if (selection_.structures != nullptr) {
            const auto isReferred = [&](const Objects& series) {
                return contains(selection_.structures->references, series.front()->seriesUid);
            };
            if (std::any_of(all.begin(), all.end(), isReferred)) {
                return pick(all, "the series that the structures refer to", isReferred);
            }
        }
        const std::vector<std::string> frames = framesWithoutImages();
        return pick(all, "the largest series in the frame of reference of the study",
                    [&](const Objects& series) {
                        return frames.empty() || contains(frames, mostFrequentFrame(series));
                    });
    }

    /// The largest of the series that may be taken. Series that nothing fits are a fault.
    template <typename Fits>
    Objects pick(const std::vector<Objects>& all, const char* why, Fits fits) {
        const Objects* taken = nullptr;
        for (const Objects& series : all) {
            if (fits(series) && (taken == nullptr || series.size() > taken->size())) {
                taken = &series;
            }
        }
        for (const Objects& series : all) {
            if (&series == taken) {
                continue;
            }
            if (taken != nullptr) {
                messages_.note(series.front()->file,
                               fmt::format("is not used{}: {} is of {}", withOthersOf(series),
                                           inQuotes(taken->front()->file), why));
            } else {
                messages_.fault(series.front()->file,
                                fmt::format("is left out{}: its frame of reference does not match "
                                            "the rest of the study",
                                            withOthersOf(series)));
            }
        }
        return taken == nullptr ? Objects() : *taken;
    }

    /// What is known of the frame of reference before the images are chosen.
    std::vector<std::string> framesWithoutImages() const {
        for (const FoundObject* object : {selection_.structures, selection_.plan}) {
            if (object != nullptr && !object->frames.empty()) {
                return object->frames;
            }
        }
        for (const FoundObject* dose : ofKind(ObjectKind::Dose)) {
            if (!dose->frames.empty()) {
                return dose->frames;
            }
        }
        return {};
    }

    std::string sharedFrame() {
        const std::vector<std::string> others = framesWithoutImages();
        if (std::string frame = mostFrequentFrame(selection_.images); !frame.empty()) {
            return frame;
        }
        if (!selection_.images.empty() && !others.empty()) {
            messages_.warn(selection_.images.front()->file,
                           "has no frame of reference; it is taken to be that of the study");
        }
        return others.empty() ? std::string() : others.front();
    }

    bool isElsewhere(const FoundObject& object) const {
        return !selection_.frameUid.empty() && !object.frame().empty() &&
               object.frame() != selection_.frameUid;
    }

    void dropPlanElsewhere() {
        if (selection_.plan != nullptr && isElsewhere(*selection_.plan)) {
            messages_.fault(selection_.plan->file,
                            "has a frame of reference that does not match that of the study");
            selection_.plan = nullptr;
        }
    }

    void takeDoses() {
        for (const FoundObject* dose : ofKind(ObjectKind::Dose)) {
            if (isElsewhere(*dose)) {
                messages_.fault(dose->file,
                                "has a frame of reference that does not match that of the study");
                continue;
            }
            if (dose->frame().empty() && !selection_.frameUid.empty()) {
                messages_.fault(dose->file,
                                "has no frame of reference, so that its place is not "
                                "known");
                continue;
            }
            if (selection_.plan != nullptr && !dose->references.empty() &&
                !contains(dose->references, selection_.plan->instanceUid)) {
                messages_.warn(dose->file, fmt::format("belongs to another plan than {}; it counts "
                                                       "all the same",
                                                       inQuotes(selection_.plan->file)));
            }
            selection_.doses.push_back(dose);
        }
    }

    const StudyChoice& choice_;
    Messages& messages_;
    Objects candidates_;
    Selection selection_;
};

}  // namespace

Selection linkObjects(const std::vector<FoundObject>& objects, const StudyChoice& choice,
                      Messages& messages) {
    return Linker(objects, choice, messages).link();
}

}  // namespace app
