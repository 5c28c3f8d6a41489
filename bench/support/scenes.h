#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <trelis/segment/segment_volume.h>

/// The structures that benchmarks work on, all on one grid and in one patient.
namespace bench {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// 512 x 512 x 200 voxels of 0.98 x 0.98 x 2.5 mm, all empty.
inline SegmentVolume emptyScene() { return {512, 512, 200, 0.98, 0.98, 2.5}; }

/// Millimetres.
struct Ellipsoid {
    double x, y, z;              ///< centre, from the centre of the grid
    double semiX, semiY, semiZ;  ///< half axes
    double edge;                 ///< width of the soft edge, 0 for none
};

/// Fills an ellipsoid with 255 and its edge with a ramp; compacted.
inline SegmentVolume makeScene(const Ellipsoid& e) {
    SegmentVolume segment = emptyScene();
    const auto from = [](double centre, double semi, int size, double resolution) {
        return std::max(0, static_cast<int>(size / 2.0 + (centre - semi) / resolution - 1));
    };
    const auto to = [](double centre, double semi, int size, double resolution) {
        return std::min(size, static_cast<int>(size / 2.0 + (centre + semi) / resolution + 2));
    };
    const auto distance = [](int i, int size, double resolution, double centre, double semi) {
        return ((i + 0.5 - size / 2.0) * resolution - centre) / semi;
    };
    const int nx = segment.xsize();
    const int ny = segment.ysize();
    const int nz = segment.zsize();
    const double meanSemi = std::cbrt(e.semiX * e.semiY * e.semiZ);
    const double reach = e.edge / 2 / meanSemi;
    const double grow = 1 + reach;
    for (int z = from(e.z, e.semiZ * grow, nz, segment.zres());
         z < to(e.z, e.semiZ * grow, nz, segment.zres()); ++z) {
        const double dz = distance(z, nz, segment.zres(), e.z, e.semiZ);
        for (int y = from(e.y, e.semiY * grow, ny, segment.yres());
             y < to(e.y, e.semiY * grow, ny, segment.yres()); ++y) {
            const double dy = distance(y, ny, segment.yres(), e.y, e.semiY);
            for (int x = from(e.x, e.semiX * grow, nx, segment.xres());
                 x < to(e.x, e.semiX * grow, nx, segment.xres()); ++x) {
                const double dx = distance(x, nx, segment.xres(), e.x, e.semiX);
                const double radius = std::sqrt(dx * dx + dy * dy + dz * dz);
                const double fraction =
                    reach > 0 ? (grow - radius) / (2 * reach) : (radius < 1 ? 1.0 : 0.0);
                segment.setPixel(x, y, z, SegmentVolume::fromFloat(fraction));
            }
        }
    }
    segment.compact();
    return segment;
}

/// 25 litres, binary.
inline SegmentVolume body() { return makeScene({0, 0, 0, 200, 120, 248.68, 0}); }

/// 300 cm3 within the body, binary.
inline SegmentVolume organ() { return makeScene({-40, 10, 20, 50, 38, 37.69, 0}); }

/// 100 cm3 with edges that are 4 mm soft; a part of it is in the organ.
inline SegmentVolume target() { return makeScene({-10, 0, 30, 30, 28, 28.42, 4}); }

/// Random values everywhere: every cell is allocated.
inline SegmentVolume noise(unsigned seed) {
    SegmentVolume segment = emptyScene();
    std::mt19937_64 random(seed);
    const std::size_t cells = static_cast<std::size_t>(segment.superBlockSizeX()) *
                              static_cast<std::size_t>(segment.superBlockSizeY()) *
                              static_cast<std::size_t>(segment.superBlockSizeZ());
    for (std::size_t i = 0; i < cells; ++i) {
        VolumeCell& cell = segment.Cells()[i];
        cell.allocate();
        for (int k = 0; k < VolumeCell::kBytes; k += 8) {
            const std::uint64_t values = random();
            std::memcpy(cell.data() + k, &values, sizeof(values));
        }
    }
    return segment;
}

/// All values in raster order, x fastest.
inline std::vector<unsigned char> denseCopy(const SegmentVolume& segment) {
    std::vector<unsigned char> values;
    values.reserve(static_cast<std::size_t>(segment.xsize()) *
                   static_cast<std::size_t>(segment.ysize()) *
                   static_cast<std::size_t>(segment.zsize()));
    for (int z = 0; z < segment.zsize(); ++z) {
        for (int y = 0; y < segment.ysize(); ++y) {
            for (int x = 0; x < segment.xsize(); x += VolumeCell::kSizeX) {
                const unsigned char* row = segment.Cells()[segment.cellIndex(x, y, z)].values() +
                                           SegmentVolume::offsetInCell(0, y, z);
                values.insert(values.end(), row,
                              row + std::min(VolumeCell::kSizeX, segment.xsize() - x));
            }
        }
    }
    return values;
}

}  // namespace bench
