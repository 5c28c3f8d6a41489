#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <trelis/contour/beam_geometry.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/mlc/collimator.h>

#include <apps/trelis/study/image_slice.h>

/// What is evaluated, as plain values, free of the format of the files. Lengths are millimetres,
/// positions in the patient coordinates of DICOM, texts UTF-8. `file` is the path relative to the
/// folder of the study.
namespace app {

using Vector = MVectorTemplate<double>;
using Colour = std::array<unsigned char, 3>;

/// The place of a volume whose box has its centre where the transform says.
inline FVoxelSpaceGeometry placed(const QVolumeSize& volume, const MMatrix& transform) {
    return {transform,          volume.GetXSize(),  volume.GetYSize(), volume.GetZSize(),
            volume.GetXResMM(), volume.GetYResMM(), volume.GetZResMM()};
}

struct ImageSeries {
    std::string seriesUid;
    std::string frameUid;
    std::string modality;
    std::string description;
    /// How the patient lies, such as "HFS"; empty where not given.
    std::string patientPosition;
    ImageSeriesKey key;
    /// In the order of their files' names; refer to `key`.
    std::vector<std::unique_ptr<ImageSlice>> slices;
};

struct Structure {
    int number = 0;
    std::string name;
    /// The interpreted type such as "PTV" or "ORGAN"; empty where not given.
    std::string type;
    Colour colour{};
    /// Closed planar contours; never empty.
    std::vector<std::vector<Vector>> contours;
};

/// A value v of the grid is the dose v `scale`.
struct DoseGrid {
    std::string file;
    std::string instanceUid;
    std::string planUid;
    /// "PLAN", "BEAM" ...
    std::string summationType;
    /// "GY" or "RELATIVE".
    std::string units;
    QVolume<unsigned int> values;
    double scale = 0.0;
    /// From millimetres along the axes of the grid, with the origin at the centre of the voxel box,
    /// to patient coordinates.
    MMatrix transform;
};

struct Beam {
    int number = 0;
    std::string name;
    /// Of the first control point.
    trelis::BeamGeometry geometry;
    /// How the patient lies; empty for the position of the study's plan or images.
    std::string patientPosition = "HFS";
    /// How many control points the beam has with other angles, leaves or jaws than the first.
    int furtherShapes = 0;

    /// Edges of the leaf pairs across the leaf travel, one more than pairs, ascending; empty
    /// without a multileaf collimator.
    std::vector<double> leafBoundaries;
    bool leavesAlongY = false;
    /// Planned leaf positions by pair; empty where there are none.
    std::vector<double> plannedLeft;
    std::vector<double> plannedRight;
    /// NaN where there are none.
    NControlPoint::Collimator plannedJaws;
};

struct Plan {
    std::string file;
    std::string instanceUid;
    std::string label;
    std::vector<Beam> beams;
};

/// One consistent set out of what a folder holds.
struct Study {
    std::string folder;
    std::string patientName;
    std::string patientId;
    std::string description;
    std::string structuresFile;
    std::string structuresLabel;
    /// Null where there is none.
    std::unique_ptr<ImageSeries> image;
    std::vector<Structure> structures;
    std::vector<DoseGrid> doses;
    std::optional<Plan> plan;
    /// Files that are no DICOM objects, and objects of kinds that are not evaluated.
    std::size_t skippedFiles = 0;
};

}  // namespace app
