#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace app::report {

/// As many characters as a name of the study may have by rights.
constexpr std::size_t kLongestName = 64;

/// `printable` text of at most `longest` characters: of a longer one the beginning and the end,
/// which often tells names and files apart, around an ellipsis.
std::string shortened(std::string_view text, std::size_t longest = kLongestName);

/// The number with its noun, which has a regular plural.
std::string counted(std::size_t count, std::string_view noun);

}  // namespace app::report
