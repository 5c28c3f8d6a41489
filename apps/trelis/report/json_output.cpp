#include <cmath>
#include <cstddef>
#include <numbers>

#include <nlohmann/json.hpp>

#include <apps/trelis/report/colours.h>
#include <apps/trelis/report/json_output.h>

namespace app::report {
namespace {

using Json = nlohmann::ordered_json;

Json arrayOf(const Vector& v) { return {v.x, v.y, v.z}; }

Json transformOf(const MMatrix& m) {
    Json rows = Json::array();
    for (int i = 0; i < 4; ++i) {
        rows.push_back(arrayOf(m.GetVector(i)));
    }
    return rows;
}

/// The place of a grid: its sizes, voxel edges and transform.
Json gridOf(const FVoxelSpaceGeometry& place) {
    return {{"size", {place.xsize(), place.ysize(), place.zsize()}},
            {"voxel_size_mm", {place.xres(), place.yres(), place.zres()}},
            {"transform_mm", transformOf(place.GetTransform())}};
}

/// Degrees, without the digits that the way to radians and back brings.
double degrees(double radians) {
    constexpr double kDigits = 1e9;
    return std::round(radians * 180.0 / std::numbers::pi * kDigits) / kDigits;
}

Json studyOf(const Study& study) {
    Json doses = Json::array();
    for (const DoseGrid& dose : study.doses) {
        doses.push_back({{"file", dose.file},
                         {"instance_uid", dose.instanceUid},
                         {"plan_uid", dose.planUid},
                         {"summation_type", dose.summationType},
                         {"units", dose.units}});
    }
    Json result = {{"patient_name", study.patientName},
                   {"patient_id", study.patientId},
                   {"description", study.description},
                   {"structures_file", study.structuresFile},
                   {"structures_label", study.structuresLabel},
                   {"image_series", nullptr},
                   {"doses", doses},
                   {"plan", nullptr},
                   {"skipped_files", study.skippedFiles}};
    if (study.image) {
        result["image_series"] = {{"series_uid", study.image->seriesUid},
                                  {"frame_of_reference_uid", study.image->frameUid},
                                  {"modality", study.image->modality},
                                  {"description", study.image->description},
                                  {"files", study.image->slices.size()}};
    }
    if (study.plan) {
        result["plan"] = {{"file", study.plan->file},
                          {"instance_uid", study.plan->instanceUid},
                          {"label", study.plan->label}};
    }
    return result;
}

Json imageOf(const std::optional<ImageVolume>& image) {
    if (!image) {
        return nullptr;
    }
    Json result = {
        {"modality", image->modality},          {"slices", image->slices},
        {"real_planes", image->realPlanes},     {"interpolated_planes", image->interpolatedPlanes},
        {"pixel_slope", image->pixelSlope},     {"pixel_offset", image->pixelOffset},
        {"rescale_slope", image->rescaleSlope}, {"rescale_intercept", image->rescaleIntercept}};
    result.update(gridOf(image->geometry()));
    return result;
}

Json doseOf(const std::optional<DoseSum>& dose, const ReportData& data) {
    if (!dose) {
        return nullptr;
    }
    Json parts = Json::array();
    for (const DoseSum::Part& part : dose->parts) {
        parts.push_back({{"file", part.file}, {"weight", part.weight}});
    }
    Json result = {{"units", dose->units},
                   {"scale_" + data.unitKey, dose->scale},
                   {"maximum_" + data.unitKey, data.maximumDose},
                   {"parts", parts}};
    result.update(gridOf(dose->geometry()));
    return result;
}

Json statisticsOf(const trelis::DvhData& dvh, const StructureFigures& figures,
                  const ReportData& data) {
    const auto key = [&](const char* name) { return name + ("_" + data.unitKey); };
    Json levels = Json::array();
    for (std::size_t i = 0; i < data.levels.size(); ++i) {
        const double volume = figures.dose.volumeAtLevel[i];
        levels.push_back({{"dose_" + data.unitKey, data.levels[i]},
                          {"volume_cm3", volume},
                          {"volume_percent", figures.percent(volume)}});
    }
    return {
        {"volume_cm3", dvh.volume},
        {"dose_coverage", dvh.doseCoverage},
        {"sampling_coverage", dvh.samplingCoverage},
        {"covered_voxels", dvh.coveredVoxelCount},
        {key("minimum_dose"), dvh.minDose},
        {"minimum_dose_position_mm", arrayOf(dvh.minDosePosition)},
        {key("maximum_dose"), dvh.maxDose},
        {"maximum_dose_position_mm", arrayOf(dvh.maxDosePosition)},
        {key("mean_dose"), dvh.meanDose},
        {key("median_dose"), dvh.medianDose},
        {key("modal_dose"), dvh.modalDose},
        {key("standard_deviation"), dvh.standardDeviation},
        {key("d98"), figures.dose.d98},
        {key("d95"), figures.dose.d95},
        {key("d50"), figures.dose.d50},
        {key("d2"), figures.dose.d2},
        {"volume_at_dose", levels},
        {"cumulative_histogram",
         {{"dose_step_" + data.unitKey, data.doseStep.times(1)}, {"volumes_cm3", figures.curve}}}};
}

Json editsOf(const std::vector<Edit>& edits) {
    Json result = Json::array();
    for (const Edit& edit : edits) {
        result.push_back({{"description", edit.description},
                          {"volume_before_cm3", edit.volumeBefore},
                          {"volume_after_cm3", edit.volumeAfter},
                          {"undo_bytes", edit.undoBytes},
                          {"undone", edit.undone}});
    }
    return result;
}

Json structureOf(const EvaluatedStructure& structure, const StructureFigures& figures,
                 const std::string& file, const ReportData& data) {
    Json result = {{"name", structure.name},
                   {"type", structure.type},
                   {"colour", hex(structure.colour)},
                   {"target", structure.isTarget},
                   {"label_map", file},
                   {"volume_cm3", structure.volume},
                   {"interpolated_planes", structure.interpolatedPlanes},
                   {"grid", gridOf(structure.geometry)},
                   {"edits", editsOf(structure.edits)},
                   {"dose", nullptr}};
    if (structure.dvh.IsValid()) {
        result["dose"] = statisticsOf(structure.dvh, figures, data);
    }
    return result;
}

Json jawsOf(const NControlPoint::Collimator& jaws) {
    return {{"x1", jaws.X1}, {"x2", jaws.X2}, {"y1", jaws.Y1}, {"y2", jaws.Y2}};
}

Json outlineOf(const Glyph& outline) {
    Json contours = Json::array();
    for (const std::vector<EdgePoint>& contour : outline) {
        Json points = Json::array();
        for (const EdgePoint& point : contour) {
            points.push_back({point.x, point.y});
        }
        contours.push_back(std::move(points));
    }
    return contours;
}

Json beamOf(const EvaluatedBeam& fitted) {
    const Beam& beam = fitted.beam;
    return {{"number", beam.number},
            {"name", beam.name},
            {"patient_position", beam.patientPosition},
            {"gantry_angle_deg", degrees(beam.geometry.gantryAngle)},
            {"collimator_angle_deg", degrees(beam.geometry.collimatorAngle)},
            {"couch_angle_deg", degrees(beam.geometry.couchAngle)},
            {"isocentre_mm", arrayOf(beam.geometry.isocentre)},
            {"source_axis_distance_mm", beam.geometry.sourceAxisDistance},
            {"further_shapes", beam.furtherShapes},
            {"leaves_along", beam.leavesAlongY ? "y" : "x"},
            {"target_outline_mm", outlineOf(fitted.outline)},
            {"fitted",
             {{"leaf_boundaries_mm", fitted.leafBoundaries},
              {"left_mm", fitted.left},
              {"right_mm", fitted.right},
              {"jaws_mm", jawsOf(fitted.jaws)}}},
            {"planned",
             {{"leaf_boundaries_mm", beam.leafBoundaries},
              {"left_mm", beam.plannedLeft},
              {"right_mm", beam.plannedRight},
              {"jaws_mm", jawsOf(beam.plannedJaws)}}}};
}

Json messagesOf(const Messages& messages) {
    Json result = Json::array();
    for (const Message& message : messages.all()) {
        static constexpr const char* kNames[] = {"note", "warning", "fault"};
        result.push_back({{"severity", kNames[static_cast<int>(message.severity)]},
                          {"subject", message.subject},
                          {"text", message.text}});
    }
    return result;
}

bool holdsObjects(const Json& value) {
    return value.is_object() || (value.is_array() && !value.empty() && holdsObjects(value.front()));
}

/// A line per key or object; arrays of numbers stay on one.
void print(const Json& value, std::size_t indent, std::string& out) {
    if (!holdsObjects(value) || value.empty()) {
        out += value.dump(-1, ' ', false, Json::error_handler_t::replace);
        return;
    }
    const bool object = value.is_object();
    out += object ? '{' : '[';
    const char* separator = "\n";
    for (const auto& item : value.items()) {
        out += separator;
        out.append(indent + 2, ' ');
        if (object) {
            out += Json(item.key()).dump(-1, ' ', false, Json::error_handler_t::replace) + ": ";
        }
        print(item.value(), indent + 2, out);
        separator = ",\n";
    }
    out += '\n';
    out.append(indent, ' ');
    out += object ? '}' : ']';
}

}  // namespace

std::string jsonOf(const ReportData& data) {
    Json structures = Json::array();
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        structures.push_back(structureOf(data.evaluation.structures[s], data.structures[s],
                                         data.labelMaps[s], data));
    }
    Json beams = Json::array();
    for (const EvaluatedBeam& beam : data.evaluation.beams) {
        beams.push_back(beamOf(beam));
    }
    const Json result = {{"study", studyOf(data.study)},
                         {"image", imageOf(data.evaluation.image)},
                         {"structures", structures},
                         {"dose_sum", doseOf(data.evaluation.dose, data)},
                         {"beams", beams},
                         {"messages", messagesOf(data.messages)}};
    std::string text;
    print(result, 0, text);
    return text + '\n';
}

}  // namespace app::report
