#pragma once

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// Whose study it is and the figures that one looks for first.
Markup headline(const ReportData& data);

/// What was read and what was left aside.
Markup readTable(const ReportData& data);

}  // namespace app::report
