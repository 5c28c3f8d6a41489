#pragma once

#include <string>

#include <apps/trelis/report/report_data.h>

namespace app::report {

/// The cumulative histograms, a row per structure and dose, in the form of RFC 4180. Names that a
/// spreadsheet would take for a formula begin with an apostrophe.
std::string csvOf(const ReportData& data);

}  // namespace app::report
