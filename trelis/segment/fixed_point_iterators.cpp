#include <trelis/segment/fixed_point_iterators.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace NSegment {

namespace {

constexpr double kOne = 65536.0;
constexpr std::int64_t kHalfVoxel = 32768;
constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;
constexpr std::uint64_t kUnlimited = std::numeric_limits<int>::max();

constexpr unsigned kCellShiftX = VolumeCell::kShiftX;
constexpr unsigned kCellShiftY = VolumeCell::kShiftY;
constexpr unsigned kCellShiftZ = VolumeCell::kShiftZ;

/// The steps that `stepToCrossOver` tries along a line in a plane or in space.
constexpr int kShortStride = 4;
constexpr int kLongStride = 12;

/// trunc(value 65536 + 0.5). False when it does not fit.
bool toFixedPoint(double value, std::int64_t& fixed) {
    constexpr double kLimit = 0x1p63;
    const double scaled = value * kOne + 0.5;
    if (!(std::abs(scaled) < kLimit)) {
        return false;
    }
    fixed = static_cast<std::int64_t>(scaled);
    return true;
}

/// The integer part of a plane coordinate; -1 for what is no plane.
int planeOf(double z) {
    const bool fits = z > -1.0 && z < static_cast<double>(std::numeric_limits<int>::max());
    return fits ? static_cast<int>(z) : -1;
}

bool hasPlane(const SegmentVolume& segment, int plane) {
    return plane >= 0 && plane < segment.zsize();
}

bool isLastInCell(int voxel, unsigned cellShift) {
    const int mask = (1 << cellShift) - 1;
    return (voxel & mask) == mask;
}

/// The cells from which the blend of a voxel with its next neighbours reads: one, and one more
/// along each axis on which the voxel is the last of its cell.
class Neighbourhood {
  public:
    /// `withNextPlane` for the trilinear blend.
    Neighbourhood(const SegmentVolume& segment, int x, int y, int z, bool withNextPlane)
        : cell_(segment.Cells() + segment.cellIndex(x, y, z)),
          offset_(SegmentVolume::offsetInCell(x, y, z)),
          lastX_(isLastInCell(x, kCellShiftX)),
          lastY_(isLastInCell(y, kCellShiftY)),
          lastZ_(withNextPlane && isLastInCell(z, kCellShiftZ)),
          cellsPerRow_(segment.superBlockSizeX()),
          cellsPerLayer_(static_cast<std::ptrdiff_t>(cellsPerRow_) * segment.superBlockSizeY()) {}

    /// The value at the voxel moved by 0 or 1 along each axis.
    unsigned value(int dx, int dy, int dz) const {
        const bool nextX = dx != 0 && lastX_;
        const bool nextY = dy != 0 && lastY_;
        const bool nextZ = dz != 0 && lastZ_;
        const int offset = offset_ + dx + dy * VolumeCell::kRowBytes +
                           dz * VolumeCell::kPlaneBytes - (nextX ? VolumeCell::kRowBytes : 0) -
                           (nextY ? VolumeCell::kPlaneBytes : 0) - (nextZ ? VolumeCell::kBytes : 0);
        return static_cast<unsigned>(cellAt(nextX, nextY, nextZ).value(offset));
    }

    /// Whether all the cells are empty or all are full.
    bool isUniform() const {
        if (cell_->allocated()) {
            return false;
        }
        for (int corner = 1; corner < 8; ++corner) {
            const VolumeCell& other =
                cellAt((corner & 1) != 0 && lastX_, (corner & 2) != 0 && lastY_,
                       (corner & 4) != 0 && lastZ_);
            if (other.allocated() || other.empty() != cell_->empty()) {
                return false;
            }
        }
        return true;
    }

    bool isOneUniformCell() const { return !(lastX_ || lastY_ || lastZ_ || cell_->allocated()); }
    bool isAllocated() const { return cell_->allocated(); }
    int uniformValue() const {
        return cell_->empty() ? VolumeCell::minValue() : VolumeCell::maxValue();
    }

  private:
    const VolumeCell& cellAt(bool nextX, bool nextY, bool nextZ) const {
        return cell_[(nextX ? 1 : 0) + (nextY ? cellsPerRow_ : 0) + (nextZ ? cellsPerLayer_ : 0)];
    }

    const VolumeCell* cell_;
    int offset_;
    bool lastX_;
    bool lastY_;
    bool lastZ_;
    std::ptrdiff_t cellsPerRow_;
    std::ptrdiff_t cellsPerLayer_;
};

int bilinearValue(const SegmentVolume& segment, const FixedPointAxis& x, const FixedPointAxis& y,
                  int plane) {
    const Neighbourhood near(segment, x.voxel(), y.voxel(), plane, false);
    if (near.isOneUniformCell()) {
        return near.uniformValue();
    }
    const unsigned fx = x.fraction11();
    const unsigned fy = y.fraction11();
    const unsigned low = (2048 - fx) * near.value(0, 0, 0) + fx * near.value(1, 0, 0);
    const unsigned high = (2048 - fx) * near.value(0, 1, 0) + fx * near.value(1, 1, 0);
    return static_cast<int>((high * fy + low * (2048 - fy) + (1U << 21)) >> 22);
}

int trilinearValue(const SegmentVolume& segment, const FixedPointAxis& x, const FixedPointAxis& y,
                   const FixedPointAxis& z) {
    const Neighbourhood near(segment, x.voxel(), y.voxel(), z.voxel(), true);
    if (near.isOneUniformCell()) {
        return near.uniformValue();
    }
    const unsigned fx = x.fraction7();
    const unsigned fy = y.fraction7();
    const unsigned fz = z.fraction7();
    const auto row = [&](int dy, int dz) {
        return (128 - fx) * near.value(0, dy, dz) + fx * near.value(1, dy, dz);
    };
    const auto plane = [&](int dz) { return (128 - fy) * row(0, dz) + fy * row(1, dz); };
    return static_cast<int>(((128 - fz) * plane(0) + fz * plane(1) + (1U << 20)) >> 21);
}

/// For how many positions, this one included, an axis stays in the interval [low, high) that holds
/// it.
std::uint64_t stepsWithin(const FixedPointAxis& axis, std::uint64_t low, std::uint64_t high) {
    const std::uint64_t position = axis.position();
    if (axis.step() > 0) {
        const auto step = static_cast<std::uint64_t>(axis.step());
        return (high - position + step - 1) / step;
    }
    if (axis.step() < 0) {
        const auto step = static_cast<std::uint64_t>(-static_cast<std::int64_t>(axis.step()));
        return (position - low) / step + 1;
    }
    return kUnlimited;
}

/// For how many positions an axis that is outside stays there.
std::uint64_t stepsOutside(const FixedPointAxis& axis) {
    return stepsWithin(axis, axis.limit(), kWrap);
}

/// For how many positions the blend along an axis reads from the same cells.
std::uint64_t stepsInCells(const FixedPointAxis& axis, unsigned cellShift) {
    const auto voxel = static_cast<std::uint64_t>(axis.voxel());
    const std::uint64_t last = voxel | ((std::uint64_t{1} << cellShift) - 1);
    const std::uint64_t first = voxel == last ? voxel : last + 1 - (std::uint64_t{1} << cellShift);
    const std::uint64_t end = voxel == last ? voxel + 1 : last;
    return stepsWithin(axis, first << 16, end << 16);
}

int limitedSteps(std::uint64_t steps) { return static_cast<int>(std::min(steps, kUnlimited)); }

int constantStepsInPlane(const SegmentVolume& segment, const FixedPointAxis& x,
                         const FixedPointAxis& y, int plane) {
    std::uint64_t outside = hasPlane(segment, plane) ? 0 : kUnlimited;
    for (const FixedPointAxis* axis : {&x, &y}) {
        outside = std::max(outside, axis->isInside() ? 0 : stepsOutside(*axis));
    }
    if (outside > 0) {
        return limitedSteps(outside);
    }
    if (!Neighbourhood(segment, x.voxel(), y.voxel(), plane, false).isUniform()) {
        return 1;
    }
    return limitedSteps(std::min(stepsInCells(x, kCellShiftX), stepsInCells(y, kCellShiftY)));
}

/// Whether `steps` steps lead an axis that moves into another cell or to the last voxel of one.
bool leavesCell(const FixedPointAxis& axis, unsigned cellShift, int steps) {
    FixedPointAxis moved = axis;
    moved.advance(steps);
    const bool otherCell =
        axis.position() >> (16 + cellShift) != moved.position() >> (16 + cellShift);
    return axis.step() != 0 && (otherCell || isLastInCell(moved.voxel(), cellShift));
}

}  // namespace

FixedPointAxis::FixedPointAxis(double start, double step, int size)
    : limit_(static_cast<std::uint32_t>(
          std::clamp<std::int64_t>((std::int64_t{size} - 1) * 65536, 0, kWrap - 1))) {
    std::int64_t fixedStart = 0;
    std::int64_t fixedStep = 0;
    if (toFixedPoint(start, fixedStart) && toFixedPoint(step, fixedStep)) {
        position_ = static_cast<std::uint32_t>(fixedStart - kHalfVoxel);
        step_ = static_cast<std::int32_t>(fixedStep);
    }
}

SpanFixedPoint16BiLinearIteratorAlongXAxis::SpanFixedPoint16BiLinearIteratorAlongXAxis(
    const SegmentVolume& segment, double x, double y, double z, double dx)
    : segment_(&segment),
      x_(x, dx, segment.xsize()),
      y_(y, 0.0, segment.ysize()),
      plane_(planeOf(z)),
      rowInRange_(y_.isInside() && hasPlane(segment, plane_)) {}

int SpanFixedPoint16BiLinearIteratorAlongXAxis::operator*() const {
    return rowInRange_ && x_.isInside() ? bilinearValue(*segment_, x_, y_, plane_) : 0;
}

int SpanFixedPoint16BiLinearIteratorAlongXAxis::stepToCrossOver() const {
    if (x_.step() == 0 || isLastInCell(y_.voxel(), kCellShiftY)) {
        return 1;
    }
    if (isOutsideVolume() == 0 &&
        Neighbourhood(*segment_, x_.voxel(), y_.voxel(), plane_, false).isAllocated()) {
        return 1;
    }
    const std::uint64_t position = x_.position();
    const std::uint64_t cellStart = position >> (16 + kCellShiftX) << (16 + kCellShiftX);
    const std::uint64_t nextCell = cellStart + (std::uint64_t{1} << (16 + kCellShiftX));
    const std::uint64_t backwardsEnd = position >= x_.limit() ? x_.limit() : cellStart;
    const std::uint64_t distance = x_.step() > 0 ? nextCell - position : position - backwardsEnd;
    const auto stepLength = static_cast<std::uint64_t>(std::abs(std::int64_t{x_.step()}));
    return limitedSteps(std::max<std::uint64_t>(1, distance / stepLength));
}

int SpanFixedPoint16BiLinearIteratorAlongXAxis::stepsOfConstantValue() const {
    return constantStepsInPlane(*segment_, x_, y_, plane_);
}

SpanFixedPoint16BiLinearIterator::SpanFixedPoint16BiLinearIterator(const SegmentVolume& segment,
                                                                   double x, double y, double z,
                                                                   double dx, double dy)
    : segment_(&segment),
      x_(x, dx, segment.xsize()),
      y_(y, dy, segment.ysize()),
      plane_(planeOf(z)) {}

int SpanFixedPoint16BiLinearIterator::operator*() const {
    const bool inside = x_.isInside() && y_.isInside() && hasPlane(*segment_, plane_);
    return inside ? bilinearValue(*segment_, x_, y_, plane_) : 0;
}

int SpanFixedPoint16BiLinearIterator::stepToCrossOver() const {
    const auto leaves = [this](int steps) {
        return leavesCell(x_, kCellShiftX, steps) || leavesCell(y_, kCellShiftY, steps);
    };
    const bool inside = x_.isInside() && y_.isInside() && hasPlane(*segment_, plane_);
    if (leaves(kShortStride) ||
        (inside && Neighbourhood(*segment_, x_.voxel(), y_.voxel(), plane_, false).isAllocated())) {
        return 1;
    }
    return leaves(kLongStride) ? kShortStride : kLongStride;
}

int SpanFixedPoint16BiLinearIterator::stepsOfConstantValue() const {
    return constantStepsInPlane(*segment_, x_, y_, plane_);
}

SpanFixedPoint16TriLinearIterator::SpanFixedPoint16TriLinearIterator(const SegmentVolume& segment,
                                                                     double x, double y, double z,
                                                                     double dx, double dy,
                                                                     double dz)
    : segment_(&segment),
      x_(x, dx, segment.xsize()),
      y_(y, dy, segment.ysize()),
      z_(z, dz, segment.zsize()) {}

int SpanFixedPoint16TriLinearIterator::operator*() const {
    return isOutsideVolume() == 0 ? trilinearValue(*segment_, x_, y_, z_) : 0;
}

int SpanFixedPoint16TriLinearIterator::stepToCrossOver() const {
    const auto leaves = [this](int steps) {
        return leavesCell(x_, kCellShiftX, steps) || leavesCell(y_, kCellShiftY, steps) ||
               leavesCell(z_, kCellShiftZ, steps);
    };
    if (leaves(kShortStride) ||
        (isOutsideVolume() == 0 &&
         Neighbourhood(*segment_, x_.voxel(), y_.voxel(), z_.voxel(), true).isAllocated())) {
        return 1;
    }
    return leaves(kLongStride) ? kShortStride : kLongStride;
}

int SpanFixedPoint16TriLinearIterator::stepsOfConstantValue() const {
    std::uint64_t outside = 0;
    for (const FixedPointAxis* axis : {&x_, &y_, &z_}) {
        outside = std::max(outside, axis->isInside() ? 0 : stepsOutside(*axis));
    }
    if (outside > 0) {
        return limitedSteps(outside);
    }
    if (!Neighbourhood(*segment_, x_.voxel(), y_.voxel(), z_.voxel(), true).isUniform()) {
        return 1;
    }
    return limitedSteps(std::min({stepsInCells(x_, kCellShiftX), stepsInCells(y_, kCellShiftY),
                                  stepsInCells(z_, kCellShiftZ)}));
}

}  // namespace NSegment
