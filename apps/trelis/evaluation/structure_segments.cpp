#include <apps/trelis/evaluation/structure_segments.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include <fmt/format.h>

#include <trelis/contour/contour_stack.h>
#include <trelis/segment_algorithms/plane_utilities.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

namespace app {

namespace {

constexpr double kMm3PerCm3 = 1000.0;

/// Contour planes this many times as far apart as those of the image are worth a word.
constexpr double kSparse = 1.5;

EvaluatedStructure emptyStructure(const Structure& structure, const FVoxelSpaceGeometry& grid) {
    return {.name = structure.name,
            .type = structure.type,
            .colour = structure.colour,
            .segment = {grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(),
                        grid.zres()},
            .geometry = grid,
            .edits = {},
            .dvh = {}};
}

void reportPlanes(const StructureGrid& grid, const GridFrame& frame, const EvaluatedStructure& made,
                  Messages& messages) {
    if (grid.contourPlanes == 1) {
        messages.warn(made.name, fmt::format("it has contours in one plane only, which is taken to "
                                             "be {:.4g} mm thick",
                                             grid.contourSpacing));
    } else if (grid.contourSpacing > kSparse * frame.planeSpacing) {
        messages.note(made.name,
                      fmt::format("its contours are {:.4g} mm apart, and each stands for a slab of "
                                  "that thickness",
                                  grid.contourSpacing));
    }
    if (made.interpolatedPlanes > 0) {
        messages.warn(made.name,
                      fmt::format("planes without contours between others were interpolated: {}",
                                  made.interpolatedPlanes));
    }
    if (grid.widestGap > 0.0) {
        messages.warn(made.name, fmt::format("a gap of {:.4g} mm between its contours is too wide "
                                             "to be filled; the pieces stay separate",
                                             grid.widestGap));
    }
}

EvaluatedStructure makeSegment(const Structure& structure, const GridFrame& frame,
                               const MarginRoom& room, Messages& messages,
                               FProgressReportingBody& progress) {
    const StructureGrid grid = makeGrid(structure, frame, room);
    EvaluatedStructure made = emptyStructure(structure, grid.geometry);
    NSegmentAlgorithms::ContourStackOptions options;
    options.planeSpacing = grid.contourSpacing;
    NSegmentAlgorithms::ConvertContourStack(structure.contours, grid.geometry, options,
                                            made.segment, progress.SubRange(0.0, 0.8));
    made.volume = measureVolume(made.segment, progress);
    made.interpolatedPlanes = static_cast<int>(
        std::count_if(grid.missingPlanes.begin(), grid.missingPlanes.end(),
                      [&](int z) { return !NSegmentAlgorithms::IsPlaneEmpty(made.segment, z); }));
    reportPlanes(grid, frame, made, messages);
    if (made.segment.IsEmpty()) {
        messages.warn(made.name, "it is empty: its contours enclose nothing");
    }
    return made;
}

}  // namespace

double measureVolume(const NSegment::SegmentVolume& segment, FProgressReportingBody& progress) {
    return plexa::CalculateVolumeWithSubVoxelModeling(segment, progress) / kMm3PerCm3;
}

std::vector<std::optional<EvaluatedStructure>> makeSegments(const Study& study,
                                                            const GridFrame& frame,
                                                            const EvaluationPlan& plan,
                                                            Messages& messages,
                                                            FProgressReportingBody& progress) {
    std::vector<std::optional<EvaluatedStructure>> made(study.structures.size());
    const auto count = static_cast<double>(study.structures.size());
    for (std::size_t i = 0; i < study.structures.size(); ++i) {
        const auto done = static_cast<double>(i);
        try {
            made[i] =
                makeSegment(study.structures[i], frame, {plan.growth(i), plan.smallestMargin(i)},
                            messages, progress.SubRange(done / count, (done + 1.0) / count));
        } catch (const std::invalid_argument& error) {
            messages.fault(study.structures[i].name,
                           fmt::format("the structure is left out: {}", error.what()));
        }
    }
    return made;
}

}  // namespace app
