#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include <apps/trelis/phantom/phantom.h>
#include <apps/trelis/phantom/phantom_design.h>

namespace app {
namespace {

constexpr double kPi = std::numbers::pi;

/// Of a body with half sizes a, b and c, in mm3: the box 8 a b c, the cylinder 2 pi a b c, the
/// ellipsoid 4/3 pi a b c.
double volumeOf(const Body& body) {
    const double product = body.halfSize.x * body.halfSize.y * body.halfSize.z;
    switch (body.form) {
        case Body::Form::Box:
            return 8.0 * product;
        case Body::Form::Cylinder:
            return 2.0 * kPi * product;
        case Body::Form::Ellipsoid:
            break;
    }
    return 4.0 / 3.0 * kPi * product;
}

/// The part of a body before the plane at y. With u = (y - centre) / b, from -1 to 1, it is of
///  - the box (1 + u) / 2,
///  - the cylinder, whose cross-section is cut into circular segments (stretched to the ellipse),
///    1/2 + (u sqrt(1 - u^2) + asin u) / pi,
///  - the ellipsoid, cut into spherical caps (stretched), (1 + u)^2 (2 - u) / 4.
double fractionBefore(const Body& body, double y) {
    const double u = std::clamp((y - body.centre.y) / body.halfSize.y, -1.0, 1.0);
    switch (body.form) {
        case Body::Form::Box:
            return 0.5 * (1.0 + u);
        case Body::Form::Cylinder:
            return 0.5 + (u * std::sqrt(1.0 - u * u) + std::asin(u)) / kPi;
        case Body::Form::Ellipsoid:
            break;
    }
    return 0.25 * (1.0 + u) * (1.0 + u) * (2.0 - u);
}

/// In mm3; what is before the plane at y, holes left out.
double volumeBefore(const Solid& solid, double y) {
    double volume = 0.0;
    for (const Body& body : solid.bodies) {
        volume += (body.isHole ? -1.0 : 1.0) * volumeOf(body) * fractionBefore(body, y);
    }
    return volume;
}

}  // namespace

std::vector<PhantomSolid> phantomSolids() {
    constexpr double kMm3PerCm3 = 1000.0;
    constexpr double kBeyondAll = kFieldWidth;
    std::vector<PhantomSolid> result;
    for (const Solid& solid : solidsOfPhantom()) {
        const double volume = volumeBefore(solid, kBeyondAll);
        // The dose falls with y: at least D is received up to y = (D(0) - D) / falloff.
        auto volumeAtDose = [&solid, volume](double dose) {
            return volumeBefore(solid, (kDoseSum.atOrigin - dose) / kDoseSum.falloff) / volume;
        };
        result.push_back({solid.name, volume / kMm3PerCm3, std::move(volumeAtDose)});
    }
    return result;
}

}  // namespace app
