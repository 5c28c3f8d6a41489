#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

#include <bench/dose/analytic_dvh.h>
#include <trelis/trelis.h>

namespace {

using bench::DvhErrors;
using bench::Field;
using bench::Vector;

constexpr int kBinCount = 20000;

/// A dose grid of cubic voxels around a solid, not aligned with the voxels of the structure.
FVoxelSpaceGeometry doseGrid(double size, double spacing) {
    constexpr double kMargin = 4.0;
    MMatrix transform;
    transform.SetTranslation(0.4, -0.7, 0.9);
    const int count = 2 * static_cast<int>(size / spacing + kMargin);
    return {transform, count, count, count, spacing, spacing, spacing};
}

/// A structure and what is the same for all doses in it.
struct Structure {
    Structure(const bench::Solid& solid, double cm3, const Vector& voxel)
        : size(std::cbrt(1000.0 * cm3 / solid.volume)),
          geometry(bench::gridAround(size, voxel)),
          segment(bench::rasterised(solid, size, geometry)),
          volume(plexa::CalculateVolumeWithSubVoxelModeling(segment, nobody)) {}

    DvhErrors errors(const Field& field, double spacing) {
        const FVoxelSpaceGeometry grid = doseGrid(size, spacing);
        const QVolume<unsigned int> dose = bench::doseOf(field, size, grid);
        trelis::DvhData dvh;
        trelis::CalculateDoseVolumeHistogramAndStatistics(
            dose, grid.GetTransform(), bench::kDoseScale, 0, segment, geometry, volume,
            static_cast<unsigned long long>(2.0 * bench::kCentreDose / bench::kDoseScale),
            kBinCount, dvh, nobody);
        return bench::errorsOf(dvh, field, size);
    }

    QProgressReporterNull nobody;
    double size;
    FVoxelSpaceGeometry geometry;
    NSegment::SegmentVolume segment;
    double volume;
};

/// Mean and largest of one kind of error.
void printCell(const std::vector<DvhErrors>& errors, double DvhErrors::*kind) {
    double sum = 0.0;
    double largest = 0.0;
    for (const DvhErrors& e : errors) {
        sum += e.*kind;
        largest = std::max(largest, e.*kind);
    }
    std::printf(" %.2f, %.2f |", sum / static_cast<double>(errors.size()), largest);
}

void printRow(double cm3, const Vector& voxel, double spacing,
              const std::vector<DvhErrors>& errors) {
    std::printf("| %g | %gx%gx%g | %g |", cm3, voxel.x, voxel.y, voxel.z, spacing);
    for (double DvhErrors::*kind : {&DvhErrors::volume, &DvhErrors::mean, &DvhErrors::median,
                                    &DvhErrors::tails, &DvhErrors::extremes, &DvhErrors::curve}) {
        printCell(errors, kind);
    }
    std::printf("\n");
}

void printRows(double cm3, const Vector& voxel) {
    constexpr double kSpacings[] = {2.0, 3.0, 5.0};
    std::vector<DvhErrors> errors[std::size(kSpacings)];
    for (const bench::Solid* solid : bench::kSolids) {
        Structure structure(*solid, cm3, voxel);
        for (const Field& field : bench::kFields) {
            if (field.solid == solid) {
                for (std::size_t i = 0; i < std::size(kSpacings); ++i) {
                    errors[i].push_back(structure.errors(field, kSpacings[i]));
                }
            }
        }
    }
    for (std::size_t i = 0; i < std::size(kSpacings); ++i) {
        printRow(cm3, voxel, kSpacings[i], errors[i]);
    }
}

}  // namespace

/// A table of the errors of dose-volume histograms against closed formulas, by structure size,
/// structure voxel and dose voxel.
int main() {
    std::printf(
        "| volume, cm3 | voxel, mm | dose voxel, mm | volume, %% | mean, Gy | median, Gy | "
        "D99 to D1, Gy | extremes, Gy | curve, %% |\n|---|---|---|---|---|---|---|---|---|\n");
    for (const double cm3 : {0.3, 3.0, 30.0, 300.0}) {
        for (const Vector& voxel : {Vector(1, 1, 2), Vector(1, 1, 3)}) {
            printRows(cm3, voxel);
        }
    }
    return 0;
}
