#pragma once

#include <trelis/contour/glyph.h>
#include <trelis/export.h>
#include <trelis/foundation/volume.h>

namespace trelis {

/// The lines of a dose in plane `plane` of a dose grid, in which a value v is the dose v times
/// `doseScale`. Coordinates are millimetres along the x and y axes of the grid from the centre of
/// its voxel box, so that the transform of the grid leads to patient coordinates:
/// doseTransform.Transform({p.x, p.y, (plane + 0.5 - zsize / 2.0) * zres}).
///
/// What is at or above the dose is on the left of a line
/// (`NEdgePointAlgorithms::TraceVolumePlane`). `lines` is replaced. std::invalid_argument, which
/// leaves it alone, for a plane that does not exist, a dose that is NaN, a scale or a voxel size
/// along x or y that is not positive and finite, and a grid without pixels.
TRELIS_API void TraceIsodose(const QVolume<unsigned int>& dose, double doseScale, int plane,
                             double level, Glyph& lines);

}  // namespace trelis
