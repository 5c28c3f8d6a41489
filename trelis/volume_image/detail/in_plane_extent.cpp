#include <trelis/volume_image/detail/in_plane_extent.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>

#include <trelis/foundation/volume_tools.h>
#include <trelis/volume_image/detail/saturate.h>

namespace trelis::VolumeImage::detail {

namespace {

constexpr double kSpacingKeysPerMM = 100000.0;

/// The values from low to high that were included.
struct Interval {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();

    void include(double from, double length) {
        low = std::min(low, from);
        high = std::max(high, from + length);
    }
    double length() const { return std::abs(high - low); }
};

/// How often each pixel edge occurs, by its rounded length.
class SpacingVotes {
  public:
    void add(double spacing) { ++votes_[saturated<unsigned>(spacing * kSpacingKeysPerMM + 0.5)]; }

    /// How often the most frequent spacing, the smallest of several, goes into the length.
    int pixelsAlong(double length) const {
        const auto most =
            std::max_element(votes_.begin(), votes_.end(),
                             [](const auto& a, const auto& b) { return a.second < b.second; });
        const double spacing = most->first / kSpacingKeysPerMM;
        return saturated<int>(std::max(0.0, std::floor(length / spacing + 0.5)));
    }

  private:
    std::map<unsigned, std::size_t> votes_;
};

}  // namespace

InPlaneExtent inPlaneExtent(const SliceDefinitions& slices, const MMatrix& axes) {
    Interval x;
    Interval y;
    for (const ISliceVolumeDefinition* slice : slices) {
        const MMatrix& geometry = slice->GetGeometry();
        const QVolumeSize& size = slice->GetImage();
        const auto corner =
            geometry.GetTranslation() - NVolumeTools::VectorToMiddle(size, geometry);
        x.include(corner.Dot(geometry.GetUnitAxisX()), size.GetXSize() * size.GetXResMM());
        y.include(corner.Dot(geometry.GetUnitAxisY()), size.GetYSize() * size.GetYResMM());
    }
    return {x.low * axes.GetUnitAxisX() + y.low * axes.GetUnitAxisY(), x.length(), y.length()};
}

PixelCounts pixelCounts(const SliceDefinitions& slices, double width, double height) {
    SpacingVotes x;
    SpacingVotes y;
    for (const ISliceVolumeDefinition* slice : slices) {
        x.add(slice->GetImage().GetXResMM());
        y.add(slice->GetImage().GetYResMM());
    }
    return {x.pixelsAlong(width), y.pixelsAlong(height)};
}

}  // namespace trelis::VolumeImage::detail
