#include <trelis/contour/detail/segment_field.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <trelis/segment/detail/cell_walk.h>

namespace trelis::detail {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;
using Vector = MVectorTemplate<double>;

constexpr int kShifts[3] = {VolumeCell::kShiftX, VolumeCell::kShiftY, VolumeCell::kShiftZ};
constexpr int kMasks[3] = {VolumeCell::kMaskX, VolumeCell::kMaskY, VolumeCell::kMaskZ};

constexpr double kMaximum = SegmentVolume::maxValue();

constexpr double kSamplesPerVoxel = 2.0;

double coordinateOf(std::int64_t sample) { return static_cast<double>(sample) / kSamplesPerVoxel; }

/// How often the distance of samples is halved round the one with the largest value.
constexpr int kRefinements = 3;

/// How many samples after the first of 255 another one is looked for, at most.
constexpr std::int64_t kFurthest = 64;

double lerp(double a, double b, double t) { return a + t * (b - a); }

/// Of the corners of a cube, x fastest, then y, then z.
double blend(const double (&v)[8], double fx, double fy, double fz) {
    return lerp(lerp(lerp(v[0], v[1], fx), lerp(v[2], v[3], fx), fy),
                lerp(lerp(v[4], v[5], fx), lerp(v[6], v[7], fx), fy), fz);
}

}  // namespace

/// Empty where `high` is below `low`.
struct SegmentField::Interval {
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();

    void cut(double otherLow, double otherHigh) {
        low = std::max(low, otherLow);
        high = std::min(high, otherHigh);
    }
    bool contains(double c) const { return c >= low && c <= high; }
};

/// A half line by its steepest coordinate: that component of at(c) is c. Its origin is computed
/// from the target, which is near the segment however far away the source is.
class SegmentField::Line {
  public:
    Line(const Vector& source, const Vector& target)
        : origin_{target.x, target.y, target.z},
          slope_{target.x - source.x, target.y - source.y, target.z - source.z} {
        std::size_t axis = 0;
        for (std::size_t k = 1; k < 3; ++k) {
            axis = std::abs(slope_[k]) > std::abs(slope_[axis]) ? k : axis;
        }
        const double anchor = origin_[axis];
        const double direction = slope_[axis];
        const double start = anchor - direction;
        if (direction > 0.0) {
            ahead_.low = start;
        } else {
            ahead_.high = start;
        }
        for (std::size_t k = 0; k < 3; ++k) {
            slope_[k] /= direction;
            inverseSlope_[k] = 1.0 / slope_[k];
            origin_[k] -= anchor * slope_[k];
        }
    }

    Position at(double c) const {
        return {origin_[0] + c * slope_[0], origin_[1] + c * slope_[1], origin_[2] + c * slope_[2]};
    }

    /// Where the half line is.
    Interval ahead() const { return ahead_; }

    /// Where component k is between two bounds.
    Interval between(std::size_t k, double lowBound, double highBound) const {
        if (slope_[k] == 0.0) {
            const bool isThere = origin_[k] > lowBound && origin_[k] < highBound;
            return isThere ? Interval{} : Interval{1.0, 0.0};
        }
        const double a = (lowBound - origin_[k]) * inverseSlope_[k];
        const double b = (highBound - origin_[k]) * inverseSlope_[k];
        return {std::min(a, b), std::max(a, b)};
    }

    /// Where the line, upwards, leaves a cell.
    double exit(const Index& cell) const {
        double c = std::numeric_limits<double>::infinity();
        for (std::size_t k = 0; k < 3; ++k) {
            if (slope_[k] != 0.0) {
                const int border = (slope_[k] > 0.0 ? cell[k] + 1 : cell[k]) * (kMasks[k] + 1);
                c = std::min(c, (border - origin_[k]) * inverseSlope_[k]);
            }
        }
        return c;
    }

  private:
    Position origin_;
    Position slope_;
    Position inverseSlope_{};
    Interval ahead_;
};

SegmentField::SegmentField(const SegmentVolume& segment) : segment_(segment) {
    findBox();
    for (std::size_t k = 0; k < 3; ++k) {
        firstCell_[k] = low_[k] >> kShifts[k];
        cellCounts_[k] = std::max(0, ((high_[k] - 1) >> kShifts[k]) - firstCell_[k] + 1);
    }
    for (int z = 0; z < cellCounts_[2]; ++z) {
        for (int y = 0; y < cellCounts_[1]; ++y) {
            for (int x = 0; x < cellCounts_[0]; ++x) {
                regions_.push_back(
                    regionOfCells({firstCell_[0] + x, firstCell_[1] + y, firstCell_[2] + z}));
            }
        }
    }
}

void SegmentField::findBox() {
    low_ = {segment_.xsize(), segment_.ysize(), segment_.zsize()};
    high_ = {-1, -1, -1};
    NSegment::detail::forEachCell(segment_, [&](const NSegment::detail::CellBox& box) {
        if (!segment_.Cells()[box.index].empty()) {
            const Index first = {box.x, box.y, box.z};
            const Index size = {box.width, box.height, box.depth};
            for (std::size_t k = 0; k < 3; ++k) {
                low_[k] = std::min(low_[k], first[k] - 1);
                high_[k] = std::max(high_[k], first[k] + size[k]);
            }
        }
    });
}

SegmentField::Region SegmentField::regionOfCells(const Index& cell) const {
    int emptyCount = 0;
    int fullCount = 0;
    for (int corner = 0; corner < 8; ++corner) {
        const int x = cell[0] + (corner & 1);
        const int y = cell[1] + (corner >> 1 & 1);
        const int z = cell[2] + (corner >> 2);
        const bool exists = x >= 0 && y >= 0 && z >= 0 && x < segment_.superBlockSizeX() &&
                            y < segment_.superBlockSizeY() && z < segment_.superBlockSizeZ();
        const VolumeCell* neighbour =
            exists ? segment_.Cells() +
                         segment_.cellIndex(x << kShifts[0], y << kShifts[1], z << kShifts[2])
                   : nullptr;
        emptyCount += neighbour == nullptr || neighbour->empty() ? 1 : 0;
        fullCount += neighbour != nullptr && neighbour->full() ? 1 : 0;
    }
    return emptyCount == 8 ? Region::Empty : fullCount == 8 ? Region::Full : Region::Mixed;
}

SegmentField::Region SegmentField::regionAt(const Index& cell) const {
    std::size_t index = 0;
    for (std::size_t k = 3; k-- > 0;) {
        index = index * static_cast<std::size_t>(cellCounts_[k]) +
                static_cast<std::size_t>(cell[k] - firstCell_[k]);
    }
    return regions_[index];
}

SegmentField::Interval SegmentField::withinBox(const Line& line) const {
    Interval range = line.ahead();
    for (std::size_t k = 0; k < 3; ++k) {
        const Interval other = line.between(k, low_[k], high_[k]);
        range.cut(other.low, other.high);
    }
    return range;
}

/// The lattice cube that holds a position in the box; at its end, rounding included, the last.
SegmentField::Index SegmentField::voxelAt(const Position& p) const {
    Index voxel;
    for (std::size_t k = 0; k < 3; ++k) {
        voxel[k] = std::min(low_[k] + static_cast<int>(p[k] - low_[k]), high_[k] - 1);
    }
    return voxel;
}

double SegmentField::pixelOr0(int x, int y, int z) const {
    const bool exists = x >= 0 && y >= 0 && z >= 0 && x < segment_.xsize() &&
                        y < segment_.ysize() && z < segment_.zsize();
    return exists ? segment_.pixel(x, y, z) : 0;
}

double SegmentField::valueAt(const Position& p, const Index& voxel) const {
    const auto [x, y, z] = voxel;
    const bool inOneCell = (x & VolumeCell::kMaskX) != VolumeCell::kMaskX &&
                           (y & VolumeCell::kMaskY) != VolumeCell::kMaskY &&
                           (z & VolumeCell::kMaskZ) != VolumeCell::kMaskZ;
    double corners[8];
    if (inOneCell) {
        const VolumeCell& cell = segment_.Cells()[segment_.cellIndex(x, y, z)];
        if (!cell.allocated()) {
            return cell.empty() ? 0.0 : kMaximum;
        }
        const unsigned char* values = cell.data() + SegmentVolume::offsetInCell(x, y, z);
        for (int i = 0; i < 8; ++i) {
            corners[i] = values[(i & 1) + (i >> 1 & 1) * VolumeCell::kRowBytes +
                                (i >> 2) * VolumeCell::kPlaneBytes];
        }
    } else {
        for (int i = 0; i < 8; ++i) {
            corners[i] = pixelOr0(x + (i & 1), y + (i >> 1 & 1), z + (i >> 2));
        }
    }
    return blend(corners, p[0] - x, p[1] - y, p[2] - z);
}

double SegmentField::refined(const Line& line, const Interval& range, double c,
                             double value) const {
    double distance = 1.0 / kSamplesPerVoxel;
    for (int i = 0; i < kRefinements; ++i) {
        distance /= 2.0;
        for (const double other : {c - distance, c + distance}) {
            const double otherValue = range.contains(other) ? valueAt(line.at(other)) : 0.0;
            if (otherValue > value) {
                value = otherValue;
                c = other;
            }
        }
    }
    return value;
}

SegmentField::Sample SegmentField::furtherInside(const Line& line, Sample full, Sample last) const {
    Sample distance = kFurthest;
    while (full + distance > last || valueAt(line.at(coordinateOf(full + distance))) < kMaximum) {
        distance /= 2;
    }
    return full + distance;
}

double SegmentField::largestSample(const Line& line, Sample first, Sample last,
                                   Sample& place) const {
    double largest = 0.0;
    for (Sample n = first; n <= last && largest < kMaximum; ++n) {
        const Position p = line.at(coordinateOf(n));
        const Index voxel = voxelAt(p);
        const Index cell = {voxel[0] >> kShifts[0], voxel[1] >> kShifts[1], voxel[2] >> kShifts[2]};
        const Region region = regionAt(cell);
        if (region == Region::Empty) {
            n = std::max(n, static_cast<Sample>(line.exit(cell) * kSamplesPerVoxel) - 1);
            continue;
        }
        const double value = region == Region::Full ? kMaximum : valueAt(p, voxel);
        if (value > largest) {
            largest = value;
            place = n;
        }
    }
    return largest;
}

double SegmentField::maximumAlong(const Vector& source, const Vector& target, Sample& hint) const {
    const Line line(source, target);
    const Interval range = withinBox(line);
    const double length = range.high - range.low;
    if (!(length >= 0.0) || std::isinf(length)) {
        return 0.0;
    }
    const auto first = static_cast<Sample>(std::ceil(range.low * kSamplesPerVoxel));
    const auto last = static_cast<Sample>(std::floor(range.high * kSamplesPerVoxel));
    if (hint >= first && hint <= last && valueAt(line.at(coordinateOf(hint))) >= kMaximum) {
        return kMaximum;
    }
    const double largest = largestSample(line, first, last, hint);
    if (largest >= kMaximum) {
        hint = furtherInside(line, hint, last);
        return kMaximum;
    }
    return largest > 0.0 ? refined(line, range, coordinateOf(hint), largest) : 0.0;
}

}  // namespace trelis::detail
