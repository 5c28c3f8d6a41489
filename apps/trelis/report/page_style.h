#pragma once

namespace app::report {

/// The style sheet of the report, free of "<" and "&".
extern const char* const kPageStyle;

/// Its script, which reads out the histograms under the pointer; made to stand in a CDATA section.
extern const char* const kPageScript;

}  // namespace app::report
