#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <numbers>
#include <sstream>
#include <string>
#include <utility>

#include <trelis/trelis.h>

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

double signedArea(const std::vector<EdgePoint>& c) {
    double sum = 0.0;
    for (std::size_t i = 0; i < c.size(); ++i) {
        const EdgePoint& next = c[(i + 1) % c.size()];
        sum += (c[i].x * next.y - next.x * c[i].y) / 2.0;
    }
    return sum;
}

/// Says how many outlines and holes there are, and their area: holes count negative.
void report(const std::string& what, const Glyph& glyph) {
    double area = 0.0;
    std::size_t holes = 0;
    for (const auto& contour : glyph) {
        area += signedArea(contour);
        holes += signedArea(contour) < 0.0 ? 1U : 0U;
    }
    std::printf("%-28s %zu outlines, %zu holes, %8.1f\n", what.c_str(), glyph.size() - holes, holes,
                area);
}

/// A picture of a part of a plane: x from left to right, y upwards or, as in images, downwards.
class Picture {
  public:
    Picture(EdgePoint low, EdgePoint high, double pixelsPerUnit, bool yUp)
        : low_(low), high_(high), scale_(pixelsPerUnit), yUp_(yUp) {
        body_ << std::fixed << std::setprecision(2);
    }

    void box(EdgePoint centre, double width, double height, double opacity) {
        body_ << "<rect x=\"" << pixelX(centre.x) - width * scale_ / 2.0 << "\" y=\""
              << pixelY(centre.y) - height * scale_ / 2.0 << "\" width=\"" << width * scale_
              << "\" height=\"" << height * scale_ << "\" fill=\"#1f5fa8\" fill-opacity=\""
              << opacity << "\"/>\n";
    }
    void line(EdgePoint from, EdgePoint to, const std::string& colour) {
        body_ << "<path d=\"M" << pixelX(from.x) << ' ' << pixelY(from.y) << 'L' << pixelX(to.x)
              << ' ' << pixelY(to.y) << "\" stroke=\"" << colour << "\"/>\n";
    }
    void contours(const Glyph& glyph, const std::string& colour, double opacity) {
        body_ << "<path d=\"";
        for (const auto& contour : glyph) {
            char command = 'M';
            for (const EdgePoint& p : contour) {
                body_ << std::exchange(command, 'L') << pixelX(p.x) << ' ' << pixelY(p.y);
            }
            body_ << 'Z';
        }
        body_ << "\" fill-rule=\"evenodd\" stroke-width=\"2\" stroke=\"" << colour << "\" fill=\""
              << colour << "\" fill-opacity=\"" << opacity << "\"/>\n";
    }
    void vertices(const Glyph& glyph, const std::string& colour) {
        for (const auto& contour : glyph) {
            for (const EdgePoint& p : contour) {
                body_ << "<circle cx=\"" << pixelX(p.x) << "\" cy=\"" << pixelY(p.y)
                      << "\" r=\"2.2\" fill=\"" << colour << "\"/>\n";
            }
        }
    }
    void text(EdgePoint at, const std::string& words, const std::string& colour) {
        body_ << "<text x=\"" << pixelX(at.x) << "\" y=\"" << pixelY(at.y) << "\" fill=\"" << colour
              << "\">" << words << "</text>\n";
    }

    void write(const std::string& path) const {
        std::ofstream svg(path);
        svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << (high_.x - low_.x) * scale_
            << "\" height=\"" << (high_.y - low_.y) * scale_
            << "\" font-family=\"sans-serif\" font-size=\"13\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"#f4f6f8\"/>\n"
            << body_.str() << "</svg>\n";
    }

  private:
    double pixelX(double x) const { return (x - low_.x) * scale_; }
    double pixelY(double y) const { return (yUp_ ? high_.y - y : y - low_.y) * scale_; }

    EdgePoint low_;
    EdgePoint high_;
    double scale_;
    bool yUp_;
    std::ostringstream body_;
};

/// A segment from a function of millimetres from the centre of the grid: 0 at the surface, 0.5 and
/// above where voxels are full.
template <typename Depth>
SegmentVolume segmentOf(int xsize, int ysize, int zsize, Vector resolution, const Depth& depth) {
    SegmentVolume s(xsize, ysize, zsize, resolution.x, resolution.y, resolution.z);
    for (int z = 0; z < zsize; ++z) {
        for (int y = 0; y < ysize; ++y) {
            for (int x = 0; x < xsize; ++x) {
                const Vector p((x + 0.5 - xsize / 2.0) * resolution.x,
                               (y + 0.5 - ysize / 2.0) * resolution.y,
                               (z + 0.5 - zsize / 2.0) * resolution.z);
                s.setPixel(x, y, z, SegmentVolume::fromFloat(0.5 + depth(p)));
            }
        }
    }
    s.compact();
    return s;
}

/// A ring that the border of the grid cuts, a disc, and voxels that touch at their corners.
Picture drawTracing() {
    SegmentVolume s = segmentOf(30, 20, 1, {1.0, 1.0, 1.0}, [](const Vector& p) {
        const double radius = std::hypot(p.x + 6.0, p.y + 2.5);
        const double ring = std::min(8.6 - radius, radius - 4.2);
        return std::max(ring, 4.4 - std::hypot(p.x - 8.5, p.y - 1.3));
    });
    const int corners[][3] = {
        {19, 16, 255}, {20, 17, 255}, {21, 16, 255}, {25, 3, 255}, {26, 4, 160}};
    for (const auto& [x, y, value] : corners) {
        s.setPixel(x, y, 0, value);
    }
    Glyph outlines;
    NEdgePointAlgorithms::TraceSegmentPlane(s, 0, outlines);
    report("plane of a segment, voxels", outlines);

    Picture picture({-1.5, -1.5}, {30.5, 20.5}, 20.0, true);
    for (int y = 0; y < s.ysize(); ++y) {
        for (int x = 0; x < s.xsize(); ++x) {
            const EdgePoint centre{static_cast<double>(x), static_cast<double>(y)};
            picture.box(centre, 0.96, 0.96, s.pixel(x, y, 0) / 255.0);
        }
    }
    picture.contours(outlines, "#c0392b", 0.0);
    picture.vertices(outlines, "#c0392b");
    return picture;
}

/// Three crossing beams on a round patient.
Picture drawIsodoses() {
    constexpr int kSize = 100;
    QVolume<unsigned int> dose(kSize, kSize, 1, 2.5, 2.5, 2.5);
    constexpr double kDoseScale = 0.001;
    const auto beamDose = [](double x, double y, double angle) {
        const double across = x * std::cos(angle) + y * std::sin(angle);
        const double along = x * std::sin(angle) - y * std::cos(angle);
        const double field = 1.0 / (1.0 + std::exp((std::abs(across) - 25.0) / 2.0));
        return field * std::exp(along / 250.0);
    };
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const double px = (x + 0.5 - kSize / 2.0) * 2.5;
            const double py = (y + 0.5 - kSize / 2.0) * 2.5;
            double gray = 0.0;
            for (const double degrees : {0.0, 120.0, 240.0}) {
                gray += 20.0 * beamDose(px, py, degrees * std::numbers::pi / 180.0);
            }
            const double depth = 110.0 - std::hypot(px, py * 1.2);
            gray *= 1.0 / (1.0 + std::exp(-depth / 2.0));
            dose.SetPixel(x, y, 0, static_cast<unsigned int>(gray / kDoseScale));
        }
    }
    Picture picture({-125.0, -125.0}, {125.0, 125.0}, 2.4, false);
    const std::pair<double, const char*> levels[] = {{10.0, "#2e5fa8"}, {20.0, "#2a9d8f"},
                                                     {30.0, "#8ab17d"}, {40.0, "#e9c46a"},
                                                     {50.0, "#f4a261"}, {57.0, "#c0392b"}};
    double row = -105.0;
    for (const auto& [gray, colour] : levels) {
        Glyph lines;
        trelis::TraceIsodose(dose, kDoseScale, 0, gray, lines);
        const std::string name = std::to_string(static_cast<int>(gray)) + " Gy";
        report("isodose " + name + ", mm", lines);
        picture.contours(lines, colour, 0.16);
        picture.text({-118.0, row}, name, colour);
        row += 9.0;
    }
    return picture;
}

/// A ring and a ball behind it, as three beams see them.
Picture drawBeamsEyeViews() {
    const SegmentVolume ring = segmentOf(100, 100, 50, {1.0, 1.0, 2.0}, [](const Vector& p) {
        return (8.0 - std::hypot(std::hypot(p.x, p.z) - 26.0, p.y)) / 2.0;
    });
    const SegmentVolume ball = segmentOf(100, 100, 50, {1.0, 1.0, 2.0}, [](const Vector& p) {
        return (9.0 - (p - Vector(12.0, 30.0, 8.0)).Length()) / 2.0;
    });
    const FVoxelSpaceGeometry geometry(MMatrix(), 100, 100, 50, 1.0, 1.0, 2.0);
    QProgressReporterNull nobody;
    const std::pair<double, double> angles[] = {{0.0, 0.0}, {50.0, 0.0}, {50.0, 30.0}};
    Picture picture({-50.0, -50.0}, {250.0, 50.0}, 3.2, true);
    double left = 0.0;
    for (const auto& [gantry, collimator] : angles) {
        trelis::BeamGeometry beam;
        beam.gantryAngle = gantry * std::numbers::pi / 180.0;
        beam.collimatorAngle = collimator * std::numbers::pi / 180.0;
        const std::string name = "gantry " + std::to_string(static_cast<int>(gantry)) +
                                 ", collimator " + std::to_string(static_cast<int>(collimator));
        picture.line({left - 48.0, 0.0}, {left + 48.0, 0.0}, "#aab2bd");
        picture.line({left, -48.0}, {left, 48.0}, "#aab2bd");
        picture.text({left + 45.0, 1.5}, "x", "#66707c");
        picture.text({left + 1.5, 45.0}, "y", "#66707c");
        picture.text({left - 46.0, -46.0}, name, "#333333");
        for (const auto& [segment, colour] : {std::pair{&ball, "#2e5fa8"}, {&ring, "#c0392b"}}) {
            Glyph outlines;
            trelis::TraceBeamsEyeOutline(*segment, geometry, beam, 0.5, outlines, nobody);
            report(name + ", mm", outlines);
            for (auto& contour : outlines) {
                for (EdgePoint& p : contour) {
                    p.x += left;
                }
            }
            picture.contours(outlines, colour, 0.2);
        }
        left += 100.0;
    }
    return picture;
}

}  // namespace

/// Traces a plane of a segment, the isodose lines of a plan, and structures as beams see them. With
/// a folder as argument, writes what it found as pictures.
int main(int argc, char** argv) {
    const Picture tracing = drawTracing();
    const Picture isodoses = drawIsodoses();
    const Picture beams = drawBeamsEyeViews();
    if (argc > 1) {
        const std::string folder = argv[1];
        tracing.write(folder + "/tracing.svg");
        isodoses.write(folder + "/isodose.svg");
        beams.write(folder + "/beams_eye_outline.svg");
    }
    return 0;
}
