#include <trelis/volume_image/detail/slice_resampling.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <trelis/foundation/epsilon.h>
#include <trelis/foundation/volume_tools.h>
#include <trelis/volume_image/detail/saturate.h>

namespace trelis::VolumeImage::detail {

namespace {

using Pixel = unsigned short;

/// How near pixel edges must be for pixels to be copied, in millimetres.
constexpr double kEqualSpacingTolerance = 1e-9;

/// Rounds to the nearest pixel value.
Pixel rounded(double value) { return saturated<Pixel>(value + 0.5); }

/// The index limited to 0 ... size; 0 for a NaN.
int limited(double index, int size) {
    return saturated<int>(std::min<double>(size, std::max(0.0, index)));
}

template <typename Value>
void convertRow(const Value* values, std::size_t count, const PixelScale& from,
                const PixelScale& to, Pixel* row) {
    for (std::size_t x = 0; x < count; ++x) {
        row[x] = rounded((values[x] + static_cast<double>(from.offset)) * from.slope / to.slope -
                         to.offset);
    }
}

template <typename Value>
void weightRow(const Value* values, std::size_t count, const Neighbour& neighbour,
               const PixelScale& to, double* terms) {
    const double offset = neighbour.scale.offset;
    const double weight = neighbour.weight;
    const double slope = neighbour.scale.slope;
    const double outputSlope = to.slope;
    if (slope == 1.0 && outputSlope == 1.0) {
        // The same numbers; divisions would take most of the time.
        for (std::size_t x = 0; x < count; ++x) {
            terms[x] = (values[x] + offset) * weight;
        }
        return;
    }
    for (std::size_t x = 0; x < count; ++x) {
        terms[x] = (values[x] + offset) * weight * slope / outputSlope;
    }
}

/// What the neighbour contributes to each pixel of row y; `values` is scratch space.
void contributions(const Neighbour& neighbour, const PixelScale& to, int y,
                   std::vector<double>& values, std::vector<double>& terms) {
    const double uncovered = to.offset * neighbour.weight;
    const PlacedSlice& slice = neighbour.slice;
    if (!slice.coversRow(y)) {
        std::fill(terms.begin(), terms.end(), uncovered);
        return;
    }
    const AxisAlignment& columns = slice.columns();
    std::fill(terms.begin(), terms.begin() + columns.begin(), uncovered);
    std::fill(terms.begin() + columns.end(), terms.end(), uncovered);
    const auto count = static_cast<std::size_t>(columns.end() - columns.begin());
    double* covered = terms.data() + columns.begin();
    if (slice.hasEqualSpacing()) {
        weightRow(slice.storedRow(y), count, neighbour, to, covered);
    } else {
        slice.resampleRow(y, values.data());
        weightRow(values.data(), count, neighbour, to, covered);
    }
}

/// Whether the neighbour's share of a weighted mean is one of pixel values as they are stored.
bool givesStoredValues(const Neighbour& neighbour, const PixelScale& to) {
    return neighbour.scale == to && to.slope == 1.0 && neighbour.weight >= 0.0 &&
           neighbour.slice.hasEqualSpacing();
}

/// A slice whose image is without its pixels, or of no planes, counts as one of no pixels.
int storedSize(const QVolume<Pixel>& image, int size) {
    return image.PixelsAllocated() && image.GetZSize() > 0 ? size : 0;
}

/// How far the corner of the slice lies from that of the plane along an axis of the slice.
double cornerDistance(const ISlice& slice, const PlaneGrid& grid, int axis) {
    const auto corner = planeGrid(slice.GetImage(), slice.GetGeometry()).corner;
    return (corner - grid.corner).Dot(slice.GetGeometry().GetVector(axis));
}

}  // namespace

PlaneGrid planeGrid(const QVolumeSize& size, const MMatrix& geometry) {
    return {size.GetXSize(), size.GetYSize(), size.GetXResMM(), size.GetYResMM(),
            geometry.GetTranslation() - NVolumeTools::VectorToMiddle(size, geometry)};
}

AxisAlignment::AxisAlignment(int sliceSize, double sliceRes, int planeSize, double planeRes,
                             double distance)
    : sliceSize_(sliceSize),
      pixelRatio_(planeRes / sliceRes),
      hasEqualSpacing_(EpsilonEqual(sliceRes, planeRes, kEqualSpacingTolerance)),
      shift_(std::floor(distance / planeRes + 0.5)) {
    const double covered =
        hasEqualSpacing_ ? sliceSize : std::ceil(sliceSize * sliceRes / planeRes - 0.5);
    begin_ = limited(shift_, planeSize);
    end_ = std::max(begin_, limited(shift_ + covered, planeSize));
}

AxisAlignment::Sample AxisAlignment::sampleAt(int i) const {
    if (sliceSize_ == 1) {
        return {0, 0, 0.0};
    }
    const double position = (i - shift_ + 0.5) * pixelRatio_ - 0.5;
    const int lower = limited(std::floor(position), sliceSize_ - 2);
    return {lower, lower + 1, position - lower};
}

PlacedSlice::PlacedSlice(const ISlice& slice, const PlaneGrid& grid)
    : image_(slice.GetImage()),
      columns_(storedSize(image_, image_.GetXSize()), image_.GetXResMM(), grid.xsize, grid.xres,
               cornerDistance(slice, grid, 0)),
      rows_(storedSize(image_, image_.GetYSize()), image_.GetYResMM(), grid.ysize, grid.yres,
            cornerDistance(slice, grid, 1)) {
    if (!hasEqualSpacing()) {
        for (int x = columns_.begin(); x < columns_.end(); ++x) {
            samples_.push_back(columns_.sampleAt(x));
        }
    }
}

const Pixel* PlacedSlice::storedRow(int y) const {
    return image_.GetConstSpanX(rows_.pixelAt(y), 0).begin() + columns_.pixelAt(columns_.begin());
}

void PlacedSlice::resampleRow(int y, double* values) const {
    const AxisAlignment::Sample row = rows_.sampleAt(y);
    const Pixel* lower = image_.GetConstSpanX(row.lower, 0).begin();
    const Pixel* upper = image_.GetConstSpanX(row.upper, 0).begin();
    for (std::size_t x = 0; x < samples_.size(); ++x) {
        const AxisAlignment::Sample& column = samples_[x];
        const auto alongRow = [&column](const Pixel* pixels) {
            return pixels[column.lower] +
                   column.fraction * (pixels[column.upper] - pixels[column.lower]);
        };
        const double value = alongRow(lower);
        values[x] = value + row.fraction * (alongRow(upper) - value);
    }
}

void copySlice(const PlacedSlice& slice, const PixelScale& from, const PixelScale& to,
               const PlaneGrid& grid, Pixel* plane) {
    const AxisAlignment& columns = slice.columns();
    const auto count = static_cast<std::size_t>(columns.end() - columns.begin());
    std::vector<double> values(slice.hasEqualSpacing() ? 0 : count);
    Pixel* row = plane;
    for (int y = 0; y < grid.ysize; ++y, row += grid.xsize) {
        if (!slice.coversRow(y)) {
            std::fill_n(row, grid.xsize, Pixel{0});
            continue;
        }
        std::fill(row, row + columns.begin(), Pixel{0});
        std::fill(row + columns.end(), row + grid.xsize, Pixel{0});
        Pixel* covered = row + columns.begin();
        if (!slice.hasEqualSpacing()) {
            slice.resampleRow(y, values.data());
            if (from == to) {
                std::transform(values.begin(), values.end(), covered, rounded);
            } else {
                convertRow(values.data(), count, from, to, covered);
            }
        } else if (from == to) {
            std::copy_n(slice.storedRow(y), count, covered);
        } else {
            convertRow(slice.storedRow(y), count, from, to, covered);
        }
    }
}

Neighbours placeNeighbours(const ISlice& lower, const ISlice& upper, double distance,
                           const PlaneGrid& grid) {
    const double below = GetSlicePlaneDistance(&lower);
    const double above = GetSlicePlaneDistance(&upper);
    const bool isSame = below == above;
    return {{{lower, grid}, scaleOf(lower), isSame ? 1.0 : (above - distance) / (above - below)},
            {{upper, grid}, scaleOf(upper), isSame ? 0.0 : (distance - below) / (above - below)}};
}

void interpolateSlices(const Neighbours& neighbours, const PixelScale& to, const PlaneGrid& grid,
                       Pixel* plane) {
    const auto width = static_cast<std::size_t>(grid.xsize);
    std::vector<double> values(width);
    std::vector<double> lower(width);
    std::vector<double> upper(width);
    const double offset = to.offset;
    // A mean of pixel values is one; limiting it would take most of the time.
    const bool isMean =
        givesStoredValues(neighbours.lower, to) && givesStoredValues(neighbours.upper, to);
    Pixel* row = plane;
    for (int y = 0; y < grid.ysize; ++y, row += width) {
        contributions(neighbours.lower, to, y, values, lower);
        contributions(neighbours.upper, to, y, values, upper);
        if (isMean) {
            for (std::size_t x = 0; x < width; ++x) {
                const double value = lower[x] + upper[x] - offset;
                row[x] = static_cast<Pixel>(static_cast<int>(value + 0.5));
            }
        } else {
            for (std::size_t x = 0; x < width; ++x) {
                row[x] = rounded(lower[x] + upper[x] - offset);
            }
        }
    }
}

}  // namespace trelis::VolumeImage::detail
