#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmjpeg/djencode.h>

#include <gtest/gtest.h>

#include <apps/trelis/dicom/read_study.h>

#include <tests/apps/small_study.h>

namespace fs = std::filesystem;

namespace {

using app::Vector;

/// Voxel (i, j, k) of a grid whose box has its centre where the transform says.
Vector voxelCentre(const QVolumeSize& size, const MMatrix& transform, int i, int j, int k) {
    return transform.Transform({(i - (size.GetXSize() - 1) / 2.0) * size.GetXResMM(),
                                (j - (size.GetYSize() - 1) / 2.0) * size.GetYResMM(),
                                (k - (size.GetZSize() - 1) / 2.0) * size.GetZResMM()});
}

void expectAt(const Vector& actual, const Vector& expected) {
    EXPECT_LT((actual - expected).Length(), 1e-9);
}

double valueOf(const app::ImageSlice& slice, int i, int j) {
    const double slope = std::isnan(slice.rescaleSlope) ? 1.0 : slice.rescaleSlope;
    const double intercept = std::isnan(slice.rescaleIntercept) ? 0.0 : slice.rescaleIntercept;
    const int stored = slice.image.GetPixel(i, j, 0);
    return (stored + slice.pixelOffset) * slice.pixelSlope * slope + intercept;
}

app::Study readOnly(const StudyFolder& folder, const app::StudyChoice& choice = {}) {
    app::Messages messages;
    return folder.read(messages, choice);
}

double areaOf(const std::vector<Vector>& contour) {
    double sum = 0.0;
    for (std::size_t i = 0; i < contour.size(); ++i) {
        const Vector& next = contour[(i + 1) % contour.size()];
        sum += contour[i].x * next.y - next.x * contour[i].y;
    }
    return std::abs(sum) / 2.0;
}

}  // namespace

TEST(ReadStudy, PutsPixelsOfImagesWhereTheyWereWithTheirValues) {
    struct Case {
        const char* modality;
        bool isSigned;
        int bitsStored;
        std::optional<double> slope;
        std::optional<double> intercept;
    };
    const Case cases[] = {{"CT", true, 16, 1.0, 0.0},    {"CT", false, 12, 2.0, -1024.0},
                          {"CT", true, 12, 1.5, 10.5},   {"MR", false, 16, {}, {}},
                          {"MR", true, 12, 0.5, -3.0},   {"PT", false, 16, 0.25, 0.0},
                          {"PT", true, 16, 0.125, -0.25}};
    for (const Case& test : cases) {
        SCOPED_TRACE(std::string(test.modality) + std::to_string(test.bitsStored));
        app::ImageObject image = smallImage(0);
        image.modality = test.modality;
        image.rowDirection = {0.0, 0.6, 0.8};
        image.columnDirection = {0.0, -0.8, 0.6};
        image.signedPixels = test.isSigned;
        image.bitsStored = test.bitsStored;
        image.rescaleSlope = test.slope;
        image.rescaleIntercept = test.intercept;
        const int shift = test.isSigned ? 0 : 5;
        for (std::int16_t& pixel : image.pixels) {
            // What lies above the stored bits means nothing.
            const int value = pixel + shift;
            pixel =
                static_cast<std::int16_t>(test.bitsStored == 16 ? value : (value & 0xFFF) | 0x5000);
        }
        const StudyFolder folder;
        app::writeImage(folder / "image.dcm", image);
        const app::Study study = readOnly(folder);
        ASSERT_TRUE(study.image);
        const app::ImageSlice& slice = *study.image->slices.front();
        EXPECT_EQ(slice.modality, std::wstring(test.modality, test.modality + 2));
        EXPECT_EQ(slice.series, &study.image->key);
        expectAt(slice.geometry.GetUnitAxisZ(), {1.0, 0.0, 0.0});
        for (int p = 0; p < 12; ++p) {
            const int i = p % 4;
            const int j = p / 4;
            expectAt(
                voxelCentre(slice.image, slice.geometry, i, j, 0),
                image.position + i * 1.5 * image.rowDirection + j * 2.5 * image.columnDirection);
            EXPECT_DOUBLE_EQ(valueOf(slice, i, j), (p - 5 + shift) * test.slope.value_or(1.0) +
                                                       test.intercept.value_or(0.0));
        }
    }
}

TEST(ReadStudy, ReadsTheSamePixelsInEveryTransferSyntax) {
    DcmRLEEncoderRegistration::registerCodecs();
    DJEncoderRegistration::registerCodecs();
    for (const E_TransferSyntax syntax :
         {EXS_LittleEndianImplicit, EXS_BigEndianExplicit, EXS_DeflatedLittleEndianExplicit,
          EXS_RLELossless, EXS_JPEGProcess14SV1}) {
        SCOPED_TRACE(DcmXfer(syntax).getXferName());
        const StudyFolder folder;
        writeSmallStudy(folder);
        app::DoseObject dose = smallDose(1);
        dose.bits = 16;
        app::writeDose(folder / "dose-1.dcm", dose);
        for (const char* file : {"ct-0.dcm", "dose-1.dcm"}) {
            const auto encode = [&](DcmItem& item) {
                auto& dataset = dynamic_cast<DcmDataset&>(item);
                ASSERT_TRUE(dataset.chooseRepresentation(syntax, nullptr).good());
            };
            editFile(folder / file, encode, syntax);
        }
        const app::Study study = readOnly(folder);
        ASSERT_EQ(study.image->slices.size(), 4U);
        ASSERT_EQ(study.doses.size(), 2U);
        EXPECT_TRUE(std::equal(study.doses[0].values.begin(), study.doses[0].values.end(),
                               dose.values.begin(), dose.values.end()));
        for (int p = 0; p < 12; ++p) {
            EXPECT_EQ(valueOf(*study.image->slices[0], p % 4, p / 4), p - 5);
        }
    }
}

TEST(ReadStudy, PutsVoxelsOfDosesWhereTheyWere) {
    const std::vector<std::vector<double>> offsets{
        {0, 5, 10, 15}, {0, -5, -10, -15}, {-1, 4, 9, 14}, {-1, -6, -11, -16}};
    for (const std::vector<double>& planes : offsets) {
        for (const double side : {1.0, -1.0}) {
            SCOPED_TRACE(testing::Message() << planes[0] << " " << planes[1] << " " << side);
            app::DoseObject object = smallDose(1);
            object.columnDirection = {0.0, side, 0.0};
            object.planeOffsets = planes;
            const StudyFolder folder;
            app::writeDose(folder / "dose.dcm", object);
            const app::Study study = readOnly(folder);
            ASSERT_EQ(study.doses.size(), 1U);
            const app::DoseGrid& dose = study.doses.front();
            EXPECT_EQ(dose.scale, 0.5);
            EXPECT_EQ(dose.planUid, "2.25.1.4");
            EXPECT_GT(dose.transform.Det(), 0.0);
            std::map<unsigned, Vector> places;
            for (int v = 0; v < 24; ++v) {
                const int i = v % 3;
                const int j = v / 3 % 2;
                const int k = v / 6;
                places[dose.values.GetPixel(i, j, k)] =
                    voxelCentre(dose.values, dose.transform, i, j, k);
            }
            ASSERT_EQ(places.size(), 24U);
            for (unsigned v = 0; v < 24; ++v) {
                const double offset = planes[v / 6];
                const double z = planes[0] == 0.0 ? -1.0 + side * offset : offset;
                expectAt(places[v], {-12.0 + 3.0 * (v % 3), -22.0 + side * 4.0 * (v / 3 % 2), z});
            }
        }
    }
}

TEST(ReadStudy, WarnsOfDosesThatMayCountTwice) {
    struct Dose {
        const char* type;
        const char* plan;
        std::vector<int> beams;
    };
    struct Case {
        Dose first;
        Dose second;
        std::size_t warnings;
    };
    const Case cases[] = {{{"BEAM", "1", {1}}, {"BEAM", "1", {2, 3}}, 0},
                          {{"BEAM", "1", {1}}, {"BEAM", "2", {1}}, 0},
                          {{"BEAM", "1", {1}}, {"BEAM", "1", {3, 1}}, 1},
                          {{"PLAN", "1", {}}, {"PLAN", "2", {}}, 0},
                          {{"PLAN", "1", {}}, {"PLAN", "1", {}}, 1},
                          {{"PLAN", "", {}}, {"PLAN", "", {}}, 1},
                          {{"BEAM", "", {}}, {"PLAN", "1", {}}, 1},
                          {{"MULTI_PLAN", "1", {}}, {"BEAM", "1", {1}}, 1},
                          {{"BEAM", "1", {1}}, {"FRACTION", "2", {}}, 1},
                          {{"BEAM", "1", {1}}, {"FRACTION", "1", {}}, 2}};
    for (const Case& test : cases) {
        SCOPED_TRACE(std::string(test.first.type) + " and " + test.second.type);
        const StudyFolder folder;
        for (const int i : {1, 2}) {
            const Dose& wanted = i == 1 ? test.first : test.second;
            app::DoseObject dose = smallDose(i);
            dose.summationType = wanted.type;
            dose.planUid = wanted.plan;
            dose.beamNumbers = wanted.beams;
            app::writeDose(folder / std::to_string(i), dose);
        }
        app::Messages messages;
        EXPECT_EQ(folder.read(messages).doses.size(), 2U);
        EXPECT_EQ(messages.all().size(), test.warnings);
    }
}

TEST(ReadStudy, TakesASinglePlaneOfDoseOnlyAloneOrWithOthersOfItsGrid) {
    const StudyFolder folder;
    const auto dosesWithPlane = [&](int i) {
        app::DoseObject dose = smallDose(i);
        dose.planeOffsets = {0.0};
        dose.values.resize(6);
        app::writeDose(folder / std::to_string(i), dose);
        return readOnly(folder).doses.size();
    };
    EXPECT_EQ(dosesWithPlane(1), 1U);
    EXPECT_EQ(dosesWithPlane(2), 2U);
    app::writeDose(folder / "3", smallDose(3));
    const app::Study study = readOnly(folder);
    ASSERT_EQ(study.doses.size(), 1U);
    EXPECT_EQ(study.doses.front().file, "3");
}

TEST(ReadStudy, ScalesSlicesThatAreRescaledEachInItsOwnWay) {
    for (const char* modality : {"MR", "PT"}) {
        const StudyFolder folder;
        for (int i = 0; i < 2; ++i) {
            app::ImageObject image = smallImage(i);
            image.modality = modality;
            image.rescaleSlope = 1e-8 * (0.5 + i);
            image.rescaleIntercept = 3e-8 * (0.5 + i);
            app::writeImage(folder / std::to_string(i), image);
        }
        const app::Study study = readOnly(folder);
        ASSERT_EQ(study.image->slices.size(), 2U);
        for (int i = 0; i < 2; ++i) {
            const app::ImageSlice& slice = *study.image->slices[static_cast<std::size_t>(i)];
            EXPECT_DOUBLE_EQ(slice.pixelSlope, (0.5 + i) / 1.5);
            EXPECT_EQ(slice.rescaleSlope, 1.5e-8);
            EXPECT_DOUBLE_EQ(valueOf(slice, 1, 1), 3e-8 * (0.5 + i));
        }
    }
    // A volume of CT takes the offset of its first slice for all.
    const StudyFolder folder;
    for (int i = 0; i < 2; ++i) {
        app::ImageObject image = smallImage(i);
        image.signedPixels = i == 0;
        image.pixels.assign(12, 7);
        app::writeImage(folder / std::to_string(i), image);
    }
    const app::Study study = readOnly(folder);
    EXPECT_EQ(study.image->slices[1]->pixelOffset, study.image->slices[0]->pixelOffset);
    EXPECT_EQ(valueOf(*study.image->slices[1], 1, 1), 7.0);
}

TEST(ReadStudy, ReadsNamesInUtf8AndMakesThemUnique) {
    const StudyFolder folder;
    app::StructureSetObject set = smallStructures();
    const char* names[] = {"R\xC3\xB6hre", "Two", "Two", "", "a\tb\x01 c", "bad\xFF"};
    set.structures.clear();
    for (const char* name : names) {
        set.structures.push_back(smallStructure(static_cast<int>(set.structures.size()) + 1, name));
    }
    app::writeStructureSet(folder / "set.dcm", set);
    const auto read = [&] {
        std::vector<std::string> found;
        for (const app::Structure& structure : readOnly(folder).structures) {
            found.push_back(structure.name);
        }
        return found;
    };
    EXPECT_EQ(read(), (std::vector<std::string>{"R\xC3\xB6hre", "Two", "Two (2)", "ROI 4", "a b c",
                                                "bad\xEF\xBF\xBD"}));
    editFile(folder / "set.dcm", [](DcmItem& item) {
        DcmItem* roi = nullptr;
        item.findAndGetSequenceItem(DCM_StructureSetROISequence, roi);
        roi->putAndInsertString(DCM_ROIName, "R\xF6hre");
        item.putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 100");
    });
    EXPECT_EQ(read().front(), "R\xC3\xB6hre");
}

TEST(ReadStudy, ReadsBeams) {
    const StudyFolder folder;
    app::PlanObject object = smallPlan();
    object.patientPosition = "FFP";
    object.beams[1].leavesAlongY = true;
    app::writePlan(folder / "plan.dcm", object);
    editFile(folder / "plan.dcm", [](DcmItem& item) {
        DcmItem* beam = nullptr;
        DcmItem* point = nullptr;
        item.findAndGetSequenceItem(DCM_BeamSequence, beam, 1);
        beam->findAndGetSequenceItem(DCM_ControlPointSequence, point, 1);
        point->putAndInsertString(DCM_GantryAngle, "77");
        item.findOrCreateSequenceItem(DCM_BeamSequence, beam, -2);
        beam->putAndInsertString(DCM_BeamNumber, "3");
        beam->putAndInsertString(DCM_TreatmentDeliveryType, "SETUP");
    });
    const app::Study study = readOnly(folder);
    ASSERT_TRUE(study.plan);
    EXPECT_EQ(study.plan->label, "Plan");
    ASSERT_EQ(study.plan->beams.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        const app::Beam& beam = study.plan->beams[i];
        EXPECT_EQ(beam.name, object.beams[i].name);
        EXPECT_EQ(beam.patientPosition, "FFP");
        EXPECT_NEAR(beam.geometry.gantryAngle, 0.5, 1e-12);
        EXPECT_NEAR(beam.geometry.couchAngle, 0.25, 1e-12);
        EXPECT_NEAR(beam.geometry.collimatorAngle, 0.125, 1e-12);
        EXPECT_EQ(beam.geometry.sourceAxisDistance, 900.0);
        expectAt(beam.geometry.isocentre, {-8.0, -18.0, 3.0});
        EXPECT_EQ(beam.leafBoundaries, (std::vector<double>{-10.0, 0.0, 10.0}));
        EXPECT_EQ(beam.leavesAlongY, i == 1);
        EXPECT_EQ(beam.plannedLeft, (std::vector<double>{-3.0, -4.0}));
        EXPECT_EQ(beam.plannedRight, (std::vector<double>{5.0, 6.0}));
        EXPECT_EQ(beam.plannedJaws.X1, -7.0);
        EXPECT_EQ(beam.plannedJaws.Y2, 11.0);
        EXPECT_EQ(beam.furtherShapes, static_cast<int>(i));
    }
}

TEST(ReadStudy, LinksObjectsByReferencesBeforeFramesAndTakesWhatWasAskedFor) {
    const StudyFolder folder;
    writeSmallStudy(folder);
    // Each of these comes first and has more of everything, but nothing refers to it.
    app::StructureSetObject set = smallStructures();
    set.header.instanceUid = "2.25.8.1";
    set.imageSeriesUid = "2.25.2.8";
    set.structures.push_back(smallStructure(3, "Three"));
    app::writeStructureSet(folder / "a-set.dcm", set);
    app::PlanObject plan = smallPlan();
    plan.header.instanceUid = "2.25.8.2";
    plan.structureSetUid = "2.25.8.1";
    app::writePlan(folder / "a-plan.dcm", plan);
    for (int i = 0; i < 6; ++i) {
        app::ImageObject image = smallImage(i);
        image.header = smallHeader("8.3" + std::to_string(i), "8");
        app::writeImage(folder / ("a-" + std::to_string(i)), image);
    }
    const app::Study linked = readOnly(folder);
    EXPECT_EQ(linked.plan->file, "plan.dcm");
    EXPECT_EQ(linked.structuresFile, "structures.dcm");
    EXPECT_EQ(linked.image->seriesUid, "2.25.2.1");
    EXPECT_EQ(linked.doses.size(), 2U);
    EXPECT_EQ(linked.patientName, "Small Study");

    const app::Study asked = readOnly(folder, {{}, {}, "2.25.8.2"});
    EXPECT_EQ(asked.plan->file, "a-plan.dcm");
    EXPECT_EQ(asked.structuresFile, "a-set.dcm");
    EXPECT_EQ(asked.image->slices.size(), 6U);
    const app::Study mixed = readOnly(folder, {"2.25.2.8", "structures.dcm", {}});
    EXPECT_EQ(mixed.plan->file, "plan.dcm");
    EXPECT_EQ(mixed.structuresFile, "structures.dcm");
    EXPECT_EQ(mixed.image->slices.size(), 6U);
    EXPECT_THROW(readOnly(folder, {"2.25.77", {}, {}}), std::invalid_argument);
    EXPECT_THROW(app::Messages m; app::Phases p(nullptr, false);
                 app::readStudy(folder / "none", {}, m, p), std::runtime_error);
}

TEST(ReadStudy, DescribesAFolderInALinePerObject) {
    const StudyFolder folder;
    writeSmallStudy(folder);
    app::Messages messages;
    app::Phases phases(nullptr, false);
    const std::vector<std::string> expected{
        "CT series of 4 images, 4 x 3 pixels of 1.5 x 2.5 mm, 2 mm apart, UID 2.25.2.1",
        "RTSTRUCT structures.dcm: 2 structures with 4 contours, \"Small\"",
        "RTDOSE dose-1.dcm: 3 x 2 x 4 voxels of 3 x 4 x 5 mm, BEAM, at most 11.5 Gy",
        "RTDOSE dose-2.dcm: 3 x 2 x 4 voxels of 3 x 4 x 5 mm, BEAM, at most 11.5 Gy",
        "RTPLAN plan.dcm, \"Plan\", 2 beams: \"A\", \"B\"",
        "other files skipped: 0"};
    EXPECT_EQ(app::describeFolder(folder.path(), messages, phases), expected);
}

TEST(ReadStudy, ReadsAStudyOfOtherSoftware) {
    const char* named = std::getenv("TRELIS_STUDY_DATA");
    const fs::path source = fs::path(__FILE__).parent_path() / "../../..";
    const fs::path data = (named != nullptr ? fs::path(named) : source / "shared/data");
    if (!fs::is_directory(data / "phantom-mini")) {
        GTEST_SKIP() << "no study in " << data;
    }
    app::Messages messages;
    app::Phases phases(nullptr, false);
    const app::Study study = app::readStudy(data / "phantom-mini", {}, messages, phases);
    // One of the doses is of all beams, which the others hold one by one.
    for (const app::Message& message : messages.all()) {
        EXPECT_EQ(message.severity, app::Severity::Warning) << message.text;
        EXPECT_NE(message.text.find("count doses twice"), std::string::npos) << message.text;
    }
    EXPECT_EQ(study.image->slices.size(), 5U);
    EXPECT_EQ(study.doses.size(), 4U);
    EXPECT_EQ(study.plan->beams.size(), 3U);
    EXPECT_EQ(study.plan->beams[1].leafBoundaries.size(), 41U);
    EXPECT_EQ(study.skippedFiles, 1U);
    // Areas of the contours in the order of the file, square millimetres.
    const std::map<std::string, std::vector<double>> areas{
        {"External", {2500.0, 2500.0, 2500.0, 2500.0, 2500.0}},
        {"Big", {3300.0, 3600.0, 3600.0, 3600.0, 3600.0}},
        {"Small", {1600.0, 1600.0, 1600.0, 1600.0, 1600.0}},
        {"Circle", {2605.3, 2700.0, 2700.0, 2700.0, 2700.0}},
        {"BigH_SmallV", {2692.7, 2482.8, 2459.0, 2486.4, 2464.2}},
        {"BigV_SmallH", {2382.8, 2481.9, 2456.2, 2479.2, 2438.9}},
        {"Star", {2444.1, 2475.1, 2483.0, 2481.2, 2492.9}}};
    ASSERT_EQ(study.structures.size(), areas.size());
    for (const app::Structure& structure : study.structures) {
        SCOPED_TRACE(structure.name);
        const std::vector<double>& expected = areas.at(structure.name);
        ASSERT_EQ(structure.contours.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_NEAR(areaOf(structure.contours[i]), expected[i], 0.1);
        }
    }
}
