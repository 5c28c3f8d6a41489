#pragma once

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Reads the treatment beams of a plan. A beam that lacks what places it is a fault and left out.
/// `Unusable` where the file cannot be read.
Plan readPlan(const FoundObject& object, Messages& messages);

}  // namespace app
