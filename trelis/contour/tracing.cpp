#include <trelis/contour/tracing.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include <trelis/contour/detail/contour_linker.h>

namespace NEdgePointAlgorithms {

namespace {

using detail::ContourLinker;
using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// The level between 127 and 128.
constexpr double kSegmentLevel = 127.5;

/// Rows are scanned in groups of this many squares.
constexpr std::size_t kGroup = 8;
constexpr unsigned char kInsideBit = 0x80;

std::uint64_t load8(const unsigned char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// Calls visit(i) for the squares i < count, a multiple of 8, between points i and i + 1 of two
/// rows, the corners of which differ in their top bit. Reads count + 1 bytes of each row.
template <typename Visitor>
void forEachCrossedSquare(const unsigned char* lower, const unsigned char* upper, std::size_t count,
                          const Visitor& visit) {
    constexpr std::uint64_t kTopBits = 0x8080808080808080U;
    for (std::size_t i = 0; i < count; i += kGroup) {
        const std::uint64_t l = load8(lower + i);
        const std::uint64_t u = load8(upper + i);
        const std::uint64_t changes =
            ((l ^ load8(lower + i + 1)) | (u ^ load8(upper + i + 1)) | (l ^ u)) & kTopBits;
        if (changes == 0) {
            continue;
        }
        unsigned char isCrossed[kGroup];
        std::memcpy(isCrossed, &changes, sizeof(changes));
        for (std::size_t k = 0; k < kGroup; ++k) {
            if (isCrossed[k] != 0) {
                visit(static_cast<int>(i + k));
            }
        }
    }
}

/// The values of a cell in one plane, with the first column and row of the cells that follow: the
/// corners of the squares that start in the cell.
class Tile {
  public:
    /// The cells at the place of the tile, right of it, above and right above.
    using Cells = const VolumeCell* [4];

    Tile(const Cells& cells, int x, int plane) : x_(x) {
        const int offset = SegmentVolume::offsetInCell(0, 0, plane);
        for (int y = 0; y < VolumeCell::kSizeY; ++y) {
            fillRow(y, cells[0], cells[1], offset + y * VolumeCell::kRowBytes);
        }
        fillRow(VolumeCell::kSizeY, cells[2], cells[3], offset);
    }

    /// Hands on the squares at y of the grid, which is in the tile.
    void addRow(int y, ContourLinker& linker) const {
        const unsigned char* lower = values_[y & VolumeCell::kMaskY];
        const unsigned char* upper = values_[(y & VolumeCell::kMaskY) + 1];
        forEachCrossedSquare(lower, upper, VolumeCell::kSizeX, [&](int x) {
            linker.add(x_ + x, y,
                       {static_cast<double>(lower[x]), static_cast<double>(lower[x + 1]),
                        static_cast<double>(upper[x]), static_cast<double>(upper[x + 1])});
        });
    }

  private:
    void fillRow(int y, const VolumeCell* cell, const VolumeCell* next, int offset) {
        std::memcpy(values_[y], cell->values() + offset, VolumeCell::kSizeX);
        values_[y][VolumeCell::kSizeX] = next->values()[offset];
    }

    int x_;
    unsigned char values_[VolumeCell::kSizeY + 1][VolumeCell::kSizeX + 1];
};

/// The layer of cells that holds a plane, between empty cells beyond the grid.
class Layer {
  public:
    Layer(const SegmentVolume& segment, int plane)
        : segment_(segment), cells_(segment.Cells() + segment.cellIndex(0, 0, plane)) {
        hasStructure_.push_back(false);
        for (int cellY = 0; cellY < segment.superBlockSizeY(); ++cellY) {
            hasStructure_.push_back(!isRowEmpty(cellY));
        }
        hasStructure_.push_back(false);
    }

    /// Appends the tiles of row `cellY` of cells, from -1 on, that the level can cross.
    void appendTiles(int cellY, int plane, std::vector<Tile>& tiles) const {
        const auto row = static_cast<std::size_t>(std::ptrdiff_t{cellY} + 1);
        if (!hasStructure_[row] && !hasStructure_[row + 1]) {
            return;
        }
        State state = stateOfColumn(-1, cellY);
        for (int cellX = -1; cellX < segment_.superBlockSizeX(); ++cellX) {
            const State next = stateOfColumn(cellX + 1, cellY);
            if (state != next || state == State::Mixed) {
                tiles.emplace_back(
                    Tile::Cells{&cell(cellX, cellY), &cell(cellX + 1, cellY),
                                &cell(cellX, cellY + 1), &cell(cellX + 1, cellY + 1)},
                    cellX * VolumeCell::kSizeX, plane);
            }
            state = next;
        }
    }

  private:
    enum class State { Empty, Full, Mixed };

    const VolumeCell* row(int cellY) const {
        return cells_ + static_cast<std::ptrdiff_t>(cellY) * segment_.superBlockSizeX();
    }

    const VolumeCell& cell(int cellX, int cellY) const {
        static const VolumeCell kEmpty;
        const bool exists = cellX >= 0 && cellX < segment_.superBlockSizeX() && cellY >= 0 &&
                            cellY < segment_.superBlockSizeY();
        return exists ? row(cellY)[cellX] : kEmpty;
    }

    /// Looks at all cells, without branches, which is fast also for wide grids.
    bool isRowEmpty(int cellY) const {
        std::uintptr_t words = 0;
        const VolumeCell* cells = row(cellY);
        for (int i = 0; i < segment_.superBlockSizeX(); ++i) {
            words |= reinterpret_cast<std::uintptr_t>(cells[i].data());
        }
        return words == 0;
    }

    /// Of a cell and the one above it.
    State stateOfColumn(int cellX, int cellY) const {
        const VolumeCell& lower = cell(cellX, cellY);
        const VolumeCell& upper = cell(cellX, cellY + 1);
        if (lower.empty() && upper.empty()) {
            return State::Empty;
        }
        return lower.full() && upper.full() ? State::Full : State::Mixed;
    }

    const SegmentVolume& segment_;
    const VolumeCell* cells_;
    std::vector<bool> hasStructure_;  // of each row of cells, and of one below and above the grid
};

template <typename T, typename Bound>
void markAtOrAbove(Bound bound, const T* values, int count, unsigned char* marks) {
    for (int i = 0; i < count; ++i) {
        marks[i] = static_cast<Bound>(values[i]) >= bound ? kInsideBit : 0;
    }
}

/// Sets the inside bit of values at or above the level. Integers are compared as such: faster.
template <typename T>
void markInside(double level, const T* values, int count, unsigned char* marks) {
    if constexpr (std::is_integral_v<T>) {
        const double lowest = std::ceil(level);
        if (lowest <= static_cast<double>(std::numeric_limits<T>::max())) {
            const auto least = static_cast<double>(std::numeric_limits<T>::lowest());
            markAtOrAbove(static_cast<T>(std::max(lowest, least)), values, count, marks);
        } else {
            std::fill_n(marks, count, static_cast<unsigned char>(0));
        }
    } else {
        markAtOrAbove(level, values, count, marks);
    }
}

/// Which voxels of a row of a volume are inside, with one more on each side that is outside.
class InsideRow {
  public:
    explicit InsideRow(int xsize)
        : squares_((static_cast<std::size_t>(xsize) / kGroup + 1) * kGroup), bytes_(squares_ + 1) {}

    /// Without values, all are outside.
    template <typename T>
    void load(double level, const T* values, int xsize) {
        if (values != nullptr) {
            markInside(level, values, xsize, bytes_.data() + 1);
        } else {
            std::fill(bytes_.begin(), bytes_.end(), static_cast<unsigned char>(0));
        }
    }

    const unsigned char* bytes() const { return bytes_.data(); }
    std::size_t squares() const { return squares_; }

  private:
    std::size_t squares_;
    std::vector<unsigned char> bytes_;
};

/// The value at x of a row that may be beyond the grid, where there is NaN.
template <typename T>
double valueAt(const T* row, int x, int xsize) {
    const bool exists = row != nullptr && x >= 0 && x < xsize;
    return exists ? static_cast<double>(row[x]) : std::numeric_limits<double>::quiet_NaN();
}

template <typename T>
Glyph tracePlane(const T* plane, int xsize, int ysize, double level) {
    ContourLinker linker(level);
    InsideRow lowerInside(xsize);
    InsideRow upperInside(xsize);
    const T* lower = nullptr;
    for (int y = -1; y < ysize; ++y) {
        const T* upper =
            y + 1 < ysize ? plane + static_cast<std::ptrdiff_t>(y + 1) * xsize : nullptr;
        upperInside.load(level, upper, xsize);
        forEachCrossedSquare(
            lowerInside.bytes(), upperInside.bytes(), lowerInside.squares(), [&](int i) {
                const int x = i - 1;
                linker.add(x, y,
                           {valueAt(lower, x, xsize), valueAt(lower, x + 1, xsize),
                            valueAt(upper, x, xsize), valueAt(upper, x + 1, xsize)});
            });
        std::swap(lowerInside, upperInside);
        lower = upper;
    }
    return std::move(linker).contours();
}

}  // namespace

void TraceSegmentPlane(const SegmentVolume& segment, int plane, Glyph& outlines) {
    if (plane < 0 || plane >= segment.zsize()) {
        throw std::invalid_argument("NEdgePointAlgorithms::TraceSegmentPlane: plane out of range");
    }
    ContourLinker linker(kSegmentLevel);
    const Layer layer(segment, plane);
    std::vector<Tile> tiles;
    for (int cellY = -1; cellY < segment.superBlockSizeY(); ++cellY) {
        tiles.clear();
        layer.appendTiles(cellY, plane, tiles);
        // Of the row of cells below the grid only the last row of squares has a corner in it.
        const int first = std::max(-1, cellY * VolumeCell::kSizeY);
        const int last = std::min((cellY + 1) * VolumeCell::kSizeY, segment.ysize()) - 1;
        for (int y = first; y <= last && !tiles.empty(); ++y) {
            for (const Tile& tile : tiles) {
                tile.addRow(y, linker);
            }
        }
    }
    outlines = std::move(linker).contours();
}

template <typename T>
void TraceVolumePlane(const QVolume<T>& volume, int plane, double level, Glyph& outlines) {
    if (std::isnan(level)) {
        throw std::invalid_argument("NEdgePointAlgorithms::TraceVolumePlane: level is NaN");
    }
    if (plane < 0 || plane >= volume.GetZSize()) {
        throw std::invalid_argument("NEdgePointAlgorithms::TraceVolumePlane: plane out of range");
    }
    if (!volume.PixelsAllocated()) {
        throw std::invalid_argument("NEdgePointAlgorithms::TraceVolumePlane: volume has no pixels");
    }
    outlines = tracePlane(volume.GetConstSpanXY(plane).begin(), volume.GetXSize(),
                          volume.GetYSize(), level);
}

template TRELIS_API void TraceVolumePlane(const QVolume<unsigned short>&, int, double, Glyph&);
template TRELIS_API void TraceVolumePlane(const QVolume<unsigned int>&, int, double, Glyph&);
template TRELIS_API void TraceVolumePlane(const QVolume<int>&, int, double, Glyph&);
template TRELIS_API void TraceVolumePlane(const QVolume<float>&, int, double, Glyph&);

}  // namespace NEdgePointAlgorithms
