#pragma once

#include <string>
#include <string_view>

namespace app::report {

/// The bytes in base 64 of RFC 4648, with padding.
std::string base64(std::string_view bytes);

}  // namespace app::report
