#pragma once

#include <trelis/foundation/volume.h>
#include <trelis/foundation/volume_size.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace trelis::detail {

/// Into how many parts the distance between neighbouring voxel centres is divided, per axis.
struct RefinementFactors {
    int x = 1;
    int y = 1;
    int z = 1;
};

/// The factors with which a dose grid is refined for a structure: 1, and 1 more for each halving
/// that brings the voxel to 11 mm in-plane and to 2 mm along z. A single plane, and planes parallel
/// to those of a structure grid of the same or a coarser z resolution, are not refined along z.
RefinementFactors refinementFactors(const FVoxelSpaceGeometry& dose,
                                    const FVoxelSpaceGeometry& structure);

/// The grid refined by the factors: its first and last voxel centres stay where they are.
FVoxelSpaceGeometry refinedGeometry(const FVoxelSpaceGeometry& grid,
                                    const RefinementFactors& factors);

/// A dose grid as if copied onto its refined grid, where new voxels are linear between the old
/// ones and rounded, half up. Nothing is stored: rows are computed as they are read. Refers to the
/// dose grid.
template <typename T>
class RefinedDose {
  public:
    RefinedDose(const QVolume<T>& dose, const RefinementFactors& factors);

    /// The refined grid.
    const QVolumeSize& grid() const { return grid_; }

    /// Whether there are voxels to read.
    bool hasVoxels() const { return dose_.size() > 0; }

    /// Writes the values of refined voxels first to end - 1 of the row at (y, z).
    void readRow(int y, int z, int first, int end, double* values) const;

  private:
    const QVolume<T>& dose_;
    RefinementFactors factors_;
    QVolumeSize grid_;
};

extern template class RefinedDose<unsigned short>;
extern template class RefinedDose<unsigned int>;

}  // namespace trelis::detail
