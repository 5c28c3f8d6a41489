#include <cstddef>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/report/csv_output.h>
#include <apps/trelis/report/printable.h>

namespace app::report {
namespace {

std::string field(std::string_view name) {
    std::string text = printable(name);
    const std::size_t first = text.find_first_not_of(' ');
    if (first != std::string::npos &&
        std::string_view("=+-@").find(text[first]) != std::string_view::npos) {
        text.insert(0, 1, '\'');
    }
    if (text.find_first_of(",\"") == std::string::npos) {
        return text;
    }
    for (std::size_t at = 0; (at = text.find('"', at)) != std::string::npos; at += 2) {
        text.insert(at, 1, '"');
    }
    return '"' + text + '"';
}

}  // namespace

std::string csvOf(const ReportData& data) {
    std::string csv = fmt::format("structure,dose_{},volume_cm3,volume_percent\r\n", data.unitKey);
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        const StructureFigures& figures = data.structures[s];
        const std::string name = field(data.evaluation.structures[s].name);
        for (std::size_t i = 0; i < figures.curve.size(); ++i) {
            fmt::format_to(std::back_inserter(csv), "{},{},{},{}\r\n", name,
                           data.doseStep.times(static_cast<int>(i)), figures.curve[i],
                           figures.percent(figures.curve[i]));
        }
    }
    return csv;
}

}  // namespace app::report
