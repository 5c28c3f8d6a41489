#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/phantom/attributes.h>
#include <apps/trelis/phantom/dicom_writer.h>

namespace app {
namespace {

constexpr const char* kDate = "20200101";
constexpr const char* kTime = "120000";
constexpr const char* kManufacturer = "trelis";

/// Writes the data set that a function fills; every failure names the file.
template <typename Fill>
void writeObject(const std::filesystem::path& file, const Fill& fill) {
    DcmFileFormat object;
    try {
        fill(Attributes(*object.getDataset()));
        saveObject(file, object);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            fmt::format("{} cannot be written: {}", file.string(), error.what()));
    }
}

std::vector<double> numbersOf(const Vector& vector) { return {vector.x, vector.y, vector.z}; }

std::vector<double> orientation(const Vector& row, const Vector& column) {
    return {row.x, row.y, row.z, column.x, column.y, column.z};
}

void putHeader(Attributes object, const ObjectHeader& header, const char* sopClass,
               const std::string& modality) {
    object.put(DCM_SpecificCharacterSet, "ISO_IR 192");
    object.put(DCM_InstanceCreationDate, kDate);
    object.put(DCM_InstanceCreationTime, kTime);
    object.put(DCM_SOPClassUID, sopClass);
    object.put(DCM_SOPInstanceUID, header.instanceUid);

    object.put(DCM_PatientName, header.patientName);
    object.put(DCM_PatientID, header.patientId);
    object.putEmpty(DCM_PatientBirthDate);
    object.put(DCM_PatientSex, "O");

    object.put(DCM_StudyInstanceUID, header.studyUid);
    object.put(DCM_StudyDate, kDate);
    object.put(DCM_StudyTime, kTime);
    object.put(DCM_StudyID, "1");
    object.put(DCM_StudyDescription, header.studyDescription);
    object.putEmpty(DCM_AccessionNumber);
    object.putEmpty(DCM_ReferringPhysicianName);

    object.put(DCM_Modality, modality);
    object.put(DCM_SeriesInstanceUID, header.seriesUid);
    object.put(DCM_SeriesNumber, header.seriesNumber);
    object.put(DCM_SeriesDescription, header.seriesDescription);
    object.putEmpty(DCM_OperatorsName);
    object.put(DCM_InstanceNumber, header.instanceNumber);
    object.put(DCM_Manufacturer, kManufacturer);
    object.put(DCM_ManufacturerModelName, "phantom");
    object.put(DCM_SoftwareVersions, "1");

    object.put(DCM_FrameOfReferenceUID, header.frameUid);
    object.putEmpty(DCM_PositionReferenceIndicator);
}

void putReference(Attributes item, const char* sopClass, const std::string& instanceUid) {
    item.put(DCM_ReferencedSOPClassUID, sopClass);
    item.put(DCM_ReferencedSOPInstanceUID, instanceUid);
}

/// Of an image or a dose, whose attributes of the plane are the same.
template <typename Object>
void putPlane(Attributes attributes, const Object& object) {
    attributes.put(DCM_ImagePositionPatient, numbersOf(object.position));
    attributes.put(DCM_ImageOrientationPatient,
                   orientation(object.rowDirection, object.columnDirection));
    attributes.put(DCM_PixelSpacing, std::vector<double>{object.rowSpacing, object.columnSpacing});
}

void putPixelFormat(Attributes object, int columns, int rows, int bitsAllocated, int bitsStored,
                    bool isSigned) {
    object.put(DCM_SamplesPerPixel, 1);
    object.put(DCM_PhotometricInterpretation, "MONOCHROME2");
    object.put(DCM_Rows, rows);
    object.put(DCM_Columns, columns);
    object.put(DCM_BitsAllocated, bitsAllocated);
    object.put(DCM_BitsStored, bitsStored);
    object.put(DCM_HighBit, bitsStored - 1);
    object.put(DCM_PixelRepresentation, isSigned ? 1 : 0);
}

const char* imageClass(std::string_view modality) {
    if (modality == "MR") {
        return UID_MRImageStorage;
    }
    return modality == "PT" ? UID_PositronEmissionTomographyImageStorage : UID_CTImageStorage;
}

void putImage(Attributes object, const ImageObject& image) {
    putHeader(object, image.header, imageClass(image.modality), image.modality);
    object.put(DCM_ImageType, "ORIGINAL\\PRIMARY\\AXIAL");
    object.put(DCM_ContentDate, kDate);
    object.put(DCM_ContentTime, kTime);
    object.put(DCM_AcquisitionNumber, 1);
    object.put(DCM_PatientPosition, image.patientPosition);
    if (image.modality == "CT") {
        object.put(DCM_KVP, 120.0);
    }
    putPlane(object, image);
    object.put(DCM_SliceThickness, image.thickness);
    if (image.rescaleSlope) {
        object.put(DCM_RescaleSlope, *image.rescaleSlope);
    }
    if (image.rescaleIntercept) {
        object.put(DCM_RescaleIntercept, *image.rescaleIntercept);
        object.put(DCM_RescaleType, image.modality == "CT" ? "HU" : "US");
    }
    putPixelFormat(object, image.columns, image.rows, 16, image.bitsStored, image.signedPixels);
    object.putPixels({image.pixels.begin(), image.pixels.end()});
}

/// The frame of reference of structures with the images that they are drawn on.
void putReferencedFrame(Attributes object, const StructureSetObject& structureSet) {
    Attributes frame = object.append(DCM_ReferencedFrameOfReferenceSequence);
    frame.put(DCM_FrameOfReferenceUID, structureSet.header.frameUid);
    if (structureSet.imageSeriesUid.empty()) {
        return;
    }
    // The class of the study that objects of this kind name, retired everywhere else.
    constexpr const char* kStudyClass = "1.2.840.10008.3.1.2.3.1";
    Attributes study = frame.append(DCM_RTReferencedStudySequence);
    putReference(study, kStudyClass, structureSet.header.studyUid);
    Attributes series = study.append(DCM_RTReferencedSeriesSequence);
    series.put(DCM_SeriesInstanceUID, structureSet.imageSeriesUid);
    for (const ImageReference& image : structureSet.images) {
        putReference(series.append(DCM_ContourImageSequence), imageClass(image.modality),
                     image.instanceUid);
    }
}

void putContour(Attributes contour, const std::vector<Vector>& points,
                const std::vector<ImageReference>& images) {
    constexpr double kSamePlane = 0.01;  // mm
    for (const ImageReference& image : images) {
        if (!points.empty() && std::abs(image.z - points.front().z) <= kSamePlane) {
            putReference(contour.append(DCM_ContourImageSequence), imageClass(image.modality),
                         image.instanceUid);
            break;
        }
    }
    std::vector<double> coordinates;
    coordinates.reserve(3 * points.size());
    for (const Vector& point : points) {
        coordinates.insert(coordinates.end(), {point.x, point.y, point.z});
    }
    contour.put(DCM_ContourGeometricType, "CLOSED_PLANAR");
    contour.put(DCM_NumberOfContourPoints, static_cast<int>(points.size()));
    contour.put(DCM_ContourData, coordinates);
}

void putStructure(Attributes object, const StructureSetObject& structureSet,
                  const Structure& structure) {
    Attributes roi = object.append(DCM_StructureSetROISequence);
    roi.put(DCM_ROINumber, structure.number);
    roi.put(DCM_ReferencedFrameOfReferenceUID, structureSet.header.frameUid);
    roi.put(DCM_ROIName, structure.name);
    roi.put(DCM_ROIGenerationAlgorithm, "AUTOMATIC");

    Attributes drawing = object.append(DCM_ROIContourSequence);
    drawing.put(DCM_ReferencedROINumber, structure.number);
    drawing.put(DCM_ROIDisplayColor, fmt::format("{}", fmt::join(structure.colour, "\\")));
    for (const std::vector<Vector>& contour : structure.contours) {
        putContour(drawing.append(DCM_ContourSequence), contour, structureSet.images);
    }

    Attributes observation = object.append(DCM_RTROIObservationsSequence);
    observation.put(DCM_ObservationNumber, structure.number);
    observation.put(DCM_ReferencedROINumber, structure.number);
    observation.put(DCM_RTROIInterpretedType, structure.type);
    observation.putEmpty(DCM_ROIInterpreter);
}

void putStructureSet(Attributes object, const StructureSetObject& structureSet) {
    putHeader(object, structureSet.header, UID_RTStructureSetStorage, "RTSTRUCT");
    object.put(DCM_StructureSetLabel, structureSet.label);
    object.put(DCM_StructureSetDate, kDate);
    object.put(DCM_StructureSetTime, kTime);
    putReferencedFrame(object, structureSet);
    for (const Structure& structure : structureSet.structures) {
        putStructure(object, structureSet, structure);
    }
}

void putReferencedPlan(Attributes object, const DoseObject& dose) {
    if (dose.planUid.empty()) {
        return;
    }
    Attributes plan = object.append(DCM_ReferencedRTPlanSequence);
    putReference(plan, UID_RTPlanStorage, dose.planUid);
    if (dose.beamNumbers.empty()) {
        return;
    }
    Attributes group = plan.append(DCM_ReferencedFractionGroupSequence);
    group.put(DCM_ReferencedFractionGroupNumber, 1);
    for (const int number : dose.beamNumbers) {
        group.append(DCM_ReferencedBeamSequence).put(DCM_ReferencedBeamNumber, number);
    }
}

std::vector<std::uint16_t> wordsOf(const DoseObject& dose) {
    constexpr int kWordBits = 16;
    std::vector<std::uint16_t> words;
    words.reserve(dose.values.size() * 2);
    for (const std::uint32_t value : dose.values) {
        words.push_back(static_cast<std::uint16_t>(value));
        if (dose.bits > kWordBits) {
            words.push_back(static_cast<std::uint16_t>(value >> kWordBits));
        }
    }
    return words;
}

void putDose(Attributes object, const DoseObject& dose) {
    putHeader(object, dose.header, UID_RTDoseStorage, "RTDOSE");
    object.put(DCM_ContentDate, kDate);
    object.put(DCM_ContentTime, kTime);
    putPlane(object, dose);
    object.putEmpty(DCM_SliceThickness);
    putPixelFormat(object, dose.columns, dose.rows, dose.bits, dose.bits, false);
    object.put(DCM_NumberOfFrames, static_cast<int>(dose.planeOffsets.size()));
    object.put(DCM_FrameIncrementPointer, DCM_GridFrameOffsetVector.toString().c_str());
    object.put(DCM_DoseUnits, dose.units);
    object.put(DCM_DoseType, dose.type);
    object.put(DCM_DoseSummationType, dose.summationType);
    object.put(DCM_GridFrameOffsetVector, dose.planeOffsets);
    object.put(DCM_DoseGridScaling, dose.scale);
    putReferencedPlan(object, dose);
    object.putPixels(wordsOf(dose));
}

/// One collimating device: its type, its pairs' edges (of leaves), positions of the lower and then
/// of the upper bank.
struct Device {
    std::string type;
    std::vector<double> boundaries;
    std::vector<double> positions;
};

std::vector<Device> devicesOf(const Beam& beam) {
    std::vector<Device> devices;
    const NControlPoint::Collimator& jaws = beam.plannedJaws;
    if (std::isfinite(jaws.X1) && std::isfinite(jaws.X2)) {
        devices.push_back({"ASYMX", {}, {jaws.X1, jaws.X2}});
    }
    if (std::isfinite(jaws.Y1) && std::isfinite(jaws.Y2)) {
        devices.push_back({"ASYMY", {}, {jaws.Y1, jaws.Y2}});
    }
    if (!beam.leafBoundaries.empty()) {
        std::vector<double> positions = beam.plannedLeft;
        positions.insert(positions.end(), beam.plannedRight.begin(), beam.plannedRight.end());
        devices.push_back({beam.leavesAlongY ? "MLCY" : "MLCX", beam.leafBoundaries, positions});
    }
    return devices;
}

void putDevices(Attributes item, const std::vector<Device>& devices) {
    for (const Device& device : devices) {
        Attributes entry = item.append(DCM_BeamLimitingDeviceSequence);
        const bool isJaw = device.boundaries.empty();
        entry.put(DCM_RTBeamLimitingDeviceType, device.type);
        entry.put(DCM_NumberOfLeafJawPairs,
                  isJaw ? 1 : static_cast<int>(device.boundaries.size()) - 1);
        if (!isJaw) {
            entry.put(DCM_LeafPositionBoundaries, device.boundaries);
        }
    }
}

void putAngle(Attributes point, const DcmTagKey& angle, const DcmTagKey& direction,
              double radians) {
    point.put(angle, radians * 180.0 / std::numbers::pi);
    point.put(direction, "NONE");
}

/// The first control point, which holds what does not change.
void putShape(Attributes point, const Beam& beam, const std::vector<Device>& devices) {
    point.put(DCM_NominalBeamEnergy, 6.0);
    for (const Device& device : devices) {
        if (!device.positions.empty()) {
            Attributes entry = point.append(DCM_BeamLimitingDevicePositionSequence);
            entry.put(DCM_RTBeamLimitingDeviceType, device.type);
            entry.put(DCM_LeafJawPositions, device.positions);
        }
    }
    const trelis::BeamGeometry& geometry = beam.geometry;
    putAngle(point, DCM_GantryAngle, DCM_GantryRotationDirection, geometry.gantryAngle);
    putAngle(point, DCM_BeamLimitingDeviceAngle, DCM_BeamLimitingDeviceRotationDirection,
             geometry.collimatorAngle);
    putAngle(point, DCM_PatientSupportAngle, DCM_PatientSupportRotationDirection,
             geometry.couchAngle);
    putAngle(point, DCM_TableTopEccentricAngle, DCM_TableTopEccentricRotationDirection, 0.0);
    putAngle(point, DCM_TableTopPitchAngle, DCM_TableTopPitchRotationDirection, 0.0);
    putAngle(point, DCM_TableTopRollAngle, DCM_TableTopRollRotationDirection, 0.0);
    point.putEmpty(DCM_TableTopVerticalPosition);
    point.putEmpty(DCM_TableTopLongitudinalPosition);
    point.putEmpty(DCM_TableTopLateralPosition);
    const Vector& isocentre = geometry.isocentre;
    if (std::isfinite(isocentre.x) && std::isfinite(isocentre.y) && std::isfinite(isocentre.z)) {
        point.put(DCM_IsocenterPosition, numbersOf(isocentre));
    }
}

void putBeam(Attributes item, const Beam& beam) {
    const std::vector<Device> devices = devicesOf(beam);
    item.put(DCM_BeamNumber, beam.number);
    item.put(DCM_BeamName, beam.name);
    item.put(DCM_BeamType, "STATIC");
    item.put(DCM_RadiationType, "PHOTON");
    item.putEmpty(DCM_TreatmentMachineName);
    item.put(DCM_PrimaryDosimeterUnit, "MU");
    item.put(DCM_SourceAxisDistance, beam.geometry.sourceAxisDistance);
    putDevices(item, devices);
    item.put(DCM_ReferencedPatientSetupNumber, 1);
    item.put(DCM_TreatmentDeliveryType, "TREATMENT");
    for (const DcmTagKey& count :
         {DCM_NumberOfWedges, DCM_NumberOfCompensators, DCM_NumberOfBoli, DCM_NumberOfBlocks}) {
        item.put(count, 0);
    }
    item.put(DCM_FinalCumulativeMetersetWeight, 1.0);
    item.put(DCM_NumberOfControlPoints, 2);
    for (int index = 0; index < 2; ++index) {
        Attributes point = item.append(DCM_ControlPointSequence);
        point.put(DCM_ControlPointIndex, index);
        point.put(DCM_CumulativeMetersetWeight, static_cast<double>(index));
        if (index == 0) {
            putShape(point, beam, devices);
        }
    }
}

void putFractions(Attributes object, const PlanObject& plan) {
    Attributes group = object.append(DCM_FractionGroupSequence);
    group.put(DCM_FractionGroupNumber, 1);
    group.put(DCM_NumberOfFractionsPlanned, 1);
    group.put(DCM_NumberOfBeams, static_cast<int>(plan.beams.size()));
    group.put(DCM_NumberOfBrachyApplicationSetups, 0);
    for (const Beam& beam : plan.beams) {
        Attributes reference = group.append(DCM_ReferencedBeamSequence);
        reference.put(DCM_ReferencedBeamNumber, beam.number);
        reference.put(DCM_BeamMeterset, 100.0);
    }
}

void putPlan(Attributes object, const PlanObject& plan) {
    putHeader(object, plan.header, UID_RTPlanStorage, "RTPLAN");
    object.put(DCM_RTPlanLabel, plan.label);
    object.put(DCM_RTPlanDate, kDate);
    object.put(DCM_RTPlanTime, kTime);
    object.put(DCM_RTPlanGeometry, plan.structureSetUid.empty() ? "TREATMENT_DEVICE" : "PATIENT");
    if (!plan.structureSetUid.empty()) {
        putReference(object.append(DCM_ReferencedStructureSetSequence), UID_RTStructureSetStorage,
                     plan.structureSetUid);
    }
    Attributes setup = object.append(DCM_PatientSetupSequence);
    setup.put(DCM_PatientSetupNumber, 1);
    setup.put(DCM_PatientPosition, plan.patientPosition);
    putFractions(object, plan);
    for (const Beam& beam : plan.beams) {
        putBeam(object.append(DCM_BeamSequence), beam);
    }
}

}  // namespace

void writeImage(const std::filesystem::path& file, const ImageObject& image) {
    writeObject(file, [&](Attributes object) { putImage(object, image); });
}

void writeStructureSet(const std::filesystem::path& file, const StructureSetObject& structureSet) {
    writeObject(file, [&](Attributes object) { putStructureSet(object, structureSet); });
}

void writeDose(const std::filesystem::path& file, const DoseObject& dose) {
    writeObject(file, [&](Attributes object) { putDose(object, dose); });
}

void writePlan(const std::filesystem::path& file, const PlanObject& plan) {
    writeObject(file, [&](Attributes object) { putPlan(object, plan); });
}

}  // namespace app
