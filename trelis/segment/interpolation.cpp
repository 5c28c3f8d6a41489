#include <trelis/segment/segment_volume.h>

namespace NSegment {

namespace {

/// The blend of the eight voxels from the integer part of a position on; `read(x, y, z)` gives
/// their values.
template <typename Read>
double blend(double x, double y, double z, const Read& read) {
    const int i = static_cast<int>(x);
    const int j = static_cast<int>(y);
    const int k = static_cast<int>(z);
    const double fx = x - i;
    const double fy = y - j;
    const double fz = z - k;
    const auto row = [&](int yy, int zz) {
        return read(i, yy, zz) * (1.0 - fx) + read(i + 1, yy, zz) * fx;
    };
    const auto plane = [&](int zz) { return row(j, zz) * (1.0 - fy) + row(j + 1, zz) * fy; };
    return plane(k) * (1.0 - fz) + plane(k + 1) * fz;
}

}  // namespace

double SegmentVolume::pixelTrilinear(double x, double y, double z) const {
    return blend(x, y, z, [this](int i, int j, int k) { return pixel(i, j, k); });
}

double SegmentVolume::pixelTrilinearSafe(double x, double y, double z) const {
    const bool inside =
        x >= 0.0 && y >= 0.0 && z >= 0.0 && x < xsize_ - 1 && y < ysize_ - 1 && z < zsize_ - 1;
    return inside ? pixelTrilinear(x, y, z) : 0.0;
}

double SegmentVolume::pixelTrilinearSafeCorrect(double x, double y, double z) const {
    const bool inside =
        x >= 0.0 && y >= 0.0 && z >= 0.0 && x <= xsize_ - 1 && y <= ysize_ - 1 && z <= zsize_ - 1;
    if (!inside) {
        return 0.0;
    }
    // The neighbour of a last voxel has weight 0 and no storage.
    return blend(x, y, z, [this](int i, int j, int k) {
        return i < xsize_ && j < ysize_ && k < zsize_ ? pixel(i, j, k) : 0;
    });
}

}  // namespace NSegment
