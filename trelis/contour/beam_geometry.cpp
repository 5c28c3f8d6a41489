#include <trelis/contour/beam_geometry.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace trelis {

namespace {

using Vector = MVectorTemplate<double>;

MMatrix rotation(double aboutY, double aboutZ) {
    MMatrix m;
    m.SetRotation(0.0, aboutY, aboutZ);
    return m;
}

void require(bool condition, const char* otherwise) {
    if (!condition) {
        throw std::invalid_argument(std::string("trelis::") + otherwise);
    }
}

bool hasSource(const BeamGeometry& beam) {
    return beam.sourceAxisDistance > 0.0 && std::isfinite(beam.sourceAxisDistance);
}

}  // namespace

MMatrix GetPatientToBeamTransform(const BeamGeometry& beam) {
    MMatrix transform(Vector::P_X, Vector::M_Z, Vector::P_Y);
    transform.SetTranslation(transform.RotateT(-beam.isocentre));
    transform.CombineTransform(rotation(0.0, beam.couchAngle));
    transform.CombineTransform(rotation(-beam.gantryAngle, 0.0));
    transform.CombineTransform(rotation(0.0, -beam.collimatorAngle));
    return transform;
}

Vector GetSourcePosition(const BeamGeometry& beam) {
    require(hasSource(beam), "GetSourcePosition: the source-axis distance is not positive");
    return GetPatientToBeamTransform(beam).InverseTransform({0.0, 0.0, beam.sourceAxisDistance});
}

EdgePoint ProjectToIsocentrePlane(const BeamGeometry& beam, const Vector& point) {
    require(hasSource(beam), "ProjectToIsocentrePlane: the source-axis distance is not positive");
    const Vector p = GetPatientToBeamTransform(beam).Transform(point);
    require(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z),
            "ProjectToIsocentrePlane: the point is not finite in the beam frame");
    require(p.z < beam.sourceAxisDistance,
            "ProjectToIsocentrePlane: the point is at or behind the source");
    const double magnification = beam.sourceAxisDistance / (beam.sourceAxisDistance - p.z);
    return {p.x * magnification, p.y * magnification};
}

}  // namespace trelis
