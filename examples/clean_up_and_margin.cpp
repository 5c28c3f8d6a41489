#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

#include <trelis/trelis.h>

namespace {

using NSegment::SegmentVolume;

/// A target of 30 mm with a soft edge and a hole, and specks around it.
SegmentVolume targetWithSpecks() {
    SegmentVolume s(96, 80, 24, 1.0, 1.0, 2.5);
    const auto paint = [&s](double cx, double cy, double cz, double radius, bool add) {
        for (int z = 0; z < s.zsize(); ++z) {
            for (int y = 0; y < s.ysize(); ++y) {
                for (int x = 0; x < s.xsize(); ++x) {
                    const double distance =
                        std::hypot(x * s.xres() - cx, y * s.yres() - cy, z * s.zres() - cz);
                    const int value = SegmentVolume::fromFloat(0.5 + (radius - distance) / 2.0);
                    if (value > 0) {
                        s.setPixel(x, y, z,
                                   add ? std::max(value, s.pixel(x, y, z))
                                       : std::min(255 - value, s.pixel(x, y, z)));
                    }
                }
            }
        }
    };
    paint(46, 40, 30, 15, true);
    paint(53, 42, 30, 5, false);
    for (int speck = 0; speck < 12; ++speck) {
        const double angle = 0.52 * speck;
        paint(46 + 38 * std::cos(angle), 40 + 35 * std::sin(angle), 30, 1.5 + 0.2 * speck, true);
    }
    s.compact();
    return s;
}

/// Plane z as a picture: inside voxels blue, partly covered ones below the threshold orange.
void writeSvg(const std::string& path, const SegmentVolume& s, int z) {
    constexpr int kScale = 6;
    std::ofstream svg(path);
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << s.xsize() * kScale
        << "\" height=\"" << s.ysize() * kScale << "\" viewBox=\"0 0 " << s.xsize() << ' '
        << s.ysize() << "\" shape-rendering=\"crispEdges\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#f4f6f8\"/>\n";
    for (int y = 0; y < s.ysize(); ++y) {
        int x = 0;
        while (x < s.xsize()) {
            const int value = s.pixel(x, y, z);
            int run = 1;
            while (x + run < s.xsize() && s.pixel(x + run, y, z) == value) {
                ++run;
            }
            if (value > 0) {
                svg << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << run
                    << "\" height=\"1\" fill=\"" << (value >= 128 ? "#1f5fa8" : "#d98324")
                    << "\" fill-opacity=\"" << value / 255.0 << "\"/>\n";
            }
            x += run;
        }
    }
    svg << "</svg>\n";
}

}  // namespace

/// Removes the specks round a target, closes its hole and grows it by 6 mm (9 mm along z). With a
/// folder as argument, writes its middle plane before and after as pictures.
int main(int argc, char** argv) {
    QProgressReporterNull nobody;
    const auto report = [&](const char* step, const SegmentVolume& s) {
        std::printf("%-22s %6.2f cm3\n", step,
                    plexa::CalculateVolumeWithSubVoxelModeling(s, nobody) / 1000.0);
    };
    const SegmentVolume original = targetWithSpecks();
    report("as drawn", original);

    SegmentVolume cleaned = original;
    NSegmentAlgorithms::RemoveSmallSegments3d(1000.0, cleaned);
    report("without small pieces", cleaned);
    NSegmentAlgorithms::Connect3d(cleaned, 12.0, nobody);
    report("hole closed", cleaned);

    SegmentVolume grown = cleaned;
    NSegmentAlgorithms::Margin(cleaned, 6, 6, 9, 6, 6, 9, grown, nobody);
    report("grown by 6, 6, 9 mm", grown);

    if (argc > 1) {
        const std::string folder = argv[1];
        writeSvg(folder + "/clean_up_before.svg", original, 12);
        writeSvg(folder + "/clean_up_after.svg", grown, 12);
    }
    return 0;
}
