#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <dcmtk/dcmdata/dctk.h>

#include <gtest/gtest.h>

#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/phantom/dicom_writer.h>

#include <tests/apps/temporary_folder.h>

/// A folder for a study.
class StudyFolder : public TemporaryFolder {
  public:
    app::Study read(app::Messages& messages, const app::StudyChoice& choice = {}) const {
        app::Phases phases(nullptr, false);
        return app::readStudy(path(), choice, messages, phases);
    }
};

inline app::ObjectHeader smallHeader(const std::string& instance, const std::string& series) {
    app::ObjectHeader header;
    header.instanceUid = "2.25.1." + instance;
    header.seriesUid = "2.25.2." + series;
    header.studyUid = "2.25.3";
    header.frameUid = "2.25.4";
    header.patientName = "Small^Study";
    header.patientId = "S1";
    return header;
}

/// Slice i of 4 columns and 3 rows, 2 mm apart; pixel p has the value p - 5.
inline app::ImageObject smallImage(int i) {
    app::ImageObject image;
    image.header = smallHeader("1" + std::to_string(i), "1");
    image.columns = 4;
    image.rows = 3;
    image.position = {-10.0, -20.0, 2.0 * i};
    image.columnSpacing = 1.5;
    image.rowSpacing = 2.5;
    image.thickness = 2.0;
    for (int p = 0; p < image.columns * image.rows; ++p) {
        image.pixels.push_back(static_cast<std::int16_t>(p - 5));
    }
    return image;
}

inline app::Structure smallStructure(int number, const std::string& name) {
    app::Structure structure{number, name, "ORGAN", {1, 2, 3}, {}};
    for (const double z : {2.0, 4.0}) {
        structure.contours.push_back({{-9, -19, z}, {-6, -19, z}, {-6, -16, z}, {-9, -16, z}});
    }
    return structure;
}

inline app::StructureSetObject smallStructures() {
    app::StructureSetObject set;
    set.header = smallHeader("2", "2");
    set.label = "Small";
    set.imageSeriesUid = "2.25.2.1";
    set.structures = {smallStructure(1, "One"), smallStructure(2, "Two")};
    return set;
}

/// Voxel v has the value v.
inline app::DoseObject smallDose(int i) {
    app::DoseObject dose;
    dose.header = smallHeader("3" + std::to_string(i), "3");
    dose.columns = 3;
    dose.rows = 2;
    dose.position = {-12.0, -22.0, -1.0};
    dose.columnSpacing = 3.0;
    dose.rowSpacing = 4.0;
    dose.planeOffsets = {0.0, 5.0, 10.0, 15.0};
    dose.scale = 0.5;
    dose.summationType = "BEAM";
    dose.planUid = "2.25.1.4";
    for (std::uint32_t v = 0; v < 24; ++v) {
        dose.values.push_back(v);
    }
    return dose;
}

inline app::Beam smallBeam(int number, const std::string& name) {
    app::Beam beam;
    beam.number = number;
    beam.name = name;
    beam.geometry = {0.5, 0.25, 0.125, {-8.0, -18.0, 3.0}, 900.0};
    beam.leafBoundaries = {-10.0, 0.0, 10.0};
    beam.plannedLeft = {-3.0, -4.0};
    beam.plannedRight = {5.0, 6.0};
    beam.plannedJaws = {-7.0, 8.0, -9.0, 11.0};
    return beam;
}

inline app::PlanObject smallPlan() {
    return {
        smallHeader("4", "4"), "Plan", "2.25.1.2", "HFS", {smallBeam(1, "A"), smallBeam(2, "B")}};
}

/// Four slices, two structures, two doses and two beams.
inline void writeSmallStudy(const StudyFolder& folder) {
    for (int i = 0; i < 4; ++i) {
        app::writeImage(folder / ("ct-" + std::to_string(i) + ".dcm"), smallImage(i));
    }
    app::writeStructureSet(folder / "structures.dcm", smallStructures());
    app::writeDose(folder / "dose-1.dcm", smallDose(1));
    app::writeDose(folder / "dose-2.dcm", smallDose(2));
    app::writePlan(folder / "plan.dcm", smallPlan());
}

/// Changes a file, which keeps its transfer syntax unless another one is given.
inline void editFile(const std::filesystem::path& file, const std::function<void(DcmItem&)>& edit,
                     E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
    DcmFileFormat object;
    ASSERT_TRUE(object.loadFile(file.c_str()).good());
    object.loadAllDataIntoMemory();
    edit(*object.getDataset());
    ASSERT_TRUE(object.saveFile(file.c_str(), syntax).good()) << file;
}
