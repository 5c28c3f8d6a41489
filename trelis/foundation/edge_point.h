#pragma once

/// A point of a planar contour. The unit and the plane are those of the contour that holds it,
/// millimetres unless a function says otherwise.
struct EdgePoint {
    double x = 0.0;
    double y = 0.0;
};
