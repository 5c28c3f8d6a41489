#pragma once

#include <algorithm>
#include <vector>

#include <tests/support/vectors.h>
#include <trelis/segment/detail/cell_walk.h>
#include <trelis/segment/segment_volume.h>

/// Sizes that end inside a cell, on its border and one voxel beyond it, on one axis or on all.
struct GridSize {
    int x, y, z;
};
inline constexpr GridSize kOddSizes[] = {{1, 1, 1},    {31, 15, 7},   {32, 16, 8}, {33, 17, 9},
                                         {70, 40, 19}, {100, 50, 20}, {5, 64, 3},  {97, 3, 33}};

inline GridSize sizeOf(const NSegment::SegmentVolume& s) {
    return {s.xsize(), s.ysize(), s.zsize()};
}

/// Calls visit(x, y, z) for every voxel of a grid in raster order, x fastest.
template <typename Visitor>
void forEachVoxel(const GridSize& size, const Visitor& visit) {
    for (int i = 0; i < size.x * size.y * size.z; ++i) {
        visit(i % size.x, i / size.x % size.y, i / size.x / size.y);
    }
}

/// A mixture of cells that are allocated but uniform (0 and 255 among them), sparse, binary or
/// noisy, full or empty.
inline NSegment::SegmentVolume randomSegment(Random& random, const GridSize& size,
                                             const Vector& resolution = {1.0, 2.0, 3.0}) {
    NSegment::SegmentVolume segment(size.x, size.y, size.z, resolution.x, resolution.y,
                                    resolution.z);
    NSegment::detail::forEachCell(segment, [&](const NSegment::detail::CellBox& box) {
        const int kind = random.integer(0, 5);
        const int level = std::clamp(random.integer(-64, 255 + 64), 0, 255);
        segment.Cells()[box.index].allocate();
        forEachVoxel({box.width, box.height, box.depth}, [&](int x, int y, int z) {
            const int noise = random.integer(0, 255);
            const int sparse = noise < 3 ? noise + 126 : 0;
            const int values[] = {level, sparse, noise < 128 ? 0 : 255, noise, 255, 0};
            segment.setPixel(box.x + x, box.y + y, box.z + z, values[kind]);
        });
        if (kind > 3) {
            segment.Cells()[box.index].compact();
        }
    });
    return segment;
}

/// All values in raster order; (z ysize + y) xsize + x is the index of a voxel.
inline std::vector<unsigned char> dense(const NSegment::SegmentVolume& segment) {
    std::vector<unsigned char> values;
    forEachVoxel(sizeOf(segment), [&](int x, int y, int z) {
        values.push_back(static_cast<unsigned char>(segment.pixel(x, y, z)));
    });
    return values;
}
