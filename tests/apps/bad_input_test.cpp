#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>

#include <gtest/gtest.h>

#include <apps/trelis/dicom/read_study.h>

#include <tests/apps/small_study.h>

namespace fs = std::filesystem;

namespace {

using app::Severity;
using Breaking = std::function<void(const fs::path&)>;
using Edit = std::function<void(DcmItem&)>;

/// Numbers of images, structures, doses and beams that are read, and of files skipped.
using Counts = std::array<std::size_t, 5>;
constexpr Counts kAll{4, 2, 2, 2, 0};
constexpr Counts kNoImage{3, 2, 2, 2, 0};
constexpr Counts kNoStructure{4, 1, 2, 2, 0};
constexpr Counts kNoDose{4, 2, 1, 2, 0};
constexpr Counts kNoBeam{4, 2, 2, 1, 0};
constexpr Counts kNoPlan{4, 2, 2, 0, 0};

constexpr const char* kImage = "ct-1.dcm";
constexpr const char* kSet = "structures.dcm";
constexpr const char* kDose = "dose-1.dcm";
constexpr const char* kPlan = "plan.dcm";

/// A file of the small study, what is done to it, and what is said of it.
struct Case {
    const char* file;
    Breaking breakIt;
    const char* text;
    Counts counts;
    Severity severity = Severity::Fault;
};

/// Edits the first item of the innermost of nested sequences, or the data set.
Breaking edited(const Edit& edit, const std::vector<DcmTagKey>& sequences = {}) {
    return [=](const fs::path& file) {
        editFile(file, [&](DcmItem& dataset) {
            DcmItem* item = &dataset;
            for (const DcmTagKey& sequence : sequences) {
                ASSERT_TRUE(item->findAndGetSequenceItem(sequence, item).good());
            }
            edit(*item);
        });
    };
}

Breaking without(const DcmTagKey& tag, const std::vector<DcmTagKey>& sequences = {}) {
    return edited([=](DcmItem& item) { item.findAndDeleteElement(tag); }, sequences);
}

Breaking with(const DcmTagKey& tag, const char* value,
              const std::vector<DcmTagKey>& sequences = {}) {
    return edited([=](DcmItem& item) { item.putAndInsertString(tag, value); }, sequences);
}

const std::vector<DcmTagKey> kRoi{DCM_StructureSetROISequence};
const std::vector<DcmTagKey> kDrawing{DCM_ROIContourSequence};
const std::vector<DcmTagKey> kContour{DCM_ROIContourSequence, DCM_ContourSequence};
const std::vector<DcmTagKey> kBeam{DCM_BeamSequence};
const std::vector<DcmTagKey> kPoint{DCM_BeamSequence, DCM_ControlPointSequence};

void overwrite(const fs::path& file) {
    constexpr int kAfterMark = 140;
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).seekp(kAfterMark)
        << std::string(2000, '\xA5');
}

/// Each of the sequences holds one item that holds the next.
void nestDeeply(const fs::path& file) {
    std::ofstream stream(file, std::ios::app | std::ios::binary);
    for (int i = 0; i < 200000; ++i) {
        stream.write("\x06\x30\x20\0SQ\0\0\xFF\xFF\xFF\xFF\xFE\xFF\0\xE0\xFF\xFF\xFF\xFF", 20);
    }
}

void compressUndecodably(const fs::path& file) {
    const Edit edit = [](DcmItem& item) {
        auto* sequence = new DcmPixelSequence(DCM_PixelSequenceTag);
        sequence->insert(new DcmPixelItem(DCM_PixelItemTag));
        auto* stream = new DcmPixelItem(DCM_PixelItemTag);
        stream->putUint8Array(reinterpret_cast<const Uint8*>("\xFF\x4F\xFF\x51"), 4);
        sequence->insert(stream);
        auto* pixels = new DcmPixelData(DCM_PixelData);
        pixels->putOriginalRepresentation(EXS_JPEG2000, nullptr, sequence);
        item.insert(pixels, OFTrue);
    };
    editFile(file, edit, EXS_JPEG2000);
}

void breakLeafEdges(DcmItem& beam) {
    DcmItem* leaves = nullptr;
    beam.findAndGetSequenceItem(DCM_BeamLimitingDeviceSequence, leaves, 2);
    leaves->putAndInsertString(DCM_LeafPositionBoundaries, "0\\10\\5");
}

Breaking cutTo(std::uintmax_t bytes) {
    return [=](const fs::path& file) { fs::resize_file(file, bytes); };
}

Breaking withFirstContour(const char* points) { return with(DCM_ContourData, points, kContour); }

/// As it was before files had headers, and damaged.
void addHeadlessDose(const fs::path& file) {
    std::ifstream whole(file.parent_path() / kDose, std::ios::binary);
    std::string bytes(400, '\0');
    whole.seekg(132).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    std::ofstream(file, std::ios::binary) << bytes;
}

/// As writers do that have no room for the length of a long value.
void forgetType(DcmItem& contour) {
    OFString text;
    contour.findAndGetOFStringArray(DCM_ContourData, text);
    auto* element = new DcmOtherByteOtherWord(DcmTag(DCM_ContourData, EVR_UN));
    element->putUint8Array(reinterpret_cast<const Uint8*>(text.data()), text.size());
    contour.insert(element, OFTrue);
}

void renameWithoutIds(const fs::path& file) {
    for (const fs::directory_entry& entry : fs::directory_iterator(file.parent_path())) {
        with(DCM_PatientID, "")(entry.path());
    }
    with(DCM_PatientName, "Other")(file);
}

void addOtherSeries(const fs::path& file) {
    app::ImageObject image = smallImage(0);
    image.header = smallHeader("5", "5");
    app::writeImage(file, image);
}

const Case kCases[] = {
    {kImage, [](const fs::path& f) { fs::resize_file(f, fs::file_size(f) - 5); },
     "is truncated or damaged", kNoImage},
    {kDose, cutTo(400), "is truncated", kNoDose},
    {kDose, cutTo(0), "does not begin like one", kNoDose},
    {kDose, cutTo(100), "does not begin like one", kNoDose},
    {"headless", addHeadlessDose, "is truncated", kAll},
    {kPlan, overwrite, "is truncated or damaged", kNoPlan},
    {kPlan, nestDeeply, "nested too deep", kNoPlan},
    {kImage, compressUndecodably, "compressed pixel data (JPEG 2000", kNoImage},
    {kImage, with(DCM_SOPClassUID, UID_EnhancedCTImageStorage), "is an enhanced image", kNoImage},
    {kImage, with(DCM_ImagePositionPatient, "0\\nan\\0"),
     "\"nan\" for a number in image position patient", kNoImage},
    {kImage, with(DCM_ImageOrientationPatient, "1\\0\\0\\0.1\\1\\0"), "right angles", kNoImage},
    {kImage, with(DCM_PhotometricInterpretation, "MONOCHROME1"), "MONOCHROME1", kNoImage},
    {"ct-0.dcm", with(DCM_FrameOfReferenceUID, "2.9"), "", kAll},
    {"ct-0.dcm", with(DCM_StudyInstanceUID, "2.9"), "belongs to another study", kNoImage},
    {kImage, without(DCM_PixelSpacing), "has no pixel spacing", kNoImage},
    {kImage, without(DCM_RescaleSlope), "has no rescale slope", kNoImage},
    {kImage, edited([](DcmItem& item) { item.putAndInsertUint16(DCM_Rows, 65535); }),
     "declares 524280 bytes of pixels but has 24", kNoImage},
    {"other.dcm", addOtherSeries, "the series that the structures refer to", kAll, Severity::Note},
    {kDose, without(DCM_DoseGridScaling), "has no dose grid scaling", kNoDose},
    {kDose, with(DCM_DoseGridScaling, "0"), "scaling of 0, which cannot be", kNoDose},
    {kDose, with(DCM_FrameOfReferenceUID, "2.9"), "reference that does not match", kNoDose},
    {kDose, with(DCM_GridFrameOffsetVector, "0\\5\\10\\16"), "not equally far apart", kNoDose},
    {kDose, with(DCM_GridFrameOffsetVector, "1\\6\\11\\16"), "begin at its first", kNoDose},
    {kDose, with(DCM_NumberOfFrames, "2000000000"), "offset vector, not 2000000000", kNoDose},
    {kDose, edited([](DcmItem& item) { item.putAndInsertUint16(DCM_PixelRepresentation, 1); }),
     "holds signed values", kNoDose},
    {kDose, edited([](DcmItem& item) {
         item.putAndInsertUint16(DCM_BitsStored, 4);
         item.putAndInsertUint16(DCM_HighBit, 3);
     }),
     "beyond its stored bits", kNoDose},
    {kDose,
     [](const fs::path& f) {
         editFile(
             f, [](DcmItem&) {}, EXS_BigEndianExplicit);
     },
     "32 bits in big-endian order", kNoDose},
    {"dose-2.dcm", with(DCM_DoseUnits, "RELATIVE"), "unlike \"dose-1.dcm\" in GY", kNoDose},
    {kDose, with(DCM_DoseType, "EFFECTIVE"), "EFFECTIVE", kAll, Severity::Warning},
    {kDose, with(DCM_DoseSummationType, "PLAN"), "count doses twice", kAll, Severity::Warning},
    {kDose, edited([](DcmItem& item) {
         item.findAndDeleteElement(DCM_ReferencedRTPlanSequence);
         item.putAndInsertString(DCM_PatientID, "");
     }),
     "has no patient ID", kAll, Severity::Warning},
    {kDose, with(DCM_ReferencedSOPInstanceUID, "2.9", {DCM_ReferencedRTPlanSequence}),
     "belongs to another plan", kAll, Severity::Warning},
    {"dose-3.dcm", [](const fs::path& f) { fs::copy_file(f.parent_path() / kDose, f); },
     "has the instance UID of \"dose-1.dcm\"", kAll, Severity::Warning},
    {kDose, renameWithoutIds, "is of \"Other\", unlike", kAll, Severity::Warning},
    {kDose, with(DCM_PatientID, "S2"), "belongs to patient \"S2\"", kNoDose},
    {kSet, with(DCM_ContourData, "1\\2\\3\\1.2.3\\5\\6\\7\\8\\9", kContour),
     "\"One\" is left out: its contour 1 has \"1.2.3\" for a number", kNoStructure},
    {kSet, with(DCM_ContourData, "1\\2\\3\\inf\\5\\6\\7\\8\\9", kContour), "inf", kNoStructure},
    {kSet, with(DCM_ContourData, "1\\2\\3\\1e9\\5\\6\\7\\8\\9", kContour), "far", kNoStructure},
    {kSet, with(DCM_NumberOfContourPoints, "5", kContour), "5 points but has 4", kNoStructure},
    {kSet, with(DCM_ContourGeometricType, "OPEN_PLANAR", kContour), "OPEN_PLANAR", kNoStructure},
    {kSet, with(DCM_ReferencedFrameOfReferenceUID, "2.9", kRoi), "\"One\" has a frame",
     kNoStructure},
    {kSet, without(DCM_ContourSequence, kDrawing), "\"One\" has no contours", kNoStructure,
     Severity::Warning},
    {kSet, withFirstContour("-9\\-19\\4\\-9\\-16\\4\\-6\\-16\\4\\-6\\-19\\4"),
     "\"One\" has contours that repeat", kAll, Severity::Warning},
    {kSet, withFirstContour("-8\\-25\\4\\-7\\-25\\4\\-7\\-5\\4\\-8\\-5\\4"),
     "\"One\" has contours that cross", kAll, Severity::Warning},
    {kSet, withFirstContour("-6\\-19\\4\\-3\\-19\\4\\-3\\-16\\4\\-6\\-16\\4"), "", kAll},
    {kSet, edited(forgetType, kContour), "", kAll},
    {kPlan,
     with(DCM_SOPClassUID, UID_RTIonPlanStorage),
     "is an ion plan",
     {4, 2, 2, 0, 1},
     Severity::Note},
    {kPlan, with(DCM_SpecificCharacterSet, "ISO_IR 999"), "character set", kAll, Severity::Note},
    {kPlan, with(DCM_GantryAngle, "1e300", kPoint), "gantry angle of 1e+300", kNoBeam},
    {kPlan, without(DCM_IsocenterPosition, kPoint), "\"A\" is left out: it has no isocenter",
     kNoBeam},
    {kPlan, without(DCM_GantryAngle, kPoint), "has no gantry angle", kNoBeam},
    {kPlan, edited(breakLeafEdges, kBeam), "boundaries that do not ascend", kNoBeam},
    {kPlan, with(DCM_TableTopPitchAngle, "3", kPoint), "pitch angle of 3", kAll, Severity::Warning},
    {kPlan, without(DCM_SourceAxisDistance, kBeam), "1000 mm", kAll, Severity::Warning},
    {"pipe", [](const fs::path& f) { ASSERT_EQ(mkfifo(f.c_str(), 0600), 0); }, "", {4, 2, 2, 2, 1}},
    {"text", [](const fs::path& f) { std::ofstream(f) << "no object"; }, "", {4, 2, 2, 2, 1}},
    {"loop",
     [](const fs::path& f) { fs::create_directory_symlink(f.parent_path(), f); },
     "is a link to a folder",
     {4, 2, 2, 2, 1},
     Severity::Note},
};

}  // namespace

TEST(BadInput, IsToldAndTheRestOfTheStudyIsRead) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(std::string(test.file) + ": " + test.text);
        const StudyFolder folder;
        writeSmallStudy(folder);
        test.breakIt(folder / test.file);
        app::Messages messages;
        const app::Study study = folder.read(messages);
        const Counts counts{study.image ? study.image->slices.size() : 0, study.structures.size(),
                            study.doses.size(), study.plan ? study.plan->beams.size() : 0,
                            study.skippedFiles};
        EXPECT_EQ(counts, test.counts);
        const bool expectsMessage = test.text[0] != '\0';
        ASSERT_EQ(messages.all().size(), expectsMessage ? 1U : 0U);
        if (expectsMessage) {
            const app::Message& message = messages.all().front();
            EXPECT_EQ(message.subject, test.file) << message.text;
            EXPECT_EQ(message.severity, test.severity) << message.text;
            EXPECT_NE(message.text.find(test.text), std::string::npos) << message.text;
        }
    }
}
