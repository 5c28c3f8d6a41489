#pragma once

#include <cstdarg>
#include <cstddef>

#include <trelis/export.h>

/// All that differs between platforms; one source per platform implements it.
namespace trelis::detail {

/// Writes a message to the platform's debugger output, in UTF-8 where that is a byte stream. A
/// message of up to 1,023 characters is one write. Does not allocate.
void writeDebugOutput(const wchar_t* message) noexcept;

/// Whether anybody would see a trace.
bool isDebuggerListening() noexcept;

/// Formats into a buffer of `capacity` wide characters, at least one; the result is terminated, and
/// what does not fit is cut. The notation is the one described at `TrelisTrace`.
TRELIS_API void formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                           std::va_list arguments);

}  // namespace trelis::detail
