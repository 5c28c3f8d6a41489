#include <trelis/volume_image/volume_image_cache.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include <trelis/foundation/detail/platform.h>
#include <trelis/volume_image/detail/cache_directory.h>
#include <trelis/volume_image/detail/cache_file_header.h>
#include <trelis/volume_image/md5.h>

namespace trelis {

namespace {

using detail::BinaryFile;
using detail::CacheFileHeader;
using detail::CacheFileHeaderBytes;
using Configuration = VolumeImageCache::Configuration;
using Pixel = unsigned short;
using Volume = QVolume<Pixel>;

static_assert(sizeof(Configuration) == 16 && sizeof(Pixel) == 2);
static_assert(std::endian::native == std::endian::little,
              "pixels and configuration are stored as they lie in memory");

constexpr int kEmptyArgument = 3;
constexpr wchar_t kDirectoryName[] = L"VolumeImageCache";
constexpr std::size_t kLongestId = 64;

struct State {
    bool initialized = false;
    std::wstring directory;
    Configuration configuration;
};

State& state() {
    static State instance;
    return instance;
}

std::wstring cacheFilePath(const std::wstring& imageId) {
    return state().directory + imageId + L".cache";
}

bool isValidIdCharacter(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') ||
           c == L'-' || c == L'.' || c == L'{' || c == L'}';
}

bool isValidId(const std::wstring& id) {
    return !id.empty() && id.size() <= kLongestId &&
           std::all_of(id.begin(), id.end(), isValidIdCharacter);
}

Configuration readConfiguration(const std::wstring& directory) {
    Configuration configuration;
    BinaryFile file(directory + detail::kParameterFileName, BinaryFile::Mode::Read);
    return file.isOpen() && file.read(&configuration, sizeof(configuration)) ? configuration
                                                                             : Configuration();
}

/// Planes that have pixels.
int planeCount(const Volume& volume) {
    return volume.GetXSize() > 0 && volume.GetYSize() > 0 ? volume.GetZSize() : 0;
}

std::size_t planeBytes(const Volume& volume) {
    return sizeof(Pixel) * static_cast<std::size_t>(volume.GetXSize()) *
           static_cast<std::size_t>(volume.GetYSize());
}

bool lacksPixels(const Volume& volume) {
    return planeCount(volume) > 0 && !volume.PixelsAllocated();
}

bool canBeStored(const Volume& volume) {
    return volume.GetXSize() >= 0 && volume.GetYSize() >= 0 && volume.GetZSize() >= 0 &&
           !lacksPixels(volume);
}

/// The bytes of a cache file; of sizes that no file can have the largest number.
std::int64_t fileBytes(std::int64_t x, std::int64_t y, std::int64_t z) {
    constexpr std::int64_t kHeader = detail::kCacheFileHeaderBytes;
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    const std::int64_t plane = x * y * static_cast<std::int64_t>(sizeof(Pixel));
    const bool fits = z == 0 || plane <= (kLargest - kHeader) / std::abs(z);
    return fits ? plane * z + kHeader : kLargest;
}

/// In pieces that the hasher takes.
void addPlane(MD5Hasher& hasher, const Pixel* plane, std::size_t byteCount) {
    constexpr std::size_t kPiece = std::size_t{1} << 30;
    const auto* bytes = reinterpret_cast<const unsigned char*>(plane);
    for (; byteCount > kPiece; bytes += kPiece, byteCount -= kPiece) {
        hasher.AddData(bytes, kPiece);
    }
    hasher.AddData(bytes, byteCount);
}

MD5Hash checksumOf(const Volume& volume) {
    MD5Hasher hasher;
    for (int z = 0; z < planeCount(volume); ++z) {
        addPlane(hasher, volume.GetConstSpanXY(z).begin(), planeBytes(volume));
    }
    MD5Hash hash;
    hasher.GetHash(hash);
    return hash;
}

bool writeFile(BinaryFile& file, const CacheFileHeader& header, const Volume& volume) {
    const CacheFileHeaderBytes bytes = encode(header);
    if (!file.write(bytes.data(), bytes.size())) {
        return false;
    }
    for (int z = 0; z < planeCount(volume); ++z) {
        if (!file.write(volume.GetConstSpanXY(z).begin(), planeBytes(volume))) {
            return false;
        }
    }
    return file.close();
}

std::wstring joined(std::int64_t x, std::int64_t y, std::int64_t z, wchar_t separator) {
    return std::to_wstring(x) + separator + std::to_wstring(y) + separator + std::to_wstring(z);
}

std::wstring mismatch(const wchar_t* what, const std::wstring& stored,
                      const std::wstring& expected) {
    return what + stored + L" is in mismatch with expected value " + expected;
}

// The steps of restoring. Each returns what is wrong, or an empty text.

std::wstring readHeader(BinaryFile& file, CacheFileHeader& header) {
    CacheFileHeaderBytes bytes;
    if (!file.read(bytes.data(), bytes.size())) {
        return L"Cannot read header";
    }
    header = detail::decode(bytes);
    return {};
}

std::wstring checkHeader(const CacheFileHeader& header, std::uint64_t size,
                         const std::wstring& imageId, const std::wstring& seriesId,
                         const Volume& volume) {
    const std::int64_t x = volume.GetXSize();
    const std::int64_t y = volume.GetYSize();
    const std::int64_t z = volume.GetZSize();
    if (header.typeTag != detail::kCacheFileTypeTag) {
        return L"Bad type tag '" + header.typeTag + L"' (expected '" + detail::kCacheFileTypeTag +
               L"')";
    }
    if (header.xsize != x || header.ysize != y || header.zsize != z) {
        return L"Size (" + joined(header.xsize, header.ysize, header.zsize, L',') +
               L") is in mismatch with expectations (" + joined(x, y, z, L',') + L")";
    }
    if (header.imageId != imageId) {
        return mismatch(L"Image ID ", header.imageId, imageId);
    }
    if (header.seriesId != seriesId) {
        return mismatch(L"Series ID ", header.seriesId, seriesId);
    }
    const std::int64_t expected = fileBytes(x, y, z);
    if (!std::cmp_equal(size, expected)) {
        return L"Size " + std::to_wstring(size) + L" differs from image size " +
               std::to_wstring(expected) + L" (" + joined(x, y, z, L'*') + L")";
    }
    return {};
}

std::wstring readPixels(BinaryFile& file, const MD5Hash& expected, Volume& volume) {
    if (lacksPixels(volume)) {
        volume.AllocatePixels();
    }
    MD5Hasher hasher;
    for (int z = 0; z < planeCount(volume); ++z) {
        // This access also drops the cached extremes of the volume.
        Pixel* const plane = volume.GetSpanXY(z).begin();
        if (!file.read(plane, planeBytes(volume))) {
            return L"Cannot read plane " + std::to_wstring(z);
        }
        addPlane(hasher, plane, planeBytes(volume));
    }
    MD5Hash hash;
    hasher.GetHash(hash);
    if (hash != expected) {
        return L"MD5 checksum failure. Expected " + expected.ToString() + L", got " +
               hash.ToString();
    }
    return {};
}

}  // namespace

int VolumeImageCache::Initialize(const std::wstring& baseDirectory) {
    if (baseDirectory.empty()) {
        return kEmptyArgument;
    }
    std::wstring directory = baseDirectory;
    if (directory.back() != detail::kPathSeparator) {
        directory += detail::kPathSeparator;
    }
    directory += kDirectoryName;
    const int failure = detail::createDirectory(directory);
    if (failure != 0 && (failure != detail::kAlreadyExists || !detail::isDirectory(directory))) {
        return failure;
    }
    directory += detail::kPathSeparator;
    const Configuration configuration = readConfiguration(directory);
    state() = {true, std::move(directory), configuration};
    return 0;
}

const VolumeImageCache::Configuration& VolumeImageCache::GetConfiguration() {
    return state().configuration;
}

void VolumeImageCache::SetConfiguration(const Configuration& configuration) {
    if (!state().initialized) {
        return;
    }
    state().configuration = configuration;
    // In one piece over what is there: a process that initialises meanwhile never finds less.
    BinaryFile file(state().directory + detail::kParameterFileName, BinaryFile::Mode::Write);
    if (file.write(&state().configuration, sizeof(Configuration))) {
        file.endHere();
    }
}

const std::wstring& VolumeImageCache::GetDirectory() { return state().directory; }

bool VolumeImageCache::Create(const std::wstring& imageId, const std::wstring& seriesId,
                              const QVolume<unsigned short>& volume, double pixelSlope,
                              int pixelOffset, double rescaleSlope, double rescaleIntercept) {
    if (!isValidId(imageId) || !isValidId(seriesId) || !state().initialized ||
        !canBeStored(volume)) {
        return false;
    }
    detail::cleanCacheFileDirectory(state().directory, state().configuration);
    std::wstring temporary;
    BinaryFile file = detail::createUniqueVolumeCacheTempFile(state().directory, temporary);
    if (!file.isOpen()) {
        return false;
    }
    CacheFileHeader header;
    header.xsize = static_cast<std::uint32_t>(volume.GetXSize());
    header.ysize = static_cast<std::uint32_t>(volume.GetYSize());
    header.zsize = volume.GetZSize();
    header.xres = volume.GetXResMM();
    header.yres = volume.GetYResMM();
    header.zres = volume.GetZResMM();
    header.rescaleSlope = rescaleSlope;
    header.rescaleIntercept = rescaleIntercept;
    header.pixelSlope = pixelSlope;
    header.pixelOffset = pixelOffset;
    header.imageId = imageId;
    header.seriesId = seriesId;
    header.checksum = checksumOf(volume);
    if (!writeFile(file, header, volume)) {
        return false;
    }
    if (!detail::renameFile(temporary, cacheFilePath(imageId))) {
        detail::removeFile(temporary);
        return false;
    }
    return true;
}

bool VolumeImageCache::Restore(const std::wstring& imageId, const std::wstring& seriesId,
                               QVolume<unsigned short>& volume, double& pixelSlope,
                               int& pixelOffset, double& rescaleSlope, double& rescaleIntercept,
                               std::wstring& error) {
    error.clear();
    if (!state().initialized) {
        error = L"Volume cache not initialized";
        return false;
    }
    if (!isValidId(imageId)) {
        error = L"Invalid image ID " + imageId;
        return false;
    }
    if (!isValidId(seriesId)) {
        error = L"Invalid series ID " + seriesId;
        return false;
    }
    const std::wstring path = cacheFilePath(imageId);
    BinaryFile file(path, BinaryFile::Mode::Read);
    if (!file.isOpen()) {
        return false;
    }
    const std::uint64_t size = file.size();
    CacheFileHeader header;
    std::wstring fault = readHeader(file, header);
    if (fault.empty()) {
        fault = checkHeader(header, size, imageId, seriesId, volume);
    }
    if (fault.empty()) {
        pixelSlope = header.pixelSlope;
        pixelOffset = header.pixelOffset;
        rescaleSlope = header.rescaleSlope;
        rescaleIntercept = header.rescaleIntercept;
        fault = readPixels(file, header.checksum, volume);
    }
    if (!fault.empty()) {
        error = L"File " + path + L": " + fault;
        return false;
    }
    return true;
}

bool VolumeImageCache::Remove(const std::wstring& imageId) {
    return state().initialized && isValidId(imageId) && detail::removeFile(cacheFilePath(imageId));
}

unsigned long long VolumeImageCache::GetTotalSize() {
    return state().initialized ? detail::totalCacheFileSize(state().directory) : 0;
}

}  // namespace trelis
