#include <cmath>
#include <numbers>
#include <string>

#include <apps/trelis/phantom/phantom_beams.h>
#include <apps/trelis/phantom/phantom_design.h>

namespace app {
namespace {

/// 10 pairs of 10 mm, 40 of 5 mm and 10 of 10 mm.
std::vector<double> leafBoundaries() {
    std::vector<double> boundaries;
    for (double edge = -200.0; edge <= 200.0; edge += edge >= -100.0 && edge < 100.0 ? 5.0 : 10.0) {
        boundaries.push_back(edge);
    }
    return boundaries;
}

/// Leaves and jaws around the projection of the target, a sphere of radius r around the isocentre:
/// its shadow in the plane of the isocentre is a circle of r d / sqrt(d^2 - r^2) for a source-axis
/// distance of d. Leaves touch the widened circle in the middle of their width.
void shape(Beam& beam) {
    constexpr double kMargin = 5.0;  // mm
    const double distance = beam.geometry.sourceAxisDistance;
    const double sphere = targetOfPhantom().halfSize.x;
    const double shadow = sphere * distance / std::sqrt(distance * distance - sphere * sphere);
    const double radius = std::round((shadow + kMargin) * 100.0) / 100.0;
    beam.plannedJaws = {-radius, radius, -radius, radius};
    beam.leafBoundaries = leafBoundaries();
    for (std::size_t pair = 0; pair + 1 < beam.leafBoundaries.size(); ++pair) {
        const double middle = 0.5 * (beam.leafBoundaries[pair] + beam.leafBoundaries[pair + 1]);
        const double halfOpening = std::sqrt(std::fmax(0.0, radius * radius - middle * middle));
        beam.plannedRight.push_back(std::round(halfOpening * 100.0) / 100.0);
        beam.plannedLeft.push_back(-beam.plannedRight.back());
    }
}

Beam beamOf(int number, const std::string& name, double gantry, double collimator, double couch) {
    constexpr double kDegree = std::numbers::pi / 180.0;
    Beam beam;
    beam.number = number;
    beam.name = name;
    beam.geometry.gantryAngle = gantry * kDegree;
    beam.geometry.collimatorAngle = collimator * kDegree;
    beam.geometry.couchAngle = couch * kDegree;
    beam.geometry.isocentre = targetOfPhantom().centre;
    shape(beam);
    return beam;
}

}  // namespace

std::vector<Beam> beamsOfPhantom() {
    return {beamOf(1, "Anterior", 0.0, 0.0, 0.0), beamOf(2, "Left", 90.0, 30.0, 0.0),
            beamOf(3, "Right posterior", 225.0, 345.0, 20.0)};
}

}  // namespace app
