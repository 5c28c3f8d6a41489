#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <tests/apps/temporary_folder.h>

namespace {

namespace fs = std::filesystem;

class ProgramTest : public testing::Test {
  protected:
    std::string at(const char* name) const { return (folder_ / name).string(); }

    /// What the program prints, both streams; `exitCode` as a shell sees it.
    static std::string run(const std::string& arguments, int& exitCode) {
        const std::string command = std::string(TRELIS_PROGRAM) + " " + arguments + " 2>&1";
        std::FILE* pipe = popen(command.c_str(), "r");
        std::string output;
        for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
            output.push_back(static_cast<char>(c));
        }
        const int status = pclose(pipe);
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return output;
    }

    TemporaryFolder folder_;
};

TEST_F(ProgramTest, MakesAPhantomTellsWhatIsInItEvaluatesItAndUsesTheCacheTheSecondTime) {
    int exitCode = -1;
    std::string output = run("phantom --planes 60 " + at("study"), exitCode);
    ASSERT_EQ(exitCode, 0) << output;
    EXPECT_EQ(run("phantom " + at("study"), exitCode).find("error: "), 0U);
    EXPECT_EQ(exitCode, 2) << "the folder is not empty";

    output = run("info " + at("study"), exitCode);
    EXPECT_EQ(exitCode, 0);
    for (const char* part : {"CT", "RTSTRUCT", "RTDOSE", "RTPLAN"}) {
        EXPECT_NE(output.find(part), std::string::npos) << part << " in\n" << output;
    }

    const std::string evaluate =
        "evaluate " + at("study") + " -o " + at("out") + " --cache " + at("cache");
    output = run(evaluate, exitCode);
    EXPECT_EQ(exitCode, 0) << output;
    EXPECT_EQ(output.find("restored"), std::string::npos) << output;
    for (const char* name : {"report.html", "dvh.csv", "plan.json"}) {
        EXPECT_TRUE(fs::exists(folder_ / "out" / name)) << name;
    }
    output = run(evaluate, exitCode);
    EXPECT_EQ(exitCode, 0);
    EXPECT_NE(output.find("restored"), std::string::npos) << output;

    run(evaluate + " --subtract Nobody", exitCode);
    EXPECT_EQ(exitCode, 1) << "there is no such structure";
    run("evaluate " + at("nowhere") + " -o " + at("out2"), exitCode);
    EXPECT_EQ(exitCode, 2);
    EXPECT_FALSE(fs::exists(folder_ / "out2"));
}

TEST_F(ProgramTest, CtrlCLeavesNothingBehind) {
    int exitCode = -1;
    run("phantom --columns 512 --rows 512 --planes 60 " + at("study"), exitCode);
    ASSERT_EQ(exitCode, 0);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string study = at("study");
    const std::string output = at("out");
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl(TRELIS_PROGRAM, TRELIS_PROGRAM, "evaluate", study.c_str(), "-o", output.c_str(),
              "--no-cache", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    char first = 0;
    EXPECT_EQ(read(ends[0], &first, 1), 1) << "the line of the first phase";
    kill(child, SIGINT);
    std::string rest;
    char bytes[256];
    for (ssize_t n = 0; (n = read(ends[0], bytes, sizeof(bytes))) > 0;) {
        rest.append(bytes, static_cast<std::size_t>(n));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << rest;
    EXPECT_FALSE(fs::exists(output) && !fs::is_empty(output));
}

}  // namespace
