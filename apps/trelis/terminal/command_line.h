#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/phantom/phantom.h>

namespace app {

/// How the program ends; also printed by `trelis --help`.
enum ExitCode : int {
    kDone = 0,         ///< nothing was left out
    kBadCommand = 1,   ///< the command line asks for something that cannot be
    kFailed = 2,       ///< nothing was written
    kIncomplete = 3,   ///< done, but something of the study had to be left out
    kCancelled = 130,  ///< Ctrl-C; nothing was written
};

/// What the command line asks for.
struct CommandLine {
    enum class Command { Evaluate, Phantom, Info };

    Command command = Command::Info;
    /// The study, or where the phantom goes.
    std::filesystem::path folder;
    std::filesystem::path output;
    StudyChoice choice;
    EvaluationOptions evaluation;
    PhantomOptions phantom;
    bool quiet = false;
};

/// Reads the arguments. Where the program has to end at once (a mistake, or help was asked for) it
/// prints why, sets `exitCode` and returns false.
bool parseCommandLine(int count, const char* const* arguments, CommandLine& result, int& exitCode);

}  // namespace app
