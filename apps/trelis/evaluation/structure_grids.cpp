#include <apps/trelis/evaluation/structure_grids.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>

#include <trelis/contour/contour_stack.h>

namespace app {

namespace {

using Contours = std::vector<std::vector<Vector>>;

/// All lengths are millimetres. How far points may lie beside their plane, a little less than for
/// the conversion.
constexpr double kFlatness = 0.0999;

/// Contours this close lie in one plane.
constexpr double kSamePlane = 0.1;

/// How far contour planes may lie beside the planes of their grid.
constexpr double kPlaneTolerance = 0.05;

/// Planes that are no multiples of one spacing are not followed more finely than this.
constexpr double kFinestPlanes = 0.5;

/// Small contours get so many voxels across, if these are not smaller than that. The measure of
/// volumes is then right to half a per cent wherever the voxels lie.
constexpr double kVoxelsAcross = 64.0;
constexpr double kSmallestVoxel = 0.05;

/// Pixels and planes of the image are not followed more finely than this.
constexpr double kSmallestPixel = 0.05;

/// Structures with margins get so many voxels along the smallest, if these are not smaller than
/// that: margins come out a fraction of a voxel too large.
constexpr double kVoxelsPerMargin = 5.0;
constexpr double kSmallestVoxelOfMargin = 0.5;

/// Voxels are made smaller than pixels up to about this many, ...
constexpr double kMostFineVoxels = 67108864.0;
constexpr double kCoarsening = 1.25;
/// ... and no structure may need more than this many, in a plane that, or reach farther.
constexpr double kMostVoxels = 2147483648.0;
constexpr double kMostVoxelsPerPlane = 67108864.0;
constexpr double kLargestExtent = 5000.0;
constexpr double kFarthest = 1e6;

struct Interval {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();

    void include(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    void include(const Interval& other) {
        include(other.low);
        include(other.high);
    }
    double length() const { return high - low; }
    double centre() const { return (low + high) / 2.0; }
};

/// The median, of two in the middle the smaller one.
double medianOf(const std::vector<double>& sorted) { return sorted[(sorted.size() - 1) / 2]; }

bool isUsable(const std::vector<Vector>& contour) { return contour.size() >= kFewestPoints; }

bool isFar(const Vector& p) {
    return !(std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)}) <= kFarthest);
}

/// The contours in some axes.
struct ContourBox {
    Interval x;
    Interval y;
    /// The shorter side of the box around a contour, of half of them less than this.
    double width = 0.0;
    /// Ascending, a plane of contours each.
    std::vector<double> planes;
};

/// None where the contours do not lie in planes across the third axis.
std::optional<ContourBox> boxAlong(const MMatrix& axes, const Contours& contours) {
    ContourBox box;
    std::vector<double> places;
    std::vector<double> widths;
    for (const auto& contour : contours) {
        if (!isUsable(contour)) {
            continue;
        }
        Interval x;
        Interval y;
        places.push_back(axes.Rotate(contour.front()).z);
        for (const Vector& point : contour) {
            const Vector p = axes.Rotate(point);
            if (!(std::abs(p.z - places.back()) <= kFlatness)) {
                return std::nullopt;
            }
            x.include(p.x);
            y.include(p.y);
        }
        box.x.include(x);
        box.y.include(y);
        widths.push_back(std::min(x.length(), y.length()));
    }
    std::sort(widths.begin(), widths.end());
    box.width = medianOf(widths);
    std::sort(places.begin(), places.end());
    for (const double place : places) {
        if (box.planes.empty() || place - box.planes.back() > kSamePlane) {
            box.planes.push_back(place);
        }
    }
    return box;
}

/// Twice the area of a contour, along its normal.
Vector areaVector(const std::vector<Vector>& contour) {
    Vector sum;
    for (std::size_t i = 2; i < contour.size(); ++i) {
        sum += (contour[i - 1] - contour[0]).Cross(contour[i] - contour[0]);
    }
    return sum;
}

/// Axes whose third one is the normal of the largest contour, towards the patient's left, back or
/// head.
MMatrix ownAxes(const Contours& contours) {
    Vector normal;
    for (const auto& contour : contours) {
        const Vector area = isUsable(contour) ? areaVector(contour) : Vector();
        normal = area.LengthSquared() > normal.LengthSquared() ? area : normal;
    }
    normal.Normalize();
    const bool isSagittal = std::abs(normal.x) > std::max(std::abs(normal.y), std::abs(normal.z));
    if (normal.x + normal.y + normal.z < 0.0) {
        normal = -normal;
    }
    const Vector y = normal.Cross(isSagittal ? Vector::P_Y : Vector::P_X).Normalized();
    return {y.Cross(normal), y, normal};
}

struct Placement {
    MMatrix axes;
    ContourBox box;
};

Placement placeContours(const Contours& contours, const MMatrix& frame) {
    for (const MMatrix& axes : {frame, MMatrix(), ownAxes(contours)}) {
        if (auto box = boxAlong(axes, contours)) {
            return {axes, std::move(*box)};
        }
    }
    throw std::invalid_argument("its contours are off plane: they do not lie in parallel planes");
}

/// Equidistant planes.
struct PlaneLattice {
    double first;
    double spacing;
    int count;
    /// The usual distance of the contours.
    double contourSpacing;
    /// Whether each contour plane is one of these.
    bool followsContours;
};

std::vector<double> distancesOf(const std::vector<double>& planes) {
    std::vector<double> distances;
    for (std::size_t i = 1; i < planes.size(); ++i) {
        distances.push_back(planes[i] - planes[i - 1]);
    }
    std::sort(distances.begin(), distances.end());
    return distances;
}

/// The median distance; without the distances that are not followed, unless the others are few:
/// they are those between parts whose planes are shifted a little.
double usualOf(const std::vector<double>& sorted) {
    const auto followed = std::lower_bound(sorted.begin(), sorted.end(), kFinestPlanes);
    const bool areFew = 4 * (sorted.end() - followed) < std::ssize(sorted);
    return medianOf({areFew ? sorted.begin() : followed, sorted.end()});
}

int rounded(double value) { return static_cast<int>(std::lround(value)); }

/// Planes that meet all of those given, which are about multiples of `distance` apart, as a line
/// fitted to their numbers; none where one is missed.
std::optional<PlaneLattice> fitLattice(const std::vector<double>& planes, double distance) {
    std::vector<double> numbers = {0.0};
    for (std::size_t i = 1; i < planes.size(); ++i) {
        numbers.push_back(numbers.back() + std::round((planes[i] - planes[i - 1]) / distance));
    }
    const auto count = static_cast<double>(planes.size());
    double meanNumber = 0.0;
    double meanPlane = 0.0;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        meanNumber += numbers[i] / count;
        meanPlane += planes[i] / count;
    }
    double covariance = 0.0;
    double variance = 0.0;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        covariance += (numbers[i] - meanNumber) * (planes[i] - meanPlane);
        variance += (numbers[i] - meanNumber) * (numbers[i] - meanNumber);
    }
    const double spacing = covariance / variance;
    const double first = meanPlane - meanNumber * spacing;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        if (!(std::abs(first + numbers[i] * spacing - planes[i]) <= kPlaneTolerance)) {
            return std::nullopt;
        }
    }
    const double usual = usualOf(distancesOf(planes));
    return PlaneLattice{first, spacing, rounded(numbers.back()) + 1,
                        spacing * std::round(usual / spacing), true};
}

PlaneLattice latticeOf(const std::vector<double>& planes, double singleSpacing) {
    if (planes.size() == 1) {
        return {planes.front(), singleSpacing, 1, singleSpacing, true};
    }
    const std::vector<double> distances = distancesOf(planes);
    const double smallest = distances.front();
    const double usual = usualOf(distances);
    if (smallest >= std::min(kFinestPlanes, usual / 2.0)) {
        if (const auto lattice = fitLattice(planes, smallest)) {
            return *lattice;
        }
    }
    // Planes from one end to the other, half a usual distance beyond the outermost contours.
    const double length = planes.back() - planes.front() + usual;
    const double count = std::ceil(length / std::max(smallest, kFinestPlanes));
    const double spacing = length / count;
    return {planes.front() - (usual - spacing) / 2.0, spacing, static_cast<int>(count), usual,
            false};
}

/// Planes between those of the lattice, so that these are no farther apart than `distance`; an odd
/// number of parts, so that the ends half a spacing beyond the contours lie between planes.
PlaneLattice refined(const PlaneLattice& lattice, double distance) {
    const int half = static_cast<int>(std::ceil((lattice.spacing / distance - 1.0) / 2.0 - 1e-6));
    const int parts = 2 * std::max(half, 0) + 1;
    return {lattice.first, lattice.spacing / parts, (lattice.count - 1) * parts + 1,
            lattice.contourSpacing, lattice.followsContours};
}

/// Voxels along an axis of the grid: those that divide an interval, and empty ones on both sides.
struct VoxelAxis {
    double size;
    int inner;
    int border;

    int count() const { return inner + 2 * border; }
};

/// For what reaches `cap` and then `growth` beyond the interval.
int borderFor(double cap, double growth, double size) {
    // The kernel of a margin reaches up to a voxel beyond it.
    const double kernel = growth > 0.0 ? 1.0 : 0.0;
    return static_cast<int>(std::ceil((cap + growth) / size + kernel - 1e-6)) + 1;
}

VoxelAxis voxelsAlong(double length, double largest, double growth) {
    const double inner = std::max(1.0, std::ceil(length / largest - 1e-9));
    const double size = std::max(length / inner, std::min(largest, kSmallestVoxel));
    return {size, static_cast<int>(inner), borderFor(0.0, growth, size)};
}

double finest(const MarginRoom& room) {
    return room.smallest > 0.0 ? std::max(kSmallestVoxelOfMargin, room.smallest / kVoxelsPerMargin)
                               : std::numeric_limits<double>::infinity();
}

struct GridAxes {
    VoxelAxis x;
    VoxelAxis y;
    VoxelAxis z;

    double voxelsPerPlane() const { return 1.0 * x.count() * y.count(); }
    double voxels() const { return voxelsPerPlane() * z.count(); }
};

GridAxes divide(const ContourBox& box, const PlaneLattice& lattice, double cap, double largestX,
                double largestY, double growth) {
    const int border = borderFor(cap, growth, lattice.spacing);
    return {voxelsAlong(box.x.length(), largestX, growth),
            voxelsAlong(box.y.length(), largestY, growth),
            {lattice.spacing, lattice.count, border}};
}

void checkExtent(const ContourBox& box) {
    const double depth = box.planes.back() - box.planes.front();
    if (!(std::max({box.x.length(), box.y.length(), depth}) <= kLargestExtent)) {
        throw std::invalid_argument("it is larger than any patient");
    }
}

/// The planes where contours are missing, by their places between others.
std::vector<double> missingPlaces(const std::vector<double>& planes, double spacing,
                                  double& widestGap) {
    const double widestJoined =
        NSegmentAlgorithms::ContourStackOptions().widestGap * spacing + kSamePlane;
    std::vector<double> places;
    for (std::size_t i = 1; i < planes.size(); ++i) {
        const double gap = planes[i] - planes[i - 1];
        const int steps = gap <= widestJoined ? rounded(gap / spacing) : 1;
        for (int step = 1; step < steps; ++step) {
            places.push_back(planes[i - 1] + gap * step / steps);
        }
        widestGap = gap > widestJoined ? std::max(widestGap, gap) : widestGap;
    }
    return places;
}

}  // namespace

GridFrame frameOf(const std::optional<ImageVolume>& image) {
    if (!image) {
        return {};
    }
    const Vector normal = image->transform.GetUnitAxisZ();
    const Vector x = image->transform.GetUnitAxisX();
    const QVolumeSize& size = image->pixels;
    return {MMatrix(x, normal.Cross(x), normal), std::max(size.GetXResMM(), kSmallestPixel),
            std::max(size.GetYResMM(), kSmallestPixel), std::max(size.GetZResMM(), kSmallestPixel)};
}

StructureGrid makeGrid(const Structure& structure, const GridFrame& frame, const MarginRoom& room) {
    const Contours& contours = structure.contours;
    if (std::none_of(contours.begin(), contours.end(), isUsable)) {
        throw std::invalid_argument("none of its contours has three points");
    }
    for (const auto& contour : contours) {
        if (std::any_of(contour.begin(), contour.end(), isFar)) {
            throw std::invalid_argument("it has a coordinate that makes no sense");
        }
    }
    const Placement placement = placeContours(contours, frame.axes);
    const ContourBox& box = placement.box;
    checkExtent(box);
    const PlaneLattice contourLattice = latticeOf(box.planes, frame.planeSpacing);
    const double coarse = std::max(frame.pixelX, frame.pixelY);
    const auto divided = [&](double voxel) {
        return divide(box, refined(contourLattice, std::max(voxel, finest(room))),
                      contourLattice.contourSpacing / 2.0, std::min(frame.pixelX, voxel),
                      std::min(frame.pixelY, voxel), room.growth);
    };
    double voxel = std::min(std::max(box.width / kVoxelsAcross, kSmallestVoxel), finest(room));
    GridAxes grid = divided(voxel);
    while (grid.voxels() > kMostFineVoxels && voxel < coarse) {
        voxel *= kCoarsening;
        grid = divided(voxel);
    }
    if (!(grid.voxels() <= kMostVoxels && grid.voxelsPerPlane() <= kMostVoxelsPerPlane)) {
        throw std::invalid_argument("its grid would need too many voxels");
    }

    MMatrix transform = placement.axes;
    const double middle = contourLattice.first + (grid.z.inner - 1) * grid.z.size / 2.0;
    transform.SetTranslation(transform.RotateT({box.x.centre(), box.y.centre(), middle}));
    StructureGrid result{{transform, grid.x.count(), grid.y.count(), grid.z.count(), grid.x.size,
                          grid.y.size, grid.z.size},
                         contourLattice.contourSpacing,
                         static_cast<int>(box.planes.size()),
                         contourLattice.followsContours,
                         {},
                         0.0};
    for (const double place : missingPlaces(box.planes, result.contourSpacing, result.widestGap)) {
        result.missingPlanes.push_back(grid.z.border +
                                       rounded((place - contourLattice.first) / grid.z.size));
    }
    return result;
}

}  // namespace app
