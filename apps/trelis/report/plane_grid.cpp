#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include <apps/trelis/report/plane_grid.h>

namespace app::report {
namespace {

constexpr int kMostPixels = 512;
/// What a picture shows around the body or the structures, millimetres.
constexpr double kBorder = 15.0;
/// The least extent of a picture along an axis, of the longest.
constexpr double kLeastShare = 0.2;

double lesser(double a, double b) { return std::min(a, b); }
double greater(double a, double b) { return std::max(a, b); }

template <typename Choice>
Vector eachOf(const Vector& a, const Vector& b, const Choice& choice) {
    return {choice(a.x, b.x), choice(a.y, b.y), choice(a.z, b.z)};
}

PatientBox united(const PatientBox& a, const PatientBox& b) {
    return {eachOf(a.low, b.low, lesser), eachOf(a.high, b.high, greater)};
}

PatientBox common(const PatientBox& a, const PatientBox& b) {
    return {eachOf(a.low, b.low, greater), eachOf(a.high, b.high, lesser)};
}

bool hasExtent(const PatientBox& box) {
    return box.low.x < box.high.x && box.low.y < box.high.y && box.low.z < box.high.z;
}

PatientBox grownBy(const PatientBox& box, double border) {
    const Vector all(border, border, border);
    return {box.low - all, box.high + all};
}

PatientBox boxOf(const FVoxelSpaceGeometry& place) {
    return report::boxOf(
        place, Vector::ZERO,
        Vector(static_cast<double>(place.xsize()), static_cast<double>(place.ysize()),
               static_cast<double>(place.zsize())));
}

PatientBox boxOf(const EvaluatedStructure& structure, const VoxelBox& box) {
    const auto corner = [](const int(&voxel)[3]) {
        return Vector(static_cast<double>(voxel[0]), static_cast<double>(voxel[1]),
                      static_cast<double>(voxel[2]));
    };
    return report::boxOf(structure.geometry, corner(box.low),
                         corner(box.high) + Vector(1.0, 1.0, 1.0));
}

/// The box around those structures that are wanted.
template <typename Wanted>
std::optional<PatientBox> boxOfStructures(const ReportData& data, const Wanted& wanted) {
    std::optional<PatientBox> result;
    for (std::size_t s = 0; s < data.structures.size(); ++s) {
        const EvaluatedStructure& structure = data.evaluation.structures[s];
        if (data.structures[s].box && wanted(structure)) {
            const PatientBox box = boxOf(structure, *data.structures[s].box);
            result = result ? united(*result, box) : box;
        }
    }
    return result;
}

std::optional<PatientBox> fieldOf(const ReportData& data) {
    if (data.evaluation.image) {
        const PatientBox image = boxOf(data.evaluation.image->geometry());
        const bool hasBody = boxOfStructures(data, [](const EvaluatedStructure& structure) {
                                 return structure.type == "EXTERNAL";
                             }).has_value();
        if (hasBody) {
            const auto body = boxOfStructures(data, [](const EvaluatedStructure& structure) {
                return structure.type == "EXTERNAL" || structure.isTarget;
            });
            const PatientBox shown = common(image, grownBy(*body, kBorder));
            return hasExtent(shown) ? shown : image;
        }
        return image;
    }
    if (const auto all = boxOfStructures(data, [](const EvaluatedStructure&) { return true; })) {
        return grownBy(*all, kBorder);
    }
    if (data.evaluation.dose) {
        return boxOf(data.evaluation.dose->geometry());
    }
    return std::nullopt;
}

/// Widens what is thin, so that there is room for a picture's labels.
PatientBox widened(const PatientBox& field) {
    const Vector extent = field.high - field.low;
    const double least = kLeastShare * std::max({extent.x, extent.y, extent.z});
    const Vector half = 0.5 * eachOf(extent, Vector(least, least, least), greater);
    return {field.centre() - half, field.centre() + half};
}

PlaneGrid viewOf(const PatientBox& field, const Vector& through, const Vector& right,
                 const Vector& down, double pixel) {
    const Vector extent = field.high - field.low;
    const auto count = [&](const Vector& axis) {
        const double along = std::abs(extent.Dot(axis));
        return std::clamp(static_cast<int>(std::ceil(along / pixel - 1e-6)), 1, kMostPixels);
    };
    PlaneGrid grid{{}, right, down, pixel, count(right), count(down)};
    const Vector centre = field.centre();
    const Vector across = right.Cross(down);
    grid.origin = centre + (through - centre).Dot(across) * across;
    grid.origin = grid.at(0.5 * (1 - grid.width), 0.5 * (1 - grid.height));
    return grid;
}

}  // namespace

PlaneGrid PlaneGrid::grown(int border) const {
    PlaneGrid result = *this;
    result.origin = at(-border, -border);
    result.width += 2 * border;
    result.height += 2 * border;
    return result;
}

PatientBox boxOf(const FVoxelSpaceGeometry& place, const Vector& low, const Vector& high) {
    const Vector first = place.RVoxelToReal(low);
    PatientBox box{first, first};
    for (unsigned corner = 1; corner < 8; ++corner) {
        const Vector point = place.RVoxelToReal({(corner & 1U) != 0 ? high.x : low.x,
                                                 (corner & 2U) != 0 ? high.y : low.y,
                                                 (corner & 4U) != 0 ? high.z : low.z});
        box = united(box, {point, point});
    }
    return box;
}

std::vector<PlaneGrid> chooseViews(const ReportData& data) {
    const std::optional<PatientBox> covered = fieldOf(data);
    if (!covered || !hasExtent(*covered)) {
        return {};
    }
    const PatientBox field = widened(*covered);
    const auto target = boxOfStructures(
        data, [](const EvaluatedStructure& structure) { return structure.isTarget; });
    const Vector through = (target ? *target : field).centre();
    const Vector extent = field.high - field.low;
    const double pixel = std::max({extent.x, extent.y, extent.z}) / kMostPixels;
    return {viewOf(field, through, Vector::P_X, Vector::P_Y, pixel),
            viewOf(field, through, Vector::P_X, Vector::M_Z, pixel),
            viewOf(field, through, Vector::P_Y, Vector::M_Z, pixel)};
}

}  // namespace app::report
