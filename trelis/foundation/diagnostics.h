#pragma once

#include <trelis/export.h>

/// Reports a violated precondition: writes the message, whole and as it stands, to the debugger
/// output, as a line to standard error (on Linux these are one) and to the sink, then aborts the
/// process. Any thread.
[[noreturn]] TRELIS_API void Crash(const wchar_t* message) noexcept;

/// Formats the arguments and writes the message to the sink and to the debugger output, which on
/// Linux is standard error while a debugger is attached to the process, and nothing otherwise. At
/// most 1,023 wide characters; what is longer is cut. Any thread.
///
/// The format is printf-like, with one meaning on every platform and in every locale: %s and %c
/// take wide, %S and %C narrow (UTF-8) arguments, and the lengths I, I32 and I64 mean a size, 32
/// and 64 bits (%Iu, %I64d). There are no %a and %n, and # is for integers only. A long double
/// (%Lf) is printed as the double next to it, and a text is never cut within a pair of surrogates.
TRELIS_API void TrelisTrace(const wchar_t* format, ...) noexcept;

/// Sets a function that receives every message of `TrelisTrace` and `Crash` in addition, from the
/// thread that sends it; null removes it, though another thread may still be in it then. The
/// function must not throw and be callable from any thread. It is process-wide.
TRELIS_API void SetDebugOutput(void (*sink)(const wchar_t* message));
