#pragma once

#include <string>
#include <string_view>

namespace app::report {

/// Valid UTF-8 on one line that every reader can show as it stands: line breaks and tabs become
/// spaces; other control characters, what is no UTF-8 and the marks that turn the direction of the
/// text around them become U+FFFD.
std::string printable(std::string_view text);

}  // namespace app::report
