#pragma once

#include <cstddef>
#include <functional>
#include <vector>

/// The planes of a volume among those of its slices. Input planes are plane distances in ascending
/// order, at least two; the separation is one that `isUsableSeparation` accepts.
namespace trelis::VolumeImage::detail {

struct OutputPlane {
    double distance;
    /// No input plane to copy: interpolated between `lower` and `upper`.
    bool isInterpolated;
    /// The neighbours of an interpolated plane; both the input plane that a real plane copies.
    std::size_t lower;
    std::size_t upper;
};

/// Whether output planes can be laid through these input planes: see `ImageCreator::SetdZ`.
bool isUsableSeparation(const std::vector<double>& inputPlanes, double separation);

/// The lowest plane on the grid through the binding plane that is above the first input plane or
/// less than the plane tolerance from it; 0 when the binding plane is neither.
double firstOutputPlaneDistance(const std::vector<double>& inputPlanes, double binding,
                                double separation);

/// Visits the planes from the first output plane up to the last input plane.
void forEachOutputPlane(const std::vector<double>& inputPlanes, double firstOutputPlane,
                        double separation, const std::function<void(const OutputPlane&)>& visit);

/// Whether an input plane is less than the plane tolerance away.
bool isNearInputPlane(const std::vector<double>& inputPlanes, double distance);

}  // namespace trelis::VolumeImage::detail
