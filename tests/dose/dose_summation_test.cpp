#include <trelis/dose/dose_summation.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>

#include <tests/support/segments.h>
#include <trelis/foundation/detail/parallel.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace {

struct PlacedDose {
    QVolume<unsigned> dose;
    MMatrix transform;
    double scale = 1.0;
    double offset = 0.0;

    FVoxelSpaceGeometry geometry() const {
        return {transform,        dose.GetXSize(),  dose.GetYSize(), dose.GetZSize(),
                dose.GetXResMM(), dose.GetYResMM(), dose.GetZResMM()};
    }
};

void add(const PlacedDose& source, const QVolume<unsigned>& values, PlacedDose& result,
         double weight) {
    trelis::AddWithWeight(source.scale, source.offset, source.transform, values, result.scale,
                          1 << 30, result.transform, result.dose, weight);
}

/// The value at a position, interpolated along the axes up to this one; NaN outside.
double sampled(const QVolume<unsigned>& dose, const double* position, int* voxel, int axis) {
    if (axis < 0) {
        return dose.GetPixel(voxel[0], voxel[1], voxel[2]);
    }
    const int sizes[] = {dose.GetXSize(), dose.GetYSize(), dose.GetZSize()};
    const int last = sizes[axis] - 1;
    if (position[axis] < -1e-5 || position[axis] >= last + 1e-5) {
        return std::nan("");
    }
    const int cell = std::max(0, std::min(static_cast<int>(position[axis]), last - 1));
    voxel[axis] = cell;
    const double low = sampled(dose, position, voxel, axis - 1);
    voxel[axis] = std::min(cell + 1, last);
    return low + (position[axis] - cell) * (sampled(dose, position, voxel, axis - 1) - low);
}

void addVoxelByVoxel(const PlacedDose& source, PlacedDose& result, double weight) {
    const bool same = source.dose.QVolumeSize::operator==(result.dose) &&
                      source.transform.EqualMatrix(result.transform);
    const auto place = [from = source.geometry(), to = result.geometry()](const Vector& p) {
        return from.RealToVoxel(to.VoxelToReal(p));
    };
    const QVolumeSize& size = result.dose;
    Vector p;
    forEachVoxel({size.GetXSize(), size.GetYSize(), size.GetZSize()}, [&](int x, int y, int z) {
        p = x == 0 ? place(Vector(0, y, z)) : p + (place({1, 0, 0}) - place({0, 0, 0}));
        const double position[] = {p.x, p.y, p.z};
        int voxel[3];
        const double value =
            same ? source.dose.GetPixel(x, y, z) : sampled(source.dose, position, voxel, 2);
        const double added =
            ((value < 0 ? 0.0 : value) - source.offset) * (source.scale / result.scale * weight);
        if (std::abs(added) < 0x1p63) {
            const auto contribution = static_cast<unsigned>(static_cast<std::int64_t>(added));
            result.dose.SetPixel(x, y, z, result.dose.GetPixel(x, y, z) + contribution);
        }
    });
}

/// Any values up to 2^32, 2^20 or 2^8, many zeros among them.
PlacedDose randomDose(Random& random, const MMatrix& transform) {
    const auto size = [&] { return random.integer(0, 4) == 0 ? 1 : random.integer(2, 12); };
    const auto res = [&] { return random.integer(1, 6) * 0.5; };
    PlacedDose d{{size() * random.integer(1, 20), size(), size(), res(), res(), res()},
                 transform,
                 random.number(0.1, 2.0),
                 random.integer(0, 2) == 0 ? 0.0 : random.number(-100, 5e9)};
    const int shift = random.integer(0, 2) * 12;
    for (unsigned& v : d.dose) {
        v = static_cast<unsigned>(std::max(0.0, random.number(-0x1p33, 0x1p32))) >> shift;
    }
    return d;
}

TEST(AddWithWeight, IsTheSumVoxelByVoxelToTheBitForAnyGridsAndAnyNumberOfThreads) {
    Random random(61);
    for (int i = 0; i < 400; ++i) {
        const PlacedDose source = randomDose(random, i % 3 == 0 ? random.rigid(1.0) : MMatrix());
        PlacedDose result = randomDose(random, source.transform);
        if (i % 2 == 0) {  // The same, as many voxels, or other resolutions.
            const QVolumeSize& d = source.dose;
            const int x = i % 8 == 2 ? d.GetYSize() : d.GetXSize();
            result.dose = {x,
                           d.GetXSize() * d.GetYSize() / x,
                           d.GetZSize(),
                           i % 8 == 6 ? 0.7 : d.GetXResMM(),
                           d.GetYResMM(),
                           d.GetZResMM()};
            std::copy(source.dose.begin(), source.dose.end(), result.dose.begin());
        }
        result.transform.SetRotation(i % 5 == 0 ? random.rigid(1.0) : result.transform);
        result.transform.TranslateX(i % 2 * random.integer(-4, 4) * 0.25);
        result.transform.TranslateZ(i % 2 * random.integer(-4, 4) * 0.5);
        const double weight = random.number(-2, 2) * std::pow(10.0, random.integer(-6, 9));
        PlacedDose expected = result;
        addVoxelByVoxel(source, expected, weight);
        for (const unsigned threads : {1U, 2U, 7U}) {
            const trelis::detail::ScopedThreadCount count(threads);
            PlacedDose sum = result;
            add(source, i % 8 == 0 ? sum.dose : source.dose, sum, weight);
            EXPECT_TRUE(sum.dose == expected.dose) << "case " << i;
        }
    }
}

TEST(AddWithWeight, TruncatesWrapsAndReachesAHundredThousandthOfAVoxelBeyondTheSource) {
    PlacedDose source{{2, 2, 4, 1, 1, 1}, MMatrix()};
    std::fill(source.dose.begin(), source.dose.end(), 29U);
    const std::tuple<unsigned, double, double, unsigned> cases[] = {
        {5, 0.1, 0, 7},  {5, -0.1, 0, 3},         {~0U, 0.1, 0, 1},        {1, -0.1, 0, ~0U},
        {5, 1e18, 0, 5}, {5, std::nan(""), 0, 5}, {5, 0.1, 3 + 0.9e-5, 7}, {5, 0.1, 3 + 2e-5, 5}};
    for (const auto& [before, weight, shift, after] : cases) {
        PlacedDose result = source;
        result.transform.TranslateZ(shift);
        std::fill(result.dose.begin(), result.dose.end(), before);
        EXPECT_EQ(result.dose.MinMax().maximum, before);
        add(source, source.dose, result, weight);
        EXPECT_EQ(result.dose.MinMax().maximum, after) << weight << ", " << shift;
    }
}

TEST(AddWithWeight, RefusesToSubtractFromAResultWithoutTheOffsetAndTakesVolumesWithoutPixels) {
    PlacedDose d{{1, 1, 1, 1, 1, 1}, MMatrix()};
    d.dose.SetPixel(0, 0, 0, 3);
    const auto addToItself = [&](double weight) {
        trelis::AddWithWeight(1, 0, MMatrix(), d.dose, 1, 0, MMatrix(), d.dose, weight);
        return "";
    };
    addToItself(0.0);
    try {
        ADD_FAILURE() << addToItself(-1.0);
    } catch (const std::out_of_range& refusal) {
        EXPECT_STREQ(refusal.what(),
                     "Offset in the result matrix must be 1 << 30 when the weight is negative");
    }
    PlacedDose none;
    add(none, none.dose, d, 1.0);
    add(d, d.dose, none, 1.0);
    EXPECT_EQ(d.dose.GetPixel(0, 0, 0), 3U);
}

}  // namespace
