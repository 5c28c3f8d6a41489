#pragma once

#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/undefined.h>
#include <trelis/foundation/vector.h>

namespace trelis {

/// The dose-volume histogram of a structure (of a single dose plane: its dose-area histogram) and
/// its dose statistics. Bin i covers doses [i, i + 1) times `binWidth`; n bins reach up to
/// R = n `binWidth`. The histogram is differential as computed and cumulative after `Cumulate`; the
/// record does not know which. Undefined numbers are NaN. A plain value that owns its bins;
/// operations on a record without bins return 0 or do nothing.
struct DvhData {
    /// Volume per bin, cm3 (a histogram computed alone: mm3, area histograms: mm2).
    std::vector<double> bins;
    /// Dose per bin, in output dose units.
    double binWidth = Undefined<double>::value;
    /// Structure voxels inside the dose grid; `UnknownInteger` when undefined.
    int coveredVoxelCount = UnknownInteger;
    /// The fraction of the structure, by voxel weight, inside the dose grid.
    double doseCoverage = Undefined<double>::value;
    /// The size of the structure in the unit of the bins.
    double volume = Undefined<double>::value;
    /// Extreme sampled doses.
    double minDose = Undefined<double>::value;
    double maxDose = Undefined<double>::value;
    /// Statistics of the differential histogram.
    double meanDose = Undefined<double>::value;
    double modalDose = Undefined<double>::value;
    double medianDose = Undefined<double>::value;
    double standardDeviation = Undefined<double>::value;
    /// The total of the histogram, before it was normalised, relative to volume x dose coverage.
    double samplingCoverage = Undefined<double>::value;
    /// Real coordinates at which the extremes were sampled.
    MVectorTemplate<double> minDosePosition;
    MVectorTemplate<double> maxDosePosition;

    /// Makes this an empty record: no bins, undefined numbers, positions (0, 0, 0).
    TRELIS_API void Clear();

    /// Makes a differential histogram cumulative: each bin gets the volume that receives at least
    /// its dose.
    TRELIS_API void Cumulate();

    /// Divides every bin by `binWidth`: volume per dose.
    TRELIS_API void DifferentialToDVolumeDDose();

    /// The index, truncated, where the line through a cumulative histogram falls below the
    /// threshold less 1e-6 (at least 1e-8): between the first bin below it, or the last bin, and
    /// the bin before. 0 for fewer than two bins. Traces what it found.
    TRELIS_API unsigned FindThresholdVolume(double thresholdVolume) const;

    /// The value at a dose, linear between values that stand at i `binWidth`. 0 outside [0, R] and
    /// where |R| is below 1e-6.
    TRELIS_API double GetInterpolatedValue(double dose) const;

    /// The mean of the bins from that at `dose` up to, but without, that at `dose + width`, one bin
    /// at least. 0 outside [0, R] and where |R| is below 1e-6.
    TRELIS_API double GetSampledValue(double dose, double width) const;

    /// The sum, not the mean, of the bins from `dose` to `dose + width`: the remaining part of the
    /// first bin, the begun part of the last (all of it at R) if that is another one, and the bins
    /// between. 0 outside [0, R) and where |R| is below 1e-6.
    TRELIS_API double GetSampledValueForExport(double dose, double width) const;

    /// The bin at a dose. 0 outside [0, R] and where |R| is below 1e-6.
    TRELIS_API double GetValueAt(double dose) const;

    /// Dose coverage of at least 0.9995.
    TRELIS_API bool HasValidDoseCoverage() const;

    /// Sampling coverage above 0.8994.
    TRELIS_API bool HasValidSamplingCoverage() const;

    /// Whether there are bins.
    bool IsValid() const { return !bins.empty(); }

    /// The natural histogram for a point source: bin i times 2/3 (i `binWidth`)^2.5, bin 0 becomes
    /// 0.
    TRELIS_API void Naturalize();

    /// Divides bin i by (i `binWidth`)^2.5 times the factor, bin 0 becomes 0. The factor 2/3, here
    /// to be given, undoes `Naturalize` but for bin 0; the asymmetry is intended.
    TRELIS_API void UnNaturalize(double factor);

    /// Multiplies `binWidth`.
    void ScaleBinWidth(double factor) { binWidth *= factor; }

    /// Multiplies the six doses; bins, coverages, volume and positions stay.
    TRELIS_API void ScaleStatistics(double factor);

    /// Divides every bin by the unit, unless that is within 1e-6 of 0.
    TRELIS_API void ScaleTo(double unit);

    /// Makes a cumulative histogram per cent of its first bin. False, and nothing is changed, where
    /// that is below 1e-6. There must be a bin; without one it returns false.
    TRELIS_API bool ScaleToVolume();
};

}  // namespace trelis
