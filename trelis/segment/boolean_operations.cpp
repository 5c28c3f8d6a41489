#include <trelis/segment/boolean_operations.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <trelis/foundation/diagnostics.h>
#include <trelis/segment/detail/cell_walk.h>
#include <trelis/segment/detail/voxel_operation.h>

namespace NSegmentAlgorithms {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;
using NSegment::detail::Bounds;
using NSegment::detail::boundsOf;
using NSegment::detail::Byte;
using NSegment::detail::Maximum;
using NSegment::detail::Minimum;
using NSegment::detail::MinimumWithComplement;

constexpr const wchar_t* kDifferentGeometries = L"non-uniform geometries in input segments";
constexpr const wchar_t* kSameParameters = L"result and parameters are the same";
constexpr const wchar_t* kSameSegments = L"segments result and a or b are the same";
constexpr const wchar_t* kPlanesOutOfRange = L"z argument out of range";

void require(bool condition, const wchar_t* message) {
    if (!condition) {
        Crash(message);
    }
}

bool haveOneGeometry(const SegmentVolume& a, const SegmentVolume& b, const SegmentVolume& c) {
    return a.hasEqualGeometry(b) && a.hasEqualGeometry(c) && b.hasEqualGeometry(c);
}

/// Gives the result the sizes and the very resolutions of a; cells are kept where it has them.
void takeGeometry(const SegmentVolume& a, SegmentVolume& result) {
    if (!result.hasEqualSize(a) || result.xres() != a.xres() || result.yres() != a.yres() ||
        result.zres() != a.zres()) {
        result.assign(SegmentVolume(a.xsize(), a.ysize(), a.zsize(), a.xres(), a.yres(), a.zres()));
    }
}

/// Coordinates from `begin` up to but not including `end`.
struct Range {
    int begin;
    int end;
};

struct Box {
    Range x;
    Range y;
    Range z;
};

/// The part of a cell that an operation works on, counted from the cell's first voxel.
struct CellPart : Box {
    bool hasWholePlanes() const {
        return x.end - x.begin == VolumeCell::kSizeX && y.end - y.begin == VolumeCell::kSizeY;
    }
    bool isWhole() const { return hasWholePlanes() && z.end - z.begin == VolumeCell::kSizeZ; }

    /// Calls visit(offset, count) for stretches of contiguous bytes.
    template <typename Visitor>
    void forEachStretch(const Visitor& visit) const {
        if (hasWholePlanes()) {
            visit(z.begin * VolumeCell::kPlaneBytes, (z.end - z.begin) * VolumeCell::kPlaneBytes);
            return;
        }
        for (int plane = z.begin; plane < z.end; ++plane) {
            for (int row = y.begin; row < y.end; ++row) {
                visit(plane * VolumeCell::kPlaneBytes + row * VolumeCell::kRowBytes + x.begin,
                      x.end - x.begin);
            }
        }
    }
};

/// The cells that a range meets along one axis. A range that ends with the grid takes in what its
/// last cell has beyond it: that is 0 in every segment, and all operations here make 0 of zeros.
class CellsAlongAxis {
  public:
    CellsAlongAxis(Range voxels, int gridSize, int cellSize)
        : first_(voxels.begin), end_(voxels.end), cellSize_(cellSize) {
        if (first_ < end_ && end_ == gridSize) {
            end_ = (end_ + cellSize - 1) / cellSize * cellSize;
        }
    }

    int begin() const { return static_cast<int>(first_ / cellSize_); }
    int end() const {
        return first_ < end_ ? static_cast<int>((end_ - 1) / cellSize_) + 1 : begin();
    }
    Range partOf(int cell) const {
        const std::int64_t cellStart = std::int64_t{cell} * cellSize_;
        return {static_cast<int>(std::max<std::int64_t>(first_ - cellStart, 0)),
                static_cast<int>(std::min<std::int64_t>(end_ - cellStart, cellSize_))};
    }

  private:
    std::int64_t first_;
    std::int64_t end_;
    int cellSize_;
};

/// Calls visit(index of the cell, part of it) for all cells that the box meets.
template <typename Visitor>
void forEachCellPart(const SegmentVolume& segment, const Box& box, const Visitor& visit) {
    const CellsAlongAxis alongX(box.x, segment.xsize(), VolumeCell::kSizeX);
    const CellsAlongAxis alongY(box.y, segment.ysize(), VolumeCell::kSizeY);
    const CellsAlongAxis alongZ(box.z, segment.zsize(), VolumeCell::kSizeZ);
    for (int cellZ = alongZ.begin(); cellZ < alongZ.end(); ++cellZ) {
        for (int cellY = alongY.begin(); cellY < alongY.end(); ++cellY) {
            const std::size_t row =
                segment.cellIndex(0, cellY * VolumeCell::kSizeY, cellZ * VolumeCell::kSizeZ);
            CellPart part{{{}, alongY.partOf(cellY), alongZ.partOf(cellZ)}};
            for (int cellX = alongX.begin(); cellX < alongX.end(); ++cellX) {
                part.x = alongX.partOf(cellX);
                visit(row + static_cast<std::size_t>(cellX), part);
            }
        }
    }
}

/// Writes one value, 0 or 255, to a part of a cell.
void setUniform(VolumeCell& cell, Byte value, const CellPart& part) {
    const bool toZero = value == VolumeCell::minValue();
    if (toZero ? cell.empty() : cell.full()) {
        return;
    }
    if (!part.isWhole()) {
        cell.allocateKeepingValues();
        part.forEachStretch(
            [&](int offset, int count) { std::fill_n(cell.data() + offset, count, value); });
    } else if (toZero) {
        cell.clear();
    } else {
        cell.fill();
    }
}

/// `a` and `out` may be the same. Two loops, since compilers do not vectorise one that has to allow
/// for that.
template <typename Operation>
void combineBytes(const Byte* a, const Byte* b, Byte* out, int count) {
    if (a == out) {
        for (int i = 0; i < count; ++i) {
            out[i] = Operation::apply(out[i], b[i]);
        }
    } else {
        for (int i = 0; i < count; ++i) {
            out[i] = Operation::apply(a[i], b[i]);
        }
    }
}

/// out := Operation(a, b) in a part of a cell. `a` and `out` may be the same cell; else `part` is
/// whole. Bytes are read only where the states of the cells leave the result open.
template <typename Operation>
void combineCell(const VolumeCell& a, const VolumeCell& b, VolumeCell& out, const CellPart& part) {
    const Bounds bounds = boundsOf<Operation>(boundsOf(a), boundsOf(b));
    if (bounds.areEqual()) {
        setUniform(out, bounds.low, part);
        return;
    }
    if (returnsFirst<Operation>(boundsOf(b))) {
        out.assign(a);
        return;
    }
    if (returnsSecond<Operation>(boundsOf(a)) && part.isWhole()) {
        out.assign(b);
        return;
    }
    out.allocateKeepingValues();
    part.forEachStretch(
        [target = out.data(), first = a.values(), second = b.values()](int offset, int count) {
            combineBytes<Operation>(first + offset, second + offset, target + offset, count);
        });
}

template <typename Operation>
void combine(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result, Range planes) {
    forEachCellPart(result, {{0, result.xsize()}, {0, result.ysize()}, planes},
                    [cellsA = a.Cells(), cellsB = b.Cells(), cells = result.Cells()](
                        std::size_t index, const CellPart& part) {
                        const VolumeCell& cellA = cellsA[index];
                        const VolumeCell& cellB = cellsB[index];
                        VolumeCell& out = cells[index];
                        // Most cells of most structures: not worth a call.
                        if (!(cellA.empty() && cellB.empty() && out.empty())) {
                            combineCell<Operation>(cellA, cellB, out, part);
                        }
                    });
}

template <typename Operation>
void combine(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result) {
    combine<Operation>(a, b, result, {0, result.zsize()});
}

template <typename Operation>
void combineInPlace(const SegmentVolume& a, int zBegin, int zEnd, SegmentVolume& result) {
    combine<Operation>(result, a, result, {std::max(zBegin, 0), zEnd});
}

/// The box from the lowest to the highest of two inclusive bounding boxes.
Box enclosingBox(const SegmentVolume& a, const SegmentVolume& b) {
    struct Corners {
        int xmin, ymin, zmin, xmax, ymax, zmax;
        explicit Corners(const SegmentVolume& s) {
            s.GetBoundingBoxForIteration(xmin, ymin, zmin, xmax, ymax, zmax);
        }
    };
    const Corners p(a);
    const Corners q(b);
    return {{std::min(p.xmin, q.xmin), std::min(std::max(p.xmax, q.xmax), a.xsize() - 1) + 1},
            {std::min(p.ymin, q.ymin), std::min(std::max(p.ymax, q.ymax), a.ysize() - 1) + 1},
            {std::min(p.zmin, q.zmin), std::min(std::max(p.zmax, q.zmax), a.zsize() - 1) + 1}};
}

}  // namespace

void Union(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result) {
    require(&result != &a && &result != &b, kSameParameters);
    require(haveOneGeometry(a, b, result), kDifferentGeometries);
    combine<Maximum>(a, b, result);
}

void Intersection(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result) {
    require(haveOneGeometry(a, b, result), kDifferentGeometries);
    require(&result != &a && &result != &b, kSameSegments);
    combine<Minimum>(a, b, result);
}

void Subtract(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result) {
    require(a.hasEqualGeometry(b) && a.hasEqualGeometry(result), kDifferentGeometries);
    require(&result != &a && &result != &b, kSameParameters);
    takeGeometry(a, result);
    combine<MinimumWithComplement>(a, b, result);
}

void Invert(const SegmentVolume& a, SegmentVolume& result) {
    require(&result != &a, kSameParameters);
    takeGeometry(a, result);
    NSegment::detail::forEachCell(a, [&](const NSegment::detail::CellBox& box) {
        const VolumeCell& cell = a.Cells()[box.index];
        VolumeCell& out = result.Cells()[box.index];
        if (cell.full()) {
            out.clear();
            return;
        }
        if (cell.empty() && !box.isEdge()) {
            out.fill();
            return;
        }
        // Beyond the grid the storage of an edge cell stays 0.
        out.allocateKeepingValues();
        const CellPart part{{{0, box.width}, {0, box.height}, {0, box.depth}}};
        part.forEachStretch([values = cell.values(), target = out.data()](int offset, int count) {
            for (int i = offset; i < offset + count; ++i) {
                target[i] = MinimumWithComplement::apply(VolumeCell::maxValue(), values[i]);
            }
        });
    });
}

void UnionInPlace(const SegmentVolume& a, SegmentVolume& result) {
    UnionInPlace(a, 0, a.zsize(), result);
}

void IntersectionInPlace(const SegmentVolume& a, SegmentVolume& result) {
    IntersectionInPlace(a, 0, a.zsize(), result);
}

void SubtractInPlace(const SegmentVolume& a, SegmentVolume& result) {
    SubtractInPlace(a, 0, a.zsize(), result);
}

void UnionInPlace(const SegmentVolume& a, int zBegin, int zEnd, SegmentVolume& result) {
    require(a.hasEqualGeometry(result), kDifferentGeometries);
    require(zEnd <= a.zsize(), kPlanesOutOfRange);
    require(&result != &a, kSameParameters);
    combineInPlace<Maximum>(a, zBegin, zEnd, result);
}

void IntersectionInPlace(const SegmentVolume& a, int zBegin, int zEnd, SegmentVolume& result) {
    require(a.hasEqualGeometry(result), kDifferentGeometries);
    require(&result != &a, kSameParameters);
    require(zEnd <= a.zsize(), kPlanesOutOfRange);
    combineInPlace<Minimum>(a, zBegin, zEnd, result);
}

void SubtractInPlace(const SegmentVolume& a, int zBegin, int zEnd, SegmentVolume& result) {
    require(a.hasEqualGeometry(result), kDifferentGeometries);
    require(&result != &a, kSameParameters);
    require(zEnd <= a.zsize(), kPlanesOutOfRange);
    combineInPlace<MinimumWithComplement>(a, zBegin, zEnd, result);
}

void TernaryUnionInPlace(const SegmentVolume& a, const SegmentVolume& b, SegmentVolume& result) {
    require(&a != &b && &result != &a && &result != &b, kSameParameters);
    require(haveOneGeometry(a, b, result), kDifferentGeometries);
    forEachCellPart(result, enclosingBox(a, b), [&](std::size_t index, const CellPart& part) {
        VolumeCell& out = result.Cells()[index];
        combineCell<Maximum>(out, a.Cells()[index], out, part);
        combineCell<Maximum>(out, b.Cells()[index], out, part);
    });
}

}  // namespace NSegmentAlgorithms
