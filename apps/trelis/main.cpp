#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include <trelis/foundation/progress.h>

#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/phantom/phantom.h>
#include <apps/trelis/report/write_outputs.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/terminal/command_line.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

/// Names out of files must not steer the terminal.
std::string printable(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            c = '?';
        }
    }
    return text;
}

std::string lineOf(const Message& message) {
    const char* severity = "note";
    if (message.severity == Severity::Warning) {
        severity = "warning";
    } else if (message.severity == Severity::Fault) {
        severity = "fault";
    }
    return printable(message.subject.empty()
                         ? fmt::format("{}: {}", severity, message.text)
                         : fmt::format("{}: {}: {}", severity, message.subject, message.text));
}

int exitCodeFor(const Messages& messages) {
    for (const Message& message : messages.all()) {
        if (message.severity == Severity::Fault) {
            return kIncomplete;
        }
    }
    return kDone;
}

int runEvaluate(const CommandLine& command, Messages& messages, Phases& phases) {
    const Study study = readStudy(command.folder, command.choice, messages, phases);
    if (study.image == nullptr && study.structures.empty() && study.doses.empty()) {
        throw std::runtime_error(
            fmt::format("{}: there is nothing to evaluate: no image series, "
                        "no structures, no dose",
                        command.folder.string()));
    }
    const Evaluation evaluation = evaluate(study, command.evaluation, messages, phases);
    const auto files =
        writeOutputs(command.output, study, command.evaluation, evaluation, messages, phases);
    if (!command.quiet) {
        for (const std::filesystem::path& file : files) {
            fmt::print("{}\n", file.string());
        }
    }
    return exitCodeFor(messages);
}

int runInfo(const CommandLine& command, Messages& messages, Phases& phases) {
    for (const std::string& line : describeFolder(command.folder, messages, phases)) {
        fmt::print("{}\n", printable(line));
    }
    return exitCodeFor(messages);
}

int run(const CommandLine& command) {
    const bool silent = command.quiet || command.command == CommandLine::Command::Info;
    Phases phases(silent ? nullptr : stderr, isatty(STDERR_FILENO) != 0);
    Messages messages([&](const Message& message) {
        if (silent) {
            fmt::print(stderr, "{}\n", lineOf(message));
        } else {
            phases.print(lineOf(message));
        }
    });
    switch (command.command) {
        case CommandLine::Command::Evaluate:
            return runEvaluate(command, messages, phases);
        case CommandLine::Command::Phantom:
            writePhantom(command.folder, command.phantom);
            return kDone;
        case CommandLine::Command::Info:
            break;
    }
    return runInfo(command, messages, phases);
}

int fail(const std::string& why, ExitCode code) {
    fmt::print(stderr, "error: {}\n", printable(why));
    return code;
}

}  // namespace
}  // namespace app

int main(int count, char** arguments) {
    try {
        app::CommandLine command;
        int exitCode = app::kDone;
        if (!app::parseCommandLine(count, arguments, command, exitCode)) {
            return exitCode;
        }
        app::catchInterrupts();
        return app::run(command);
    } catch (const QAbortPressed&) {
        return app::fail("cancelled, nothing was written", app::kCancelled);
    } catch (const std::invalid_argument& error) {
        return app::fail(error.what(), app::kBadCommand);
    } catch (const std::bad_alloc&) {
        return app::fail("out of memory", app::kFailed);
    } catch (const std::exception& error) {
        return app::fail(error.what(), app::kFailed);
    }
}
