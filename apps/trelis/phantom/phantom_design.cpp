#include <cmath>

#include <apps/trelis/phantom/phantom_design.h>

namespace app {
namespace {

constexpr int kFat = -100;
constexpr int kWater = 0;
constexpr int kLung = -700;
constexpr int kSoftTissue = 40;
constexpr int kBone = 800;

std::vector<Solid> makeSolids() {
    using Form = Body::Form;
    return {
        {"BODY",
         "EXTERNAL",
         {0, 160, 80},
         {{Form::Cylinder, {0.0, 0.0, 0.0}, {160.0, 110.0, 72.0}, kWater}}},
        {"Lungs",
         "ORGAN",
         {60, 140, 230},
         {{Form::Box, {100.5, 6.0, 9.0}, {25.5, 45.0, 45.0}, kLung},
          {Form::Box, {-100.5, -6.0, -9.0}, {25.5, 45.0, 45.0}, kLung}}},
        {"Röhre <1> & Co",
         "ORGAN",
         {240, 170, 40},
         {{Form::Cylinder, {0.0, 70.0, 0.0}, {20.0, 20.0, 54.0}, kBone},
          {Form::Cylinder, {0.0, 70.0, 0.0}, {10.0, 10.0, 54.0}, kSoftTissue, true}}},
        {"Bladder",
         "ORGAN",
         {170, 110, 220},
         {{Form::Cylinder, {-40.0, -40.0, -18.0}, {25.0, 25.0, 36.0}, kWater + 10}},
         true},
        {"Shield",
         "AVOIDANCE",
         {150, 110, 70},
         {{Form::Box, {52.5, -30.0, 18.0}, {16.5, 36.0, 36.0}, kFat}}},
        {"PTV",
         "PTV",
         {220, 40, 40},
         {{Form::Ellipsoid, {25.0, -30.0, 18.0}, {30.0, 30.0, 30.0}, kSoftTissue}}},
    };
}

}  // namespace

double Section::halfChord(double atY) const {
    const double offset = (atY - y) / halfHeight;
    if (std::abs(offset) > 1.0) {
        return -1.0;
    }
    return round ? halfWidth * std::sqrt(1.0 - offset * offset) : halfWidth;
}

std::optional<Section> Body::section(double z) const {
    const double offset = (z - centre.z) / halfSize.z;
    if (std::abs(offset) >= 1.0) {
        return std::nullopt;
    }
    const double shrinkage = form == Form::Ellipsoid ? std::sqrt(1.0 - offset * offset) : 1.0;
    return Section{form != Form::Box, centre.x, centre.y, halfSize.x * shrinkage,
                   halfSize.y * shrinkage};
}

const std::vector<Solid>& solidsOfPhantom() {
    static const std::vector<Solid> solids = makeSolids();
    return solids;
}

const Body& targetOfPhantom() { return solidsOfPhantom().back().bodies.front(); }

}  // namespace app
