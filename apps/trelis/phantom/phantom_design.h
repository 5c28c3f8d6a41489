#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <apps/trelis/study/study.h>

/// What the phantom consists of, in patient coordinates and millimetres.
namespace app {

/// The middle of the images' field is the origin.
constexpr double kFieldWidth = 384.0;   ///< along x and y
constexpr double kFieldLength = 180.0;  ///< along z

/// What a plane across z cuts out of a body.
struct Section {
    bool round;  ///< an ellipse, else a rectangle
    double x;
    double y;
    double halfWidth;   ///< along x
    double halfHeight;  ///< along y

    /// Half the length of the line at a y that is in the section; below 0 where none is.
    double halfChord(double atY) const;
};

/// A box, a cylinder along z or an ellipsoid, all within `halfSize` of the centre.
struct Body {
    enum class Form { Box, Cylinder, Ellipsoid };

    Form form;
    Vector centre;
    Vector halfSize;
    int hounsfield;
    /// Taken out of the body that is listed before.
    bool isHole = false;

    std::optional<Section> section(double z) const;
};

/// What becomes a structure: bodies that do not overlap, with holes.
struct Solid {
    std::string name;
    std::string type;
    Colour colour;
    std::vector<Body> bodies;
    /// Whether the contours in the plane in its middle are missing.
    bool planeIsMissing = false;
};

/// In the order in which they are painted. Faces of boxes lie between the voxels of images of the
/// default size; cylinders and boxes end where, for numbers of planes that are multiples of 10, the
/// images' planes stand for whole lengths.
const std::vector<Solid>& solidsOfPhantom();

/// The body that is irradiated; its centre is the isocentre.
const Body& targetOfPhantom();

/// A dose of `atOrigin` - `falloff` y, in Gy.
struct LinearDose {
    double atOrigin;
    double falloff;

    double at(double y) const { return atOrigin - falloff * y; }
};

constexpr LinearDose kFirstDose{14.0, 0.1};
constexpr LinearDose kSecondDose{26.0, 0.2};
constexpr LinearDose kDoseSum{kFirstDose.atOrigin + kSecondDose.atOrigin,
                              kFirstDose.falloff + kSecondDose.falloff};

}  // namespace app
