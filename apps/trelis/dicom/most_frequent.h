#pragma once

#include <map>
#include <string>
#include <vector>

#include <apps/trelis/dicom/found_object.h>

namespace app {

/// The text that most of the objects have, of equally frequent ones the first; empty where none has
/// any. One odd object must not decide for all.
template <typename TextOf>
std::string mostFrequent(const std::vector<const FoundObject*>& objects, TextOf textOf) {
    std::map<std::string, int> counts;
    for (const FoundObject* object : objects) {
        ++counts[textOf(*object)];
    }
    counts[""] = 0;
    std::string most;
    for (const FoundObject* object : objects) {
        const std::string& text = textOf(*object);
        most = counts[text] > counts[most] ? text : most;
    }
    return most;
}

inline std::string mostFrequentFrame(const std::vector<const FoundObject*>& objects) {
    return mostFrequent(objects, [](const FoundObject& object) { return object.frame(); });
}

}  // namespace app
