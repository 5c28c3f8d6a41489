#include <trelis/foundation/detail/platform.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <trelis/foundation/detail/unicode.h>

namespace trelis::detail {

namespace {

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

std::wstring wideName(const char* bytes) {
    std::wstring name;
    while (*bytes != '\0') {
        wchar_t wide[kMaximumWideLength];
        name.append(wide, encode(takeCharacter(bytes), wide));
    }
    return name;
}

/// The path in UTF-8, or an empty one, which every system call refuses, where it has no such form.
std::string narrowPath(const std::wstring& path) {
    std::string narrow;
    for (const wchar_t* next = path.c_str(); next != path.c_str() + path.size();) {
        const char32_t character = takeCharacter(next);
        if (character == U'\0' || !isCharacter(character)) {
            return {};
        }
        char bytes[kMaximumUtf8Length];
        narrow.append(bytes, encode(character, bytes));
    }
    return narrow;
}

int descriptor(std::intptr_t handle) { return static_cast<int>(handle); }

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

}  // namespace

void writeDebugOutput(const wchar_t* message) noexcept {
    writeUtf8(message,
              [](const char* bytes, std::size_t count) { writeAll(STDERR_FILENO, bytes, count); });
}

void writeFatalMessage(const wchar_t* message) noexcept {
    writeDebugOutput(message);
    // Messages have no newline of their own; a terminal wants one.
    writeDebugOutput(L"\n");
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

const bool kNamesIgnoreCase = false;

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
        entries.push_back({wideName(entry->d_name), std::filesystem::path(narrow) / name,
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
    : handle_(openFile(narrowPath(path), mode)) {
    struct stat status;
    if (mode == Mode::Read && isOpen() &&
        (fstat(descriptor(handle_), &status) != 0 || !S_ISREG(status.st_mode))) {
        close();
    }
}

BinaryFile::BinaryFile(BinaryFile&& other) noexcept
    : handle_(std::exchange(other.handle_, kClosed)) {}

BinaryFile::~BinaryFile() { close(); }

std::uint64_t BinaryFile::size() const {
    struct stat status;
    return fstat(descriptor(handle_), &status) == 0 ? static_cast<std::uint64_t>(status.st_size)
                                                    : 0;
}

bool BinaryFile::read(void* bytes, std::size_t count) {
    return transferAll(static_cast<char*>(bytes), count, [this](char* to, std::size_t n) {
        return ::read(descriptor(handle_), to, n);
    });
}

// The object stays as it is, but not the file.
// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::write(const void* bytes, std::size_t count) {
    return writeAll(descriptor(handle_), static_cast<const char*>(bytes), count);
}

// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::endHere() {
    const off_t end = lseek(descriptor(handle_), 0, SEEK_CUR);
    return end >= 0 && ftruncate(descriptor(handle_), end) == 0;
}

bool BinaryFile::close() {
    const std::intptr_t handle = std::exchange(handle_, kClosed);
    return handle == kClosed || ::close(descriptor(handle)) == 0;
}

double sine(double angle) { return std::sin(angle); }

double cosine(double angle) { return std::cos(angle); }

double power(double base, double exponent) { return std::pow(base, exponent); }

}  // namespace trelis::detail
