#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

namespace app::report {

/// A piece of the page, HTML and XML at once, and well-formed by itself.
struct Markup {
    std::string text;

    Markup& operator+=(const Markup& other) {
        text += other.text;
        return *this;
    }
};

/// `printable` text with the characters replaced that mean something in markup, for elements and
/// quoted attributes.
std::string escaped(std::string_view text);

inline const std::string& markupArgument(const Markup& piece) { return piece.text; }
inline std::string markupArgument(std::string_view text) { return escaped(text); }
template <typename Number>
requires std::is_arithmetic_v<Number> Number markupArgument(Number number) { return number; }

template <typename Argument>
using MarkupArgument = decltype(markupArgument(std::declval<const Argument&>()));

/// The format with its arguments filled in: markup as it is, numbers as the format says, all other
/// text `escaped`. The format itself is markup.
template <typename... Arguments>
Markup markup(fmt::format_string<MarkupArgument<Arguments>...> format,
              const Arguments&... arguments) {
    return {fmt::format(format, markupArgument(arguments)...)};
}

/// A name out of the study, `shortened`, whose direction leaves the text around it alone.
Markup named(std::string_view name);

}  // namespace app::report
