#include <apps/trelis/evaluation/structure_segments.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include <trelis/contour/contour_stack.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

#include <apps/trelis/evaluation/interpolated_planes.h>

namespace app {

namespace {

constexpr double kMm3PerCm3 = 1000.0;

/// Contour planes this many times as far apart as those of the image are worth a word, or a
/// warning.
constexpr double kSparse = 1.5;
constexpr double kVerySparse = 4.0;

/// Of what has contours in fewer planes, or is smaller, the volume is uncertain; cm3.
constexpr int kFewestPlanes = 3;
constexpr double kSmallVolume = 0.1;

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

void reportSpacing(const StructureGrid& grid, const GridFrame& frame,
                   const EvaluatedStructure& made, Messages& messages) {
    if (grid.contourPlanes == 1) {
        messages.warn(made.name, fmt::format("it has contours in one plane only, which is taken to "
                                             "be {:.4g} mm thick",
                                             grid.contourSpacing));
        return;
    }
    const std::string text = fmt::format(
        "its contours are {:.4g} mm apart, and each stands for a slab of that thickness",
        grid.contourSpacing);
    if (grid.contourSpacing > kVerySparse * frame.planeSpacing) {
        messages.warn(made.name, text);
    } else if (grid.contourSpacing > kSparse * frame.planeSpacing) {
        messages.note(made.name, text);
    }
}

void reportGaps(const StructureGrid& grid, const EvaluatedStructure& made, Messages& messages) {
    if (made.interpolatedPlanes == 1) {
        messages.warn(made.name, "contours are missing in 1 plane between others, interpolated");
    } else if (made.interpolatedPlanes > 1) {
        messages.warn(made.name,
                      fmt::format("contours are missing in {} planes between others, interpolated",
                                  made.interpolatedPlanes));
    }
    if (grid.widestGap > 0.0) {
        messages.warn(made.name, fmt::format("a gap of {:.4g} mm between its contours is too wide "
                                             "to be filled; the pieces stay separate",
                                             grid.widestGap));
    }
}

void reportSize(const StructureGrid& grid, const EvaluatedStructure& made, Messages& messages) {
    if (made.segment.IsEmpty()) {
        messages.warn(made.name, "it is empty: its contours enclose nothing");
    } else if (made.volume < kSmallVolume) {
        messages.warn(made.name, fmt::format("its volume is uncertain, since it is smaller than "
                                             "{} cm3",
                                             kSmallVolume));
    } else if (grid.contourPlanes > 1 && grid.contourPlanes < kFewestPlanes) {
        messages.warn(made.name, fmt::format("its volume is uncertain, since it has contours in "
                                             "{} planes only",
                                             grid.contourPlanes));
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
    made.interpolatedPlanes = countInterpolatedPlanes(structure, grid, made.segment);
    reportSpacing(grid, frame, made, messages);
    reportGaps(grid, made, messages);
    reportSize(grid, made, messages);
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
