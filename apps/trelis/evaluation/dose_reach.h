#pragma once

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/volume.h>

#include <apps/trelis/evaluation/evaluation.h>

namespace app {

/// The part of a structure that lies between the outermost dose points, where the dose is known: a
/// voxel counts by its centre, on the border too. 0 for an empty structure.
double partBetweenDosePoints(const EvaluatedStructure& structure, const QVolume<unsigned int>& dose,
                             const MMatrix& transform, FProgressReportingBody& progress);

/// A smaller part of a structure that lies elsewhere is rounding.
constexpr double kNegligiblePart = 0.0005;

}  // namespace app
