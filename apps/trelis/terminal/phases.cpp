#include <cmath>
#include <csignal>
#include <utility>

#include <fmt/format.h>

#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void noteInterrupt(int /*signal*/) { interrupted = 1; }

/// Short enough for a narrow terminal.
constexpr int kBarCells = 14;

std::string barOf(const std::string& name, int percent) {
    const int filled = percent * kBarCells / 100;
    return fmt::format("\r{:<14} [{:#<{}}{:.<{}}] {:3} %", name, "", filled, "", kBarCells - filled,
                       percent);
}

}  // namespace

void catchInterrupts() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, noteInterrupt);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void show(std::FILE* stream, const std::string& text) {
    std::fputs(text.c_str(), stream);
    std::fflush(stream);
}

void stopIfInterrupted() {
    if (interrupted != 0) {
        throw QAbortPressed();
    }
}

/// Shows `from` to `to` of a phase.
class Phases::Reporter final : public FProgressReportingBody {
  public:
    Reporter(Phases& phases, double from, double to) : phases_(phases), from_(from), to_(to) {}

    void ReportProgress(double fraction) override {
        stopIfInterrupted();
        phases_.show(from_ + (to_ - from_) * fraction);
    }
    void SetProgress(double fraction) override { ReportProgress(fraction); }
    void ProcessEvents() override { stopIfInterrupted(); }
    FProgressReportingBody& SubRange(double from, double to) override {
        const double width = to_ - from_;
        parts_.push_back(
            std::make_unique<Reporter>(phases_, from_ + width * from, from_ + width * to));
        return *parts_.back();
    }
    bool IsAbortable() override { return true; }

  private:
    Phases& phases_;
    double from_;
    double to_;
    std::vector<std::unique_ptr<Reporter>> parts_;
};

Phases::Phases(std::FILE* stream, bool bars) : stream_(stream), bars_(bars) {}

Phases::~Phases() { clearBar(); }

FProgressReportingBody& Phases::begin(std::string name) {
    stopIfInterrupted();
    name_ = std::move(name);
    begin_ = std::chrono::steady_clock::now();
    reporter_ = std::make_unique<Reporter>(*this, 0.0, 1.0);
    show(0.0);
    return *reporter_;
}

void Phases::end(std::string outcome) {
    stopIfInterrupted();
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin_;
    timings_.push_back({name_, std::move(outcome), spent.count()});
    const Timing& timing = timings_.back();
    print(fmt::format("{:<14} {:8.2f} s  {}", timing.name, timing.seconds, timing.outcome));
    reporter_.reset();
}

void Phases::print(const std::string& line) {
    if (stream_ == nullptr) {
        return;
    }
    const int percent = shownPercent_;
    clearBar();
    app::show(stream_, line + '\n');
    if (percent >= 0 && reporter_) {
        show(percent / 100.0);
    }
}

void Phases::show(double fraction) {
    if (stream_ == nullptr || !bars_) {
        return;
    }
    const int percent = static_cast<int>(std::lround(100.0 * std::fmin(fraction, 1.0)));
    if (percent == shownPercent_) {
        return;
    }
    shownPercent_ = percent;
    app::show(stream_, barOf(name_, percent));
}

void Phases::clearBar() {
    if (shownPercent_ < 0) {
        return;
    }
    shownPercent_ = -1;
    app::show(stream_, "\r\x1b[K");
}

}  // namespace app
