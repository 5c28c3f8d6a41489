#pragma once

#include <memory>

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/margin_adder.h>
#include <trelis/segment_algorithms/margin_container.h>

namespace NSegmentAlgorithms {

/// A copy of a structure on the grid of a beam, where margins along the axes of the beam can be
/// added, to be brought back to the structure's own grid. Going and coming samples the values
/// linearly between the eight nearest voxel centres: choose voxels for the beam that are no larger
/// than those of the structure. What the beam's grid does not hold is lost. Refers to nothing.
/// Concurrent reads are safe.
class BeamGeometrySegment {
  public:
    /// `beam` is the grid of the beam; `segmentToReal` maps millimetres along the axes of the
    /// segment, from the centre of its voxel box, to the same real coordinates (it is the transform
    /// of an `FVoxelSpaceGeometry`).
    TRELIS_API BeamGeometrySegment(const NSegment::SegmentVolume& segment,
                                   const FVoxelSpaceGeometry& beam, const MMatrix& segmentToReal);

    const FVoxelSpaceGeometry& GetBeamSegmentGeometry() const { return beam_; }
    const FVoxelSpaceGeometry& GetOriginalGeometry() const { return original_; }
    const NSegment::SegmentVolume& GetBeamSegment() const { return segment_; }

    /// Grows the structure by margins (0 or more, millimetres) along the axes of the beam's grid.
    /// Margins that are negative or not finite, in millimetres or in voxels, throw
    /// std::invalid_argument; it is unchanged then.
    TRELIS_API void Add3DMargins(const MarginContainer& margins);

    /// Grows it with the kernel of the adder, which has to be that of voxels like the beam's. An
    /// adder without a kernel computes one for them from its margins.
    TRELIS_API void Add3DMargins(const AxisAligned3DMarginAdder& adder);

    /// Makes `segment` a new one on the original grid, compacted.
    TRELIS_API void ConvertBackToOriginalGeometry(
        std::unique_ptr<NSegment::SegmentVolume>& segment) const;

  private:
    FVoxelSpaceGeometry original_;
    FVoxelSpaceGeometry beam_;
    NSegment::SegmentVolume segment_;
};

}  // namespace NSegmentAlgorithms
