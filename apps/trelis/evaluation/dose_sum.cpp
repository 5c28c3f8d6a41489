#include <apps/trelis/evaluation/dose_sum.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <fmt/format.h>

#include <trelis/dose/dose_summation.h>

#include <apps/trelis/evaluation/dose_reach.h>

namespace app {

namespace {

/// The largest possible sum is stored as 2^29: a unit of truncation is 2e-9 of it, and histograms
/// reach a fifth higher without leaving 32 bits.
constexpr double kLargestSum = 536870912.0;

/// 512 MiB; with more voxels the sum is made coarser.
constexpr double kMostVoxels = 134217728.0;

/// In voxels: what is closer is on the grid.
constexpr double kOnGrid = 1e-6;

FVoxelSpaceGeometry geometryOf(const DoseGrid& dose) { return placed(dose.values, dose.transform); }

bool haveOneGrid(const std::vector<DoseGrid>& doses) {
    return std::all_of(doses.begin(), doses.end(), [&](const DoseGrid& dose) {
        const QVolumeSize& first = doses.front().values;
        return first == dose.values && doses.front().transform.EqualMatrix(dose.transform);
    });
}

/// The component along axis 0, 1 or 2.
double along(const Vector& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }

/// Corner 0 to 7 of a box of voxels, in voxel coordinates.
Vector corner(int i, const Vector& low, const Vector& high) {
    return {(i & 1) != 0 ? high.x : low.x, (i & 2) != 0 ? high.y : low.y,
            (i & 4) != 0 ? high.z : low.z};
}

Vector lastVoxel(const FVoxelSpaceGeometry& grid) {
    return {grid.xsize() - 1.0, grid.ysize() - 1.0, grid.zsize() - 1.0};
}

/// The voxel centres of a sum along one axis of the first dose, through those of the dose with the
/// smallest voxels.
struct SumAxis {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    double anchor = 0.0;
    double size = std::numeric_limits<double>::infinity();
    bool isDivided = false;

    double first() const { return std::ceil((low - anchor) / size - kOnGrid); }
    double count() const { return std::floor((high - anchor) / size + kOnGrid) - first() + 1.0; }
    double middle() const { return anchor + (first() + (count() - 1.0) / 2.0) * size; }

    /// Voxels of an axis that has only one are thick or thin without meaning.
    void includeVoxels(double voxelSize, bool divided, double position) {
        if ((divided && !isDivided) || (divided == isDivided && voxelSize < size)) {
            size = voxelSize;
            isDivided = divided;
            anchor = position;
        }
    }
};

/// The axis of a dose that is nearest to a direction.
int nearestAxis(const DoseGrid& dose, const Vector& direction) {
    int nearest = 0;
    for (int axis = 1; axis < 3; ++axis) {
        if (std::abs(dose.transform.GetVector(axis).Dot(direction)) >
            std::abs(dose.transform.GetVector(nearest).Dot(direction))) {
            nearest = axis;
        }
    }
    return nearest;
}

SumAxis axisOver(const std::vector<DoseGrid>& doses, int axis) {
    const Vector direction = doses.front().transform.GetVector(axis);
    SumAxis result;
    for (const DoseGrid& dose : doses) {
        const FVoxelSpaceGeometry grid = geometryOf(dose);
        for (int i = 0; i < 8; ++i) {
            const double place =
                grid.VoxelToReal(corner(i, Vector(), lastVoxel(grid))).Dot(direction);
            result.low = std::min(result.low, place);
            result.high = std::max(result.high, place);
        }
        const int own = nearestAxis(dose, direction);
        result.includeVoxels(along({grid.xres(), grid.yres(), grid.zres()}, own),
                             along(lastVoxel(grid), own) > 0.0,
                             grid.VoxelToReal(Vector()).Dot(direction));
    }
    return result;
}

void placeOverAll(const std::vector<DoseGrid>& doses, DoseSum& sum, Messages& messages) {
    SumAxis axes[] = {axisOver(doses, 0), axisOver(doses, 1), axisOver(doses, 2)};
    const double finest = axes[0].size;
    const auto voxels = [&] { return axes[0].count() * axes[1].count() * axes[2].count(); };
    while (voxels() > kMostVoxels) {
        const double factor = std::max(std::cbrt(voxels() / kMostVoxels), 1.01);
        for (SumAxis& axis : axes) {
            axis.size *= factor;
        }
    }
    if (axes[0].size > finest) {
        messages.warn("dose", fmt::format("the doses lie so far apart that they are added on a "
                                          "grid {:.3g} times as coarse as theirs",
                                          axes[0].size / finest));
    }
    sum.transform = doses.front().transform;
    sum.transform.SetTranslation(
        sum.transform.RotateT({axes[0].middle(), axes[1].middle(), axes[2].middle()}));
    sum.values.SetSize(static_cast<int>(axes[0].count()), static_cast<int>(axes[1].count()),
                       static_cast<int>(axes[2].count()));
    sum.values.SetResMM(axes[0].size, axes[1].size, axes[2].size);
}

/// Notes on doses that add nothing; returns the largest sum that there can be.
double largestSum(const std::vector<DoseGrid>& doses, const std::vector<double>& weights,
                  Messages& messages) {
    double largest = 0.0;
    for (std::size_t i = 0; i < doses.size(); ++i) {
        const double maximum = doses[i].values.MinMax().maximum;
        if (maximum == 0.0) {
            messages.note(doses[i].file, "the dose is zero everywhere");
        }
        largest += maximum * doses[i].scale * weights[i];
    }
    return largest;
}

}  // namespace

void sumDoses(const std::vector<DoseGrid>& doses, const std::vector<double>& weights, DoseSum& sum,
              Messages& messages, FProgressReportingBody& progress) {
    if (haveOneGrid(doses)) {
        sum.values.CopyGeometry(doses.front().values);
        sum.transform = doses.front().transform;
    } else {
        placeOverAll(doses, sum, messages);
    }
    std::fill(sum.values.begin(), sum.values.end(), 0U);
    const double largest = largestSum(doses, weights, messages);
    sum.scale = largest > 0.0 ? largest / kLargestSum : 1.0;
    if (largest == 0.0) {
        messages.warn("dose", "the sum is zero everywhere");
    }
    sum.units = doses.front().units;
    for (std::size_t i = 0; i < doses.size(); ++i) {
        progress.ReportProgress(static_cast<double>(i) / static_cast<double>(doses.size()));
        trelis::AddWithWeight(doses[i].scale, 0.0, doses[i].transform, doses[i].values, sum.scale,
                              0, sum.transform, sum.values, weights[i]);
        sum.parts.push_back({doses[i].file, weights[i]});
    }
}

void warnOfPartialDoses(const std::vector<DoseGrid>& doses,
                        const std::vector<EvaluatedStructure>& structures, Messages& messages,
                        FProgressReportingBody& progress) {
    if (doses.empty() || haveOneGrid(doses)) {
        return;  // the histogram tells
    }
    for (const EvaluatedStructure& structure : structures) {
        if (structure.segment.IsEmpty()) {
            continue;
        }
        for (const DoseGrid& dose : doses) {
            const double outside =
                1.0 - partBetweenDosePoints(structure, dose.values, dose.transform, progress);
            if (outside > kNegligiblePart) {
                messages.warn(structure.name,
                              fmt::format("{:.1f} % of it lie outside the dose {}, which adds "
                                          "nothing there",
                                          100.0 * outside, dose.file));
            }
        }
    }
}

}  // namespace app
