#include <algorithm>

#include <fmt/format.h>

#include <apps/trelis/dicom/double_doses.h>
#include <apps/trelis/dicom/text.h>

namespace app {
namespace {

bool haveCommon(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    return std::find_first_of(a.begin(), a.end(), b.begin(), b.end()) != a.end();
}

/// Whether it holds the doses of beams that others may hold one by one.
bool isWhole(const FoundObject& dose) {
    const std::string& type = dose.summationType;
    return type == "PLAN" || type == "MULTI_PLAN" || type == "PLAN_OVERVIEW" || type == "FRACTION";
}

/// Doses that name no plan may be of any.
bool mayShareAPlan(const FoundObject& a, const FoundObject& b) {
    return a.references.empty() || b.references.empty() || haveCommon(a.references, b.references);
}

/// Whether a dose may hold the other one; of two that are alike only the later does.
bool mayHold(const FoundObject& dose, const FoundObject& other, bool isLater) {
    if (isWhole(dose)) {
        return mayShareAPlan(dose, other) && (isLater || !isWhole(other));
    }
    return isLater && dose.summationType == "BEAM" && other.summationType == "BEAM" &&
           haveCommon(dose.beams, other.beams);
}

}  // namespace

void warnOfDoubleDoses(const std::vector<const FoundObject*>& doses, Messages& messages) {
    for (const FoundObject* const& dose : doses) {
        const auto held =
            std::find_if(doses.begin(), doses.end(), [&](const FoundObject* const& other) {
                return &other != &dose && mayHold(*dose, *other, &other < &dose);
            });
        if (held != doses.end()) {
            messages.warn(dose->file, fmt::format("is a {} dose that may hold that of {} too: the "
                                                  "sum may count doses twice",
                                                  dose->summationType, inQuotes((*held)->file)));
        }
        if (dose->summationType == "FRACTION") {
            messages.warn(dose->file, "is the dose of one fraction, which counts once");
        }
    }
}

}  // namespace app
