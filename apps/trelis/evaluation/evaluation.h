#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <trelis/contour/glyph.h>
#include <trelis/dose/dvh_data.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/mlc/collimator.h>
#include <trelis/mlc/leaf_configuration.h>
#include <trelis/mlc/leaf_positions.h>
#include <trelis/segment/segment_volume.h>

#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>
#include <apps/trelis/terminal/phases.h>

namespace app {

struct EvaluationOptions {
    /// The structure that beams are fitted to; by default the first PTV, else CTV, else GTV (by
    /// type, where there is none by the beginning of the name), else the first structure that is no
    /// external outline.
    std::optional<std::string> target;
    /// Structures to grow (shrink: below 0), by millimetres.
    std::vector<std::pair<std::string, double>> margins;
    /// Structures that are subtracted from the target, grown or shrunk where they have a margin.
    std::vector<std::string> subtractions;
    /// How many connected parts of the target are kept.
    std::optional<int> keepLargest;
    /// How many of the last edits of the target are taken back.
    int undo = 0;

    /// By file, SOP instance UID or number in the order of the files, from 1; other doses have
    /// `defaultWeight`. Above 0 and finite.
    std::vector<std::pair<std::string, double>> weights;
    double defaultWeight = 1.0;

    /// Doses in Gy at which the volume is reported.
    std::vector<double> doseLevels;
    /// Millimetres; calculates histograms with cells of this size instead of the standard way.
    std::optional<double> fineStep;

    /// Beams to fit instead of those of the plan; without an isocentre that is finite they take the
    /// centre of the target.
    std::vector<Beam> beams;

    /// No cache where empty.
    std::filesystem::path cacheDirectory;
};

/// The regular volume built from the slices. `transform` maps millimetres from the centre of the
/// voxel box to patient coordinates, so that voxel centres lie where the slices' pixels were. A
/// stored value v means v `rescaleSlope` + `rescaleIntercept` (for CT Hounsfield units).
struct ImageVolume {
    QVolume<unsigned short> pixels;
    MMatrix transform;
    std::string modality;
    double pixelSlope = 1.0;
    int pixelOffset = 0;
    double rescaleSlope = 1.0;
    double rescaleIntercept = 0.0;
    std::size_t slices = 0;
    std::size_t realPlanes = 0;
    std::size_t interpolatedPlanes = 0;
    bool restoredFromCache = false;

    FVoxelSpaceGeometry geometry() const { return placed(pixels, transform); }
};

/// One edit of a structure, as it stands on the undo stack.
struct Edit {
    std::string description;
    double volumeBefore;  ///< cm3
    double volumeAfter;   ///< cm3
    std::size_t undoBytes;
    bool undone;
};

struct EvaluatedStructure {
    std::string name;
    std::string type;
    Colour colour{};
    NSegment::SegmentVolume segment;
    FVoxelSpaceGeometry geometry;
    /// cm3, by `plexa::CalculateVolumeWithSubVoxelModeling`.
    double volume = 0.0;
    /// Planes between contours that were interpolated because contours are missing there.
    int interpolatedPlanes = 0;
    bool isTarget = false;
    /// In the order in which they were made; only of structures that were edited, which are listed
    /// beside what they were made from.
    std::vector<Edit> edits;
    /// Differential, in cm3 and the units of the dose; without bins where there is no dose. Its
    /// statistics are relative to what lies inside the dose grid.
    trelis::DvhData dvh;
};

/// A value v means the dose v `scale`.
struct DoseSum {
    struct Part {
        std::string file;
        double weight;
    };

    QVolume<unsigned int> values;
    double scale = 0.0;
    MMatrix transform;
    std::string units;
    std::vector<Part> parts;

    FVoxelSpaceGeometry geometry() const { return placed(values, transform); }
};

/// A beam with the leaves fitted to the target and the jaws corrected to them. Positions are in the
/// plane through the isocentre, x and y of the beam frame.
struct EvaluatedBeam {
    Beam beam;
    Glyph outline;
    /// Edges of the leaf pairs that were fitted, one more than pairs.
    std::vector<double> leafBoundaries;
    std::vector<double> left;
    std::vector<double> right;
    NControlPoint::Collimator jaws;
};

struct Evaluation {
    std::optional<ImageVolume> image;
    std::vector<EvaluatedStructure> structures;
    std::optional<DoseSum> dose;
    std::vector<EvaluatedBeam> beams;
};

/// Evaluates as much of the study as is safe; what is left out or doubtful is in the messages.
/// std::invalid_argument, before any work, for options that name what the study does not have or
/// make no sense. `QAbortPressed` after Ctrl-C; nothing is kept then but a cache file that was
/// finished before.
Evaluation evaluate(const Study& study, const EvaluationOptions& options, Messages& messages,
                    Phases& phases);

}  // namespace app
