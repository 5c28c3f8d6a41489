#include <cmath>

#include <apps/trelis/dicom/image_plane.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

constexpr double kDirectionTolerance = 1e-3;
constexpr double kSmallestSpacing = 1e-3;  // mm
constexpr double kLargestSpacing = 1e3;    // mm

bool isSpacing(double value) { return value >= kSmallestSpacing && value <= kLargestSpacing; }

bool isUnitLength(const Vector& direction) {
    return std::abs(direction.Length() - 1.0) <= kDirectionTolerance;
}

}  // namespace

ImagePlane::ImagePlane(const AttributeReader& attributes)
    : columns(attributes.integer(DCM_Columns)),
      rows(attributes.integer(DCM_Rows)),
      position(attributes.point(DCM_ImagePositionPatient)) {
    if (columns <= 0 || rows <= 0) {
        throw Unusable("has no pixels");
    }
    const std::vector<double> spacing = attributes.numbers(DCM_PixelSpacing, 2);
    rowSpacing = spacing[0];
    columnSpacing = spacing[1];
    if (!isSpacing(rowSpacing) || !isSpacing(columnSpacing)) {
        throw Unusable("has a pixel spacing that cannot be");
    }
    const std::vector<double> directions = attributes.numbers(DCM_ImageOrientationPatient, 6);
    const Vector row(directions[0], directions[1], directions[2]);
    const Vector column(directions[3], directions[4], directions[5]);
    if (!isUnitLength(row) || !isUnitLength(column) ||
        std::abs(row.Dot(column)) > kDirectionTolerance) {
        throw Unusable("has an image orientation that is not of unit vectors at right angles");
    }
    rowDirection = row.Normalized();
    columnDirection = (column - column.Dot(rowDirection) * rowDirection).Normalized();
    normal = rowDirection.Cross(columnDirection);
}

MMatrix ImagePlane::centredTransform(double height, int planes, double separation) const {
    MMatrix transform(rowDirection, columnDirection, normal);
    transform.SetTranslation(position + 0.5 * (columns - 1) * columnSpacing * rowDirection +
                             0.5 * (rows - 1) * rowSpacing * columnDirection +
                             (height + 0.5 * (planes - 1) * separation) * normal);
    return transform;
}

}  // namespace app
