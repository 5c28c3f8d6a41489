#include <algorithm>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/dose_reader.h>
#include <apps/trelis/dicom/image_plane.h>
#include <apps/trelis/dicom/pixel_data.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

constexpr double kSmallestScale = 1e-12;
constexpr double kLargestScale = 1e6;
constexpr double kLargestSeparation = 1e3;  // mm
constexpr double kPlaneTolerance = 0.01;    // mm
constexpr double kDefaultThickness = 1.0;   // mm

/// The planes along the normal, from the first in the file.
struct Planes {
    int count = 1;
    /// Below 0 where they come in descending order.
    double separation = 0.0;
};

/// The offsets along the normal. Those that do not begin with 0 are positions along the patient's
/// z, of transversal planes.
std::vector<double> readOffsets(const AttributeReader& attributes, const ImagePlane& plane,
                                int count) {
    std::vector<double> offsets =
        attributes.numbers(DCM_GridFrameOffsetVector, static_cast<std::size_t>(count));
    if (offsets.front() == 0.0) {
        return offsets;
    }
    constexpr double kTransversal = 1e-6;
    if (std::abs(std::abs(plane.normal.z) - 1.0) > kTransversal ||
        std::abs(offsets.front() - plane.position.z) > kPlaneTolerance) {
        throw Unusable("has grid frame offsets that do not begin at its first plane");
    }
    const double first = offsets.front();
    const double direction = plane.normal.z > 0.0 ? 1.0 : -1.0;
    for (double& offset : offsets) {
        offset = (offset - first) * direction;
    }
    return offsets;
}

double readSeparation(const AttributeReader& attributes, const ImagePlane& plane, int count) {
    const std::vector<double> offsets = readOffsets(attributes, plane, count);
    const double separation = (offsets.back() - offsets.front()) / (count - 1);
    for (int i = 0; i < count; ++i) {
        const double offset = offsets[static_cast<std::size_t>(i)];
        if (!(std::abs(offset - i * separation) <= kPlaneTolerance)) {
            throw Unusable("has planes that are not equally far apart");
        }
    }
    return separation;
}

double readThickness(const AttributeReader& attributes, const std::string& file,
                     Messages& messages) {
    const double given = attributes.findNumber(DCM_SliceThickness).value_or(0.0);
    const double thickness = given > 0.0 ? given : kDefaultThickness;
    messages.note(file,
                  fmt::format("has a single plane, which is taken to be {} mm thick", thickness));
    return thickness;
}

Planes readPlanes(const AttributeReader& attributes, const ImagePlane& plane,
                  const std::string& file, Messages& messages) {
    Planes planes;
    planes.count = attributes.findInteger(DCM_NumberOfFrames).value_or(1);
    if (planes.count < 1) {
        throw Unusable("has no planes");
    }
    planes.separation = planes.count == 1 ? readThickness(attributes, file, messages)
                                          : readSeparation(attributes, plane, planes.count);
    const double distance = std::abs(planes.separation);
    if (distance <= kPlaneTolerance || distance > kLargestSeparation) {
        throw Unusable(fmt::format("has planes {} mm apart, which cannot be", distance));
    }
    return planes;
}

/// The planes in ascending order, which those of the file need not have.
void reversePlanes(QVolume<unsigned int>& values) {
    const int count = values.GetZSize();
    for (int z = 0; z < count / 2; ++z) {
        const auto low = values.GetSpanXY(z);
        std::swap_ranges(low.begin(), low.end(), values.GetSpanXY(count - 1 - z).begin());
    }
}

void readValues(DicomFile& file, const ImagePlane& plane, const Planes& planes, DoseGrid& dose) {
    const PixelFormat format(file.attributes());
    if (format.isSigned) {
        throw Unusable("holds signed values, which are dose errors and no doses");
    }
    const std::uint64_t count = static_cast<std::uint64_t>(plane.columns) *
                                static_cast<std::uint64_t>(plane.rows) *
                                static_cast<std::uint64_t>(planes.count);
    requirePixels(file, format, count);
    dose.values.SetResMM(plane.columnSpacing, plane.rowSpacing, std::abs(planes.separation));
    dose.values.SetSize(plane.columns, plane.rows, planes.count);
    readPixels(file, format, count, dose.values.begin());
    if (planes.separation < 0.0) {
        reversePlanes(dose.values);
    }
}

void readMeaning(const AttributeReader& attributes, DoseGrid& dose, Messages& messages) {
    if (!attributes.has(DCM_DoseGridScaling)) {
        throw Unusable("has no dose grid scaling, so that its values mean nothing");
    }
    dose.scale = attributes.number(DCM_DoseGridScaling);
    if (dose.scale < kSmallestScale || dose.scale > kLargestScale) {
        throw Unusable(fmt::format("has a dose grid scaling of {}, which cannot be", dose.scale));
    }
    dose.units = attributes.text(DCM_DoseUnits);
    if (dose.units != "GY" && dose.units != "RELATIVE") {
        throw Unusable(
            fmt::format("has the dose units {}, not GY or RELATIVE", inQuotes(dose.units)));
    }
    const std::string type = attributes.text(DCM_DoseType);
    if (type == "ERROR") {
        throw Unusable("holds dose errors and no doses");
    }
    if (type != "PHYSICAL") {
        messages.warn(dose.file, fmt::format("has the dose type {}, not PHYSICAL; its values are "
                                             "used as they are",
                                             inQuotes(type)));
    }
    dose.summationType = attributes.text(DCM_DoseSummationType);
}

}  // namespace

DoseGrid readDose(const FoundObject& object, Messages& messages) {
    DicomFile file(object.path, DicomFile::Extent::Whole);
    const AttributeReader attributes = file.attributes();
    DoseGrid dose;
    dose.file = object.file;
    dose.instanceUid = object.instanceUid;
    dose.planUid = object.references.empty() ? "" : object.references.front();
    readMeaning(attributes, dose, messages);
    const ImagePlane plane(attributes);
    const Planes planes = readPlanes(attributes, plane, object.file, messages);
    readValues(file, plane, planes, dose);
    const double lowest = std::min(0.0, (planes.count - 1) * planes.separation);
    dose.transform = plane.centredTransform(lowest, planes.count, std::abs(planes.separation));
    return dose;
}

}  // namespace app
