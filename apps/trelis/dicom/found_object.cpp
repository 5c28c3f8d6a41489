#include <algorithm>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/folder_scan.h>
#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/dicom/image_plane.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

struct SopClass {
    const char* uid;
    ObjectKind kind;
    const char* modality;
};

constexpr SopClass kClasses[] = {
    {UID_CTImageStorage, ObjectKind::Image, "CT"},
    {UID_MRImageStorage, ObjectKind::Image, "MR"},
    {UID_PositronEmissionTomographyImageStorage, ObjectKind::Image, "PT"},
    {UID_RTStructureSetStorage, ObjectKind::Structures, ""},
    {UID_RTDoseStorage, ObjectKind::Dose, ""},
    {UID_RTPlanStorage, ObjectKind::Plan, ""},
};

constexpr const char* kMultiFrameClasses[] = {
    UID_EnhancedCTImageStorage,
    UID_EnhancedMRImageStorage,
    UID_EnhancedPETImageStorage,
    UID_LegacyConvertedEnhancedCTImageStorage,
    UID_LegacyConvertedEnhancedMRImageStorage,
    UID_LegacyConvertedEnhancedPETImageStorage,
};

void addUnique(std::vector<std::string>& texts, const std::string& text) {
    if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) {
        texts.push_back(text);
    }
}

void addReferences(const AttributeReader& attributes, const DcmTagKey& sequence,
                   FoundObject& object) {
    for (const AttributeReader& item : attributes.items(sequence)) {
        addUnique(object.references, item.text(DCM_ReferencedSOPInstanceUID));
    }
}

void readStructureLinks(const AttributeReader& attributes, FoundObject& object) {
    for (const AttributeReader& frame : attributes.items(DCM_ReferencedFrameOfReferenceSequence)) {
        addUnique(object.frames, frame.text(DCM_FrameOfReferenceUID));
        for (const AttributeReader& study : frame.items(DCM_RTReferencedStudySequence)) {
            for (const AttributeReader& series : study.items(DCM_RTReferencedSeriesSequence)) {
                addUnique(object.references, series.text(DCM_SeriesInstanceUID));
            }
        }
    }
    for (const AttributeReader& roi : attributes.items(DCM_StructureSetROISequence)) {
        addUnique(object.frames, roi.text(DCM_ReferencedFrameOfReferenceUID));
    }
    for (const AttributeReader& drawing : attributes.items(DCM_ROIContourSequence)) {
        object.contours += drawing.items(DCM_ContourSequence).size();
    }
}

void readDoseLinks(const AttributeReader& attributes, FoundObject& object) {
    object.summationType = attributes.text(DCM_DoseSummationType);
    addReferences(attributes, DCM_ReferencedRTPlanSequence, object);
    for (const AttributeReader& plan : attributes.items(DCM_ReferencedRTPlanSequence)) {
        const std::string uid = plan.text(DCM_ReferencedSOPInstanceUID);
        for (const AttributeReader& group : plan.items(DCM_ReferencedFractionGroupSequence)) {
            for (const AttributeReader& beam : group.items(DCM_ReferencedBeamSequence)) {
                addUnique(object.beams, uid + ' ' + beam.text(DCM_ReferencedBeamNumber));
            }
        }
    }
}

double heightOf(const AttributeReader& attributes) {
    try {
        const ImagePlane plane(attributes);
        return plane.position.Dot(plane.normal);
    } catch (const Unusable&) {
        return std::numeric_limits<double>::quiet_NaN();
    }
}

void readLinks(const AttributeReader& attributes, FoundObject& object) {
    object.instanceUid = attributes.text(DCM_SOPInstanceUID);
    object.seriesUid = attributes.text(DCM_SeriesInstanceUID);
    object.studyUid = attributes.text(DCM_StudyInstanceUID);
    object.patientId = attributes.text(DCM_PatientID);
    object.patientName = personName(attributes.text(DCM_PatientName));
    object.studyDescription = attributes.text(DCM_StudyDescription);
    object.seriesDescription = attributes.text(DCM_SeriesDescription);
    addUnique(object.frames, attributes.text(DCM_FrameOfReferenceUID));
    switch (object.kind) {
        case ObjectKind::Image:
            object.height = heightOf(attributes);
            object.patientPosition = attributes.text(DCM_PatientPosition);
            break;
        case ObjectKind::Structures:
            readStructureLinks(attributes, object);
            break;
        case ObjectKind::Dose:
            readDoseLinks(attributes, object);
            break;
        case ObjectKind::Plan:
            addReferences(attributes, DCM_ReferencedStructureSetSequence, object);
            break;
    }
}

/// Nothing where the file only begins as a data set might and is none.
std::optional<DicomFile> openObject(const FoundFile& found) {
    try {
        return DicomFile(found.path, DicomFile::Extent::BeforePixels);
    } catch (const DamagedObject&) {
        throw;
    } catch (const Unusable&) {
        if (found.isMarked || found.isNamed) {
            throw;
        }
        return std::nullopt;
    }
}

/// Null for an object of a kind that is not evaluated.
const SopClass* classOf(const FoundFile& found, const DicomFile& file, Messages& messages) {
    const std::string uid = file.sopClassUid();
    if (uid.empty() && (found.isMarked || found.isNamed)) {
        throw Unusable("does not say what kind of object it holds");
    }
    if (std::find(std::begin(kMultiFrameClasses), std::end(kMultiFrameClasses), uid) !=
        std::end(kMultiFrameClasses)) {
        throw Unusable("is an enhanced image of many frames, which is not supported");
    }
    if (uid == UID_RTIonPlanStorage) {
        messages.note(found.name, "is an ion plan, which is not supported");
    }
    const auto* sopClass = std::find_if(std::begin(kClasses), std::end(kClasses),
                                        [&](const SopClass& known) { return known.uid == uid; });
    return sopClass == std::end(kClasses) ? nullptr : sopClass;
}

/// Nothing where the file holds no object of a kind that is evaluated.
std::optional<FoundObject> identify(const FoundFile& found, Messages& messages) {
    const std::optional<DicomFile> file = openObject(found);
    const SopClass* sopClass = file ? classOf(found, *file, messages) : nullptr;
    if (sopClass == nullptr) {
        return std::nullopt;
    }
    if (!file->hasKnownCharacters()) {
        messages.note(found.name,
                      "has texts in a character set that is not supported; its names "
                      "may be wrong");
    }
    FoundObject object;
    object.path = found.path;
    object.file = found.name;
    object.kind = sopClass->kind;
    object.modality = sopClass->modality;
    readLinks(file->attributes(), object);
    return object;
}

}  // namespace

FoundObjects findObjects(const std::filesystem::path& folder, Messages& messages, Phases& phases) {
    FProgressReportingBody& progress = phases.begin("find objects");
    const FolderContents contents = scanFolder(folder, messages);
    FoundObjects found;
    found.skippedFiles = contents.otherFiles;
    for (std::size_t i = 0; i < contents.files.size(); ++i) {
        const FoundFile& file = contents.files[i];
        progress.ReportProgress(static_cast<double>(i) /
                                static_cast<double>(contents.files.size()));
        reportUnusable(file.name, messages, [&] {
            if (std::optional<FoundObject> object = identify(file, messages)) {
                found.objects.push_back(std::move(*object));
            } else {
                ++found.skippedFiles;
            }
        });
    }
    phases.end(fmt::format("{} objects, other files skipped: {}", found.objects.size(),
                           found.skippedFiles));
    return found;
}

}  // namespace app
