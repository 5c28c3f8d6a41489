#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>
#include <apps/trelis/terminal/phases.h>

namespace app {

/// Which object to take where a folder holds several, by instance (series) UID or file.
struct StudyChoice {
    std::optional<std::string> series;
    std::optional<std::string> structures;
    std::optional<std::string> plan;
};

/// Reads the DICOM objects below a folder, told apart by their SOP class and linked by references
/// and frames of reference. Each file that cannot be used is a fault in the messages that names
/// it; the rest is read. std::runtime_error when the folder cannot be read at all,
/// std::invalid_argument for a choice that is not there.
Study readStudy(const std::filesystem::path& folder, const StudyChoice& choice, Messages& messages,
                Phases& phases);

/// What is in a folder, a line per object (a series of images is one), for a person to read.
std::vector<std::string> describeFolder(const std::filesystem::path& folder, Messages& messages,
                                        Phases& phases);

}  // namespace app
