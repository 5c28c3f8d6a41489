#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/plan_reader.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

constexpr double kDefaultSourceAxisDistance = 1000.0;  // mm
constexpr double kFarthestLeaf = 1e4;                  // mm
constexpr double kFarthestSource = 1e5;                // mm
constexpr double kLargestAngle = 360.0;                // degrees

constexpr std::size_t kMostBeams = 4096;

/// What a control point sets; what it does not say stays as it was before.
struct Shape {
    std::array<double, 3> angles{};  ///< gantry, collimator, couch, degrees
    std::map<std::string, std::vector<double>> positions;

    friend bool operator==(const Shape&, const Shape&) = default;
};

std::array<DcmTagKey, 3> angleTags() {
    return {DCM_GantryAngle, DCM_BeamLimitingDeviceAngle, DCM_PatientSupportAngle};
}

double radians(double degrees) { return degrees * std::numbers::pi / 180.0; }

bool isMultileafCollimator(std::string_view type) { return type.substr(0, 3) == "MLC"; }

/// Places of leaves or jaws in the plane through the isocentre.
std::vector<double> placesOf(const AttributeReader& device, const DcmTagKey& tag) {
    std::vector<double> places = device.numbers(tag);
    if (std::any_of(places.begin(), places.end(),
                    [](double place) { return std::abs(place) > kFarthestLeaf; })) {
        throw Unusable(fmt::format("has {} far outside any collimator", nameInWords(tag)));
    }
    return places;
}

void applyControlPoint(const AttributeReader& point, Shape& shape) {
    const std::array<DcmTagKey, 3> tags = angleTags();
    for (std::size_t i = 0; i < tags.size(); ++i) {
        shape.angles[i] = point.findNumber(tags[i]).value_or(shape.angles[i]);
        if (std::abs(shape.angles[i]) > kLargestAngle) {
            throw Unusable(fmt::format("has a {} of {} degrees, which cannot be",
                                       nameInWords(tags[i]), shape.angles[i]));
        }
    }
    for (const AttributeReader& device : point.items(DCM_BeamLimitingDevicePositionSequence)) {
        shape.positions[device.text(DCM_RTBeamLimitingDeviceType)] =
            placesOf(device, DCM_LeafJawPositions);
    }
}

Shape firstShape(const AttributeReader& point) {
    for (const DcmTagKey& tag : angleTags()) {
        point.number(tag);
    }
    Shape shape;
    applyControlPoint(point, shape);
    return shape;
}

int countFurtherShapes(const std::vector<AttributeReader>& points, const Shape& first) {
    Shape shape = first;
    int count = 0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        applyControlPoint(points[i], shape);
        count += shape == first ? 0 : 1;
    }
    return count;
}

void readJaws(const Shape& shape, Beam& beam) {
    for (const auto& [type, positions] : shape.positions) {
        const bool isX = type == "X" || type == "ASYMX";
        if (!isX && type != "Y" && type != "ASYMY") {
            continue;
        }
        if (positions.size() != 2) {
            throw Unusable(fmt::format("has {} positions of jaws {}", positions.size(), type));
        }
        (isX ? beam.plannedJaws.X1 : beam.plannedJaws.Y1) = positions[0];
        (isX ? beam.plannedJaws.X2 : beam.plannedJaws.Y2) = positions[1];
    }
}

void readLeaves(const AttributeReader& device, const std::string& type, const Shape& shape,
                Beam& beam) {
    beam.leavesAlongY = type == "MLCY";
    beam.leafBoundaries = placesOf(device, DCM_LeafPositionBoundaries);
    const auto notAbove = [](double a, double b) { return a >= b; };
    if (beam.leafBoundaries.size() < 2 ||
        std::adjacent_find(beam.leafBoundaries.begin(), beam.leafBoundaries.end(), notAbove) !=
            beam.leafBoundaries.end()) {
        throw Unusable("has leaf position boundaries that do not ascend");
    }
    const auto planned = shape.positions.find(type);
    if (planned == shape.positions.end()) {
        return;
    }
    const std::vector<double>& positions = planned->second;
    const std::size_t pairs = beam.leafBoundaries.size() - 1;
    if (positions.size() != 2 * pairs) {
        throw Unusable(
            fmt::format("has {} positions for {} pairs of leaves", positions.size(), pairs));
    }
    const auto middle = positions.begin() + static_cast<std::ptrdiff_t>(pairs);
    beam.plannedLeft.assign(positions.begin(), middle);
    beam.plannedRight.assign(middle, positions.end());
}

class Reader {
  public:
    Reader(const FoundObject& object, Messages& messages)
        : object_(object), messages_(messages), file_(object.path, DicomFile::Extent::Whole) {}

    Plan read() {
        const AttributeReader attributes = file_.attributes();
        Plan plan;
        plan.file = object_.file;
        plan.instanceUid = object_.instanceUid;
        plan.label = attributes.text(DCM_RTPlanLabel);
        reportUnusable(object_.file, messages_, [&] {
            setups_ = attributes.items(DCM_PatientSetupSequence);
            for (const AttributeReader& item : beamItems(attributes)) {
                reportUnusable(object_.file, messages_, [&] { addBeam(item, plan.beams); });
            }
        });
        return plan;
    }

  private:
    void warn(const Beam& beam, const std::string& text) {
        messages_.warn(object_.file, fmt::format("beam {} {}", inQuotes(beam.name), text));
    }

    std::vector<AttributeReader> beamItems(const AttributeReader& attributes) {
        std::vector<AttributeReader> items = attributes.items(DCM_BeamSequence);
        if (items.size() > kMostBeams) {
            throw Unusable(fmt::format("has {} beams, too many", items.size()));
        }
        if (items.empty()) {
            messages_.warn(object_.file, "holds no beams");
        }
        return items;
    }

    void addBeam(const AttributeReader& item, std::vector<Beam>& beams) {
        Beam beam;
        beam.number = item.integer(DCM_BeamNumber);
        beam.name = item.text(DCM_BeamName);
        if (beam.name.empty()) {
            beam.name = fmt::format("Beam {}", beam.number);
        }
        if (item.text(DCM_TreatmentDeliveryType) == "SETUP") {
            messages_.note(object_.file, fmt::format("beam {} is for setup and is left out",
                                                     inQuotes(beam.name)));
            return;
        }
        try {
            readBeam(item, beam);
        } catch (const Unusable& reason) {
            throw Unusable(
                fmt::format("beam {} is left out: it {}", inQuotes(beam.name), reason.what()));
        }
        beams.push_back(std::move(beam));
    }

    void readBeam(const AttributeReader& item, Beam& beam) {
        const std::vector<AttributeReader> points = item.items(DCM_ControlPointSequence);
        if (points.empty()) {
            throw Unusable("has no control points");
        }
        const Shape shape = firstShape(points.front());
        beam.geometry.gantryAngle = radians(shape.angles[0]);
        beam.geometry.collimatorAngle = radians(shape.angles[1]);
        beam.geometry.couchAngle = radians(shape.angles[2]);
        beam.geometry.isocentre = points.front().point(DCM_IsocenterPosition);
        readSourceAxisDistance(item, beam);
        readJaws(shape, beam);
        readCollimator(item, shape, beam);
        beam.furtherShapes = countFurtherShapes(points, shape);
        beam.patientPosition = readPatientPosition(item, beam);
        warnOfTilts(points.front(), beam);
    }

    void readSourceAxisDistance(const AttributeReader& item, Beam& beam) {
        const auto distance = item.findNumber(DCM_SourceAxisDistance);
        if (!distance) {
            warn(beam, fmt::format("has no source-axis distance; it is taken to be {} mm",
                                   kDefaultSourceAxisDistance));
        }
        beam.geometry.sourceAxisDistance = distance.value_or(kDefaultSourceAxisDistance);
        if (!(beam.geometry.sourceAxisDistance >= 1.0 &&
              beam.geometry.sourceAxisDistance <= kFarthestSource)) {
            throw Unusable("has a source-axis distance that cannot be");
        }
    }

    void readCollimator(const AttributeReader& item, const Shape& shape, Beam& beam) {
        for (const AttributeReader& device : item.items(DCM_BeamLimitingDeviceSequence)) {
            const std::string type = device.text(DCM_RTBeamLimitingDeviceType);
            if (!isMultileafCollimator(type)) {
                continue;
            }
            if ((type == "MLCX" || type == "MLCY") && beam.leafBoundaries.empty()) {
                readLeaves(device, type, shape, beam);
            } else {
                warn(beam, fmt::format("has a further multileaf collimator {}, which is left out",
                                       inQuotes(type)));
            }
        }
    }

    std::string readPatientPosition(const AttributeReader& item, const Beam& beam) {
        const auto wanted = item.findInteger(DCM_ReferencedPatientSetupNumber);
        for (const AttributeReader& setup : setups_) {
            const bool isMeant =
                wanted ? setup.findInteger(DCM_PatientSetupNumber) == wanted : setups_.size() == 1;
            std::string position = isMeant ? setup.text(DCM_PatientPosition) : "";
            if (!position.empty()) {
                return position;
            }
        }
        warn(beam, "has no patient position; it is taken to be head first supine");
        return "HFS";
    }

    void warnOfTilts(const AttributeReader& point, const Beam& beam) {
        for (const DcmTagKey& tag : {DCM_TableTopEccentricAngle, DCM_TableTopPitchAngle,
                                     DCM_TableTopRollAngle, DCM_GantryPitchAngle}) {
            if (point.findNumber(tag).value_or(0.0) != 0.0) {
                warn(beam, fmt::format("has a {} of {} degrees, which is taken to be 0",
                                       nameInWords(tag), point.number(tag)));
            }
        }
    }

    const FoundObject& object_;
    Messages& messages_;
    DicomFile file_;
    std::vector<AttributeReader> setups_;
};

}  // namespace

Plan readPlan(const FoundObject& object, Messages& messages) {
    return Reader(object, messages).read();
}

}  // namespace app
