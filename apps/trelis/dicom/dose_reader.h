#pragma once

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Reads a dose. `Unusable` where the file cannot be read, or where a value of it would mean
/// another dose than it says.
DoseGrid readDose(const FoundObject& object, Messages& messages);

}  // namespace app
