#pragma once

#include <string>

#include <apps/trelis/report/report_data.h>

namespace app::report {

/// Every number of the evaluation, each with as many digits as lead back to the same double; null
/// for one that is not defined. Keys end in their unit ("mean_dose_Gy", "_relative" for a relative
/// dose); what is a fraction, such as a coverage, has none. Percentages are of the volume inside
/// the dose grid. A transform is four rows of three numbers: the axes of a grid in patient
/// coordinates and the position of the centre of its voxel box.
std::string jsonOf(const ReportData& data);

}  // namespace app::report
