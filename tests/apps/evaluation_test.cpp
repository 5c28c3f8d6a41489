#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <apps/trelis/evaluation/dose_reach.h>
#include <apps/trelis/evaluation/dose_statistics.h>
#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/phantom/phantom.h>
#include <apps/trelis/phantom/phantom_design.h>
#include <apps/trelis/terminal/phases.h>
#include <tests/apps/small_study.h>
#include <tests/support/segments.h>

namespace {

namespace fs = std::filesystem;
using app::Evaluation;
using app::EvaluationOptions;
using app::Study;
using app::Vector;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Evaluation evaluate(const Study& study, const EvaluationOptions& options, app::Messages& messages) {
    app::Phases phases(nullptr, false);
    return app::evaluate(study, options, messages, phases);
}

Evaluation evaluate(const Study& study, const EvaluationOptions& options = {}) {
    app::Messages messages;
    return evaluate(study, options, messages);
}

/// Whether a message about the subject holds the text.
bool hasMessage(const app::Messages& messages, const std::string& subject, const std::string& text,
                app::Severity severity) {
    return std::any_of(messages.all().begin(), messages.all().end(), [&](const auto& message) {
        return message.severity == severity && message.subject == subject &&
               message.text.find(text) != std::string::npos;
    });
}

const app::EvaluatedStructure& structureOf(const Evaluation& evaluation, const std::string& name) {
    for (const app::EvaluatedStructure& structure : evaluation.structures) {
        if (structure.name == name) {
            return structure;
        }
    }
    throw std::out_of_range(name);
}

Study makePhantom() {
    const StudyFolder folder;
    app::writePhantom(folder / "phantom", {64, 64, 180});
    app::Messages messages;
    return folder.read(messages);
}

/// Of 180 planes of 1 mm; read once.
const Study& phantom() {
    static const Study study = makePhantom();
    return study;
}

std::vector<Vector> circle(double x, double y, double z, double radius) {
    std::vector<Vector> points;
    for (int i = 0; i < 90; ++i) {
        const double angle = i * std::numbers::pi / 45.0;
        points.emplace_back(x + radius * std::cos(angle), y + radius * std::sin(angle), z);
    }
    return points;
}

app::Structure cylinder(const std::string& name, const std::vector<double>& planes,
                        double radius = 10.0) {
    app::Structure structure;
    structure.name = name;
    for (const double z : planes) {
        structure.contours.push_back(circle(0.0, 0.0, z, radius));
    }
    return structure;
}

app::Structure cylinderPair(const std::vector<double>& planes, const std::vector<double>& others) {
    app::Structure structure = cylinder("?", planes);
    for (const double z : others) {
        structure.contours.push_back(circle(30.0, 0.0, z, 10.0));
    }
    return structure;
}

/// 20 x 20 x 20 voxels of 4 mm around the origin, all of one dose.
app::DoseGrid uniformDose(const std::string& file, unsigned int value) {
    app::DoseGrid dose;
    dose.file = file;
    dose.instanceUid = "uid of " + file;
    dose.units = "GY";
    dose.scale = 0.5;
    dose.values.SetSize(20, 20, 20);
    dose.values.SetResMM(4.0, 4.0, 4.0);
    std::fill(dose.values.begin(), dose.values.end(), value);
    return dose;
}

/// Five slices of 8 x 6 pixels, 2 mm apart.
Study imageStudy() {
    Study study;
    study.image = std::make_unique<app::ImageSeries>();
    study.image->seriesUid = "1.2.3";
    for (int i = 0; i < 5; ++i) {
        auto slice = std::make_unique<app::ImageSlice>();
        slice->file = fmt::format("slice {}", i);
        slice->modality = L"CT";
        slice->imageType = L"ORIGINAL\\PRIMARY\\AXIAL";
        slice->series = &study.image->key;
        slice->geometry.SetTranslation(0.0, 0.0, 2.0 * i);
        slice->image.SetSize(8, 6, 1);
        std::fill(slice->image.begin(), slice->image.end(), static_cast<unsigned short>(i + 1));
        slice->pixelSlope = slice->rescaleSlope = 1.0;
        slice->pixelOffset = 0;
        slice->rescaleIntercept = -1000.0;
        study.image->slices.push_back(std::move(slice));
    }
    return study;
}

/// A histogram of the standard way has steps where the dose rises along one axis only.
TEST(Evaluation, OfThePhantomAgreesWithItsClosedFormulas) {
    const std::pair<std::optional<double>, double> accuracies[] = {{std::nullopt, 0.01},
                                                                   {1.0, 0.003}};
    for (const auto& [fineStep, accuracy] : accuracies) {
        app::Messages messages;
        EvaluationOptions options;
        options.fineStep = fineStep;
        const Evaluation evaluation = evaluate(phantom(), options, messages);
        ASSERT_TRUE(evaluation.image && evaluation.dose);
        EXPECT_EQ(evaluation.image->realPlanes, 180U);
        EXPECT_EQ(evaluation.dose->parts.size(), 2U);
        ASSERT_EQ(evaluation.structures.size(), app::phantomSolids().size());
        for (const app::PhantomSolid& solid : app::phantomSolids()) {
            SCOPED_TRACE(solid.name);
            const app::EvaluatedStructure& structure = structureOf(evaluation, solid.name);
            EXPECT_NEAR(structure.volume, solid.volume, 0.002 * solid.volume);
            EXPECT_EQ(structure.interpolatedPlanes, solid.name == "Bladder" ? 1 : 0);
            EXPECT_EQ(structure.isTarget, solid.name == "PTV");
            trelis::DvhData dvh = structure.dvh;
            dvh.Cumulate();
            EXPECT_NEAR(dvh.bins.front(), solid.volume, 0.004 * solid.volume);
            for (double dose = 1.0; dose < 80.0; dose += 1.7) {
                const double part = solid.volumeAtDose(dose);
                EXPECT_NEAR(app::volumeAtDose(dvh, dose) / dvh.bins.front(), part, accuracy)
                    << dose;
                if (part > 0.02 && part < 0.98) {
                    EXPECT_NEAR(app::doseAtVolume(dvh, part), dose, 40.0 * accuracy);
                }
            }
        }
        EXPECT_TRUE(hasMessage(messages, "Bladder", "in 1 plane ", app::Severity::Warning));
        EXPECT_EQ(std::count_if(messages.all().begin(), messages.all().end(),
                                [](const auto& m) { return m.severity != app::Severity::Note; }),
                  1);
    }
}

TEST(Evaluation, FitsTheLeavesToTheCircleThatTheTargetIsSeenAs) {
    EvaluationOptions options;
    options.beams = phantom().plan->beams;
    app::Beam& withoutCollimator = options.beams.emplace_back(options.beams[1]);
    withoutCollimator.geometry.isocentre.x = kNaN;
    withoutCollimator.leafBoundaries.clear();
    withoutCollimator.plannedJaws = {};
    options.beams.emplace_back(options.beams[2]).leavesAlongY = true;
    options.beams.push_back(options.beams[0]);
    options.beams.back().plannedJaws = {-10.0, 10.0, -10.0, 10.0};
    const Evaluation evaluation = evaluate(phantom(), options);
    ASSERT_EQ(evaluation.beams.size(), 6U);
    const double radius = 30.0 * 1000.0 / std::sqrt(1000.0 * 1000.0 - 30.0 * 30.0);
    for (const app::EvaluatedBeam& beam : evaluation.beams) {
        ASSERT_EQ(beam.left.size(), 60U);
        ASSERT_EQ(beam.leafBoundaries.size(), 61U);
        for (std::size_t i = 0; i < 60; ++i) {
            const double middle = (beam.leafBoundaries[i] + beam.leafBoundaries[i + 1]) / 2.0;
            if (std::abs(middle) > radius + 5.0) {
                EXPECT_EQ(beam.left[i], beam.right[i]);
                EXPECT_NEAR(beam.left[i], -radius - 20.0, 0.5);
            } else if (std::abs(middle) < radius - 5.0) {
                const double half = std::sqrt(radius * radius - middle * middle);
                EXPECT_NEAR(beam.left[i], -half, 0.8);
                EXPECT_NEAR(beam.right[i], half, 0.8);
            }
        }
        for (const double jaw : {-beam.jaws.X1, beam.jaws.X2, -beam.jaws.Y1, beam.jaws.Y2}) {
            EXPECT_NEAR(jaw, radius + 5.0, 0.5);
        }
    }
}

/// Where the patient's directions are that lie to the right of who looks at the gantry, and at it.
TEST(Evaluation, SeesTheTargetWhereThePositionOfThePatientPutsIt) {
    const Vector left(1, 0, 0);
    const Vector back(0, 1, 0);
    const Vector head(0, 0, 1);
    const struct {
        const char* position;
        Vector right;
        Vector gantry;
    } cases[] = {{"HFS", left, head},   {"HFP", -left, head},  {"FFS", -left, -head},
                 {"FFP", left, -head},  {"HFDL", -back, head}, {"HFDR", back, head},
                 {"FFDL", back, -head}, {"FFDR", -back, -head}};
    Study study;
    study.structures = {cylinder("PTV", {18.5, 19.5, 20.5, 21.5})};
    const Vector offset(7.0, -11.0, 20.0);
    for (const auto& [position, right, gantry] : cases) {
        app::Beam beam;
        beam.geometry.isocentre = Vector(0.0, 0.0, 20.0) - offset;
        beam.patientPosition = position;
        EvaluationOptions options;
        options.beams = {beam};
        const Evaluation evaluation = evaluate(study, options);
        ASSERT_EQ(evaluation.beams.size(), 1U);
        EdgePoint low{1e9, 1e9};
        EdgePoint high{-1e9, -1e9};
        for (const EdgePoint& p : evaluation.beams[0].outline.at(0)) {
            low = {std::min(low.x, p.x), std::min(low.y, p.y)};
            high = {std::max(high.x, p.x), std::max(high.y, p.y)};
        }
        const double nearer = 1000.0 / (1000.0 - offset.Dot(right.Cross(gantry)));
        EXPECT_NEAR((low.x + high.x) / 2.0, offset.Dot(right) * nearer, 0.5) << position;
        EXPECT_NEAR((low.y + high.y) / 2.0, offset.Dot(gantry) * nearer, 0.5) << position;
    }
}

TEST(Evaluation, EditsTheTargetAndTakesEditsBack) {
    constexpr double kRadius = 35.0;
    const auto capOf = [](double height) {
        return std::numbers::pi * height * height * (3.0 * kRadius - height) / 3000.0;
    };
    const double ball = capOf(2.0 * kRadius);
    const double cut = ball - capOf(kRadius - 11.0);  // the box begins 11 mm from the centre
    Study study;
    study.structures = phantom().structures;
    std::erase_if(study.structures, [](const auto& structure) {
        return structure.name != "PTV" && structure.name != "Shield" && structure.name != "Lungs";
    });
    for (int undo = 0; undo <= 3; ++undo) {
        EvaluationOptions options;
        options.margins = {{"ptv", 5.0}, {"Lungs", -4.0}};
        options.subtractions = {"Shield"};
        options.keepLargest = 1;
        options.undo = undo;
        const Evaluation evaluation = evaluate(study, options);
        ASSERT_EQ(evaluation.structures.size(), 5U);
        const auto& original = evaluation.structures[evaluation.structures.size() - 2];
        const auto& edited = evaluation.structures.back();
        ASSERT_EQ(original.name, "PTV");
        ASSERT_EQ(edited.name, "PTV (edited)");
        EXPECT_TRUE(!original.isTarget && edited.isTarget && original.edits.empty());
        EXPECT_EQ(edited.colour, original.colour);
        const double volumes[] = {original.volume, ball, cut, cut};
        const int kept = 3 - undo;
        EXPECT_NEAR(edited.volume, volumes[kept], kept == 0 ? 1e-12 : 0.03 * volumes[kept]);
        ASSERT_EQ(edited.edits.size(), 3U);
        for (int i = 0; i < 3; ++i) {
            const app::Edit& edit = edited.edits[static_cast<std::size_t>(i)];
            EXPECT_EQ(edit.undone, i >= kept);
            EXPECT_NEAR(edit.volumeAfter, volumes[i + 1], 0.03 * volumes[i + 1]);
        }
        EXPECT_EQ(dense(original.segment) == dense(edited.segment), kept == 0);
    }
}

TEST(Evaluation, OfTheSampleStudyComesToItsListedVolumes) {
    const char* given = std::getenv("TRELIS_STUDY_DATA");
    const fs::path data =
        given != nullptr ? fs::path(given) : fs::path(TRELIS_SOURCE_DIR) / "../shared/data";
    if (!fs::exists(data / "phantom-mini")) {
        GTEST_SKIP() << "no study in " << data;
    }
    app::Messages messages;
    app::Phases phases(nullptr, false);
    const Study study = app::readStudy(data / "phantom-mini", {}, messages, phases);
    const Evaluation evaluation = evaluate(study, {}, messages);
    const std::pair<const char*, double> volumes[] = {
        {"External", 937.5},    {"Big", 1327.5},        {"Small", 600.0}, {"Circle", 1005.4},
        {"BigH_SmallV", 943.9}, {"BigV_SmallH", 917.9}, {"Star", 928.2}};
    for (const auto& [name, volume] : volumes) {
        const app::EvaluatedStructure& structure = structureOf(evaluation, name);
        EXPECT_NEAR(structure.volume, volume, 0.01 * volume) << name;
        EXPECT_TRUE(structure.dvh.IsValid()) << name;
    }
    EXPECT_EQ(evaluation.beams.size(), 3U);
    EXPECT_TRUE(std::none_of(messages.all().begin(), messages.all().end(),
                             [](const auto& m) { return m.severity == app::Severity::Fault; }));
}

TEST(Evaluation, WeighsDosesByFileUidAndNumber) {
    Study study;
    study.structures = {cylinder("Organ", {-2.0, 0.0, 2.0}), cylinder("Edge", {34.0, 38.0, 42.0})};
    study.doses = {uniformDose("a/one.dcm", 10), uniformDose("b/two.dcm", 40),
                   uniformDose("zero.dcm", 0)};
    study.doses[1].values.SetResMM(2.5, 3.0, 6.0);
    const struct {
        std::vector<std::pair<std::string, double>> weights;
        double defaultWeight;
        double dose;
    } cases[] = {{{}, 1.0, 25.0},
                 {{}, 2.0, 50.0},
                 {{{"one.dcm", 3.0}}, 1.0, 35.0},
                 {{{"uid of b/two.dcm", 0.25}}, 1.0, 10.0},
                 {{{"2", 0.5}, {"a/one.dcm", 2.0}}, 1.0, 20.0}};
    for (const auto& [weights, defaultWeight, dose] : cases) {
        EvaluationOptions options;
        options.weights = weights;
        options.defaultWeight = defaultWeight;
        for (const double fineStep : {0.0, 1.0}) {
            options.fineStep = fineStep > 0.0 ? std::optional(fineStep) : std::nullopt;
            app::Messages messages;
            const Evaluation evaluation = evaluate(study, options, messages);
            EXPECT_TRUE(hasMessage(messages, "Edge", "33.3 % of it lie outside the dose a/one.dcm",
                                   app::Severity::Warning));
            EXPECT_TRUE(hasMessage(messages, "zero.dcm", "zero everywhere", app::Severity::Note));
            const trelis::DvhData& dvh = evaluation.structures[0].dvh;
            EXPECT_NEAR(dvh.minDose, dose, 1e-6);
            EXPECT_NEAR(dvh.maxDose, dose, 1e-6);
            EXPECT_NEAR(dvh.meanDose, dose, 0.01);
        }
    }
}

TEST(Evaluation, RefusesOptionsThatMakeNoSenseBeforeAnyWork) {
    const std::pair<void (*)(EvaluationOptions&), const char*> cases[] = {
        {[](auto& o) { o.target = "PVT"; },
         "no structure \"PVT\"; the structures are \"BODY\", \"L"},
        {[](auto& o) {
             o.margins = {{"Cord", 5.0}};
         },
         "no structure \"Cord\""},
        {[](auto& o) {
             o.margins = {{"PTV", kNaN}};
         },
         "no margin"},
        {[](auto& o) { o.subtractions = {"ptv"}; }, "from itself"},
        {[](auto& o) { o.keepLargest = 0; }, "parts to keep"},
        {[](auto& o) { o.undo = 1; }, "the target has 0"},
        {[](auto& o) {
             o.weights = {{"3", 1.0}};
         },
         "rtdose-2.dcm (number 2)"},
        {[](auto& o) {
             o.weights = {{"1", -1.0}};
         },
         "weight -1 is not above 0"},
        {[](auto& o) {
             o.weights = {{"1", 1.0}, {"rtdose-1.dcm", 2.0}};
         },
         "two weights"},
        {[](auto& o) { o.defaultWeight = kNaN; }, "weight nan"},
        {[](auto& o) { o.fineStep = 0.0; }, "0 mm"}};
    for (const auto& [spoil, text] : cases) {
        EvaluationOptions options;
        spoil(options);
        app::Messages messages;
        app::Phases phases(nullptr, false);
        try {
            app::evaluate(phantom(), options, messages, phases);
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
        }
        EXPECT_TRUE(phases.timings().empty());
    }
}

/// Each beside a structure that is all right.
TEST(Evaluation, TellsWhatIsWrongWithAStructureAndGoesOn) {
    const auto tilted = [] {
        app::Structure structure = cylinder("?", {0.0, 3.0});
        structure.contours[0][20].z = 1.0;
        return structure;
    };
    const auto withPoint = [](const Vector& point) {
        app::Structure structure = cylinder("?", {0.0, 3.0});
        structure.contours[1][7] = point;
        return structure;
    };
    const auto turned = [] {
        app::Structure structure = cylinder("?", {0.0, 3.0, 6.0});
        for (auto& contour : structure.contours) {
            for (Vector& p : contour) {
                p = Vector(0.8 * p.z + 0.6 * p.x, p.y, 0.6 * p.z - 0.8 * p.x);
            }
        }
        return structure;
    };
    const double cm3 = 0.1 * std::numbers::pi;  // per millimetre
    const struct {
        app::Structure structure;
        const char* text;
        app::Severity severity;
        double volume;  // NaN where it is left out
    } cases[] = {
        {tilted(), "off plane", app::Severity::Fault, kNaN},
        {withPoint({kNaN, 0, 3}), "makes no sense", app::Severity::Fault, kNaN},
        {withPoint({1e30, 0, 3}), "makes no sense", app::Severity::Fault, kNaN},
        {withPoint({9e4, 0, 3}), "larger than any patient", app::Severity::Fault, kNaN},
        {{0, "?", "", {}, {{{0, 0, 0}, {1, 1, 0}}}}, "three points", app::Severity::Fault, kNaN},
        {{0, "?", "", {}, {{{0, 0, 0}, {9, 0, 0}, {5, 0, 0}}}},
         "is empty",
         app::Severity::Warning,
         0.0},
        {cylinder("?", {5.0}), "one plane only", app::Severity::Warning, 1.0 * cm3},
        {cylinder("?", {0, 3, 6, 15, 18}), "in 2 planes ", app::Severity::Warning, 21.0 * cm3},
        {cylinderPair({0, 3, 6, 9}, {0, 3, 9}), "in 1 plane ", app::Severity::Warning, 24.0 * cm3},
        {cylinderPair({0, 3, 6, 9, 12}, {0.12, 3.12, 6.12, 9.12, 12.12}), "2.88 mm apart",
         app::Severity::Note, 29.76 * cm3},
        {cylinder("?", {0, 100}), "100 mm apart", app::Severity::Warning, 200.0 * cm3},
        {cylinder("?", {0, 3}), "in 2 planes only", app::Severity::Warning, 6.0 * cm3},
        {cylinder("?", {0, 2, 4}, 2.0), "than 0.1 cm3", app::Severity::Warning, 0.24 * cm3},
        {cylinder("?", {0, 3, 6, 30, 33}), "gap of 24 mm", app::Severity::Warning, 15.0 * cm3},
        {cylinder("?", {0, 3.02, 6.02, 9}), "3 mm apart", app::Severity::Note, 12.0 * cm3},
        {cylinder("?", {0, 2.2, 5.1, 9}), "2.9 mm apart", app::Severity::Note, 11.9 * cm3},
        {cylinder("?", {80, 83, 86}), "outside the dose grid", app::Severity::Warning, 9.0 * cm3},
        {cylinder("?", {34, 38, 42}), "66.7 % of it", app::Severity::Warning, 12.0 * cm3},
        {cylinder("?", {34, 36, 38, 40}), "25.0 % of it lie just beyond", app::Severity::Warning,
         8.0 * cm3},
        {turned(), "3 mm apart", app::Severity::Note, 9.0 * cm3},
    };
    for (const auto& [structure, text, severity, volume] : cases) {
        SCOPED_TRACE(text);
        Study study;
        study.structures = {structure, cylinder("sound", {0, 1, 2})};
        study.doses.push_back(uniformDose("dose", 8));
        app::Messages messages;
        const Evaluation evaluation = evaluate(study, {}, messages);
        EXPECT_TRUE(hasMessage(messages, "?", text, severity));
        ASSERT_EQ(evaluation.structures.size(), std::isnan(volume) ? 1U : 2U);
        EXPECT_TRUE(evaluation.structures.back().dvh.IsValid());
        if (!std::isnan(volume)) {
            EXPECT_NEAR(evaluation.structures[0].volume, volume, 0.02 * volume);
        }
    }
}

/// The outermost dose points lie 38 mm from the middle on all sides.
TEST(Evaluation, CountsWhatLiesBeyondTheDosePointsAlikeOnAllSides) {
    Study study;
    study.structures = {cylinder("?", {-4, -2, 0, 2, 4})};
    const app::EvaluatedStructure structure = evaluate(study).structures.at(0);
    QProgressReporterNull nobody;
    for (const Vector& direction : {Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1)}) {
        const auto partAt = [&](double distance) {
            const app::DoseGrid dose = uniformDose("dose", 1);
            MMatrix moved = dose.transform;
            moved.SetTranslation(distance * direction);
            return app::partBetweenDosePoints(structure, dose.values, moved, nobody);
        };
        for (double distance = 26.0; distance <= 50.0; distance += 0.5) {
            EXPECT_NEAR(partAt(distance), partAt(-distance), 1e-12) << distance;
        }
        EXPECT_EQ(partAt(28.0), 1.0);
        EXPECT_NEAR(partAt(38.0), 0.5, 0.11);  // up to half a plane of five is on the border
        EXPECT_EQ(partAt(48.5), 0.0);
    }
}

TEST(Evaluation, NamesEachSliceThatIsLeftOutAndWhy) {
    using Slice = app::ImageSlice;
    const std::pair<void (*)(Slice&), const char*> cases[] = {
        {[](Slice& s) { s.series = nullptr; }, "no series"},
        {[](Slice& s) { s.image.FreePixels(); }, "no pixels"},
        {[](Slice& s) { s.imageType = L"ORIGINAL\\PRIMARY\\LOCALIZER"; }, "localizer"},
        {[](Slice& s) { s.modality = L"MR"; }, "modality differs, see slice"},
        {[](Slice& s) { s.geometry.SetTranslation(0, 0, 4.05); }, "by another slice, see slice 2"},
        {[](Slice& s) { s.image.SetResMM(2, 1, 1); }, "pixel size"},
        {[](Slice& s) { s.geometry.RotateX(0.1); }, "axes differ"},
        {[](Slice& s) { s.rescaleSlope = 2.0; }, "rescale slope"},
        {[](Slice& s) { s.frameUid = L"elsewhere"; }, "frame of reference"},
        {[](Slice& s) { s.pixelSlope = kNaN; }, "no slope or offset"}};
    for (const auto& [spoil, text] : cases) {
        for (const std::size_t odd : {3U, 0U}) {
            Study study = imageStudy();
            spoil(*study.image->slices[odd]);
            app::Messages messages;
            const Evaluation evaluation = evaluate(study, {}, messages);
            ASSERT_TRUE(evaluation.image) << text;
            const bool isFirstOfTwo = odd == 0 && evaluation.image->slices == 4 &&
                                      study.image->slices[0]->geometry[3][2] > 4.0;
            EXPECT_TRUE(isFirstOfTwo || hasMessage(messages, fmt::format("slice {}", odd), text,
                                                   app::Severity::Fault))
                << text;
            EXPECT_EQ(evaluation.image->interpolatedPlanes, odd == 3 ? 1U : 0U) << text;
        }
    }
    Study single = imageStudy();
    single.image->slices.resize(1);
    app::Messages messages;
    EXPECT_FALSE(evaluate(single, {}, messages).image);
    EXPECT_TRUE(hasMessage(messages, "image", "needs two slices", app::Severity::Fault));
}

TEST(Evaluation, RestoresTheVolumeFromTheCacheOnlyWhileNoSliceChanged) {
    const StudyFolder folder;
    Study study = imageStudy();
    EvaluationOptions options;
    options.cacheDirectory = folder / "new/c\u00E2che";
    const auto evaluated = [&](app::Messages& messages) {
        const Evaluation evaluation = evaluate(study, options, messages);
        const app::ImageVolume& image = evaluation.image.value();
        for (int z = 0; z < 5; ++z) {
            const auto& slice = study.image->slices[static_cast<std::size_t>(z)]->image;
            EXPECT_TRUE(
                std::equal(slice.begin(), slice.end(), image.pixels.GetConstSpanXY(z).begin()));
        }
        EXPECT_TRUE(image.pixelSlope == 1.0 && image.pixelOffset == 0);
        EXPECT_TRUE(image.rescaleSlope == 1.0 && image.rescaleIntercept == -1000.0);
        EXPECT_EQ(image.geometry().VoxelToReal({0, 0, 1}).z, 2.0);
        return image.restoredFromCache;
    };
    const auto run = [&](bool restored, const char* warning = nullptr) {
        app::Messages messages;
        EXPECT_EQ(evaluated(messages), restored);
        EXPECT_EQ(warning != nullptr,
                  hasMessage(messages, "image cache", warning == nullptr ? "" : warning,
                             app::Severity::Warning));
    };
    run(false);
    run(true);
    study.image->slices[2]->image.SetPixel(3, 3, 0, 77);
    run(false);
    run(true);
    const auto invertByte = [&](int fromEnd) {
        for (const auto& entry : fs::recursive_directory_iterator(options.cacheDirectory)) {
            if (entry.path().extension() == ".cache") {
                std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
                file.seekg(-fromEnd, std::ios::end);
                const int byte = file.get();
                file.seekp(-fromEnd, std::ios::end);
                file.put(static_cast<char>(~byte));
            }
        }
    };
    invertByte(9);
    run(false, "MD5 checksum failure");
    run(true);
    for (int fromEnd = 481; fromEnd <= 692; ++fromEnd) {  // all before the pixels
        app::Messages messages;
        invertByte(fromEnd);
        const bool isRestored = evaluated(messages);
        EXPECT_NE(isRestored, hasMessage(messages, "image cache", "the volume is built anew",
                                         app::Severity::Warning));
    }
    std::ofstream(folder / "file") << "in the way";
    options.cacheDirectory = folder / "file";
    run(false, "cannot be used");
}

TEST(DoseStatistics, ReadACumulativeHistogramBetweenTheEdgesOfItsBins) {
    trelis::DvhData dvh;
    EXPECT_TRUE(std::isnan(app::doseAtVolume(dvh, 0.5)) && std::isnan(app::volumeAtDose(dvh, 1.0)));
    dvh.bins = {8.0, 8.0, 4.0, 4.0, 0.0};
    dvh.binWidth = 2.0;
    const std::pair<double, double> volumes[] = {{-1, 8}, {0, 8}, {2, 8},  {3, 6},  {5, 4},
                                                 {7, 2},  {8, 0}, {10, 0}, {99, 0}, {7.5, 1}};
    for (const auto& [dose, volume] : volumes) {
        EXPECT_DOUBLE_EQ(app::volumeAtDose(dvh, dose), volume) << dose;
    }
    const std::pair<double, double> doses[] = {{1.0, 2.0},  {0.75, 3.0}, {0.5, 6.0},
                                               {0.25, 7.0}, {0.0, 8.0},  {1.5, 0.0}};
    for (const auto& [fraction, dose] : doses) {
        EXPECT_DOUBLE_EQ(app::doseAtVolume(dvh, fraction), dose) << fraction;
    }
}

}  // namespace
