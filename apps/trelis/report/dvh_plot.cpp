#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <string>

#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/dvh_plot.h>
#include <apps/trelis/report/printable.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

// In units of the SVG, which is wide enough for labels twice as large on a phone.
constexpr int kWidth = 760;
constexpr int kHeight = 440;
constexpr int kLeft = 70;
constexpr int kRight = 742;
constexpr int kTop = 16;
constexpr int kBottom = 376;
constexpr int kMostDoseTicks = 8;

/// A JSON string that is the same inside a script of HTML and of XML.
std::string scriptText(std::string_view text) {
    std::string result = "\"";
    for (const char c : printable(text)) {
        if (std::string_view("<>&\"\\").find(c) != std::string_view::npos) {
            fmt::format_to(std::back_inserter(result), "\\u{:04x}", static_cast<unsigned>(c));
        } else {
            result += c;
        }
    }
    return result + '"';
}

/// The target's curve is solid.
std::string_view dashesFor(const EvaluatedStructure& structure, std::size_t number) {
    return structure.isTarget ? "none" : dashesOf(number);
}

class Plot {
  public:
    explicit Plot(const ReportData& data) : data_(data), ticks_(longest(data), kMostDoseTicks) {
        const double range = longest(data);
        while (ticks_.times(tickCount_) < range * (1.0 - 1e-9)) {
            ++tickCount_;
        }
    }

    Markup draw() const {
        Markup svg = markup(
            "<svg id=\"dvh-plot\" xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" role=\"img\" "
            "tabindex=\"0\" aria-label=\"Cumulative dose-volume histograms\" "
            "viewBox=\"0 0 {} {}\">",
            kWidth, kHeight);
        svg += axes();
        for (std::size_t s = 0; s < data_.structures.size(); ++s) {
            if (!data_.structures[s].curve.empty()) {
                svg += curve(s);
            }
        }
        svg += markup("<g id=\"dvh-cursor\" visibility=\"hidden\"><path d=\"M0 {}V{}\"/></g></svg>",
                      kTop, kBottom);
        return svg;
    }

    /// What the script needs: the numbers of the curves and where the axes are.
    Markup numbers() const {
        std::string curves;
        for (const StructureFigures& figures : data_.structures) {
            curves += curves.empty() ? "[" : ",[";
            const char* separator = "";
            for (const double volume : figures.curve) {
                fmt::format_to(std::back_inserter(curves), "{}{:.4g}", separator,
                               figures.percent(volume));
                separator = ",";
            }
            curves += ']';
        }
        return markup(
            "<script type=\"application/json\" id=\"dvh-numbers\">"
            "{{\"left\":{},\"right\":{},\"top\":{},\"bottom\":{},\"width\":{},\"range\":{},"
            "\"step\":{},\"decimals\":{},\"unit\":{},\"curves\":[{}]}}</script>\n",
            kLeft, kRight, kTop, kBottom, kWidth, range(), data_.doseStep.times(1),
            data_.doseStep.decimals(), Markup{scriptText(data_.unit)}, Markup{curves});
    }

  private:
    static double longest(const ReportData& data) {
        if (!(data.maximumDose > 0.0)) {
            return 1.0;
        }
        std::size_t points = 2;
        for (const StructureFigures& figures : data.structures) {
            points = std::max(points, figures.curve.size());
        }
        return data.doseStep.times(static_cast<int>(points - 1));
    }

    double range() const { return ticks_.times(tickCount_); }
    double x(double dose) const { return kLeft + (kRight - kLeft) * dose / range(); }
    static double y(double percent) { return kBottom - (kBottom - kTop) * percent / 100.0; }

    Markup axes() const {
        constexpr int kPercentTick = 20;
        std::string grid;
        Markup labels;
        for (int i = 0; i <= tickCount_; ++i) {
            const double dose = ticks_.times(i);
            fmt::format_to(std::back_inserter(grid), "M{:.1f} {}V{}", x(dose), kTop, kBottom);
            labels +=
                markup("<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\"{}>{}</text>", x(dose),
                       kBottom + 24, Markup{i % 2 != 0 ? " class=\"odd\"" : ""}, dose);
        }
        for (int percent = 0; percent <= 100; percent += kPercentTick) {
            fmt::format_to(std::back_inserter(grid), "M{} {:.1f}H{}", kLeft, y(percent), kRight);
            labels += markup("<text x=\"{}\" y=\"{:.1f}\" text-anchor=\"end\">{}</text>", kLeft - 8,
                             y(percent) + 5.0, percent);
        }
        return markup(
            "<path class=\"grid\" d=\"{}\"/><path class=\"axes\" d=\"M{} {}V{}H{}\"/>{}"
            "<text class=\"axis\" x=\"{}\" y=\"{}\" text-anchor=\"middle\">Dose [{}]</text>"
            "<text class=\"axis\" transform=\"translate(20 {}) rotate(-90)\" "
            "text-anchor=\"middle\">Volume [%]</text>",
            grid, kLeft, kTop, kBottom, kRight, labels, (kLeft + kRight) / 2, kHeight - 10,
            data_.unit, (kTop + kBottom) / 2);
    }

    /// Points that lie, to a twentieth of a unit, on the line through their neighbours are left
    /// out.
    Markup curve(std::size_t s) const {
        constexpr double kTolerance = 0.05;
        const StructureFigures& figures = data_.structures[s];
        const auto point = [&](std::size_t i) {
            return EdgePoint(x(data_.doseStep.times(static_cast<int>(i))),
                             y(figures.percent(figures.curve[i])));
        };
        std::string path;
        EdgePoint kept = point(0);
        fmt::format_to(std::back_inserter(path), "M{:.1f} {:.1f}", kept.x, kept.y);
        for (std::size_t i = 1; i < figures.curve.size(); ++i) {
            const EdgePoint here = point(i);
            if (i + 1 < figures.curve.size()) {
                const EdgePoint next = point(i + 1);
                const double slope = (next.y - kept.y) / (next.x - kept.x);
                if (std::abs(kept.y + slope * (here.x - kept.x) - here.y) < kTolerance) {
                    continue;
                }
            }
            fmt::format_to(std::back_inserter(path), "L{:.1f} {:.2f}", here.x, here.y);
            kept = here;
        }
        const EvaluatedStructure& structure = data_.evaluation.structures[s];
        return markup(
            "<path class=\"curve{}\" style=\"{}\" stroke-dasharray=\"{}\" d=\"{}\">"
            "<title>{}</title></path>",
            structure.isTarget ? " target" : "", inkOf(structure.colour), dashesFor(structure, s),
            path, shortened(structure.name));
    }

    const ReportData& data_;
    RoundStep ticks_;
    int tickCount_ = 1;
};

Markup legend(const ReportData& data) {
    Markup items;
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        if (data.structures[s].curve.empty()) {
            continue;
        }
        const EvaluatedStructure& structure = data.evaluation.structures[s];
        items += markup(
            "<li><svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 34 8\" "
            "aria-hidden=\"true\"><path class=\"curve\" style=\"{}\" stroke-dasharray=\"{}\" "
            "d=\"M0 4H34\"/></svg>{}<output data-curve=\"{}\"></output></li>\n",
            inkOf(structure.colour), dashesFor(structure, s), named(structure.name), s);
    }
    return items;
}

}  // namespace

Markup dvhFigure(const ReportData& data) {
    const bool any =
        std::any_of(data.structures.begin(), data.structures.end(),
                    [](const StructureFigures& figures) { return !figures.curve.empty(); });
    if (!any) {
        return {"<p>There is no dose, or no structure that lies in it.</p>\n"};
    }
    const Plot plot(data);
    return markup(
        "<figure class=\"histogram\">{}\n<figcaption><p id=\"dvh-dose\">Volume that receives at "
        "least a dose, in per cent of what lies inside the dose grid.</p>\n"
        "<ul class=\"legend\">\n{}</ul></figcaption></figure>\n{}",
        plot.draw(), legend(data), plot.numbers());
}

}  // namespace app::report
