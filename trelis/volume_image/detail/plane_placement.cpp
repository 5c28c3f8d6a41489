#include <trelis/volume_image/detail/plane_placement.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <trelis/foundation/detail/parallel.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/volume_image/detail/slice_validation.h>

namespace trelis::VolumeImage::detail {

namespace {

using PlaneSetup = ImageCreator::PlaneSetup;
using Planes = std::vector<double>;

/// Looks for the input plane at an output plane. Output planes are asked for in ascending or
/// descending order, so that each search goes on where the last one ended.
class PlaneSearch {
  public:
    PlaneSearch(const Planes& planes, std::size_t start)
        : first_(planes.data()), last_(first_ + planes.size() - 1), next_(first_ + start) {}

    /// Where several planes are near enough: the highest of them if d is as near to the last plane
    /// as to the first or nearer, else the lowest. Null without any.
    const double* find(double d) {
        while (next_ != first_ && d - next_[-1] < kPlaneTolerance) {
            --next_;
        }
        while (next_ != last_ && d - *next_ >= kPlaneTolerance) {
            ++next_;
        }
        if (std::abs(d - *next_) >= kPlaneTolerance) {
            return nullptr;
        }
        const double* found = next_;
        if (*last_ - d <= d - *first_) {
            while (found != last_ && found[1] - d < kPlaneTolerance) {
                ++found;
            }
        }
        return found;
    }

  private:
    const double* first_;
    const double* last_;

    /// The lowest plane that is not the tolerance or more below the output plane; the last plane if
    /// all are.
    const double* next_;
};

void countPlane(PlaneSearch& search, double d, PlaneSetup& setup) {
    if (const double* plane = search.find(d)) {
        ++setup.realPlaneCount;
        setup.deviation += std::abs(d - *plane);
    } else {
        ++setup.interpolatedPlaneCount;
    }
}

bool isBetter(const PlaneSetup& a, const PlaneSetup& b) {
    if (a.realPlaneCount != b.realPlaneCount) {
        return a.realPlaneCount > b.realPlaneCount;
    }
    if (a.interpolatedPlaneCount != b.interpolatedPlaneCount) {
        return a.interpolatedPlaneCount < b.interpolatedPlaneCount;
    }
    return a.deviation < b.deviation;
}

/// How far from an output plane an input plane can at most be that a walk meets there: rounding
/// adds up over the steps, of which there are at most two for each input plane.
double reachOfWalk(const Planes& planes, double separation) {
    const double largest = std::max(std::abs(planes.front()), std::abs(planes.back()));
    const double rounding = std::numeric_limits<double>::epsilon() * (largest + separation);
    return kPlaneTolerance + 8.0 * static_cast<double>(planes.size()) * rounding;
}

/// For each binding plane, how many real planes it can have at most: the input planes near it
/// modulo the separation. Found by a window over the sorted remainders, this spares most placements
/// the walk over their planes.
std::vector<std::size_t> highestRealPlaneCounts(const Planes& planes, double separation) {
    const std::size_t count = planes.size();
    const double reach = reachOfWalk(planes, separation);
    std::vector<std::size_t> highest(count, std::numeric_limits<std::size_t>::max());
    if (separation <= 2.0 * reach) {
        // Planes this dense may meet one input plane twice.
        return highest;
    }
    std::vector<std::pair<double, std::size_t>> remainders(count);
    for (std::size_t i = 0; i < count; ++i) {
        remainders[i] = {std::fmod(planes[i] - planes.front(), separation), i};
    }
    std::sort(remainders.begin(), remainders.end());
    // They repeat with the separation on both sides.
    std::vector<double> repeated(3 * count);
    for (std::size_t i = 0; i < count; ++i) {
        repeated[i] = remainders[i].first - separation;
        repeated[count + i] = remainders[i].first;
        repeated[2 * count + i] = remainders[i].first + separation;
    }
    std::size_t begin = 0;
    std::size_t end = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double remainder = remainders[i].first;
        while (remainder - repeated[begin] > reach) {
            ++begin;
        }
        while (end < repeated.size() && repeated[end] - remainder <= reach) {
            ++end;
        }
        highest[remainders[i].second] = end - begin;
    }
    return highest;
}

/// The best binding plane for one separation.
PlaneSetup findBindingPlane(const Planes& planes, double separation) {
    PlaneSetup best;
    const std::vector<std::size_t> highest = highestRealPlaneCounts(planes, separation);
    // With fewer real planes more are interpolated than there are input planes.
    const double fewestPlanes = (planes.back() - planes.front()) / separation - 2.0;
    const double fewestRealPlanes = fewestPlanes - static_cast<double>(planes.size());
    for (std::size_t i = 0; i < planes.size(); ++i) {
        if (highest[i] < best.realPlaneCount ||
            static_cast<double>(highest[i]) < fewestRealPlanes) {
            continue;
        }
        const PlaneSetup setup = analyzeBindingPosition(planes, i, separation);
        if (setup.interpolatedPlaneCount <= planes.size() && isBetter(setup, best)) {
            best = setup;
        }
    }
    return best;
}

/// The best separation and binding plane. Candidates are tried side by side; that the first of
/// equally good ones wins does not depend on their order.
PlaneSetup findBest(const Planes& planes, const std::vector<double>& candidates) {
    const double range = planes.back() - planes.front();
    const std::size_t count = candidates.size();
    std::vector<PlaneSetup> setups(count);
    QProgressReporterNull nobody;
    trelis::detail::parallelFor(count, nobody, [&](std::size_t i) {
        const double separation = candidates[i];
        TrelisTrace(L"Testing plane separation candidate: %.3f (%Iu/%Iu)\n", separation, i + 1,
                    count);
        if (2.0 * static_cast<double>(planes.size()) > range / separation) {
            setups[i] = findBindingPlane(planes, separation);
        }
    });
    PlaneSetup best;
    for (const PlaneSetup& setup : setups) {
        if (isBetter(setup, best)) {
            best = setup;
        }
    }
    return best;
}

}  // namespace

std::vector<double> planeSeparationCandidates(const Planes& inputPlanes) {
    std::vector<double> candidates;
    for (std::size_t i = 1; i < inputPlanes.size(); ++i) {
        const double separation =
            std::floor(std::abs(inputPlanes[i] - inputPlanes[i - 1]) * 10000 + 0.5) * 0.0001;
        if (std::find(candidates.begin(), candidates.end(), separation) == candidates.end()) {
            candidates.push_back(separation);
        }
    }
    return candidates;
}

PlaneSetup analyzeBindingPosition(const Planes& inputPlanes, std::size_t binding,
                                  double separation) {
    const double first = inputPlanes.front();
    const double last = inputPlanes.back();
    PlaneSetup setup;
    setup.separation = separation;
    setup.bindingPosition = inputPlanes[binding];
    PlaneSearch upwards(inputPlanes, binding);
    for (double d = setup.bindingPosition; d < last || EpsilonZero(d - last, kPlaneTolerance);
         d += separation) {
        countPlane(upwards, d, setup);
    }
    if (setup.interpolatedPlaneCount > inputPlanes.size()) {
        return setup;
    }
    PlaneSearch downwards(inputPlanes, binding);
    for (double d = setup.bindingPosition - separation;
         d > first || EpsilonZero(d - first, kPlaneTolerance); d -= separation) {
        countPlane(downwards, d, setup);
    }
    return setup;
}

PlaneSetup findPlanePositions(const Planes& inputPlanes, const std::vector<double>& candidates) {
    PlaneSetup best;
    if (candidates.size() == 1) {
        best = {0, inputPlanes.size(), candidates.front(), inputPlanes.front(), 0.0};
    } else {
        TrelisTrace(L"Pixel interpolation limit: %.3f\n", kPlaneTolerance);
        best = findBest(inputPlanes, candidates);
    }
    TrelisTrace(
        L"Plane separation: %.4f, bind position: %.4f, real planes: %Iu, interpolated planes: "
        L"%Iu\n",
        best.separation, best.bindingPosition, static_cast<std::size_t>(best.realPlaneCount),
        static_cast<std::size_t>(best.interpolatedPlaneCount));
    return best;
}

}  // namespace trelis::VolumeImage::detail
