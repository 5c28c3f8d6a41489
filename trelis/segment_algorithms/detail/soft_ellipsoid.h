#pragma once

#include <trelis/foundation/diagnostics.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/detail/stamper.h>

namespace NSegmentAlgorithms::detail {

/// Margins in millimetres to the low and to the high side of an axis.
struct Sides {
    double low = 0.0;
    double high = 0.0;
};

/// A growth by non-negative margins, of the structure or, to shrink it, of what is outside.
struct Growth {
    Sides margins[3];
    bool ofComplement = false;
};

/// Margins that are all 0 or less shrink: they become the negated ones of the opposite sides.
/// Throws std::invalid_argument, with a text that begins with the name of the function, where one
/// is not finite or where signs are mixed.
Growth growthOf(const Sides (&margins)[3], const char* function);

/// Throws std::invalid_argument where a distance is negative or not finite.
void requireNotNegative(const Sides (&distances)[3], const char* function);

/// Throws std::invalid_argument where a margin is not finite when counted in voxels.
void requireFiniteInVoxels(double voxels, const char* function);

/// The ends of the ellipsoid of a growth, in voxels. Each of its octants has its own semi-axes.
struct SoftEllipsoid {
    Reach reach[3];        ///< whole voxels; the ellipsoid is cut off there
    Sides semiAxis[3];     ///< widened; along an unused axis 1
    double edge = 0.0;     ///< half the width of the soft edge, in units of the normalised radius
    bool hasTiny = false;  ///< a margin is below 0.01 voxels
};

/// The ellipsoid of a growth on the grid of a segment, in the first `axes` (2 or 3) axes. Reaches
/// that go beyond the grid from every voxel are cut, which changes no result. Throws
/// std::invalid_argument where margins are not finite in voxels.
SoftEllipsoid ellipsoidOf(const Growth& growth, const NSegment::SegmentVolume& segment, int axes,
                          const char* function);

/// The covered part of each voxel around the centre, 0 to 64, of 4 x 4 x 4 samples; 64 already
/// for half coverage.
Kernel kernelOf(const SoftEllipsoid& ellipsoid);

/// `Crash` where the two are the same object.
inline void requireDistinct(const NSegment::SegmentVolume& in, const NSegment::SegmentVolume& out) {
    if (&in == &out) {
        Crash(L"result and parameters are the same");
    }
}

}  // namespace NSegmentAlgorithms::detail
