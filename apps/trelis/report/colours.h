#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <apps/trelis/study/study.h>

namespace app::report {

/// #rrggbb
std::string hex(const Colour& colour);

/// The colour, darkened as far as a line of it needs to be seen on a white page.
Colour legibleOnLight(const Colour& colour);

/// The colour, lightened as far as a line of it needs to be seen on a dark page.
Colour legibleOnDark(const Colour& colour);

/// CSS variables with the colour as it is legible on a light and on a dark page.
std::string inkOf(const Colour& colour);

/// A value for stroke-dasharray that tells the curve of a structure from those of its neighbours in
/// the list without colours.
std::string_view dashesOf(std::size_t number);

}  // namespace app::report
