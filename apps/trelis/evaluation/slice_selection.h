#pragma once

#include <trelis/volume_image/image_creator.h>
#include <trelis/volume_image/result_code.h>

#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// What a result code says of a slice, the end of a sentence.
const char* inWords(trelis::VolumeImage::ResultCode code);

/// Those slices of a series that make one volume, not yet configured. Each of the others is a
/// fault. What most slices have in common decides, not what the first one has.
trelis::VolumeImage::ImageCreator selectSlices(const ImageSeries& series, Messages& messages);

}  // namespace app
