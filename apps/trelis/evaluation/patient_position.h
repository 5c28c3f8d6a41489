#pragma once

#include <optional>
#include <string>

#include <trelis/foundation/matrix.h>

namespace app {

/// The turn of patient coordinates into those of a patient who lies head first supine in the same
/// place of the treatment room, about the origin: (head, feet) x (supine, prone, on the left side,
/// on the right side), "HFS" to "FFDR". None for other positions.
std::optional<MMatrix> turnToHeadFirstSupine(const std::string& position);

}  // namespace app
