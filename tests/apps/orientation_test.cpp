#include <cmath>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/phantom/dicom_writer.h>
#include <apps/trelis/terminal/phases.h>
#include <tests/apps/small_study.h>

namespace {

using app::Vector;

/// How the rows and columns of pixels run for a patient.
struct Orientation {
    const char* name;
    const char* patientPosition;
    Vector row;
    Vector column;
};

const Orientation kOrientations[] = {
    {"head first supine", "HFS", {1, 0, 0}, {0, 1, 0}},
    {"head first prone", "HFP", {-1, 0, 0}, {0, -1, 0}},
    {"feet first supine", "FFS", {-1, 0, 0}, {0, 1, 0}},
    {"feet first prone", "FFP", {1, 0, 0}, {0, -1, 0}},
    {"head first on the left", "HFDL", {0, -1, 0}, {1, 0, 0}},
    {"head first on the right", "HFDR", {0, 1, 0}, {-1, 0, 0}},
    {"feet first on the left", "FFDL", {0, 1, 0}, {1, 0, 0}},
    {"feet first on the right", "FFDR", {0, -1, 0}, {-1, 0, 0}},
    {"sagittal", "HFS", {0, 1, 0}, {0, 0, -1}},
    {"coronal", "HFS", {1, 0, 0}, {0, 0, -1}},
    {"oblique", "HFS", {0.8, 0.6, 0}, {-0.36, 0.48, -0.8}},
};

/// The files' order of the slices from the lowest on.
const std::vector<int> kOrders[] = {{0, 1, 2, 3, 4}, {4, 3, 2, 1, 0}, {2, 0, 4, 1, 3}};

constexpr int kColumns = 4;
constexpr int kRows = 3;
constexpr int kSlices = 5;
const Vector kFirstPixel{-40.0, 15.0, 70.0};

/// The pixel that a square is drawn around.
constexpr int kMarker[] = {2, 1, 3};

/// Slices of 4 x 3 pixels of 1.5 x 2.5 mm, all different.
struct Slices {
    Orientation orientation;
    double spacing;

    Vector place(double i, double j, double k) const {
        const Vector normal = orientation.row.Cross(orientation.column);
        return kFirstPixel + 1.5 * i * orientation.row + 2.5 * j * orientation.column +
               spacing * k * normal;
    }

    static int value(int i, int j, int k) { return i + 10 * j + 100 * k - 1000; }

    void write(const StudyFolder& folder, const std::vector<int>& order) const {
        for (int k = 0; k < kSlices; ++k) {
            app::ImageObject image;
            image.header = smallHeader(fmt::format("1{}", k), "1");
            image.columns = kColumns;
            image.rows = kRows;
            image.columnSpacing = 1.5;
            image.rowSpacing = 2.5;
            image.patientPosition = orientation.patientPosition;
            image.position = place(0, 0, k);
            image.rowDirection = orientation.row;
            image.columnDirection = orientation.column;
            image.thickness = spacing;
            image.rescaleIntercept = -500.0;
            for (int n = 0; n < kColumns * kRows; ++n) {
                image.pixels.push_back(
                    static_cast<std::int16_t>(value(n % kColumns, n / kColumns, k) + 500));
            }
            app::writeImage(folder / fmt::format("{}.dcm", order[static_cast<std::size_t>(k)]),
                            image);
        }
        app::StructureSetObject set = smallStructures();
        set.structures.resize(1);
        const auto [i, j, k] = kMarker;
        set.structures[0].contours = {{place(i - 1.5, j - 1.5, k), place(i + 1.5, j - 1.5, k),
                                       place(i + 1.5, j + 1.5, k), place(i - 1.5, j + 1.5, k)}};
        app::writeStructureSet(folder / "structures.dcm", set);
    }
};

/// Compares each voxel with the pixel that was at its place, and the square with its marker.
void expectInPlace(const Slices& slices, const app::Evaluation& evaluation) {
    ASSERT_TRUE(evaluation.image);
    const app::ImageVolume& image = *evaluation.image;
    ASSERT_EQ(image.pixels.size(), std::size_t{kSlices} * kColumns * kRows);
    for (int n = 0; n < kSlices * kColumns * kRows; ++n) {
        const int i = n % kColumns;
        const int j = n / kColumns % kRows;
        const int k = n / kColumns / kRows;
        const Vector p = image.geometry().RealToVoxel(slices.place(i, j, k));
        const Vector voxel(std::round(p.x), std::round(p.y), std::round(p.z));
        ASSERT_LT((p - voxel).Length(), 1e-4);
        const int stored = image.pixels.GetPixel(
            static_cast<int>(voxel.x), static_cast<int>(voxel.y), static_cast<int>(voxel.z));
        ASSERT_EQ(stored * image.rescaleSlope + image.rescaleIntercept, Slices::value(i, j, k));
    }

    ASSERT_EQ(evaluation.structures.size(), 1U);
    const app::EvaluatedStructure& square = evaluation.structures[0];
    int low[3];
    int high[3];
    square.segment.GetBoundingBoxForIteration(low[0], low[1], low[2], high[0], high[1], high[2]);
    const Vector centre = square.geometry.VoxelToReal(
        {(low[0] + high[0]) / 2.0, (low[1] + high[1]) / 2.0, (low[2] + high[2]) / 2.0});
    EXPECT_LT((centre - slices.place(kMarker[0], kMarker[1], kMarker[2])).Length(), 1e-3);
    const double volume = 4.5 * 7.5 * slices.spacing / 1000.0;
    EXPECT_NEAR(square.volume, volume, 0.05 * volume);
}

TEST(Orientation, VoxelsAndContoursLieWherePixelsWereForEveryPatientPosition) {
    for (const Orientation& orientation : kOrientations) {
        for (const double spacing : {3.0, 1.0}) {
            for (const std::vector<int>& order : kOrders) {
                SCOPED_TRACE(fmt::format("{}, {} mm, first slice in file {}", orientation.name,
                                         spacing, order[0]));
                const StudyFolder folder;
                const Slices slices{orientation, spacing};
                slices.write(folder, order);
                app::Messages messages;
                app::Phases phases(nullptr, false);
                const app::Study study = folder.read(messages);
                expectInPlace(slices, app::evaluate(study, {}, messages, phases));
            }
        }
    }
}

}  // namespace
