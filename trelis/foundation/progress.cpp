#include <trelis/foundation/progress.h>

FProgressReportingBody::~FProgressReportingBody() = default;

void QProgressReporterNull::ReportProgress(double /*fraction*/) {}

void QProgressReporterNull::SetProgress(double /*fraction*/) {}

void QProgressReporterNull::ProcessEvents() {}

FProgressReportingBody& QProgressReporterNull::SubRange(double /*from*/, double /*to*/) {
    return *this;
}

bool QProgressReporterNull::IsAbortable() { return false; }
