#include <trelis/contour/scan_conversion.h>

#include <span>
#include <stdexcept>
#include <vector>

#include <trelis/contour/detail/glyph_coverage.h>
#include <trelis/contour/detail/plane_writer.h>

namespace NSegmentAlgorithms {

namespace {

void checkCoordinates(const Glyph& glyph) {
    for (const std::vector<EdgePoint>& contour : glyph) {
        for (const EdgePoint& point : contour) {
            if (!trelis::detail::isUsable(point)) {
                throw std::invalid_argument(
                    "NSegmentAlgorithms::ScanConvertGlyph: coordinates must be finite");
            }
        }
    }
}

/// Moved so that voxel (i, j) covers [i, i+1) x [j, j+1).
Glyph inRVoxelCoordinates(Glyph glyph) {
    for (std::vector<EdgePoint>& contour : glyph) {
        for (EdgePoint& point : contour) {
            point = {point.x + 0.5, point.y + 0.5};
        }
    }
    return glyph;
}

}  // namespace

void ScanConvertGlyph(const Glyph& glyph, int z, NSegment::SegmentVolume& seg) {
    if (z < 0 || z >= seg.zsize()) {
        throw std::invalid_argument(
            "NSegmentAlgorithms::ScanConvertGlyph: the plane does not exist");
    }
    checkCoordinates(glyph);
    trelis::detail::PlaneWriter writer(seg, z);
    trelis::detail::forEachCoveredRow(
        trelis::detail::edgesOf(inRVoxelCoordinates(glyph)), seg.xsize(), seg.ysize(),
        [&](int row, int firstColumn, std::span<const double> coverage) {
            writer.writeRow(row, firstColumn, coverage);
        });
    writer.finish();
}

}  // namespace NSegmentAlgorithms
