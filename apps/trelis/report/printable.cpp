#include <cstddef>

#include <apps/trelis/report/printable.h>

namespace app::report {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct CodePoint {
    char32_t value;
    /// 0 where the bytes are no UTF-8.
    std::size_t bytes;
};

CodePoint malformed() { return {0, 0}; }

CodePoint decodeSequence(std::string_view text, std::size_t bytes, char32_t lead,
                         char32_t smallest) {
    if (text.size() < bytes) {
        return malformed();
    }
    char32_t value = lead;
    for (std::size_t i = 1; i < bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) {
            return malformed();
        }
        value = (value << 6U) | (byte & 0x3FU);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return value < smallest || value > 0x10FFFF || surrogate ? malformed()
                                                             : CodePoint{value, bytes};
}

CodePoint decode(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80U) {
        return {lead, 1};
    }
    if ((lead & 0xE0U) == 0xC0U) {
        return decodeSequence(text, 2, lead & 0x1FU, 0x80);
    }
    if ((lead & 0xF0U) == 0xE0U) {
        return decodeSequence(text, 3, lead & 0x0FU, 0x800);
    }
    if ((lead & 0xF8U) == 0xF0U) {
        return decodeSequence(text, 4, lead & 0x07U, 0x10000);
    }
    return malformed();
}

bool isSpace(char32_t c) {
    return (c >= U'\t' && c <= U'\r') || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

bool turnsDirection(char32_t c) {
    return c == 0x61C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

bool isNoCharacter(char32_t c) { return (c & 0xFFFEU) == 0xFFFEU || (c >= 0xFDD0 && c <= 0xFDEF); }

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const CodePoint c = decode(text);
        if (c.bytes == 0) {
            result += kReplacement;
            text.remove_prefix(1);
            continue;
        }
        if (isSpace(c.value)) {
            result += ' ';
        } else if (isControl(c.value) || turnsDirection(c.value) || isNoCharacter(c.value)) {
            result += kReplacement;
        } else {
            result += text.substr(0, c.bytes);
        }
        text.remove_prefix(c.bytes);
    }
    return result;
}

}  // namespace app::report
