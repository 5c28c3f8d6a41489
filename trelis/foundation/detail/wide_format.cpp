#include <trelis/foundation/detail/wide_format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cwchar>
#include <limits>
#include <string_view>

#include <trelis/foundation/detail/unicode.h>

namespace trelis::detail {

namespace {

/// What is wider or more precise than this is cut in every message.
constexpr int kLargestWidth = 2000;

/// The digits of the largest double and as many behind the point.
constexpr std::size_t kNumberLength = 320 + kLargestWidth;

/// In a structure, so that a function that takes an argument moves the list of its caller as well.
struct Arguments {
    std::va_list list;
};

/// Takes what fits into the buffer.
class Output {
  public:
    Output(wchar_t* buffer, std::size_t capacity) : buffer_(buffer), room_(capacity - 1) {}

    void put(wchar_t character) {
        if (length_ != room_) {
            buffer_[length_++] = character;
        } else {
            cut_ = true;
        }
    }
    void fill(wchar_t character, int count) {
        for (; count > 0; --count) {
            put(character);
        }
    }
    void put(std::string_view ascii) {
        for (const char character : ascii) {
            put(static_cast<wchar_t>(character));
        }
    }
    void terminate() { buffer_[cut_ ? wholeLength(buffer_, length_) : length_] = L'\0'; }

  private:
    wchar_t* buffer_;
    std::size_t room_;
    std::size_t length_ = 0;
    bool cut_ = false;
};

/// `Large` is long double of a real number and long long of an integer.
enum class Length { None, Char, Short, Long, LongLong, Size, Large };

/// One directive of a format: %[flags][width][.precision][length]conversion.
struct Directive {
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zeros = false;
    int width = 0;
    int precision = -1;  ///< negative when not given
    Length length = Length::None;
    wchar_t conversion = L'\0';
};

void takeFlags(const wchar_t*& next, Directive& directive) {
    for (;; ++next) {
        switch (*next) {
            case L'-':
                directive.left = true;
                break;
            case L'+':
                directive.plus = true;
                break;
            case L' ':
                directive.space = true;
                break;
            case L'#':
                directive.alternate = true;
                break;
            case L'0':
                directive.zeros = true;
                break;
            default:
                return;
        }
    }
}

/// A number in the format or, for a star, among the arguments.
int takeNumber(const wchar_t*& next, Arguments& arguments) {
    if (*next == L'*') {
        ++next;
        return std::clamp(va_arg(arguments.list, int), -kLargestWidth, kLargestWidth);
    }
    int number = 0;
    for (; *next >= L'0' && *next <= L'9'; ++next) {
        number = std::min(number, kLargestWidth) * 10 + static_cast<int>(*next - L'0');
    }
    return std::min(number, kLargestWidth);
}

Length takeLength(const wchar_t*& next) {
    struct Name {
        std::wstring_view text;
        Length length;
    };
    constexpr Name kNames[] = {
        {L"I64", Length::LongLong}, {L"I32", Length::None},   {L"I", Length::Size},
        {L"hh", Length::Char},      {L"h", Length::Short},    {L"ll", Length::LongLong},
        {L"l", Length::Long},       {L"j", Length::LongLong}, {L"z", Length::Size},
        {L"t", Length::Size},       {L"L", Length::Large}};
    for (const auto& [text, length] : kNames) {
        if (std::wcsncmp(next, text.data(), text.size()) == 0) {
            next += text.size();
            return length;
        }
    }
    return Length::None;
}

/// `next` stands behind the percent sign, afterwards behind the conversion.
Directive takeDirective(const wchar_t*& next, Arguments& arguments) {
    Directive directive;
    takeFlags(next, directive);
    directive.width = takeNumber(next, arguments);
    if (directive.width < 0) {
        directive.left = true;
        directive.width = -directive.width;
    }
    if (*next == L'.') {
        ++next;
        directive.precision = takeNumber(next, arguments);
    }
    directive.length = takeLength(next);
    directive.conversion = *next;
    if (*next != L'\0') {
        ++next;
    }
    return directive;
}

std::int64_t takeInteger(Length length, Arguments& arguments) {
    switch (length) {
        case Length::Char:
            return static_cast<signed char>(va_arg(arguments.list, int));
        case Length::Short:
            return static_cast<short>(va_arg(arguments.list, int));
        case Length::Long:
            return va_arg(arguments.list, long);
        case Length::LongLong:
        case Length::Large:
            return va_arg(arguments.list, long long);
        case Length::Size:
            return va_arg(arguments.list, std::ptrdiff_t);
        default:
            return va_arg(arguments.list, int);
    }
}

std::uint64_t takeUnsigned(Length length, Arguments& arguments) {
    const std::int64_t bits = takeInteger(length, arguments);
    switch (length) {
        case Length::Char:
            return static_cast<unsigned char>(bits);
        case Length::Short:
            return static_cast<unsigned short>(bits);
        case Length::Long:
            return static_cast<unsigned long>(bits);
        case Length::LongLong:
        case Length::Large:
        case Length::Size:
            return static_cast<std::uint64_t>(bits);
        default:
            return static_cast<unsigned int>(bits);
    }
}

double takeReal(Length length, Arguments& arguments) {
    return length == Length::Large ? static_cast<double>(va_arg(arguments.list, long double))
                                   : va_arg(arguments.list, double);
}

/// Pads what put() emits, which is `length` characters.
template <typename Put>
void putPadded(Output& output, const Directive& directive, std::size_t length, const Put& put) {
    const int padding =
        directive.width - static_cast<int>(std::min<std::size_t>(length, kLargestWidth));
    output.fill(L' ', directive.left ? 0 : padding);
    put();
    output.fill(L' ', directive.left ? padding : 0);
}

/// A sign or base, zeros, digits. Where the flag asks for it, zeros fill the width.
void putNumber(Output& output, const Directive& directive, std::string_view front, int zeros,
               std::string_view digits, bool mayFill) {
    if (mayFill && directive.zeros && !directive.left) {
        zeros = std::max(zeros, directive.width - static_cast<int>(front.size() + digits.size()));
    }
    const std::size_t length = front.size() + static_cast<std::size_t>(zeros) + digits.size();
    putPadded(output, directive, length, [&] {
        output.put(front);
        output.fill(L'0', zeros);
        output.put(digits);
    });
}

std::string_view signOf(const Directive& directive, bool negative) {
    return negative ? "-" : directive.plus ? "+" : directive.space ? " " : "";
}

/// Whether the letters of a number are upper case.
bool isUpper(const Directive& directive) {
    return directive.conversion >= L'A' && directive.conversion <= L'Z';
}

void makeUpperCase(char* begin, const char* end) {
    for (; begin != end; ++begin) {
        if (*begin >= 'a' && *begin <= 'z') {
            *begin = static_cast<char>(*begin - 'a' + 'A');
        }
    }
}

void putInteger(Output& output, const Directive& directive, std::string_view front,
                std::uint64_t magnitude, int base) {
    char buffer[std::numeric_limits<std::uint64_t>::digits];
    char* const end = std::to_chars(std::begin(buffer), std::end(buffer), magnitude, base).ptr;
    if (isUpper(directive)) {
        makeUpperCase(buffer, end);
    }
    const bool nothing = magnitude == 0 && directive.precision == 0;
    const std::string_view digits(buffer, nothing ? buffer : end);
    int zeros = std::max(0, directive.precision - static_cast<int>(digits.size()));
    if (directive.alternate && base == 8 && zeros == 0 && !digits.starts_with('0')) {
        zeros = 1;
    }
    putNumber(output, directive, front, zeros, digits, directive.precision < 0);
}

void putSigned(Output& output, const Directive& directive, std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    putInteger(output, directive, signOf(directive, value < 0), value < 0 ? 0 - bits : bits, 10);
}

void putUnsigned(Output& output, const Directive& directive, std::uint64_t value) {
    switch (directive.conversion) {
        case L'o':
            return putInteger(output, directive, "", value, 8);
        case L'u':
            return putInteger(output, directive, "", value, 10);
        default: {
            const char* base = isUpper(directive) ? "0X" : "0x";
            putInteger(output, directive, directive.alternate && value != 0 ? base : "", value, 16);
        }
    }
}

std::chars_format formatOf(const Directive& directive) {
    switch (directive.conversion) {
        case L'f':
        case L'F':
            return std::chars_format::fixed;
        case L'e':
        case L'E':
            return std::chars_format::scientific;
        default:
            return std::chars_format::general;
    }
}

void putReal(Output& output, const Directive& directive, double value) {
    constexpr int kDefaultPrecision = 6;
    const int precision = directive.precision < 0 ? kDefaultPrecision : directive.precision;
    char buffer[kNumberLength];
    char* const end = std::to_chars(std::begin(buffer), std::end(buffer), std::abs(value),
                                    formatOf(directive), precision)
                          .ptr;
    if (isUpper(directive)) {
        makeUpperCase(buffer, end);
    }
    putNumber(output, directive, signOf(directive, std::signbit(value)), 0, {buffer, end},
              std::isfinite(value));
}

/// The largest number of wide characters of a text.
std::size_t limitOf(const Directive& directive) {
    return directive.precision < 0 ? std::numeric_limits<std::size_t>::max()
                                   : static_cast<std::size_t>(directive.precision);
}

void putWide(Output& output, const Directive& directive, const wchar_t* text) {
    text = text == nullptr ? L"(null)" : text;
    const std::size_t limit = limitOf(directive);
    std::size_t length = 0;
    while (length < limit && text[length] != L'\0') {
        ++length;
    }
    length = length < limit ? length : wholeLength(text, length);
    putPadded(output, directive, length, [&] {
        for (std::size_t i = 0; i < length; ++i) {
            output.put(text[i]);
        }
    });
}

/// Passes on the wide characters of a text in UTF-8, as many as the directive allows.
template <typename Visitor>
void forEachWide(const Directive& directive, const char* text, const Visitor& visit) {
    std::size_t room = limitOf(directive);
    while (room > 0 && *text != '\0') {
        wchar_t wide[kMaximumWideLength];
        const std::size_t length = encode(takeCharacter(text), wide);
        if (length > room) {
            return;
        }
        std::for_each(wide, wide + length, visit);
        room -= length;
    }
}

void putNarrow(Output& output, const Directive& directive, const char* text) {
    text = text == nullptr ? "(null)" : text;
    std::size_t length = 0;
    forEachWide(directive, text, [&](wchar_t) { ++length; });
    putPadded(output, directive, length,
              [&] { forEachWide(directive, text, [&](wchar_t wide) { output.put(wide); }); });
}

/// Strings and characters are wide for the small letter, narrow for the capital; a length decides
/// otherwise.
bool isWide(const Directive& directive) {
    return directive.length == Length::Long ||
           (directive.length != Length::Short && !isUpper(directive));
}

void putArgument(Output& output, const Directive& directive, Arguments& arguments) {
    switch (directive.conversion) {
        case L'd':
        case L'i':
            return putSigned(output, directive, takeInteger(directive.length, arguments));
        case L'u':
        case L'o':
        case L'x':
        case L'X':
            return putUnsigned(output, directive, takeUnsigned(directive.length, arguments));
        case L'p':
            return putInteger(output, directive, "0x",
                              reinterpret_cast<std::uintptr_t>(va_arg(arguments.list, void*)), 16);
        case L'f':
        case L'F':
        case L'e':
        case L'E':
        case L'g':
        case L'G':
            return putReal(output, directive, takeReal(directive.length, arguments));
        case L's':
        case L'S':
            if (isWide(directive)) {
                putWide(output, directive, va_arg(arguments.list, const wchar_t*));
            } else {
                putNarrow(output, directive, va_arg(arguments.list, const char*));
            }
            return;
        case L'c':
        case L'C': {
            const int character = va_arg(arguments.list, int);
            const wchar_t wide[] = {static_cast<wchar_t>(character), L'\0'};
            const char narrow[] = {static_cast<char>(character), '\0'};
            Directive whole = directive;
            whole.precision = -1;
            return isWide(whole) ? putWide(output, whole, wide) : putNarrow(output, whole, narrow);
        }
        default:
            // A percent sign, or what is no conversion.
            output.put(directive.conversion);
    }
}

}  // namespace

void formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                std::va_list arguments) noexcept {
    Arguments remaining;
    va_copy(remaining.list, arguments);
    Output output(buffer, capacity);
    while (*format != L'\0') {
        const wchar_t character = *format++;
        if (character == L'%') {
            const Directive directive = takeDirective(format, remaining);
            putArgument(output, directive, remaining);
        } else {
            output.put(character);
        }
    }
    va_end(remaining.list);
    output.terminate();
}

}  // namespace trelis::detail
