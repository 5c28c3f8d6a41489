#pragma once

#include <string_view>
#include <vector>

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// An isodose line of the pictures.
struct IsodoseLevel {
    /// Of the largest dose.
    double fraction;
    double dose;
    std::string_view colour;
};

/// From the highest to the lowest; none without a dose.
std::vector<IsodoseLevel> isodoseLevels(const ReportData& data);

/// Planes through the target side by side: the image with structures, isodose lines, directions and
/// scale. A unit of their SVG is a pixel, the corner of the first at (0, 0). Empty where there is
/// nothing to draw. `QAbortPressed` after Ctrl-C.
Markup planeFigures(const ReportData& data);

}  // namespace app::report
