#include <apps/trelis/evaluation/slice_selection.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace app {

namespace {

using trelis::VolumeImage::ImageCreator;
using trelis::VolumeImage::ISliceVolumeDefinition;
using trelis::VolumeImage::ResultCode;

/// How many slices are tried as the reference of the others.
constexpr std::size_t kMostReferences = 8;

struct Rejection {
    std::size_t slice;
    ResultCode code;
    /// The slice that it disagrees with; null where that is not one.
    const ISliceVolumeDefinition* other;
};

struct Selection {
    ImageCreator creator{true};
    std::vector<std::size_t> accepted;
    std::vector<Rejection> rejections;
};

Selection selectWithReference(const ImageSeries& series, std::size_t reference) {
    Selection selection;
    const auto add = [&](std::size_t i) {
        if (selection.creator.AddSlice(series.slices[i].get())) {
            selection.accepted.push_back(i);
        } else {
            const ISliceVolumeDefinition* other = nullptr;
            const ResultCode code = selection.creator.GetLastValidateError(other);
            selection.rejections.push_back({i, code, other});
        }
    };
    add(reference);
    for (std::size_t i = 0; i < series.slices.size(); ++i) {
        if (i != reference) {
            add(i);
        }
    }
    return selection;
}

/// The first slice is the reference unless it disagrees with most others.
Selection bestSelection(const ImageSeries& series) {
    Selection best = selectWithReference(series, 0);
    const std::vector<Rejection> others = best.rejections;
    for (std::size_t i = 0; i < std::min(others.size(), kMostReferences); ++i) {
        if (2 * best.rejections.size() <= series.slices.size()) {
            break;
        }
        Selection selection = selectWithReference(series, others[i].slice);
        if (selection.rejections.size() < best.rejections.size()) {
            best = std::move(selection);
        }
    }
    // A reference is not checked in full itself, but it is behind another one.
    if (best.accepted.size() > 1) {
        Selection checked = selectWithReference(series, best.accepted[1]);
        if (checked.rejections.size() > best.rejections.size()) {
            return checked;
        }
    }
    return best;
}

}  // namespace

const char* inWords(ResultCode code) {
    switch (code) {
        case ResultCode::Ok:
            return "it is usable";
        case ResultCode::NoSlice:
            return "it belongs to no series, or there is no slice on one side of a plane";
        case ResultCode::NoPixelData:
            return "it has no pixels";
        case ResultCode::LocalizerImage:
            return "it is a localizer";
        case ResultCode::ModalityMismatch:
            return "its modality differs";
        case ResultCode::DuplicatePlane:
            return "its plane is taken, to 0.1 mm, by another slice";
        case ResultCode::SeriesMismatch:
            return "it is of another series or pixel size";
        case ResultCode::ParentMismatch:
            return "it belongs to another study";
        case ResultCode::OrientationMismatch:
            return "its axes differ from those of the other slices";
        case ResultCode::RescaleMismatch:
            return "its rescale slope or intercept differs";
        case ResultCode::UnsupportedModality:
            return "its modality is none of CT, MR, PT and US";
        case ResultCode::FrameMismatch:
            return "its frame of reference differs";
        case ResultCode::UndefinedPixelConversion:
            return "its pixels have no slope or offset";
    }
    return "the reason is unknown";
}

ImageCreator selectSlices(const ImageSeries& series, Messages& messages) {
    if (series.slices.empty()) {
        return ImageCreator(true);
    }
    Selection selection = bestSelection(series);
    for (const Rejection& rejection : selection.rejections) {
        const auto* other = static_cast<const ImageSlice*>(rejection.other);
        messages.fault(series.slices[rejection.slice]->file,
                       fmt::format("the slice is left out: {}{}", inWords(rejection.code),
                                   other == nullptr ? "" : ", see " + other->file));
    }
    return std::move(selection.creator);
}

}  // namespace app
