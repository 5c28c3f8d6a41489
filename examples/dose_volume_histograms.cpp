#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <trelis/trelis.h>

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

constexpr double kGyPerValue = 0.001;

struct Structure {
    const char* name;
    const char* colour;
    Vector centre;
    Vector semiAxes;
};

constexpr const char* kTargetColour = "#b3261e";
constexpr const char* kOrganColour = "#1f5fa8";

/// An ellipsoid with partial-volume edges.
SegmentVolume segmentOf(const Structure& structure, const FVoxelSpaceGeometry& grid) {
    SegmentVolume segment(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(),
                          grid.zres());
    for (int z = 0; z < grid.zsize(); ++z) {
        for (int y = 0; y < grid.ysize(); ++y) {
            for (int x = 0; x < grid.xsize(); ++x) {
                const Vector p = grid.VoxelToReal(Vector(x, y, z)) - structure.centre;
                const double radius =
                    std::hypot(p.x / structure.semiAxes.x, p.y / structure.semiAxes.y,
                               p.z / structure.semiAxes.z);
                const double depth = (1.0 - radius) * structure.semiAxes.x;
                segment.setPixel(x, y, z, SegmentVolume::fromFloat(0.5 + depth));
            }
        }
    }
    segment.compact();
    return segment;
}

/// The dose of a beam: full within its half width of an axis through the origin, with a penumbra.
QVolume<unsigned int> beamDose(double angle, double gy, const FVoxelSpaceGeometry& grid) {
    QVolume<unsigned int> dose(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(),
                               grid.zres());
    for (int z = 0; z < grid.zsize(); ++z) {
        for (int y = 0; y < grid.ysize(); ++y) {
            for (int x = 0; x < grid.xsize(); ++x) {
                const Vector p = grid.VoxelToReal(Vector(x, y, z));
                const double across = p.y * std::cos(angle) - p.x * std::sin(angle);
                const double along = p.x * std::cos(angle) + p.y * std::sin(angle);
                const auto edge = [](double distance) {
                    return 1.0 / (1.0 + std::exp((std::fabs(distance) - 24.0) / 1.5));
                };
                const double value = gy * std::exp(-0.004 * along) * edge(across) * edge(p.z);
                dose.SetPixel(x, y, z, static_cast<unsigned>(value / kGyPerValue));
            }
        }
    }
    return dose;
}

/// The lowest dose of the part of the volume that gets most, from a cumulative histogram.
double doseTo(const trelis::DvhData& cumulative, double percent) {
    return cumulative.FindThresholdVolume(cumulative.volume * percent / 100.0) *
           cumulative.binWidth;
}

void printRow(const char* name, const trelis::DvhData& dvh, const trelis::DvhData& cumulative) {
    std::printf("%-8s %6.1f %6.1f %6.2f %6.2f %6.2f %6.2f %6.2f %6.2f %6.2f %6.2f %6.1f\n", name,
                dvh.volume, 100.0 * dvh.doseCoverage, dvh.minDose, dvh.maxDose, dvh.meanDose,
                dvh.medianDose, doseTo(cumulative, 98), doseTo(cumulative, 95),
                doseTo(cumulative, 50), doseTo(cumulative, 2),
                100.0 * cumulative.GetInterpolatedValue(20.0) / cumulative.volume);
}

/// Cumulative curves, volume in per cent over dose in Gy.
class Plot {
  public:
    Plot(const std::string& path, double highestDose) : svg_(path), highestDose_(highestDose) {
        svg_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"640\" height=\"420\" "
                "viewBox=\"0 0 640 420\" font-family=\"sans-serif\" font-size=\"13\">\n"
                "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
        for (int percent = 0; percent <= 100; percent += 20) {
            line(0, percent, highestDose, percent);
            text(kLeft - 8, yOf(percent) + 4, "end", std::to_string(percent));
        }
        for (int gy = 0; gy <= highestDose; gy += 10) {
            line(gy, 0, gy, 100);
            text(xOf(gy), kTop + kHeight + 20, "middle", std::to_string(gy));
        }
        text(kLeft + kWidth / 2, 412, "middle", "dose, Gy");
        text(kLeft, 20, "start", "volume, %");
    }
    ~Plot() { svg_ << "</svg>\n"; }
    Plot(const Plot&) = delete;
    Plot& operator=(const Plot&) = delete;

    void curve(const Structure& structure, const trelis::DvhData& cumulative, int row) {
        svg_ << "<path fill=\"none\" stroke=\"" << structure.colour
             << "\" stroke-width=\"2\" d=\"M";
        for (double dose = 0.0; dose <= highestDose_; dose += highestDose_ / 400) {
            const double percent =
                100.0 * cumulative.GetInterpolatedValue(dose) / cumulative.bins.front();
            svg_ << ' ' << rounded(xOf(dose)) << ' ' << rounded(yOf(percent));
        }
        const double y = kTop + 24 + 20 * row;
        svg_ << "\"/>\n<path stroke=\"" << structure.colour << "\" stroke-width=\"2\" d=\"M480 "
             << y - 4 << "h24\"/>\n";
        text(510, y, "start", structure.name);
    }

  private:
    static constexpr double kLeft = 50;
    static constexpr double kTop = 34;
    static constexpr double kWidth = 570;
    static constexpr double kHeight = 340;

    static double rounded(double value) { return std::round(value * 10) / 10; }
    double xOf(double dose) const { return kLeft + kWidth * dose / highestDose_; }
    static double yOf(double percent) { return kTop + kHeight * (1 - percent / 100); }

    void line(double dose1, double percent1, double dose2, double percent2) {
        svg_ << "<path stroke=\"#d5dade\" d=\"M" << rounded(xOf(dose1)) << ' ' << yOf(percent1)
             << 'L' << rounded(xOf(dose2)) << ' ' << yOf(percent2) << "\"/>\n";
    }
    void text(double x, double y, const char* anchor, const std::string& content) {
        svg_ << "<text x=\"" << rounded(x) << "\" y=\"" << y << "\" text-anchor=\"" << anchor
             << "\" fill=\"#30373d\">" << content << "</text>\n";
    }

    std::ofstream svg_;
    double highestDose_;
};

}  // namespace

/// Sums the doses of three beams and prints the histogram statistics of a target and of an organ
/// beside it. With a folder as argument, draws the cumulative curves there.
int main(int argc, char** argv) {
    const Structure structures[] = {
        {"target", kTargetColour, Vector(0, 0, 0), Vector(20, 18, 16)},
        {"organ", kOrganColour, Vector(34, 12, 4), Vector(16, 20, 24)},
    };
    const FVoxelSpaceGeometry structureGrid(MMatrix(), 120, 80, 40, 1.0, 1.0, 2.0);
    const FVoxelSpaceGeometry doseGrid(MMatrix(), 60, 44, 36, 2.5, 2.5, 2.5);

    QVolume<unsigned int> total = beamDose(0.0, 20.0, doseGrid);
    for (const double angle : {2.1, 4.2}) {
        const QVolume<unsigned int> beam = beamDose(angle, 20.0, doseGrid);
        trelis::AddWithWeight(kGyPerValue, 0.0, MMatrix(), beam, kGyPerValue, 0, MMatrix(), total,
                              1.1);
    }

    std::printf("%-8s %6s %6s %6s %6s %6s %6s %6s %6s %6s %6s %6s\n", "", "cm3", "cover%", "min",
                "max", "mean", "median", "D98", "D95", "D50", "D2", "V20%");
    std::vector<trelis::DvhData> curves;
    QProgressReporterNull nobody;
    for (const Structure& structure : structures) {
        trelis::DvhData dvh;
        trelis::CalculateDoseVolumeHistogramAndStatistics(total, MMatrix(), kGyPerValue, 0,
                                                          segmentOf(structure, structureGrid),
                                                          structureGrid, 0.0, dvh, nobody);
        curves.push_back(dvh);
        curves.back().Cumulate();
        printRow(structure.name, dvh, curves.back());
    }
    if (argc > 1) {
        Plot plot(std::string(argv[1]) + "/dose_volume_histograms.svg", 70.0);
        for (std::size_t i = 0; i < curves.size(); ++i) {
            plot.curve(structures[i], curves[i], static_cast<int>(i));
        }
    }
    return 0;
}
