#pragma once

#include <string>

#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {

/// A beam as its source sees it, in the plane through the isocentre: the target with fitted leaves
/// and corrected jaws, and beside them what the plan has. A unit of the SVG is a millimetre, its x
/// that of the beam frame and its y the opposite. `number` makes its ids unique in the page.
Markup beamFigure(const EvaluatedBeam& fitted, const Colour& targetColour, int number);

/// Degrees with one digit, from radians.
std::string degreesText(double radians);

}  // namespace app::report
