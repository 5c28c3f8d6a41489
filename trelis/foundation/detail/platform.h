#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// All that differs between platforms; one source per platform implements it.
namespace trelis::detail {

/// Writes a trace to the platform's debugger output. A message of up to 1,023 characters is one
/// write. Does not allocate.
void writeDebugOutput(const wchar_t* message) noexcept;

/// Writes the last message of the process to the debugger output, and as a line to standard error
/// in UTF-8. Does not allocate.
void writeFatalMessage(const wchar_t* message) noexcept;

/// Whether anybody might see a trace.
bool isDebuggerListening() noexcept;

// Files, by wide paths, which are UTF-8 where the platform takes bytes. A path with a null
// character or with something that is no character, as half a surrogate pair, names no file: every
// call fails.

/// What `createDirectory` returns where something has the name already.
inline constexpr int kAlreadyExists = 183;

/// What separates the names of a path: a backslash on Windows, a slash elsewhere.
extern const wchar_t kPathSeparator;

/// Whether names of files that differ only in the case of letters are the same.
extern const bool kNamesIgnoreCase;

/// Creates one level of directory. Returns 0, `kAlreadyExists` or the platform's code of another
/// error. On Windows a path is too long that has more than 240 characters with a separator at its
/// end; the files in a directory may have longer ones.
int createDirectory(const std::wstring& path);

/// Whether a directory, or a link to one that is there, has this name.
bool isDirectory(const std::wstring& path);

/// Gives a file another name on the same volume, in one step: at no time is anything but the whole
/// file to be seen under the new name. Fails where something has that name, also when that
/// appears at the same moment.
bool renameFile(const std::wstring& from, const std::wstring& to);

/// A link counts as what it leads to, unless that is gone.
struct DirectoryEntry {
    std::wstring name;           ///< what is no UTF-8 on disk replaced by U+FFFD
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

/// A file of bytes, open or not; closed at the end of its life. On Windows it cannot be deleted
/// while it is open, and until it is closed a file created new is open to others for reading only.
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

    bool isOpen() const { return handle_ != kClosed; }

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
    static constexpr std::intptr_t kClosed = -1;

    /// The descriptor or handle of the platform.
    std::intptr_t handle_ = kClosed;
};

// Of an angle in radians. Within two units in the last place of the exact value for any number of
// turns that is met in practice.

double sine(double angle);
double cosine(double angle);

/// The base to the power of the exponent, the same in every thread.
double power(double base, double exponent);

}  // namespace trelis::detail
