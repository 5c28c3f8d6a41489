#pragma once

#include <cmath>

#include <trelis/foundation/edge_point.h>

namespace NEdgePointAlgorithms::detail {

/// Whether the segments a1-a2 and b1-b2 meet by the rules of `intersectionPoint`; if so, they do at
/// a1 + t (a2 - a1). False for what is not a number or infinite.
inline bool segmentsMeet(const EdgePoint& a1, const EdgePoint& a2, const EdgePoint& b1,
                         const EdgePoint& b2, double& t) {
    constexpr double kParallelLimit = 1e-12;
    constexpr double kStart = -1e-13;
    constexpr double kEnd = 1.0000000000001;
    const EdgePoint da = a2 - a1;
    const EdgePoint db = b2 - b1;
    const double denominator = da.x * db.y - db.x * da.y;
    if (std::abs(denominator) < kParallelLimit) {
        return false;
    }
    t = ((a1.y - b1.y) * db.x - (a1.x - b1.x) * db.y) / denominator;
    const double u = ((a1.y - b1.y) * da.x - (a1.x - b1.x) * da.y) / denominator;
    return t >= kStart && t < kEnd && u >= kStart && u < kEnd;
}

}  // namespace NEdgePointAlgorithms::detail
