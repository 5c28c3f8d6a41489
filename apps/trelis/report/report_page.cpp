#include <cstddef>
#include <vector>

#include <apps/trelis/report/beams_eye_picture.h>
#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/dvh_plot.h>
#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/message_list.h>
#include <apps/trelis/report/page_style.h>
#include <apps/trelis/report/plane_pictures.h>
#include <apps/trelis/report/report_page.h>
#include <apps/trelis/report/statistics_table.h>
#include <apps/trelis/report/study_sections.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

Markup section(std::string_view id, std::string_view title, const Markup& content) {
    return markup("<section id=\"{}\"><h2>{}</h2>\n{}</section>\n", id, title, content);
}

Markup planes(const ReportData& data) {
    Markup content = planeFigures(data);
    if (content.text.empty()) {
        return {"<p>There is nothing to draw.</p>\n"};
    }
    content += {"<div class=\"keys\"><ul class=\"key\">\n"};
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        const EvaluatedStructure& structure = data.evaluation.structures[s];
        if (data.structures[s].box) {
            content += markup("<li><span class=\"swatch\" style=\"background:{}\"></span>{}</li>\n",
                              hex(structure.colour), named(structure.name));
        }
    }
    content += {"</ul>"};
    const std::vector<IsodoseLevel> levels = isodoseLevels(data);
    if (!levels.empty()) {
        content += {"<ul class=\"key isodoses\">\n"};
        for (const IsodoseLevel& level : levels) {
            content += markup(
                "<li><span class=\"line\" style=\"background:{}\"></span>{} {} "
                "<span class=\"muted\">{:.0f} %</span></li>\n",
                level.colour, level.dose, data.unit, 100.0 * level.fraction);
        }
        content += {"</ul>"};
    }
    content += {"</div>\n"};
    return content;
}

Markup beams(const ReportData& data) {
    constexpr Colour kGrey = {128, 128, 128};
    const Colour colour = data.target ? data.evaluation.structures[*data.target].colour : kGrey;
    Markup figures;
    int number = 0;
    for (const EvaluatedBeam& beam : data.evaluation.beams) {
        stopIfInterrupted();
        figures += beamFigure(beam, colour, ++number);
    }
    if (number == 0) {
        return {"<p>There are no beams.</p>\n"};
    }
    return markup(
        "<ul class=\"key\"><li><span class=\"area outline-sample\" style=\"{}\"></span>target as "
        "the source sees it</li><li><span class=\"area leaf-sample\"></span>fitted leaves</li>"
        "<li><span class=\"line jaw-sample\"></span>corrected jaws</li>"
        "<li><span class=\"line planned-sample\"></span>leaves and jaws of the plan</li></ul>\n"
        "<div class=\"beams\">\n{}</div>\n<p class=\"muted\">Millimetres in the plane through the "
        "isocentre, seen from the source.</p>\n",
        inkOf(colour), figures);
}

Markup files(const ReportData& data) {
    Markup links = {
        "<li><a href=\"dvh.csv\">dvh.csv</a> cumulative histograms</li>\n"
        "<li><a href=\"plan.json\">plan.json</a> every number at full precision</li>\n"};
    for (std::size_t s = 0; s < data.labelMaps.size(); ++s) {
        links += markup("<li><a href=\"{}\">{}</a> label map of {}</li>\n", data.labelMaps[s],
                        data.labelMaps[s], named(data.evaluation.structures[s].name));
    }
    return markup("<ul class=\"files\">\n{}</ul>\n", links);
}

}  // namespace

std::string pageOf(const ReportData& data) {
    Markup body = headline(data);
    const Markup messages = messageList(data);
    if (!messages.text.empty()) {
        body += section("messages", "What to know first", messages);
    }
    body += section("read", "What was read", readTable(data));
    body += section("planes", "Planes through the target", planes(data));
    body += section("histograms", "Dose-volume histograms", dvhFigure(data));
    body += section("statistics", "Statistics", statisticsTables(data));
    body += section("beams", "Beam's-eye views", beams(data));
    body += section("files", "Files beside this page", files(data));
    return markup(
               "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n"
               "<head>\n<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" "
               "content=\"width=device-width, initial-scale=1\"/>\n"
               "<meta name=\"color-scheme\" content=\"light dark\"/>\n"
               "<title>Plan evaluation {}</title>\n<style>{}</style>\n</head>\n<body>\n<main>\n{}"
               "</main>\n<script>//<![CDATA[\n{}//]]></script>\n</body>\n</html>\n",
               shortened(data.study.patientName), Markup{kPageStyle}, body, Markup{kPageScript})
        .text;
}

}  // namespace app::report
