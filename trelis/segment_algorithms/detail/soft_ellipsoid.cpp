#include <trelis/segment_algorithms/detail/soft_ellipsoid.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace NSegmentAlgorithms::detail {

namespace {

/// Added to margins in voxels, so that whole ones reach one voxel further.
constexpr double kBias = 1e-8;

/// Margins below this, in voxels, are not widened.
constexpr double kTinyMargin = 0.01;

/// A widened semi-axis is sqrt(margin^2 + 0.7^2) + 0.3 voxels.
constexpr double kWideningSquared = 0.49;
constexpr double kWidening = 0.3;
constexpr double kSmallestSquare = 1e-5;
constexpr double kSmallestSemiAxis = 1e-10;

constexpr double kWidestEdge = 0.5;

/// Sub-points of a voxel along each axis.
constexpr int kSamples = 4;

/// What a sub-point counts that is fully covered, and the shift from the sum to the value.
constexpr int kFullSample = 8192;
constexpr int kValueShift = 12;
constexpr int kValueMask = 255;
constexpr int kFullValue = 64;

[[noreturn]] void fail(const char* function, const char* what) {
    throw std::invalid_argument(std::string("NSegmentAlgorithms::") + function + ": " + what);
}

/// Squared normalised offsets of the sub-points along one axis, and of each voxel the extremes.
struct Axis {
    struct Voxel {
        double squared[kSamples];
        double nearest;
        double farthest;
    };
    std::vector<Voxel> voxels;

    Axis(const Reach& reach, const Sides& semiAxis) {
        const double centre = (reach.low + 0.5) * kSamples - 0.5;
        const double lowScale = 1.0 / (kSamples * semiAxis.low);
        const double highScale = 1.0 / (kSamples * semiAxis.high);
        for (int i = 0; i < reach.size(); ++i) {
            Voxel voxel{};
            for (int j = 0; j < kSamples; ++j) {
                const int s = i * kSamples + j;
                const double offset =
                    i == reach.low ? 0.0
                                   : std::abs(s - centre) * (centre > s ? lowScale : highScale);
                voxel.squared[j] = offset * offset;
            }
            const auto [low, high] =
                std::minmax_element(std::begin(voxel.squared), std::end(voxel.squared));
            voxel.nearest = *low;
            voxel.farthest = *high;
            voxels.push_back(voxel);
        }
    }
};

class Sampler {
  public:
    explicit Sampler(double edge)
        : edge_(edge), inner_((1.0 - edge) * (1.0 - edge)), outer_((1.0 + edge) * (1.0 + edge)) {}

    Byte value(const Axis::Voxel& x, const Axis::Voxel& y, const Axis::Voxel& z) const {
        // Rounding is monotonic, so the extremes bound every sample to the bit.
        if (x.nearest + y.nearest + z.nearest >= outer_) {
            return 0;
        }
        if (x.farthest + y.farthest + z.farthest < inner_) {
            return kFullValue;
        }
        int sum = 0;
        for (const double zSquared : z.squared) {
            for (const double ySquared : y.squared) {
                for (const double xSquared : x.squared) {
                    sum += sample(xSquared + ySquared + zSquared);
                }
            }
        }
        return static_cast<Byte>(std::min((sum >> kValueShift) & kValueMask, kFullValue));
    }

  private:
    int sample(double radiusSquared) const {
        if (radiusSquared < inner_) {
            return kFullSample;
        }
        if (radiusSquared < outer_) {
            const double outward = (std::sqrt(radiusSquared) - (1.0 - edge_)) / (2.0 * edge_);
            return static_cast<int>((1.0 - outward) * kFullSample);
        }
        return 0;
    }

    double edge_;
    double inner_;
    double outer_;
};

template <typename Test>
bool all(const Sides (&margins)[3], const Test& test) {
    return std::all_of(std::begin(margins), std::end(margins),
                       [&](const Sides& s) { return test(s.low) && test(s.high); });
}

void requireFinite(const Sides (&margins)[3], const char* function) {
    if (!all(margins, [](double margin) { return std::isfinite(margin); })) {
        fail(function, "all arguments must be finite");
    }
}

}  // namespace

void requireFiniteInVoxels(double voxels, const char* function) {
    if (!std::isfinite(voxels)) {
        fail(function, "all arguments must be finite in voxels");
    }
}

void requireNotNegative(const Sides (&distances)[3], const char* function) {
    requireFinite(distances, function);
    if (!all(distances, [](double distance) { return distance >= 0.0; })) {
        fail(function, "all distances must be positive");
    }
}

Growth growthOf(const Sides (&margins)[3], const char* function) {
    requireFinite(margins, function);
    Growth growth;
    if (all(margins, [](double margin) { return margin <= 0.0; })) {
        growth.ofComplement = true;
        for (int i = 0; i < 3; ++i) {
            growth.margins[i] = {-margins[i].high, -margins[i].low};
        }
        return growth;
    }
    if (!all(margins, [](double margin) { return margin >= 0.0; })) {
        fail(function, "all arguments must be either positive or negative");
    }
    std::copy(std::begin(margins), std::end(margins), std::begin(growth.margins));
    return growth;
}

SoftEllipsoid ellipsoidOf(const Growth& growth, const NSegment::SegmentVolume& segment, int axes,
                          const char* function) {
    const double resolutions[] = {segment.xres(), segment.yres(), segment.zres()};
    const int sizes[] = {segment.xsize(), segment.ysize(), segment.zsize()};
    SoftEllipsoid result;
    double largestScale = 0.0;
    const auto useSide = [&](double margin, int axis, int& reach, double& semiAxis) {
        const double voxels = margin / resolutions[axis] + kBias;
        requireFiniteInVoxels(voxels, function);
        reach = static_cast<int>(
            std::clamp(std::ceil(voxels) + kBias, 0.0, std::max(sizes[axis] - 1.0, 0.0)));
        semiAxis = voxels;
        if (voxels >= kTinyMargin) {
            semiAxis = std::sqrt(std::max(voxels * voxels + kWideningSquared, kSmallestSquare)) +
                       kWidening;
        } else {
            result.hasTiny = true;
        }
        semiAxis = std::max(semiAxis, kSmallestSemiAxis);
        largestScale = std::max(largestScale, 1.0 / (kSamples * semiAxis));
    };
    for (int axis = 0; axis < 3; ++axis) {
        Sides& semiAxis = result.semiAxis[axis];
        semiAxis = {1.0, 1.0};
        if (axis < axes) {
            useSide(growth.margins[axis].low, axis, result.reach[axis].low, semiAxis.low);
            useSide(growth.margins[axis].high, axis, result.reach[axis].high, semiAxis.high);
        }
    }
    result.edge = std::min(0.5 * largestScale, kWidestEdge);
    return result;
}

Kernel kernelOf(const SoftEllipsoid& ellipsoid) {
    Kernel kernel;
    std::copy(std::begin(ellipsoid.reach), std::end(ellipsoid.reach), std::begin(kernel.reach));
    const Axis x(ellipsoid.reach[0], ellipsoid.semiAxis[0]);
    const Axis y(ellipsoid.reach[1], ellipsoid.semiAxis[1]);
    const Axis z(ellipsoid.reach[2], ellipsoid.semiAxis[2]);
    const Sampler sampler(ellipsoid.edge);
    kernel.values.reserve(x.voxels.size() * y.voxels.size() * z.voxels.size());
    for (const Axis::Voxel& atZ : z.voxels) {
        for (const Axis::Voxel& atY : y.voxels) {
            for (const Axis::Voxel& atX : x.voxels) {
                kernel.values.push_back(sampler.value(atX, atY, atZ));
            }
        }
    }
    kernel.values[kernel.indexOf(0, 0, 0)] = kFullValue;
    return kernel;
}

}  // namespace NSegmentAlgorithms::detail
