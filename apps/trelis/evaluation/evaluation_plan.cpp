#include <apps/trelis/evaluation/evaluation_plan.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace app {

namespace {

/// Millimetres.
constexpr double kLargestMargin = 100.0;

/// Kinds of targets, the most wanted first.
constexpr std::string_view kTargetTypes[] = {"PTV", "CTV", "GTV"};
constexpr std::string_view kExternalType = "EXTERNAL";

template <typename... Values>
[[noreturn]] void refuse(fmt::format_string<Values...> text, Values&&... values) {
    throw std::invalid_argument(fmt::format(text, std::forward<Values>(values)...));
}

bool isPositive(double value) { return value > 0.0 && std::isfinite(value); }

std::string lowerCase(std::string_view text) {
    std::string lower;
    for (const char c : text) {
        lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    }
    return lower;
}

std::string listOf(const std::vector<std::string>& names) {
    return names.empty() ? "none" : fmt::format("\"{}\"", fmt::join(names, "\", \""));
}

std::size_t structureNamed(const Study& study, const std::string& name) {
    std::vector<std::size_t> alike;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < study.structures.size(); ++i) {
        names.push_back(study.structures[i].name);
        if (names.back() == name) {
            return i;
        }
        if (lowerCase(names.back()) == lowerCase(name)) {
            alike.push_back(i);
        }
    }
    if (alike.size() != 1) {
        refuse("{} \"{}\"; the structures are {}",
               alike.empty() ? "there is no structure" : "several structures could be meant by",
               name, listOf(names));
    }
    return alike.front();
}

/// The first PTV, CTV or GTV by type, else by the beginning of the name, else what is no outline
/// of the patient.
std::optional<std::size_t> defaultTarget(const Study& study) {
    const auto first = [&](const auto& isWanted) -> std::optional<std::size_t> {
        const auto found = std::find_if(study.structures.begin(), study.structures.end(), isWanted);
        return found == study.structures.end()
                   ? std::nullopt
                   : std::optional<std::size_t>(found - study.structures.begin());
    };
    for (const bool byName : {false, true}) {
        for (const std::string_view type : kTargetTypes) {
            const auto found = first([&](const Structure& structure) {
                return byName ? lowerCase(structure.name).starts_with(lowerCase(type))
                              : structure.type == type;
            });
            if (found) {
                return found;
            }
        }
    }
    return first([](const Structure& structure) { return structure.type != kExternalType; });
}

void checkEditsOfTarget(const EvaluationOptions& options, const EvaluationPlan& plan) {
    const auto margins = std::count_if(
        plan.margins.begin(), plan.margins.end(),
        [&](const EvaluationPlan::Margin& margin) { return margin.structure == plan.target; });
    const auto edits = margins + static_cast<std::ptrdiff_t>(plan.subtractions.size()) +
                       (options.keepLargest ? 1 : 0);
    if (!plan.target && (edits > 0 || options.undo > 0)) {
        refuse("there is no target to edit");
    }
    if (options.keepLargest && *options.keepLargest < 1) {
        refuse("{} is no number of parts to keep", *options.keepLargest);
    }
    if (options.undo < 0 || options.undo > edits) {
        refuse("{} edits cannot be taken back: the target has {}", options.undo, edits);
    }
}

bool isDoseCalled(const DoseGrid& dose, const std::string& key) {
    return dose.file == key || dose.instanceUid == key ||
           std::string_view(dose.file).ends_with("/" + key);
}

std::size_t doseCalled(const Study& study, const std::string& key) {
    std::vector<std::string> names;
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < study.doses.size(); ++i) {
        names.push_back(fmt::format("{} (number {})", study.doses[i].file, i + 1));
        if (isDoseCalled(study.doses[i], key) || key == std::to_string(i + 1)) {
            found.push_back(i);
        }
    }
    if (found.size() != 1) {
        refuse("{} \"{}\"; the doses are {}",
               found.empty() ? "there is no dose" : "several doses could be meant by", key,
               listOf(names));
    }
    return found.front();
}

std::vector<double> weightsOf(const Study& study, const EvaluationOptions& options) {
    constexpr auto kBadWeight = "the weight {} is not above 0 and finite";
    if (!isPositive(options.defaultWeight)) {
        refuse(kBadWeight, options.defaultWeight);
    }
    std::vector<double> weights(study.doses.size(), options.defaultWeight);
    std::vector<bool> isGiven(study.doses.size());
    for (const auto& [key, weight] : options.weights) {
        const std::size_t dose = doseCalled(study, key);
        if (!isPositive(weight)) {
            refuse(kBadWeight, weight);
        }
        if (isGiven[dose]) {
            refuse("the dose {} is given two weights", study.doses[dose].file);
        }
        isGiven[dose] = true;
        weights[dose] = weight;
    }
    return weights;
}

}  // namespace

double EvaluationPlan::growth(std::size_t structure) const {
    double sum = 0.0;
    for (const Margin& margin : margins) {
        sum += margin.structure == structure ? std::max(margin.millimetres, 0.0) : 0.0;
    }
    return sum;
}

double EvaluationPlan::smallestMargin(std::size_t structure) const {
    double smallest = 0.0;
    for (const Margin& margin : margins) {
        const double size = margin.structure == structure ? std::abs(margin.millimetres) : 0.0;
        if (size > 0.0 && (smallest == 0.0 || size < smallest)) {
            smallest = size;
        }
    }
    return smallest;
}

EvaluationPlan planEvaluation(const Study& study, const EvaluationOptions& options) {
    EvaluationPlan plan;
    plan.target = options.target ? structureNamed(study, *options.target) : defaultTarget(study);
    for (const auto& [name, millimetres] : options.margins) {
        const std::size_t structure = structureNamed(study, name);
        if (!(std::abs(millimetres) <= kLargestMargin)) {
            refuse("{} mm is no margin; it may be {} mm at most", millimetres, kLargestMargin);
        }
        plan.margins.push_back({structure, millimetres});
    }
    for (const std::string& name : options.subtractions) {
        plan.subtractions.push_back(structureNamed(study, name));
        if (plan.subtractions.back() == plan.target) {
            refuse("the target \"{}\" cannot be subtracted from itself", name);
        }
    }
    checkEditsOfTarget(options, plan);
    plan.weights = weightsOf(study, options);
    if (options.fineStep && !isPositive(*options.fineStep)) {
        refuse("{} mm is no size for the cells of histograms", *options.fineStep);
    }
    return plan;
}

}  // namespace app
