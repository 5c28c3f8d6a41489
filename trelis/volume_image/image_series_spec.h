#pragma once

#include <deque>
#include <string>

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume.h>
#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage {

/// A new series whose slices are the planes of a volume.
struct ImageSeriesSpec {
    struct Entry {
        /// The slice copied or, for an interpolated plane, its lower neighbour. Attributes that are
        /// not below are those of this slice.
        const ISliceVolumeDefinition* source = nullptr;

        /// The place of the new slice, its centre as in `ISlice::GetGeometry`.
        MMatrix geometry;

        /// The pixels, on the grid and the pixel scale of the source.
        QVolume<unsigned short> image;

        /// That of the source; of an interpolated plane with "ORIGINAL" replaced by "DERIVED" and
        /// "PRIMARY" by "SECONDARY".
        std::wstring imageType;

        bool isInterpolated = false;
    };

    /// In the order of the planes.
    std::deque<Entry> entries;
};

}  // namespace trelis::VolumeImage
