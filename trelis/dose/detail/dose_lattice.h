#pragma once

#include <cstdint>

#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace trelis::detail {

/// Indices first to end - 1.
struct IndexRange {
    std::int64_t first = 0;
    std::int64_t end = 0;

    bool isEmpty() const { return first >= end; }
};

/// The points at which a dose grid is sampled for a structure: from the first to the last voxel
/// centre, with a number of steps per voxel in-plane, in every dose plane. A lattice row runs along
/// the x axis of the dose grid and is walked with one step in the structure grid.
class DoseLattice {
  public:
    using Vector = MVectorTemplate<double>;

    /// Steps per voxel are the voxel size by `sampleStep` (mm), rounded, in [1, 32], and then odd.
    DoseLattice(const FVoxelSpaceGeometry& dose, const FVoxelSpaceGeometry& structure,
                double sampleStep);

    int stepsX() const { return stepsX_; }
    int stepsY() const { return stepsY_; }
    std::int64_t pointsX() const { return pointsX_; }
    std::int64_t pointsY() const { return pointsY_; }
    int planes() const { return dose_.zsize(); }
    bool isPlane() const { return planes() == 1; }

    /// The steps in R-voxel coordinates of the structure to the next point along x, and to the
    /// other end of a segment: along z to the next plane, in a single plane along x.
    const Vector& step() const { return step_; }
    const Vector& segmentStep() const { return segmentStep_; }

    /// The first point of a row in R-voxel coordinates of the structure.
    Vector rowStart(std::int64_t y, int z) const;

    /// A point between lattice points in real coordinates.
    Vector toReal(const Vector& point) const;

    /// A point in R-voxel coordinates of the structure as a point of the lattice.
    Vector fromStructure(const Vector& point) const;

    /// The real size, mm3 or mm2, that a segment stands for.
    double segmentSize() const;

  private:
    FVoxelSpaceGeometry dose_;
    FVoxelSpaceGeometry structure_;
    int stepsX_;
    int stepsY_;
    std::int64_t pointsX_;
    std::int64_t pointsY_;
    Vector step_;
    Vector segmentStep_;
};

/// Which parts of a lattice can hold segments with an end inside the structure. Both ends of such
/// a segment are within the ranges; what is outside them need not be read.
class StructureReach {
  public:
    StructureReach(const NSegment::SegmentVolume& structure, const DoseLattice& lattice);

    /// The rows along y, and the planes.
    IndexRange rows() const { return rows_; }
    IndexRange planes() const { return planes_; }

    /// The points of a row.
    IndexRange pointsOfRow(std::int64_t y, int z) const;

  private:
    using Vector = MVectorTemplate<double>;

    void limitRowsAndPlanes();

    const DoseLattice& lattice_;
    Vector low_;
    Vector high_;
    IndexRange rows_;
    IndexRange planes_;
};

}  // namespace trelis::detail
