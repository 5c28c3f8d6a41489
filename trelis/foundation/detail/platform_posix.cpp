#include <trelis/foundation/detail/platform.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trelis::detail {

namespace {

constexpr std::size_t kMaximumUtf8Length = 4;
constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

/// Calls transfer(bytes, count), which is `read` or `write` of a file, until all bytes are through.
template <typename Byte, typename Transfer>
bool transferAll(Byte* bytes, std::size_t count, const Transfer& transfer) {
    while (count > 0) {
        const ssize_t done = transfer(bytes, count);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done <= 0) {
            return false;
        }
        bytes += done;
        count -= static_cast<std::size_t>(done);
    }
    return true;
}

bool writeAll(int file, const char* bytes, std::size_t count) noexcept {
    return transferAll(bytes, count,
                       [file](const char* from, std::size_t n) { return write(file, from, n); });
}

bool isCharacter(std::uint32_t code) noexcept {
    return code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000);
}

/// Writes the UTF-8 form of a UTF-32 character, returns its length. What is no character becomes
/// the replacement character.
std::size_t encodeUtf8(wchar_t wide, char* bytes) noexcept {
    auto code = static_cast<std::uint32_t>(wide);
    if (!isCharacter(code)) {
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

/// The character at the beginning of the bytes and its length; the replacement character and 1
/// where there is none.
std::pair<wchar_t, std::size_t> decodeUtf8(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes[0]);
    const auto ones = static_cast<std::size_t>(std::countl_one(lead));
    const std::size_t length = std::clamp<std::size_t>(ones, 1, kMaximumUtf8Length);
    const std::string_view form = bytes.substr(0, length);
    auto code = static_cast<std::uint32_t>(lead & (0xFF >> ones));
    for (const char next : form.substr(1)) {
        code = code << 6 | (static_cast<unsigned char>(next) & 0x3F);
    }
    // Only the one form that the character has is valid.
    char valid[kMaximumUtf8Length];
    const auto wide = static_cast<wchar_t>(code);
    if (form != std::string_view(valid, encodeUtf8(wide, valid))) {
        return {static_cast<wchar_t>(kReplacementCharacter), 1};
    }
    return {wide, length};
}

std::wstring wideName(std::string_view bytes) {
    std::wstring wide;
    while (!bytes.empty()) {
        const auto [character, length] = decodeUtf8(bytes);
        wide += character;
        bytes.remove_prefix(length);
    }
    return wide;
}

/// The path in UTF-8, or an empty one, which every system call refuses, where it has no such form.
std::string narrowPath(const std::wstring& path) {
    std::string narrow;
    for (const wchar_t character : path) {
        if (character == L'\0' || !isCharacter(static_cast<std::uint32_t>(character))) {
            return {};
        }
        char bytes[kMaximumUtf8Length];
        narrow.append(bytes, encodeUtf8(character, bytes));
    }
    return narrow;
}

int openFile(const std::string& path, BinaryFile::Mode mode) {
    // No waiting for the other end of a pipe.
    constexpr int kAlways = O_CLOEXEC | O_NONBLOCK;
    constexpr mode_t kReadAndWriteForAll = 0666;  // less the mask of the process
    switch (mode) {
        case BinaryFile::Mode::Read:
            return open(path.c_str(), kAlways | O_RDONLY);
        case BinaryFile::Mode::Write:
            return open(path.c_str(), kAlways | O_WRONLY | O_CREAT, kReadAndWriteForAll);
        case BinaryFile::Mode::CreateNew:
            return open(path.c_str(), kAlways | O_WRONLY | O_CREAT | O_EXCL, kReadAndWriteForAll);
    }
    return -1;
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

const wchar_t kPathSeparator = L'/';

int createDirectory(const std::wstring& path) {
    constexpr mode_t kAllForAll = 0777;  // less the mask of the process
    const std::string narrow = narrowPath(path);
    if (mkdir(narrow.c_str(), kAllForAll) == 0) {
        return 0;
    }
    return errno == EEXIST ? kAlreadyExists : errno;
}

bool isDirectory(const std::wstring& path) {
    struct stat status;
    return stat(narrowPath(path).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool renameFile(const std::wstring& from, const std::wstring& to) {
    const std::string oldName = narrowPath(from);
    const std::string newName = narrowPath(to);
#ifdef RENAME_NOREPLACE
    if (renameat2(AT_FDCWD, oldName.c_str(), AT_FDCWD, newName.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
#endif
    // Not every file system can do that; a second name is refused where it exists as well.
    if (link(oldName.c_str(), newName.c_str()) != 0) {
        return false;
    }
    unlink(oldName.c_str());
    return true;
}

std::vector<DirectoryEntry> listDirectory(const std::wstring& path) {
    const std::string narrow = narrowPath(path);
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(narrow.c_str()), closedir);
    std::vector<DirectoryEntry> entries;
    if (directory == nullptr) {
        return entries;
    }
    const int descriptor = dirfd(directory.get());
    while (const dirent* entry = readdir(directory.get())) {
        const std::string_view name = entry->d_name;
        struct stat status;
        if (name == "." || name == ".." ||
            (fstatat(descriptor, entry->d_name, &status, 0) != 0 &&
             fstatat(descriptor, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)) {
            continue;
        }
        entries.push_back({wideName(name), std::filesystem::path(narrow) / name,
                           S_ISDIR(status.st_mode), static_cast<std::uint64_t>(status.st_size),
                           status.st_mtim.tv_sec});
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.path.native() < b.path.native(); });
    return entries;
}

bool removeFile(const std::wstring& path) { return unlink(narrowPath(path).c_str()) == 0; }

bool removeFile(const DirectoryEntry& entry) { return unlink(entry.path.c_str()) == 0; }

BinaryFile::BinaryFile(const std::wstring& path, Mode mode)
    : descriptor_(openFile(narrowPath(path), mode)) {
    struct stat status;
    if (mode == Mode::Read && isOpen() &&
        (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))) {
        close();
    }
}

BinaryFile::BinaryFile(BinaryFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

BinaryFile::~BinaryFile() { close(); }

std::uint64_t BinaryFile::size() const {
    struct stat status;
    return fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool BinaryFile::read(void* bytes, std::size_t count) {
    return transferAll(static_cast<char*>(bytes), count,
                       [this](char* to, std::size_t n) { return ::read(descriptor_, to, n); });
}

// The object stays as it is, but not the file.
// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::write(const void* bytes, std::size_t count) {
    return writeAll(descriptor_, static_cast<const char*>(bytes), count);
}

// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::endHere() {
    const off_t end = lseek(descriptor_, 0, SEEK_CUR);
    return end >= 0 && ftruncate(descriptor_, end) == 0;
}

bool BinaryFile::close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || ::close(descriptor) == 0;
}

}  // namespace trelis::detail
