#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>

#include <apps/trelis/dicom/contour_overlaps.h>
#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/structure_reader.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

constexpr Colour kPalette[] = {{228, 26, 28},  {55, 126, 184}, {77, 175, 74},   {152, 78, 163},
                               {255, 127, 0},  {166, 86, 40},  {247, 129, 191}, {23, 190, 207},
                               {188, 189, 34}, {127, 127, 127}};

constexpr std::size_t kMostStructures = 4096;

/// The kind of contours that are made to leave holes where they overlap.
constexpr const char* kExclusive = "CLOSEDPLANAR_XOR";

/// How many parts of a structure are left out, though it is used.
struct Omissions {
    int points = 0;
    int tooShort = 0;
};

/// Any colour will do where the file has none.
Colour colourOf(const AttributeReader& drawing, std::size_t index) {
    const Colour substitute = kPalette[index % std::size(kPalette)];
    try {
        Colour colour{};
        const std::vector<double> values = drawing.numbers(DCM_ROIDisplayColor, colour.size());
        for (std::size_t i = 0; i < colour.size(); ++i) {
            if (values[i] < 0.0 || values[i] > 255.0) {
                return substitute;
            }
            colour[i] = static_cast<unsigned char>(values[i]);
        }
        return colour;
    } catch (const Unusable&) {
        return substitute;
    }
}

std::vector<Vector> pointsOf(const AttributeReader& contour) {
    std::vector<Vector> points = contour.points(DCM_ContourData);
    const auto declared = contour.findInteger(DCM_NumberOfContourPoints);
    if (declared && *declared != static_cast<long long>(points.size())) {
        throw Unusable(fmt::format("declares {} points but has {}", *declared, points.size()));
    }
    return points;
}

/// Adds the contour where it is closed.
void readContour(const AttributeReader& contour, Structure& structure, Omissions& omissions) {
    const std::string type = contour.text(DCM_ContourGeometricType);
    if (type == "POINT") {
        ++omissions.points;
        return;
    }
    if (type != "CLOSED_PLANAR" && type != kExclusive) {
        throw Unusable(fmt::format("is of the kind {}, not closed", inQuotes(type)));
    }
    std::vector<Vector> points = pointsOf(contour);
    if (points.size() < 3) {
        ++omissions.tooShort;
        return;
    }
    structure.contours.push_back(std::move(points));
}

class Reader {
  public:
    Reader(const FoundObject& object, const std::string& frameUid, Messages& messages)
        : object_(object),
          frameUid_(frameUid),
          messages_(messages),
          file_(object.path, DicomFile::Extent::Whole) {}

    StructureSet read() {
        const AttributeReader attributes = file_.attributes();
        StructureSet set;
        set.label = attributes.text(DCM_StructureSetLabel);
        reportUnusable(object_.file, messages_, [&] {
            readTypes(attributes);
            readDrawings(attributes);
            for (const AttributeReader& roi : structureItems(attributes)) {
                reportUnusable(object_.file, messages_, [&] { addStructure(roi, set.structures); });
            }
            if (crossings_.isCutShort()) {
                messages_.note(object_.file, "has too many contours to look for crossings of all");
            }
        });
        return set;
    }

  private:
    void readTypes(const AttributeReader& attributes) {
        for (const AttributeReader& item : attributes.items(DCM_RTROIObservationsSequence)) {
            if (const auto number = item.findInteger(DCM_ReferencedROINumber)) {
                types_.emplace(*number, item.text(DCM_RTROIInterpretedType));
            }
        }
    }

    void readDrawings(const AttributeReader& attributes) {
        std::size_t unassigned = 0;
        for (const AttributeReader& item : attributes.items(DCM_ROIContourSequence)) {
            if (const auto number = item.findInteger(DCM_ReferencedROINumber)) {
                drawings_[*number].push_back(item);
            } else {
                ++unassigned;
            }
        }
        if (unassigned > 0) {
            messages_.fault(object_.file, fmt::format("has contours in {} places that belong to no "
                                                      "structure",
                                                      unassigned));
        }
    }

    std::vector<AttributeReader> structureItems(const AttributeReader& attributes) {
        std::vector<AttributeReader> items = attributes.items(DCM_StructureSetROISequence);
        if (items.size() > kMostStructures) {
            throw Unusable(fmt::format("has {} structures, too many", items.size()));
        }
        if (items.empty()) {
            messages_.warn(object_.file, "holds no structures");
        }
        return items;
    }

    void addStructure(const AttributeReader& roi, std::vector<Structure>& structures) {
        Structure structure;
        structure.number = roi.integer(DCM_ROINumber);
        structure.name = roi.text(DCM_ROIName);
        if (structure.name.empty()) {
            structure.name = fmt::format("ROI {}", structure.number);
        }
        try {
            requireFrame(roi, structure);
            if (!numbers_.insert(structure.number).second) {
                throw Unusable("has the number of another structure");
            }
            if (readContours(structure)) {
                makeNameUnique(structure);
                structures.push_back(std::move(structure));
            }
        } catch (const Unusable& reason) {
            throw Unusable(about(structure, reason.what()));
        }
    }

    static std::string about(const Structure& structure, const std::string& text) {
        return fmt::format("structure {} {}", inQuotes(structure.name), text);
    }

    void requireFrame(const AttributeReader& roi, const Structure& structure) {
        std::string frame = roi.text(DCM_ReferencedFrameOfReferenceUID);
        if (frame.empty()) {
            frame = object_.frame();
        }
        if (frame.empty() && !frameUid_.empty()) {
            messages_.warn(object_.file,
                           about(structure,
                                 "names no frame of reference; it is taken to be that "
                                 "of the study"));
        } else if (!frame.empty() && !frameUid_.empty() && frame != frameUid_) {
            throw Unusable("has a frame of reference that does not match that of the study");
        }
    }

    /// Whether there are any; a warning or note says so otherwise.
    bool readContours(Structure& structure) {
        const auto found = drawings_.find(structure.number);
        if (found == drawings_.end()) {
            messages_.warn(object_.file, about(structure, "has no contours and is left out"));
            return false;
        }
        if (found->second.size() > 1) {
            throw Unusable("has contours in two places");
        }
        const AttributeReader& drawing = found->second.front();
        structure.colour = colourOf(drawing, numbers_.size() - 1);
        if (const auto type = types_.find(structure.number); type != types_.end()) {
            structure.type = type->second;
        }
        Omissions omissions;
        const std::vector<AttributeReader> contours = drawing.items(DCM_ContourSequence);
        for (std::size_t i = 0; i < contours.size(); ++i) {
            try {
                readContour(contours[i], structure, omissions);
            } catch (const Unusable& reason) {
                throw Unusable(fmt::format("is left out: its contour {} {}", i + 1, reason.what()));
            }
        }
        tellOmissions(structure, omissions);
        if (std::none_of(contours.begin(), contours.end(), [](const AttributeReader& contour) {
                return contour.text(DCM_ContourGeometricType) == kExclusive;
            })) {
            tellOverlaps(structure);
        }
        return !structure.contours.empty();
    }

    void tellOmissions(const Structure& structure, const Omissions& omissions) {
        if (structure.contours.empty() && omissions.points > 0) {
            messages_.note(object_.file, about(structure, "is a point and is left out"));
        } else if (structure.contours.empty()) {
            messages_.warn(object_.file, about(structure, "has no contours and is left out"));
        } else if (omissions.points > 0) {
            messages_.note(object_.file, about(structure, fmt::format("has {} points, which are "
                                                                      "left out",
                                                                      omissions.points)));
        }
        if (omissions.tooShort > 0) {
            messages_.warn(object_.file,
                           about(structure, fmt::format("has {} contours of fewer than 3 points, "
                                                        "which are left out",
                                                        omissions.tooShort)));
        }
    }

    void tellOverlaps(Structure& structure) {
        if (const std::size_t repeated = removeRepeatedContours(structure.contours); repeated > 0) {
            messages_.warn(object_.file,
                           about(structure, fmt::format("has contours that repeat others, which "
                                                        "are left out: {}",
                                                        repeated)));
        }
        if (crossings_.finds(structure.contours)) {
            messages_.warn(object_.file, about(structure,
                                               "has contours that cross each other; "
                                               "what lies in both counts as a hole"));
        }
    }

    void makeNameUnique(Structure& structure) {
        const std::string name = structure.name;
        for (int i = 2; !names_.insert(structure.name).second; ++i) {
            structure.name = fmt::format("{} ({})", name, i);
        }
        if (structure.name != name) {
            messages_.note(object_.file,
                           fmt::format("has two structures named {}; the later one is called {}",
                                       inQuotes(name), inQuotes(structure.name)));
        }
    }

    const FoundObject& object_;
    const std::string& frameUid_;
    Messages& messages_;
    DicomFile file_;
    std::map<int, std::string> types_;
    std::map<int, std::vector<AttributeReader>> drawings_;
    std::set<int> numbers_;
    std::set<std::string> names_;
    CrossingSearch crossings_;
};

}  // namespace

StructureSet readStructureSet(const FoundObject& object, const std::string& frameUid,
                              Messages& messages) {
    return Reader(object, frameUid, messages).read();
}

}  // namespace app
