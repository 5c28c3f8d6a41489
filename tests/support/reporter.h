#pragma once

#include <deque>
#include <vector>

#include <trelis/foundation/progress.h>

/// Keeps every fraction, mapped to the outermost range, and throws `QAbortPressed` from call number
/// `abortAt` (1 is the first, 0 never).
class RecordingReporter : public FProgressReportingBody {
  public:
    explicit RecordingReporter(int abortAt = 0) : abortAt_(abortAt), root_(this) {}

    void ReportProgress(double fraction) override { root_->take(from_ + fraction * (to_ - from_)); }
    void SetProgress(double fraction) override { ReportProgress(fraction); }
    void ProcessEvents() override {}
    bool IsAbortable() override { return true; }
    FProgressReportingBody& SubRange(double from, double to) override {
        RecordingReporter& child = children_.emplace_back();
        child.root_ = root_;
        child.from_ = from_ + from * (to_ - from_);
        child.to_ = from_ + to * (to_ - from_);
        return child;
    }

    const std::vector<double>& fractions() const { return fractions_; }

  private:
    void take(double fraction) {
        fractions_.push_back(fraction);
        if (static_cast<int>(fractions_.size()) == abortAt_) {
            throw QAbortPressed();
        }
    }

    int abortAt_;
    RecordingReporter* root_;
    double from_ = 0.0;
    double to_ = 1.0;
    std::vector<double> fractions_;
    std::deque<RecordingReporter> children_;
};
