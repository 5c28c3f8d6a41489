#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <trelis/contour/tracing.h>
#include <trelis/segment/fixed_point_iterators.h>

#include <apps/trelis/report/plane_sampling.h>

namespace app::report {
namespace {

/// So many pixels around a picture are sampled too, so that lines that leave it are closed outside.
constexpr int kMargin = 2;
constexpr float kUnknown = std::numeric_limits<float>::quiet_NaN();

/// Columns or rows from `begin` up to, but without, `end`.
struct Range {
    int begin;
    int end;
};

/// Cuts a range down to where start + i step is between two limits.
void narrow(double start, double step, double low, double high, Range& range) {
    constexpr double kStill = 1e-12;
    constexpr double kTolerance = 1e-6;
    low -= kTolerance;
    high += kTolerance;
    if (std::abs(step) < kStill) {
        range.end = start >= low && start <= high ? range.end : range.begin;
        return;
    }
    const double a = (low - start) / step;
    const double b = (high - start) / step;
    const double first = std::clamp<double>(std::ceil(std::min(a, b)), range.begin, range.end);
    const double last = std::clamp<double>(std::floor(std::max(a, b)) + 1.0, first, range.end);
    range = {static_cast<int>(first), static_cast<int>(last)};
}

/// Along one axis of a volume: where the voxel centres are that can be read between.
class Axis {
  public:
    Axis(int size, std::ptrdiff_t stride, double border)
        : size_(size), stride_(size > 1 ? stride : 0), border_(size > 1 ? border : 0.5) {}

    void narrowTo(double start, double step, Range& range) const {
        narrow(start, step, -border_, size_ - 1 + border_, range);
    }

    struct Place {
        std::ptrdiff_t offset;
        double fraction;
    };
    Place at(double position) const {
        const double inside = std::clamp<double>(position, 0.0, size_ - 1);
        const int voxel = std::min(static_cast<int>(inside), std::max(size_ - 2, 0));
        return {voxel * stride_, inside - voxel};
    }
    std::ptrdiff_t stride() const { return stride_; }

  private:
    int size_;
    std::ptrdiff_t stride_;
    double border_;
};

double mix(double a, double b, double fraction) { return a + (b - a) * fraction; }

template <typename T>
class Trilinear {
  public:
    Trilinear(const QVolume<T>& volume, double border)
        : values_(volume.begin()),
          x_(volume.GetXSize(), 1, border),
          y_(volume.GetYSize(), volume.GetXSize(), border),
          z_(volume.GetZSize(), static_cast<std::ptrdiff_t>(volume.GetXSize()) * volume.GetYSize(),
             border) {}

    Range columns(const Vector& start, const Vector& step, int width) const {
        Range range{0, width};
        x_.narrowTo(start.x, step.x, range);
        y_.narrowTo(start.y, step.y, range);
        z_.narrowTo(start.z, step.z, range);
        return range;
    }

    float at(const Vector& voxel) const {
        const Axis::Place x = x_.at(voxel.x);
        const Axis::Place y = y_.at(voxel.y);
        const Axis::Place z = z_.at(voxel.z);
        const T* corner = values_ + x.offset + y.offset + z.offset;
        const auto row = [&](const T* first) {
            return mix(first[0], first[x_.stride()], x.fraction);
        };
        const auto plane = [&](const T* first) {
            return mix(row(first), row(first + y_.stride()), y.fraction);
        };
        return static_cast<float>(mix(plane(corner), plane(corner + z_.stride()), z.fraction));
    }

  private:
    const T* values_;
    Axis x_;
    Axis y_;
    Axis z_;
};

/// What a pixel step along the columns and along the rows is in the voxels of a grid.
struct VoxelSteps {
    Vector origin;
    Vector column;
    Vector row;
};

VoxelSteps stepsOf(const PlaneGrid& grid, const FVoxelSpaceGeometry& place) {
    const Vector origin = place.RealToVoxel(grid.origin);
    return {origin, place.RealToVoxel(grid.at(1.0, 0.0)) - origin,
            place.RealToVoxel(grid.at(0.0, 1.0)) - origin};
}

/// The pixels that a box can cover, with some around; empty where the plane does not meet it.
PlaneGrid partOver(const PatientBox& box, const PlaneGrid& grid) {
    const Vector across = grid.right.Cross(grid.down);
    const Vector half = 0.5 * (box.high - box.low);
    const double distance = std::abs((box.centre() - grid.origin).Dot(across));
    PlaneGrid part = grid;
    if (distance > std::abs(half.Dot(across))) {
        part.width = part.height = 0;
        return part;
    }
    const EdgePoint centre = grid.pixelOf(box.centre());
    const auto range = [&](double middle, const Vector& axis, int size) {
        const double reach = std::abs(half.Dot(axis)) / grid.pixel + kMargin;
        const auto inside = [&](double at) {
            return static_cast<int>(std::clamp<double>(at, -kMargin, size + kMargin));
        };
        return Range{inside(std::floor(middle - reach)), inside(std::ceil(middle + reach) + 1.0)};
    };
    const Range columns = range(centre.x, grid.right, grid.width);
    const Range rows = range(centre.y, grid.down, grid.height);
    part.origin = grid.at(columns.begin, rows.begin);
    part.width = columns.end - columns.begin;
    part.height = rows.end - rows.begin;
    return part;
}

void shift(const EdgePoint& by, Glyph& glyph) {
    for (std::vector<EdgePoint>& contour : glyph) {
        for (EdgePoint& point : contour) {
            point = point + by;
        }
    }
}

/// The values of a segment at the pixels of a plane.
QVolume<unsigned short> sampleSegment(const EvaluatedStructure& structure, const PlaneGrid& grid) {
    QVolume<unsigned short> values(grid.width, grid.height, 1, 1.0, 1.0, 1.0);
    const VoxelSteps steps = stepsOf(grid, structure.geometry);
    const Vector toRVoxel(0.5, 0.5, 0.5);
    for (int y = 0; y < grid.height; ++y) {
        const Vector start = steps.origin + static_cast<double>(y) * steps.row + toRVoxel;
        NSegment::SpanFixedPoint16TriLinearIterator voxel(structure.segment, start.x, start.y,
                                                          start.z, steps.column.x, steps.column.y,
                                                          steps.column.z);
        unsigned short* const row = values.GetSpanX(y, 0).begin();
        for (int x = 0; x < grid.width;) {
            const int count = std::min(voxel.stepsOfConstantValue(), grid.width - x);
            std::fill_n(row + x, count, static_cast<unsigned short>(*voxel));
            x += count;
            voxel += count;
        }
    }
    return values;
}

}  // namespace

template <typename T>
QVolume<float> sampleVolume(const QVolume<T>& volume, const FVoxelSpaceGeometry& place,
                            const PlaneGrid& grid, double border) {
    QVolume<float> values(grid.width, grid.height, 1, 1.0, 1.0, 1.0);
    std::fill(values.begin(), values.end(), kUnknown);
    const Trilinear<T> trilinear(volume, border);
    const VoxelSteps steps = stepsOf(grid, place);
    for (int y = 0; y < grid.height; ++y) {
        const Vector start = steps.origin + static_cast<double>(y) * steps.row;
        const Range columns = trilinear.columns(start, steps.column, grid.width);
        float* const row = values.GetSpanX(y, 0).begin();
        for (int x = columns.begin; x < columns.end; ++x) {
            row[x] = trilinear.at(start + static_cast<double>(x) * steps.column);
        }
    }
    return values;
}

template QVolume<float> sampleVolume(const QVolume<unsigned short>&, const FVoxelSpaceGeometry&,
                                     const PlaneGrid&, double);
template QVolume<float> sampleVolume(const QVolume<unsigned int>&, const FVoxelSpaceGeometry&,
                                     const PlaneGrid&, double);

Glyph outlinesIn(const PlaneGrid& grid, const EvaluatedStructure& structure, const VoxelBox& box) {
    const auto corner = [](const int(&voxel)[3], double offset) {
        return Vector(voxel[0] + offset, voxel[1] + offset, voxel[2] + offset);
    };
    // Values between 0 and 128 around the inside voxels reach up to a voxel further.
    const PatientBox reach =
        boxOf(structure.geometry, corner(box.low, -1.0), corner(box.high, 2.0));
    const PlaneGrid part = partOver(reach, grid);
    Glyph outlines;
    if (part.width <= 0 || part.height <= 0) {
        return outlines;
    }
    constexpr double kLevel = 127.5;
    NEdgePointAlgorithms::TraceVolumePlane(sampleSegment(structure, part), 0, kLevel, outlines);
    shift(grid.pixelOf(part.origin), outlines);
    return outlines;
}

PlaneDose::PlaneDose(const PlaneGrid& grid, const DoseSum& dose)
    : values_(sampleVolume(dose.values, dose.geometry(), grid.grown(kMargin), 0.0)),
      scale_(dose.scale) {}

bool PlaneDose::isKnown(int x, int y) const {
    return x >= 0 && y >= 0 && x < values_.GetXSize() && y < values_.GetYSize() &&
           !std::isnan(values_.GetPixel(x, y, 0));
}

bool PlaneDose::isBesideUnknown(const EdgePoint& vertex) const {
    return !isKnown(static_cast<int>(std::floor(vertex.x)),
                    static_cast<int>(std::floor(vertex.y))) ||
           !isKnown(static_cast<int>(std::ceil(vertex.x)), static_cast<int>(std::ceil(vertex.y)));
}

/// Leaves out the vertices at the border of what is known.
std::vector<IsodosePiece> PlaneDose::pieces(const Glyph& contours, bool borderToo) const {
    std::vector<IsodosePiece> result;
    const EdgePoint toPicture(-kMargin, -kMargin);
    for (const std::vector<EdgePoint>& contour : contours) {
        const auto isLeftOut = [&](const EdgePoint& vertex) {
            return !borderToo && isBesideUnknown(vertex);
        };
        const auto first = std::find_if(contour.begin(), contour.end(), isLeftOut);
        const auto offset = static_cast<std::size_t>(first - contour.begin());
        if (first == contour.end()) {
            result.push_back({contour, true});
        } else {
            bool open = false;
            for (std::size_t i = 1; i < contour.size(); ++i) {
                const EdgePoint& vertex = contour[(offset + i) % contour.size()];
                const bool keep = !isLeftOut(vertex);
                if (keep && !open) {
                    result.push_back({{}, false});
                }
                if (keep) {
                    result.back().points.push_back(vertex);
                }
                open = keep;
            }
        }
    }
    for (IsodosePiece& piece : result) {
        for (EdgePoint& point : piece.points) {
            point = point + toPicture;
        }
    }
    return result;
}

std::vector<IsodosePiece> PlaneDose::lines(double level) const {
    Glyph contours;
    NEdgePointAlgorithms::TraceVolumePlane(values_, 0, level / scale_, contours);
    return pieces(contours, false);
}

std::vector<IsodosePiece> PlaneDose::border() const {
    QVolume<unsigned short> known(values_.GetXSize(), values_.GetYSize(), 1, 1.0, 1.0, 1.0);
    std::transform(values_.begin(), values_.end(), known.begin(), [](float value) {
        return static_cast<unsigned short>(std::isnan(value) ? 0 : 1);
    });
    Glyph contours;
    NEdgePointAlgorithms::TraceVolumePlane(known, 0, 0.5, contours);
    return pieces(contours, true);
}

}  // namespace app::report
