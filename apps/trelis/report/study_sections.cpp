#include <algorithm>
#include <cstddef>

#include <apps/trelis/report/statistics_table.h>
#include <apps/trelis/report/study_sections.h>

namespace app::report {
namespace {

Markup tile(std::string_view label, std::string_view value, std::string_view unit) {
    return markup("<li><span>{}</span><strong>{}</strong> {}</li>\n", label, value, unit);
}

std::string orElse(const std::string& text, const char* otherwise) {
    return text.empty() ? otherwise : text;
}

std::size_t countOf(const Messages& messages, Severity severity) {
    return static_cast<std::size_t>(
        std::count_if(messages.all().begin(), messages.all().end(),
                      [&](const Message& message) { return message.severity == severity; }));
}

Markup targetTiles(const ReportData& data) {
    const auto& structures = data.evaluation.structures;
    const auto target = std::find_if(structures.begin(), structures.end(),
                                     [](const auto& structure) { return structure.isTarget; });
    if (target == structures.end()) {
        return {};
    }
    Markup tiles = markup("<li><span>Target <bdi>{}</bdi></span><strong>{}</strong> cm³</li>\n",
                          target->name, volumeText(target->volume));
    if (target->dvh.IsValid()) {
        const DoseFigures& dose =
            data.structures[static_cast<std::size_t>(target - structures.begin())].dose;
        tiles += tile("Target D95", doseText(dose.d95, data), data.unit);
        tiles += tile("Target mean", doseText(target->dvh.meanDose, data), data.unit);
    }
    return tiles;
}

/// The number with its noun, which has a regular plural.
std::string counted(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/// A line of a table of two columns.
Markup fact(std::string_view label, const Markup& value) {
    return markup("<tr><th scope=\"row\">{}</th><td>{}</td></tr>\n", label, value);
}

Markup imageFact(const ReportData& data) {
    if (!data.evaluation.image) {
        return fact("Image", {data.study.image ? "no volume could be made of it" : "none"});
    }
    const ImageVolume& image = *data.evaluation.image;
    const FVoxelSpaceGeometry place = image.geometry();
    Markup text =
        markup("<bdi>{} {}</bdi><br/>{}, {} × {} × {} voxels of {:.3g} × {:.3g} × {:.3g} mm",
               image.modality, data.study.image ? data.study.image->description : "",
               counted(image.slices, "slice"), place.xsize(), place.ysize(), place.zsize(),
               place.xres(), place.yres(), place.zres());
    if (image.interpolatedPlanes != 0) {
        text += markup(", {} interpolated", counted(image.interpolatedPlanes, "plane"));
    }
    return fact("Image", text);
}

Markup doseFact(const ReportData& data) {
    if (!data.evaluation.dose) {
        return fact("Dose", {"none"});
    }
    const DoseSum& dose = *data.evaluation.dose;
    const FVoxelSpaceGeometry place = dose.geometry();
    Markup text;
    for (const DoseSum::Part& part : dose.parts) {
        text += markup("<bdi>{}</bdi>, weight {:g}<br/>", part.file, part.weight);
    }
    text += markup("largest {} {}, {} × {} × {} voxels of {:.3g} × {:.3g} × {:.3g} mm",
                   doseText(data.maximumDose, data), data.unit, place.xsize(), place.ysize(),
                   place.zsize(), place.xres(), place.yres(), place.zres());
    return fact("Dose", text);
}

Markup messageItem(const Message& message) {
    return markup("<li><bdi class=\"subject\">{}</bdi> <bdi>{}</bdi></li>\n", message.subject,
                  message.text);
}

Markup messagesOf(const Messages& messages, Severity severity, const char* kind,
                  const char* title) {
    constexpr std::size_t kUnfolded = 12;
    const std::size_t count = countOf(messages, severity);
    if (count == 0) {
        return {};
    }
    Markup first;
    Markup rest;
    std::size_t seen = 0;
    for (const Message& message : messages.all()) {
        if (message.severity == severity) {
            (seen++ < kUnfolded ? first : rest) += messageItem(message);
        }
    }
    if (!rest.text.empty()) {
        rest = markup("<details><summary>and {} more</summary><ul>\n{}</ul></details>\n",
                      count - kUnfolded, rest);
    }
    return markup(
        "<div class=\"messages {}\"><h3>{} <span class=\"count\">{}</span></h3>"
        "<ul>\n{}</ul>{}</div>\n",
        kind, title, count, first, rest);
}

}  // namespace

Markup headline(const ReportData& data) {
    const Study& study = data.study;
    Markup tiles = targetTiles(data);
    if (data.evaluation.dose) {
        tiles += tile("Largest dose", doseText(data.maximumDose, data), data.unit);
    }
    const std::size_t faults = countOf(data.messages, Severity::Fault);
    const std::size_t warnings = countOf(data.messages, Severity::Warning);
    tiles += markup("<li class=\"{}\"><span>Faults and warnings</span><strong>{}</strong></li>\n",
                    faults != 0     ? "has-faults"
                    : warnings != 0 ? "has-warnings"
                                    : "is-clean",
                    faults + warnings);
    return markup(
        "<header><p class=\"kind\">Plan evaluation</p><h1><bdi>{}</bdi></h1>\n"
        "<p class=\"muted\"><bdi>{}</bdi> · <bdi>{}</bdi>{}</p>\n<ul class=\"tiles\">\n{}</ul>"
        "</header>\n",
        orElse(study.patientName, "Unnamed patient"), orElse(study.patientId, "no patient ID"),
        orElse(study.description, "no study description"),
        study.plan && !study.plan->label.empty()
            ? markup(" · plan <bdi>{}</bdi>", study.plan->label)
            : Markup{},
        tiles);
}

Markup messageList(const Messages& messages) {
    Markup lists = messagesOf(messages, Severity::Fault, "faults", "Left out");
    lists += messagesOf(messages, Severity::Warning, "warnings", "Warnings");
    lists += messagesOf(messages, Severity::Note, "notes", "Notes");
    return lists;
}

Markup readTable(const ReportData& data) {
    const Study& study = data.study;
    Markup facts = imageFact(data);
    facts +=
        fact("Structures", study.structuresFile.empty()
                               ? Markup{"none"}
                               : markup("<bdi>{}</bdi>, <bdi>{}</bdi>, {}", study.structuresFile,
                                        orElse(study.structuresLabel, "no label"),
                                        counted(study.structures.size(), "structure")));
    facts += doseFact(data);
    facts += fact("Plan", study.plan ? markup("<bdi>{}</bdi>, <bdi>{}</bdi>, {}", study.plan->file,
                                              orElse(study.plan->label, "no label"),
                                              counted(study.plan->beams.size(), "beam"))
                                     : Markup{"none"});
    facts += fact("Skipped", markup("{} of other kinds", counted(study.skippedFiles, "file")));
    return markup(
        "<div class=\"scroll\"><table class=\"facts\"><tbody>\n{}</tbody></table></div>\n", facts);
}

}  // namespace app::report
