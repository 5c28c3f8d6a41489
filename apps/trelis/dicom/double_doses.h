#pragma once

#include <vector>

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/study/message.h>

namespace app {

/// Warns where the sum of the doses may count one twice, as far as plans, beams and the kinds of
/// summation tell, and where it counts one fraction only.
void warnOfDoubleDoses(const std::vector<const FoundObject*>& doses, Messages& messages);

}  // namespace app
