#pragma once

#include <cstdarg>
#include <cstddef>

namespace trelis::detail {

/// Formats into a buffer of `capacity` wide characters, at least one; the result is terminated, and
/// what does not fit is cut. The notation is the one described at `TrelisTrace`; the same arguments
/// give the same text on every platform and in every locale. Does not allocate.
void formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                std::va_list arguments) noexcept;

}  // namespace trelis::detail
