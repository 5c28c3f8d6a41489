#pragma once

#include <apps/trelis/dicom/attribute_reader.h>
#include <apps/trelis/study/study.h>

namespace app {

/// The grid of an image, or of the first plane of a dose, in the patient.
struct ImagePlane {
    /// `Unusable` where an attribute is missing, sizes are not positive, or directions are not at
    /// right angles.
    explicit ImagePlane(const AttributeReader& attributes);

    /// The rotation of the grid, and as translation the centre of a stack of `planes` planes of
    /// which the first lies `height` beyond this one.
    MMatrix centredTransform(double height, int planes, double separation) const;

    int columns;
    int rows;
    double columnSpacing;  ///< along `rowDirection`
    double rowSpacing;     ///< along `columnDirection`
    /// The centre of the first pixel.
    Vector position;
    /// Of unit length and at right angles: of increasing column index, of increasing row index,
    /// and the first times the second.
    Vector rowDirection;
    Vector columnDirection;
    Vector normal;
};

}  // namespace app
