#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <dcmtk/dcmdata/dctk.h>

#include <gtest/gtest.h>

#include <trelis/foundation/progress.h>
#include <trelis/volume_image/md5.h>

#include <apps/trelis/phantom/phantom.h>
#include <apps/trelis/phantom/phantom_design.h>
#include <apps/trelis/terminal/phases.h>

namespace fs = std::filesystem;

namespace {

constexpr app::PhantomOptions kSmall{32, 48, 60};

/// By definition, unlike the sections and formulas that are tested.
bool contains(const app::Body& body, const app::Vector& point) {
    const double x = (point.x - body.centre.x) / body.halfSize.x;
    const double y = (point.y - body.centre.y) / body.halfSize.y;
    const double z = (point.z - body.centre.z) / body.halfSize.z;
    switch (body.form) {
        case app::Body::Form::Box:
            return std::max({std::abs(x), std::abs(y), std::abs(z)}) <= 1.0;
        case app::Body::Form::Cylinder:
            return x * x + y * y <= 1.0 && std::abs(z) <= 1.0;
        case app::Body::Form::Ellipsoid:
            break;
    }
    return x * x + y * y + z * z <= 1.0;
}

/// A hole follows what it is in.
bool contains(const app::Solid& solid, const app::Vector& point) {
    bool inside = false;
    for (const app::Body& body : solid.bodies) {
        inside = contains(body, point) ? !body.isHole : inside;
    }
    return inside;
}

std::vector<fs::path> filesBelow(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path().lexically_relative(folder));
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::map<fs::path, std::wstring> digests(const fs::path& folder) {
    std::map<fs::path, std::wstring> result;
    for (const fs::path& file : filesBelow(folder)) {
        std::ifstream in(folder / file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        trelis::MD5Hash hash;
        trelis::MD5Hasher::GetHash(bytes.data(), bytes.size(), hash);
        result[file] = hash.ToString();
    }
    return result;
}

/// Access to a written object that fails loudly.
class Object {
  public:
    explicit Object(const fs::path& file) : item_(file_->getDataset()) {
        EXPECT_TRUE(file_->loadFile(file.c_str()).good()) << file;
    }

    std::string text(const DcmTagKey& tag) {
        OFString value;
        EXPECT_TRUE(item_->findAndGetOFStringArray(tag, value).good()) << tag.toString();
        return {value.data(), value.length()};
    }
    std::vector<double> numbers(const DcmTagKey& tag) {
        std::vector<double> values;
        Float64 value = 0.0;
        while (item_->findAndGetFloat64(tag, value, values.size()).good()) {
            values.push_back(value);
        }
        return values;
    }
    std::vector<Object> items(const DcmTagKey& sequence) {
        std::vector<Object> result;
        DcmItem* found = nullptr;
        for (long i = 0; item_->findAndGetSequenceItem(sequence, found, i).good(); ++i) {
            result.push_back(Object(file_, found));
        }
        return result;
    }
    Object only(const DcmTagKey& sequence) {
        std::vector<Object> all = items(sequence);
        EXPECT_EQ(all.size(), 1U) << sequence.toString();
        return all.front();
    }
    const Uint16* pixels(std::size_t count) {
        const Uint16* words = nullptr;
        unsigned long found = 0;
        EXPECT_TRUE(item_->findAndGetUint16Array(DCM_PixelData, words, &found).good());
        EXPECT_EQ(found, count);
        return words;
    }
    std::string uid() { return text(DCM_SOPInstanceUID); }
    std::string referenced() { return text(DCM_ReferencedSOPInstanceUID); }

  private:
    Object(std::shared_ptr<DcmFileFormat> file, DcmItem* item)
        : file_(std::move(file)), item_(item) {}

    std::shared_ptr<DcmFileFormat> file_ = std::make_shared<DcmFileFormat>();
    DcmItem* item_;
};

/// In mm2; holes run the other way and count below 0.
double areaOf(const std::vector<double>& points) {
    double area = 0.0;
    for (std::size_t i = 0; i < points.size(); i += 3) {
        const std::size_t next = (i + 3) % points.size();
        area += 0.5 * (points[i] * points[next + 1] - points[next] * points[i + 1]);
    }
    return area;
}

class PhantomTest : public testing::Test {
  protected:
    ~PhantomTest() override { fs::remove_all(base_); }

    fs::path base_ = fs::temp_directory_path() /
                     ("trelis-phantom-" +
                      std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::path study_ = base_ / "study";
};

TEST_F(PhantomTest, TheSameOptionsGiveTheSameBytes) {
    app::writePhantom(study_, kSmall);
    app::writePhantom(base_ / "again", kSmall);
    const auto files = digests(study_);
    EXPECT_EQ(files.size(), 65U);
    EXPECT_EQ(files, digests(base_ / "again"));
}

TEST_F(PhantomTest, FormulasAgreeWithCountedPoints) {
    // Evenly spread over the box around all solids: multiples of three irrational numbers.
    constexpr int kPoints = 1'000'000;
    constexpr double kBox[] = {322.0, 222.0, 146.0};
    const auto coordinate = [&](int point, int axis) {
        constexpr double kRatio = 1.2207440846057596;
        double whole = 0.0;
        return kBox[axis] * (std::modf(point / std::pow(kRatio, axis + 1), &whole) - 0.5);
    };
    const std::vector<app::PhantomSolid> formulas = app::phantomSolids();
    std::vector<std::vector<double>> doses(formulas.size());
    for (int i = 0; i < kPoints; ++i) {
        const app::Vector point(coordinate(i, 0), coordinate(i, 1), coordinate(i, 2));
        for (std::size_t solid = 0; solid < formulas.size(); ++solid) {
            if (contains(app::solidsOfPhantom()[solid], point)) {
                doses[solid].push_back(app::kFirstDose.at(point.y) + app::kSecondDose.at(point.y));
            }
        }
    }
    for (std::size_t solid = 0; solid < formulas.size(); ++solid) {
        const auto [name, volume, volumeAtDose] = formulas[solid];
        const auto total = static_cast<double>(doses[solid].size());
        EXPECT_NEAR(total / kPoints * kBox[0] * kBox[1] * kBox[2] / 1000.0 / volume, 1.0, 0.005)
            << name;
        for (double dose = 0.0; dose < 80.0; dose += 3.3) {
            const auto receiving = std::count_if(doses[solid].begin(), doses[solid].end(),
                                                 [dose](double point) { return point >= dose; });
            EXPECT_NEAR(volumeAtDose(dose), static_cast<double>(receiving) / total, 0.005)
                << name << " at " << dose;
        }
        EXPECT_EQ(volumeAtDose(0.0), 1.0) << name;
    }
}

TEST_F(PhantomTest, ImagesAndContoursShowTheSolids) {
    app::writePhantom(study_, kSmall);
    std::map<std::string, double> planeOfImage;
    std::string series;
    for (const fs::path& file : filesBelow(study_ / "CT")) {
        Object image(study_ / "CT" / file);
        const std::vector<double> first = image.numbers(DCM_ImagePositionPatient);
        const std::vector<double> spacing = image.numbers(DCM_PixelSpacing);
        series = image.text(DCM_SeriesInstanceUID);
        planeOfImage[image.uid()] = first[2];
        constexpr int kPixels = kSmall.columns * kSmall.rows;
        const Uint16* pixel = image.pixels(kPixels);
        for (int i = 0; i < kPixels; ++i, ++pixel) {
            const std::div_t index = std::div(i, kSmall.columns);
            const app::Vector place(first[0] + index.rem * spacing[1],
                                    first[1] + index.quot * spacing[0], first[2]);
            int expected = -1000;
            for (const app::Solid& solid : app::solidsOfPhantom()) {
                for (const app::Body& body : solid.bodies) {
                    expected = contains(body, place) ? body.hounsfield : expected;
                }
            }
            ASSERT_EQ(*pixel - 1024, expected) << file << " pixel " << i;
        }
    }
    EXPECT_EQ(planeOfImage.size(), 60U);

    Object structures(study_ / "rtstruct.dcm");
    EXPECT_EQ(structures.only(DCM_ReferencedFrameOfReferenceSequence)
                  .only(DCM_RTReferencedStudySequence)
                  .only(DCM_RTReferencedSeriesSequence)
                  .text(DCM_SeriesInstanceUID),
              series);
    std::vector<Object> names = structures.items(DCM_StructureSetROISequence);
    std::vector<Object> drawings = structures.items(DCM_ROIContourSequence);
    const std::vector<app::PhantomSolid> formulas = app::phantomSolids();
    ASSERT_EQ(drawings.size(), formulas.size());
    for (std::size_t i = 0; i < drawings.size(); ++i) {
        constexpr double kPlaneVolume = 3.0 / 1000.0;  // of 1 mm2, cm3
        EXPECT_EQ(names[i].text(DCM_ROIName), formulas[i].name);
        double volume = 0.0;
        std::set<double> planes;
        for (Object& contour : drawings[i].items(DCM_ContourSequence)) {
            const std::vector<double> points = contour.numbers(DCM_ContourData);
            EXPECT_EQ(planeOfImage.at(contour.only(DCM_ContourImageSequence).referenced()),
                      points[2]);
            planes.insert(points[2]);
            volume += kPlaneVolume * areaOf(points);
        }
        const double extent = *planes.rbegin() - *planes.begin() + 3.0;
        const double missing = extent / 3.0 - static_cast<double>(planes.size());
        EXPECT_EQ(missing, app::solidsOfPhantom()[i].planeIsMissing ? 1.0 : 0.0);
        volume *= 1.0 + missing / static_cast<double>(planes.size());
        EXPECT_NEAR(volume / formulas[i].volume, 1.0, formulas[i].name == "PTV" ? 0.0013 : 1e-6)
            << formulas[i].name;
    }
}

TEST_F(PhantomTest, DosesAreLinearAndBelongToThePlanOfTheStructures) {
    app::writePhantom(study_, kSmall);
    Object structures(study_ / "rtstruct.dcm");
    Object plan(study_ / "rtplan.dcm");
    EXPECT_EQ(plan.only(DCM_ReferencedStructureSetSequence).referenced(), structures.uid());
    std::multiset<std::string> beams;
    for (Object& beam : plan.items(DCM_BeamSequence)) {
        beams.insert(beam.text(DCM_BeamNumber));
    }
    std::multiset<std::string> beamsOfDoses;
    for (const auto& [name, field] : {std::pair("rtdose-1.dcm", app::kFirstDose),
                                      std::pair("rtdose-2.dcm", app::kSecondDose)}) {
        Object dose(study_ / name);
        EXPECT_EQ(dose.text(DCM_FrameOfReferenceUID), structures.text(DCM_FrameOfReferenceUID));
        Object reference = dose.only(DCM_ReferencedRTPlanSequence);
        EXPECT_EQ(reference.referenced(), plan.uid());
        for (Object& beam : reference.only(DCM_ReferencedFractionGroupSequence)
                                .items(DCM_ReferencedBeamSequence)) {
            beamsOfDoses.insert(beam.text(DCM_ReferencedBeamNumber));
        }
        const std::size_t columns = std::stoul(dose.text(DCM_Columns));
        const std::size_t rows = std::stoul(dose.text(DCM_Rows));
        const std::size_t words = std::stoul(dose.text(DCM_BitsAllocated)) / 16;
        const std::size_t planes = dose.numbers(DCM_GridFrameOffsetVector).size();
        const double top = dose.numbers(DCM_ImagePositionPatient)[1];
        const double spacing = dose.numbers(DCM_PixelSpacing)[0];
        const double scale = dose.numbers(DCM_DoseGridScaling)[0];
        const Uint16* pixel = dose.pixels(columns * rows * planes * words);
        for (std::size_t voxel = 0; voxel < columns * rows * planes; ++voxel, pixel += words) {
            const double y = top + static_cast<double>(voxel / columns % rows) * spacing;
            const Uint32 value = pixel[0] + (words == 2 ? Uint32{pixel[1]} << 16 : 0);
            ASSERT_NEAR(value * scale, field.at(y), 1e-9) << name << " voxel " << voxel;
        }
    }
    EXPECT_EQ(beamsOfDoses, beams);
}

TEST_F(PhantomTest, WhatFailsOrIsCancelledLeavesNothingBehind) {
    fs::create_directories(study_);
    std::ofstream(study_ / "mine") << "kept";
    EXPECT_THROW(app::writePhantom(study_, kSmall), std::runtime_error);
    EXPECT_THROW(app::writePhantom(study_ / "mine", kSmall), std::runtime_error);
    EXPECT_THROW(app::writePhantom(study_ / "new", {3, 32, 60}), std::invalid_argument);
    EXPECT_EQ(filesBelow(study_), std::vector<fs::path>{"mine"});

    const fs::path cancelled = base_ / "cancelled";
    const auto cancel = [&cancelled] {
        app::catchInterrupts();
        std::raise(SIGINT);
        try {
            app::writePhantom(cancelled, kSmall);
        } catch (const QAbortPressed&) {
            std::exit(fs::exists(cancelled) ? 1 : 0);
        }
        std::exit(2);
    };
    EXPECT_EXIT(cancel(), testing::ExitedWithCode(0), "");
}

}  // namespace
