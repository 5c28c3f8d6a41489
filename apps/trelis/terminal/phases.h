#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <trelis/foundation/progress.h>

namespace app {

/// Throws `QAbortPressed` when the person has asked to stop (Ctrl-C). Cheap; for loops that call no
/// progress reporter.
void stopIfInterrupted();

/// Lets Ctrl-C, a closed terminal and the end of a session ask to stop instead of ending the
/// process, and a reader that went away be an error of writing.
void catchInterrupts();

/// Writes to a terminal or whatever is in its place; where that cannot take it, it is lost.
void show(std::FILE* stream, const std::string& text);

/// The phases of a run, of which one goes on at a time: shown as they go, with a bar that moves on
/// a terminal, and timed.
class Phases {
  public:
    struct Timing {
        std::string name;
        std::string outcome;
        double seconds;
    };

    /// Shows nothing for a null stream; bars only where `bars` is set, else a line per phase.
    Phases(std::FILE* stream, bool bars);
    ~Phases();

    /// Begins a phase; the reporter is valid until `end`. Its calls throw `QAbortPressed` after
    /// Ctrl-C.
    FProgressReportingBody& begin(std::string name);

    /// Ends the phase with a few words on what came out.
    void end(std::string outcome);

    /// Writes a line above the bar.
    void print(const std::string& line);

    const std::vector<Timing>& timings() const { return timings_; }

  private:
    class Reporter;

    void show(double fraction);
    void clearBar();

    std::FILE* stream_;
    bool bars_;
    std::string name_;
    int shownPercent_ = -1;
    std::chrono::steady_clock::time_point begin_;
    std::unique_ptr<Reporter> reporter_;
    std::vector<Timing> timings_;
};

}  // namespace app
