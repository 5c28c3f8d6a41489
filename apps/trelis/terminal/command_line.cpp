#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <optional>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <apps/trelis/terminal/command_line.h>

namespace app {
namespace {

constexpr const char* kAbout =
    "Trelis: from a DICOM study to an evaluated treatment plan.\n"
    "Not a medical device: check every number before it is used for a patient.";

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0    done\n"
    "  1    the command line asks for something that cannot be\n"
    "  2    failed, nothing was written\n"
    "  3    done, but something of the study had to be left out; the messages say what\n"
    "  130  cancelled with Ctrl-C, nothing was written\n";

constexpr const char* kEvaluateAbout =
    "Evaluate the study in a folder: image volume, structures, dose sum, dose-volume histograms "
    "and leaf positions. Writes report.html, dvh.csv, plan.json and a label map (NRRD) of each "
    "structure.";

constexpr int kMostPhantomPixels = 2048;

std::optional<double> numberFrom(std::string_view text) {
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

/// NAME=NUMBER, split at the last "=", since names may contain it.
std::pair<std::string, double> namedNumber(const std::string& text) {
    const std::size_t sign = text.rfind('=');
    const auto value = sign == std::string::npos
                           ? std::nullopt
                           : numberFrom(std::string_view(text).substr(sign + 1));
    if (!value || sign == 0) {
        throw CLI::ValidationError(fmt::format("\"{}\" is not of the form NAME=NUMBER", text));
    }
    return {text.substr(0, sign), *value};
}

void requireWeight(double weight, const std::string& text) {
    if (!(weight > 0.0)) {
        throw CLI::ValidationError(
            fmt::format("--weight {}: a weight has to be a positive number", text));
    }
}

void setWeights(const std::vector<std::string>& texts, EvaluationOptions& options) {
    for (const std::string& text : texts) {
        if (const auto value = numberFrom(text)) {
            requireWeight(*value, text);
            options.defaultWeight = *value;
        } else {
            options.weights.push_back(namedNumber(text));
            requireWeight(options.weights.back().second, text);
        }
    }
}

/// One beam per gantry angle; collimator and couch have as many angles, one for all, or none (0).
std::vector<Beam> beamsFrom(const std::vector<double>& gantry,
                            const std::vector<double>& collimator,
                            const std::vector<double>& couch) {
    const auto angle = [&](const std::vector<double>& angles, std::size_t i, const char* option) {
        if (angles.size() > 1 && angles.size() != gantry.size()) {
            throw CLI::ValidationError(fmt::format("{} has {} angles for {} gantry angles", option,
                                                   angles.size(), gantry.size()));
        }
        const double degrees = angles.empty() ? 0.0 : angles[angles.size() == 1 ? 0 : i];
        return degrees * std::numbers::pi / 180.0;
    };
    if (gantry.empty() && !(collimator.empty() && couch.empty())) {
        throw CLI::ValidationError("--collimator and --couch need --gantry");
    }
    constexpr double kCentreOfTarget = std::numeric_limits<double>::quiet_NaN();
    std::vector<Beam> beams;
    for (std::size_t i = 0; i < gantry.size(); ++i) {
        Beam beam;
        beam.number = static_cast<int>(i) + 1;
        beam.name = fmt::format("Gantry {:g}", gantry[i]);
        beam.geometry.gantryAngle = angle(gantry, i, "--gantry");
        beam.geometry.collimatorAngle = angle(collimator, i, "--collimator");
        beam.geometry.couchAngle = angle(couch, i, "--couch");
        beam.geometry.isocentre = {kCentreOfTarget, kCentreOfTarget, kCentreOfTarget};
        beam.patientPosition.clear();
        beams.push_back(std::move(beam));
    }
    return beams;
}

std::filesystem::path defaultCacheDirectory() {
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache != nullptr && *cache != '\0') {
        return std::filesystem::path(cache) / "trelis";
    }
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return std::filesystem::path(home) / ".cache" / "trelis";
    }
    return {};
}

/// Options that are converted after parsing.
struct Texts {
    std::vector<std::string> margins;
    std::vector<std::string> weights;
    std::vector<double> gantry;
    std::vector<double> collimator;
    std::vector<double> couch;
    std::filesystem::path cache = defaultCacheDirectory();
    bool noCache = false;
};

/// One value each time the option is given, so that what follows is not taken for another.
void repeatable(CLI::Option* option) { option->allow_extra_args(false); }

void listOfNumbers(CLI::Option* option) { option->allow_extra_args(false)->delimiter(','); }

void addEdits(CLI::App& command, EvaluationOptions& options, Texts& texts) {
    command
        .add_option("--target", options.target,
                    "Structure that the beams are fitted to; by default the first PTV, CTV or GTV")
        ->type_name("NAME");
    repeatable(command
                   .add_option("--margin", texts.margins,
                               "Grow a structure by millimetres, or shrink it by negative ones; "
                               "repeatable")
                   ->type_name("NAME=MM"));
    repeatable(command
                   .add_option("--subtract", options.subtractions,
                               "Subtract a structure from the target; repeatable")
                   ->type_name("NAME"));
    command
        .add_option("--keep-largest", options.keepLargest,
                    "Keep the N largest connected parts of the target")
        ->type_name("N")
        ->check(CLI::Range(1, 1000));
    command.add_option("--undo", options.undo, "Take the last N edits of the target back")
        ->type_name("N")
        ->check(CLI::Range(0, 1000));
}

void addDose(CLI::App& command, EvaluationOptions& options, Texts& texts) {
    repeatable(command
                   .add_option("--weight", texts.weights,
                               "Weight of a dose, named by its file, UID or number, or of all "
                               "others; positive; repeatable")
                   ->type_name("DOSE=W|W"));
    listOfNumbers(command
                      .add_option("--level", options.doseLevels,
                                  "Report the volume that gets at least these doses")
                      ->type_name("GY,...")
                      ->check(CLI::Range(1e-6, 1e6)));
    command
        .add_option("--fine", options.fineStep,
                    "Histograms with cells of this size, for small structures (such as 0.5)")
        ->type_name("MM")
        ->check(CLI::Range(0.01, 10.0));
}

void addBeams(CLI::App& command, Texts& texts) {
    listOfNumbers(command
                      .add_option("--gantry", texts.gantry,
                                  "Fit beams at these gantry angles (IEC 61217), towards the "
                                  "centre of the target, instead of the plan's beams")
                      ->type_name("DEG,..."));
    listOfNumbers(command
                      .add_option("--collimator", texts.collimator,
                                  "Their collimator angles, or one for all; 0 by default")
                      ->type_name("DEG,..."));
    listOfNumbers(
        command
            .add_option("--couch", texts.couch, "Their couch angles, or one for all; 0 by default")
            ->type_name("DEG,..."));
}

void addChoices(CLI::App& command, StudyChoice& choice) {
    command.add_option("--series", choice.series, "Which image series, by its UID")
        ->type_name("UID");
    command.add_option("--structures", choice.structures, "Which structure set")
        ->type_name("UID|FILE");
    command.add_option("--plan", choice.plan, "Which plan")->type_name("UID|FILE");
}

void addEvaluate(CLI::App& command, CommandLine& result, Texts& texts) {
    command.add_option("study", result.folder, "Folder with the DICOM files, searched recursively")
        ->required();
    command.add_option("-o,--output", result.output, "Folder for the results")->required();
    addEdits(command, result.evaluation, texts);
    addDose(command, result.evaluation, texts);
    addBeams(command, texts);
    addChoices(command, result.choice);
    command.add_option("--cache", texts.cache, "Folder for the cache of image volumes")
        ->type_name("DIR")
        ->capture_default_str();
    command.add_flag("--no-cache", texts.noCache, "Build the image volume anew");
}

void finishEvaluate(const Texts& texts, CommandLine& result) {
    for (const std::string& text : texts.margins) {
        result.evaluation.margins.push_back(namedNumber(text));
    }
    setWeights(texts.weights, result.evaluation);
    result.evaluation.beams = beamsFrom(texts.gantry, texts.collimator, texts.couch);
    for (const auto* angles : {&texts.gantry, &texts.collimator, &texts.couch}) {
        for (const double angle : *angles) {
            if (!std::isfinite(angle)) {
                throw CLI::ValidationError("an angle is not a number");
            }
        }
    }
    if (!texts.noCache) {
        result.evaluation.cacheDirectory = texts.cache;
    }
}

void addPhantom(CLI::App& command, CommandLine& result) {
    command.add_option("folder", result.folder, "New folder for the study")->required();
    const auto size = CLI::Range(16, kMostPhantomPixels);
    command.add_option("--columns", result.phantom.columns, "Pixels across")
        ->check(size)
        ->capture_default_str();
    command.add_option("--rows", result.phantom.rows, "Pixels down")
        ->check(size)
        ->capture_default_str();
    command.add_option("--planes", result.phantom.planes, "Images")
        ->check(CLI::Range(4, kMostPhantomPixels))
        ->capture_default_str();
}

}  // namespace

bool parseCommandLine(int count, const char* const* arguments, CommandLine& result, int& exitCode) {
    CLI::App program(kAbout, "trelis");
    program.footer(kExitCodes);
    program.set_version_flag("--version", TRELIS_VERSION);
    program.require_subcommand(1);
    program.fallthrough();
    program.add_flag("-q,--quiet", result.quiet, "Print nothing but warnings and faults");

    Texts texts;
    CLI::App* evaluate = program.add_subcommand("evaluate", kEvaluateAbout);
    addEvaluate(*evaluate, result, texts);
    CLI::App* phantom = program.add_subcommand(
        "phantom",
        "Write a synthetic study, whose volumes and histograms are known, into a new folder.");
    addPhantom(*phantom, result);
    CLI::App* info =
        program.add_subcommand("info", "Print what is in a folder, a line per object.");
    info->add_option("study", result.folder, "Folder with the DICOM files, searched recursively")
        ->required();

    try {
        program.parse(count, arguments);
        if (evaluate->parsed()) {
            result.command = CommandLine::Command::Evaluate;
            finishEvaluate(texts, result);
        } else if (phantom->parsed()) {
            result.command = CommandLine::Command::Phantom;
        }
        return true;
    } catch (const CLI::ParseError& error) {
        exitCode = program.exit(error) == 0 ? kDone : kBadCommand;
        return false;
    }
}

}  // namespace app
