#include <trelis/dose/isodose.h>

#include <cmath>
#include <stdexcept>
#include <string>

#include <trelis/contour/tracing.h>

namespace trelis {

namespace {

bool isPositive(double value) { return value > 0.0 && std::isfinite(value); }

void require(bool condition, const char* otherwise) {
    if (!condition) {
        throw std::invalid_argument(std::string("trelis::TraceIsodose: ") + otherwise);
    }
}

/// The level in units of the grid, such that v >= it exactly where v * doseScale >= level.
double levelOfGrid(double level, double doseScale) {
    const double quotient = level / doseScale;
    const double nearest = std::round(quotient);
    if (!std::isfinite(nearest)) {
        return quotient;
    }
    return nearest * doseScale >= level ? std::fmin(quotient, nearest)
                                        : std::fmax(quotient, std::nextafter(nearest, HUGE_VAL));
}

}  // namespace

void TraceIsodose(const QVolume<unsigned int>& dose, double doseScale, int plane, double level,
                  Glyph& lines) {
    require(isPositive(doseScale), "the scale is not positive");
    require(!std::isnan(level), "the dose is NaN");
    require(plane >= 0 && plane < dose.GetZSize(), "plane out of range");
    require(dose.PixelsAllocated(), "the grid has no pixels");
    require(isPositive(dose.GetXResMM()) && isPositive(dose.GetYResMM()),
            "the voxel sizes are not positive");
    NEdgePointAlgorithms::TraceVolumePlane(dose, plane, levelOfGrid(level, doseScale), lines);
    for (auto& line : lines) {
        for (EdgePoint& p : line) {
            p = {(p.x + 0.5 - dose.GetXSize() / 2.0) * dose.GetXResMM(),
                 (p.y + 0.5 - dose.GetYSize() / 2.0) * dose.GetYResMM()};
        }
    }
}

}  // namespace trelis
