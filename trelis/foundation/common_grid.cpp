#include <trelis/foundation/common_grid.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>

#include <trelis/foundation/epsilon.h>

namespace trelis {

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kResolutionTolerance = 1e-6;

/// Shorter voxels, in millimetres, count as having no length.
constexpr double kSmallestVoxel = 1e-9;

/// Fraction of a voxel by which a box may miss a voxel border and still be snapped onto it.
constexpr double kSnapTolerance = 0.1;
/// A snapped box must be longer than this many voxels.
constexpr double kShortestSnappedLength = 1.1;

/// The word whose order is that of the bytes of `bits`, least significant byte first.
std::uint64_t byteOrderKey(std::uint64_t bits) {
    std::uint64_t reversed = 0;
    for (int i = 0; i < 8; ++i) {
        reversed = reversed << 8 | (bits >> (8 * i) & 0xFF);
    }
    return reversed;
}

/// The place of a geometry in the canonical order: its three transforms with 13 numbers each, half
/// sizes, resolutions, inverse resolutions and sizes.
using CanonicalKey = std::array<std::uint64_t, 3 * 13 + 4 * 3>;

CanonicalKey canonicalKey(const FVoxelSpaceGeometry& g) {
    CanonicalKey key{};
    std::size_t count = 0;
    const auto append = [&](double number) {
        key[count++] = byteOrderKey(std::bit_cast<std::uint64_t>(number));
    };
    for (const MMatrix* matrix :
         {&g.GetTransform(), &g.GetTransformRVoxelToReal(), &g.GetTransformRealToRVoxel()}) {
        for (int row = 0; row < 4; ++row) {
            std::for_each((*matrix)[row], (*matrix)[row] + 3, append);
        }
        append(matrix->GetScale());
    }
    const int sizes[3] = {g.xsize(), g.ysize(), g.zsize()};
    const double resolutions[3] = {g.xres(), g.yres(), g.zres()};
    for (const int size : sizes) {
        append(size * 0.5);
    }
    std::for_each(resolutions, resolutions + 3, append);
    for (const double resolution : resolutions) {
        append(1.0 / resolution);
    }
    for (const int size : sizes) {
        key[count++] = byteOrderKey(static_cast<std::uint32_t>(size));
    }
    return key;
}

std::vector<FVoxelSpaceGeometry> inCanonicalOrder(std::vector<FVoxelSpaceGeometry> geometries) {
    std::sort(geometries.begin(), geometries.end(),
              [](const FVoxelSpaceGeometry& a, const FVoxelSpaceGeometry& b) {
                  return canonicalKey(a) > canonicalKey(b);
              });
    return geometries;
}

/// One axis of the common grid in the reference frame: voxel size, a voxel border, and the box.
struct AxisGrid {
    double resolution;
    double origin = 0.0;
    double low = -kLargest;
    double high = kLargest;
    int size = 0;

    explicit AxisGrid(bool useFinestResolution)
        : resolution(useFinestResolution ? kLargest : 0.0) {}

    /// Takes in the voxel size of one more grid and the interval between two of its corners.
    void add(double voxelSize, double cornerA, double cornerB, bool useFinestResolution) {
        const bool take = useFinestResolution ? resolution >= voxelSize : voxelSize >= resolution;
        if (take) {
            resolution = voxelSize;
            origin = cornerA;
        }
        low = std::max(low, std::min(cornerA, cornerB));
        high = std::min(high, std::max(cornerA, cornerB));
    }

    bool hasUsableResolution(bool useFinestResolution) const {
        return useFinestResolution ? !EpsilonEqual(resolution, kLargest, kResolutionTolerance)
                                   : !EpsilonZero(resolution, kResolutionTolerance);
    }

    /// An empty box, or voxels without length (which a turned frame shows as rounding noise).
    bool isEmpty() const { return low >= high || EpsilonZero(resolution, kSmallestVoxel); }

    void snapInwards() {
        const double snappedLow =
            std::ceil((low - origin) / resolution - kSnapTolerance) * resolution + origin;
        const double snappedHigh =
            std::floor((high - origin) / resolution + kSnapTolerance) * resolution + origin;
        if (snappedHigh - snappedLow > kShortestSnappedLength * resolution) {
            low = snappedLow;
            high = snappedHigh;
        }
        const double count = std::abs(high - low) / resolution + 0.5;
        if (!(count < std::numeric_limits<int>::max() + 1.0)) {
            std::terminate();
        }
        size = static_cast<int>(count);
    }
};

}  // namespace

FVoxelSpaceGeometry CalculateIntersectionSizeAndResolution(
    const std::vector<FVoxelSpaceGeometry>& geometries, bool useFinestResolution) {
    if (geometries.empty()) {
        std::terminate();
    }
    const std::vector<FVoxelSpaceGeometry> sorted = inCanonicalOrder(geometries);
    MMatrix frame = sorted.front().GetTransform();

    AxisGrid axes[3] = {AxisGrid(useFinestResolution), AxisGrid(useFinestResolution),
                        AxisGrid(useFinestResolution)};
    for (const FVoxelSpaceGeometry& g : sorted) {
        const auto inFrame = [&](double x, double y, double z) {
            return frame.InverseTransform(g.RVoxelToReal({x, y, z}));
        };
        const auto a = inFrame(0, 0, 0);
        const auto b = inFrame(g.xsize(), g.ysize(), g.zsize());
        const auto u = inFrame(1, 1, 1);
        axes[0].add(std::abs(u.x - a.x), a.x, b.x, useFinestResolution);
        axes[1].add(std::abs(u.y - a.y), a.y, b.y, useFinestResolution);
        axes[2].add(std::abs(u.z - a.z), a.z, b.z, useFinestResolution);
    }

    bool overlap = true;
    for (const AxisGrid& axis : axes) {
        if (!axis.hasUsableResolution(useFinestResolution)) {
            std::terminate();
        }
        overlap = overlap && !axis.isEmpty();
    }
    if (overlap) {
        for (AxisGrid& axis : axes) {
            axis.snapInwards();
        }
    } else {
        axes[0].size = 1;
        axes[1].size = 1;
    }

    frame.SetTranslation(
        frame.Transform({(axes[0].low + axes[0].high) / 2.0, (axes[1].low + axes[1].high) / 2.0,
                         (axes[2].low + axes[2].high) / 2.0}));
    return {frame,
            axes[0].size,
            axes[1].size,
            axes[2].size,
            axes[0].resolution,
            axes[1].resolution,
            axes[2].resolution};
}

}  // namespace trelis
