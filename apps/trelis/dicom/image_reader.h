#pragma once

#include <memory>
#include <vector>

#include <trelis/foundation/progress.h>

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Reads the images of a series; at least one object is given. Each that cannot be read is a fault;
/// what may join a volume is decided later. Null where none is left.
std::unique_ptr<ImageSeries> readImageSeries(const std::vector<const FoundObject*>& images,
                                             Messages& messages, FProgressReportingBody& progress);

}  // namespace app
