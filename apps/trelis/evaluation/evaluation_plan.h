#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <apps/trelis/evaluation/evaluation.h>
#include <apps/trelis/study/study.h>

namespace app {

/// What the options of an evaluation ask of a study; structures by their index there.
struct EvaluationPlan {
    struct Margin {
        std::size_t structure;
        double millimetres;
    };

    std::optional<std::size_t> target;
    std::vector<Margin> margins;
    std::vector<std::size_t> subtractions;
    /// One for each dose.
    std::vector<double> weights;

    /// The sum of what a structure is grown by, and the smallest margin that it gets; 0 without
    /// margins.
    double growth(std::size_t structure) const;
    double smallestMargin(std::size_t structure) const;
};

/// Checks the options before any work. std::invalid_argument, with a text for the person who gave
/// them, for names that do not exist (in any case of letters, where that is clear) and numbers that
/// make no sense.
EvaluationPlan planEvaluation(const Study& study, const EvaluationOptions& options);

}  // namespace app
