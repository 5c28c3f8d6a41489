#include <apps/trelis/evaluation/image_cache.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <system_error>
#include <type_traits>

#include <fmt/format.h>

#include <trelis/volume_image/md5.h>
#include <trelis/volume_image/pixel_conversion.h>
#include <trelis/volume_image/volume_image_cache.h>

namespace app {

namespace {

using trelis::VolumeImageCache;
using trelis::VolumeImage::VolumeImageSpec;

constexpr char kSubject[] = "image cache";

/// Changes when the same slices would make another volume than before.
constexpr int kBuild = 1;

constexpr std::size_t kLongestId = 64;
constexpr std::string_view kIdCharacters =
    "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz{}";

/// Adds values to a digest so that no two lists of them look alike.
class Digest {
  public:
    template <typename Number>
    requires std::is_arithmetic_v<Number>
    void add(Number value) { hasher_.AddData(&value, sizeof(value)); }
    void add(std::string_view text) {
        add(text.size());
        hasher_.AddData(text.data(), text.size());
    }
    void add(std::wstring_view text) {
        add(text.size());
        for (const wchar_t c : text) {
            add(static_cast<std::uint32_t>(c));
        }
    }
    void add(const MMatrix& matrix) {
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 3; ++column) {
                add(matrix[row][column]);
            }
        }
        add(matrix.GetScale());
    }
    void add(const QVolumeSize& size) {
        add(size.GetXSize());
        add(size.GetYSize());
        add(size.GetZSize());
        add(size.GetXResMM());
        add(size.GetYResMM());
        add(size.GetZResMM());
    }
    void add(const ImageSlice& slice) {
        add(std::string_view(slice.instanceUid));
        add(std::wstring_view(slice.modality));
        add(slice.geometry);
        add(static_cast<const QVolumeSize&>(slice.image));
        add(slice.pixelSlope);
        add(slice.pixelOffset);
        add(slice.rescaleSlope);
        add(slice.rescaleIntercept);
        hasher_.AddData(std::as_const(slice.image).begin(),
                        slice.image.size() * sizeof(unsigned short));
    }

    std::wstring text() const {
        trelis::MD5Hash hash;
        hasher_.GetHash(hash);
        return hash.ToString();
    }

  private:
    trelis::MD5Hasher hasher_;
};

std::wstring idOf(std::string_view uid) {
    std::wstring id;
    for (const char c : uid.substr(0, kLongestId)) {
        if (kIdCharacters.find(c) != std::string_view::npos) {
            id.push_back(static_cast<wchar_t>(c));
        }
    }
    return id.empty() ? L"unnamed" : id;
}

// Between wide texts and UTF-8 by way of UTF-32, for which no locale matters.

std::wstring wide(const std::filesystem::path& path) {
    const std::u32string text = path.u32string();
    return {text.begin(), text.end()};
}

bool isCharacter(char32_t c) {
    return c >= U' ' && c <= char32_t{0x10FFFF} && (c < char32_t{0xD800} || c > char32_t{0xDFFF});
}

/// Of texts that may be those of a damaged file.
std::string toUtf8(const std::wstring& text) {
    std::u32string characters(text.begin(), text.end());
    std::replace_if(characters.begin(), characters.end(), std::not_fn(isCharacter), U'?');
    return std::filesystem::path(characters).string();
}

/// An empty text when the folder can be used.
std::string initialize(const std::filesystem::path& folder) {
    try {
        std::filesystem::create_directories(folder);
        const int code = VolumeImageCache::Initialize(wide(folder));
        return code == 0 ? "" : std::system_category().message(code);
    } catch (const std::filesystem::filesystem_error& error) {
        return error.code().message();
    }
}

/// Whether the scales are those of a volume that is built; the checksum of a file leaves them out.
bool hasScalesOf(const VolumeImageSpec& spec, const ImageVolume& volume) {
    double pixelSlope = 0.0;
    int pixelOffset = 0;
    double rescaleSlope = 0.0;
    double rescaleIntercept = 0.0;
    trelis::VolumeImage::CalculatePixelOutputConversionFactors(
        {spec.slices.begin(), spec.slices.end()}, pixelSlope, pixelOffset, rescaleSlope,
        rescaleIntercept);
    return volume.pixelSlope == pixelSlope && volume.pixelOffset == pixelOffset &&
           volume.rescaleSlope == rescaleSlope && volume.rescaleIntercept == rescaleIntercept;
}

}  // namespace

ImageCache::ImageCache(const std::filesystem::path& folder, Messages& messages)
    : messages_(messages) {
    if (folder.empty()) {
        return;
    }
    const std::string fault = initialize(folder);
    isUsed_ = fault.empty();
    if (!isUsed_) {
        messages_.warn(kSubject, fmt::format("{} cannot be used: {}", folder.string(), fault));
    }
}

ImageCache::Key ImageCache::keyOf(const ImageSeries& series, const VolumeImageSpec& spec) {
    Digest digest;
    digest.add(kBuild);
    digest.add(spec.size);
    digest.add(spec.geometry);
    for (const auto* slice : spec.slices) {
        digest.add(static_cast<const ImageSlice&>(*slice));
    }
    return {digest.text(), idOf(series.seriesUid)};
}

bool ImageCache::restore(const Key& key, const VolumeImageSpec& spec, ImageVolume& volume) {
    std::wstring fault;
    if (VolumeImageCache::Restore(key.image, key.series, volume.pixels, volume.pixelSlope,
                                  volume.pixelOffset, volume.rescaleSlope, volume.rescaleIntercept,
                                  fault)) {
        if (hasScalesOf(spec, volume)) {
            return true;
        }
        fault = L"the scale of a stored volume is not that of its slices";
    }
    if (!fault.empty()) {
        messages_.warn(kSubject, fmt::format("{}; the volume is built anew", toUtf8(fault)));
        VolumeImageCache::Remove(key.image);
    }
    return false;
}

void ImageCache::store(const Key& key, const ImageVolume& volume) {
    if (!VolumeImageCache::Create(key.image, key.series, volume.pixels, volume.pixelSlope,
                                  volume.pixelOffset, volume.rescaleSlope,
                                  volume.rescaleIntercept)) {
        messages_.warn(kSubject, fmt::format("the volume could not be stored in {}",
                                             toUtf8(VolumeImageCache::GetDirectory())));
    }
}

}  // namespace app
