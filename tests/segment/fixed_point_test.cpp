#include <trelis/segment/fixed_point_iterators.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using NSegment::SegmentVolume;
using AlongX = NSegment::SpanFixedPoint16BiLinearIteratorAlongXAxis;
using BiLinear = NSegment::SpanFixedPoint16BiLinearIterator;
using TriLinear = NSegment::SpanFixedPoint16TriLinearIterator;

/// A coordinate of a walk, counted in 64 bits.
struct Coordinate {
    std::uint32_t p;
    std::uint32_t limit;
    Coordinate(double start, double step, int n, int size)
        : p(static_cast<std::uint32_t>(static_cast<std::int64_t>(start * 65536 + 0.5) - 32768 +
                                       n * static_cast<std::int64_t>(step * 65536 + 0.5))),
          limit(static_cast<std::uint32_t>(size - 1) * 65536U) {}
    bool outside() const { return p >= limit; }
    int voxel() const { return static_cast<int>(p >> 16); }
};

int bilinear(const SegmentVolume& s, const Coordinate& x, const Coordinate& y, int z) {
    if (x.outside() || y.outside() || z < 0 || z >= s.zsize()) {
        return 0;
    }
    const std::int64_t fx = (x.p >> 5) & 2047;
    const std::int64_t fy = (y.p >> 5) & 2047;
    const auto q = [&](int a, int b) { return s.pixel(x.voxel() + a, y.voxel() + b, z); };
    return static_cast<int>((((2048 - fx) * q(0, 1) + fx * q(1, 1)) * fy +
                             (fx * q(1, 0) + (2048 - fx) * q(0, 0)) * (2048 - fy) + (1 << 21)) >>
                            22);
}

int trilinear(const SegmentVolume& s, const Coordinate& x, const Coordinate& y,
              const Coordinate& z) {
    if (x.outside() || y.outside() || z.outside()) {
        return 0;
    }
    std::int64_t sum = 1 << 20;
    for (int corner = 0; corner < 8; ++corner) {
        std::int64_t weight = 1;
        for (const auto& [c, bit] : {std::pair(x, 1), std::pair(y, 2), std::pair(z, 4)}) {
            const std::int64_t f = (c.p >> 9) & 127;
            weight *= (corner & bit) != 0 ? f : 128 - f;
        }
        sum += weight * s.pixel(x.voxel() + (corner & 1), y.voxel() + (corner >> 1 & 1),
                                z.voxel() + (corner >> 2));
    }
    return static_cast<int>(sum >> 21);
}

/// Walks singly and by runs, and compares with the expected values.
template <typename Iterator, typename Expected>
void expectWalk(const Iterator& start, int count, const Expected& expected) {
    Iterator single = start;
    for (int n = 0; n < count; ++n, ++single) {
        ASSERT_EQ(*single, expected(n)) << "step " << n;
    }
    Iterator runs = start;
    for (int n = 0; n < count;) {
        const int run = std::min(runs.stepsOfConstantValue(), count - n);
        for (int k = 0; k < run; ++k) {
            ASSERT_EQ(*runs, expected(n + k)) << "run of " << run << " at " << n;
        }
        n += run;
        runs += run;
    }
}

std::vector<unsigned> packed(int count, const auto& isInside) {
    std::vector<unsigned> bits(static_cast<std::size_t>((count - 1) / 32 + 1), 0U);
    for (int i = 0; i < count; ++i) {
        bits[static_cast<std::size_t>(i / 32)] |= (isInside(i) ? 1U : 0U) << (31 - i % 32);
    }
    return bits;
}

TEST(FixedPointIterators, WalkRandomLinesAsTheArithmeticSays) {
    Random random(30);
    for (int i = 0; i < 3000; ++i) {
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
        const auto x = [&](int n) { return Coordinate(x0, dx, n, size.x); };
        const auto y = [&](int n) { return Coordinate(y0, dy, n, size.y); };
        const auto z = [&](int n) { return Coordinate(z0, dz, n, size.z); };
        const auto inPlane = [&](int n) { return bilinear(s, x(n), y(n), static_cast<int>(z0)); };
        const auto inSpace = [&](int n) { return trilinear(s, x(n), y(n), z(n)); };
        expectWalk(BiLinear(s, x0, y0, z0, dx, dy), kCount, inPlane);
        expectWalk(TriLinear(s, x0, y0, z0, dx, dy, dz), kCount, inSpace);
        if (dy == 0.0) {
            expectWalk(AlongX(s, x0, y0, z0, dx), kCount, inPlane);
        }
        std::vector<unsigned> bits(3, 0xFFFFFFFFU);
        s.segmentToBinaryStripe(x0, y0, z0, dx, dy, dz, kCount, bits.data());
        EXPECT_EQ(bits, packed(kCount,
                               [&](int n) {
                                   return dz != 0.0 ? inSpace(n) >= 128
                                                    : z0 >= 0 && inPlane(n) >= 128;
                               }))
            << "case " << i;
    }
}

TEST(FixedPointIterators, TellTheAxesThatAreOutsideEachInItsWay) {
    const SegmentVolume s(10, 10, 10, 1, 1, 1);
    // Voxel centres 0 to 9 are at 0.5 to 9.5; the last one is outside.
    EXPECT_EQ(AlongX(s, 0.5, 0.5, 0.5, 1).isOutsideVolume(), 0);
    EXPECT_EQ(AlongX(s, 0.4, 0.5, 0.5, 1).isOutsideVolume(), 2);
    EXPECT_EQ(AlongX(s, 9.5, 9.5, 0.5, 1).isOutsideVolume(), 3);
    EXPECT_EQ(AlongX(s, 5, 5, 10.5, 1).isOutsideVolume(), 1);
    EXPECT_EQ(BiLinear(s, 9.5, 0.5, 0.5, 1, 1).isOutsideVolume(), 0);
    EXPECT_EQ(BiLinear(s, 18.5, 9.5, 0.5, 1, 1).isOutsideVolume(), 2);
    EXPECT_EQ(TriLinear(s, 0.4, 9.5, 9.5, 1, 1, 1).isOutsideVolume(), 7);
    const double never[] = {1e300, -1e300, std::nan(""), std::numeric_limits<double>::infinity()};
    for (const double value : never) {
        EXPECT_EQ(AlongX(s, value, 0.5, 0.5, 1).isOutsideVolume(), 2);
        EXPECT_EQ(AlongX(s, 0.5, 0.5, value, 1).isOutsideVolume(), 1);
    }
}

TEST(FixedPointIterators, StepToTheNextCellBorder) {
    SegmentVolume s(96, 32, 16, 1, 1, 1);
    const struct {
        double x, y, dx;
        int steps;
    } alongX[] = {{0.5, 0.5, 1, 32}, {0.5, 15.5, 1, 1},  {1.0, 0.5, 2, 15},   {31.75, 0.5, 1, 1},
                  {0.5, 0.5, 0, 1},  {40.5, 0.5, -1, 8}, {100.5, 0.5, -1, 5}, {33.5, 16.5, 4, 7}};
    for (const auto& c : alongX) {
        EXPECT_EQ(AlongX(s, c.x, c.y, 0.5, c.dx).stepToCrossOver(), c.steps) << c.x << " " << c.dx;
    }
    const struct {
        double x, y, z, dx, dy, dz;
        int steps;
    } inSpace[] = {{0.5, 0.5, 0.5, 1, 0, 0, 12},   {20.5, 0.5, 0.5, 1, 0, 0, 4},
                   {27.5, 0.5, 0.5, 1, 0, 0, 1},   {31.5, 0.5, 0.5, 0, 1, 0, 12},
                   {0.5, 0.5, 0.5, 0, 0, 1, 4},    {0.5, 0.5, 3.5, 0, 0, 1, 1},
                   {0.5, 10.5, 0.5, 0, 0.5, 0, 4}, {-5, 0.5, 0.5, 1, 0, 0, 4}};
    for (const auto& c : inSpace) {
        EXPECT_EQ(TriLinear(s, c.x, c.y, c.z, c.dx, c.dy, c.dz).stepToCrossOver(), c.steps)
            << c.x << " " << c.z;
    }
    s.setPixel(0, 0, 0, 1);
    EXPECT_EQ(AlongX(s, 0.5, 0.5, 0.5, 1).stepToCrossOver(), 1);
    EXPECT_EQ(TriLinear(s, 0.5, 0.5, 0.5, 1, 0, 0).stepToCrossOver(), 1);
}

}  // namespace
