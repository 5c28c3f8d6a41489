#pragma once

#include <string>
#include <vector>

namespace app::report {

/// An 8-bit grey PNG file of `width` columns by rows. std::runtime_error when it cannot be made.
std::string greyPng(const std::vector<unsigned char>& pixels, int width, int height);

}  // namespace app::report
