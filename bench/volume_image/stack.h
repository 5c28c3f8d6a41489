#pragma once

#include <deque>
#include <string>
#include <vector>

#include <trelis/volume_image/slice.h>

namespace bench {

class Slice final : public trelis::VolumeImage::ISliceVolumeDefinition {
  public:
    Slice(int size, double spacing, double z, const trelis::VolumeImage::ISliceSeries& series)
        : image(size, size, 1, spacing, spacing, 1.0), series_(series) {
        geometry_.SetTranslation(0.0, 0.0, z);
    }

    const MMatrix& GetGeometry() const override { return geometry_; }
    const QVolume<unsigned short>& GetImage() const override { return image; }
    std::wstring GetModality() const override { return L"CT"; }
    double GetPixelSlope() const override { return 1.0; }
    int GetPixelOffset() const override { return 0; }
    double GetRescaleSlope() const override { return 1.0; }
    double GetRescaleIntercept() const override { return -1024.0; }
    std::wstring GetImageType() const override { return L"ORIGINAL\\PRIMARY"; }
    const trelis::VolumeImage::ISliceSeries* GetSeries() const override { return &series_; }
    bool HasPixelData() const override { return true; }
    void GetRangeHint(int& first, int& second) const override { first = second = 0; }
    std::wstring GetFrameKey() const override { return L"1"; }

    QVolume<unsigned short> image;

  private:
    MMatrix geometry_;
    const trelis::VolumeImage::ISliceSeries& series_;
};

class Series final : public trelis::VolumeImage::ISliceSeries {
  public:
    std::wstring GetParentKey() const override { return L"1"; }
};

/// CT slices of `size` x `size` pixels, centred on a line along z.
class Stack {
  public:
    Stack(int size, double spacing, const std::vector<double>& positions) {
        for (const double z : positions) {
            slices_.emplace_back(size, spacing, z, series_);
        }
    }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    std::deque<Slice>& slices() { return slices_; }

  private:
    Series series_;
    std::deque<Slice> slices_;
};

}  // namespace bench
