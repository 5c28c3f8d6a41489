#include <trelis/volume_image/detail/cache_directory.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include <trelis/foundation/diagnostics.h>

namespace trelis::detail {

namespace {

constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::uint64_t kBytesPerMiB = std::uint64_t{1} << 20;
constexpr std::wstring_view kTemporaryExtension = L".TMP";
constexpr wchar_t kCacheExtension[] = L".cache";

std::chrono::system_clock::duration sinceEpoch() {
    return std::chrono::system_clock::now().time_since_epoch();
}

std::int64_t secondsSinceEpoch() {
    return std::chrono::floor<std::chrono::seconds>(sinceEpoch()).count();
}

std::wstring upperCase(std::wstring text) {
    for (wchar_t& character : text) {
        if (character >= L'a' && character <= L'z') {
            character = static_cast<wchar_t>(character - L'a' + L'A');
        }
    }
    return text;
}

bool isCacheFile(const std::wstring& name) {
    return kNamesIgnoreCase ? upperCase(name).ends_with(upperCase(kCacheExtension))
                            : name.ends_with(kCacheExtension);
}

/// Deletes a file and traces that it is gone, for the reason given, or that it is not.
bool removeTraced(const std::wstring& directory, const DirectoryEntry& file,
                  const wchar_t* reason) {
    const std::wstring path = directory + file.name;
    if (!removeFile(file)) {
        TrelisTrace(
            L"trelis::VolumeImageCache::CleanCacheFileDirectory: "
            L"Remove failed (file currently locked?) '%s'\n",
            path.c_str());
        return false;
    }
    TrelisTrace(L"trelis::VolumeImageCache::CleanCacheFileDirectory: Removed '%s'%s\n",
                path.c_str(), reason);
    return true;
}

/// The files that a clean-up may delete.
std::vector<DirectoryEntry> listFiles(const std::wstring& directory) {
    std::vector<DirectoryEntry> files = listDirectory(directory);
    const std::wstring parameterFile = upperCase(kParameterFileName);
    std::erase_if(files, [&](const DirectoryEntry& entry) {
        return entry.directory || upperCase(entry.name) == parameterFile;
    });
    return files;
}

/// Deletes what was last written before the limit, in seconds since 1970. Returns the files that
/// count for the size of the directory.
std::vector<DirectoryEntry> removeOldFiles(const std::wstring& directory, std::int64_t limit) {
    std::vector<DirectoryEntry> counted;
    for (DirectoryEntry& file : listFiles(directory)) {
        if (file.lastWriteSeconds < limit) {
            removeTraced(directory, file, L" (too old)");
        } else if (upperCase(directory + file.name).find(kTemporaryExtension) ==
                   std::wstring::npos) {
            // The whole path is looked at: in a directory ".tmp" nothing counts. Intended.
            counted.push_back(std::move(file));
        }
    }
    return counted;
}

}  // namespace

void cleanCacheFileDirectory(const std::wstring& directory,
                             const VolumeImageCache::Configuration& configuration) {
    std::vector<DirectoryEntry> files = removeOldFiles(
        directory, secondsSinceEpoch() - configuration.maxAgeHours * kSecondsPerHour);
    std::uint64_t total = 0;
    for (const DirectoryEntry& file : files) {
        total += file.size;
    }
    if (total <= configuration.cleanTriggerMB * kBytesPerMiB) {
        return;
    }
    std::stable_sort(files.begin(), files.end(), [](const auto& a, const auto& b) {
        return a.lastWriteSeconds < b.lastWriteSeconds;
    });
    for (const DirectoryEntry& file : files) {
        if (total <= configuration.cleanTargetMB * kBytesPerMiB) {
            return;
        }
        if (removeTraced(directory, file, L"")) {
            total -= file.size;
        }
    }
}

BinaryFile createUniqueVolumeCacheTempFile(const std::wstring& directory, std::wstring& path) {
    // Two processes may look at the clock at the same moment; one of them gets the next name.
    constexpr int kAttempts = 100;
    const auto ticks = sinceEpoch().count();
    for (int i = 0; i < kAttempts; ++i) {
        path = directory;
        path.append(L"~").append(std::to_wstring(ticks + i)).append(kTemporaryExtension);
        BinaryFile file(path, BinaryFile::Mode::CreateNew);
        if (file.isOpen()) {
            TrelisTrace(
                L"trelis::VolumeImageCache::CreateUniqueVolumeCacheTempFile: "
                L"Created unique temp cache file '%s'\n",
                path.c_str());
            return file;
        }
    }
    TrelisTrace(
        L"trelis::VolumeImageCache::CreateUniqueVolumeCacheTempFile: "
        L"Failed to create unique temp cache file!\n");
    return {};
}

unsigned long long totalCacheFileSize(const std::wstring& directory) {
    unsigned long long total = 0;
    for (const DirectoryEntry& entry : listDirectory(directory)) {
        if (!entry.directory && isCacheFile(entry.name)) {
            total += static_cast<std::uint32_t>(entry.size);
        }
    }
    return total;
}

}  // namespace trelis::detail
