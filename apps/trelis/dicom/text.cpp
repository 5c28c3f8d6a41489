#include <algorithm>
#include <cctype>
#include <cstddef>

#include <fmt/format.h>

#include <apps/trelis/dicom/text.h>

namespace app {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr char kEscape = '\x1B';

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// How many bytes the first character has, 0 where it is no UTF-8.
std::size_t characterLength(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (byte(0) < 0x80) {
        return 1;
    }
    const std::size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || bytes.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const int start = byte(0) << 8 | byte(1);
    const bool overlong = (length == 3 && start < 0xE0A0) || (length == 4 && start < 0xF090);
    const bool surrogate = length == 3 && start >= 0xEDA0 && start <= 0xEDBF;
    return overlong || surrogate || start >= 0xF490 ? 0 : length;
}

/// Control characters of both ranges and what is no character at all (U+FFFE, U+FFFF).
bool isControl(std::string_view character) {
    if (character.size() == 1) {
        return std::iscntrl(static_cast<unsigned char>(character[0])) != 0;
    }
    return (character[0] == '\xC2' && static_cast<unsigned char>(character[1]) < 0xA0) ||
           character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
}

bool isWhiteSpace(std::string_view character) {
    return character == "\t" || character == "\n" || character == "\r" || character == "\f";
}

}  // namespace

std::string cleanText(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        const std::string_view character = bytes.substr(0, length);
        if (length == 0) {
            text += kReplacement;
        } else if (isWhiteSpace(character)) {
            text += ' ';
        } else if (!isControl(character)) {
            text += character;
        }
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    text.erase(0, text.find_first_not_of(' '));
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string inQuotes(const std::string& text) {
    constexpr std::size_t kLongest = 40;
    if (text.size() <= kLongest) {
        return fmt::format("\"{}\"", text);
    }
    std::size_t end = kLongest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return fmt::format("\"{}...\"", text.substr(0, end));
}

std::string nameInWords(const DcmTagKey& tag) {
    const auto isUpper = [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; };
    const std::string keyword = DcmTag(tag).getTagName();
    std::string words;
    for (std::size_t i = 0; i < keyword.size(); ++i) {
        const char c = keyword[i];
        const bool upperNext = i + 1 == keyword.size() || isUpper(keyword[i + 1]);
        const bool startsWord = isUpper(c) && i > 0 && (!upperNext || !isUpper(keyword[i - 1]));
        if (startsWord) {
            words += ' ';
        }
        const bool lower = !upperNext || (i > 0 && !isUpper(keyword[i - 1]) && !startsWord);
        words += lower ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
    }
    return words;
}

std::string personName(std::string text) {
    text = text.substr(0, text.find('=', 1));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '^' || c == '='; }, ' ');
    return cleanText(text);
}

TextDecoder::TextDecoder(DcmItem& dataset) : characterSet_(new DcmSpecificCharacterSet) {
    if (characterSet_->selectCharacterSet(dataset).bad()) {
        characterSet_.reset();
    }
}

std::string TextDecoder::decode(std::string_view bytes) const {
    const bool plain =
        std::all_of(bytes.begin(), bytes.end(), [](char c) { return isAscii(c) && c != kEscape; });
    OFString converted;
    if (plain || !characterSet_ ||
        characterSet_->convertString(bytes.data(), bytes.size(), converted, "^=").bad()) {
        return cleanText(bytes);
    }
    return cleanText({converted.data(), converted.size()});
}

}  // namespace app
