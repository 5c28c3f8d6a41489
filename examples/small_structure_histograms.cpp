#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>

#include <examples/support/analytic_solids.h>

namespace {

/// The values of a set of settings, and what a method makes of them.
struct Tally {
    int values = 0;
    int beyond = 0;
    double largest = 0.0;
    std::string list;
};

template <typename Histogram>
Tally tally(const analytic::Setting& setting, double shift, const Histogram& histogram) {
    Tally result;
    analytic::forEachError(
        setting, shift, histogram,
        [&](analytic::Solid solid, analytic::Gradient gradient, int value, double error) {
            ++result.values;
            result.largest = std::abs(error) > std::abs(result.largest) ? error : result.largest;
            if (!(std::abs(error) <= analytic::kTolerance)) {
                ++result.beyond;
                char line[100];
                std::snprintf(line, sizeof(line), "%g mm, %s, dose along %c: %s %+.1f %%\n",
                              setting.contours, analytic::kSolidNames[static_cast<int>(solid)],
                              gradient == analytic::Gradient::AlongZ ? 'z' : 'y',
                              analytic::kValueNames[value], error);
                result.list += line;
            }
        });
    return result;
}

/// Prints a row for each setting and one for all. Returns the values of the fine histograms that
/// are beyond.
template <std::size_t kCount>
std::string printRows(const analytic::Setting (&settings)[kCount], double shift) {
    Tally fixedSum;
    Tally fineSum;
    for (const analytic::Setting& setting : settings) {
        const Tally fixed = tally(setting, shift, analytic::fixedHistogram);
        const Tally fine = tally(setting, shift, [](const auto& dose, const auto& structure) {
            return analytic::fineHistogram(dose, structure);
        });
        std::printf("| %g | %g | %d | %d, %+.1f %% | %d, %+.1f %% |\n", setting.contours,
                    setting.dose, fixed.values, fixed.beyond, fixed.largest, fine.beyond,
                    fine.largest);
        fixedSum.values += fixed.values;
        fixedSum.beyond += fixed.beyond;
        fineSum.beyond += fine.beyond;
        fineSum.list += fine.list;
    }
    std::printf("| all | | %d | %d | %d |\n", fixedSum.values, fixedSum.beyond, fineSum.beyond);
    return fineSum.list;
}

/// How many values of the fine histograms are beyond, with coarse contours moved by tenths of their
/// spacing.
void printShifts() {
    std::printf("| shift | beyond |\n|---|---|\n");
    for (int tenths = 0; tenths < 10; ++tenths) {
        int beyond = 0;
        for (const analytic::Setting& setting : analytic::kCoarseContours) {
            beyond += tally(setting, tenths / 10.0, [](const auto& dose, const auto& structure) {
                          return analytic::fineHistogram(dose, structure);
                      }).beyond;
        }
        std::printf("| 0.%d | %d |\n", tenths, beyond);
    }
}

using Vector = MVectorTemplate<double>;

/// A ball in voxels of 1 x 1 x 1 mm, a stack of discs filled by covered area.
analytic::Structure ball(double radius, const Vector& centre) {
    constexpr int kSize = 20;
    constexpr int kLines = 16;
    NSegment::SegmentVolume segment(kSize, kSize, kSize, 1.0, 1.0, 1.0);
    for (int k = 0; k < kSize; ++k) {
        const double z = k + 0.5 - kSize / 2.0 - centre.z;
        for (int j = 0; j < kSize; ++j) {
            for (int i = 0; i < kSize; ++i) {
                const double x = i - kSize / 2.0 - centre.x;
                double covered = 0.0;
                for (int line = 0; line < kLines; ++line) {
                    const double y = j + (line + 0.5) / kLines - kSize / 2.0 - centre.y;
                    const double half = std::sqrt(std::max(0.0, radius * radius - y * y - z * z));
                    covered += std::max(0.0, std::min(half, x + 1.0) - std::max(-half, x));
                }
                segment.setPixel(i, j, k, NSegment::SegmentVolume::fromFloat(covered / kLines));
            }
        }
    }
    return {segment, {MMatrix(), kSize, kSize, kSize, 1.0, 1.0, 1.0}};
}

/// The largest errors of a method for balls at several places: of D99, D95, D5 and D1 in mm, as the
/// dose rises by 1 for each, and of the volume in per cent.
template <typename Histogram>
void printBall(double radius, const char* method, const Histogram& histogram) {
    static const QVolume<unsigned int> dose = analytic::obliqueDose();
    const double parts[] = {0.99, 0.95, 0.05, 0.01};
    double largest[5] = {};
    for (int place = 0; place < 8; ++place) {
        const auto offset = [&](double step) { return std::fmod(0.1 + step * place, 1.0); };
        const Vector centre(offset(0.37), offset(0.61), offset(0.23));
        const trelis::DvhData dvh = histogram(dose, ball(radius, centre));
        const double exactVolume = 4.0 / 3.0 * analytic::kPi * radius * radius * radius / 1000.0;
        for (int i = 0; i < 4; ++i) {
            // Lengths in units of the radius of the sphere with a closed formula.
            const double scale = analytic::kRadius / radius;
            const double volume = parts[i] * exactVolume * 1000.0 * scale * scale * scale;
            const double exact =
                (analytic::exactDose(analytic::Solid::Sphere, analytic::Gradient::AlongZ, volume) -
                 analytic::kMiddleDose) /
                scale;
            const double found = analytic::doseToVolume(dvh, parts[i] * dvh.volume) -
                                 analytic::kObliqueMiddle - analytic::kOblique.Dot(centre);
            largest[i] = std::max(largest[i], std::abs(found - exact));
        }
        largest[4] = std::max(largest[4], 100.0 * std::abs(dvh.volume / exactVolume - 1.0));
    }
    std::printf("| %g | %s | %.2f | %.2f | %.2f | %.2f | %.1f %% |\n", radius, method, largest[0],
                largest[1], largest[2], largest[3], largest[4]);
}

void printBalls() {
    for (const double radius : {1.0, 2.0, 3.0, 5.0}) {
        printBall(radius, "fixed", analytic::fixedHistogram);
        for (const double step : {1.0, 0.5, 0.25, 0.1}) {
            const std::string method = "fine, " + std::to_string(step).substr(0, 4) + " mm";
            printBall(radius, method.c_str(), [&](const auto& dose, const auto& structure) {
                return analytic::fineHistogram(dose, structure, {step, step});
            });
        }
    }
}

}  // namespace

int main() {
    std::printf(
        "Values more than 3 %% off, and the largest error:\n\n"
        "| contours, mm | dose, mm | values | fixed | fine |\n|---|---|---|---|---|\n");
    printRows(analytic::kFineContours, 0.0);
    const std::string list = printRows(analytic::kCoarseContours, 0.0);
    std::printf("\nThose of the fine histograms:\n\n%s", list.c_str());
    std::printf(
        "\nThe same with contours moved by half their spacing:\n\n"
        "| contours, mm | dose, mm | values | fixed | fine |\n|---|---|---|---|---|\n");
    printRows(analytic::kCoarseContours, 0.5);
    std::printf(
        "\nHow many of the fine histograms, with contours moved by parts of their spacing (of "
        "195):\n\n");
    printShifts();
    std::printf(
        "\nBalls in voxels of 1 mm, largest errors in mm of gradient:\n\n"
        "| radius, mm | method | D99 | D95 | D5 | D1 | V |\n|---|---|---|---|---|---|---|\n");
    printBalls();
}
