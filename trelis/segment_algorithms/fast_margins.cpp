#include <trelis/segment_algorithms/fast_margins.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include <trelis/segment_algorithms/detail/boundary_voxels.h>
#include <trelis/segment_algorithms/detail/grow.h>
#include <trelis/segment_algorithms/detail/plane_ring.h>
#include <trelis/segment_algorithms/detail/soft_ellipsoid.h>

namespace NSegmentAlgorithms {

namespace {

using detail::BoundaryVoxel;
using detail::Byte;
using detail::PlaneRing;
using detail::Range;
using detail::Reach;
using NSegment::SegmentVolume;

/// The square of a normalised radius in fixed point.
using Cost = std::int16_t;

/// Of what is too far away to matter. Two of them can be added.
constexpr Cost kFar = 16383;

/// Kernel values are covered 64ths; 64 means half coverage already.
constexpr double kFullCoverage = 128.0;

/// A value of v, at kernel value k, is inside where v k + 32 >= 128 * 64.
constexpr double kInsideProduct = 128.0 * 64.0 - 32.0;

/// The semi-axis, in voxels, of the smallest margin that is widened.
constexpr double kWidenedZero = 1.0;

/// What of `Margin` decides where its 128 surface lies, as costs: a voxel is inside where the least
/// sum of the starting cost of a boundary voxel and the costs of the offsets from it is below the
/// limit. Boundary voxels with less than 128 never make anything inside.
struct Costs {
    explicit Costs(const detail::SoftEllipsoid& ellipsoid) {
        // Tiny margins, the only ones below a widened 0, lead nowhere.
        double longest = kWidenedZero;
        double shortest = std::numeric_limits<double>::max();
        for (const detail::Sides& side : ellipsoid.semiAxis) {
            longest = std::max({longest, side.low, side.high});
            shortest = std::min(
                {shortest, std::max(side.low, kWidenedZero), std::max(side.high, kWidenedZero)});
        }
        // Coverage falls from 1 to 0 along the soft edge or one voxel, whichever is wider.
        const double width =
            std::max(ellipsoid.hasTiny ? 0.0 : 2.0 * ellipsoid.edge, 1.0 / longest);
        const auto radius = [&](int value) {
            return 1.0 + (0.5 - kInsideProduct / value / kFullCoverage) * width;
        };
        const double farRadius = radius(SegmentVolume::maxValue()) + 1.0 / shortest;
        const double scale = kFar / (farRadius * farRadius);
        // Steps towards a source fall by no more than the derivative at the outermost radius.
        halfStep = static_cast<int>(std::ceil(farRadius / shortest * scale));
        const auto costOf = [&](double r) {
            return static_cast<Cost>(std::min(r * r * scale, double{kFar}) + 0.5);
        };
        limit = costOf(radius(SegmentVolume::maxValue()));
        for (int value = SegmentVolume::crossingValue(); value <= SegmentVolume::maxValue();
             ++value) {
            start[static_cast<std::size_t>(value)] =
                static_cast<Cost>(limit - std::min(limit, costOf(radius(value))));
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const Reach& reach = ellipsoid.reach[axis];
            const detail::Sides& semiAxis = ellipsoid.semiAxis[axis];
            for (int d = -reach.low; d <= reach.high; ++d) {
                offset[axis].push_back(costOf(d / (d < 0 ? semiAxis.low : semiAxis.high)));
            }
        }
    }

    Cost limit = 0;
    int halfStep = 0;  ///< what the cost changes by in half a voxel at most
    std::array<Cost, 256> start{};
    std::vector<Cost> offset[3];
};

/// target := min(target, source + offset). Neither sum nor offset exceeds twice the far cost.
void lower(Cost* target, const Cost* source, Cost offset, int count) {
    for (int i = 0; i < count; ++i) {
        const Cost sum = static_cast<Cost>(source[i] + offset);
        target[i] = target[i] < sum ? target[i] : sum;
    }
}

/// The least costs, spread from the sources along x, then y, then z.
class CostField {
  public:
    CostField(const detail::SoftEllipsoid& ellipsoid, Range x, Range y, int zsize)
        : costs_(ellipsoid),
          reach_{ellipsoid.reach[0], ellipsoid.reach[1], ellipsoid.reach[2]},
          zsize_(zsize),
          alongX_(grown(x, reach_[0]), y, 1, kFar),
          alongY_(grown(x, reach_[0]), grown(y, reach_[1]), 1, kFar),
          // The planes within reach, one more on both sides for slopes, and one to be wiped.
          field_(alongY_.x(), {alongY_.y().begin - 1, alongY_.y().end + 1}, reach_[2].size() + 3,
                 kFar) {}

    /// Takes in the sources of a plane in raster order, all with values of 128 or above.
    void add(int z, const std::vector<BoundaryVoxel>& sources) {
        if (sources.empty()) {
            return;
        }
        const Plane rows = alongX_.plane(0);
        for (const BoundaryVoxel& source : sources) {
            const int begin = source.x - reach_[0].low;
            lower(rows.at(begin, source.y), costs_.offset[0].data(), costs_.start[source.value],
                  reach_[0].size());
            rows.touch(source.y, alongX_.blocksOf({begin, begin + reach_[0].size()}));
        }
        const Plane plane = alongY_.plane(0);
        for (int dy = -reach_[1].low; dy <= reach_[1].high; ++dy) {
            for (int y = sources.front().y; y <= sources.back().y; ++y) {
                spread(rows, y, offsetAlong(1, dy), plane, y + dy);
            }
        }
        for (int dz = std::max(-reach_[2].low, -z); dz <= std::min(reach_[2].high, zsize_ - 1 - z);
             ++dz) {
            const Plane target = field_.plane(z + dz);
            for (int y = sources.front().y - reach_[1].low; y <= sources.back().y + reach_[1].high;
                 ++y) {
                spread(plane, y, offsetAlong(2, dz), target, y);
            }
        }
        rows.wipe();
        plane.wipe();
    }

    /// Calls take(y, x of the first value, values, count) for the rows of plane z that are reached,
    /// and wipes the plane below it. Sources beyond reach of plane z + 1 must not have been added.
    template <typename Take>
    void flush(int z, const Take& take) {
        const Plane plane = field_.plane(z);
        const Plane planeBelow = field_.plane(z - 1);
        const Plane planeAbove = field_.plane(z + 1);
        for (int y = alongY_.y().begin; y < alongY_.y().end; ++y) {
            field_.forEachRun(plane.touched(y), [&](int x, int count) {
                values_.resize(static_cast<std::size_t>(count));
                const Cost* here = plane.at(x, y);
                const Cost* below = planeBelow.at(x, y);
                const Cost* above = planeAbove.at(x, y);
                for (int i = 0; i < count; i += kChunk) {
                    const int size = std::min(kChunk, count - i);
                    if (!fillAwayFromFront(here + i, size, values_.data() + i)) {
                        fillAtFront(here + i, below + i, above + i, size, values_.data() + i);
                    }
                }
                take(y, x, values_.data(), count);
            });
        }
        planeBelow.wipe();
    }

  private:
    using Plane = PlaneRing<Cost>::Plane;

    /// Voxels that are looked at together.
    static constexpr int kChunk = 32;

    static Range grown(Range range, const Reach& reach) {
        return {range.begin - reach.low, range.end + reach.high};
    }

    Cost offsetAlong(int axis, int d) const {
        return *(costs_.offset[axis].data() + reach_[axis].low + d);
    }

    /// The three rings have the same blocks.
    void spread(const Plane& from, int y, Cost offset, const Plane& to, int toY) const {
        const std::uint64_t blocks = from.touched(y);
        if (offset < kFar && blocks != 0) {
            field_.forEachRun(blocks, [&](int x, int count) {
                lower(to.at(x, toY), from.at(x, y), offset, count);
            });
            to.touch(toY, blocks);
        }
    }

    /// Gives 0 and 255 to voxels whose costs are on one side of the limit, away from it. Where one
    /// may be at the limit, the result is false and the values mean nothing.
    bool fillAwayFromFront(const Cost* costs, int count, Byte* values) const {
        const auto low = static_cast<Cost>(std::max(costs_.limit - costs_.halfStep, -1));
        const auto high = static_cast<Cost>(std::min(costs_.limit + costs_.halfStep, int{kFar}));
        Cost near = 0;
        for (int i = 0; i < count; ++i) {
            near = static_cast<Cost>(near | ((costs[i] > low ? 1 : 0) & (costs[i] < high ? 1 : 0)));
        }
        for (int i = 0; i < count; ++i) {
            values[i] = costs[i] <= low ? SegmentVolume::maxValue() : 0;
        }
        return near == 0;
    }

    /// Gives each voxel the part of it that is within the limit, for a front across the slope of
    /// the costs. Only slopes towards lower costs count: higher ones may be cut to the far cost.
    void fillAtFront(const Cost* costs, const Cost* below, const Cost* above, int count,
                     Byte* values) const {
        // Without branches, so that it goes through vector registers.
        const Cost* before = costs - field_.stride();
        const Cost* after = costs + field_.stride();
        const int limit = costs_.limit;
        int parts[kChunk];
        for (int i = 0; i < count; ++i) {
            const int x = costs[i] - least(costs[i], costs[i - 1], costs[i + 1]);
            const int y = costs[i] - least(costs[i], before[i], after[i]);
            const int z = costs[i] - least(costs[i], below[i], above[i]);
            const int xy = x > y ? x : y;
            const int steepest = xy > z ? xy : z;
            // Close to the length of (x, y, z), by 4 in 100; never 0.
            const float slope =
                0.6F * static_cast<float>(steepest) + 0.4F * static_cast<float>(x + y + z) + 1.0F;
            const auto inward = static_cast<float>(limit - costs[i]);
            parts[i] = static_cast<int>(inward / slope * 255.0F + 128.0F);
        }
        for (int i = 0; i < count; ++i) {
            const int atLeast0 = parts[i] > 0 ? parts[i] : 0;
            const int part = atLeast0 < 255 ? atLeast0 : 255;
            values[i] = static_cast<Byte>(costs[i] < kFar ? part : 0);
        }
    }

    static Cost least(Cost a, Cost b, Cost c) {
        const Cost lower = a < b ? a : b;
        return lower < c ? lower : c;
    }

    Costs costs_;
    Reach reach_[3];
    int zsize_;
    PlaneRing<Cost> alongX_;
    PlaneRing<Cost> alongY_;
    PlaneRing<Cost> field_;
    std::vector<Byte> values_;
};

/// Boundary voxels that are inside what grows, with the values they have there.
void keepInside(std::vector<BoundaryVoxel>& voxels, bool ofComplement) {
    if (ofComplement) {
        for (BoundaryVoxel& voxel : voxels) {
            voxel.value = static_cast<Byte>(SegmentVolume::maxValue() - voxel.value);
        }
    }
    voxels.erase(std::remove_if(voxels.begin(), voxels.end(),
                                [](const BoundaryVoxel& voxel) {
                                    return voxel.value < SegmentVolume::crossingValue();
                                }),
                 voxels.end());
}

/// What is inside already keeps its values, so that the surface stays on the side of a tiny margin.
void leaveInsideOut(const SegmentVolume& in, int x, int y, int z, bool ofComplement, Byte* values,
                    int count) {
    if (y < 0 || y >= in.ysize() || z < 0 || z >= in.zsize()) {
        return;
    }
    for (int i = std::max(0, -x); i < std::min(count, in.xsize() - x); ++i) {
        const bool isInside = in.pixel(x + i, y, z) >= SegmentVolume::crossingValue();
        if (isInside != ofComplement) {
            values[i] = 0;
        }
    }
}

}  // namespace

void FastAddMargins(const SegmentVolume& in, const MarginContainer& margins, SegmentVolume& out) {
    constexpr const char* kName = "FastAddMargins";
    detail::requireDistinct(in, out);
    const detail::Growth growth = detail::growthOf({{margins.low(0), margins.high(0)},
                                                    {margins.low(1), margins.high(1)},
                                                    {margins.low(2), margins.high(2)}},
                                                   kName);
    const detail::SoftEllipsoid ellipsoid = detail::ellipsoidOf(growth, in, 3, kName);
    out.assign(in);
    detail::BoundaryFinder finder(in);
    CostField field(ellipsoid, finder.x(), finder.y(), in.zsize());
    const Reach along = ellipsoid.reach[2];
    std::vector<BoundaryVoxel> sources;
    const int first = finder.z().begin - along.low;
    const int end = finder.z().end + along.high;
    for (int z = first; z <= end + along.low; ++z) {
        finder.find(z, sources);
        keepInside(sources, growth.ofComplement);
        field.add(z, sources);
        const int complete = z - along.low - 1;
        field.flush(complete, [&](int y, int x, Byte* values, int count) {
            if (ellipsoid.hasTiny) {
                leaveInsideOut(in, x, y, complete, growth.ofComplement, values, count);
            }
            detail::raiseRow(out, x, y, complete, values, count, growth.ofComplement);
        });
    }
    out.compact();
}

}  // namespace NSegmentAlgorithms
