#include <trelis/dose/fine_dose_volume_histogram.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <utility>

#include <trelis/dose/detail/dvh_statistics.h>
#include <trelis/dose/detail/partial_volume_cells.h>
#include <trelis/dose/detail/ramp_histogram.h>
#include <trelis/dose/detail/spread_histogram.h>
#include <trelis/dose/detail/super_sampling.h>
#include <trelis/dose/dose_coverage.h>
#include <trelis/foundation/detail/extremes.h>
#include <trelis/foundation/diagnostics.h>

namespace trelis {

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

constexpr int kBinCount = 100000;

/// The bins reach so far above the largest dose.
constexpr double kHeadroom = 1.2;

constexpr int kMostSteps = 64;

/// A voxel may be this much longer than its steps together, relatively: rounding.
constexpr double kStepSlack = 1e-9;

/// Where the parts of the computation end in the progress.
constexpr double kSampled = 0.7;
constexpr double kCoverageDone = 0.8;

/// A structure with less weight counts as covered.
constexpr double kNoWeight = 1e-8;

constexpr double kMm3PerCm3 = 1000.0;

FVoxelSpaceGeometry geometryOf(const QVolume<unsigned int>& dose, const MMatrix& transform) {
    return {transform,        dose.GetXSize(),  dose.GetYSize(), dose.GetZSize(),
            dose.GetXResMM(), dose.GetYResMM(), dose.GetZResMM()};
}

/// Not from the volume's `MinMax`, whose cache concurrent calls would write.
double largestDose(const QVolume<unsigned int>& dose) {
    return detail::rangeOfBlock(dose.begin(), dose.size()).second;
}

/// A dose between voxel centres.
class DoseField {
  public:
    /// A dose value and how it changes, per voxel, along each axis.
    struct Sample {
        double value;
        Vector gradient;
    };

    explicit DoseField(const QVolume<unsigned int>& dose)
        : values_(dose.begin()),
          range_(detail::rangeOfBlock(dose.begin(), dose.size())),
          x_{dose.GetXSize(), 1},
          y_{dose.GetYSize(), dose.GetXSize()},
          z_{dose.GetZSize(), static_cast<std::ptrdiff_t>(dose.GetXSize()) * dose.GetYSize()} {}

    bool contains(const Vector& p) const {
        return values_ != nullptr && x_.contains(p.x) && y_.contains(p.y) && z_.contains(p.z);
    }

    /// The smallest and the largest dose.
    double lowest() const { return range_.first; }
    double highest() const { return range_.second; }

    /// The trilinear field at voxel coordinates that it contains.
    Sample at(const Vector& p) const {
        const int x = x_.cellAt(p.x);
        const int y = y_.cellAt(p.y);
        const int z = z_.cellAt(p.z);
        const unsigned int* first = values_ + (x + y_.stride * y + z_.stride * z);
        const unsigned int* rows[4] = {first, first + y_.toNeighbour(), first + z_.toNeighbour(),
                                       first + y_.toNeighbour() + z_.toNeighbour()};
        double slopes[4];
        double values[4];
        for (int row = 0; row < 4; ++row) {
            const double value = rows[row][0];
            slopes[row] = rows[row][x_.toNeighbour()] - value;
            values[row] = value + (p.x - x) * slopes[row];
        }
        const double fy = p.y - y;
        const double fz = p.z - z;
        const double low = lerp(values[0], values[1], fy);
        const double high = lerp(values[2], values[3], fy);
        return {lerp(low, high, fz),
                {lerp(lerp(slopes[0], slopes[1], fy), lerp(slopes[2], slopes[3], fy), fz),
                 lerp(values[1] - values[0], values[3] - values[2], fz), high - low}};
    }

  private:
    struct Axis {
        int size;
        std::ptrdiff_t stride;

        bool contains(double position) const {
            return size == 1 ? std::abs(position) <= 0.5 : position >= 0.0 && position <= size - 1;
        }
        int cellAt(double position) const {
            return size == 1 ? 0 : std::min(static_cast<int>(position), size - 2);
        }
        std::ptrdiff_t toNeighbour() const { return size > 1 ? stride : 0; }
    };

    static double lerp(double a, double b, double fraction) { return a + fraction * (b - a); }

    const unsigned int* values_;
    std::pair<unsigned int, unsigned int> range_;
    Axis x_;
    Axis y_;
    Axis z_;
};

int stepsFor(double resolution, double step) {
    const double steps = std::ceil(resolution / step * (1.0 - kStepSlack));
    return steps > 1.0 ? static_cast<int>(std::min(steps, double{kMostSteps})) : 1;
}

/// Takes the cells of a structure into a histogram.
class CellSampler {
  public:
    CellSampler(const QVolume<unsigned int>& dose, const FVoxelSpaceGeometry& doseGeometry,
                const SegmentVolume& structure, const FVoxelSpaceGeometry& structureGeometry,
                const DvhAccuracy& accuracy, detail::SpreadHistogram& histogram)
        : field_(dose),
          doseGeometry_(doseGeometry),
          structureGeometry_(structureGeometry),
          stepsX_(stepsFor(structure.xres(), accuracy.inPlaneStep)),
          stepsY_(stepsFor(structure.yres(), accuracy.inPlaneStep)),
          stepsZ_(stepsFor(structure.zres(), accuracy.planeStep)),
          cells_(structure, stepsX_, stepsY_),
          histogram_(histogram) {
        const auto inDose = [this](const Vector& v) {
            return doseGeometry_.GetTransformRealToRVoxel().TransformVector(
                structureGeometry_.GetTransformRVoxelToReal().TransformVector(v));
        };
        stepX_ = inDose({1.0 / stepsX_, 0.0, 0.0});
        stepY_ = inDose({0.0, 1.0 / stepsY_, 0.0});
        stepZ_ = inDose({0.0, 0.0, 1.0 / stepsZ_});
    }

    void run(FProgressReportingBody& progress) {
        const detail::PartialVolumeCells::Box& box = cells_.box();
        for (int z = box.zFirst; z < box.zEnd; ++z) {
            cells_.load(z);
            for (int y = box.yFirst; y < box.yEnd; ++y) {
                for (int x = box.xFirst; x < box.xEnd; ++x) {
                    if (cells_.fraction(x, y) > 0.0) {
                        addVoxel(x, y, z);
                    }
                }
            }
            progress.ReportProgress(static_cast<double>(z + 1 - box.zFirst) /
                                    (box.zEnd - box.zFirst));
        }
    }

    double cellVolume() const {
        return structureGeometry_.xres() / stepsX_ * (structureGeometry_.yres() / stepsY_) *
               (structureGeometry_.zres() / stepsZ_);
    }

    /// The extreme doses that cells were spread to, with the centres of these cells in real
    /// coordinates; 0 where no cell was sampled.
    detail::SampledExtremes extremes() const {
        if (!extremes_.areDefined()) {
            return {0.0, 0.0, {}, {}};
        }
        return {extremes_.minimum, extremes_.maximum,
                doseGeometry_.VoxelToReal(extremes_.minimumAt),
                doseGeometry_.VoxelToReal(extremes_.maximumAt)};
    }

  private:
    void addVoxel(int x, int y, int z) {
        const std::span<const double> covered = cells_.cells(x, y);
        const Vector first = doseGeometry_.RealToVoxel(structureGeometry_.RVoxelToReal(
            {x + 0.5 / stepsX_, y + 0.5 / stepsY_, z + 0.5 / stepsZ_}));
        for (int k = 0; k < stepsZ_; ++k) {
            std::size_t cell = 0;
            for (int j = 0; j < stepsY_; ++j) {
                const Vector row = first + stepZ_ * k + stepY_ * j;
                for (int i = 0; i < stepsX_; ++i, ++cell) {
                    if (covered[cell] > 0.0) {
                        addCell(row + stepX_ * i, covered[cell]);
                    }
                }
            }
        }
    }

    void addCell(const Vector& centre, double covered) {
        if (!field_.contains(centre)) {
            return;
        }
        const DoseField::Sample dose = field_.at(centre);
        const double value = std::clamp(dose.value, field_.lowest(), field_.highest());
        // An even spread that has the variance of the doses in a box with a linear dose, but
        // reaches no dose that is nowhere.
        const Vector spread(dose.gradient.Dot(stepX_), dose.gradient.Dot(stepY_),
                            dose.gradient.Dot(stepZ_));
        const double half =
            std::min({spread.Length() / 2.0, value - field_.lowest(), field_.highest() - value});
        const double low = value - half;
        const double high = value + half;
        histogram_.add(low, high, covered);
        if (!(low >= extremes_.minimum)) {
            extremes_.minimum = low;
            extremes_.minimumAt = centre;
        }
        if (!(high <= extremes_.maximum)) {
            extremes_.maximum = high;
            extremes_.maximumAt = centre;
        }
    }

    DoseField field_;
    const FVoxelSpaceGeometry& doseGeometry_;
    const FVoxelSpaceGeometry& structureGeometry_;
    int stepsX_;
    int stepsY_;
    int stepsZ_;
    detail::PartialVolumeCells cells_;
    detail::SpreadHistogram& histogram_;
    /// From cell to cell, in voxels of the dose.
    Vector stepX_;
    Vector stepY_;
    Vector stepZ_;
    detail::SampledExtremes extremes_;
};

void computeCoverage(const QVolume<unsigned int>& dose, const FVoxelSpaceGeometry& doseGeometry,
                     const SegmentVolume& structure, const FVoxelSpaceGeometry& structureGeometry,
                     DvhData& result, FProgressReportingBody& progress) {
    double weight = 0.0;
    double covered = 0.0;
    CalculateDoseCoverageForStructure(dose, doseGeometry, structure, structureGeometry, weight,
                                      covered, result.coveredVoxelCount, progress);
    result.doseCoverage = weight >= kNoWeight ? covered / weight : 1.0;
}

bool matches(const FVoxelSpaceGeometry& geometry, const SegmentVolume& segment) {
    return QVolumeSize(geometry.xsize(), geometry.ysize(), geometry.zsize(), geometry.xres(),
                       geometry.yres(), geometry.zres()) ==
           QVolumeSize(segment.xsize(), segment.ysize(), segment.zsize(), segment.xres(),
                       segment.yres(), segment.zres());
}

void checkArguments(unsigned int doseOffset, const SegmentVolume& structure,
                    const FVoxelSpaceGeometry& structureGeometry, const DvhAccuracy& accuracy) {
    if (doseOffset != 0) {
        throw std::out_of_range("Dose offset must be zero");
    }
    if (!(accuracy.inPlaneStep > 0.0 && accuracy.planeStep > 0.0)) {
        throw std::invalid_argument(
            "CalculateFineDoseVolumeHistogramAndStatistics: steps must be positive");
    }
    if (!matches(structureGeometry, structure)) {
        Crash(L"DVH calculation attempted with invalid geometries");
    }
}

}  // namespace

void CalculateFineDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    const DvhAccuracy& accuracy, DvhData& result, FProgressReportingBody& progress) {
    CalculateFineDoseVolumeHistogramAndStatistics(
        dose, doseTransform, doseScale, doseOffset, structure, structureGeometry, structureVolume,
        accuracy, static_cast<unsigned long long>(largestDose(dose) * kHeadroom), kBinCount, result,
        progress);
}

void CalculateFineDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    const DvhAccuracy& accuracy, unsigned long long maxValue, int binCount, DvhData& result,
    FProgressReportingBody& progress) {
    checkArguments(doseOffset, structure, structureGeometry, accuracy);
    result.Clear();
    result.bins.assign(static_cast<std::size_t>(std::max(binCount, 0)), 0.0);
    progress.SetProgress(0.0);
    result.volume = structureVolume != 0.0 ? structureVolume : detail::partialVolume(structure);
    const double reach = maxValue != 0 ? static_cast<double>(maxValue) : largestDose(dose);
    if (reach == 0.0) {
        detail::setZeroDose(result);
    } else {
        const FVoxelSpaceGeometry doseGeometry = geometryOf(dose, doseTransform);
        result.binWidth = detail::superSamplingBinWidth(reach, doseOffset, binCount);
        detail::SpreadHistogram histogram(binCount, result.binWidth);
        CellSampler sampler(dose, doseGeometry, structure, structureGeometry, accuracy, histogram);
        sampler.run(progress.SubRange(0.0, kSampled));
        histogram.integrate(sampler.cellVolume(), result.bins);
        const detail::SampledExtremes extremes = sampler.extremes();
        result.binWidth *= doseScale;
        result.minDose = extremes.minimum * doseScale;
        result.maxDose = extremes.maximum * doseScale;
        result.minDosePosition = extremes.minimumAt;
        result.maxDosePosition = extremes.maximumAt;
        computeCoverage(dose, doseGeometry, structure, structureGeometry, result,
                        progress.SubRange(kSampled, kCoverageDone));
    }
    if (!result.bins.empty()) {
        detail::computeStatistics(result, progress.SubRange(kCoverageDone, 1.0));
    }
    result.volume /= kMm3PerCm3;
    result.ScaleTo(kMm3PerCm3);
    detail::normaliseSampling(result);
}

}  // namespace trelis
