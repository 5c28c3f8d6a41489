#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include <trelis/contour/contour_geometry.h>

#include <apps/trelis/dicom/contour_overlaps.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

using Contour = std::vector<Vector>;
using Points = std::vector<std::array<double, 3>>;

constexpr double kTolerance = 0.05;  // mm
constexpr std::size_t kSamples = 256;

/// The points from the lowest one on, in the direction of its lower neighbour.
Points inFixedOrder(const Contour& contour) {
    Points points;
    points.reserve(contour.size());
    for (const Vector& p : contour) {
        points.push_back({p.x, p.y, p.z});
    }
    std::rotate(points.begin(), std::min_element(points.begin(), points.end()), points.end());
    if (points.back() < points[1]) {
        std::reverse(points.begin() + 1, points.end());
    }
    return points;
}

struct Outline {
    std::vector<EdgePoint> points;
    double height = 0.0;
    EdgePoint low;
    EdgePoint high;
};

/// At right angles to the contour; zero where it encloses nothing.
Vector normalOf(const Contour& contour) {
    Vector sum;
    for (std::size_t i = 2; i < contour.size(); ++i) {
        sum += (contour[i - 1] - contour[0]).Cross(contour[i] - contour[0]);
    }
    return sum.Length() > 0.0 ? sum.Normalized() : sum;
}

/// Along the normal and two directions across it.
Outline flatten(const Contour& contour, const Vector& normal) {
    const Vector across =
        normal.Cross(std::abs(normal.x) < 0.5 ? Vector::P_X : Vector::P_Y).Normalized();
    const Vector other = normal.Cross(across);
    Outline outline;
    for (const Vector& p : contour) {
        outline.points.emplace_back(p.Dot(across), p.Dot(other));
    }
    outline.height = contour.front().Dot(normal);
    outline.low = outline.high = outline.points.front();
    for (const EdgePoint& p : outline.points) {
        outline.low = {std::min(outline.low.x, p.x), std::min(outline.low.y, p.y)};
        outline.high = {std::max(outline.high.x, p.x), std::max(outline.high.y, p.y)};
    }
    return outline;
}

/// From the lowest to the highest; of one structure all are parallel.
std::vector<Outline> flattened(const std::vector<Contour>& contours) {
    Vector normal;
    for (std::size_t i = 0; i < contours.size() && normal.Length() == 0.0; ++i) {
        normal = normalOf(contours[i]);
    }
    std::vector<Outline> outlines;
    if (normal.Length() > 0.0) {
        for (const Contour& contour : contours) {
            outlines.push_back(flatten(contour, normal));
        }
    }
    std::sort(outlines.begin(), outlines.end(),
              [](const Outline& a, const Outline& b) { return a.height < b.height; });
    return outlines;
}

bool haveCommonBox(const Outline& a, const Outline& b) {
    return a.low.x < b.high.x && b.low.x < a.high.x && a.low.y < b.high.y && b.low.y < a.high.y;
}

std::vector<EdgePoint> backToStart(std::vector<EdgePoint> points) {
    points.push_back(points.front());
    return points;
}

bool meet(const Outline& a, const Outline& b) {
    return NEdgePointAlgorithms::areContoursIntersecting(a.points, backToStart(b.points));
}

/// Whether the first outline, which meets the second, is on both sides of it.
bool liesOnBothSides(const Outline& outline, const Outline& other) {
    std::vector<EdgePoint> samples;
    NEdgePointAlgorithms::resampleLoopedContour(
        outline.points,
        NEdgePointAlgorithms::length(backToStart(outline.points)) / static_cast<double>(kSamples),
        samples);
    bool isOnSide[] = {false, false};
    for (const EdgePoint& p : samples) {
        EdgePoint nearest;
        NEdgePointAlgorithms::closestPointOnContour(p, other.points, nearest);
        if (NEdgePointAlgorithms::length(p - nearest) > kTolerance) {
            isOnSide[NEdgePointAlgorithms::isInside(p, other.points) ? 1 : 0] = true;
        }
    }
    return isOnSide[0] && isOnSide[1];
}

}  // namespace

std::size_t removeRepeatedContours(std::vector<Contour>& contours) {
    std::set<Points> known;
    return std::erase_if(contours, [&](const Contour& contour) {
        return !known.insert(inFixedOrder(contour)).second;
    });
}

bool CrossingSearch::spend(std::size_t points) {
    isCutShort_ = isCutShort_ || points > remaining_;
    remaining_ -= isCutShort_ ? 0 : points;
    return !isCutShort_;
}

bool CrossingSearch::finds(const std::vector<Contour>& contours) {
    const std::vector<Outline> outlines = flattened(contours);
    for (std::size_t i = 0; i < outlines.size(); ++i) {
        stopIfInterrupted();
        const Outline& a = outlines[i];
        for (std::size_t j = i + 1; j < outlines.size(); ++j) {
            const Outline& b = outlines[j];
            if (b.height - a.height > kTolerance || !spend(1)) {
                break;
            }
            if (haveCommonBox(a, b) && spend(a.points.size() + b.points.size()) && meet(a, b) &&
                spend(kSamples * b.points.size()) && liesOnBothSides(a, b)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace app
