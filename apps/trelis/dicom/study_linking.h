#pragma once

#include <string>
#include <vector>

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/study/message.h>

namespace app {

/// The objects that make one consistent study. They belong to the list that they were chosen from.
struct Selection {
    /// Of one series; empty where there is none.
    std::vector<const FoundObject*> images;
    const FoundObject* structures = nullptr;
    const FoundObject* plan = nullptr;
    std::vector<const FoundObject*> doses;
    /// The frame of reference that all share; empty where none names one.
    std::string frameUid;
};

/// Chooses a plan (that most doses refer to), the structure set that it refers to (or that shares
/// its frame of reference with most images and doses), the series that this refers to (or the
/// largest in its frame) and all doses of that frame; of one patient. What is left out is in the
/// messages.
Selection linkObjects(const std::vector<FoundObject>& objects, const StudyChoice& choice,
                      Messages& messages);

}  // namespace app
