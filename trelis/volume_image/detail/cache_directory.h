#pragma once

#include <string>

#include <trelis/foundation/detail/platform.h>
#include <trelis/volume_image/volume_image_cache.h>

namespace trelis::detail {

/// The name of the file that holds the configuration.
inline constexpr wchar_t kParameterFileName[] = L"VolumeCacheParameters.bin";

// The directory is given with the path separator at its end.

/// Deletes the files that are too old, and when the others take too much space, the oldest of them.
/// Spares directories and the parameter file. What cannot be deleted is skipped. Each file is
/// traced.
void cleanCacheFileDirectory(const std::wstring& directory,
                             const VolumeImageCache::Configuration& configuration);

/// Creates a file "~" + unique + ".TMP" for writing and hands out its path. Traced. Not open when
/// that fails.
BinaryFile createUniqueVolumeCacheTempFile(const std::wstring& directory, std::wstring& path);

/// The sum of the low 32 bits of the sizes of all files "*.cache". The case of letters counts where
/// the platform distinguishes it.
unsigned long long totalCacheFileSize(const std::wstring& directory);

}  // namespace trelis::detail
