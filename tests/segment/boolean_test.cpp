#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/segment/boolean_operations.h>
#include <trelis/segment/fixed_point_iterators.h>

namespace {

using namespace NSegmentAlgorithms;  // NOLINT(google-build-using-namespace): they are the subject
using NSegment::SegmentVolume;
using Dense = std::vector<unsigned char>;
using Value = int (*)(int a, int b);

struct Operation {
    void (*twoInputs)(const SegmentVolume&, const SegmentVolume&, SegmentVolume&);
    void (*inPlace)(const SegmentVolume&, SegmentVolume&);
    void (*onPlanes)(const SegmentVolume&, int, int, SegmentVolume&);
    void (*differentGeometries)(const SegmentVolume&, const SegmentVolume&, SegmentVolume&);
    Value value;
};

int higher(int a, int b) { return std::max(a, b); }

const Operation kOperations[] = {
    {Union, UnionInPlace, UnionInPlace, UnionDifferentGeometries, higher},
    {Intersection, IntersectionInPlace, IntersectionInPlace, IntersectionDifferentGeometries,
     [](int a, int b) { return std::min(a, b); }},
    {Subtract, SubtractInPlace, SubtractInPlace, SubtractDifferentGeometries,
     [](int a, int b) { return std::min(a, 255 - b); }}};

/// value(a, b) in the box, both corners inclusive, and the old value around it.
Dense combined(const SegmentVolume& old, const SegmentVolume& a, const SegmentVolume& b,
               Value value, const GridSize& low, const GridSize& high) {
    Dense values;
    forEachVoxel(sizeOf(a), [&](int x, int y, int z) {
        const bool inBox =
            low.x <= x && x <= high.x && low.y <= y && y <= high.y && low.z <= z && z <= high.z;
        const int v = inBox ? value(a.pixel(x, y, z), b.pixel(x, y, z)) : old.pixel(x, y, z);
        values.push_back(static_cast<unsigned char>(v));
    });
    return values;
}

/// The values, after a look at those of edge cells beyond the grid: they must be 0.
Dense checked(const SegmentVolume& segment) {
    Dense values = dense(segment);
    int sum = std::accumulate(values.begin(), values.end(), 0);
    NSegment::detail::forEachCell(segment, [&](const NSegment::detail::CellBox& box) {
        const unsigned char* bytes = segment.Cells()[box.index].values();
        sum = std::accumulate(bytes, bytes + 4096, sum, std::minus<>());
    });
    EXPECT_EQ(sum, 0);
    return values;
}

TEST(BooleanOperations, EqualTheDenseOnesWhateverTheResultHeld) {
    Random random(1);
    for (int round = 0; round < 24; ++round) {
        SCOPED_TRACE(round);
        const GridSize& size = kOddSizes[round % 8];
        const GridSize last{size.x - 1, size.y - 1, size.z - 1};
        const SegmentVolume a = randomSegment(random, size);
        const SegmentVolume b = randomSegment(random, size);
        const SegmentVolume old = randomSegment(random, size);
        const int zBegin = random.integer(-12, size.z);
        const int zEnd = random.integer(-3, size.z);
        for (const Operation& operation : kOperations) {
            const auto expected = combined(a, a, b, operation.value, {0, 0, 0}, last);
            SegmentVolume result = old;
            operation.twoInputs(a, b, result);
            EXPECT_EQ(checked(result), expected);
            result = a;
            operation.inPlace(b, result);
            EXPECT_EQ(checked(result), expected);
            result = a;
            operation.onPlanes(b, zBegin, zEnd, result);
            EXPECT_EQ(checked(result), combined(a, a, b, operation.value, {0, 0, zBegin},
                                                {last.x, last.y, zEnd - 1}));
        }
        const Value complement = [](int v, int) { return 255 - v; };
        for (SegmentVolume inverse : {old, SegmentVolume(1, 2, 3, 1, 2, 3)}) {
            Invert(a, inverse);
            EXPECT_TRUE(inverse.hasEqualGeometry(a));
            EXPECT_EQ(checked(inverse), combined(a, a, a, complement, {0, 0, 0}, last));
        }
    }
}

TEST(BooleanOperations, UniteThreeWithinTheBoxThatEnclosesBothInputs) {
    Random random(2);
    constexpr GridSize kNone{96, 48, 24};  // the box of a segment without inside voxels
    constexpr GridSize kInside[][2] = {{{3, 20, 5}, {66, 4, 10}}, {{64, 16, 8}, {31, 15, 7}},
                                       {{9, 9, 9}, {9, 9, 9}},    {{33, 17, 9}, kNone},
                                       {kNone, {0, 0, 0}},        {kNone, kNone}};
    for (const auto& [p, q] : kInside) {
        const SegmentVolume old = randomSegment(random, kNone);
        SegmentVolume a(96, 48, 24, 1, 2, 3);
        for (int i = 0; i < 1000; ++i) {
            a.setPixel(random.integer(0, 95), random.integer(0, 47), random.integer(0, 23), 127);
        }
        SegmentVolume b = a;
        SegmentVolume both = a;
        for (const auto& [segment, voxel] : {std::pair(&a, p), std::pair(&b, q)}) {
            if (voxel.x < kNone.x) {
                segment->setPixel(voxel.x, voxel.y, voxel.z, 128);
                both.setPixel(voxel.x, voxel.y, voxel.z, 128);
            }
        }
        SegmentVolume result = old;
        TernaryUnionInPlace(a, b, result);
        const GridSize low{std::min(p.x, q.x), std::min(p.y, q.y), std::min(p.z, q.z)};
        const GridSize high{std::max(p.x, q.x), std::max(p.y, q.y), std::max(p.z, q.z)};
        EXPECT_EQ(checked(result), combined(old, old, both, higher, low, high));
    }
}

TEST(BooleanOperations, SampleAnotherGridByOneWalkAlongEachRow) {
    // First and last covered voxel of a, and where the centre of a voxel is in b.
    struct Axis {
        int first, last;
        double offset, a, b;
        double at(int voxel) const { return (offset + (voxel - first + 0.5) * a) / b; }
    };
    const auto overlay = [](int sizeA, double a, int sizeB, double b, bool centred) {
        const double margin = (sizeA * a - sizeB * b) / 2;
        if (margin <= 0) {
            return Axis{0, sizeA - 1, centred ? -margin : 0, a, b};
        }
        const double end = (margin + sizeB * b) / a + 0.5;
        return Axis{static_cast<int>(margin / a + 0.5), static_cast<int>(end) - 1, 0, a, b};
    };
    const std::pair<GridSize, Vector> grids[] = {{{70, 40, 19}, {1, 1, 1}},
                                                 {{100, 50, 20}, {0.7, 0.9, 1.3}},
                                                 {{33, 17, 9}, {2.3, 2, 2.5}},
                                                 {{64, 32, 24}, {0.3, 2, 1}}};
    Random random(5);
    for (int pair = 0; pair < 16; ++pair) {
        SCOPED_TRACE(pair);
        const auto& [sizeA, resA] = grids[pair / 4];
        const auto& [sizeB, resB] = grids[pair % 4];
        const SegmentVolume empty(sizeA.x, sizeA.y, sizeA.z, resA.x, resA.y, resA.z);
        const SegmentVolume a = randomSegment(random, sizeA, resA);
        const SegmentVolume b = randomSegment(random, sizeB, resB);
        const Axis x = overlay(sizeA.x, resA.x, sizeB.x, resB.x, true);
        const Axis y = overlay(sizeA.y, resA.y, sizeB.y, resB.y, false);
        const Axis z = overlay(sizeA.z, resA.z, sizeB.z, resB.z, false);
        SegmentVolume samples = empty;
        const GridSize covered{x.last - x.first + 1, y.last - y.first + 1, z.last - z.first + 1};
        forEachVoxel(covered, [&](int i, int j, int k) {
            j += y.first;
            k += z.first;
            NSegment::SpanFixedPoint16BiLinearIteratorAlongXAxis sample(b, x.at(x.first), y.at(j),
                                                                        z.at(k), x.a / x.b);
            samples.setPixel(x.first + i, j, k, *(sample += i));
        });
        for (const Operation& operation : kOperations) {
            SegmentVolume result = randomSegment(random, sizeA, resA);
            operation.differentGeometries(a, b, result);
            EXPECT_EQ(checked(result),
                      combined(empty, a, &sizeA == &sizeB ? b : samples, operation.value,
                               {x.first, y.first, z.first}, {x.last, y.last, z.last}));
        }
    }
}

TEST(BooleanOperationsDeathTest, RefuseInTheListedOrder) {
    SegmentVolume a(8, 8, 8, 1, 1, 1);
    SegmentVolume b = a;
    SegmentVolume c = a;
    SegmentVolume other(8, 8, 9, 1, 1, 1);
    const SegmentVolume flat(8, 8, 8, 1e-17, 1, 1);
    const std::string geometries = "non-uniform geometries in input segments";
    const std::string parameters = "result and parameters are the same";
    const std::string segments = "segments result and a or b are the same";
    const std::string planes = "z argument out of range";
    const std::pair<std::string, std::function<void()>> cases[] = {
        {parameters, [&] { Union(a, other, a); }},
        {geometries, [&] { Union(a, other, c); }},
        {geometries, [&] { Union(a, b, other); }},
        {geometries, [&] { Intersection(a, other, a); }},
        {parameters, [&] { Union(a, b, b); }},
        {segments, [&] { Intersection(a, b, a); }},
        {geometries, [&] { Subtract(a, other, a); }},
        {geometries, [&] { Subtract(a, b, other); }},
        {parameters, [&] { Subtract(a, b, b); }},
        {parameters, [&] { Invert(a, a); }},
        {geometries, [&] { UnionInPlace(other, 0, 99, a); }},
        {planes, [&] { UnionInPlace(a, 99, 9, a); }},
        {parameters, [&] { UnionInPlace(a, a); }},
        {geometries, [&] { IntersectionInPlace(other, a); }},
        {parameters, [&] { IntersectionInPlace(a, 0, 9, a); }},
        {planes, [&] { IntersectionInPlace(a, 0, 9, b); }},
        {geometries, [&] { SubtractInPlace(other, a); }},
        {parameters, [&] { SubtractInPlace(a, 0, 9, a); }},
        {planes, [&] { SubtractInPlace(a, 0, 9, b); }},
        {parameters, [&] { TernaryUnionInPlace(other, other, a); }},
        {parameters, [&] { TernaryUnionInPlace(other, a, a); }},
        {parameters, [&] { TernaryUnionInPlace(a, other, a); }},
        {geometries, [&] { TernaryUnionInPlace(a, other, b); }},
        {geometries + " 'a' and 'result'", [&] { UnionDifferentGeometries(a, other, other); }},
        {segments, [&] { IntersectionDifferentGeometries(a, flat, a); }},
        {"x resolution of input segment is zero", [&] { SubtractDifferentGeometries(a, flat, b); }},
        {parameters, [&] { UnionDifferentGeometries(a, b, a); }},
    };
    for (const auto& [message, call] : cases) {
        EXPECT_DEATH(call(), "^" + message + "\n");
    }
}

}  // namespace
