#include <cstddef>
#include <string>

#include <apps/trelis/report/coverage.h>
#include <apps/trelis/report/message_list.h>
#include <apps/trelis/report/statistics_table.h>
#include <apps/trelis/report/study_sections.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

Markup tile(std::string_view label, std::string_view value, std::string_view unit) {
    return markup("<li><span>{}</span><strong>{}</strong> {}</li>\n", label, value, unit);
}

std::string orElse(const std::string& text, const char* otherwise) {
    return text.empty() ? otherwise : text;
}

/// A dose of the target, which may be that of a part of it.
Markup targetDose(std::string_view label, double dose, const trelis::DvhData& dvh,
                  const ReportData& data) {
    const std::string caveat = coverageCaveat(dvh);
    if (caveat.empty()) {
        return tile(label, doseText(dose, data), data.unit);
    }
    return markup(
        "<li class=\"doubtful\"><span>{}</span><strong>{}</strong> {}<small>{}</small></li>\n",
        label, doseText(dose, data), data.unit, caveat);
}

Markup targetTiles(const ReportData& data) {
    if (!data.target) {
        return {};
    }
    const EvaluatedStructure& target = data.evaluation.structures[*data.target];
    Markup tiles = markup("<li><span>Target {}</span><strong>{}</strong> cm³</li>\n",
                          named(target.name), volumeText(target.volume));
    if (target.dvh.IsValid()) {
        const DoseFigures& dose = data.structures[*data.target].dose;
        tiles += targetDose("Target D95", dose.d95, target.dvh, data);
        tiles += targetDose("Target mean", target.dvh.meanDose, target.dvh, data);
    }
    return tiles;
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
    Markup text = markup(
        "<bdi>{} {}</bdi><br/>{}, {} × {} × {} voxels of {:.3g} × {:.3g} × {:.3g} mm",
        shortened(image.modality), shortened(data.study.image ? data.study.image->description : ""),
        counted(image.slices, "slice"), place.xsize(), place.ysize(), place.zsize(), place.xres(),
        place.yres(), place.zres());
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
        "<header><p class=\"kind\">Plan evaluation</p><h1>{}</h1>\n"
        "<p class=\"muted\">{} · {}{}</p>\n<ul class=\"tiles\">\n{}</ul>"
        "</header>\n",
        named(orElse(study.patientName, "Unnamed patient")),
        named(orElse(study.patientId, "no patient ID")),
        named(orElse(study.description, "no study description")),
        study.plan && !study.plan->label.empty() ? markup(" · plan {}", named(study.plan->label))
                                                 : Markup{},
        tiles);
}

Markup readTable(const ReportData& data) {
    const Study& study = data.study;
    Markup facts = imageFact(data);
    facts += fact("Structures", study.structuresFile.empty()
                                    ? Markup{"none"}
                                    : markup("<bdi>{}</bdi>, {}, {}", study.structuresFile,
                                             named(orElse(study.structuresLabel, "no label")),
                                             counted(study.structures.size(), "structure")));
    facts += doseFact(data);
    facts += fact("Plan", study.plan ? markup("<bdi>{}</bdi>, {}, {}", study.plan->file,
                                              named(orElse(study.plan->label, "no label")),
                                              counted(study.plan->beams.size(), "beam"))
                                     : Markup{"none"});
    facts += fact("Skipped", markup("{} of other kinds", counted(study.skippedFiles, "file")));
    return markup(
        "<div class=\"scroll\"><table class=\"facts\"><tbody>\n{}</tbody></table></div>\n", facts);
}

}  // namespace app::report
