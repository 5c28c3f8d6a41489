#pragma once

#include <limits>

#include <trelis/foundation/undefined.h>

namespace NControlPoint {

/// The jaw positions of one control point in millimetres: X1 and Y1 the lower, X2 and Y2 the upper
/// coordinate. A jaw that is not defined is a NaN, as all are at first.
struct Collimator {
    double X1 = trelis::Undefined<double>::value;
    double X2 = trelis::Undefined<double>::value;
    double Y1 = trelis::Undefined<double>::value;
    double Y2 = trelis::Undefined<double>::value;
};

/// Where one jaw may stand, in millimetres; at first anywhere.
struct JawLimits {
    double lowest = -std::numeric_limits<double>::infinity();
    double highest = std::numeric_limits<double>::infinity();
};

/// The operating limits of the four jaws.
struct CollimatorLimits {
    JawLimits X1;
    JawLimits X2;
    JawLimits Y1;
    JawLimits Y2;
};

}  // namespace NControlPoint
