#pragma once

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/vector.h>

/// The place of a voxel grid in space. Three coordinate systems meet here:
///  - real (patient) coordinates, millimetres;
///  - voxel coordinates, in which voxel (i, j, k) has its centre at (i, j, k);
///  - R-voxel coordinates = voxel + 0.5 on every axis, in which voxel (i, j, k) covers
///    [i, i+1) x [j, j+1) x [k, k+1) and the grid covers [0, xsize] x [0, ysize] x [0, zsize].
/// An immutable value but for assignment; concurrent reads are safe.
class FVoxelSpaceGeometry {
  public:
    using Vector = MVectorTemplate<double>;

    /// `transform` maps millimetres along the grid axes, with the origin at the centre of the voxel
    /// box, to real coordinates; its scale should be 1, for the offset from the box centre to the
    /// corner ignores it. Sizes are voxel counts, resolutions voxel edge lengths in millimetres.
    /// Nothing is checked: a resolution of 0 or a singular transform has no inverse, and gives what
    /// `MMatrix::InverseAny4x3` says.
    TRELIS_API FVoxelSpaceGeometry(const MMatrix& transform, int xsize, int ysize, int zsize,
                                   double xres, double yres, double zres);

    /// The transform given at construction; its translation is the real position of the box centre.
    const MMatrix& GetTransform() const { return transform_; }
    const MMatrix& GetTransformRVoxelToReal() const { return rVoxelToReal_; }
    const MMatrix& GetTransformRealToRVoxel() const { return realToRVoxel_; }

    Vector RVoxelToReal(const Vector& p) const { return rVoxelToReal_.Transform(p); }
    Vector RealToRVoxel(const Vector& p) const { return realToRVoxel_.Transform(p); }
    Vector VoxelToReal(const Vector& p) const { return RVoxelToReal(p + Vector(0.5, 0.5, 0.5)); }
    Vector RealToVoxel(const Vector& p) const { return RealToRVoxel(p) - Vector(0.5, 0.5, 0.5); }

    int xsize() const { return sizes_[0]; }
    int ysize() const { return sizes_[1]; }
    int zsize() const { return sizes_[2]; }
    double xres() const { return resolutions_.x; }
    double yres() const { return resolutions_.y; }
    double zres() const { return resolutions_.z; }

  private:
    MMatrix transform_;
    MMatrix rVoxelToReal_;
    MMatrix realToRVoxel_;
    Vector halfSizes_;
    Vector resolutions_;
    Vector inverseResolutions_;
    int sizes_[3];
};
