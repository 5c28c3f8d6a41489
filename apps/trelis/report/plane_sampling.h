#pragma once

#include <apps/trelis/report/plane_grid.h>

namespace app::report {

/// Trilinear values of a volume at the pixels of a plane; NaN further than `border` voxels outside
/// the box of the voxel centres (half a voxel along axes of one voxel), and what lies at the box
/// between. For T = unsigned short and unsigned int.
template <typename T>
QVolume<float> sampleVolume(const QVolume<T>& volume, const FVoxelSpaceGeometry& place,
                            const PlaneGrid& grid, double border);

extern template QVolume<float> sampleVolume(const QVolume<unsigned short>&,
                                            const FVoxelSpaceGeometry&, const PlaneGrid&, double);
extern template QVolume<float> sampleVolume(const QVolume<unsigned int>&,
                                            const FVoxelSpaceGeometry&, const PlaneGrid&, double);

/// The outlines of a structure in a plane, in pixel coordinates with pixel centres at integers.
/// What leaves the picture is closed outside it.
Glyph outlinesIn(const PlaneGrid& grid, const EvaluatedStructure& structure, const VoxelBox& box);

/// A piece of an isodose line in pixel coordinates.
struct IsodosePiece {
    std::vector<EdgePoint> points;
    bool closed;
};

/// Dose of a plane, from which lines can be traced at many levels.
class PlaneDose {
  public:
    PlaneDose(const PlaneGrid& grid, const DoseSum& dose);

    /// The lines at a dose, which end where the dose grid does.
    std::vector<IsodosePiece> lines(double level) const;

    /// The border of the dose grid; where all of the picture lies inside it is outside the picture.
    std::vector<IsodosePiece> border() const;

  private:
    bool isKnown(int x, int y) const;
    bool isBesideUnknown(const EdgePoint& vertex) const;
    std::vector<IsodosePiece> pieces(const Glyph& contours, bool borderToo) const;

    QVolume<float> values_;
    double scale_;
};

}  // namespace app::report
