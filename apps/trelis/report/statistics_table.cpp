#include <algorithm>
#include <cmath>
#include <cstddef>

#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/coverage.h>
#include <apps/trelis/report/statistics_table.h>

namespace app::report {
namespace {

constexpr const char* kNone = "–";
/// Name, volume; then coverage and eight doses.
constexpr std::size_t kFirstDoseColumn = 2;
constexpr std::size_t kFixedColumns = 11;

/// Some of the report's levels, which share a table: as many as a printed page has room for.
struct LevelRange {
    std::size_t first;
    std::size_t end;
};

constexpr std::size_t kLevelsBesideDoses = 3;
constexpr std::size_t kLevelsAlone = 8;

LevelRange levelsFrom(std::size_t first, std::size_t most, const ReportData& data) {
    return {first, std::min(first + most, data.levels.size())};
}

Markup numberCell(const std::string& text) { return markup("<td>{}</td>", text); }

Markup coverageCell(const trelis::DvhData& dvh) {
    Markup cell = markup("<td{}>{}", Markup{isPartlyCovered(dvh) ? " class=\"doubtful\"" : ""},
                         coverageText(dvh.doseCoverage));
    if (isPoorlySampled(dvh)) {
        cell += markup("<small class=\"doubtful\">sampled {} %</small>",
                       coverageText(dvh.samplingCoverage));
    }
    cell += {"</td>"};
    return cell;
}

Markup nameCell(const EvaluatedStructure& structure) {
    return markup(
        "<th scope=\"row\"><span class=\"swatch\" style=\"background:{}\"></span>{}{}"
        "<small>{}</small></th>",
        hex(structure.colour), named(structure.name),
        Markup{structure.isTarget ? " <span class=\"badge\">target</span>" : ""},
        named(structure.type));
}

/// A row of its own below that of the structure.
Markup editsRow(const std::vector<Edit>& edits, std::size_t columns) {
    Markup items;
    for (const Edit& edit : edits) {
        const Markup change = markup("{}: {} → {} cm³", named(edit.description),
                                     volumeText(edit.volumeBefore), volumeText(edit.volumeAfter));
        items += edit.undone ? markup("<li><del>{}</del> (undone)</li>", change)
                             : markup("<li>{}</li>", change);
    }
    return markup("<tr class=\"edits\"><td colspan=\"{}\"><ol>{}</ol></td></tr>\n", columns, items);
}

Markup levelCells(const StructureFigures& figures, LevelRange levels) {
    Markup cells;
    for (std::size_t i = levels.first; i < levels.end; ++i) {
        const double volume = figures.dose.volumeAtLevel[i];
        cells += figures.curve.empty() ? numberCell(kNone)
                                       : markup("<td>{:.1f}<small>{} cm³</small></td>",
                                                figures.percent(volume), volumeText(volume));
    }
    return cells;
}

Markup levelHead(const ReportData& data, LevelRange levels) {
    Markup head;
    for (std::size_t i = levels.first; i < levels.end; ++i) {
        head += markup("<th scope=\"col\">V {} {}<small>%</small></th>", data.levels[i], data.unit);
    }
    return head;
}

Markup doseCells(const trelis::DvhData& dvh, const DoseFigures& figures, const ReportData& data) {
    Markup cells;
    if (!dvh.IsValid()) {
        for (std::size_t i = kFirstDoseColumn; i < kFixedColumns; ++i) {
            cells += numberCell(kNone);
        }
        return cells;
    }
    cells += coverageCell(dvh);
    for (const double dose : {dvh.minDose, dvh.maxDose, dvh.meanDose, dvh.medianDose, figures.d98,
                              figures.d95, figures.d50, figures.d2}) {
        cells += numberCell(doseText(dose, data));
    }
    return cells;
}

Markup doseHead(const ReportData& data) {
    Markup head = {
        "<th scope=\"col\">Volume<small>cm³</small></th>"
        "<th scope=\"col\">Coverage<small>%</small></th>"};
    for (const char* name : {"Min", "Max", "Mean", "Median", "D98", "D95", "D50", "D2"}) {
        head += markup("<th scope=\"col\">{}<small>{}</small></th>", name, data.unit);
    }
    return head;
}

Markup tableOf(const char* kind, const Markup& head, const Markup& rows) {
    return markup(
        "<div class=\"scroll\"><table class=\"{}\">\n<thead><tr><th scope=\"col\">Structure</th>{}"
        "</tr></thead>\n<tbody>\n{}</tbody></table></div>\n",
        kind, head, rows);
}

Markup mainTable(const ReportData& data) {
    const LevelRange levels = levelsFrom(0, kLevelsBesideDoses, data);
    Markup rows;
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        const EvaluatedStructure& structure = data.evaluation.structures[s];
        const StructureFigures& figures = data.structures[s];
        rows += markup("<tr>{}{}{}{}</tr>\n", nameCell(structure),
                       numberCell(volumeText(structure.volume)),
                       doseCells(structure.dvh, figures.dose, data), levelCells(figures, levels));
        if (!structure.edits.empty()) {
            rows += editsRow(structure.edits, kFixedColumns + levels.end);
        }
    }
    Markup head = doseHead(data);
    head += levelHead(data, levels);
    return tableOf("statistics", head, rows);
}

Markup levelTable(const ReportData& data, LevelRange levels) {
    Markup rows;
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        rows += markup("<tr>{}{}</tr>\n", nameCell(data.evaluation.structures[s]),
                       levelCells(data.structures[s], levels));
    }
    return tableOf("statistics levels", levelHead(data, levels), rows);
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

Markup statisticsTables(const ReportData& data) {
    if (data.structures.empty()) {
        return {"<p>There are no structures.</p>\n"};
    }
    Markup tables = mainTable(data);
    for (std::size_t first = kLevelsBesideDoses; first < data.levels.size();
         first += kLevelsAlone) {
        tables += levelTable(data, levelsFrom(first, kLevelsAlone, data));
    }
    tables += explanation(data);
    return tables;
}

}  // namespace app::report
