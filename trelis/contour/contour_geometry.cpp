#include <trelis/contour/contour_geometry.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>

#include <trelis/foundation/detail/platform.h>
#include <trelis/foundation/diagnostics.h>

namespace NEdgePointAlgorithms {

namespace {

/// Segments whose squared length is below this are points.
constexpr double kPointLengthSquared = 1e-16;

/// Edges up to this length, in the unit of the contour, are no edges.
constexpr double kZeroLength = 1e-6;

double lengthSquared(const EdgePoint& v) { return v.x * v.x + v.y * v.y; }

EdgePoint closestOnSegment(const EdgePoint& p, const EdgePoint& a, const EdgePoint& b) {
    const EdgePoint d = b - a;
    const double squared = lengthSquared(d);
    if (squared < kPointLengthSquared) {
        return a;
    }
    const EdgePoint toPoint = p - a;
    const double t = (d.x * toPoint.x + d.y * toPoint.y) / squared;
    if (t < 0.0) {
        return a;
    }
    return t >= 1.0 ? b : a + t * d;
}

/// The number of samples `spacing` apart, at least 2.
std::size_t sampleCount(double perimeter, double spacing) {
    const double count = perimeter / spacing + 0.5;
    if (!(count < std::numeric_limits<int>::max())) {
        Crash(L"offset error for contour resample");
    }
    return static_cast<std::size_t>(std::max(count, 2.0));
}

/// Writes `count` samples at equal distances along the contour, each at its own multiple of the
/// step, so that rounding can neither add up nor change their number.
void sampleAlong(const std::vector<EdgePoint>& contour, double perimeter, std::size_t count,
                 std::vector<EdgePoint>& samples) {
    samples.clear();
    samples.reserve(count);
    samples.push_back(contour.front());
    const double step = perimeter / static_cast<double>(count);
    double edgeStart = 0.0;
    for (std::size_t i = 0; i < contour.size(); ++i) {
        const EdgePoint& a = contour[i];
        const EdgePoint& b = i + 1 < contour.size() ? contour[i + 1] : contour.front();
        const double edgeLength = length(b - a);
        const double edgeEnd = edgeStart + edgeLength;
        while (edgeLength >= kZeroLength && samples.size() < count) {
            const double position = static_cast<double>(samples.size()) * step;
            if (position >= edgeEnd) {
                break;
            }
            const double t = std::clamp((position - edgeStart) / edgeLength, 0.0, 1.0);
            samples.push_back((1.0 - t) * a + t * b);
        }
        edgeStart = edgeEnd;
    }
    // Samples on short edges at the end, which lead back to the first point.
    samples.resize(count, contour.front());
}

}  // namespace

double length(const EdgePoint& v) { return std::sqrt(lengthSquared(v)); }

double length(const std::vector<EdgePoint>& c) {
    double sum = 0.0;
    for (std::size_t i = 1; i < c.size(); ++i) {
        sum += length(c[i] - c[i - 1]);
    }
    return sum;
}

double area(const std::vector<EdgePoint>& c) {
    double sum = 0.0;
    for (std::size_t i = 2; i < c.size(); ++i) {
        const EdgePoint v = c[i - 1] - c[0];
        const EdgePoint w = c[i] - c[0];
        sum += v.x * w.y - v.y * w.x;
    }
    return 0.5 * std::abs(sum);
}

EdgePoint rotate(const EdgePoint& p, double angle) {
    const double c = trelis::detail::cosine(angle);
    const double s = trelis::detail::sine(angle);
    return {p.x * c + p.y * s, p.y * c - p.x * s};
}

void closestPointOnLineSegment(const EdgePoint& p, const EdgePoint& a, const EdgePoint& b,
                               EdgePoint& out) {
    out = closestOnSegment(p, a, b);
}

void closestPointOnContour(const EdgePoint& p, const std::vector<EdgePoint>& c, EdgePoint& out) {
    if (c.empty()) {
        throw std::invalid_argument(
            "NEdgePointAlgorithms::closestPointOnContour: closestPointOnContour::contour is empty");
    }
    if (c.size() == 1) {
        out = c.front();
        return;
    }
    EdgePoint closest = closestOnSegment(p, c[0], c[1]);
    double closestSquared = lengthSquared(closest - p);
    const auto tryEdge = [&](const EdgePoint& a, const EdgePoint& b) {
        const EdgePoint candidate = closestOnSegment(p, a, b);
        const double squared = lengthSquared(candidate - p);
        if (squared < closestSquared) {
            closest = candidate;
            closestSquared = squared;
        }
    };
    for (std::size_t i = 1; i + 1 < c.size(); ++i) {
        tryEdge(c[i], c[i + 1]);
    }
    tryEdge(c.front(), c.back());
    out = closest;
}

void removeZeroLengthSegmentsFromContour(std::vector<EdgePoint>& c) {
    if (c.empty()) {
        return;
    }
    std::size_t last = 0;
    for (std::size_t i = 1; i < c.size(); ++i) {
        if (length(c[i] - c[last]) > kZeroLength) {
            c[++last] = c[i];
        }
    }
    const bool closesOnFirst = length(c[last] - c.front()) <= kZeroLength;
    c.resize(closesOnFirst ? last : last + 1);
}

void resampleLoopedContour(const std::vector<EdgePoint>& in, double spacing,
                           std::vector<EdgePoint>& out) {
    if (&in == &out) {
        resampleLoopedContour(std::vector<EdgePoint>(in), spacing, out);
        return;
    }
    const double perimeter = in.size() < 2 ? 0.0 : length(in) + length(in.front() - in.back());
    if (in.size() < 2 || spacing > perimeter) {
        out = in;
        return;
    }
    sampleAlong(in, perimeter, sampleCount(perimeter, spacing), out);
}

}  // namespace NEdgePointAlgorithms
