#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include <trelis/trelis.h>

namespace {

using NSegment::SegmentVolume;
using PatientContours = std::vector<std::vector<MVectorTemplate<double>>>;

std::vector<EdgePoint> wave(double x, double y, double radius, double depth, int waves) {
    std::vector<EdgePoint> points;
    for (int i = 0; i < 120; ++i) {
        const double angle = 2 * std::numbers::pi * i / 120;
        const double reach = radius + depth * std::sin(waves * angle);
        points.emplace_back(x + reach * std::cos(angle), y + reach * std::sin(angle));
    }
    return points;
}

/// An outline with a hole, an island in it, and a sliver.
Glyph drawing() {
    return {wave(17.3, 13.6, 11.0, 1.2, 5),
            wave(18.0, 14.0, 6.0, 0.0, 1),
            wave(19.2, 14.4, 2.2, 0.3, 3),
            {{29.0, 2.2}, {33.5, 24.6}, {33.8, 24.6}}};
}

/// A picture in voxels, each of them `scale` points wide; voxel (x, y) covers [x, x+1) x [y, y+1).
class Picture {
  public:
    Picture(const std::string& path, int width, int height, int scale) : svg_(path) {
        svg_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width * scale
             << "\" height=\"" << height * scale << "\" viewBox=\"0 0 " << width << ' ' << height
             << "\">\n<rect width=\"100%\" height=\"100%\" fill=\"#f4f6f8\"/>\n";
    }
    ~Picture() { svg_ << "</svg>\n"; }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    void square(double x, double y, const char* colour, double opacity) {
        svg_ << "<rect x=\"" << x << "\" y=\"" << y
             << "\" width=\"1\" height=\"1\" shape-rendering=\"crispEdges\" fill=\"" << colour
             << "\" fill-opacity=\"" << std::round(opacity * 1000) / 1000 << "\"/>\n";
    }
    void contour(const std::vector<EdgePoint>& points, double shiftX, double shiftY) {
        svg_ << "<path fill=\"none\" stroke=\"#b3261e\" stroke-width=\"0.15\" d=\"M";
        for (const EdgePoint& p : points) {
            svg_ << ' ' << std::round((p.x + shiftX) * 100) / 100 << ' '
                 << std::round((p.y + shiftY) * 100) / 100;
        }
        svg_ << " Z\"/>\n";
    }

  private:
    std::ofstream svg_;
};

void drawScanConversion(const std::string& path, const Glyph& glyph, const SegmentVolume& segment) {
    Picture picture(path, segment.xsize(), segment.ysize(), 16);
    for (int y = 0; y < segment.ysize(); ++y) {
        for (int x = 0; x < segment.xsize(); ++x) {
            if (segment.pixel(x, y, 0) > 0) {
                picture.square(x, y, "#1f5fa8", segment.pixel(x, y, 0) / 255.0);
            }
        }
    }
    for (const auto& contour : glyph) {
        picture.contour(contour, 0.5, 0.5);
    }
}

/// Six planes of a stack side by side, with the contours of those that have any.
void drawStack(const std::string& path, const SegmentVolume& segment,
               const std::vector<Glyph>& planes) {
    Picture picture(path, 3 * segment.xsize(), 2 * segment.ysize(), 8);
    for (int z = 0; z < 6; ++z) {
        const int left = z % 3 * segment.xsize();
        const int top = z / 3 * segment.ysize();
        for (int y = 0; y < segment.ysize(); ++y) {
            for (int x = 0; x < segment.xsize(); ++x) {
                if (segment.pixel(x, y, z) > 0) {
                    picture.square(left + x, top + y, "#1f5fa8", segment.pixel(x, y, z) / 255.0);
                }
            }
        }
        for (const auto& contour : planes[static_cast<std::size_t>(z)]) {
            picture.contour(contour, left + 0.5, top + 0.5);
        }
    }
}

/// Bands of 2 mm: blue outside, orange inside.
void drawDistances(const std::string& path, const QVolume<float>& distances) {
    Picture picture(path, distances.GetXSize(), distances.GetYSize(), 16);
    for (int y = 0; y < distances.GetYSize(); ++y) {
        for (int x = 0; x < distances.GetXSize(); ++x) {
            const float distance = distances.GetPixel(x, y, 0);
            const double band = std::floor(std::fabs(static_cast<double>(distance)) / 2.0);
            picture.square(x, y, distance < 0 ? "#d98324" : "#1f5fa8",
                           std::max(0.08, 0.9 - 0.16 * band));
        }
    }
}

}  // namespace

/// Turns contours into segments and measures distances from them. With a folder as argument, writes
/// pictures of the results.
int main(int argc, char** argv) {
    QProgressReporterNull nobody;

    const Glyph glyph = drawing();
    SegmentVolume plane(36, 28, 1, 1.0, 1.0, 1.0);
    NSegmentAlgorithms::ScanConvertGlyph(glyph, 0, plane);
    double covered = 0.0;
    for (int i = 0; i < 36 * 28; ++i) {
        covered += plane.pixel(i % 36, i / 36, 0) / 255.0;
    }
    const auto area = [&](std::size_t i) { return NEdgePointAlgorithms::area(glyph[i]); };
    std::printf("scan conversion: polygons %.2f mm2, voxels %.2f mm2\n",
                area(0) - area(1) + area(2) + area(3), covered);

    // Contours in planes 0, 2 and 5; planes 1, 3 and 4 are missing, and one part ends early.
    const FVoxelSpaceGeometry grid(MMatrix(), 36, 28, 6, 1.0, 1.0, 3.0);
    std::vector<Glyph> drawn(6);
    drawn[0] = {wave(12, 13, 8, 2, 3), wave(29, 14, 3, 0, 1)};
    drawn[2] = {wave(15, 14, 9, 1, 4)};
    drawn[5] = {wave(12, 9, 4, 0, 1), wave(22, 18, 5, 1, 3)};
    PatientContours contours;
    for (int z = 0; z < 6; ++z) {
        for (const auto& contour : drawn[static_cast<std::size_t>(z)]) {
            contours.emplace_back();
            for (const EdgePoint& p : contour) {
                contours.back().push_back(grid.VoxelToReal({p.x, p.y, static_cast<double>(z)}));
            }
        }
    }
    SegmentVolume stack(1, 1, 1, 1.0, 1.0, 1.0);
    NSegmentAlgorithms::ContourStackOptions options;
    options.planeSpacing = 3.0;
    NSegmentAlgorithms::ConvertContourStack(contours, grid, options, stack, nobody);
    std::printf("contour stack: %.2f cm3\n",
                plexa::CalculateVolumeWithSubVoxelModeling(stack, nobody) / 1000.0);

    QVolume<float> distances;
    NSegmentAlgorithms::SignedDistanceTransform3d(plane, std::numeric_limits<double>::infinity(),
                                                  distances, nobody);
    std::printf("distance of the corner: %.3f mm, of the middle of the ring: %.3f mm\n",
                static_cast<double>(distances.GetPixel(0, 0, 0)),
                static_cast<double>(distances.GetPixel(9, 14, 0)));

    if (argc > 1) {
        const std::string folder = argv[1];
        drawScanConversion(folder + "/scan_conversion.svg", glyph, plane);
        drawStack(folder + "/contour_stack.svg", stack, drawn);
        drawDistances(folder + "/distance_transform.svg", distances);
    }
    return 0;
}
