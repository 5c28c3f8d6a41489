#include <apps/trelis/evaluation/image_volume.h>

#include <string>
#include <vector>

#include <fmt/format.h>

#include <trelis/foundation/undefined.h>
#include <trelis/volume_image/image_creator.h>
#include <trelis/volume_image/volume_creator.h>

#include <apps/trelis/evaluation/image_cache.h>
#include <apps/trelis/evaluation/slice_selection.h>

namespace app {

namespace {

using trelis::VolumeImage::ImageCreator;
using trelis::VolumeImage::ISlice;
using trelis::VolumeImage::ResultCode;
using trelis::VolumeImage::VolumeCreator;
using trelis::VolumeImage::VolumeImageSpec;

constexpr char kSubject[] = "image";

/// 4 GiB of pixels.
constexpr double kMostVoxels = 2147483648.0;

struct Definition final : trelis::VolumeImage::IVolumeImage {
    VolumeImageSpec spec;

    const MMatrix& GetGeometry() const override { return spec.geometry; }
    void GetSlices(std::vector<const ISlice*>& slices) const override {
        slices.insert(slices.end(), spec.slices.begin(), spec.slices.end());
    }
};

bool isTooLarge(const QVolumeSize& size) {
    return !(1.0 * size.GetXSize() * size.GetYSize() * size.GetZSize() <= kMostVoxels);
}

/// All but the pixels and their scale.
void describe(const ImageCreator& creator, const VolumeImageSpec& spec, ImageVolume& volume) {
    volume.transform = spec.geometry;
    // A slice counts as 1 mm thick until the volume is filled; see `VolumeImageSpec::geometry`.
    volume.transform.TranslateZ((1.0 - spec.size.GetZResMM()) / 2.0);
    for (const wchar_t c : spec.slices.front()->GetModality()) {
        volume.modality.push_back(static_cast<char>(c));
    }
    volume.slices = creator.GetOutputSliceCount();
    volume.realPlanes = creator.GetRealPlaneCount();
    volume.interpolatedPlanes = creator.GetInterpolatedPlaneCount();
}

ResultCode fill(VolumeCreator& creator, ImageVolume& volume, FProgressReportingBody& progress) {
    volume.pixelSlope = trelis::Undefined<double>::value;
    volume.pixelOffset = trelis::UnknownInteger;
    return creator.Construct(progress, volume.pixels, volume.pixelSlope, volume.pixelOffset,
                             volume.rescaleSlope, volume.rescaleIntercept);
}

/// Whether the volume has pixels now, from the cache or from the slices.
bool restoreOrFill(const ImageSeries& series, const Definition& definition, ImageCache& cache,
                   ImageVolume& volume, Messages& messages, FProgressReportingBody& progress) {
    volume.pixels.CopyGeometry(definition.spec.size);
    ImageCache::Key key;
    if (cache.isUsed()) {
        key = ImageCache::keyOf(series, definition.spec);
        progress.ReportProgress(0.2);
        volume.restoredFromCache = cache.restore(key, definition.spec, volume);
        if (volume.restoredFromCache) {
            return true;
        }
    }
    VolumeCreator creator(definition);
    ResultCode result = creator.ValidateSlices();
    if (result == ResultCode::Ok) {
        result = fill(creator, volume, progress.SubRange(0.2, 0.8));
    }
    if (result != ResultCode::Ok) {
        messages.fault(kSubject,
                       fmt::format("no volume can be built of a slice: {}", inWords(result)));
        return false;
    }
    if (cache.isUsed()) {
        cache.store(key, volume);
    }
    return true;
}

}  // namespace

bool buildImageVolume(const ImageSeries& series, const std::filesystem::path& cacheDirectory,
                      ImageVolume& volume, Messages& messages, FProgressReportingBody& progress) {
    ImageCreator creator = selectSlices(series, messages);
    if (!creator.AutoConfigure()) {
        messages.fault(kSubject, "a volume needs two slices that belong together");
        return false;
    }
    Definition definition;
    creator.CreateNewVolumeImage(definition.spec);
    const QVolumeSize& size = definition.spec.size;
    if (isTooLarge(size)) {
        messages.fault(kSubject,
                       fmt::format("a volume of {} x {} x {} voxels is too large; the slices lie "
                                   "far apart",
                                   size.GetXSize(), size.GetYSize(), size.GetZSize()));
        return false;
    }
    describe(creator, definition.spec, volume);
    ImageCache cache(cacheDirectory, messages);
    if (!restoreOrFill(series, definition, cache, volume, messages, progress)) {
        return false;
    }
    if (volume.interpolatedPlanes > 0) {
        messages.warn(kSubject, fmt::format("{} of {} planes are interpolated between slices",
                                            volume.interpolatedPlanes, size.GetZSize()));
    }
    return true;
}

}  // namespace app
