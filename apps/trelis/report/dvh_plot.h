#pragma once

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// The cumulative histograms of all structures: plot, legend, and the numbers that the script of
/// the page reads out under the pointer. Tells so where there is none.
Markup dvhFigure(const ReportData& data);

}  // namespace app::report
