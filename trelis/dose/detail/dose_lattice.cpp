#include <trelis/dose/detail/dose_lattice.h>

#include <algorithm>
#include <cmath>

namespace trelis::detail {

namespace {

using Vector = MVectorTemplate<double>;

constexpr int kMostSteps = 32;

/// A voxel's centre in R-voxel coordinates is this far from its corner; its value reaches as far as
/// the centres of its neighbours.
constexpr double kCentre = 0.5;
constexpr double kValueReach = 1.0;

/// The precision of fixed-point positions.
constexpr double kFixedPointUnit = 1.0 / 65536.0;

int stepsPerVoxel(double resolution, double sampleStep) {
    const double steps = resolution / sampleStep + 0.5;
    const int count = steps >= 1.0 ? static_cast<int>(std::min(steps, double{kMostSteps})) : 1;
    return count % 2 == 0 ? count + 1 : count;
}

std::int64_t pointsAlong(int size, int steps) { return (std::int64_t{size} - 1) * steps + 1; }

/// The whole numbers in [from, to], at most 0 to count - 1. Numbers that are not finite limit
/// nothing.
IndexRange indicesWithin(double from, double to, std::int64_t count) {
    const auto size = static_cast<double>(count);
    const double first = std::isfinite(from) ? std::clamp(std::ceil(from), 0.0, size) : 0.0;
    const double end = std::isfinite(to) ? std::clamp(std::floor(to) + 1.0, 0.0, size) : size;
    return {static_cast<std::int64_t>(first), static_cast<std::int64_t>(end)};
}

/// The points i with low <= start + i step <= high along one axis.
IndexRange pointsBetween(double low, double high, double start, double step, std::int64_t count) {
    if (step == 0.0) {
        return {0, start >= low && start <= high ? count : 0};
    }
    const double atLow = (low - start) / step;
    const double atHigh = (high - start) / step;
    return indicesWithin(std::min(atLow, atHigh), std::max(atLow, atHigh), count);
}

IndexRange intersection(const IndexRange& a, const IndexRange& b) {
    return {std::max(a.first, b.first), std::min(a.end, b.end)};
}

Vector absolute(const Vector& v) { return {std::abs(v.x), std::abs(v.y), std::abs(v.z)}; }

}  // namespace

DoseLattice::DoseLattice(const FVoxelSpaceGeometry& dose, const FVoxelSpaceGeometry& structure,
                         double sampleStep)
    : dose_(dose),
      structure_(structure),
      stepsX_(stepsPerVoxel(dose.xres(), sampleStep)),
      stepsY_(stepsPerVoxel(dose.yres(), sampleStep)),
      pointsX_(pointsAlong(dose.xsize(), stepsX_)),
      pointsY_(pointsAlong(dose.ysize(), stepsY_)) {
    const auto inStructure = [this](const Vector& v) {
        return structure_.GetTransformRealToRVoxel().TransformVector(
            dose_.GetTransformRVoxelToReal().TransformVector(v));
    };
    step_ = inStructure({1.0 / stepsX_, 0.0, 0.0});
    segmentStep_ = isPlane() ? step_ : inStructure({0.0, 0.0, 1.0});
}

Vector DoseLattice::rowStart(std::int64_t y, int z) const {
    return structure_.RealToRVoxel(toReal({0.0, static_cast<double>(y), static_cast<double>(z)}));
}

Vector DoseLattice::toReal(const Vector& point) const {
    return dose_.VoxelToReal({point.x / stepsX_, point.y / stepsY_, point.z});
}

Vector DoseLattice::fromStructure(const Vector& point) const {
    const Vector voxel = dose_.RealToVoxel(structure_.RVoxelToReal(point));
    return {voxel.x * stepsX_, voxel.y * stepsY_, voxel.z};
}

double DoseLattice::segmentSize() const {
    const double area = (dose_.xres() / stepsX_) * (dose_.yres() / stepsY_);
    return isPlane() ? area : area * dose_.zres();
}

StructureReach::StructureReach(const NSegment::SegmentVolume& structure, const DoseLattice& lattice)
    : lattice_(lattice), rows_{0, lattice.pointsY()}, planes_{0, lattice.planes()} {
    int xmin, ymin, zmin, xmax, ymax, zmax;
    structure.GetBoundingBoxForIteration(xmin, ymin, zmin, xmax, ymax, zmax);
    // A fixed-point step is off by up to 1.5 units where it is negative, a start likewise.
    const double slack = 1.5 * (static_cast<double>(lattice.pointsX()) + 1.0) * kFixedPointUnit;
    const double reach = kValueReach + slack;
    const Vector margin = absolute(lattice.segmentStep()) + Vector(reach, reach, reach);
    low_ = Vector(xmin + kCentre, ymin + kCentre, zmin + kCentre) - margin;
    high_ = Vector(xmax + kCentre, ymax + kCentre, zmax + kCentre) + margin;
    if (lattice.isPlane()) {
        // A row reads the plane that holds its first point; coordinates in (-1, 0) are in plane 0.
        low_.z = zmin == 0 ? -1.0 : zmin;
        high_.z = zmax + 1.0;
    } else {
        limitRowsAndPlanes();
    }
}

void StructureReach::limitRowsAndPlanes() {
    Vector first = lattice_.fromStructure(low_);
    Vector last = first;
    for (int corner = 1; corner < 8; ++corner) {
        const Vector point = lattice_.fromStructure({(corner & 1) != 0 ? high_.x : low_.x,
                                                     (corner & 2) != 0 ? high_.y : low_.y,
                                                     (corner & 4) != 0 ? high_.z : low_.z});
        first = {0.0, std::min(first.y, point.y), std::min(first.z, point.z)};
        last = {0.0, std::max(last.y, point.y), std::max(last.z, point.z)};
    }
    rows_ = indicesWithin(first.y, last.y, lattice_.pointsY());
    planes_ = indicesWithin(first.z, last.z, lattice_.planes());
}

IndexRange StructureReach::pointsOfRow(std::int64_t y, int z) const {
    const Vector start = lattice_.rowStart(y, z);
    const Vector step = lattice_.step();
    const std::int64_t count = lattice_.pointsX();
    const IndexRange inPlane = intersection(pointsBetween(low_.x, high_.x, start.x, step.x, count),
                                            pointsBetween(low_.y, high_.y, start.y, step.y, count));
    const double stepZ = lattice_.isPlane() ? 0.0 : step.z;
    return intersection(inPlane, pointsBetween(low_.z, high_.z, start.z, stepZ, count));
}

}  // namespace trelis::detail
