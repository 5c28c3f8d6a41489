#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include <fmt/format.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/dose_reader.h>
#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/dicom/image_plane.h>
#include <apps/trelis/dicom/plan_reader.h>
#include <apps/trelis/dicom/read_study.h>
#include <apps/trelis/dicom/text.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

using Objects = std::vector<const FoundObject*>;

/// Enough of a UID to tell it from others.
std::string endOf(const std::string& uid) {
    constexpr std::size_t kLength = 8;
    return uid.size() <= kLength ? uid : "..." + uid.substr(uid.size() - kLength);
}

std::string withComma(const std::string& text) { return text.empty() ? "" : ", " + inQuotes(text); }

/// The most frequent distance of neighbouring slices in steps of a micrometre, in words.
std::string separationOf(const Objects& series) {
    std::vector<double> heights;
    for (const FoundObject* image : series) {
        if (!std::isnan(image->height)) {
            heights.push_back(image->height);
        }
    }
    std::sort(heights.begin(), heights.end());
    std::map<long, int> counts;
    for (std::size_t i = 1; i < heights.size(); ++i) {
        ++counts[std::lround((heights[i] - heights[i - 1]) * 1000.0)];
    }
    const auto most =
        std::max_element(counts.begin(), counts.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    return most == counts.end()
               ? ""
               : fmt::format(", {} mm apart", static_cast<double>(most->first) / 1000.0);
}

std::string describeSeries(const Objects& series) {
    const FoundObject& first = *series.front();
    const DicomFile file(first.path, DicomFile::Extent::BeforePixels);
    const ImagePlane plane(file.attributes());
    return fmt::format("{} series of {} images, {} x {} pixels of {} x {} mm{}{}, UID {}",
                       first.modality, series.size(), plane.columns, plane.rows,
                       plane.columnSpacing, plane.rowSpacing, separationOf(series),
                       withComma(first.seriesDescription), endOf(first.seriesUid));
}

std::string describeStructures(const FoundObject& object) {
    const DicomFile file(object.path, DicomFile::Extent::BeforePixels);
    const AttributeReader attributes = file.attributes();
    return fmt::format("RTSTRUCT {}: {} structures with {} contours{}", object.file,
                       attributes.items(DCM_StructureSetROISequence).size(), object.contours,
                       withComma(attributes.text(DCM_StructureSetLabel)));
}

std::string describeDose(const FoundObject& object, Messages& messages) {
    const DoseGrid dose = readDose(object, messages);
    const QVolume<unsigned int>& grid = dose.values;
    return fmt::format(
        "RTDOSE {}: {} x {} x {} voxels of {} x {} x {} mm, {}, at most {:.4g} {}", object.file,
        grid.GetXSize(), grid.GetYSize(), grid.GetZSize(), grid.GetXResMM(), grid.GetYResMM(),
        grid.GetZResMM(), dose.summationType.empty() ? "no summation type" : dose.summationType,
        grid.MinMax().maximum * dose.scale, dose.units == "GY" ? "Gy" : "(relative)");
}

std::string describePlan(const FoundObject& object, Messages& messages) {
    const Plan plan = readPlan(object, messages);
    std::string beams;
    for (const Beam& beam : plan.beams) {
        beams += (beams.empty() ? ": " : ", ") + inQuotes(beam.name);
    }
    return fmt::format("RTPLAN {}{}, {} beams{}", object.file, withComma(plan.label),
                       plan.beams.size(), beams);
}

std::string describe(const FoundObject& object, Messages& messages) {
    switch (object.kind) {
        case ObjectKind::Structures:
            return describeStructures(object);
        case ObjectKind::Dose:
            return describeDose(object, messages);
        default:
            return describePlan(object, messages);
    }
}

}  // namespace

std::vector<std::string> describeFolder(const std::filesystem::path& folder, Messages& messages,
                                        Phases& phases) {
    const FoundObjects found = findObjects(folder, messages, phases);
    std::map<std::pair<std::string, std::string>, Objects> allSeries;
    Objects others;
    for (const FoundObject& object : found.objects) {
        const bool isImage = object.kind == ObjectKind::Image;
        (isImage ? allSeries[{object.modality, object.seriesUid}] : others).push_back(&object);
    }
    std::stable_sort(others.begin(), others.end(),
                     [](const auto* a, const auto* b) { return a->kind < b->kind; });

    std::vector<std::string> lines;
    const auto add = [&](const FoundObject& object, auto describeIt) {
        stopIfInterrupted();
        reportUnusable(object.file, messages, [&] { lines.push_back(describeIt()); });
    };
    for (const auto& entry : allSeries) {
        const Objects& series = entry.second;
        add(*series.front(), [&] { return describeSeries(series); });
    }
    for (const FoundObject* object : others) {
        add(*object, [&] { return describe(*object, messages); });
    }
    lines.push_back(fmt::format("other files skipped: {}", found.skippedFiles));
    return lines;
}

}  // namespace app
