#pragma once

#include <optional>
#include <string>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// The structure as a label map in the NRRD format, version 5: 1 inside, 0 outside, in patient
/// coordinates (left, posterior, superior), cropped to its inside voxels and one around them. Of an
/// empty segment one voxel of 0. `QAbortPressed` after Ctrl-C, std::runtime_error where it cannot
/// be compressed.
std::string nrrdOf(const EvaluatedStructure& structure, const std::optional<VoxelBox>& box);

}  // namespace app::report
