#pragma once

#include <string>

#include <trelis/foundation/matrix.h>
#include <trelis/foundation/undefined.h>
#include <trelis/foundation/volume.h>
#include <trelis/volume_image/slice.h>

namespace app {

/// A series of image slices.
struct ImageSeriesKey final : trelis::VolumeImage::ISliceSeries {
    /// The study instance UID.
    std::wstring studyUid;

    std::wstring GetParentKey() const override { return studyUid; }
};

/// One slice of an image series, as the library reads it.
struct ImageSlice final : trelis::VolumeImage::ISliceVolumeDefinition {
    std::string file;
    std::string instanceUid;
    std::wstring modality;
    std::wstring imageType;
    std::wstring frameUid;
    /// Not owned.
    const ImageSeriesKey* series = nullptr;
    /// The centre of the slice as `ISlice::GetGeometry` describes it: image position
    /// + (nx - 1) / 2 dx X + (ny - 1) / 2 dy Y.
    MMatrix geometry;
    /// Z size 1; signed pixels are stored 32,768 higher.
    QVolume<unsigned short> image;
    double pixelSlope = trelis::Undefined<double>::value;
    int pixelOffset = trelis::UnknownInteger;
    double rescaleSlope = trelis::Undefined<double>::value;
    double rescaleIntercept = trelis::Undefined<double>::value;

    const MMatrix& GetGeometry() const override { return geometry; }
    const QVolume<unsigned short>& GetImage() const override { return image; }
    std::wstring GetModality() const override { return modality; }
    double GetPixelSlope() const override { return pixelSlope; }
    int GetPixelOffset() const override { return pixelOffset; }
    double GetRescaleSlope() const override { return rescaleSlope; }
    double GetRescaleIntercept() const override { return rescaleIntercept; }
    std::wstring GetImageType() const override { return imageType; }
    const trelis::VolumeImage::ISliceSeries* GetSeries() const override { return series; }
    bool HasPixelData() const override { return image.PixelsAllocated(); }
    void GetRangeHint(int& first, int& second) const override { first = second = 0; }
    std::wstring GetFrameKey() const override { return frameUid; }
};

}  // namespace app
