#pragma once

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/volume.h>

namespace trelis {

/// Adds a dose to another in place: result += trunc((source - sourceOffset) sourceScale /
/// resultScale weight) in every voxel, toward zero and modulo 2^32. A stored source value v means
/// (v - sourceOffset) sourceScale; the transforms map millimetres from the centre of each voxel box
/// to patient coordinates.
///
/// Grids of equal size and resolution (`QVolumeSize::operator==`) whose transforms are equal
/// (`MMatrix::EqualMatrix`) are added voxel by voxel. Otherwise each result voxel takes the
/// trilinear value of the source at its place (an axis with one source voxel is not interpolated);
/// a result voxel that lies more than 1e-5 source voxels outside the box of the source's voxel
/// centres stays as it is. A contribution that fits no 64-bit integer, a NaN among them, counts as
/// 0; volumes without pixels add nothing.
///
/// `resultOffset` is checked, not applied: with a negative weight it has to be 1 << 30, so that
/// differences stay positive, or std::out_of_range is thrown and nothing changed. The cached
/// statistics of the result are stale afterwards. Rows are resampled in parallel, with the same
/// result for any number of threads; neither volume may be touched during the call.
TRELIS_API void AddWithWeight(double sourceScale, double sourceOffset,
                              const MMatrix& sourceTransform, const QVolume<unsigned int>& source,
                              double resultScale, int resultOffset, const MMatrix& resultTransform,
                              QVolume<unsigned int>& result, double weight);

}  // namespace trelis
