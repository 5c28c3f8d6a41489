#pragma once

#include <vector>

#include <trelis/foundation/edge_point.h>

/// The outlines and holes of one structure in one plane. Each contour is closed from its last point
/// back to its first and does not repeat that; holes are found by nesting.
using Glyph = std::vector<std::vector<EdgePoint>>;
