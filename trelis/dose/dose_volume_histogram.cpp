#include <trelis/dose/dose_volume_histogram.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include <trelis/dose/detail/dvh_statistics.h>
#include <trelis/dose/detail/super_sampling.h>
#include <trelis/dose/dose_coverage.h>
#include <trelis/foundation/detail/extremes.h>
#include <trelis/foundation/detail/platform.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

namespace trelis {

namespace {

using NSegment::SegmentVolume;

constexpr int kBinCount = 100000;

/// The bins reach so far above the largest dose.
constexpr double kHeadroom = 1.2;

/// Where the parts of the computation end in the progress.
constexpr double kSizeDone = 0.01;
constexpr double kSampled = 0.9;
constexpr double kHistogramDone = 0.8;

/// The distance of lattice points, mm: that of an area histogram, and those of a volume: a part of
/// its edge within limits. The exponent is as it stands, not a third.
constexpr double kAreaStep = 0.25;
constexpr double kEdgeExponent = 0.33333;
constexpr double kStepsPerEdge = 7.0;
constexpr double kLargeVolume = 5000000.0;
constexpr double kLargestStep = 1.0;
constexpr double kLargestStepOfLargeVolume = 2.6;
constexpr double kSmallestStep = 0.001;

/// A structure with less weight counts as covered.
constexpr double kNoWeight = 1e-8;

constexpr double kMm2PerCm2 = 100.0;
constexpr double kMm3PerCm3 = 1000.0;

/// What every entry point is given.
struct Input {
    const QVolume<unsigned int>& dose;
    const MMatrix& doseTransform;
    double doseScale;
    unsigned int doseOffset;
    const SegmentVolume& structure;
    const FVoxelSpaceGeometry& structureGeometry;
    double structureSize;

    bool isPlane() const { return dose.GetZSize() == 1; }
    FVoxelSpaceGeometry doseGeometry() const {
        return {doseTransform,    dose.GetXSize(),  dose.GetYSize(), dose.GetZSize(),
                dose.GetXResMM(), dose.GetYResMM(), dose.GetZResMM()};
    }
};

enum class Kind { Volume, Area };

void checkOffset(const Input& input) {
    if (input.doseOffset != 0) {
        throw std::out_of_range("Dose offset must be zero");
    }
}

/// Not from the volume's `MinMax`, whose cache concurrent calls would write.
unsigned int largestDose(const QVolume<unsigned int>& dose) {
    return detail::rangeOfBlock(dose.begin(), dose.size()).second;
}

double structureSize(const Input& input, FProgressReportingBody& progress) {
    if (input.structureSize != 0.0) {
        return input.structureSize;
    }
    if (!input.isPlane()) {
        return plexa::CalculateVolumeWithSubVoxelModeling(input.structure, progress);
    }
    const bool hasPlane = input.structure.zsize() > 0;
    return hasPlane ? plexa::CalculateSurfaceWithSubVoxelModeling(input.structure, 0, progress)
                    : 0.0;
}

double sampleStep(Kind kind, double volume) {
    const double step =
        kind == Kind::Area ? kAreaStep : detail::power(volume, kEdgeExponent) / kStepsPerEdge;
    const double largest = volume <= kLargeVolume ? kLargestStep : kLargestStepOfLargeVolume;
    return std::max(kSmallestStep, step < largest ? step : largest);
}

void computeSampling(const Input& input, Kind kind, double maxValue, DvhData& result,
                     FProgressReportingBody& progress) {
    const FVoxelSpaceGeometry geometry = input.doseGeometry();
    const auto factors = detail::refinementFactors(geometry, input.structureGeometry);
    const detail::RefinedDose<unsigned int> refined(input.dose, factors);
    const auto binCount = static_cast<int>(result.bins.size());
    const double offset = input.doseOffset;
    result.binWidth = detail::superSamplingBinWidth(maxValue, offset, binCount);
    detail::RampHistogram histogram(result.bins.data(), binCount, result.binWidth);
    const detail::SampledExtremes extremes = detail::superSample(
        refined, detail::refinedGeometry(geometry, factors), input.structure,
        input.structureGeometry, sampleStep(kind, result.volume), histogram, progress);
    result.binWidth *= input.doseScale;
    result.minDose = (extremes.minimum - offset) * input.doseScale;
    result.maxDose = (extremes.maximum - offset) * input.doseScale;
    result.minDosePosition = extremes.minimumAt;
    result.maxDosePosition = extremes.maximumAt;
}

void computeCoverage(const Input& input, DvhData& result, FProgressReportingBody& progress) {
    double weight = 0.0;
    double covered = 0.0;
    CalculateDoseCoverageForStructure(input.dose, input.doseGeometry(), input.structure,
                                      input.structureGeometry, weight, covered,
                                      result.coveredVoxelCount, progress);
    result.doseCoverage = weight >= kNoWeight ? covered / weight : 1.0;
}

/// What all entry points share: histogram, extremes, volume and coverage.
void computeHistogram(const Input& input, Kind kind, double maxValue, int binCount, DvhData& result,
                      FProgressReportingBody& progress) {
    result.Clear();
    result.bins.assign(static_cast<std::size_t>(std::max(binCount, 0)), 0.0);
    progress.SetProgress(0.0);
    result.volume = structureSize(input, progress.SubRange(0.0, kSizeDone));
    const double reach = maxValue == 0.0 ? largestDose(input.dose) : maxValue;
    if (reach == 0.0) {
        detail::setZeroDose(result);
        return;
    }
    computeSampling(input, kind, reach, result, progress.SubRange(kSizeDone, kSampled));
    computeCoverage(input, result, progress.SubRange(kSampled, 1.0));
}

void computeNormalised(const Input& input, double maxValue, int binCount, DvhData& result,
                       FProgressReportingBody& progress) {
    computeHistogram(input, Kind::Volume, maxValue, binCount, result,
                     progress.SubRange(0.0, kHistogramDone));
    if (!result.bins.empty()) {
        detail::computeStatistics(result, progress.SubRange(kHistogramDone, 1.0));
    }
    const double unit = input.isPlane() ? kMm2PerCm2 : kMm3PerCm3;
    result.volume /= unit;
    result.ScaleTo(unit);
    detail::normaliseSampling(result);
}

}  // namespace

void CalculateDoseVolumeHistogramAndStatistics(const QVolume<unsigned int>& dose,
                                               const MMatrix& doseTransform, double doseScale,
                                               unsigned int doseOffset,
                                               const SegmentVolume& structure,
                                               const FVoxelSpaceGeometry& structureGeometry,
                                               double structureVolume, DvhData& result,
                                               FProgressReportingBody& progress) {
    const auto maxValue = static_cast<unsigned long long>(largestDose(dose) * kHeadroom);
    CalculateDoseVolumeHistogramAndStatistics(dose, doseTransform, doseScale, doseOffset, structure,
                                              structureGeometry, structureVolume, maxValue,
                                              kBinCount, result, progress);
}

void CalculateDoseVolumeHistogramAndStatistics(
    const QVolume<unsigned int>& dose, const MMatrix& doseTransform, double doseScale,
    unsigned int doseOffset, const SegmentVolume& structure,
    const FVoxelSpaceGeometry& structureGeometry, double structureVolume,
    unsigned long long maxValue, int binCount, DvhData& result, FProgressReportingBody& progress) {
    const Input input{dose,      doseTransform,     doseScale,      doseOffset,
                      structure, structureGeometry, structureVolume};
    checkOffset(input);
    computeNormalised(input, static_cast<double>(maxValue), binCount, result, progress);
}

void CalculateDoseVolumeHistogram(const QVolume<unsigned int>& dose, const MMatrix& doseTransform,
                                  double doseScale, unsigned int doseOffset,
                                  const SegmentVolume& structure,
                                  const FVoxelSpaceGeometry& structureGeometry,
                                  double structureVolume, unsigned long long maxValue, int binCount,
                                  DvhData& result, FProgressReportingBody& progress) {
    const Input input{dose,      doseTransform,     doseScale,      doseOffset,
                      structure, structureGeometry, structureVolume};
    checkOffset(input);
    computeHistogram(input, Kind::Volume, static_cast<double>(maxValue), binCount, result,
                     progress);
}

void CalculateDoseAreaHistogramAndStatistics(const QVolume<unsigned int>& dose,
                                             const MMatrix& doseTransform, double doseScale,
                                             unsigned int doseOffset,
                                             const SegmentVolume& structure,
                                             const FVoxelSpaceGeometry& structureGeometry,
                                             double structureArea, DvhData& result) {
    const Input input{dose,      doseTransform,     doseScale,    doseOffset,
                      structure, structureGeometry, structureArea};
    checkOffset(input);
    if (dose.GetZSize() != 1) {
        throw std::out_of_range("Matrix Z size must be 1");
    }
    QProgressReporterNull nobody;
    computeHistogram(input, Kind::Area, largestDose(dose) * kHeadroom, kBinCount, result, nobody);
    detail::computeStatistics(result, nobody);
}

}  // namespace trelis
