#include <trelis/foundation/voxel_space_geometry.h>

FVoxelSpaceGeometry::FVoxelSpaceGeometry(const MMatrix& transform, int xsize, int ysize, int zsize,
                                         double xres, double yres, double zres)
    : transform_(transform),
      rVoxelToReal_(transform),
      halfSizes_(xsize * 0.5, ysize * 0.5, zsize * 0.5),
      resolutions_(xres, yres, zres),
      inverseResolutions_(1.0 / xres, 1.0 / yres, 1.0 / zres),
      sizes_{xsize, ysize, zsize} {
    const Vector xAxis = transform.GetVector(0) * xres;
    const Vector yAxis = transform.GetVector(1) * yres;
    const Vector zAxis = transform.GetVector(2) * zres;
    rVoxelToReal_.SetRotation(xAxis, yAxis, zAxis);
    // The scale of the transform is not folded in: callers pass scale 1.
    const Vector cornerToCentre =
        halfSizes_.x * xAxis + halfSizes_.y * yAxis + halfSizes_.z * zAxis;
    rVoxelToReal_.SetTranslation(transform.GetTranslation() - cornerToCentre);
    realToRVoxel_.InverseAny4x3(rVoxelToReal_);
}
