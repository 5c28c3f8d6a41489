#pragma once

#include <string>

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// Volume, coverage and dose statistics of every structure, and the edits of those that were
/// edited; levels that do not fit beside them follow in tables of their own.
Markup statisticsTables(const ReportData& data);

/// cm3 with the digits that such a volume deserves; a dash for NaN, as in the next.
std::string volumeText(double volume);

/// A dose with the digits of the page.
std::string doseText(double dose, const ReportData& data);

}  // namespace app::report
