#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <apps/trelis/terminal/command_line.h>

namespace {

/// The exit code that ends the program, or -1 where it may go on.
int parse(const std::vector<const char*>& words, app::CommandLine& result) {
    std::vector<const char*> arguments = {"trelis"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    int exitCode = -1;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool goesOn = app::parseCommandLine(static_cast<int>(arguments.size()), arguments.data(),
                                              result, exitCode);
    const std::string said =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    EXPECT_EQ(goesOn, said.empty()) << said;
    return goesOn ? -1 : exitCode;
}

TEST(CommandLine, MistakesEndWithOneAndHelpWithZero) {
    const struct {
        std::vector<const char*> words;
        int exitCode;
    } cases[] = {
        {{}, 1},
        {{"--help"}, 0},
        {{"evaluate", "--help"}, 0},
        {{"--version"}, 0},
        {{"evaluate", "S"}, 1},
        {{"evaluate", "S", "-o", "D"}, -1},
        {{"evaluate", "S", "-o", "D", "--weight", "0"}, 1},
        {{"evaluate", "S", "-o", "D", "--weight", "-1"}, 1},
        {{"evaluate", "S", "-o", "D", "--weight", "a.dcm=-0.5"}, 1},
        {{"evaluate", "S", "-o", "D", "--weight", "a.dcm=nan"}, 1},
        {{"evaluate", "S", "-o", "D", "--weight", "a.dcm=1e999"}, 1},
        {{"evaluate", "S", "-o", "D", "--weight", "a.dcm"}, 1},
        {{"evaluate", "S", "-o", "D", "--margin", "PTV"}, 1},
        {{"evaluate", "S", "-o", "D", "--margin", "=5"}, 1},
        {{"evaluate", "S", "-o", "D", "--margin", "PTV=5mm"}, 1},
        {{"evaluate", "S", "-o", "D", "--keep-largest", "0"}, 1},
        {{"evaluate", "S", "-o", "D", "--level", "-20"}, 1},
        {{"evaluate", "S", "-o", "D", "--couch", "10"}, 1},
        {{"evaluate", "S", "-o", "D", "--gantry", "0,90,180", "--couch", "10,20"}, 1},
        {{"evaluate", "S", "-o", "D", "--gantry", "nan"}, 1},
        {{"phantom"}, 1},
        {{"phantom", "D", "--planes", "1"}, 1},
        {{"info", "S"}, -1},
        {{"unknown", "S"}, 1},
    };
    for (const auto& c : cases) {
        std::string line;
        for (const char* word : c.words) {
            line += std::string(word) + ' ';
        }
        app::CommandLine result;
        EXPECT_EQ(parse(c.words, result), c.exitCode) << line;
    }
}

TEST(CommandLine, OptionsOfAnEvaluationReachIt) {
    app::CommandLine result;
    ASSERT_EQ(parse({"evaluate", "--margin",   "A=B=2.5", "--margin", "C=-3",  "--subtract",
                     "Cord",     "--weight",   "2=0.5",   "--weight", "3",     "--gantry",
                     "-90,45.5", "--gantry",   "180",     "--couch",  "10",    "--collimator",
                     "1,2,3",    "--level",    "20,30",   "--undo",   "1",     "--keep-largest",
                     "2",        "--no-cache", "STUDY",   "-o",       "OUTPUT"},
                    result),
              -1);
    const app::EvaluationOptions& options = result.evaluation;
    EXPECT_EQ(result.folder, "STUDY");
    EXPECT_EQ(result.output, "OUTPUT");
    using Named = std::vector<std::pair<std::string, double>>;
    EXPECT_EQ(options.margins, (Named{{"A=B", 2.5}, {"C", -3.0}}));
    EXPECT_EQ(options.subtractions, std::vector<std::string>{"Cord"});
    EXPECT_EQ(options.weights, (Named{{"2", 0.5}}));
    EXPECT_EQ(options.defaultWeight, 3.0);
    EXPECT_EQ(options.doseLevels, (std::vector<double>{20.0, 30.0}));
    EXPECT_EQ(options.undo, 1);
    EXPECT_EQ(options.keepLargest, 2);
    EXPECT_TRUE(options.cacheDirectory.empty());

    ASSERT_EQ(options.beams.size(), 3U);
    const double gantry[] = {-90.0, 45.5, 180.0};
    constexpr double kDegree = 0.017453292519943295;
    for (int i = 0; i < 3; ++i) {
        const auto& geometry = options.beams[static_cast<std::size_t>(i)].geometry;
        EXPECT_NEAR(geometry.gantryAngle, gantry[i] * kDegree, 1e-15);
        EXPECT_NEAR(geometry.collimatorAngle, (i + 1) * kDegree, 1e-15);
        EXPECT_NEAR(geometry.couchAngle, 10 * kDegree, 1e-15);
        EXPECT_TRUE(std::isnan(geometry.isocentre.x)) << "the centre of the target";
    }
}

}  // namespace
