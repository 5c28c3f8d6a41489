#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <trelis/export.h>

/// All that differs between platforms; one source per platform implements it.
namespace trelis::detail {

/// Writes a message to the platform's debugger output, in UTF-8 where that is a byte stream. A
/// message of up to 1,023 characters is one write. Does not allocate.
void writeDebugOutput(const wchar_t* message) noexcept;

/// Whether anybody would see a trace.
bool isDebuggerListening() noexcept;

/// Formats into a buffer of `capacity` wide characters, at least one; the result is terminated, and
/// what does not fit is cut. The notation is the one described at `TrelisTrace`.
TRELIS_API void formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                           std::va_list arguments);

// Files, by wide paths, which are UTF-8 where the platform takes bytes. A path with a null
// character or with something that is no character names no file: every call fails.

/// What `createDirectory` returns where something has the name already.
inline constexpr int kAlreadyExists = 183;

/// What separates the names of a path: a backslash on Windows, a slash elsewhere.
extern const wchar_t kPathSeparator;

/// Creates one level of directory. Returns 0, `kAlreadyExists` or the platform's code of another
/// error.
int createDirectory(const std::wstring& path);

/// Whether a directory, or a link to one, has this name.
bool isDirectory(const std::wstring& path);

/// Gives a file another name on the same volume, in one step: at no time is anything but the whole
/// file to be seen under the new name. Fails where something has that name, also when that
/// appears at the same moment.
bool renameFile(const std::wstring& from, const std::wstring& to);

/// A link counts as what it leads to, unless that is gone.
struct DirectoryEntry {
    std::wstring name;           ///< what is no UTF-8 in it replaced by U+FFFD
    std::filesystem::path path;  ///< with the directory, as the platform takes it
    bool directory;
    std::uint64_t size;             ///< bytes
    std::int64_t lastWriteSeconds;  ///< since 1970
};

/// What is in a directory, ordered by the names on the platform; nothing where it cannot be read.
std::vector<DirectoryEntry> listDirectory(const std::wstring& path);

/// Deletes a file; a directory stays, and that is a failure.
bool removeFile(const std::wstring& path);
bool removeFile(const DirectoryEntry& entry);

/// A file of bytes, open or not; closed at the end of its life.
class BinaryFile {
  public:
    enum class Mode {
        Read,       ///< an existing file; what is no ordinary file is not opened
        Write,      ///< overwritten from its begin, or created where it does not exist
        CreateNew,  ///< for writing; fails where the name exists
    };

    BinaryFile() = default;
    /// Not open when that fails.
    BinaryFile(const std::wstring& path, Mode mode);
    BinaryFile(BinaryFile&& other) noexcept;
    BinaryFile& operator=(BinaryFile&&) = delete;
    ~BinaryFile();

    bool isOpen() const { return descriptor_ >= 0; }

    /// Bytes, 0 when that cannot be told.
    std::uint64_t size() const;

    /// Reads the next `count` bytes; false when fewer are left or reading fails.
    bool read(void* bytes, std::size_t count);

    /// Writes all bytes; false when that fails at any place.
    bool write(const void* bytes, std::size_t count);

    /// Cuts off what is beyond the last byte written; false when that fails.
    bool endHere();

    /// False when what was written may be lost. The file is no longer open.
    bool close();

  private:
    int descriptor_ = -1;
};

}  // namespace trelis::detail
