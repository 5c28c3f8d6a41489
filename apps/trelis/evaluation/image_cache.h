#pragma once

#include <filesystem>
#include <string>

#include <trelis/volume_image/volume_image_spec.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// The volumes that earlier evaluations built, in a folder. Whatever is wrong with it is a warning
/// and makes it an empty cache. One at a time.
class ImageCache {
  public:
    struct Key {
        std::wstring image;
        std::wstring series;
    };

    /// Makes the folder where it is missing; uses none for an empty path.
    ImageCache(const std::filesystem::path& folder, Messages& messages);

    /// The name of the volume that is built from a specification. It depends on all that the pixels
    /// of the volume depend on, the pixels of the slices included, so that a slice that changed
    /// never finds an old volume.
    static Key keyOf(const ImageSeries& series, const trelis::VolumeImage::VolumeImageSpec& spec);

    bool isUsed() const { return isUsed_; }

    /// Reads pixels and scales of a volume that has its size already; the scales must be those that
    /// the specification gives. A damaged file is removed.
    bool restore(const Key& key, const trelis::VolumeImage::VolumeImageSpec& spec,
                 ImageVolume& volume);

    void store(const Key& key, const ImageVolume& volume);

  private:
    Messages& messages_;
    bool isUsed_ = false;
};

}  // namespace app
