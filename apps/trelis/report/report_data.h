#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/report/round_step.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app::report {

/// The inside voxels of a segment, both corners inclusive.
struct VoxelBox {
    int low[3];
    int high[3];
};

/// Figures that are read off a histogram; NaN where it has none.
struct DoseFigures {
    double d98;
    double d95;
    double d50;
    double d2;
    /// For each of the report's levels the volume that receives at least that dose, cm3.
    std::vector<double> volumeAtLevel;
};

/// What is derived once from an evaluated structure and used by several files.
struct StructureFigures {
    /// Without a value where the segment is empty.
    std::optional<VoxelBox> box;
    DoseFigures dose;
    /// Volume in cm3 that receives at least 0, 1, 2 ... steps of dose, down to the first that is 0;
    /// empty without a histogram. The first is what lies inside the dose grid, of which all
    /// percentages are.
    std::vector<double> curve;

    double percent(double volume) const {
        return curve.empty() || !(curve.front() > 0.0) ? 0.0 : 100.0 * volume / curve.front();
    }
};

/// All that the files of an output tell, with what they share.
struct ReportData {
    const Study& study;
    const Evaluation& evaluation;
    const Messages& messages;

    /// The unit of doses: as a person reads it, and in the names of keys and columns.
    std::string unit;
    std::string unitKey;
    /// Digits after the point of a dose in the page.
    int doseDecimals = 2;

    /// The largest dose of the grid; 0 without one.
    double maximumDose = 0.0;
    /// The doses at which volumes are told: those asked for, which are in Gy, else round ones near
    /// these fractions of the largest dose.
    std::vector<double> levels;
    std::vector<double> levelFractions;
    /// Between the points of all curves.
    RoundStep doseStep{0.001, 1};
    /// These two as `evaluation.structures`.
    std::vector<StructureFigures> structures;
    /// Names of their files.
    std::vector<std::string> labelMaps;
    /// Which of them is the target.
    std::optional<std::size_t> target;
};

/// Refers to its arguments. `QAbortPressed` after Ctrl-C.
ReportData reportData(const Study& study, const EvaluationOptions& options,
                      const Evaluation& evaluation, const Messages& messages);

/// The dose with three significant digits.
double threeDigits(double dose);

}  // namespace app::report
