#include <apps/trelis/report/markup.h>
#include <apps/trelis/report/printable.h>
#include <apps/trelis/report/wording.h>

namespace app::report {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : printable(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

Markup named(std::string_view name) { return markup("<bdi>{}</bdi>", shortened(name)); }

}  // namespace app::report
