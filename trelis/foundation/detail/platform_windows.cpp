#include <trelis/foundation/detail/platform.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <trelis/foundation/detail/unicode.h>

namespace trelis::detail {

namespace {

/// The characters of a directory with a separator at its end. The system itself allows a few more,
/// or, where an administrator and the program wish so, any number.
constexpr std::size_t kLongestDirectory = 240;

/// Bytes that one call reads or writes.
constexpr std::size_t kLargestPiece = std::size_t{1} << 30;

struct Closer {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
};
using UniqueHandle = std::unique_ptr<HANDLE, Closer>;

// The header of the seam does without the one of the system.
// NOLINTNEXTLINE(performance-no-int-to-ptr)
HANDLE systemHandle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

bool isText(const std::wstring& text) {
    for (const wchar_t* next = text.c_str(); next != text.c_str() + text.size();) {
        const char32_t character = takeCharacter(next);
        if (character == U'\0' || !isCharacter(character)) {
            return false;
        }
    }
    return true;
}

/// With all names from the root on and only backslashes; empty, and the error set, where that
/// fails.
std::wstring fullPath(const std::wstring& path) {
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const auto capacity = static_cast<DWORD>(full.size());
        const DWORD length = GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr);
        full.resize(length);
        if (length < capacity) {
            return full;
        }
    }
}

/// The path in the form that may have more than 260 characters and means a file whatever the name:
/// image "NUL" has a file as well. Empty, and the error set, where the path names no file.
std::wstring extendedPath(const std::wstring& path) {
    if (path.empty() || !isText(path)) {
        SetLastError(ERROR_INVALID_NAME);
        return {};
    }
    const std::size_t nameBegin = path.find_last_of(L"\\/:") + 1;
    std::wstring full = fullPath(nameBegin == 0 ? L"." : path.substr(0, nameBegin));
    if (full.empty()) {
        return {};
    }
    if (!full.ends_with(kPathSeparator)) {
        full += kPathSeparator;
    }
    full += path.substr(nameBegin);
    if (full.starts_with(LR"(\\?\)") || full.starts_with(LR"(\\.\)")) {
        return full;
    }
    return full.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + full.substr(1) : LR"(\\?\)" + full;
}

std::uint64_t join(DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; }

DirectoryEntry describe(const std::wstring& name, const std::wstring& path, DWORD attributes,
                        std::uint64_t size, const FILETIME& lastWrite) {
    // Times count units of 100 ns from the begin of 1601.
    constexpr std::int64_t kUnitsPerSecond = 10000000;
    constexpr std::uint64_t kUnitsUntil1970 = 116444736000000000;
    const auto units = static_cast<std::int64_t>(
        join(lastWrite.dwHighDateTime, lastWrite.dwLowDateTime) - kUnitsUntil1970);
    return {name, path, (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0, size,
            units / kUnitsPerSecond};
}

/// What has the path, or what a link there leads to; nothing where that is gone.
std::optional<DirectoryEntry> follow(const std::wstring& name, const std::wstring& path) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE handle = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return {};
    }
    const UniqueHandle file(handle);
    BY_HANDLE_FILE_INFORMATION found;
    if (GetFileInformationByHandle(file.get(), &found) == 0) {
        return {};
    }
    return describe(name, path, found.dwFileAttributes,
                    join(found.nFileSizeHigh, found.nFileSizeLow), found.ftLastWriteTime);
}

HANDLE openFile(const std::wstring& path, BinaryFile::Mode mode) {
    constexpr DWORD kRead = FILE_SHARE_READ;
    constexpr DWORD kReadAndWrite = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const auto open = [&](DWORD access, DWORD sharing, DWORD disposition) {
        return CreateFileW(extendedPath(path).c_str(), access, sharing, nullptr, disposition,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    switch (mode) {
        case BinaryFile::Mode::Read:
            return open(GENERIC_READ, kReadAndWrite, OPEN_EXISTING);
        case BinaryFile::Mode::Write:
            return open(GENERIC_WRITE, kReadAndWrite, OPEN_ALWAYS);
        case BinaryFile::Mode::CreateNew:
            return open(GENERIC_WRITE, kRead, CREATE_NEW);
    }
    return INVALID_HANDLE_VALUE;
}

/// Calls transfer(bytes, count, done), which is `ReadFile` or `WriteFile`, until all bytes are
/// through.
template <typename Byte, typename Transfer>
bool transferAll(Byte* bytes, std::size_t count, const Transfer& transfer) {
    while (count > 0) {
        DWORD done = 0;
        const auto piece = static_cast<DWORD>(std::min(count, kLargestPiece));
        if (transfer(bytes, piece, &done) == 0 || done == 0) {
            return false;
        }
        bytes += done;
        count -= done;
    }
    return true;
}

bool writeAll(HANDLE file, const char* bytes, std::size_t count) {
    return transferAll(bytes, count, [file](const char* from, DWORD n, DWORD* done) {
        return WriteFile(file, from, n, done, nullptr);
    });
}

}  // namespace

void writeDebugOutput(const wchar_t* message) noexcept { OutputDebugStringW(message); }

void writeFatalMessage(const wchar_t* message) noexcept {
    OutputDebugStringW(message);
    const auto write = [](const char* bytes, std::size_t count) {
        writeAll(GetStdHandle(STD_ERROR_HANDLE), bytes, count);
    };
    writeUtf8(message, write);
    writeUtf8(L"\n", write);
}

// A monitor of the whole system may listen as well as a debugger of this process; where nobody
// does, the system drops the message.
bool isDebuggerListening() noexcept { return true; }

const wchar_t kPathSeparator = L'\\';

const bool kNamesIgnoreCase = true;

int createDirectory(const std::wstring& path) {
    if (path.size() >= kLongestDirectory) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    const std::wstring extended = extendedPath(path);
    const bool created = !extended.empty() && CreateDirectoryW(extended.c_str(), nullptr) != 0;
    return created ? 0 : static_cast<int>(GetLastError());
}

bool isDirectory(const std::wstring& path) {
    const std::optional<DirectoryEntry> found = follow({}, extendedPath(path));
    return found && found->directory;
}

bool renameFile(const std::wstring& from, const std::wstring& to) {
    // Without a flag: no replacing, and no copying to another volume.
    return MoveFileExW(extendedPath(from).c_str(), extendedPath(to).c_str(), 0) != 0;
}

std::vector<DirectoryEntry> listDirectory(const std::wstring& path) {
    const std::wstring directory = extendedPath(path + kPathSeparator);
    std::vector<DirectoryEntry> entries;
    if (directory.empty()) {
        return entries;
    }
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((directory + L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return entries;
    }
    const std::unique_ptr<void, decltype(&FindClose)> closer(search, FindClose);
    do {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") {
            continue;
        }
        const std::wstring entryPath = directory + name;
        std::optional<DirectoryEntry> target;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            target = follow(name, entryPath);
        }
        entries.push_back(target ? *std::move(target)
                                 : describe(name, entryPath, found.dwFileAttributes,
                                            join(found.nFileSizeHigh, found.nFileSizeLow),
                                            found.ftLastWriteTime));
    } while (FindNextFileW(search, &found) != 0);
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    return entries;
}

bool removeFile(const std::wstring& path) { return DeleteFileW(extendedPath(path).c_str()) != 0; }

bool removeFile(const DirectoryEntry& entry) { return DeleteFileW(entry.path.c_str()) != 0; }

BinaryFile::BinaryFile(const std::wstring& path, Mode mode)
    : handle_(reinterpret_cast<std::intptr_t>(openFile(path, mode))) {
    if (mode == Mode::Read && isOpen() && GetFileType(systemHandle(handle_)) != FILE_TYPE_DISK) {
        close();
    }
}

BinaryFile::BinaryFile(BinaryFile&& other) noexcept
    : handle_(std::exchange(other.handle_, kClosed)) {}

BinaryFile::~BinaryFile() { close(); }

std::uint64_t BinaryFile::size() const {
    LARGE_INTEGER size;
    return GetFileSizeEx(systemHandle(handle_), &size) != 0
               ? static_cast<std::uint64_t>(size.QuadPart)
               : 0;
}

bool BinaryFile::read(void* bytes, std::size_t count) {
    return transferAll(static_cast<char*>(bytes), count, [this](char* to, DWORD n, DWORD* done) {
        return ReadFile(systemHandle(handle_), to, n, done, nullptr);
    });
}

// The object stays as it is, but not the file.
// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::write(const void* bytes, std::size_t count) {
    return writeAll(systemHandle(handle_), static_cast<const char*>(bytes), count);
}

// NOLINTNEXTLINE(readability-make-member-function-const)
bool BinaryFile::endHere() { return SetEndOfFile(systemHandle(handle_)) != 0; }

bool BinaryFile::close() {
    const std::intptr_t handle = std::exchange(handle_, kClosed);
    return handle == kClosed || CloseHandle(systemHandle(handle)) != 0;
}

}  // namespace trelis::detail
