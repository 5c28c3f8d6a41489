#include <algorithm>

#include <fmt/format.h>

#include <apps/trelis/report/printable.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

bool beginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

std::size_t charactersOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

/// The byte at which a character begins.
std::size_t positionOf(std::size_t character, std::string_view text) {
    std::size_t at = 0;
    for (std::size_t begun = 0; at < text.size(); ++at) {
        if (beginsCharacter(text[at]) && begun++ == character) {
            break;
        }
    }
    return at;
}

}  // namespace

std::string shortened(std::string_view text, std::size_t longest) {
    std::string whole = printable(text);
    const std::size_t characters = charactersOf(whole);
    if (characters <= longest) {
        return whole;
    }
    const std::size_t atEnd = longest / 3;
    const std::size_t atBeginning = longest - 1 - atEnd;
    return fmt::format("{}…{}", whole.substr(0, positionOf(atBeginning, whole)),
                       whole.substr(positionOf(characters - atEnd, whole)));
}

std::string counted(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace app::report
