#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/voxel_space_geometry.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Contours of fewer points enclose nothing and are ignored.
constexpr std::size_t kFewestPoints = 3;

/// What the grids of structures go by: axes, and the size of pixels and the distance of planes in
/// millimetres; those of the image, or without one the patient axes with 1 mm.
struct GridFrame {
    MMatrix axes;
    double pixelX = 1.0;
    double pixelY = 1.0;
    double planeSpacing = 1.0;
};

GridFrame frameOf(const std::optional<ImageVolume>& image);

/// Room that a structure needs for margins, in millimetres: what it will be grown by, and its
/// smallest margin (0 for none), which decides how fine the voxels have to be.
struct MarginRoom {
    double growth = 0.0;
    double smallest = 0.0;
};

struct StructureGrid {
    FVoxelSpaceGeometry geometry;
    /// The distance of neighbouring contour planes.
    double contourSpacing;
    int contourPlanes;
    /// Whether each contour plane is a plane of the grid.
    bool followsContours;
    /// The planes of the grid where contours are missing between others that are close enough to be
    /// joined.
    std::vector<int> missingPlanes;
    /// The widest distance of contour planes that are not joined; 0 where all are.
    double widestGap;
};

/// A grid that holds a structure with at least one empty voxel on all sides of it and its margins.
///
/// Its axes are those of the frame, else those of the patient, else the contours' own, the first in
/// whose planes all contours lie to 0.1 mm. Its planes lie in the contour planes where the
/// distances of these are multiples of one spacing, so that each contour stands for a slab. In the
/// planes the box around the contours ends on voxel borders; voxels are no larger than pixels, and
/// smaller for small structures and margins.
///
/// std::invalid_argument, with the end of a sentence about the structure, where there is none.
StructureGrid makeGrid(const Structure& structure, const GridFrame& frame, const MarginRoom& room);

}  // namespace app
