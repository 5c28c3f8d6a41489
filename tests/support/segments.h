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

/// A mixture of cells that are empty, full, allocated but uniform (0 and 255 among them), sparse,
/// binary or noisy.
inline NSegment::SegmentVolume randomSegment(Random& random, const GridSize& size,
                                             const Vector& resolution = {1.0, 2.0, 3.0}) {
    NSegment::SegmentVolume segment(size.x, size.y, size.z, resolution.x, resolution.y,
                                    resolution.z);
    constexpr int (*kValueOf[])(int level, int noise) = {
        [](int, int) { return 255; }, [](int level, int) { return level; },
        [](int, int noise) { return noise < 3 ? noise + 126 : 0; },
        [](int, int noise) { return noise < 128 ? 0 : 255; }, [](int, int noise) { return noise; }};
    NSegment::detail::forEachCell(segment, [&](const NSegment::detail::CellBox& box) {
        NSegment::VolumeCell& cell = segment.Cells()[box.index];
        const int kind = random.integer(0, 5);
        if (kind == 5) {
            return;
        }
        const int level = std::clamp(random.integer(-64, 255 + 64), 0, 255);
        cell.allocate();
        for (int i = 0; i < box.width * box.height * box.depth; ++i) {
            segment.setPixel(box.x + i % box.width, box.y + i / box.width % box.height,
                             box.z + i / box.width / box.height,
                             kValueOf[kind](level, random.integer(0, 255)));
        }
        if (kind == 0) {
            cell.compact();
        }
    });
    return segment;
}

/// All values in raster order, x fastest; (z ysize + y) xsize + x is the index of a voxel.
inline std::vector<unsigned char> dense(const NSegment::SegmentVolume& segment) {
    std::vector<unsigned char> values;
    for (int z = 0; z < segment.zsize(); ++z) {
        for (int y = 0; y < segment.ysize(); ++y) {
            for (int x = 0; x < segment.xsize(); ++x) {
                values.push_back(static_cast<unsigned char>(segment.pixel(x, y, z)));
            }
        }
    }
    return values;
}
