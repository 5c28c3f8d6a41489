#include <algorithm>
#include <cmath>
#include <string>

#include <fmt/format.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/image_plane.h>
#include <apps/trelis/dicom/image_reader.h>
#include <apps/trelis/dicom/most_frequent.h>
#include <apps/trelis/dicom/pixel_data.h>
#include <apps/trelis/dicom/unusable.h>

namespace app {
namespace {

/// What is added to signed pixels to store them without a sign.
constexpr int kSignedRaise = 32768;

constexpr double kLargestRescale = 1e9;

/// Attributes of DICOM hold ASCII here.
std::wstring wide(const std::string& text) { return {text.begin(), text.end()}; }

double numberOrUndefined(const AttributeReader& attributes, const DcmTagKey& tag) {
    return attributes.findNumber(tag).value_or(trelis::Undefined<double>::value);
}

void readPixelValues(DicomFile& file, const ImagePlane& plane, ImageSlice& slice) {
    const AttributeReader attributes = file.attributes();
    if (attributes.findInteger(DCM_NumberOfFrames).value_or(1) != 1) {
        throw Unusable("holds more than one frame, which is not supported");
    }
    const PixelFormat format(attributes);
    if (format.bitsAllocated > 16) {
        throw Unusable("has pixels of more than 16 bits");
    }
    const std::uint64_t count =
        static_cast<std::uint64_t>(plane.columns) * static_cast<std::uint64_t>(plane.rows);
    requirePixels(file, format, count);
    slice.image.SetResMM(plane.columnSpacing, plane.rowSpacing, 1.0);
    slice.image.SetSize(plane.columns, plane.rows, 1);
    readPixels(file, format, count, slice.image.begin());
    slice.pixelOffset = format.isSigned ? -kSignedRaise : 0;
}

std::unique_ptr<ImageSlice> readSlice(const FoundObject& object, const ImageSeries& series) {
    DicomFile file(object.path, DicomFile::Extent::Whole);
    const AttributeReader attributes = file.attributes();
    const ImagePlane plane(attributes);
    auto slice = std::make_unique<ImageSlice>();
    slice->file = object.file;
    slice->instanceUid = object.instanceUid;
    slice->modality = wide(object.modality);
    slice->imageType = wide(attributes.text(DCM_ImageType));
    slice->frameUid = wide(object.frame());
    slice->series = &series.key;
    slice->geometry = plane.centredTransform(0.0, 1, 1.0);
    slice->pixelSlope = 1.0;
    slice->rescaleSlope = numberOrUndefined(attributes, DCM_RescaleSlope);
    slice->rescaleIntercept = numberOrUndefined(attributes, DCM_RescaleIntercept);
    if (object.modality != "MR" &&
        (std::isnan(slice->rescaleSlope) || std::isnan(slice->rescaleIntercept))) {
        throw Unusable("has no rescale slope and intercept, so that its values mean nothing");
    }
    if (slice->rescaleSlope <= 0.0 || slice->rescaleSlope > kLargestRescale ||
        std::abs(slice->rescaleIntercept) > kLargestRescale) {
        throw Unusable("has a rescale slope or intercept that cannot be");
    }
    readPixelValues(file, plane, *slice);
    return slice;
}

/// Slices of one series may differ in whether pixels are signed, which a volume of CT cannot: then
/// all are stored as signed pixels are.
void storeAllAsSigned(ImageSeries& series, Messages& messages) {
    const auto isSigned = [](const auto& slice) { return slice->pixelOffset != 0; };
    if (std::none_of(series.slices.begin(), series.slices.end(), isSigned)) {
        return;
    }
    std::erase_if(series.slices, [&](const std::unique_ptr<ImageSlice>& slice) {
        if (isSigned(slice)) {
            return false;
        }
        if (slice->image.MinMax().maximum >= kSignedRaise) {
            messages.fault(slice->file, "has values too large for its series of signed pixels");
            return true;
        }
        for (unsigned short& pixel : slice->image.GetSpanXY(0)) {
            pixel = static_cast<unsigned short>(pixel + kSignedRaise);
        }
        slice->pixelOffset = -kSignedRaise;
        return false;
    });
}

bool rescalesDiffer(const ImageSeries& series) {
    const ImageSlice& first = *series.slices.front();
    const auto differ = [](double a, double b) {
        return !(a == b || (std::isnan(a) && std::isnan(b)));
    };
    return std::any_of(series.slices.begin(), series.slices.end(), [&](const auto& slice) {
        return differ(slice->rescaleSlope, first.rescaleSlope) ||
               differ(slice->rescaleIntercept, first.rescaleIntercept);
    });
}

/// Makes the rescaling of the slice its way to the scale that the slices of a volume share, which
/// has a whole number for the offset.
void moveRescaleToPixels(ImageSlice& slice) {
    constexpr double kTolerance = 1e-6;
    if (std::isnan(slice.rescaleSlope) || std::isnan(slice.rescaleIntercept)) {
        throw Unusable("has no rescale slope and intercept unlike others of its series");
    }
    const double offset = slice.rescaleIntercept / slice.rescaleSlope;
    if (!(std::abs(offset) <= kLargestRescale) ||
        std::abs(offset - std::round(offset)) > kTolerance) {
        throw Unusable("has a rescale intercept that is no multiple of its slope");
    }
    slice.pixelSlope = slice.rescaleSlope;
    slice.pixelOffset += static_cast<int>(std::lround(offset));
    slice.rescaleIntercept = 0.0;
}

/// Slopes on the shared scale are compared absolutely, so that the largest is 1 there.
void setLargestPixelSlopeToOne(ImageSeries& series) {
    double largest = 0.0;
    for (const auto& slice : series.slices) {
        largest = std::max(largest, slice->pixelSlope);
    }
    for (const auto& slice : series.slices) {
        slice->pixelSlope /= largest;
        slice->rescaleSlope = largest;
    }
}

/// PET is scaled slice by slice, MR in some series too. CT has one rescaling, which the volume
/// requires.
void shareScale(ImageSeries& series, Messages& messages) {
    if (series.modality == "CT" || (series.modality == "MR" && !rescalesDiffer(series))) {
        return;
    }
    std::erase_if(series.slices, [&](const std::unique_ptr<ImageSlice>& slice) {
        return !reportUnusable(slice->file, messages, [&] { moveRescaleToPixels(*slice); });
    });
    setLargestPixelSlopeToOne(series);
}

}  // namespace

std::unique_ptr<ImageSeries> readImageSeries(const std::vector<const FoundObject*>& images,
                                             Messages& messages, FProgressReportingBody& progress) {
    const FoundObject& first = *images.front();
    const std::string studyUid =
        mostFrequent(images, [](const FoundObject& image) { return image.studyUid; });
    auto series = std::make_unique<ImageSeries>();
    series->seriesUid = first.seriesUid;
    series->frameUid = mostFrequentFrame(images);
    series->modality = first.modality;
    series->description = first.seriesDescription;
    series->patientPosition = first.patientPosition;
    series->key.studyUid = wide(studyUid);
    for (std::size_t i = 0; i < images.size(); ++i) {
        progress.ReportProgress(static_cast<double>(i) / static_cast<double>(images.size()));
        reportUnusable(images[i]->file, messages, [&] {
            if (images[i]->studyUid != studyUid) {
                throw Unusable("belongs to another study than the rest of its series");
            }
            series->slices.push_back(readSlice(*images[i], *series));
        });
    }
    if (!series->slices.empty()) {
        storeAllAsSigned(*series, messages);
        shareScale(*series, messages);
    }
    return series->slices.empty() ? nullptr : std::move(series);
}

}  // namespace app
