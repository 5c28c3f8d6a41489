#pragma once

#include <string>

#include <apps/trelis/report/report_data.h>

namespace app::report {

/// The whole report as one page that needs nothing beside it: HTML that is well-formed XML too.
/// `QAbortPressed` after Ctrl-C.
std::string pageOf(const ReportData& data);

}  // namespace app::report
