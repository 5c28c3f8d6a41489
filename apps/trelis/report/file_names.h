#pragma once

#include <string>
#include <vector>

namespace app::report {

/// A file name, without extension, for each of the names: made of ASCII letters, digits and "._-",
/// at most 80 characters, none of those that a system reserves, and each another one also where
/// case does not count.
std::vector<std::string> fileNames(const std::vector<std::string>& names);

}  // namespace app::report
