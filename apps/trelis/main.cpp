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
#include <apps/trelis/report/printable.h>
#include <apps/trelis/report/write_outputs.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/terminal/command_line.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

std::string lineOf(const Message& message) {
    const char* severity = "note";
    if (message.severity == Severity::Warning) {
        severity = "warning";
    } else if (message.severity == Severity::Fault) {
        severity = "fault";
    }
    // Names out of files must not steer the terminal.
    return report::printable(message.subject.empty() ? fmt::format("{}: {}", severity, message.text)
                                                     : fmt::format("{}: {}: {}", severity,
                                                                   message.subject, message.text));
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
            show(stdout, file.string() + '\n');
        }
    }
    return exitCodeFor(messages);
}

int runInfo(const CommandLine& command, Messages& messages, Phases& phases) {
    for (const std::string& line : describeFolder(command.folder, messages, phases)) {
        show(stdout, report::printable(line) + '\n');
    }
    return exitCodeFor(messages);
}

int run(const CommandLine& command) {
    const bool silent = command.quiet || command.command == CommandLine::Command::Info;
    Phases phases(silent ? nullptr : stderr, isatty(STDERR_FILENO) != 0);
    Messages messages([&](const Message& message) {
        if (!silent) {
            phases.print(lineOf(message));
        } else if (message.severity != Severity::Note) {
            show(stderr, lineOf(message) + '\n');
        }
    });
    switch (command.command) {
        case CommandLine::Command::Evaluate:
            return runEvaluate(command, messages, phases);
        case CommandLine::Command::Phantom:
            writePhantom(command.folder, command.phantom);
            if (!command.quiet) {
                show(stdout, fmt::format("A synthetic study is in {}\n", command.folder.string()));
            }
            return kDone;
        case CommandLine::Command::Info:
            break;
    }
    return runInfo(command, messages, phases);
}

int fail(const std::string& why, ExitCode code) {
    show(stderr, fmt::format("error: {}\n", report::printable(why)));
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
        exitCode = app::run(command);
        return std::ferror(stdout) == 0 ? exitCode
                                        : app::fail("cannot write the output", app::kFailed);
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
