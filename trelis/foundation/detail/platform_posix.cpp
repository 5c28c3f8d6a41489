#include <trelis/foundation/detail/platform.h>

#include <cerrno>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace trelis::detail {

namespace {

constexpr std::size_t kMaximumUtf8Length = 4;
constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

void writeAll(int file, const char* bytes, std::size_t count) noexcept {
    while (count > 0) {
        const ssize_t written = write(file, bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

/// Writes the UTF-8 form of a UTF-32 character, returns its length. What is no character becomes
/// the replacement character.
std::size_t encodeUtf8(wchar_t wide, char* bytes) noexcept {
    auto code = static_cast<std::uint32_t>(wide);
    if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        code = kReplacementCharacter;
    }
    if (code < 0x80) {
        bytes[0] = static_cast<char>(code);
        return 1;
    }
    const std::size_t length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    for (std::size_t i = length - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
        code >>= 6;
    }
    const std::uint32_t lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(lead[length] | code);
    return length;
}

/// Copies the length and the conversion of one directive in the notation of this platform, and
/// moves `next` behind them. Here a string or character is narrow unless it has an l, a size has a
/// z.
void translateConversion(const wchar_t*& next, std::wstring& translated) {
    const std::wstring_view rest(next);
    std::wstring length;
    if (rest.starts_with(L"I64")) {
        length = L"ll";
        next += 3;
    } else if (rest.starts_with(L"I32")) {
        next += 3;
    } else if (rest.starts_with(L"I")) {
        length = L"z";
        next += 1;
    } else {
        length = rest.substr(0, std::wcsspn(next, L"hljztL"));
        next += length.size();
    }
    if (*next == L'\0') {
        return;
    }
    const wchar_t conversion = *next++;
    switch (conversion) {
        case L's':
        case L'c':
            translated += length == L"h" ? L"" : L"l";
            translated += conversion;
            break;
        case L'S':
        case L'C':
            translated += length == L"l" ? L"l" : L"";
            translated += conversion == L'S' ? L's' : L'c';
            break;
        default:
            translated += length;
            translated += conversion;
    }
}

std::wstring translateFormat(const wchar_t* format) {
    std::wstring translated;
    while (*format != L'\0') {
        const wchar_t character = *format++;
        translated += character;
        if (character == L'%') {
            const std::size_t prefix = std::wcsspn(format, L"-+ #0123456789.*");
            translated.append(format, prefix);
            format += prefix;
            translateConversion(format, translated);
        }
    }
    return translated;
}

}  // namespace

void formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                std::va_list arguments) {
    // Where the text does not fit, the formatter fails, but has filled the buffer with its
    // beginning.
    std::wmemset(buffer, L'\0', capacity);
    const std::wstring translated = translateFormat(format);
    // Narrow text is UTF-8 and numbers are plain, whatever the locale of the process.
    const locale_t utf8 = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    const locale_t previous = utf8 != nullptr ? uselocale(utf8) : nullptr;
    std::vswprintf(buffer, capacity, translated.c_str(), arguments);
    if (utf8 != nullptr) {
        uselocale(previous);
        freelocale(utf8);
    }
    buffer[capacity - 1] = L'\0';
}

void writeDebugOutput(const wchar_t* message) noexcept {
    constexpr std::size_t kBufferSize = 4096;
    char buffer[kBufferSize];
    std::size_t used = 0;
    for (; *message != L'\0'; ++message) {
        if (used + kMaximumUtf8Length >= kBufferSize) {
            writeAll(STDERR_FILENO, buffer, used);
            used = 0;
        }
        used += encodeUtf8(*message, buffer + used);
    }
    writeAll(STDERR_FILENO, buffer, used);
}

bool isDebuggerListening() noexcept {
    const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    char status[2048];
    const ssize_t length = read(file, status, sizeof(status) - 1);
    close(file);
    if (length <= 0) {
        return false;
    }
    status[length] = '\0';
    constexpr char kTracerField[] = "TracerPid:";
    const char* field = std::strstr(status, kTracerField);
    return field != nullptr && std::atoi(field + sizeof(kTracerField) - 1) != 0;
}

}  // namespace trelis::detail
