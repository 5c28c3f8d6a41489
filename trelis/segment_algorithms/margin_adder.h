#pragma once

#include <cstddef>
#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/margin_container.h>

namespace NSegmentAlgorithms {

namespace detail {
struct Kernel;
}

/// Grows structures by margins along the axes of a grid, with a kernel that can be prepared, read
/// and changed beforehand. The kernel is a ramp around an ellipsoid whose octants have the margins
/// they face as semi-axes: 128 on its surface, 64 more per semi-axis inwards and 64 less outwards,
/// 191 at the centre. As it has bytes, it tells the surface to a 64th of a margin, and margins
/// above 64 voxels to more than one voxel.
///
/// A plain value. Concurrent calls on one object are safe unless they change its kernel, as
/// `AddMargins` and the `Calculate...` functions do.
class AxisAligned3DMarginAdder {
  public:
    /// Margins (0 or more, millimetres) along the axes of the segments that they will be added to.
    /// The geometry is that of a grid without voxels, and the kernel empty, until `AddMargins`
    /// takes the voxel sizes of its input.
    TRELIS_API explicit AxisAligned3DMarginAdder(const MarginContainer& margins);

    /// Margins along the axes of `source`, to be added to segments on the grid `target`, which may
    /// be turned against it (that of a beam). `sourceToTarget` maps the real coordinates of the
    /// first to those of the second: the identity where both are in one coordinate system; its rows
    /// must be orthonormal and its scale 1. Computes the kernel at once.
    TRELIS_API AxisAligned3DMarginAdder(const MarginContainer& margins,
                                        const FVoxelSpaceGeometry& source,
                                        const FVoxelSpaceGeometry& target,
                                        const MMatrix& sourceToTarget);

    /// Computes the kernel, along the axes of the input or, with the second constructor, projected,
    /// and adds the margins as `AddMarginsButDoNotCalculateKernel` does.
    TRELIS_API void AddMargins(const NSegment::SegmentVolume& in, NSegment::SegmentVolume& out,
                               NSegment::SegmentVolume& ramp, NSegment::SegmentVolume& sources);

    /// `out` := `in` and what the kernel adds around its boundary, with an edge that is about a
    /// voxel soft; the border of the grid is no boundary. The other two are work segments: `ramp`
    /// receives the largest kernel value at every voxel, raised and lowered by how far the 128
    /// surface passes a boundary voxel, `sources` 255 at the boundary voxels. All three take the
    /// grid of `in` and are compacted. The four must be different objects (`Crash`). Without a
    /// kernel, or with margins that are all 0 within 1e-6, nothing is added.
    TRELIS_API void AddMarginsButDoNotCalculateKernel(const NSegment::SegmentVolume& in,
                                                      NSegment::SegmentVolume& out,
                                                      NSegment::SegmentVolume& ramp,
                                                      NSegment::SegmentVolume& sources) const;

    /// Raises the voxels of `ramp` around voxel (x, y, z) to the kernel plus `shift` (which may be
    /// negative), 255 at most, wherever the kernel is not 0. What is outside the grid is left out.
    TRELIS_API void ApplyKernel(int x, int y, int z, int shift,
                                NSegment::SegmentVolume& ramp) const;

    /// Computes the kernel with the margins along the real axes of `GetGeometry`, which are those
    /// of its grid where its transform does not turn. Sizes are odd and hold the ellipsoid to where
    /// the ramp is 0 or one voxel beyond the margin, whichever is smaller; an axis without margins
    /// gets one voxel. Voxels off the centre along an axis (by more than 1e-6 mm) on the side of a
    /// margin of 0 stay 0. Margins that are negative or not finite, in millimetres or voxels, throw
    /// std::invalid_argument. Memory and time follow the number of kernel voxels, whatever the
    /// grid; std::bad_alloc beyond a million voxels along an axis.
    TRELIS_API void CalculateKernel();

    /// As `CalculateKernel`, with the margins along the axes of the source grid of the second
    /// constructor. The kernel has three dimensions all the same. Without a source grid, the same
    /// as `CalculateKernel`.
    TRELIS_API void CalculateProjected2DKernel();

    /// Gives the kernel new sizes, each at least 1, and makes all its values 0. Its centre is voxel
    /// (size - 1) / 2, rounded down.
    TRELIS_API void InitializeKernel(int xsize, int ysize, int zsize);

    int GetKernelXSize() const { return sizes_[0]; }
    int GetKernelYSize() const { return sizes_[1]; }
    int GetKernelZSize() const { return sizes_[2]; }

    /// The kernel value (0 to 255; the low byte is written). Coordinates are not checked.
    int KernelPixel(int x, int y, int z) const { return kernel_[indexOf(x, y, z)]; }
    void SetKernelPixel(int x, int y, int z, int value) {
        kernel_[indexOf(x, y, z)] = static_cast<unsigned char>(value);
    }

    /// The grid whose voxels the kernel has.
    const FVoxelSpaceGeometry& GetGeometry() const { return geometry_; }
    const MarginContainer& GetMargins() const { return margins_; }
    /// Whether it was built for another grid than that of the margins.
    bool IsProjected() const { return isProjected_; }

  private:
    using Vector = MVectorTemplate<double>;

    std::size_t indexOf(int x, int y, int z) const {
        const std::ptrdiff_t row = z * std::ptrdiff_t{sizes_[1]} + y;
        return static_cast<std::size_t>(row * sizes_[0] + x);
    }
    Vector semiAxesTowards(const Vector& direction) const;
    double supportOf(const Vector& direction) const;
    int shiftOf(const NSegment::SegmentVolume& in, int x, int y, int z) const;
    double gain() const;
    detail::Kernel kernelOnGridOf(const NSegment::SegmentVolume& segment) const;
    void calculateKernel(const char* function);
    int rampAt(const Vector& offset) const;

    MarginContainer margins_;
    FVoxelSpaceGeometry geometry_;
    bool isProjected_ = false;
    /// Real offsets of the geometry to offsets along the axes of the margins, when projected.
    MMatrix toMargins_;
    /// One voxel of the kernel along each axis, as offset along the axes of the margins.
    Vector steps_[3];
    int sizes_[3] = {};
    std::vector<unsigned char> kernel_;
};

}  // namespace NSegmentAlgorithms
