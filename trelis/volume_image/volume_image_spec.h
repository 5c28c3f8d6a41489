#pragma once

#include <vector>

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume_size.h>
#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage {

/// The volume to be made, as `ImageCreator` describes it.
struct VolumeImageSpec {
    /// Pixels and planes, with their edges and separation in millimetres.
    QVolumeSize size{0, 0, 0, 1.0, 1.0, 1.0};

    /// The axes of the slices. The translation is the centre of the voxel box whose first plane
    /// starts at the plane distance of the first output plane, half a millimetre below the centre
    /// of that slice; `VolumeCreator` expects it so. For voxel centres that lie where the slices'
    /// pixels are, move it by (1 - separation) / 2 along the normal after construction.
    MMatrix geometry;

    /// The slices that the planes are copied or interpolated from.
    std::vector<const ISliceVolumeDefinition*> slices;

    /// Whether the series of the reference slice has nothing beyond these slices. The slice
    /// interfaces cannot tell: always false.
    bool seriesHasNoFurtherData = false;

    /// The first range hint among `slices` that is set, else 0 and 0.
    int rangeFirst = 0;
    int rangeSecond = 0;
};

}  // namespace trelis::VolumeImage
