#pragma once

#include <trelis/export.h>
#include <trelis/foundation/edge_point.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/vector.h>

namespace trelis {

/// How a treatment beam looks at the patient. Angles are those of IEC 61217, in radians, and the
/// patient coordinate system is that of DICOM, in millimetres: x to the patient's left, y to the
/// back, z to the head. The patient lies on the back with the head towards the gantry (head first
/// supine; for another position turn the patient coordinates into this one first).
///
/// With all angles 0 the fixed system of IEC 61217 has x along the patient's x, y along the
/// patient's z (towards the gantry) and z along the patient's -y (up), from the isocentre:
///  - the patient turns with the couch about the fixed z, right-handed, seen from above counter-
///    clockwise: at 90 degrees the head is where the patient's right was;
///  - the source turns with the gantry about the fixed y, seen from the foot of the couch
///    clockwise: at 0 degrees it is above, at 90 degrees on the left of a patient with couch at 0;
///  - the collimator turns about the axis of the beam, seen from the source counter-clockwise.
///
/// The *beam frame* is that of the beam limiting device: the isocentre is its origin, z points to
/// the source, x is the direction of the X jaws (and of leaves that travel along X), y that of the
/// Y jaws. With all angles 0 it is the fixed system.
struct BeamGeometry {
    double gantryAngle = 0.0;
    double couchAngle = 0.0;
    double collimatorAngle = 0.0;
    /// In patient coordinates.
    MVectorTemplate<double> isocentre{};
    /// From the source to the isocentre, millimetres; above 0 and finite.
    double sourceAxisDistance = 1000.0;
};

/// From patient coordinates to the beam frame; rigid, so that `InverseTransform` leads back.
TRELIS_API MMatrix GetPatientToBeamTransform(const BeamGeometry& beam);

/// The source in patient coordinates. std::invalid_argument for a source-axis distance that is not
/// positive and finite.
TRELIS_API MVectorTemplate<double> GetSourcePosition(const BeamGeometry& beam);

/// Where the ray from the source through a point in patient coordinates meets the plane through the
/// isocentre across the beam: x and y of the beam frame, millimetres. std::invalid_argument for a
/// source-axis distance that is not positive and finite, and for a point that is not finite in the
/// beam frame or not nearer to the isocentre, along the beam, than the source is. Of many points,
/// take the transform once: (x, y, z) in the beam frame goes to (x, y) d / (d - z) for a
/// source-axis distance of d.
TRELIS_API EdgePoint ProjectToIsocentrePlane(const BeamGeometry& beam,
                                             const MVectorTemplate<double>& point);

}  // namespace trelis
