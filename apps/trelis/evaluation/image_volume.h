#pragma once

#include <filesystem>

#include <trelis/foundation/progress.h>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Makes the volume of the slices of a series, or takes it from the cache where it is there, into a
/// new `volume`. False, and a fault, when fewer than two slices belong together.
bool buildImageVolume(const ImageSeries& series, const std::filesystem::path& cacheDirectory,
                      ImageVolume& volume, Messages& messages, FProgressReportingBody& progress);

}  // namespace app
