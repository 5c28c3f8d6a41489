#pragma once

#include <cmath>

/// A point or vector in a plane. The unit and the plane are those of the contour that holds it,
/// millimetres in patient planes, voxel indices in mask planes.
struct EdgePoint {
    double x = 0.0;
    double y = 0.0;

    constexpr EdgePoint() = default;
    constexpr EdgePoint(double xCoordinate, double yCoordinate) : x(xCoordinate), y(yCoordinate) {}
};

/// True when both coordinates differ by less than 1e-8, whatever their size; `!=` is its negation.
inline bool operator==(const EdgePoint& a, const EdgePoint& b) {
    constexpr double kTolerance = 1e-8;
    return std::abs(a.x - b.x) < kTolerance && std::abs(a.y - b.y) < kTolerance;
}

constexpr EdgePoint operator+(const EdgePoint& a, const EdgePoint& b) {
    return {a.x + b.x, a.y + b.y};
}

constexpr EdgePoint operator-(const EdgePoint& a, const EdgePoint& b) {
    return {a.x - b.x, a.y - b.y};
}

constexpr EdgePoint operator*(double factor, const EdgePoint& p) {
    return {factor * p.x, factor * p.y};
}

constexpr EdgePoint operator*(const EdgePoint& p, double factor) { return factor * p; }
