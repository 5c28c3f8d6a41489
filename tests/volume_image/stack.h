#pragma once

#include <functional>

#include <tests/support/vectors.h>
#include <trelis/foundation/volume_tools.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/volume_image/image_creator.h>
#include <trelis/volume_image/volume_creator.h>

using namespace trelis::VolumeImage;

using Grey = std::function<double(const Vector&)>;
constexpr double kNaN = trelis::Undefined<double>::value;
inline QProgressReporterNull nobody;

struct Series final : ISliceSeries {
    std::wstring parent = L"study";
    std::wstring GetParentKey() const override { return parent; }
};

/// A CT slice of one common series until told otherwise.
struct Slice final : ISliceVolumeDefinition {
    MMatrix geometry;
    QVolume<unsigned short> image;
    std::wstring modality = L"CT", imageType = L"ORIGINAL\\PRIMARY\\AXIAL", frame;
    double pixelSlope = 1.0, rescaleSlope = 1.0, rescaleIntercept = 0.0;
    int pixelOffset = 0;
    inline static const Series common;
    const ISliceSeries* series = &common;
    bool hasPixelData = true;

    /// `x` and `y` are those of the corner, in millimetres along the axes.
    Slice(const MMatrix& axes, double planeDistance, double x, double y, int xSize, int ySize,
          double res, const Grey& grey)
        : geometry(axes), image(xSize, ySize, 1, res, res, 1.0) {
        geometry.SetTranslation(NVolumeTools::VectorToMiddle(image, axes) +
                                axes.RotateT(Vector(x, y, planeDistance)));
        const FVoxelSpaceGeometry grid(geometry, xSize, ySize, 1, res, res, 1.0);
        for (int i = 0; i < xSize * ySize; ++i) {
            const int column = i % xSize, row = i / xSize;
            const double value = grey(grid.VoxelToReal(Vector(column, row, 0)));
            image.SetPixel(column, row, 0, static_cast<unsigned short>(value + 0.5));
        }
    }
    Slice(double planeDistance, const MMatrix& axes = {}, const Grey& grey = ramp)
        : Slice(axes, planeDistance, 0, 0, 3, 2, 1, grey) {}
    static double ramp(const Vector& p) { return 1000 + 10 * p.z + p.x; }

    const MMatrix& GetGeometry() const override { return geometry; }
    const QVolume<unsigned short>& GetImage() const override { return image; }
    std::wstring GetModality() const override { return modality; }
    double GetPixelSlope() const override { return pixelSlope; }
    int GetPixelOffset() const override { return pixelOffset; }
    double GetRescaleSlope() const override { return rescaleSlope; }
    double GetRescaleIntercept() const override { return rescaleIntercept; }
    std::wstring GetImageType() const override { return imageType; }
    const ISliceSeries* GetSeries() const override { return series; }
    bool HasPixelData() const override { return hasPixelData; }
    void GetRangeHint(int& first, int& second) const override { first = 0, second = 5; }
    std::wstring GetFrameKey() const override { return frame; }
};

using Slices = std::deque<Slice>;
using Pointers = std::vector<const ISliceVolumeDefinition*>;

inline ImageCreator configured(const Slices& slices, double separation = 0.0) {
    ImageCreator creator(false);
    for (const Slice& slice : slices) {
        EXPECT_TRUE(creator.AddSlice(&slice));
    }
    EXPECT_TRUE(creator.AutoConfigure());
    creator.SetdZ(separation > 0.0 ? separation : creator.GetdZ());
    return creator;
}

/// A volume as an application makes it from its specification, with all that `Construct` returns.
struct Built final : IVolumeImage {
    VolumeImageSpec spec;
    QVolume<unsigned short> volume;
    double pixelSlope = kNaN, rescaleSlope = 0, rescaleIntercept = 0;
    int pixelOffset = trelis::UnknownInteger;

    explicit Built(const ImageCreator& creator) {
        creator.CreateNewVolumeImage(spec);
        volume.CopyGeometry(spec.size);
    }

    ResultCode construct(FProgressReportingBody& progress = nobody) {
        return VolumeCreator(*this).Construct(progress, volume, pixelSlope, pixelOffset,
                                              rescaleSlope, rescaleIntercept);
    }
    int at(int x, int y, int z) const { return volume.GetPixel(x, y, z); }

    const MMatrix& GetGeometry() const override { return spec.geometry; }
    void GetSlices(std::vector<const ISlice*>& slices) const override {
        slices.insert(slices.end(), spec.slices.begin(), spec.slices.end());
    }
};
