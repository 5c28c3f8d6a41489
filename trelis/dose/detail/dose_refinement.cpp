#include <trelis/dose/detail/dose_refinement.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace trelis::detail {

namespace {

/// The coarsest voxels, in mm, that are sampled as they are.
constexpr double kCoarsestInPlane = 11.0;
constexpr double kCoarsestAlongZ = 2.0;

/// How near to a whole number of planes from the first, in planes, parallel planes lie.
constexpr double kPlaneTolerance = 0.001;

/// One halving makes 2 parts, two make 3: intended.
int factorFor(double resolution, double coarsest) {
    int factor = 1;
    for (; resolution > coarsest && std::isfinite(resolution); resolution /= 2.0) {
        ++factor;
    }
    return factor;
}

int refinedSize(int size, int factor) {
    return static_cast<int>((std::int64_t{size} - 1) * factor + 1);
}

/// Whether the corners of every dose plane lie a whole number of planes from the first.
bool planesAreParallel(const FVoxelSpaceGeometry& dose, const FVoxelSpaceGeometry& structure) {
    const double ratio = structure.zres() / dose.zres();
    if (!(ratio >= 1.0)) {
        return false;
    }
    const auto structureZ = [&](int x, int y, int z) {
        return structure.RealToVoxel(dose.VoxelToReal(MVectorTemplate<double>(x, y, z))).z;
    };
    const double first = structureZ(0, 0, 0);
    for (int z = 0; z < dose.zsize(); ++z) {
        for (const int y : {0, dose.ysize() - 1}) {
            for (const int x : {0, dose.xsize() - 1}) {
                const double planes = (structureZ(x, y, z) - first) * ratio;
                if (!(std::abs(planes - std::round(planes)) < kPlaneTolerance)) {
                    return false;
                }
            }
        }
    }
    return true;
}

/// A refined coordinate between two old ones.
struct Between {
    Between(int refined, int factor, int size)
        : low(refined / factor),
          high(std::min(low + 1, size - 1)),
          fraction(static_cast<double>(refined % factor) / factor) {}

    int low;
    int high;
    double fraction;
};

double lerp(double a, double b, double fraction) { return a + (b - a) * fraction; }

}  // namespace

RefinementFactors refinementFactors(const FVoxelSpaceGeometry& dose,
                                    const FVoxelSpaceGeometry& structure) {
    const bool isPlane = dose.zsize() == 1;
    if (isPlane && dose.xsize() == 1 && dose.ysize() == 1) {
        return {};
    }
    const bool keepPlanes = isPlane || planesAreParallel(dose, structure);
    return {factorFor(dose.xres(), kCoarsestInPlane), factorFor(dose.yres(), kCoarsestInPlane),
            keepPlanes ? 1 : factorFor(dose.zres(), kCoarsestAlongZ)};
}

FVoxelSpaceGeometry refinedGeometry(const FVoxelSpaceGeometry& grid,
                                    const RefinementFactors& factors) {
    return {grid.GetTransform(),
            refinedSize(grid.xsize(), factors.x),
            refinedSize(grid.ysize(), factors.y),
            refinedSize(grid.zsize(), factors.z),
            grid.xres() / factors.x,
            grid.yres() / factors.y,
            grid.zres() / factors.z};
}

template <typename T>
RefinedDose<T>::RefinedDose(const QVolume<T>& dose, const RefinementFactors& factors)
    : dose_(dose),
      factors_(factors),
      grid_(refinedSize(dose.GetXSize(), factors.x), refinedSize(dose.GetYSize(), factors.y),
            refinedSize(dose.GetZSize(), factors.z), dose.GetXResMM() / factors.x,
            dose.GetYResMM() / factors.y, dose.GetZResMM() / factors.z) {}

template <typename T>
void RefinedDose<T>::readRow(int y, int z, int first, int end, double* values) const {
    const Between rowY(y, factors_.y, dose_.GetYSize());
    const Between rowZ(z, factors_.z, dose_.GetZSize());
    const auto row = [this](int sourceY, int sourceZ) {
        return dose_.GetConstSpanX(sourceY, sourceZ).begin();
    };
    const T* rows[4] = {row(rowY.low, rowZ.low), row(rowY.high, rowZ.low), row(rowY.low, rowZ.high),
                        row(rowY.high, rowZ.high)};
    if (factors_.x == 1 && rowY.fraction == 0.0 && rowZ.fraction == 0.0) {
        std::copy(rows[0] + first, rows[0] + end, values);
        return;
    }
    const auto columnValue = [&](int x) {
        return lerp(lerp(rows[0][x], rows[1][x], rowY.fraction),
                    lerp(rows[2][x], rows[3][x], rowY.fraction), rowZ.fraction);
    };
    for (int x = first; x < end; ++x) {
        const Between column(x, factors_.x, dose_.GetXSize());
        const double value =
            lerp(columnValue(column.low), columnValue(column.high), column.fraction);
        // Rounded half up; doses are not negative.
        values[x - first] = static_cast<double>(static_cast<std::int64_t>(value + 0.5));
    }
}

template class RefinedDose<unsigned short>;
template class RefinedDose<unsigned int>;

}  // namespace trelis::detail
