#pragma once

#include <cstddef>
#include <vector>

#include <trelis/export.h>
#include <trelis/volume_image/image_creator.h>

/// Finds the separation and the position of output planes that meet most input planes. Input planes
/// are plane distances in ascending order, at least two.
namespace trelis::VolumeImage::detail {

/// The separations of neighbouring planes, rounded to 0.1 micrometre, each once, in the order of
/// first appearance.
TRELIS_API std::vector<double> planeSeparationCandidates(const std::vector<double>& inputPlanes);

/// Counts what output planes of the separation, one of them at input plane `binding`, make of the
/// input planes. When there are more interpolated planes above the binding plane than input planes,
/// those below it are not counted.
TRELIS_API ImageCreator::PlaneSetup analyzeBindingPosition(const std::vector<double>& inputPlanes,
                                                           std::size_t binding, double separation);

/// The best of all candidates and binding planes: most real planes, then fewest interpolated ones,
/// then the smallest deviation, then the first.
TRELIS_API ImageCreator::PlaneSetup findPlanePositions(const std::vector<double>& inputPlanes,
                                                       const std::vector<double>& candidates);

}  // namespace trelis::VolumeImage::detail
