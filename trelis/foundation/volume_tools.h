#pragma once

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume_size.h>

namespace NVolumeTools {

/// The vector in millimetres from the low corner of a volume to its centre, along the rows of m;
/// the translation and the scale of m do not enter.
TRELIS_API MVectorTemplate<double> VectorToMiddle(const QVolumeSize& size, const MMatrix& m);

}  // namespace NVolumeTools
