#include <cmath>
#include <cstddef>

#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/statistics_table.h>

namespace app::report {
namespace {

constexpr const char* kNone = "–";
/// Name, volume; then coverage and eight doses.
constexpr std::size_t kFirstDoseColumn = 2;
constexpr std::size_t kFixedColumns = 11;

std::size_t columnsOf(const ReportData& data) { return kFixedColumns + data.levels.size(); }

/// Per cent that are 100.0 only where nothing is missing.
std::string coverageText(double fraction) {
    if (!std::isfinite(fraction)) {
        return kNone;
    }
    const double percent = 100.0 * fraction;
    return fmt::format("{:.1f}", percent < 100.0 ? std::floor(percent * 10.0) / 10.0 : percent);
}

Markup numberCell(const std::string& text) { return markup("<td>{}</td>", text); }

Markup coverageCell(const trelis::DvhData& dvh) {
    const bool covered = !(dvh.doseCoverage < 1.0) || dvh.HasValidDoseCoverage();
    Markup cell = markup("<td{}>{}", Markup{covered ? "" : " class=\"doubtful\""},
                         coverageText(dvh.doseCoverage));
    if (std::isfinite(dvh.samplingCoverage) && !dvh.HasValidSamplingCoverage()) {
        cell += markup("<small class=\"doubtful\">sampled {} %</small>",
                       coverageText(dvh.samplingCoverage));
    }
    cell += {"</td>"};
    return cell;
}

Markup nameCell(const EvaluatedStructure& structure) {
    return markup(
        "<th scope=\"row\"><span class=\"swatch\" style=\"background:{}\"></span><bdi>{}</bdi>{}"
        "<small><bdi>{}</bdi></small></th>",
        hex(structure.colour), structure.name,
        Markup{structure.isTarget ? " <span class=\"badge\">target</span>" : ""}, structure.type);
}

/// A row of its own below that of the structure.
Markup editsRow(const std::vector<Edit>& edits, std::size_t columns) {
    Markup items;
    for (const Edit& edit : edits) {
        const Markup change = markup("<bdi>{}</bdi>: {} → {} cm³", edit.description,
                                     volumeText(edit.volumeBefore), volumeText(edit.volumeAfter));
        items += edit.undone ? markup("<li><del>{}</del> (undone)</li>", change)
                             : markup("<li>{}</li>", change);
    }
    return markup("<tr class=\"edits\"><td colspan=\"{}\"><ol>{}</ol></td></tr>\n", columns, items);
}

Markup row(const EvaluatedStructure& structure, const StructureFigures& figures,
           const ReportData& data) {
    const trelis::DvhData& dvh = structure.dvh;
    Markup cells = nameCell(structure);
    cells += numberCell(volumeText(structure.volume));
    if (!dvh.IsValid()) {
        for (std::size_t i = kFirstDoseColumn; i < columnsOf(data); ++i) {
            cells += numberCell(kNone);
        }
        return markup("<tr>{}</tr>\n", cells);
    }
    cells += coverageCell(dvh);
    for (const double dose :
         {dvh.minDose, dvh.maxDose, dvh.meanDose, dvh.medianDose, figures.dose.d98,
          figures.dose.d95, figures.dose.d50, figures.dose.d2}) {
        cells += numberCell(doseText(dose, data));
    }
    for (const double volume : figures.dose.volumeAtLevel) {
        cells += markup("<td>{:.1f}<small>{} cm³</small></td>", figures.percent(volume),
                        volumeText(volume));
    }
    return markup("<tr>{}</tr>\n", cells);
}

Markup headOf(const ReportData& data) {
    Markup head = {
        "<th scope=\"col\">Structure</th><th scope=\"col\">Volume<small>cm³</small></th>"
        "<th scope=\"col\">Coverage<small>%</small></th>"};
    for (const char* name : {"Min", "Max", "Mean", "Median", "D98", "D95", "D50", "D2"}) {
        head += markup("<th scope=\"col\">{}<small>{}</small></th>", name, data.unit);
    }
    for (const double level : data.levels) {
        head += markup("<th scope=\"col\">V {} {}<small>%</small></th>", level, data.unit);
    }
    return head;
}

Markup explanation(const ReportData& data) {
    Markup text = {
        "<p class=\"muted\">Coverage is the part of the structure inside the dose grid; all doses "
        "and percentages are of that part. D98 is the dose that at least 98 % of it receives, V "
        "the volume that receives at least the dose named."};
    if (!data.levelFractions.empty()) {
        text += {" These doses are"};
        const char* separator = " ";
        for (const double fraction : data.levelFractions) {
            text += markup("{}{:.0f} %", separator, 100.0 * fraction);
            separator = ", ";
        }
        text += markup(" of the largest in the grid, {} {}, to three digits.",
                       doseText(data.maximumDose, data), data.unit);
    }
    text += {"</p>\n"};
    return text;
}

}  // namespace

std::string volumeText(double volume) {
    if (!std::isfinite(volume)) {
        return kNone;
    }
    constexpr double kSmall = 1.0;
    constexpr double kLarge = 100.0;
    if (volume == 0.0) {
        return "0";
    }
    return fmt::format("{:.{}f}", volume, volume < kSmall ? 3 : volume < kLarge ? 2 : 1);
}

std::string doseText(double dose, const ReportData& data) {
    return std::isfinite(dose) ? fmt::format("{:.{}f}", dose, data.doseDecimals) : kNone;
}

Markup statisticsTable(const ReportData& data) {
    Markup rows;
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        const EvaluatedStructure& structure = data.evaluation.structures[s];
        rows += row(structure, data.structures[s], data);
        if (!structure.edits.empty()) {
            rows += editsRow(structure.edits, columnsOf(data));
        }
    }
    if (rows.text.empty()) {
        return {"<p>There are no structures.</p>\n"};
    }
    return markup(
        "<div class=\"scroll\"><table class=\"statistics\">\n<thead><tr>{}</tr></thead>\n"
        "<tbody>\n{}</tbody></table></div>\n{}",
        headOf(data), rows, explanation(data));
}

}  // namespace app::report
