#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <nlohmann/json.hpp>
#include <zlib.h>
#include <gtest/gtest.h>

#include <trelis/dose/dose_volume_histogram.h>

#include <apps/trelis/report/csv_output.h>
#include <apps/trelis/report/file_names.h>
#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/plane_sampling.h>
#include <apps/trelis/report/report_data.h>
#include <apps/trelis/report/round_step.h>
#include <apps/trelis/report/statistics_table.h>
#include <apps/trelis/report/write_outputs.h>

#include <tests/apps/temporary_folder.h>

namespace {

namespace fs = std::filesystem;
using app::EvaluatedStructure;
using app::Vector;

const Vector kCentre(10.0, -15.0, 25.0);
constexpr double kRadius = 30.0;
const std::string kHostile = "=<b a=\"1\">R&D'</b>\n]]>\x01\xff\xE2\x80\xAE,";

MMatrix turned(const Vector& translation) {
    MMatrix transform;
    transform.SetRotation(0.2, -0.1, 0.3);
    transform.SetTranslation(translation);
    return transform;
}

/// A ball whose 127.5 lies at the radius, on a grid that is turned and off its centre.
EvaluatedStructure ball(const std::string& name, double radius) {
    const FVoxelSpaceGeometry place(turned(kCentre + Vector(3.0, 2.0, -1.0)), 70, 80, 50, 1.25, 1.0,
                                    1.75);
    NSegment::SegmentVolume segment(70, 80, 50, 1.25, 1.0, 1.75);
    for (int z = 0; z < 50; ++z) {
        for (int y = 0; y < 80; ++y) {
            for (int x = 0; x < 70; ++x) {
                const double depth =
                    radius - (place.VoxelToReal(Vector(x, y, z)) - kCentre).Length();
                const double value = std::clamp(127.5 + 60.0 * depth, 0.0, 255.0);
                segment.setPixel(x, y, z, static_cast<int>(std::lround(value)));
            }
        }
    }
    return {name, "PTV", {200, 30, 30}, std::move(segment), place, 0.0, 0, false, {}, {}};
}

/// The voxel at a place in raster order.
Vector voxelOf(int index, int columns, int rows) {
    const int row = index / columns;
    const int plane = row / rows;
    return Vector(MVectorTemplate<int>(index % columns, row % rows, plane));
}

double linearDose(const Vector& p) { return 30.0 + 0.1 * p.x - 0.2 * p.y + 0.3 * p.z; }

struct Scene {
    app::Study study;
    app::EvaluationOptions options;
    app::Evaluation evaluation;
    app::Messages messages;

    Scene() {
        study.patientName = kHostile;
        study.structuresFile = "dir/<structures>.dcm";
        app::ImageVolume& image = evaluation.image.emplace();
        image.transform = turned(kCentre);
        image.modality = "MR";
        image.pixels = QVolume<unsigned short>(60, 50, 40, 2.0, 2.5, 3.0);
        app::DoseSum& dose = evaluation.dose.emplace();
        dose.units = "GY";
        dose.scale = 1e-6;
        dose.transform = turned(kCentre - Vector(4.0, 0.0, 0.0));
        dose.values = QVolume<unsigned int>(32, 33, 34, 3.0, 3.0, 3.0);
        dose.parts = {{"dose.dcm", 1.5}};
        fill(image.pixels, image.geometry(), 10.0);
        fill(dose.values, dose.geometry(), 1.0 / dose.scale);
        addStructures();
        addBeams();
        messages.note("n", kHostile);
        messages.warn(kHostile, "w");
        messages.fault("f", "x < y & z");
    }

    app::report::ReportData data() const {
        return app::report::reportData(study, options, evaluation, messages);
    }
    std::vector<fs::path> write(const fs::path& folder) const {
        app::Phases quiet(nullptr, false);
        return app::writeOutputs(folder, study, options, evaluation, messages, quiet);
    }

  private:
    template <typename T>
    static void fill(QVolume<T>& volume, const FVoxelSpaceGeometry& place, double factor) {
        T* value = volume.begin();
        for (int i = 0; value != volume.end(); ++i, ++value) {
            const Vector voxel = voxelOf(i, place.xsize(), place.ysize());
            *value = static_cast<T>(
                std::lround(std::max(0.0, factor * linearDose(place.VoxelToReal(voxel)))));
        }
    }

    void addStructures() {
        auto& structures = evaluation.structures;
        structures.push_back(ball(kHostile, 15.0));
        structures.push_back(ball("Ptv", kRadius));
        structures.push_back(ball("PTV", 0.0));
        structures[1].isTarget = true;
        structures[1].edits = {{"grown", 1.0, 2.0, 3, false}, {"shrunk", 2.0, 1.5, 3, true}};
        structures[2].segment.clear();
        QProgressReporterNull progress;
        for (std::size_t s = 0; s < 2; ++s) {
            trelis::CalculateDoseVolumeHistogramAndStatistics(
                evaluation.dose->values, evaluation.dose->transform, evaluation.dose->scale, 0,
                structures[s].segment, structures[s].geometry, 0.0, structures[s].dvh, progress);
            structures[s].volume = structures[s].dvh.volume;
        }
    }

    void addBeams() {
        app::EvaluatedBeam beam;
        beam.beam.name = "</script><script>alert(1)</script>";
        beam.beam.geometry.gantryAngle = 0.5235987755982988;
        beam.beam.leafBoundaries = beam.leafBoundaries = {-20.0, 0.0, 20.0};
        beam.left = {-11.25, -12.0};
        beam.right = {13.0, 14.0};
        beam.beam.plannedLeft = {-15.0, -15.5};
        beam.beam.plannedRight = {16.0, 16.5};
        beam.jaws = {-20.0, 20.0, -21.0, 22.0};
        beam.outline = {{{-10, -10}, {12, -10}, {12, 10}, {-10, 10}}, {{0, 0}, {0, 5}, {5, 0}}};
        evaluation.beams = {beam, beam};
        evaluation.beams[1].beam.leavesAlongY = true;
    }
};

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The page as a strict XML parser reads it, without a network.
class Page {
  public:
    explicit Page(const std::string& text)
        : document_(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                  XML_PARSE_NONET | XML_PARSE_NOERROR),
                    xmlFreeDoc) {}

    bool isWellFormed() const { return document_ != nullptr; }

    /// The texts of the nodes on a path, in which h: is HTML and s: SVG.
    std::vector<std::string> texts(const char* path) const {
        const auto string = [](const char* text) {
            return reinterpret_cast<const xmlChar*>(text);  // NOLINT: the parser's characters
        };
        const std::unique_ptr<xmlXPathContext, void (*)(xmlXPathContext*)> context(
            xmlXPathNewContext(document_.get()), xmlXPathFreeContext);
        xmlXPathRegisterNs(context.get(), string("h"), string("http://www.w3.org/1999/xhtml"));
        xmlXPathRegisterNs(context.get(), string("s"), string("http://www.w3.org/2000/svg"));
        const std::unique_ptr<xmlXPathObject, void (*)(xmlXPathObject*)> found(
            xmlXPathEval(string(path), context.get()), xmlXPathFreeObject);
        std::vector<std::string> result;
        const xmlNodeSet* nodes = found->nodesetval;
        for (int i = 0; nodes != nullptr && i < nodes->nodeNr; ++i) {
            const std::unique_ptr<xmlChar, void (*)(void*)> content(
                xmlNodeGetContent(nodes->nodeTab[i]), xmlFree);
            result.emplace_back(reinterpret_cast<const char*>(content.get()));  // NOLINT: as above
        }
        return result;
    }

  private:
    std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document_;
};

class Report : public ::testing::Test {
  protected:
    TemporaryFolder temporary_;
    fs::path root_ = temporary_.path();
    fs::path folder_ = root_ / "made" / "output";
    Scene scene_;
};

TEST_F(Report, IsWellFormedNeedsNoNetworkAndHoldsEveryStructureAndBeam) {
    const std::vector<fs::path> paths = scene_.write(folder_);
    std::vector<std::string> files;
    for (const fs::path& path : paths) {
        EXPECT_TRUE(fs::is_regular_file(path)) << path;
        files.push_back(path.filename().string());
    }
    EXPECT_EQ(files, (std::vector<std::string>{"report.html", "dvh.csv", "plan.json",
                                               "b_a_1_R_D_b.nrrd", "Ptv.nrrd", "PTV_2.nrrd"}));

    const std::string text = contentOf(paths.front());
    const Page page(text);
    ASSERT_TRUE(page.isWellFormed());
    const std::string shown = "=<b a=\"1\">R&D'</b> ]]>\uFFFD\uFFFD\uFFFD,";
    EXPECT_EQ(page.texts("//h:h1"), std::vector<std::string>{shown});
    EXPECT_EQ(page.texts("//h:table[@class='statistics']//h:th[@scope='row']/h:bdi"),
              (std::vector<std::string>{shown, "Ptv", "PTV"}));
    EXPECT_EQ(page.texts("//h:ul[@class='legend']//h:bdi"),
              (std::vector<std::string>{shown, "Ptv"}));
    EXPECT_EQ(page.texts("//s:svg[@id='dvh-plot']/s:path[contains(@class, 'curve')]").size(), 2U);
    EXPECT_EQ(page.texts("//h:tr[@class='edits']//h:del"),
              std::vector<std::string>{"shrunk: 2.00 → 1.50 cm³"});
    EXPECT_EQ(page.texts("//h:section[@id='beams']//h:figcaption/h:strong/h:bdi"),
              std::vector<std::string>(2, "</script><script>alert(1)</script>"));
    EXPECT_EQ(page.texts("//h:section[@id='beams']//s:path[@class='eye-outline']").size(), 2U);
    EXPECT_EQ(page.texts("//s:svg[@class='plane']/s:image").size(), 3U);
    EXPECT_EQ(page.texts("//h:div[@class='messages faults']//h:bdi[2]"),
              std::vector<std::string>{"x < y & z"});
    EXPECT_EQ(page.texts("//h:script").size(), 2U);
    EXPECT_TRUE(nlohmann::json::accept(page.texts("//h:script[@id='dvh-numbers']").front()));

    for (const std::string& link : page.texts("//@href | //@src")) {
        EXPECT_TRUE(link.starts_with('#') || link.starts_with("data:") ||
                    std::find(files.begin(), files.end(), link) != files.end())
            << link;
    }
    EXPECT_EQ(text.find("url(h"), std::string::npos);
    EXPECT_EQ(text.find("@import"), std::string::npos);
    scene_.write(root_ / "again");
    for (const std::string& file : files) {
        EXPECT_EQ(contentOf(folder_ / file), contentOf(root_ / "again" / file)) << file;
    }
}

TEST_F(Report, DrawsTheOutlineOfABallAndIsodosesWhereTheyAre) {
    const app::report::ReportData data = scene_.data();
    const std::vector<app::report::PlaneGrid> views = app::report::chooseViews(data);
    ASSERT_EQ(views.size(), 3U);
    const Page page(contentOf(scene_.write(folder_).front()));
    for (std::size_t i = 0; i < views.size(); ++i) {
        const app::report::PlaneGrid& view = views[i];
        const auto path =
            page.texts(("//s:path[@id='plane-" + std::to_string(i) + "-structure-1']/@d").c_str());
        ASSERT_EQ(path.size(), 1U);
        std::string numbers = path.front();
        std::replace_if(
            numbers.begin(), numbers.end(), [](char c) { return std::isalpha(c) != 0; }, ' ');
        std::istringstream stream(numbers);
        Vector sum;
        int count = 0;
        for (double x = 0.0, y = 0.0; stream >> x >> y; ++count) {
            const Vector point = view.at(x - 0.5, y - 0.5);
            EXPECT_NEAR((point - kCentre).Length(), kRadius, 0.5 * view.pixel);
            sum += point;
        }
        ASSERT_GT(count, 100);
        const Vector normal = view.right.Cross(view.down);
        EXPECT_LT((sum * (1.0 / count) - kCentre).Cross(normal).Length(), 0.5 * view.pixel);

        const app::ImageVolume& image = *scene_.evaluation.image;
        const QVolume<float> grey =
            app::report::sampleVolume(image.pixels, image.geometry(), view, 0.5);
        const int column = view.width / 2;
        const int row = view.height / 2;
        EXPECT_NEAR(grey.GetPixel(column, row, 0), 10.0 * linearDose(view.at(column, row)), 0.6);

        const app::report::PlaneDose dose(view, *scene_.evaluation.dose);
        const double level = linearDose(kCentre);
        const auto lines = dose.lines(level);
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_FALSE(lines.front().closed);
        for (const EdgePoint& point : lines.front().points) {
            EXPECT_NEAR(linearDose(view.at(point.x, point.y)), level, 1e-3);
        }
    }
}

TEST_F(Report, ShowsEveryWarningThoseAboutTheTargetFirstAndDoubtsTheDosesOfAPart) {
    for (int i = 0; i < 20; ++i) {
        const std::string number = std::to_string(i);
        scene_.messages.warn(number, i % 2 == 0 ? "even" : number);
        scene_.messages.note("n", number);
    }
    scene_.messages.warn("Ptv", "even");
    scene_.evaluation.structures[1].dvh.doseCoverage = 0.49096;
    const Page page(contentOf(scene_.write(folder_).front()));
    const std::string warnings = "//h:div[@class='messages warnings']";
    EXPECT_EQ(page.texts((warnings + "/h:ul/h:li").c_str()).size(), 12U);
    EXPECT_EQ(page.texts((warnings + "//h:li[1]").c_str()).front(),
              "Ptv, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18 even");
    EXPECT_EQ(page.texts("//h:details/h:summary"), std::vector<std::string>{"and 9 more"});
    EXPECT_EQ(page.texts("//h:li[@class='doubtful']/h:small"),
              std::vector<std::string>(2, "of the 49.0 % inside the dose grid"));
}

TEST_F(Report, SpreadsManyLevelsOverTablesAndShortensLongNames) {
    for (int level = 1; level <= 18; ++level) {
        scene_.options.doseLevels.push_back(level);
    }
    const auto repeated = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += "ä";
        }
        return text;
    };
    scene_.evaluation.structures[1].name = repeated(5000) + "end";
    const Page page(contentOf(scene_.write(folder_).front()));
    EXPECT_EQ(page.texts("//h:table[@class='statistics']/h:thead//h:th").size(), 14U);
    EXPECT_EQ(page.texts("//h:table[@class='statistics levels']/h:thead//h:th").size(), 9U + 8U);
    const auto heads = page.texts("//h:thead//h:th[starts-with(., 'V ')]");
    ASSERT_EQ(heads.size(), 18U);
    EXPECT_EQ(heads.back(), "V 18 Gy%");
    const std::string shown = page.texts("//h:ul[@class='legend']//h:bdi").back();
    EXPECT_EQ(shown, repeated(42) + "…" + repeated(18) + "end");
}

TEST_F(Report, GivesSmallDosesTheirDigitsAndRelativeOnesNoLevelsInGy) {
    scene_.options.doseLevels = {20.0};
    EXPECT_EQ(scene_.data().levels, scene_.options.doseLevels);
    scene_.evaluation.dose->scale *= 1e-6;
    scene_.evaluation.dose->units = "RELATIVE";
    const app::report::ReportData data = scene_.data();
    EXPECT_EQ(data.levels.size(), data.levelFractions.size());
    EXPECT_EQ(data.levelFractions.size(), 3U);
    EXPECT_NEAR(std::stod(app::report::doseText(data.maximumDose, data)) / data.maximumDose, 1.0,
                1e-3);
}

TEST_F(Report, FilesHoldTheNumbersOfTheEvaluation) {
    scene_.options.doseLevels = {linearDose(kCentre)};
    scene_.write(folder_);
    const auto json = nlohmann::json::parse(contentOf(folder_ / "plan.json"));
    const trelis::DvhData& dvh = scene_.evaluation.structures[1].dvh;
    const nlohmann::json& structure = json["structures"][1];
    const nlohmann::json& dose = structure["dose"];
    EXPECT_EQ(structure["volume_cm3"], scene_.evaluation.structures[1].volume);
    EXPECT_EQ(dose["mean_dose_Gy"], dvh.meanDose);
    EXPECT_EQ(dose["maximum_dose_position_mm"][2], dvh.maxDosePosition.z);
    EXPECT_EQ(dose["sampling_coverage"], dvh.samplingCoverage);
    EXPECT_NEAR(dose["d50_Gy"], linearDose(kCentre), 0.2);
    EXPECT_NEAR(dose["volume_at_dose"][0]["volume_percent"], 50.0, 1.0);
    EXPECT_TRUE(json["structures"][2]["dose"].is_null());
    EXPECT_EQ(structure["edits"][1]["undone"], true);
    EXPECT_EQ(json["dose_sum"]["transform_mm"][3][0], scene_.evaluation.dose->transform[3][0]);
    EXPECT_EQ(json["beams"][1]["fitted"]["left_mm"], (std::vector<double>{-11.25, -12.0}));
    EXPECT_EQ(json["beams"][0]["gantry_angle_deg"], 30.0);
    EXPECT_TRUE(json["beams"][0]["planned"]["jaws_mm"]["x1"].is_null());
    EXPECT_EQ(json["messages"].size(), 3U);

    const double step = dose["cumulative_histogram"]["dose_step_Gy"];
    const auto volumes = dose["cumulative_histogram"]["volumes_cm3"].get<std::vector<double>>();
    ASSERT_LE(volumes.size(), 1000U);
    std::istringstream csv(contentOf(folder_ / "dvh.csv"));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line, "structure,dose_Gy,volume_cm3,volume_percent\r");
    std::size_t row = 0;
    while (std::getline(csv, line)) {
        if (!line.starts_with("Ptv,")) {
            EXPECT_TRUE(line.starts_with("\"'=<b a=\"\"1\"\">R&D'</b> ]]>")) << line;
            continue;
        }
        double at = 0.0;
        double volume = 0.0;
        ASSERT_EQ(std::sscanf(line.c_str(), "Ptv,%lf,%lf", &at, &volume), 2) << line;
        EXPECT_DOUBLE_EQ(at, static_cast<double>(row) * step);
        double expected = 0.0;
        for (std::size_t bin = 0; bin < dvh.bins.size(); ++bin) {
            const double share = static_cast<double>(bin) + 1.0 - at / dvh.binWidth;
            expected += dvh.bins[bin] * std::clamp(share, 0.0, 1.0);
        }
        EXPECT_NEAR(volume, expected, 1e-9);
        EXPECT_EQ(volume, volumes.at(row));
        ++row;
    }
    EXPECT_EQ(row, volumes.size());
    EXPECT_EQ(volumes.back(), 0.0);
}

TEST_F(Report, LabelMapsLieWhereTheStructuresAre) {
    scene_.write(folder_);
    const std::string file = contentOf(folder_ / "Ptv.nrrd");
    const std::size_t end = file.find("\n\n");
    const std::string header = file.substr(0, end);
    int size[3] = {};
    Vector step[3];
    Vector origin;
    const auto field = [&](const std::string& name) {
        const std::size_t at = header.find('\n' + name + ": ");
        return at == std::string::npos ? "" : header.c_str() + at + name.size() + 3;
    };
    ASSERT_EQ(std::sscanf(field("sizes"), "%d %d %d", &size[0], &size[1], &size[2]), 3);
    ASSERT_EQ(std::sscanf(field("space directions"), "(%lf,%lf,%lf) (%lf,%lf,%lf) (%lf,%lf,%lf)",
                          &step[0].x, &step[0].y, &step[0].z, &step[1].x, &step[1].y, &step[1].z,
                          &step[2].x, &step[2].y, &step[2].z),
              9);
    ASSERT_EQ(std::sscanf(field("space origin"), "(%lf,%lf,%lf)", &origin.x, &origin.y, &origin.z),
              3);
    EXPECT_TRUE(std::string(field("space")).starts_with("left-posterior-superior\n"));

    const auto voxels = static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1]) *
                        static_cast<std::size_t>(size[2]);
    std::string labels(voxels + 1, '\x7f');
    const gzFile packed = [&] {
        std::ofstream(root_ / "labels.gz", std::ios::binary) << file.substr(end + 2);
        return gzopen((root_ / "labels.gz").c_str(), "rb");
    }();
    const int read = gzread(packed, labels.data(), static_cast<unsigned>(labels.size()));
    gzclose(packed);
    ASSERT_EQ(read, static_cast<int>(voxels));
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < voxels; ++i) {
        const Vector voxel = voxelOf(static_cast<int>(i), size[0], size[1]);
        const Vector place = origin + voxel.x * step[0] + voxel.y * step[1] + voxel.z * step[2];
        const double depth = kRadius - (place - kCentre).Length();
        wrong += labels[i] != (depth > 0.0 ? 1 : 0) && std::abs(depth) > 0.02 ? 1U : 0U;
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_LT(size[0], 2.0 * kRadius / 1.25 + 4.0);
}

std::vector<std::string> listing(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        names.push_back(entry.path().lexically_relative(folder).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(Report, LeavesNothingBehindAndChangesNothingWhenItFails) {
    fs::create_directories(folder_ / "plan.json");
    std::ofstream(folder_ / "report.html") << "old";
    const std::vector<std::string> before = listing(root_);
    try {
        scene_.write(folder_);
        ADD_FAILURE() << "a folder was replaced by a file";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find((folder_ / "plan.json").string()),
                  std::string::npos)
            << error.what();
    }
    EXPECT_THROW(scene_.write(folder_ / "report.html" / "below"), std::runtime_error);
    EXPECT_EQ(listing(root_), before);
    EXPECT_EQ(contentOf(folder_ / "report.html"), "old");
}

TEST_F(Report, ReplacesTheLabelMapsOfAnEarlierRunAllOrNone) {
    scene_.write(folder_);
    for (const char* name : {"own.nrrd", "note.txt"}) {
        std::ofstream(folder_ / name) << "kept";
    }
    std::ofstream(root_ / "made" / "outside.nrrd") << "kept";
    auto plan = nlohmann::json::parse(contentOf(folder_ / "plan.json"));
    for (const char* name : {"../outside.nrrd", "note.txt", "missing.nrrd"}) {
        plan["structures"].push_back({{"label_map", name}});
    }
    std::ofstream(folder_ / "plan.json") << plan;
    scene_.evaluation.structures[0].name = "other";

    fs::create_directory(folder_ / "other.nrrd");
    const std::vector<std::string> before = listing(root_);
    EXPECT_THROW(scene_.write(folder_), std::runtime_error);
    EXPECT_EQ(listing(root_), before);
    EXPECT_EQ(nlohmann::json::parse(contentOf(folder_ / "plan.json")), plan);

    fs::remove(folder_ / "other.nrrd");
    scene_.write(folder_);
    EXPECT_EQ(listing(root_ / "made"),
              (std::vector<std::string>{"output", "output/PTV_2.nrrd", "output/Ptv.nrrd",
                                        "output/dvh.csv", "output/note.txt", "output/other.nrrd",
                                        "output/own.nrrd", "output/plan.json", "output/report.html",
                                        "outside.nrrd"}));

    std::ofstream(folder_ / "plan.json") << "{\"structures\": [{\"label_map\": \"own.nrrd\"}, 1]}";
    scene_.write(folder_);
    EXPECT_TRUE(fs::exists(folder_ / "own.nrrd"));
}

TEST_F(Report, ClearsAwayWhatKilledRunsLeft) {
    const std::string own = std::string(".unfinished-") + std::to_string(getpid());
    const std::vector<std::string> kept = {".unfinished-1", ".unfinished-1x", ".unfinished--1"};
    for (const std::string& name : {own, std::string(".unfinished-2147483647")}) {
        fs::create_directories(folder_ / name / "report.html");
    }
    for (const std::string& name : kept) {
        fs::create_directories(folder_ / name);
    }
    scene_.write(folder_);
    for (const auto& entry : fs::directory_iterator(folder_)) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(name.starts_with('.'), std::find(kept.begin(), kept.end(), name) != kept.end())
            << name;
    }
    EXPECT_TRUE(fs::exists(folder_ / kept.front()));
}

/// Asks to stop when the bar of the phases shows one half.
ssize_t interruptAtHalf(void* /*cookie*/, const char* text, std::size_t size) {
    if (std::string(text, size).find("50 %") != std::string::npos) {
        std::raise(SIGINT);
    }
    return static_cast<ssize_t>(size);
}

TEST_F(Report, LeavesNothingBehindWhenItIsCancelled) {
    const auto cancelled = [&] {
        app::catchInterrupts();
        std::FILE* stream = fopencookie(nullptr, "w", {nullptr, interruptAtHalf, nullptr, nullptr});
        app::Phases phases(stream, true);
        try {
            app::writeOutputs(folder_, scene_.study, scene_.options, scene_.evaluation,
                              scene_.messages, phases);
        } catch (const QAbortPressed&) {
            std::_Exit(listing(root_).empty() ? 0 : 2);
        }
        std::_Exit(1);
    };
    EXPECT_EXIT(cancelled(), ::testing::ExitedWithCode(0), "");
}

TEST(ReportFileNames, ArePortableAndUnique) {
    const std::vector<std::string> names = {
        "PTV",   "ptv",     "../../etc/passwd", "",    "Con",
        "nul.x", "a/b:c*d", "Röhre <1> & Co",   "...", std::string(500, 'x')};
    EXPECT_EQ(app::report::fileNames(names),
              (std::vector<std::string>{"PTV", "ptv_2", "etc_passwd", "structure", "structure_Con",
                                        "structure_nul.x", "a_b_c_d", "R_hre_1_Co", "structure_2",
                                        std::string(72, 'x')}));
}

TEST(RoundStep, IsTheSmallestThatReaches) {
    struct Case {
        double range;
        int most;
        double step;
    };
    for (const Case& c : {Case{70.0, 998, 0.1}, Case{1.0, 1, 1.0}, Case{384.0, 8, 50.0},
                          Case{0.003, 10, 0.0005}, Case{1e6, 998, 2000.0}}) {
        EXPECT_EQ(app::report::RoundStep(c.range, c.most).times(1), c.step) << c.range;
    }
    EXPECT_EQ(app::report::RoundStep(70.0, 998).times(3), 0.3);
}

}  // namespace
