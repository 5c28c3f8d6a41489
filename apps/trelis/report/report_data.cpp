#include <algorithm>
#include <cmath>

#include <apps/trelis/evaluation/dose_statistics.h>
#include <apps/trelis/report/file_names.h>
#include <apps/trelis/report/report_data.h>

namespace app::report {
namespace {

/// The longest curve, in steps.
constexpr int kCurveSteps = 998;

std::optional<VoxelBox> boxOf(const NSegment::SegmentVolume& segment) {
    VoxelBox box{};
    segment.GetBoundingBoxForIteration(box.low[0], box.low[1], box.low[2], box.high[0], box.high[1],
                                       box.high[2]);
    if (box.low[0] >= segment.xsize()) {
        return std::nullopt;
    }
    return box;
}

/// The last entry is the first 0. A histogram of no width, that of a dose of 0 everywhere, gives
/// its volume at 0 and nothing above.
std::vector<double> curveOf(const trelis::DvhData& cumulative, const RoundStep& step) {
    std::vector<double> curve = {cumulative.bins.front()};
    while (curve.back() > 0.0 && curve.size() <= kCurveSteps + 1) {
        const double dose = step.times(static_cast<int>(curve.size()));
        const bool within = dose <= cumulative.maxDose;
        curve.push_back(within ? volumeAtDose(cumulative, dose) : 0.0);
    }
    return curve;
}

StructureFigures figuresOf(const EvaluatedStructure& structure, const ReportData& data) {
    StructureFigures figures{boxOf(structure.segment), {}, {}};
    trelis::DvhData cumulative = structure.dvh;
    cumulative.Cumulate();
    figures.dose = {doseAtVolume(cumulative, 0.98),
                    doseAtVolume(cumulative, 0.95),
                    doseAtVolume(cumulative, 0.50),
                    doseAtVolume(cumulative, 0.02),
                    {}};
    for (const double level : data.levels) {
        figures.dose.volumeAtLevel.push_back(volumeAtDose(cumulative, level));
    }
    if (cumulative.IsValid()) {
        figures.curve = curveOf(cumulative, data.doseStep);
    }
    return figures;
}

void describeUnit(const std::optional<DoseSum>& dose, ReportData& data) {
    if (!dose || dose->units == "GY") {
        data.unit = data.unitKey = "Gy";
    } else if (dose->units == "RELATIVE") {
        data.unit = "rel.";
        data.unitKey = "relative";
    } else {
        data.unit = dose->units;
        data.unitKey = "dose_units";
    }
}

/// At least four digits of the largest dose, two of them after the point.
int decimalsFor(double largest) {
    return std::max(2, 3 - static_cast<int>(std::floor(std::log10(largest))));
}

void chooseLevels(const std::vector<double>& wantedGy, ReportData& data) {
    if (data.unitKey == "Gy") {
        data.levels = wantedGy;
    }
    if (data.levels.empty() && data.maximumDose > 0.0) {
        data.levelFractions = {0.2, 0.5, 0.8};
        for (const double fraction : data.levelFractions) {
            data.levels.push_back(threeDigits(fraction * data.maximumDose));
        }
    }
}

}  // namespace

double threeDigits(double dose) {
    const double unit = std::pow(10.0, std::floor(std::log10(dose)) - 2.0);
    return unit < 1.0 ? std::round(dose / unit) / std::round(1.0 / unit)
                      : std::round(dose / unit) * unit;
}

ReportData reportData(const Study& study, const EvaluationOptions& options,
                      const Evaluation& evaluation, const Messages& messages) {
    ReportData data{study, evaluation,          messages, {}, {}, 2, 0.0, {},
                    {},    RoundStep(0.001, 1), {},       {}, {}};
    describeUnit(evaluation.dose, data);
    if (evaluation.dose) {
        data.maximumDose = evaluation.dose->values.MinMax().maximum * evaluation.dose->scale;
    }
    if (!std::isfinite(data.maximumDose)) {
        data.maximumDose = 0.0;
    }
    if (data.maximumDose > 0.0) {
        data.doseStep = RoundStep(data.maximumDose, kCurveSteps);
        data.doseDecimals = decimalsFor(data.maximumDose);
    }
    chooseLevels(options.doseLevels, data);
    std::vector<std::string> names;
    for (const EvaluatedStructure& structure : evaluation.structures) {
        stopIfInterrupted();
        if (structure.isTarget && !data.target) {
            data.target = data.structures.size();
        }
        data.structures.push_back(figuresOf(structure, data));
        names.push_back(structure.name);
    }
    for (const std::string& name : fileNames(names)) {
        data.labelMaps.push_back(name + ".nrrd");
    }
    return data;
}

}  // namespace app::report
