#pragma once

#include <trelis/export.h>

/// Thrown by value from a progress reporter to cancel the operation that called it. Arrives at the
/// caller of the operation; results are then partly written unless the operation says otherwise.
class TRELIS_API QAbortPressed {};

/// How long operations tell the application what is done; implemented by the application, never
/// owned by the library. Fractions run from 0 to 1 and never fall within one range. `SetProgress`
/// and `SubRange` are called on the thread that called the operation; `ReportProgress` also from
/// workers of a parallel loop, by one at a time while the others wait: it must not wait for the
/// calling thread.
class TRELIS_API FProgressReportingBody {
  public:
    virtual ~FProgressReportingBody();

    /// Shows the fraction done. May throw `QAbortPressed`.
    virtual void ReportProgress(double fraction) = 0;

    /// Records the fraction done of the current range. May throw `QAbortPressed`.
    virtual void SetProgress(double fraction) = 0;

    /// Never called by the library; a place for the application to keep its display alive.
    virtual void ProcessEvents() = 0;

    /// A reporter whose 0 to 1 is `from` to `to` of this one's range. This reporter owns it and
    /// keeps it for its own lifetime.
    virtual FProgressReportingBody& SubRange(double from, double to) = 0;

    /// Never called by the library; whether the application offers cancellation.
    virtual bool IsAbortable() = 0;

  protected:
    FProgressReportingBody() = default;
    FProgressReportingBody(const FProgressReportingBody&) = default;
    FProgressReportingBody& operator=(const FProgressReportingBody&) = default;
};

/// The reporter to pass when nobody listens. Has no state; any threads may share one.
class TRELIS_API QProgressReporterNull : public FProgressReportingBody {
  public:
    void ReportProgress(double fraction) override;
    void SetProgress(double fraction) override;
    void ProcessEvents() override;
    /// The reporter itself.
    FProgressReportingBody& SubRange(double from, double to) override;
    bool IsAbortable() override;
};
