#include <trelis/volume_image/detail/output_planes.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <trelis/foundation/epsilon.h>
#include <trelis/volume_image/detail/slice_validation.h>

namespace trelis::VolumeImage::detail {

namespace {

using Planes = std::vector<double>;

/// The smallest separation, in roundings of a plane distance. Each step is rounded; finer ones
/// would lie at a separation of their own.
constexpr double kRoundingsPerStep = 1024.0;

/// Of the planes from `nearby` on that come nearer and nearer to d, the last.
std::size_t nearestFrom(const Planes& planes, std::size_t nearby, double d) {
    while (nearby + 1 < planes.size() &&
           std::abs(d - planes[nearby + 1]) < std::abs(d - planes[nearby])) {
        ++nearby;
    }
    return nearby;
}

}  // namespace

bool isUsableSeparation(const Planes& inputPlanes, double separation) {
    const double first = inputPlanes.front();
    const double last = inputPlanes.back();
    const double precision = kRoundingsPerStep * std::numeric_limits<double>::epsilon() *
                             (std::max(std::abs(first), std::abs(last)) + kPlaneTolerance);
    // A comparison with a NaN is false.
    return separation > precision && separation < std::numeric_limits<double>::infinity() &&
           (last - first + 2.0 * kPlaneTolerance) / separation <
               std::numeric_limits<int>::max() - 1.0;
}

double firstOutputPlaneDistance(const Planes& inputPlanes, double binding, double separation) {
    const double first = inputPlanes.front();
    double result = 0.0;
    for (double d = binding; d > first || EpsilonEqual(d, first, kPlaneTolerance);
         d -= separation) {
        result = d;
    }
    return result;
}

void forEachOutputPlane(const Planes& inputPlanes, double firstOutputPlane, double separation,
                        const std::function<void(const OutputPlane&)>& visit) {
    const double last = inputPlanes.back();
    std::size_t upper = 0;
    for (double d = firstOutputPlane; d < last || EpsilonEqual(d, last, kPlaneTolerance);
         d += separation) {
        // The last plane ends this: it is not more than the tolerance below d.
        while (d - inputPlanes[upper] > kPlaneTolerance) {
            ++upper;
        }
        // A plane exactly the tolerance away is an upper neighbour, not a copy: intended.
        if (std::abs(d - inputPlanes[upper]) >= kPlaneTolerance) {
            visit({d, true, upper == 0 ? 0 : upper - 1, upper});
        } else {
            const std::size_t nearest = nearestFrom(inputPlanes, upper, d);
            visit({d, false, nearest, nearest});
        }
    }
}

bool isNearInputPlane(const Planes& inputPlanes, double distance) {
    const auto candidate = std::partition_point(
        inputPlanes.begin(), inputPlanes.end(),
        [distance](double plane) { return distance - plane >= kPlaneTolerance; });
    return candidate != inputPlanes.end() && *candidate - distance < kPlaneTolerance;
}

}  // namespace trelis::VolumeImage::detail
