#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace app::report {

/// The label maps that the plan.json in a folder lists: plain names of regular files there that end
/// in .nrrd. None where that file is missing or cannot be understood.
std::set<std::string> earlierLabelMaps(const std::filesystem::path& folder);

}  // namespace app::report
