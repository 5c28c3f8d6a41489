#pragma once

#include <trelis/foundation/epsilon.h>

/// The voxel counts of a grid and its voxel edge lengths in millimetres; no position in space.
class QVolumeSize {
  public:
    QVolumeSize(int xsize, int ysize, int zsize, double xres, double yres, double zres)
        : xsize_(xsize), ysize_(ysize), zsize_(zsize), xres_(xres), yres_(yres), zres_(zres) {}

    int GetXSize() const { return xsize_; }
    int GetYSize() const { return ysize_; }
    int GetZSize() const { return zsize_; }
    double GetXResMM() const { return xres_; }
    double GetYResMM() const { return yres_; }
    double GetZResMM() const { return zres_; }

    /// Equal sizes, and voxel edges that differ by less than 1e-6 mm.
    bool operator==(const QVolumeSize& other) const {
        return hasSizes(other.xsize_, other.ysize_, other.zsize_) &&
               hasResolutions(other.xres_, other.yres_, other.zres_);
    }

  protected:
    static constexpr double kResolutionTolerance = 1e-6;

    bool hasSizes(int x, int y, int z) const { return xsize_ == x && ysize_ == y && zsize_ == z; }

    bool hasResolutions(double x, double y, double z) const {
        return trelis::EpsilonEqual(xres_, x, kResolutionTolerance) &&
               trelis::EpsilonEqual(yres_, y, kResolutionTolerance) &&
               trelis::EpsilonEqual(zres_, z, kResolutionTolerance);
    }

    int xsize_;
    int ysize_;
    int zsize_;
    double xres_;
    double yres_;
    double zres_;
};
