#include <trelis/volume_image/slice.h>

namespace trelis::VolumeImage {

namespace {

constexpr double kHalfSliceThicknessMM = 0.5;

}  // namespace

double GetSlicePlaneDistance(const ISlice* slice) {
    const MMatrix& geometry = slice->GetGeometry();
    return geometry.GetTranslation().Dot(geometry.GetUnitAxisZ()) - kHalfSliceThicknessMM;
}

}  // namespace trelis::VolumeImage
