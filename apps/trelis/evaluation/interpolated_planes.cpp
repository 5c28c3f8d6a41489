#include <apps/trelis/evaluation/interpolated_planes.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include <trelis/contour/glyph.h>
#include <trelis/contour/scan_conversion.h>
#include <trelis/segment_algorithms/plane_utilities.h>

namespace app {

namespace {

using NSegment::SegmentVolume;

/// A plane holds more than its contours if they touch none of so many of its voxels, and of this
/// part of them; the rest is rounding.
constexpr int kFewVoxels = 8;
constexpr double kSmallPart = 0.005;

/// The contours in the plane of the grid that they lie in, in voxel coordinates.
std::map<int, Glyph> glyphsByPlane(const Structure& structure, const FVoxelSpaceGeometry& grid) {
    std::map<int, Glyph> glyphs;
    for (const auto& contour : structure.contours) {
        if (contour.size() < kFewestPoints) {
            continue;
        }
        const auto z = static_cast<int>(std::lround(grid.RealToVoxel(contour.front()).z));
        auto& drawn = glyphs[z].emplace_back();
        for (const Vector& point : contour) {
            const Vector p = grid.RealToVoxel(point);
            drawn.emplace_back(p.x, p.y);
        }
    }
    return glyphs;
}

/// Whether plane z of a segment reaches where nothing was drawn into the one plane of another.
bool reachesBeyond(const SegmentVolume& segment, int z, const SegmentVolume& drawn) {
    int inside = 0;
    int undrawn = 0;
    for (int y = 0; y < segment.ysize(); ++y) {
        const auto row = segment.GetConstSpanX(y, z);
        auto share = drawn.GetConstSpanX(y, 0).begin();
        for (const int value : row) {
            const bool isInside = value >= SegmentVolume::crossingValue();
            inside += isInside ? 1 : 0;
            undrawn += isInside && *share == 0 ? 1 : 0;
            ++share;
        }
    }
    return undrawn > kFewVoxels && undrawn > kSmallPart * inside;
}

}  // namespace

int countInterpolatedPlanes(const Structure& structure, const StructureGrid& grid,
                            const SegmentVolume& segment) {
    auto planes = static_cast<int>(
        std::count_if(grid.missingPlanes.begin(), grid.missingPlanes.end(),
                      [&](int z) { return !NSegmentAlgorithms::IsPlaneEmpty(segment, z); }));
    if (!grid.followsContours) {
        return planes;
    }
    SegmentVolume drawn(segment.xsize(), segment.ysize(), 1, segment.xres(), segment.yres(),
                        segment.zres());
    for (const auto& [z, glyph] : glyphsByPlane(structure, grid.geometry)) {
        NSegmentAlgorithms::ScanConvertGlyph(glyph, 0, drawn);
        planes += reachesBeyond(segment, z, drawn) ? 1 : 0;
    }
    return planes;
}

}  // namespace app
