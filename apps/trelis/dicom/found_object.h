#pragma once

#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <apps/trelis/study/message.h>
#include <apps/trelis/terminal/phases.h>

namespace app {

enum class ObjectKind { Image, Structures, Dose, Plan };

/// What links an object to others, and what is needed to choose between several.
struct FoundObject {
    std::filesystem::path path;
    /// Relative to the folder, for a person to read.
    std::string file;
    ObjectKind kind{};
    std::string instanceUid;
    std::string seriesUid;
    std::string studyUid;
    std::string patientId;
    std::string patientName;
    std::string studyDescription;
    std::string seriesDescription;
    /// Frames of reference; at most one unless the object is a structure set.
    std::vector<std::string> frames;
    /// What the object refers to: structure sets by a plan, series of images by a structure set,
    /// plans by a dose.
    std::vector<std::string> references;

    /// Of an image: "CT", "MR" or "PT", how the patient lies ("HFS"), and the position along the
    /// normal, NaN where not known.
    std::string modality;
    std::string patientPosition;
    double height = std::numeric_limits<double>::quiet_NaN();
    /// Of a structure set.
    std::size_t contours = 0;
    /// Of a dose: "PLAN", "BEAM" ..., and each beam that it names, as plan and number.
    std::string summationType;
    std::vector<std::string> beams;

    const std::string& frame() const {
        static const std::string kNone;
        return frames.empty() ? kNone : frames.front();
    }
};

struct FoundObjects {
    /// Sorted by path.
    std::vector<FoundObject> objects;
    std::size_t skippedFiles = 0;
};

/// Identifies what is in a folder without reading pixels, as a phase of its own. Objects that are
/// damaged or of a kind that should be supported and is not are faults; others are skipped.
FoundObjects findObjects(const std::filesystem::path& folder, Messages& messages, Phases& phases);

}  // namespace app
