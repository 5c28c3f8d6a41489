#include <trelis/volume_image/detail/series_entries.h>

#include <string>

#include <trelis/foundation/diagnostics.h>
#include <trelis/volume_image/detail/pixel_scale.h>
#include <trelis/volume_image/detail/slice_resampling.h>

namespace trelis::VolumeImage::detail {

namespace {

void replaceAll(std::wstring& text, const std::wstring& from, const std::wstring& to) {
    for (std::size_t at = text.find(from); at != std::wstring::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

/// The place of the slice after a move along its normal to the plane distance.
MMatrix movedToPlane(const ISlice& slice, double planeDistance) {
    MMatrix geometry = slice.GetGeometry();
    geometry.TranslateZ(planeDistance - GetSlicePlaneDistance(&slice));
    return geometry;
}

}  // namespace

void addCopy(const ISliceVolumeDefinition& source, ImageSeriesSpec& spec) {
    spec.entries.push_back(
        {&source, source.GetGeometry(), source.GetImage(), source.GetImageType(), false});
}

void addRealPlane(const ISliceVolumeDefinition& source, double planeDistance,
                  ImageSeriesSpec& spec) {
    addCopy(source, spec);
    spec.entries.back().geometry = movedToPlane(source, planeDistance);
}

void addInterpolatedPlane(const ISliceVolumeDefinition& lower, const ISliceVolumeDefinition& upper,
                          double planeDistance, ImageSeriesSpec& spec) {
    if (!isDefined(scaleOf(lower)) || !isDefined(scaleOf(upper))) {
        Crash(L"pixel conversion undefined");
    }
    ImageSeriesSpec::Entry& entry = spec.entries.emplace_back();
    entry.source = &lower;
    entry.geometry = movedToPlane(lower, planeDistance);
    entry.imageType = lower.GetImageType();
    replaceAll(entry.imageType, L"ORIGINAL", L"DERIVED");
    replaceAll(entry.imageType, L"PRIMARY", L"SECONDARY");
    entry.isInterpolated = true;

    const QVolumeSize& size = lower.GetImage();
    entry.image.SetSize(size.GetXSize(), size.GetYSize(), 1);
    entry.image.SetResMM(size.GetXResMM(), size.GetYResMM(), size.GetZResMM());
    const PlaneGrid grid = planeGrid(size, lower.GetGeometry());
    interpolateSlices(placeNeighbours(lower, upper, planeDistance, grid), scaleOf(lower), grid,
                      entry.image.begin());
}

}  // namespace trelis::VolumeImage::detail
