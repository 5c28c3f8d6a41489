#pragma once

#include <algorithm>
#include <cstddef>

#include <trelis/segment/segment_volume.h>

namespace NSegment::detail {

/// One cell of a segment and the voxels of the grid that it holds: `width` x `height` x `depth`
/// from (x, y, z) on. In an edge cell these are fewer than the cell has.
struct CellBox {
    std::size_t index;
    int x;
    int y;
    int z;
    int width;
    int height;
    int depth;

    bool isEdge() const {
        return width < VolumeCell::kSizeX || height < VolumeCell::kSizeY ||
               depth < VolumeCell::kSizeZ;
    }
};

/// Calls visit(box) for every cell in storage order, of the layers firstLayer up to but not
/// including lastLayer along z.
template <typename Visitor>
void forEachCellInLayers(const SegmentVolume& segment, int firstLayer, int lastLayer,
                         const Visitor& visit) {
    CellBox box{};
    box.index = segment.cellIndex(0, 0, firstLayer * VolumeCell::kSizeZ);
    for (int layer = firstLayer; layer < lastLayer; ++layer) {
        box.z = layer * VolumeCell::kSizeZ;
        box.depth = std::min(VolumeCell::kSizeZ, segment.zsize() - box.z);
        for (int cellY = 0; cellY < segment.superBlockSizeY(); ++cellY) {
            box.y = cellY * VolumeCell::kSizeY;
            box.height = std::min(VolumeCell::kSizeY, segment.ysize() - box.y);
            for (int cellX = 0; cellX < segment.superBlockSizeX(); ++cellX) {
                box.x = cellX * VolumeCell::kSizeX;
                box.width = std::min(VolumeCell::kSizeX, segment.xsize() - box.x);
                visit(static_cast<const CellBox&>(box));
                ++box.index;
            }
        }
    }
}

template <typename Visitor>
void forEachCell(const SegmentVolume& segment, const Visitor& visit) {
    forEachCellInLayers(segment, 0, segment.superBlockSizeZ(), visit);
}

}  // namespace NSegment::detail
