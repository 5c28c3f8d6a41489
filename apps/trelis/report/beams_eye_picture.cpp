#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <vector>

#include <apps/trelis/report/beams_eye_picture.h>
#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/svg.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

constexpr int kDecimals = 2;
/// What is shown around the shapes, and the least half width of a picture, millimetres.
constexpr double kBorder = 18.0;
constexpr double kLeastHalfWidth = 40.0;

/// A rectangle in the beam frame; a side that is not known is NaN.
struct Rectangle {
    double left;
    double right;
    double low;
    double high;
};

/// Where a point of the beam frame is in the picture.
EdgePoint inPicture(const EdgePoint& point) { return {point.x, -point.y}; }

/// The leaf bank of a collimator: positions along the leaf travel, boundaries across.
struct Leaves {
    const std::vector<double>& boundaries;
    const std::vector<double>& left;
    const std::vector<double>& right;
    bool alongY;

    std::size_t pairs() const {
        const std::size_t places = boundaries.empty() ? 0 : boundaries.size() - 1;
        return std::min({places, left.size(), right.size()});
    }
    EdgePoint at(double along, double across) const {
        return alongY ? EdgePoint(across, along) : EdgePoint(along, across);
    }
};

class BeamPicture {
  public:
    BeamPicture(const EvaluatedBeam& beam, const Colour& targetColour, int number)
        : beam_(beam),
          clip_(fmt::format("beam-{}-view", number)),
          targetColour_(targetColour),
          fitted_{beam.leafBoundaries, beam.left, beam.right, beam.beam.leavesAlongY},
          planned_{beam.beam.leafBoundaries, beam.beam.plannedLeft, beam.beam.plannedRight,
                   beam.beam.leavesAlongY} {
        for (const std::vector<EdgePoint>& contour : beam.outline) {
            for (const EdgePoint& point : contour) {
                show(point.x, point.y);
            }
        }
        for (const NControlPoint::Collimator& jaws : {beam.jaws, beam.beam.plannedJaws}) {
            show(jaws.X1, jaws.Y1);
            show(jaws.X2, jaws.Y2);
        }
        show(0.0, 0.0);
        const double half = std::max(
            {kLeastHalfWidth, 0.5 * (view_.right - view_.left), 0.5 * (view_.high - view_.low)});
        const EdgePoint centre(0.5 * (view_.left + view_.right), 0.5 * (view_.low + view_.high));
        const double reach = half + kBorder;
        view_ = {centre.x - reach, centre.x + reach, centre.y - reach, centre.y + reach};
    }

    Markup draw() const {
        const double size = view_.right - view_.left;
        Markup svg = markup(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"field\" role=\"img\" "
            "aria-label=\"{}\" viewBox=\"{:.2f} {:.2f} {:.2f} {:.2f}\" "
            "style=\"--unit:{:.3f}px\">"
            "<clipPath id=\"{}\"><path d=\"{}\"/></clipPath><g clip-path=\"url(#{})\">",
            shortened(beam_.beam.name), view_.left, -view_.high, size, size, size / 400.0, clip_,
            pathOf(view_), clip_);
        svg += markup("<path class=\"backdrop\" d=\"{}\"/>", pathOf(view_));
        svg += markup("<path class=\"eye-outline\" style=\"{}\" fill-rule=\"evenodd\" d=\"{}\"/>",
                      inkOf(targetColour_), report::pathOf(beam_.outline, kDecimals, inPicture));
        svg += markup("<path class=\"leaves\" d=\"{}\"/>", leafShapes());
        svg += markup("<path class=\"jaws-shade\" fill-rule=\"evenodd\" d=\"{}{}\"/>",
                      pathOf(view_), pathOf(known(beam_.jaws)));
        svg += markup("<path class=\"jaws\" d=\"{}\"/>", jawLines(beam_.jaws));
        svg += markup("<path class=\"planned\" d=\"{}{}\"/>", tips(planned_, planned_.left),
                      tips(planned_, planned_.right));
        svg += markup("<path class=\"planned jaws\" d=\"{}\"/>", jawLines(beam_.beam.plannedJaws));
        svg += markup("<path class=\"isocentre\" d=\"M-6 0H6M0 -6V6\"/></g>{}</svg>", scaleBar());
        return svg;
    }

  private:
    void show(double x, double y) {
        if (std::isfinite(x)) {
            view_.left = std::min(view_.left, x);
            view_.right = std::max(view_.right, x);
        }
        if (std::isfinite(y)) {
            view_.low = std::min(view_.low, y);
            view_.high = std::max(view_.high, y);
        }
    }

    static std::string pathOf(const Rectangle& r) {
        return fmt::format("M{:.2f} {:.2f}H{:.2f}V{:.2f}H{:.2f}Z", r.left, -r.high, r.right, -r.low,
                           r.left);
    }

    /// The opening of the jaws, as wide as the picture where one is not known.
    Rectangle known(const NControlPoint::Collimator& jaws) const {
        const auto either = [](double position, double edge) {
            return std::isfinite(position) ? position : edge;
        };
        return {either(jaws.X1, view_.left), either(jaws.X2, view_.right),
                either(jaws.Y1, view_.low), either(jaws.Y2, view_.high)};
    }

    std::string jawLines(const NControlPoint::Collimator& jaws) const {
        const bool any = std::isfinite(jaws.X1) || std::isfinite(jaws.X2) ||
                         std::isfinite(jaws.Y1) || std::isfinite(jaws.Y2);
        return any ? pathOf(known(jaws)) : std::string();
    }

    /// A rectangle per leaf, from its tip to beyond the picture.
    std::string leafShapes() const {
        const bool alongY = fitted_.alongY;
        const double start = (alongY ? view_.low : view_.left) - kBorder;
        const double end = (alongY ? view_.high : view_.right) + kBorder;
        std::string path;
        const auto leaf = [&](double back, double tip, std::size_t pair) {
            const double low = fitted_.boundaries[pair];
            const double high = fitted_.boundaries[pair + 1];
            appendPath({fitted_.at(back, low), fitted_.at(tip, low), fitted_.at(tip, high),
                        fitted_.at(back, high)},
                       true, kDecimals, inPicture, path);
        };
        for (std::size_t pair = 0; pair < fitted_.pairs(); ++pair) {
            if (isShown(fitted_, pair)) {
                leaf(std::min(start, fitted_.left[pair]), fitted_.left[pair], pair);
                leaf(std::max(end, fitted_.right[pair]), fitted_.right[pair], pair);
            }
        }
        return path;
    }

    /// The line along the tips of a bank.
    std::string tips(const Leaves& leaves, const std::vector<double>& positions) const {
        std::vector<EdgePoint> line;
        for (std::size_t pair = 0; pair < leaves.pairs(); ++pair) {
            if (isShown(leaves, pair)) {
                line.push_back(leaves.at(positions[pair], leaves.boundaries[pair]));
                line.push_back(leaves.at(positions[pair], leaves.boundaries[pair + 1]));
            }
        }
        std::string path;
        appendPath(line, false, kDecimals, inPicture, path);
        return path;
    }

    bool isShown(const Leaves& leaves, std::size_t pair) const {
        const double low = leaves.alongY ? view_.left : view_.low;
        const double high = leaves.alongY ? view_.right : view_.high;
        return leaves.boundaries[pair + 1] > low && leaves.boundaries[pair] < high;
    }

    Markup scaleBar() const {
        constexpr int kMostBars = 7;
        constexpr double kInset = 5.0;
        const double length = RoundStep(view_.right - view_.left, kMostBars).times(1);
        const double unit = (view_.right - view_.left) / 400.0;
        const double right = view_.right - kInset;
        const double y = -view_.low - kInset;
        return markup(
            "<g class=\"scale\"><path d=\"M{:.2f} {:.2f}v{:.2f}h{:.2f}v{:.2f}\"/>"
            "<text x=\"{:.2f}\" y=\"{:.2f}\" text-anchor=\"end\">{:g} mm</text>"
            "<text x=\"{:.2f}\" y=\"{:.2f}\" text-anchor=\"end\">X</text>"
            "<text x=\"{:.2f}\" y=\"{:.2f}\">Y</text></g>",
            right - length, y - 6.0 * unit, 6.0 * unit, length, -6.0 * unit, right, y - 12.0 * unit,
            length, right, -6.0 * unit, 6.0 * unit, -view_.high + 20.0 * unit);
    }

    const EvaluatedBeam& beam_;
    std::string clip_;
    Colour targetColour_;
    Leaves fitted_;
    Leaves planned_;
    Rectangle view_{0.0, 0.0, 0.0, 0.0};
};

std::string jawText(const NControlPoint::Collimator& jaws) {
    const auto position = [](double v) {
        return std::isfinite(v) ? fmt::format("{:.1f}", v) : std::string("–");
    };
    return fmt::format("X {} to {}, Y {} to {} mm", position(jaws.X1), position(jaws.X2),
                       position(jaws.Y1), position(jaws.Y2));
}

}  // namespace

std::string degreesText(double radians) {
    // Adding 0 turns -0 into 0.
    return fmt::format("{:.1f}°", std::round(radians * 1800.0 / std::numbers::pi) / 10.0 + 0.0);
}

Markup beamFigure(const EvaluatedBeam& fitted, const Colour& targetColour, int number) {
    const Beam& beam = fitted.beam;
    const trelis::BeamGeometry& geometry = beam.geometry;
    const BeamPicture picture(fitted, targetColour, number);
    return markup(
        "<figure>{}<figcaption><strong>{} {}</strong><br/>"
        "Gantry {}, collimator {}, couch {}<br/>Jaws {}<br/>"
        "<span class=\"muted\">Isocentre ({:.1f}, {:.1f}, {:.1f}) mm, source at {:.0f} mm, {}"
        "</span></figcaption></figure>\n",
        picture.draw(), beam.number, named(beam.name), degreesText(geometry.gantryAngle),
        degreesText(geometry.collimatorAngle), degreesText(geometry.couchAngle),
        jawText(fitted.jaws), geometry.isocentre.x, geometry.isocentre.y, geometry.isocentre.z,
        geometry.sourceAxisDistance, beam.patientPosition);
}

}  // namespace app::report
