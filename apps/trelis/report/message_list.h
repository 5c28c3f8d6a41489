#pragma once

#include <cstddef>

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

std::size_t countOf(const Messages& messages, Severity severity);

/// The messages, the gravest first and of those the ones about the target; one sentence for all
/// that it is said of. Only notes are folded, where there are many.
Markup messageList(const ReportData& data);

}  // namespace app::report
