#pragma once

#include <trelis/dose/detail/dose_refinement.h>
#include <trelis/dose/detail/ramp_histogram.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace trelis::detail {

/// The body of `CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling`, for a dose grid that may
/// be refined: `doseGeometry` is that of its refined grid. The extremes are 0 where one of them is
/// not defined.
template <class T>
SampledExtremes superSample(const RefinedDose<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
                            const NSegment::SegmentVolume& structure,
                            const FVoxelSpaceGeometry& structureGeometry, double sampleStep,
                            RampHistogram& histogram, FProgressReportingBody& progress);

/// Dose per bin, in dose values.
inline double superSamplingBinWidth(double maxValue, double offset, int binCount) {
    return ((maxValue - offset) + 1.0) / (static_cast<double>(binCount) - 1.0);
}

}  // namespace trelis::detail
