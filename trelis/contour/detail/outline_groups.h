#pragma once

#include <vector>

#include <trelis/contour/glyph.h>

namespace trelis::detail {

/// Contours that belong together: an outline with the holes directly in it, and contours that
/// overlap it in part.
using OutlineGroup = Glyph;

/// Divides a glyph into groups that do not overlap each other, islands in holes apart from what is
/// around them. Which contour is in which is told by areas, so that touching contours do not
/// matter. Contours with fewer than 3 points are left out.
std::vector<OutlineGroup> outlineGroupsOf(const Glyph& glyph);

/// Whether two glyphs share more than a millionth of the smaller one.
bool doOverlap(const Glyph& a, const Glyph& b);

}  // namespace trelis::detail
