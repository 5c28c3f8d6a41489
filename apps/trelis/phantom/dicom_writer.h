#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <apps/trelis/study/study.h>

/// Writes DICOM objects from plain values, in little endian with explicit types and UTF-8 texts,
/// without dates other than a fixed one: the same bytes for the same values. Nothing is checked for
/// consistency, so that faulty studies can be made as well. All throw std::runtime_error naming the
/// file when it cannot be written.
namespace app {

/// What every object carries.
struct ObjectHeader {
    std::string instanceUid;
    std::string seriesUid;
    std::string studyUid;
    std::string frameUid;
    std::string patientName;
    std::string patientId;
    std::string studyDescription;
    std::string seriesDescription;
    int seriesNumber = 1;
    int instanceNumber = 1;
};

/// A slice of CT, MR or PET ("PT"). The attributes are complete for CT.
struct ImageObject {
    ObjectHeader header;
    std::string modality = "CT";
    std::string patientPosition = "HFS";
    int columns = 0;
    int rows = 0;
    /// The centre of the first pixel.
    Vector position;
    /// Of increasing column index.
    Vector rowDirection{1.0, 0.0, 0.0};
    /// Of increasing row index.
    Vector columnDirection{0.0, 1.0, 0.0};
    double columnSpacing = 1.0;  ///< along `rowDirection`
    double rowSpacing = 1.0;     ///< along `columnDirection`
    double thickness = 1.0;
    std::optional<double> rescaleSlope = 1.0;
    std::optional<double> rescaleIntercept = 0.0;
    bool signedPixels = true;
    int bitsStored = 16;
    /// Row by row; unsigned pixels by their bits.
    std::vector<std::int16_t> pixels;
};

/// An image that contours in its plane refer to.
struct ImageReference {
    std::string instanceUid;
    double z;
    std::string modality = "CT";
};

struct StructureSetObject {
    ObjectHeader header;
    std::string label;
    /// The series that the structures are drawn on; no reference where empty.
    std::string imageSeriesUid;
    std::vector<ImageReference> images;
    std::vector<Structure> structures;
};

struct DoseObject {
    ObjectHeader header;
    int columns = 0;
    int rows = 0;
    /// The centre of the first voxel.
    Vector position;
    Vector rowDirection{1.0, 0.0, 0.0};
    Vector columnDirection{0.0, 1.0, 0.0};
    double columnSpacing = 1.0;
    double rowSpacing = 1.0;
    /// One per plane: along the normal from the first, or absolute z where the first is not 0.
    std::vector<double> planeOffsets;
    int bits = 32;  ///< 16 or 32
    double scale = 1.0;
    std::string units = "GY";
    std::string type = "PHYSICAL";
    std::string summationType = "PLAN";
    /// The plan, where not empty, and which of its beams for the summation type "BEAM".
    std::string planUid;
    std::vector<int> beamNumbers;
    /// Plane by plane and row by row.
    std::vector<std::uint32_t> values;
};

/// Static photon beams of two control points each. Jaws and leaves that a beam does not have are
/// left out, and so is an isocentre that is not finite.
struct PlanObject {
    ObjectHeader header;
    std::string label;
    /// No reference where empty.
    std::string structureSetUid;
    std::string patientPosition = "HFS";
    std::vector<Beam> beams;
};

void writeImage(const std::filesystem::path& file, const ImageObject& image);
void writeStructureSet(const std::filesystem::path& file, const StructureSetObject& structureSet);
void writeDose(const std::filesystem::path& file, const DoseObject& dose);
void writePlan(const std::filesystem::path& file, const PlanObject& plan);

}  // namespace app
