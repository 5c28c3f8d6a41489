#include <trelis/segment/fixed_point_iterators.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
using AlongX = NSegment::SpanFixedPoint16BiLinearIteratorAlongXAxis;
using BiLinear = NSegment::SpanFixedPoint16BiLinearIterator;
using TriLinear = NSegment::SpanFixedPoint16TriLinearIterator;

/// A coordinate and the first one that is outside.
struct Coordinate {
    std::uint32_t p, limit;
};

/// Step n of a walk, counted in 64 bits.
Coordinate walked(double start, double step, int n, int size) {
    const auto fixed = [](double v) { return static_cast<std::int64_t>(v * 65536 + 0.5); };
    return {static_cast<std::uint32_t>(fixed(start) - 32768 + n * fixed(step)),
            static_cast<std::uint32_t>(size - 1) * 65536U};
}

/// The blend of eight voxels, with weights of so many bits along each axis.
int blend(const SegmentVolume& s, const Coordinate (&at)[3], int bits) {
    std::int64_t sum = std::int64_t{1} << (3 * bits - 1);
    for (int corner = 0; corner < 8; ++corner) {
        std::int64_t weight = 1;
        int voxel[3];
        for (int axis = 0; axis < 3; ++axis) {
            const auto& [p, limit] = at[axis];
            if (p >= limit) {
                return 0;
            }
            const int next = corner >> axis & 1;
            const std::int64_t fraction = (p & 65535) >> (16 - bits);
            weight *= next != 0 ? fraction : (1 << bits) - fraction;
            voxel[axis] = static_cast<int>(p >> 16) + next;
        }
        sum += weight == 0 ? 0 : weight * s.pixel(voxel[0], voxel[1], voxel[2]);
    }
    return static_cast<int>(sum >> (3 * bits));
}

/// Walks singly and by runs, and compares with the expected values.
template <typename Iterator, typename Expected>
void expectWalk(const Iterator& start, int count, const Expected& expected) {
    Iterator single = start;
    Iterator runs = start;
    int run = 0;
    for (int n = 0, end = 0; n < count; ++n, ++single) {
        if (n == end) {
            runs += run;
            run = std::min(runs.stepsOfConstantValue(), count);
            end = n + run;
        }
        ASSERT_LT(n, end);
        ASSERT_EQ(*single, expected(n)) << "step " << n;
        ASSERT_EQ(*runs, expected(n)) << "step " << n << " in a run of " << run;
    }
}

TEST(FixedPointIterators, WalkRandomLinesAsTheArithmeticSays) {
    Random random(30);
    for (int i = 0; i < 3000; ++i) {
        SCOPED_TRACE(i);
        const GridSize size = kOddSizes[i % 8];
        const SegmentVolume s = randomSegment(random, size);
        const double x0 =
            i % 5 == 0 ? random.integer(-9, size.x) + 0.5 : random.number(-20, size.x + 20);
        const double y0 = random.number(-2, size.y + 2);
        const double planeZ = random.integer(-1, size.z) + (i % 2 == 0 ? 0.504 : 0.496);
        const double z0 = i % 3 == 0 ? planeZ : random.number(-1, size.z + 1);
        const double dx = i % 5 == 0 ? random.integer(-3, 3) * 0.5 : random.number(-2, 2);
        const double dy = i % 2 == 0 ? 0.0 : random.number(-1, 1);
        const double dz = i % 3 == 0 ? 0.0 : random.number(-0.5, 0.5);
        constexpr int kCount = 90;
        const auto at = [&](int n, const Coordinate& z, int bits) {
            return blend(s, {walked(x0, dx, n, size.x), walked(y0, dy, n, size.y), z}, bits);
        };
        const Coordinate plane{static_cast<std::uint32_t>(static_cast<int>(z0)) << 16,
                               static_cast<std::uint32_t>(size.z) << 16};
        const auto inPlane = [&](int n) { return at(n, plane, 11); };
        const auto inSpace = [&](int n) { return at(n, walked(z0, dz, n, size.z), 7); };
        expectWalk(BiLinear(s, x0, y0, z0, dx, dy), kCount, inPlane);
        expectWalk(TriLinear(s, x0, y0, z0, dx, dy, dz), kCount, inSpace);
        if (dy == 0.0) {
            expectWalk(AlongX(s, x0, y0, z0, dx), kCount, inPlane);
        }
        unsigned bits[] = {~0U, ~0U, ~0U};
        s.segmentToBinaryStripe(x0, y0, z0, dx, dy, dz, kCount, bits);
        for (int n = 0; n < 96; ++n) {
            const int value = dz != 0.0 ? inSpace(n) : z0 >= 0 ? inPlane(n) : 0;
            ASSERT_EQ(bits[n / 32] >> (31 - n % 32) & 1, n < kCount && value >= 128 ? 1 : 0)
                << "bit " << n;
        }
    }
}

TEST(FixedPointIterators, TellTheAxesThatAreOutsideEachInItsWay) {
    const SegmentVolume s(10, 10, 10, 1, 1, 1);
    // Voxel centres 0 to 9 are at 0.5 to 9.5; the last one is outside.
    EXPECT_EQ(AlongX(s, 0.4, 0.5, 0.5, 1).isOutsideVolume(), 2);
    EXPECT_EQ(AlongX(s, 9.5, 9.5, 0.5, 1).isOutsideVolume(), 3);
    EXPECT_EQ(AlongX(s, 5, 5, 10.5, 1).isOutsideVolume(), 1);
    EXPECT_EQ(BiLinear(s, 9.5, 0.5, 0.5, 1, 1).isOutsideVolume(), 0);
    EXPECT_EQ(BiLinear(s, 18.5, 9.5, 0.5, 1, 1).isOutsideVolume(), 2);
    EXPECT_EQ(TriLinear(s, 0.4, 9.5, 9.5, 1, 1, 1).isOutsideVolume(), 7);
    EXPECT_EQ(AlongX(s, 1e300, 0.5, std::nan(""), 1).isOutsideVolume(), 3);
}

TEST(FixedPointIterators, StepToTheNextCellBorder) {
    SegmentVolume s(96, 32, 16, 1, 1, 1);
    const struct {
        double x, y, dx;
        int steps;
    } alongX[] = {{0.5, 0.5, 1, 32}, {0.5, 15.5, 1, 1},  {1.0, 0.5, 2, 15},   {31.75, 0.5, 1, 1},
                  {0.5, 0.5, 0, 1},  {40.5, 0.5, -1, 8}, {100.5, 0.5, -1, 5}, {33.5, 16.5, 4, 7}};
    for (const auto& [x, y, dx, steps] : alongX) {
        EXPECT_EQ(AlongX(s, x, y, 0.5, dx).stepToCrossOver(), steps) << x << " " << dx;
    }
    const struct {
        Vector p, d;
        int steps;
    } inSpace[] = {{{20.5, 0.5, 0.5}, Vector::P_X, 4},  {{27.5, 0.5, 0.5}, Vector::P_X, 1},
                   {{31.5, 0.5, 0.5}, Vector::P_Y, 12}, {{0.5, 0.5, 0.5}, Vector::P_Z, 4},
                   {{0.5, 0.5, 3.5}, Vector::P_Z, 1},   {{0.5, 10.5, 0.5}, 0.5 * Vector::P_Y, 4},
                   {{-5, 0.5, 0.5}, Vector::P_X, 4}};
    for (const auto& [p, d, steps] : inSpace) {
        EXPECT_EQ(TriLinear(s, p.x, p.y, p.z, d.x, d.y, d.z).stepToCrossOver(), steps) << p.x;
    }
    s.setPixel(0, 0, 0, 1);
    EXPECT_EQ(AlongX(s, 0.5, 0.5, 0.5, 1).stepToCrossOver(), 1);
    EXPECT_EQ(TriLinear(s, 0.5, 0.5, 0.5, 1, 0, 0).stepToCrossOver(), 1);
}

}  // namespace
