#include <trelis/foundation/volume.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <numeric>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>

namespace {

using Image = QVolume<unsigned short>;

/// A volume over storage of the test.
class Wrapper : public Image {
  public:
    Wrapper(unsigned short* pixels, int x, int y, int z) : Image(pixels, x, y, z, 1, 1, 1) {}
};

Image row(const std::vector<unsigned short>& values) {
    Image image(static_cast<int>(values.size()), 1, 1, 1, 1, 1);
    std::copy(values.begin(), values.end(), image.begin());
    image.SetPixelsModified(false);
    return image;
}

TEST(Volume, StartsWithoutPixelsAndHasABlockUnlessColumnsAndPlanesAreNone) {
    const Image image;
    EXPECT_FALSE(image.PixelsAllocated() || image.PixelsModified() || !image.PixelsValid());
    EXPECT_EQ(image.MinMax().maximum, 0);
    EXPECT_TRUE(Image(0, 4, 2, 1, 1, 1).PixelsAllocated());
    EXPECT_TRUE(Image(3, 3, 0, 1, 1, 1).PixelsAllocated());
    EXPECT_FALSE(Image(0, 4, 0, 1, 1, 1).PixelsAllocated());
}

TEST(Volume, SpansSeeEveryVoxelInOrderAndWorkWithStandardAlgorithms) {
    QVolume<int> volume(5, 4, 3, 1, 1, 1);
    std::iota(volume.begin(), volume.end(), 0);
    const QVolume<int>& constant = volume;
    for (int z = 0; z < 3; ++z) {
        EXPECT_EQ(constant.GetConstSpanXY(z).begin() + 20, constant.GetConstSpanXY(z).end());
        for (int y = 0; y < 4; ++y) {
            int x = 0;
            for (const int value : constant.GetConstSpanX(y, z)) {
                EXPECT_EQ(value, x + 5 * (y + 4 * z));
                EXPECT_EQ(value, *(constant.GetConstSpanY(x, z).begin() + y));
                EXPECT_EQ(value, constant.GetConstSpanZ(x, y).begin()[z]);
                ++x;
            }
            EXPECT_EQ(x, 5);
        }
    }
    const auto alongZ = volume.GetSpanZ(4, 3);
    EXPECT_EQ(std::distance(alongZ.begin(), alongZ.end()), 3);
    std::fill(alongZ.begin(), alongZ.end(), -1);
    const auto alongY = volume.GetSpanY(4, 2);
    std::reverse(alongY.begin(), alongY.end());
    EXPECT_EQ(constant.GetPixel(4, 0, 2), -1);
    static_assert(std::random_access_iterator<NVolume::StrideIterator<const float>>);
}

TEST(Volume, EveryMutableAccessSetsTheFlagAndDropsTheCacheAndNoConstOneDoes) {
    void (*const accesses[])(Image&) = {[](Image& v) { v.begin()[0] = 9; },
                                        [](Image& v) { v.end()[-1] = 9; },
                                        [](Image& v) { v.SetPixel(0, 0, 0, 9); },
                                        [](Image& v) { *v.GetSpanX(0, 0).begin() = 9; },
                                        [](Image& v) { *v.GetSpanXY(0).begin() = 9; },
                                        [](Image& v) { *v.GetSpanY(0, 0).begin() = 9; },
                                        [](Image& v) { *v.GetSpanZ(0, 0).begin() = 9; },
                                        [](Image& v) {
                                            unsigned short* pixels = v.begin();
                                            v.MinMax();
                                            pixels[0] = 9;
                                            v.SetPixelsModified(true);
                                        }};
    for (const auto access : accesses) {
        Image image = row({1, 2, 3});
        EXPECT_EQ(image.MinMax().maximum, 3);
        access(image);
        EXPECT_TRUE(image.PixelsModified());
        EXPECT_EQ(image.MinMax().maximum, 9);
    }
    const Image untouched = row({1, 2});
    EXPECT_EQ(untouched.GetConstSpanX(0, 0).begin(), untouched.begin());
    EXPECT_FALSE(untouched.PixelsModified());
}

TEST(Volume, SizeChangesReallocateAndClearTheModifiedFlag) {
    Image image(2, 2, 2, 1, 1, 1);
    image.SetPixel(0, 0, 0, 1);
    const Image& constant = image;
    const unsigned short* block = constant.begin();
    EXPECT_FALSE(image.SetSize(2, 2, 2));
    EXPECT_EQ(constant.begin(), block);
    EXPECT_TRUE(image.PixelsModified());
    EXPECT_TRUE(image.SetSize(3, 2, 2));
    EXPECT_FALSE(image.PixelsModified());
    EXPECT_EQ(image.size(), 12U);
    EXPECT_TRUE(image.SetSizeNoAllocation(1, 1, 1));
    EXPECT_FALSE(image.PixelsAllocated());
    EXPECT_FALSE(image.SetSize(1, 1, 1));
    EXPECT_TRUE(image.PixelsAllocated());
    image.CopyGeometryNoAllocation(QVolumeSize(1, 1, 1, 2, 3, 4));
    EXPECT_TRUE(image.PixelsAllocated());
    EXPECT_EQ(image.GetYResMM(), 3);
    image.CopyGeometry(QVolumeSize(2, 1, 1, 1, 1, 1.0000005));
    EXPECT_FALSE(image.SetResMM(1, 1, 1));
    EXPECT_EQ(image.GetZResMM(), 1.0000005);
    EXPECT_TRUE(image.SetResMM(1, 1, 1.1));
}

TEST(Volume, WithoutPixelsHasNoCacheToHandOnAndNoFlagToClear) {
    Image none;
    none.SetSizeNoAllocation(2, 1, 1);
    none.SetPixelsModified(true);
    EXPECT_EQ(none.MinMax().maximum, 0);
    Image image = row({5, 6});
    image.CopyPixels(none);
    EXPECT_EQ(image.MinMax().maximum, 6);
    none.AllocatePixels();
    EXPECT_TRUE(none.PixelsModified());
}

TEST(Volume, OverStorageOfTheApplicationNeverFreesNorReplacesIt) {
    unsigned short pixels[8] = {5, 1, 2, 3, 4, 5, 6, 7};
    Wrapper wrapper(pixels, 2, 2, 2);
    EXPECT_EQ(wrapper.MinMax().minimum, 1);
    pixels[1] = 0;
    EXPECT_EQ(wrapper.MinMax().minimum, 0);
    Image copy = wrapper;
    EXPECT_EQ(copy, wrapper);
    copy.SetPixel(0, 0, 0, 99);
    EXPECT_EQ(pixels[0], 5);
    wrapper.FreePixels();
    EXPECT_TRUE(wrapper.SetSize(4, 1, 1));
    EXPECT_EQ(wrapper.size(), 4U);
    wrapper.CopyPixels(row({8, 8, 8, 8}));
    EXPECT_EQ(pixels[3], 8);
    EXPECT_EQ(wrapper.MinMax().minimum, 8);
    pixels[0] = 1;
    EXPECT_EQ(Image(wrapper).MinMax().minimum, 1);
    wrapper.AllocatePixels();
    wrapper.SetPixel(0, 0, 0, 77);
    EXPECT_EQ(pixels[0], 1);
}

TEST(Volume, CopiesPixelsFlagsAndCacheAsEachFormSays) {
    Image source(3, 1, 1, 1, 1, 2);
    std::iota(source.begin(), source.end(), static_cast<unsigned short>(4));
    source.SetPixelsValid(false);
    const Image copy(source);
    EXPECT_EQ(copy, source);
    EXPECT_FALSE(copy.PixelsValid());

    source.SetPixelsModified(false);
    Image pixelsOnly;
    pixelsOnly.CopyPixels(source);
    EXPECT_TRUE(pixelsOnly.PixelsModified());
    EXPECT_TRUE(pixelsOnly.PixelsValid());
    EXPECT_EQ(pixelsOnly.GetZResMM(), 1);
    EXPECT_EQ(pixelsOnly.GetPixel(2, 0, 0), 6);

    Image assigned = row({1});
    EXPECT_EQ(assigned.MinMax().maximum, 1);
    assigned = source;
    EXPECT_TRUE(assigned.PixelsModified());
    EXPECT_FALSE(assigned.PixelsValid());
    EXPECT_EQ(assigned.GetZResMM(), 2);
    EXPECT_EQ(assigned.MinMax().maximum, 6);
    EXPECT_NE(assigned, source);
    source.SetPixelsModified(true);
    EXPECT_EQ(assigned, source);

    Image none;
    none.SetResMM(3, 3, 3);
    assigned = none;
    EXPECT_FALSE(assigned.PixelsAllocated());
    EXPECT_TRUE(assigned.PixelsValid());
    EXPECT_EQ(assigned, none);
}

TEST(Volume, MinMaxIsTheEarliestMinimumAndTheLatestMaximumPassingOverNan) {
    Random random(8);
    for (int i = 0; i < 60; ++i) {
        QVolume<float> volume(random.integer(1, 40), random.integer(1, 30), random.integer(1, 20),
                              1, 1, 1);
        const int range = random.integer(1, 1000);
        std::generate(volume.begin(), volume.end(), [&] {
            const auto value = static_cast<float>(random.integer(-range, range));
            return value == 0 ? std::numeric_limits<float>::quiet_NaN() : value;
        });
        volume.SetPixel(0, 0, 0, 1);
        const QVolume<float>& constant = volume;
        const float* lowest = constant.begin();
        const float* highest = constant.begin();
        for (const float& value : constant) {
            lowest = value < *lowest ? &value : lowest;
            highest = value >= *highest ? &value : highest;
        }
        const auto info = constant.MinMax();
        EXPECT_EQ(
            constant.GetConstSpanX(info.yOfMinimum, info.zOfMinimum).begin() + info.xOfMinimum,
            lowest);
        EXPECT_EQ(
            constant.GetConstSpanX(info.yOfMaximum, info.zOfMaximum).begin() + info.xOfMaximum,
            highest);
        EXPECT_EQ(info.maximum, *highest);
    }
}

TEST(Volume, WritesALineOfTextAndTheBlock) {
    Image image(2, 1, 1, 1, 1, 2);
    image.SetPixel(0, 0, 0, 0x0201);
    image.SetPixel(1, 0, 0, 0x0403);
    std::ostringstream stream;
    image.Write(stream);
    EXPECT_EQ(
        stream.str(),
        "trelis VoxelSize=2 XSize=2 YSize=1 ZSize=1 XResMM=1 YResMM=1 ZResMM=2\n\x01\x02\x03\x04");
}

TEST(Volume, ThatDoesNotFitKeepsItsSizesAndHasNoPixels) {
    const int largest = std::numeric_limits<int>::max();
    QVolume<MVectorTemplate<float>> volume(1, 1, 1, 1, 1, 1);
    EXPECT_THROW(volume.SetSize(largest, largest, largest), std::bad_alloc);
    EXPECT_FALSE(volume.PixelsAllocated());
    EXPECT_EQ(volume.size(), 0U);
    EXPECT_EQ(volume.GetXSize(), largest);
}

TEST(VolumeDeathTest, NegativeSizesAndTheOrderOfVectorsEndTheProcess) {
    EXPECT_DEATH(Image(2, -1, 2, 1, 1, 1), "terminate");
    const QVolume<MVectorTemplate<float>> vectors(1, 1, 1, 1, 1, 1);
    EXPECT_DEATH(vectors.MinMax(), "Assertion failed");
}

}  // namespace
