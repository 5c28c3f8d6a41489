#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include <apps/trelis/report/base64.h>
#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/plane_pictures.h>
#include <apps/trelis/report/plane_sampling.h>
#include <apps/trelis/report/png_image.h>
#include <apps/trelis/report/svg.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

constexpr int kDecimals = 1;

/// Values that are shown black and white.
struct Window {
    double black;
    double white;
};

/// From pixel coordinates, with centres at integers, to those of the picture.
EdgePoint inPicture(const EdgePoint& pixel) { return pixel + EdgePoint(0.5, 0.5); }

/// Soft tissue for CT; of other images nearly all of the values that the planes show.
Window windowFor(const ImageVolume& image, const std::vector<QVolume<float>>& planes) {
    if (image.modality == "CT") {
        constexpr Window kSoftTissue = {-160.0, 240.0};
        const auto stored = [&](double hounsfield) {
            return (hounsfield - image.rescaleIntercept) / image.rescaleSlope;
        };
        return {stored(kSoftTissue.black), stored(kSoftTissue.white)};
    }
    std::vector<float> values;
    for (const QVolume<float>& plane : planes) {
        std::copy_if(plane.begin(), plane.end(), std::back_inserter(values),
                     [](float value) { return !std::isnan(value); });
    }
    if (values.empty()) {
        return {0.0, 1.0};
    }
    const auto percentile = [&](double fraction) {
        const auto place =
            static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), values.begin() + place, values.end());
        return static_cast<double>(values[static_cast<std::size_t>(place)]);
    };
    const Window window = {percentile(0.01), percentile(0.995)};
    return window.white > window.black ? window : Window{window.black, window.black + 1.0};
}

std::string pngOf(const QVolume<float>& plane, const Window& window) {
    std::vector<unsigned char> pixels(plane.size());
    const double scale = 255.0 / (window.white - window.black);
    std::transform(plane.begin(), plane.end(), pixels.begin(), [&](float value) {
        const double grey = (static_cast<double>(value) - window.black) * scale;
        return static_cast<unsigned char>(grey > 0.0 ? std::min(grey + 0.5, 255.0) : 0.0);
    });
    return greyPng(pixels, plane.GetXSize(), plane.GetYSize());
}

char letterOf(const Vector& direction) {
    constexpr double kMost = 0.5;
    const double along[] = {direction.x, direction.y, direction.z};
    for (int axis = 0; axis < 3; ++axis) {
        if (std::abs(along[axis]) > kMost) {
            return along[axis] > 0.0 ? "LPH"[axis] : "RAF"[axis];
        }
    }
    return '?';
}

/// A patient coordinate as it runs along an edge of the picture.
struct Ruler {
    double first;
    double perPixel;
    int pixels;

    Ruler(const PlaneGrid& grid, const Vector& direction, int size)
        : perPixel(grid.pixel * (direction.x + direction.y + direction.z)), pixels(size) {
        const Vector axis(std::abs(direction.x), std::abs(direction.y), std::abs(direction.z));
        first = grid.origin.Dot(axis);
    }

    /// Where a coordinate is in the picture.
    double at(double coordinate) const { return (coordinate - first) / perPixel + 0.5; }

    /// Calls visit(coordinate, position) for every multiple of the step in the picture.
    template <typename Visitor>
    void forEachTick(double step, const Visitor& visit) const {
        const double last = first + perPixel * pixels;
        const auto from = static_cast<long>(std::ceil(std::min(first, last) / step));
        const auto to = static_cast<long>(std::floor(std::max(first, last) / step));
        for (long i = from; i <= to; ++i) {
            visit(static_cast<double>(i) * step, at(static_cast<double>(i) * step));
        }
    }
};

/// The width on the page, in CSS pixels, of something that keeps its proportions.
double widthOnPage(double width, double height, double mostWidth, double mostHeight) {
    return std::min(mostWidth, mostHeight * width / height);
}

class PlanePicture {
  public:
    /// Labels are laid out for `unit` picture pixels in a CSS pixel.
    PlanePicture(const ReportData& data, const PlaneGrid& grid, int number, double unit)
        : data_(data),
          grid_(grid),
          number_(number),
          unit_(unit),
          across_(grid, grid.right, grid.width),
          down_(grid, grid.down, grid.height) {}

    Markup draw(const std::string& png, const std::vector<PlaneGrid>& views) const {
        Markup svg = markup(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plane\" role=\"img\" "
            "aria-label=\"{}\" viewBox=\"0 0 {} {}\">"
            "<rect class=\"backdrop\" width=\"{}\" height=\"{}\"/>",
            title(), grid_.width, grid_.height, grid_.width, grid_.height);
        if (!png.empty()) {
            svg += markup("<image width=\"{}\" height=\"{}\" href=\"data:image/png;base64,{}\"/>",
                          grid_.width, grid_.height, Markup{base64(png)});
        }
        svg += isodoses();
        svg += structures();
        for (const PlaneGrid& other : views) {
            svg += crossing(other);
        }
        svg += ticks();
        svg += directions();
        svg += scaleBar();
        svg += {"</svg>"};
        constexpr double kPhoneWidth = 350.0;
        constexpr double kPhoneHeight = 480.0;
        const double width = widthOnPage(grid_.width, grid_.height, kPhoneWidth, kPhoneHeight);
        return markup(
            "<figure style=\"--share:{};--own-width:{:.0f}px;--own-unit:{:.3f}px\">{}"
            "<figcaption>{}</figcaption></figure>\n",
            grid_.width, width, grid_.width / width, svg, title());
    }

  private:
    std::string title() const {
        static constexpr const char* kTitles[] = {"Sagittal, x", "Coronal, y", "Axial, z"};
        const Vector normal = grid_.right.Cross(grid_.down);
        const int axis = normal.z != 0.0 ? 2 : normal.y != 0.0 ? 1 : 0;
        const double coordinates[] = {grid_.origin.x, grid_.origin.y, grid_.origin.z};
        return fmt::format("{} = {:.1f} mm", kTitles[axis], coordinates[axis]);
    }

    Markup isodoses() const {
        Markup lines;
        if (!data_.evaluation.dose) {
            return lines;
        }
        const PlaneDose dose(grid_, *data_.evaluation.dose);
        const auto path = [](const std::vector<IsodosePiece>& pieces) {
            std::string result;
            for (const IsodosePiece& piece : pieces) {
                appendPath(piece.points, piece.closed, kDecimals, inPicture, result);
            }
            return result;
        };
        lines += markup("<path class=\"dose-border\" d=\"{}\"/>", path(dose.border()));
        for (const IsodoseLevel& level : isodoseLevels(data_)) {
            stopIfInterrupted();
            lines +=
                markup("<path class=\"isodose\" stroke=\"{}\" d=\"{}\"><title>{} {}</title></path>",
                       level.colour, path(dose.lines(level.dose)), level.dose, data_.unit);
        }
        return lines;
    }

    Markup structures() const {
        Markup lines;
        for (std::size_t s = 0; s < data_.structures.size(); ++s) {
            stopIfInterrupted();
            const EvaluatedStructure& structure = data_.evaluation.structures[s];
            if (!data_.structures[s].box) {
                continue;
            }
            const Glyph outlines = outlinesIn(grid_, structure, *data_.structures[s].box);
            if (!outlines.empty()) {
                const std::string id = fmt::format("plane-{}-structure-{}", number_, s);
                lines += markup(
                    "<g class=\"outline{}\"><title>{}</title><path id=\"{}\" class=\"halo\" "
                    "d=\"{}\"/><use href=\"#{}\" stroke=\"{}\"/></g>",
                    structure.isTarget ? " target" : "", shortened(structure.name), id,
                    pathOf(outlines, kDecimals, inPicture), id,
                    hex(legibleOnDark(structure.colour)));
            }
        }
        return lines;
    }

    /// Where another view cuts this one.
    Markup crossing(const PlaneGrid& other) const {
        const Vector normal = other.right.Cross(other.down);
        const EdgePoint at = inPicture(grid_.pixelOf(other.origin));
        if (std::abs(normal.Dot(grid_.right)) > 0.5) {
            return markup("<path class=\"crossing\" d=\"M{:.1f} 0V{}\"/>", at.x, grid_.height);
        }
        if (std::abs(normal.Dot(grid_.down)) > 0.5) {
            return markup("<path class=\"crossing\" d=\"M0 {:.1f}H{}\"/>", at.y, grid_.width);
        }
        return {};
    }

    /// The round length of at least so many CSS pixels.
    double roundLength(double cssPixels) const {
        return RoundStep(cssPixels * unit_ * grid_.pixel, 1).times(1);
    }

    Markup ticks() const {
        constexpr double kLabelDistance = 45.0;
        const double room = 20.0 * unit_;
        const double step = roundLength(kLabelDistance);
        std::string path;
        Markup labels;
        for (const double every : {step / 5.0, step}) {
            const double length = (every < step ? 3.0 : 7.0) * unit_;
            across_.forEachTick(every, [&](double, double x) {
                fmt::format_to(std::back_inserter(path), "M{:.1f} {}v{:.1f}", x, grid_.height,
                               -length);
            });
            down_.forEachTick(every, [&](double, double y) {
                fmt::format_to(std::back_inserter(path), "M0 {:.1f}h{:.1f}", y, length);
            });
        }
        across_.forEachTick(step, [&](double coordinate, double x) {
            if (x > 2.0 * room && x < grid_.width - room) {
                labels +=
                    markup("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"middle\">{:g}</text>", x,
                           grid_.height - 10.0 * unit_, coordinate);
            }
        });
        down_.forEachTick(step, [&](double coordinate, double y) {
            if (y > room && y < grid_.height - room) {
                labels += markup("<text x=\"{:.1f}\" y=\"{:.1f}\">{:g}</text>", 10.0 * unit_,
                                 y + 4.0 * unit_, coordinate);
            }
        });
        return markup("<path class=\"ticks\" d=\"{}\"/><g class=\"labels\">{}</g>", path, labels);
    }

    Markup directions() const {
        const double middleX = 0.5 * grid_.width;
        const double middleY = 0.5 * grid_.height + 6.0 * unit_;
        const auto letter = [](double x, double y, const Vector& direction) {
            return markup("<text x=\"{:.1f}\" y=\"{:.1f}\">{}</text>", x, y,
                          std::string(1, letterOf(direction)));
        };
        Markup letters;
        letters += letter(grid_.width - 12.0 * unit_, middleY, grid_.right);
        letters += letter(44.0 * unit_, middleY, -grid_.right);
        letters += letter(middleX, grid_.height - 28.0 * unit_, grid_.down);
        letters += letter(middleX, 20.0 * unit_, -grid_.down);
        return markup("<g class=\"directions\" text-anchor=\"middle\">{}</g>", letters);
    }

    Markup scaleBar() const {
        constexpr double kLeastLength = 40.0;
        const double length = roundLength(kLeastLength);
        const double pixels = length / grid_.pixel;
        const double right = grid_.width - 8.0 * unit_;
        return markup(
            "<g class=\"scale\"><path d=\"M{:.1f} {:.1f}v{:.1f}h{:.1f}v{:.1f}\"/>"
            "<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"end\">{:g} mm</text></g>",
            right - pixels, 8.0 * unit_, 6.0 * unit_, pixels, -6.0 * unit_, right, 28.0 * unit_,
            length);
    }

    const ReportData& data_;
    const PlaneGrid& grid_;
    int number_;
    double unit_;
    Ruler across_;
    Ruler down_;
};

std::vector<std::string> imagesOf(const ReportData& data, const std::vector<PlaneGrid>& views) {
    std::vector<std::string> pngs(views.size());
    if (!data.evaluation.image) {
        return pngs;
    }
    const ImageVolume& image = *data.evaluation.image;
    std::vector<QVolume<float>> planes;
    planes.reserve(views.size());
    for (const PlaneGrid& view : views) {
        planes.push_back(sampleVolume(image.pixels, image.geometry(), view, 0.5));
    }
    const Window window = windowFor(image, planes);
    std::transform(planes.begin(), planes.end(), pngs.begin(),
                   [&](const QVolume<float>& plane) { return pngOf(plane, window); });
    return pngs;
}

}  // namespace

std::vector<IsodoseLevel> isodoseLevels(const ReportData& data) {
    if (!(data.maximumDose > 0.0)) {
        return {};
    }
    std::vector<IsodoseLevel> levels = {{0.95, 0.0, "#ff5a4f"},
                                        {0.90, 0.0, "#ff9f2e"},
                                        {0.80, 0.0, "#ffe14d"},
                                        {0.50, 0.0, "#57d98a"},
                                        {0.20, 0.0, "#54b4ff"}};
    for (IsodoseLevel& level : levels) {
        level.dose = threeDigits(level.fraction * data.maximumDose);
    }
    return levels;
}

Markup planeFigures(const ReportData& data) {
    const std::vector<PlaneGrid> views = chooseViews(data);
    if (views.empty()) {
        return {};
    }
    constexpr double kPageWidth = 1090.0;
    constexpr double kPageHeight = 560.0;
    int width = 0;
    int height = 0;
    for (const PlaneGrid& view : views) {
        width += view.width;
        height = std::max(height, view.height);
    }
    const double rowWidth = widthOnPage(width, height, kPageWidth, kPageHeight);
    const double unit = width / rowWidth;
    const std::vector<std::string> pngs = imagesOf(data, views);
    Markup figures;
    for (std::size_t i = 0; i < views.size(); ++i) {
        const PlanePicture picture(data, views[i], static_cast<int>(i), unit);
        figures += picture.draw(pngs[i], views);
    }
    return markup(
        "<div class=\"planes\" style=\"max-width:{:.0f}px;--row-unit:{:.3f}px\">\n{}</div>\n",
        rowWidth, unit, figures);
}

}  // namespace app::report
