#pragma once

#include <span>
#include <vector>

#include <trelis/segment/segment_volume.h>

namespace trelis::detail {

/// Replaces one plane of a segment by covered fractions.
class PlaneWriter {
  public:
    /// Clears plane z, which must exist.
    PlaneWriter(NSegment::SegmentVolume& segment, int z);

    /// Writes fractions, rounded to 0 to 255, from a column on.
    void writeRow(int row, int firstColumn, std::span<const double> fractions);

    /// Compacts the cells of the plane's layer.
    void finish();

  private:
    NSegment::SegmentVolume& segment_;
    int z_;
    std::vector<unsigned char> values_;
};

}  // namespace trelis::detail
