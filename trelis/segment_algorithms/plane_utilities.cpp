#include <trelis/segment_algorithms/plane_utilities.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/segment/detail/cell_bytes.h>
#include <trelis/segment/detail/cell_walk.h>
#include <trelis/segment/fixed_point_iterators.h>

namespace NSegmentAlgorithms {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

constexpr double kResolutionTolerance = 1e-6;

/// The values of one plane of a cell.
using CellPlane = std::array<unsigned char, VolumeCell::kPlaneBytes>;

int offsetOfPlane(int z) { return (z & VolumeCell::kMaskZ) * VolumeCell::kPlaneBytes; }

CellPlane readPlane(const VolumeCell& cell, int z) {
    CellPlane plane;
    std::memcpy(plane.data(), cell.values() + offsetOfPlane(z), plane.size());
    return plane;
}

/// Writes `values` from `offset` on; a cell that has them already keeps its state.
void writeValues(VolumeCell& cell, int offset, const unsigned char* values, std::size_t count) {
    if (std::memcmp(cell.values() + offset, values, count) != 0) {
        cell.allocateKeepingValues();
        std::memcpy(cell.data() + offset, values, count);
    }
}

void writePlane(VolumeCell& cell, int z, const CellPlane& plane) {
    writeValues(cell, offsetOfPlane(z), plane.data(), plane.size());
}

bool areUniformAndEqual(const VolumeCell& a, const VolumeCell& b) {
    return (a.empty() && b.empty()) || (a.full() && b.full());
}

/// The number of cells in a layer.
std::size_t cellsPerLayer(const SegmentVolume& seg) {
    return static_cast<std::size_t>(seg.superBlockSizeX()) *
           static_cast<std::size_t>(seg.superBlockSizeY());
}

/// The cells of the layer that holds plane z.
VolumeCell* layerOf(SegmentVolume& seg, int z) { return seg.Cells() + seg.cellIndex(0, 0, z); }
const VolumeCell* layerOf(const SegmentVolume& seg, int z) {
    return seg.Cells() + seg.cellIndex(0, 0, z);
}

}  // namespace

bool IsEmpty(const SegmentVolume& seg) { return seg.IsEmpty(); }

bool IsPlaneEmpty(const SegmentVolume& seg, int z) {
    if (z < 0 || z >= seg.zsize()) {
        throw std::invalid_argument(
            "NSegmentAlgorithms::IsPlaneEmpty: Plane coordinate out of range");
    }
    const VolumeCell* cells = layerOf(seg, z);
    return std::none_of(cells, cells + cellsPerLayer(seg), [z](const VolumeCell& cell) {
        return !cell.empty() && NSegment::detail::hasInsideByte(cell.values() + offsetOfPlane(z),
                                                                VolumeCell::kPlaneBytes);
    });
}

void ClearPlaneZ(int z, SegmentVolume& seg) {
    VolumeCell* cells = layerOf(seg, z);
    std::for_each(cells, cells + cellsPerLayer(seg), [z](VolumeCell& cell) {
        if (!cell.empty()) {
            writePlane(cell, z, CellPlane{});
        }
    });
}

void copySlice(const SegmentVolume& from, int zFrom, int zTo, SegmentVolume& to) {
    if (zFrom < 0 || zTo < 0 || zFrom >= from.zsize() || zTo >= to.zsize()) {
        Crash(L"Invalid geometry arguments");
    }
    if (!trelis::EpsilonEqual(from.xres(), to.xres(), kResolutionTolerance) ||
        !trelis::EpsilonEqual(from.yres(), to.yres(), kResolutionTolerance) ||
        from.xsize() != to.xsize() || from.ysize() != to.ysize()) {
        Crash(L"Mismatching or invalid geometries in input segments");
    }
    const VolumeCell* source = layerOf(from, zFrom);
    VolumeCell* target = layerOf(to, zTo);
    for (std::size_t i = 0; i < cellsPerLayer(to); ++i) {
        if (!areUniformAndEqual(source[i], target[i])) {
            writePlane(target[i], zTo, readPlane(source[i], zFrom));
        }
    }
}

void MirrorZ(SegmentVolume& seg) {
    for (int z = 0; z < seg.zsize() / 2; ++z) {
        const int mirrored = seg.zsize() - 1 - z;
        VolumeCell* cells = layerOf(seg, z);
        VolumeCell* mirroredCells = layerOf(seg, mirrored);
        for (std::size_t i = 0; i < cellsPerLayer(seg); ++i) {
            if (!areUniformAndEqual(cells[i], mirroredCells[i])) {
                const CellPlane plane = readPlane(cells[i], z);
                writePlane(cells[i], z, readPlane(mirroredCells[i], mirrored));
                writePlane(mirroredCells[i], mirrored, plane);
            }
        }
    }
}

void InverseSegment(const SegmentVolume& in, SegmentVolume& out) {
    NSegment::detail::forEachCell(in, [&](const NSegment::detail::CellBox& box) {
        const unsigned char* source = in.Cells()[box.index].values();
        VolumeCell& target = out.Cells()[out.cellIndex(box.x, box.y, box.z)];
        for (int z = 0; z < box.depth; ++z) {
            for (int y = 0; y < box.height; ++y) {
                const int offset = SegmentVolume::offsetInCell(0, y, z);
                unsigned char row[VolumeCell::kRowBytes];
                for (int x = 0; x < VolumeCell::kRowBytes; ++x) {
                    row[x] =
                        static_cast<unsigned char>(SegmentVolume::maxValue() - source[offset + x]);
                }
                writeValues(target, offset, row, static_cast<std::size_t>(box.width));
            }
        }
    });
}

void InverseSegment(SegmentVolume& seg) { InverseSegment(seg, seg); }

bool IsPointInsideSegment(const MVectorTemplate<double>& p, const SegmentVolume& seg) {
    const NSegment::SpanFixedPoint16TriLinearIterator position(seg, p.x, p.y, p.z, 1.0, 1.0, 1.0);
    return *position >= SegmentVolume::crossingValue();
}

double OverlappingSurfaceRatioForPlaneZ(int z, const SegmentVolume& a, const SegmentVolume& b) {
    std::uint64_t sumOfA = 0;
    std::uint64_t sumOfProducts = 0;
    const int width = std::min(a.xsize(), b.xsize());
    const int height = std::min(a.ysize(), b.ysize());
    for (int y = 0; y < height; ++y) {
        const int offset = SegmentVolume::offsetInCell(0, y, z);
        for (int x = 0; x < width; x += VolumeCell::kSizeX) {
            const VolumeCell& cellOfA = a.Cells()[a.cellIndex(x, y, z)];
            if (cellOfA.empty()) {
                continue;
            }
            const unsigned char* valuesOfA = cellOfA.values() + offset;
            const unsigned char* valuesOfB = b.Cells()[b.cellIndex(x, y, z)].values() + offset;
            const int count = std::min(VolumeCell::kSizeX, width - x);
            std::uint32_t rowSum = 0;
            std::uint32_t rowProducts = 0;
            for (int i = 0; i < count; ++i) {
                rowSum += valuesOfA[i];
                rowProducts += static_cast<std::uint32_t>(valuesOfA[i] * valuesOfB[i]);
            }
            sumOfA += rowSum;
            sumOfProducts += rowProducts;
        }
    }
    if (sumOfA == 0) {
        return 0.0;
    }
    return static_cast<double>(sumOfProducts) /
           (SegmentVolume::maxValue() * static_cast<double>(sumOfA));
}

}  // namespace NSegmentAlgorithms
