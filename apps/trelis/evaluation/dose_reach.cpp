#include <apps/trelis/evaluation/dose_reach.h>

#include <algorithm>

#include <trelis/dose/dose_coverage.h>

namespace app {

namespace {

/// In voxels: what is this little beyond the outermost points is on the border.
constexpr double kOnBorder = 1e-6;

/// Voxels along one axis of a box; where its middle is beside that of the dose, in millimetres.
struct BoxAxis {
    int count;
    double size;
    double middle;
};

/// The library's coverage counts what is from the first voxel centre of a grid to one voxel beyond
/// the last. So this is a grid of half voxels whose first centre is that of the dose, and whose
/// last one is half a voxel before that of the dose; halves, for it does not look along an axis
/// that has one voxel only.
BoxAxis betweenPoints(int count, double size) {
    const int halves = 2 * std::max(count - 1, 1);
    const double half = size * (count - 1 + 2.0 * kOnBorder) / halves;
    return {halves, half, -half / 2.0};
}

FVoxelSpaceGeometry boxBetweenPoints(const QVolumeSize& dose, const MMatrix& transform) {
    const BoxAxis x = betweenPoints(dose.GetXSize(), dose.GetXResMM());
    const BoxAxis y = betweenPoints(dose.GetYSize(), dose.GetYResMM());
    const BoxAxis z = betweenPoints(dose.GetZSize(), dose.GetZResMM());
    MMatrix moved = transform;
    moved.SetTranslation(transform.Transform({x.middle, y.middle, z.middle}));
    return {moved, x.count, y.count, z.count, x.size, y.size, z.size};
}

}  // namespace

double partBetweenDosePoints(const EvaluatedStructure& structure, const QVolume<unsigned int>& dose,
                             const MMatrix& transform, FProgressReportingBody& progress) {
    double weight = 0.0;
    double covered = 0.0;
    int count = 0;
    trelis::CalculateDoseCoverageForStructure(dose, boxBetweenPoints(dose, transform),
                                              structure.segment, structure.geometry, weight,
                                              covered, count, progress);
    return weight > 0.0 ? covered / weight : 0.0;
}

}  // namespace app
