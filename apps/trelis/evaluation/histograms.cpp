#include <apps/trelis/evaluation/histograms.h>

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include <trelis/dose/dose_volume_histogram.h>
#include <trelis/dose/fine_dose_volume_histogram.h>

#include <apps/trelis/evaluation/dose_reach.h>

namespace app {

namespace {

/// Structures of fewer voxels have a coarse histogram.
constexpr int kFewVoxels = 100;

constexpr double kMm3PerCm3 = 1000.0;

void computeHistogram(const DoseSum& dose, std::optional<double> fineStep,
                      EvaluatedStructure& structure, FProgressReportingBody& progress) {
    if (fineStep) {
        trelis::CalculateFineDoseVolumeHistogramAndStatistics(
            dose.values, dose.transform, dose.scale, 0, structure.segment, structure.geometry, 0.0,
            {*fineStep, *fineStep}, structure.dvh, progress);
        return;
    }
    // The volume is known; for 0 it would be measured once more.
    trelis::CalculateDoseVolumeHistogramAndStatistics(
        dose.values, dose.transform, dose.scale, 0, structure.segment, structure.geometry,
        structure.volume * kMm3PerCm3, structure.dvh, progress);
}

bool hasVolume(const trelis::DvhData& dvh) {
    return std::any_of(dvh.bins.begin(), dvh.bins.end(), [](double bin) { return bin > 0.0; });
}

/// `known` is the part of the structure between the dose points. A histogram is of what lies in
/// voxels of the dose and up to a voxel beyond the last ones.
void reportDoubts(const EvaluatedStructure& structure, double known, Messages& messages) {
    const trelis::DvhData& dvh = structure.dvh;
    if (!dvh.HasValidDoseCoverage()) {
        messages.warn(structure.name,
                      fmt::format("only {:.1f} % of it lie inside the dose grid; the histogram is "
                                  "of that part",
                                  100.0 * dvh.doseCoverage));
    }
    const double beyond = dvh.doseCoverage - known;
    if (beyond > kNegligiblePart) {
        messages.warn(structure.name,
                      fmt::format("{:.1f} % of it lie just beyond the outermost dose points, where "
                                  "the dose is not known; the histogram is scaled up from the rest",
                                  100.0 * beyond));
    }
    if (!dvh.HasValidSamplingCoverage()) {
        messages.warn(structure.name,
                      fmt::format("only {:.1f} % of its volume were sampled, since it is small or "
                                  "reaches beyond the outermost dose points; the histogram is "
                                  "scaled up from that",
                                  100.0 * dvh.samplingCoverage));
    }
    if (dvh.coveredVoxelCount < kFewVoxels && dvh.maxDose > 0.0) {
        messages.warn(structure.name, fmt::format("it has only {} voxels in the dose grid; its "
                                                  "histogram is coarse",
                                                  dvh.coveredVoxelCount));
    }
}

}  // namespace

void computeHistograms(const DoseSum& dose, std::optional<double> fineStep,
                       std::vector<EvaluatedStructure>& structures, Messages& messages,
                       FProgressReportingBody& progress) {
    const QVolumeSize& size = dose.values;
    if (std::min({size.GetXSize(), size.GetYSize(), size.GetZSize()}) < 2) {
        messages.warn("dose", "the dose is a single plane, of which no histograms are made");
        return;
    }
    const auto count = static_cast<double>(structures.size());
    for (std::size_t i = 0; i < structures.size(); ++i) {
        EvaluatedStructure& structure = structures[i];
        if (structure.segment.IsEmpty()) {
            continue;
        }
        const auto done = static_cast<double>(i);
        computeHistogram(dose, fineStep, structure,
                         progress.SubRange(done / count, (done + 0.9) / count));
        const double known =
            partBetweenDosePoints(structure, dose.values, dose.transform,
                                  progress.SubRange((done + 0.9) / count, (done + 1.0) / count));
        if (hasVolume(structure.dvh)) {
            reportDoubts(structure, known, messages);
        } else {
            structure.dvh.Clear();
            messages.warn(structure.name, "it lies outside the dose grid and has no histogram");
        }
    }
}

}  // namespace app
