#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/dicom/attribute_reader.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

constexpr std::size_t kLongestText = 1024;
constexpr double kFarthestMM = 1e5;

std::string_view rawText(DcmElement& element, const DcmTagKey& tag) {
    char* value = nullptr;
    Uint32 length = 0;
    if (element.getString(value, length).bad()) {
        throw Unusable(fmt::format("has no text for {}", nameInWords(tag)));
    }
    return value == nullptr ? std::string_view() : std::string_view(value, length);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kPadding(" \0", 2);
    const std::size_t begin = std::min(text.find_first_not_of(kPadding), text.size());
    return text.substr(begin, text.find_last_not_of(kPadding) + 1 - begin);
}

double parsed(std::string_view text, const DcmTagKey& tag) {
    std::string_view digits = trimmed(text);
    if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') {
        digits.remove_prefix(1);
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(value)) {
        throw Unusable(fmt::format("has {} for a number in {}",
                                   inQuotes(cleanText(text.substr(0, kLongestText))),
                                   nameInWords(tag)));
    }
    return value;
}

std::vector<double> parsedList(std::string_view text, const DcmTagKey& tag) {
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\\')) + 1);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\\', begin), text.size());
        values.push_back(parsed(text.substr(begin, end - begin), tag));
        begin = end + 1;
    }
    return values;
}

/// The values of an element that holds them in binary form.
template <typename Value>
std::vector<double> binaryList(DcmElement& element, OFCondition (DcmElement::*get)(Value*&),
                               const DcmTagKey& tag) {
    Value* values = nullptr;
    if ((element.*get)(values).bad() || values == nullptr) {
        throw Unusable(fmt::format("has no numbers for {}", nameInWords(tag)));
    }
    std::vector<double> numbers(values, values + element.getVM());
    if (!std::all_of(numbers.begin(), numbers.end(), [](double v) { return std::isfinite(v); })) {
        throw Unusable(fmt::format("has a number that is not finite in {}", nameInWords(tag)));
    }
    return numbers;
}

}  // namespace

DcmElement* AttributeReader::find(const DcmTagKey& tag) const {
    DcmElement* element = nullptr;
    if (item_->findAndGetElement(tag, element).bad() || element == nullptr || element->isEmpty()) {
        return nullptr;
    }
    return element;
}

std::string AttributeReader::text(const DcmTagKey& tag) const {
    DcmElement* element = find(tag);
    return element == nullptr
               ? std::string()
               : decoder_->decode(trimmed(rawText(*element, tag).substr(0, kLongestText)));
}

std::vector<double> AttributeReader::numbers(const DcmTagKey& tag) const {
    DcmElement* element = find(tag);
    if (element == nullptr) {
        return {};
    }
    switch (element->ident()) {
        case EVR_US:
            return binaryList(*element, &DcmElement::getUint16Array, tag);
        case EVR_FL:
            return binaryList(*element, &DcmElement::getFloat32Array, tag);
        case EVR_FD:
            return binaryList(*element, &DcmElement::getFloat64Array, tag);
        default:
            return parsedList(rawText(*element, tag), tag);
    }
}

std::vector<double> AttributeReader::numbers(const DcmTagKey& tag, std::size_t count) const {
    std::vector<double> values = numbers(tag);
    if (values.empty()) {
        throw Unusable(fmt::format("has no {}", nameInWords(tag)));
    }
    if (values.size() != count) {
        throw Unusable(
            fmt::format("has {} numbers for {}, not {}", values.size(), nameInWords(tag), count));
    }
    return values;
}

std::optional<double> AttributeReader::findNumber(const DcmTagKey& tag) const {
    return has(tag) ? std::optional(number(tag)) : std::nullopt;
}

int AttributeReader::integer(const DcmTagKey& tag) const {
    const double value = number(tag);
    if (value != std::floor(value) || std::abs(value) > std::numeric_limits<int>::max()) {
        throw Unusable(fmt::format("has no whole number for {}", nameInWords(tag)));
    }
    return static_cast<int>(value);
}

std::optional<int> AttributeReader::findInteger(const DcmTagKey& tag) const {
    return has(tag) ? std::optional(integer(tag)) : std::nullopt;
}

std::vector<Vector> AttributeReader::points(const DcmTagKey& tag) const {
    const std::vector<double> values = numbers(tag);
    if (values.empty() || values.size() % 3 != 0) {
        throw Unusable(
            fmt::format("has {} numbers for {}, not three each", values.size(), nameInWords(tag)));
    }
    if (std::any_of(values.begin(), values.end(),
                    [](double value) { return std::abs(value) > kFarthestMM; })) {
        throw Unusable(fmt::format("has a {} far outside any patient", nameInWords(tag)));
    }
    std::vector<Vector> points;
    points.reserve(values.size() / 3);
    for (std::size_t i = 0; i < values.size(); i += 3) {
        points.emplace_back(values[i], values[i + 1], values[i + 2]);
    }
    return points;
}

Vector AttributeReader::point(const DcmTagKey& tag) const {
    if (!has(tag)) {
        throw Unusable(fmt::format("has no {}", nameInWords(tag)));
    }
    const std::vector<Vector> found = points(tag);
    if (found.size() != 1) {
        throw Unusable(fmt::format("has {} places for {}", found.size(), nameInWords(tag)));
    }
    return found.front();
}

std::vector<AttributeReader> AttributeReader::items(const DcmTagKey& tag) const {
    DcmElement* element = find(tag);
    if (element == nullptr) {
        return {};
    }
    auto* sequence = dynamic_cast<DcmSequenceOfItems*>(element);
    if (sequence == nullptr) {
        throw Unusable(fmt::format("has no sequence for {}", nameInWords(tag)));
    }
    std::vector<AttributeReader> readers;
    readers.reserve(sequence->card());
    for (DcmObject* object = nullptr; (object = sequence->nextInContainer(object)) != nullptr;) {
        if (auto* item = dynamic_cast<DcmItem*>(object)) {
            readers.emplace_back(*item, *decoder_);
        }
    }
    return readers;
}

}  // namespace app
