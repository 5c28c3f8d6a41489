#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include <trelis/segment/segment_volume.h>

namespace NSegment {

namespace {

constexpr int kCrossing = SegmentVolume::crossingValue();

/// How far the crossing of 128 lies from the inside voxel's centre towards the outside one's.
double crossingFraction(int inside, int outside) {
    return static_cast<double>(inside - kCrossing) / static_cast<double>(inside - outside);
}

/// The extent along one axis in R-voxel coordinates.
struct AxisExtent {
    double low = std::numeric_limits<double>::max();
    double high = -std::numeric_limits<double>::max();

    /// Takes in an inside voxel whose neighbour one step back has the value `back`, 0 beyond the
    /// grid.
    void addInside(int index, int size, int value, int back) {
        if (back < kCrossing) {
            low = std::min(low, index + 0.5 - crossingFraction(value, back));
        }
        if (index == size - 1) {
            high = std::max(high, index + 0.5 + crossingFraction(value, 0));
        }
    }

    /// Takes in an outside voxel.
    void addOutside(int index, int value, int back) {
        if (back >= kCrossing) {
            high = std::max(high, index - 0.5 + crossingFraction(back, value));
        }
    }
};

/// A row of voxels, or none (beyond the grid).
class Row {
  public:
    Row(const SegmentVolume& segment, int y, int z) : length_(segment.xsize()) {
        if (y >= 0 && z >= 0) {
            cells_ = segment.Cells() + segment.cellIndex(0, y, z);
            offset_ = SegmentVolume::offsetInCell(0, y, z);
        }
    }

    int value(int x) const {
        return x < 0 || cells_ == nullptr
                   ? 0
                   : cells_[x / VolumeCell::kSizeX].value(offset_ + x % VolumeCell::kSizeX);
    }

    bool isInFullCell(int x) const {
        return cells_ != nullptr && cells_[x / VolumeCell::kSizeX].full();
    }

    /// 1 in an allocated cell, 0 without a row, else the voxels to the end of the cell or row.
    int constantRun(int x) const {
        if (cells_ == nullptr) {
            return 0;
        }
        return cells_[x / VolumeCell::kSizeX].allocated() ? 1 : toCellEnd(x);
    }

    int toCellEnd(int x) const {
        return std::min(VolumeCell::kSizeX - x % VolumeCell::kSizeX, length_ - x);
    }

  private:
    const VolumeCell* cells_ = nullptr;
    int offset_ = 0;
    int length_;
};

}  // namespace

void SegmentVolume::GetExtendWithSubPixelAccuracy(double& xmin, double& ymin, double& zmin,
                                                  double& xmax, double& ymax, double& zmax) const {
    AxisExtent extentX;
    AxisExtent extentY;
    AxisExtent extentZ;
    const auto scanRow = [&](int y, int z) {
        const Row row(*this, y, z);
        const Row backY(*this, y - 1, z);
        const Row backZ(*this, y, z - 1);
        const bool onHighFace = y == ysize_ - 1 || z == zsize_ - 1;
        int x = 0;
        while (x < xsize_) {
            const int value = row.value(x);
            if (value < kCrossing) {
                extentX.addOutside(x, value, row.value(x - 1));
                extentY.addOutside(y, value, backY.value(x));
                extentZ.addOutside(z, value, backZ.value(x));
                // The longest run, not the shortest: intended, although it can skip crossings.
                x += std::max({row.constantRun(x), backY.constantRun(x), backZ.constantRun(x)});
                continue;
            }
            extentX.addInside(x, xsize_, value, row.value(x - 1));
            extentY.addInside(y, ysize_, value, backY.value(x));
            extentZ.addInside(z, zsize_, value, backZ.value(x));
            // Among full cells the next voxels are surrounded by inside ones, but for the grid's
            // last.
            const bool surrounded = !onHighFace && row.isInFullCell(x) && backY.isInFullCell(x) &&
                                    backZ.isInFullCell(x);
            x = surrounded ? std::max(x + 1, std::min(x + row.toCellEnd(x), xsize_ - 1)) : x + 1;
        }
    };
    // Rows in and behind which all cells are empty have no crossing; nor has what lies beyond the
    // grid.
    std::vector<char> rowsWithout(static_cast<std::size_t>(cellsY_) *
                                  static_cast<std::size_t>(cellsZ_));
    for (std::size_t i = 0; i < rowsWithout.size(); ++i) {
        const auto first = cells_.begin() + static_cast<std::ptrdiff_t>(i) * cellsX_;
        rowsWithout[i] =
            std::all_of(first, first + cellsX_, [](const VolumeCell& c) { return c.empty(); });
    }
    const auto hasNothing = [&](int y, int z) {
        const int row = cellsY_ * (z >> VolumeCell::kShiftZ) + (y >> VolumeCell::kShiftY);
        return y < 0 || z < 0 || rowsWithout[static_cast<std::size_t>(row)] != 0;
    };
    for (int z = 0; z < zsize_; ++z) {
        for (int y = 0; y < ysize_; ++y) {
            if (!(hasNothing(y, z) && hasNothing(y - 1, z) && hasNothing(y, z - 1))) {
                scanRow(y, z);
            }
        }
    }
    xmin = extentX.low;
    ymin = extentY.low;
    zmin = extentZ.low;
    xmax = extentX.high;
    ymax = extentY.high;
    zmax = extentZ.high;
}

}  // namespace NSegment
