#include <apps/trelis/evaluation/patient_position.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include <trelis/foundation/vector.h>

namespace app {

namespace {

using Vector = MVectorTemplate<double>;

/// Directions of the room: x of the fixed system of IEC 61217 (to the right of who stands at the
/// foot of the couch and looks at the gantry), the floor, the gantry. To these the left, the back
/// and the head of a patient point who lies head first supine.
constexpr Vector kRight = {1.0, 0.0, 0.0};
constexpr Vector kDown = {0.0, 1.0, 0.0};
constexpr Vector kGantry = {0.0, 0.0, 1.0};

/// Where the patient's left and head point. Decubitus left is on the left side.
struct Position {
    std::string_view name;
    Vector left;
    Vector head;
};

constexpr Position kPositions[] = {
    {"HFS", kRight, kGantry},  {"HFP", -kRight, kGantry},  {"FFS", -kRight, -kGantry},
    {"FFP", kRight, -kGantry}, {"HFDL", kDown, kGantry},   {"HFDR", -kDown, kGantry},
    {"FFDL", kDown, -kGantry}, {"FFDR", -kDown, -kGantry},
};

}  // namespace

std::optional<MMatrix> turnToHeadFirstSupine(const std::string& position) {
    const auto* found =
        std::find_if(std::begin(kPositions), std::end(kPositions),
                     [&](const Position& candidate) { return candidate.name == position; });
    if (found == std::end(kPositions)) {
        return std::nullopt;
    }
    return MMatrix(found->left, found->head.Cross(found->left), found->head);
}

}  // namespace app
