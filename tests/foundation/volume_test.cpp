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

TEST(Volume, HasABlockUnlessColumnsAndPlanesAreNone) {
    EXPECT_TRUE(Image(0, 4, 2, 1, 1, 1).PixelsAllocated());
    EXPECT_TRUE(Image(3, 3, 0, 1, 1, 1).PixelsAllocated());
    EXPECT_FALSE(Image(0, 4, 0, 1, 1, 1).PixelsAllocated());
}

TEST(Volume, SpansSeeEveryVoxelInOrderAndWorkWithStandardAlgorithms) {
    QVolume<int> volume(5, 4, 3, 1, 1, 1);
    std::iota(volume.begin(), volume.end(), 0);
    const QVolume<int>& constant = volume;
    for (int i = 0; i < 60; ++i) {
        const int x = i % 5;
        const int y = i / 5 % 4;
        const int z = i / 20;
        EXPECT_EQ(constant.GetConstSpanX(y, z).begin()[x], i);
        EXPECT_EQ(*(constant.GetConstSpanY(x, z).begin() + y), i);
        EXPECT_EQ(constant.GetConstSpanZ(x, y).begin()[z], i);
        EXPECT_EQ(constant.GetConstSpanXY(z).end()[i % 20 - 20], i);
    }
    const auto alongX = constant.GetConstSpanX(3, 2);
    EXPECT_EQ(alongX.end() - alongX.begin(), 5);
    const auto alongZ = volume.GetSpanZ(4, 3);
    EXPECT_EQ(std::distance(alongZ.begin(), alongZ.end()), 3);
    std::fill(alongZ.begin(), alongZ.end(), -1);
    const auto alongY = volume.GetSpanY(4, 2);
    std::reverse(alongY.begin(), alongY.end());
    EXPECT_EQ(constant.GetPixel(4, 0, 2), -1);
}

TEST(Volume, EveryMutableAccessSetsTheFlagAndDropsTheCache) {
    void (*const accesses[])(Image&) = {
        [](Image& v) { v.begin(); },
        [](Image& v) { v.end(); },
        [](Image& v) { v.GetSpanX(0, 0); },
        [](Image& v) { v.GetSpanXY(0); },
        [](Image& v) { v.GetSpanY(0, 0); },
        [](Image& v) { v.GetSpanZ(0, 0); },
        [](Image& v) { v.SetPixel(0, 0, 0, 9); },
        [](Image& v) { v.SetPixelsModified(true); },
    };
    for (const auto access : accesses) {
        Image image = row({1, 2, 3});
        unsigned short* pixels = image.begin();
        image.SetPixelsModified(false);
        EXPECT_EQ(image.MinMax().maximum, 3);
        pixels[0] = 9;
        access(image);
        EXPECT_TRUE(image.PixelsModified() && image.MinMax().maximum == 9);
    }
}

TEST(Volume, SizeChangesReallocateAndClearTheModifiedFlag) {
    Image image(2, 2, 2, 1, 1, 1);
    image.begin();
    EXPECT_FALSE(image.SetSize(2, 2, 2));
    EXPECT_TRUE(image.PixelsModified());
    EXPECT_TRUE(image.SetSize(3, 2, 2));
    EXPECT_FALSE(image.PixelsModified());
    EXPECT_TRUE(image.SetSizeNoAllocation(1, 1, 1));
    EXPECT_FALSE(image.PixelsAllocated() || image.SetSize(1, 1, 1));
    image.CopyGeometryNoAllocation(QVolumeSize(1, 1, 1, 2, 3, 4));
    EXPECT_TRUE(image.PixelsAllocated() && image.GetYResMM() == 3);
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
    unsigned short pixels[4] = {5, 1, 2, 3};
    Wrapper wrapper(pixels, 2, 2, 1);
    EXPECT_EQ(wrapper.MinMax().minimum, 1);
    pixels[1] = 0;
    EXPECT_EQ(wrapper.MinMax().minimum, 0);
    Image copy = wrapper;
    EXPECT_EQ(copy, wrapper);
    EXPECT_EQ(copy.MinMax().minimum, 0);
    copy.SetPixel(0, 0, 0, 99);
    EXPECT_EQ(pixels[0], 5);
    wrapper.FreePixels();
    EXPECT_TRUE(wrapper.SetSize(3, 1, 1));
    EXPECT_EQ(wrapper.size(), 3U);
    wrapper.CopyPixels(row({8, 8, 8}));
    EXPECT_EQ(pixels[2], 8);
    EXPECT_EQ(wrapper.MinMax().minimum, 8);
    pixels[0] = 1;
    EXPECT_EQ(Image(wrapper).MinMax().minimum, 1);
    wrapper.AllocatePixels();
    wrapper.SetPixel(0, 0, 0, 77);
    EXPECT_EQ(pixels[0], 1);
}

TEST(Volume, CopiesPixelsFlagsAndCacheAsEachFormSays) {
    Image source = row({4, 5, 6});
    source.SetResMM(1, 1, 2);
    source.SetPixelsValid(false);
    const Image copy(source);
    EXPECT_EQ(copy, source);
    EXPECT_FALSE(copy.PixelsValid());
    Image pixelsOnly;
    pixelsOnly.CopyPixels(source);
    EXPECT_TRUE(pixelsOnly.PixelsModified() && pixelsOnly.PixelsValid());
    EXPECT_EQ(pixelsOnly.GetZResMM(), 1);
    EXPECT_EQ(pixelsOnly.GetPixel(2, 0, 0), 6);
    Image assigned = row({1});
    EXPECT_EQ(assigned.MinMax().maximum, 1);
    assigned = source;
    EXPECT_FALSE(assigned.PixelsValid());
    EXPECT_EQ(assigned.MinMax().maximum, 6);
    EXPECT_NE(assigned, source);
    source.SetPixelsModified(true);
    EXPECT_EQ(assigned, source);
    Image none;
    none.SetResMM(3, 3, 3);
    assigned = none;
    EXPECT_TRUE(assigned.PixelsValid() && !assigned.PixelsAllocated());
    EXPECT_EQ(assigned, none);
}

TEST(Volume, MinMaxIsTheEarliestMinimumAndTheLatestMaximumPassingOverNan) {
    Random random(8);
    for (int i = 0; i < 60; ++i) {
        QVolume<float> volume(random.integer(1, 40), random.integer(1, 30), random.integer(1, 20),
                              1, 1, 1);
        std::generate(volume.begin(), volume.end(), [&, range = random.integer(1, 1000)] {
            const auto value = static_cast<float>(random.integer(-range, range));
            return value == 0 ? std::numeric_limits<float>::quiet_NaN() : value;
        });
        volume.SetPixel(0, 0, 0, 1);
        const float* lowest = volume.begin();
        const float* highest = lowest;
        for (const float& value : volume) {
            lowest = value < *lowest ? &value : lowest;
            highest = value >= *highest ? &value : highest;
        }
        const auto info = volume.MinMax();
        const auto at = [&](int x, int y, int z) { return volume.GetConstSpanX(y, z).begin() + x; };
        EXPECT_EQ(at(info.xOfMinimum, info.yOfMinimum, info.zOfMinimum), lowest);
        EXPECT_EQ(at(info.xOfMaximum, info.yOfMaximum, info.zOfMaximum), highest);
        EXPECT_EQ(info.maximum - info.minimum, *highest - *lowest);
    }
}

TEST(Volume, WritesALineOfTextAndTheBlock) {
    Image image = row({0x0201, 0x0403});
    image.SetResMM(1, 1, 2);
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
    EXPECT_FALSE(volume.PixelsAllocated() || volume.size() > 0);
    EXPECT_EQ(volume.GetXSize(), largest);
}

TEST(VolumeDeathTest, NegativeSizesAndTheOrderOfVectorsEndTheProcess) {
    EXPECT_DEATH(Image(2, -1, 2, 1, 1, 1), "terminate");
    const QVolume<MVectorTemplate<float>> vectors(1, 1, 1, 1, 1, 1);
    EXPECT_DEATH(vectors.MinMax(), "Assertion failed");
}

}  // namespace
