#include <trelis/contour/detail/plane_writer.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <trelis/segment/detail/cell_walk.h>
#include <trelis/segment_algorithms/plane_utilities.h>

namespace trelis::detail {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

namespace {

constexpr double kRounding = 1e-9;

}  // namespace

PlaneWriter::PlaneWriter(SegmentVolume& segment, int z) : segment_(segment), z_(z) {
    NSegmentAlgorithms::ClearPlaneZ(z, segment);
}

void PlaneWriter::writeRow(int row, int firstColumn, std::span<const double> fractions) {
    values_.resize(fractions.size());
    // What lies halfway between two values but for rounding goes up, on all sides alike.
    std::transform(fractions.begin(), fractions.end(), values_.begin(),
                   [](double fraction) { return SegmentVolume::fromFloat(fraction + kRounding); });
    const int end = firstColumn + static_cast<int>(values_.size());
    const unsigned char* source = values_.data();
    for (int x = firstColumn; x < end;) {
        const int next = std::min(end, (x | VolumeCell::kMaskX) + 1);
        const auto count = static_cast<std::size_t>(next - x);
        VolumeCell& cell = segment_.Cells()[segment_.cellIndex(x, row, z_)];
        const bool anything = std::any_of(source, source + count, [](int v) { return v != 0; });
        if (anything) {
            // The plane was cleared, so no cell is full.
            cell.allocateKeepingValues();
            std::memcpy(cell.data() + SegmentVolume::offsetInCell(x, row, z_), source, count);
        }
        source += count;
        x = next;
    }
}

void PlaneWriter::finish() {
    const int layer = z_ >> VolumeCell::kShiftZ;
    NSegment::detail::forEachCellInLayers(
        segment_, layer, layer + 1,
        [&](const NSegment::detail::CellBox& box) { segment_.Cells()[box.index].compact(); });
}

}  // namespace trelis::detail
