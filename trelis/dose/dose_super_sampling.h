#pragma once

#include <trelis/export.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

namespace trelis {

/// The differential histogram, in dose values, of a structure in a dose grid, for T = unsigned
/// short and unsigned int.
///
/// Dose is bilinear in the planes and linear between them. A lattice of points, `sampleStep` mm
/// apart (1 to 33 points per voxel along x and y, an odd number), spans the dose grid from its
/// first to its last voxel centres. In every pair of neighbouring planes each point gives a segment
/// along z that stands for the real volume of one point, in mm3; in a single plane each pair of
/// neighbours along x gives one that stands for a lattice cell, in mm2. The part of a segment where
/// the structure, linear between its values at the ends, is above 127.5 spreads its size evenly
/// over the bins of the doses at its ends, 13 bins at least.
///
/// The structure is read by one fixed-point iterator for each lattice row, trilinear, in a single
/// plane bilinear; so its outer half voxel does not count. Time grows with the extent of the
/// structure, not with the dose grid around it.
///
/// `bins` holds `binCount` bins, which the caller owns and which may have any content before; with
/// fewer than two bins only the extremes are found. `binWidth` becomes (maxValue - offset + 1) /
/// (binCount - 1), and dose d is in bin int(d / binWidth + 0.5). `minSampled`, `maxSampled` are the
/// extreme doses at the ends of used parts, with their real coordinates: a dose that becomes the
/// minimum is not tried as the maximum, which is intended. Volume outside their bins is moved into
/// them. Where nothing was sampled, or one dose and then only lower ones, both are 0.
///
/// `Crash` when the size or resolution (within 1e-6 mm) of a geometry is not that of its volume;
/// `BadCast` for a bin index that is no int. Reports progress after each lattice row, for all
/// planes, by `ReportProgress`.
template <class T>
TRELIS_API void CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
    const QVolume<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
    const NSegment::SegmentVolume& structure, const FVoxelSpaceGeometry& structureGeometry,
    double maxValue, double offset, double sampleStep, int binCount, double* bins, double& binWidth,
    double& minSampled, MVectorTemplate<double>& minPosition, double& maxSampled,
    MVectorTemplate<double>& maxPosition, FProgressReportingBody& progress);

}  // namespace trelis
