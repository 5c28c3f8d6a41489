#include <trelis/contour/contour_stack.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include <trelis/contour/detail/disjoint_sets.h>
#include <trelis/contour/detail/glyph_coverage.h>
#include <trelis/contour/detail/outline_groups.h>
#include <trelis/contour/detail/plane_writer.h>
#include <trelis/contour/detail/shape_interpolation.h>

namespace NSegmentAlgorithms {

namespace {

using trelis::detail::boxOf;
using trelis::detail::CoverageImage;
using trelis::detail::DisjointSets;
using trelis::detail::doOverlap;
using trelis::detail::OutlineGroup;
using trelis::detail::ShapeInterpolation;
using trelis::detail::SquareBox;
using PatientContour = std::vector<MVectorTemplate<double>>;

constexpr std::size_t kFewestPoints = 3;

/// How far points may lie from their plane, and contours of one plane from each other.
constexpr double kPlaneToleranceMM = 0.1;

/// What is closer along z, in voxels, is at the same place.
constexpr double kSamePlace = 1e-6;

/// The part of the progress after which the contours are sorted into planes.
constexpr double kPlanesDone = 0.3;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// An outline with its holes, and whether it goes on in the next plane of its body.
struct Part {
    OutlineGroup group;
    bool joinedBelow = false;
    bool joinedAbove = false;
};

/// What is drawn in one plane; z in voxels, the points in R-voxel coordinates.
struct Plane {
    double z;
    std::vector<Part> parts;
};

/// A contour of the application in these coordinates.
struct PlanarContour {
    double z;
    std::vector<EdgePoint> points;
};

[[noreturn]] void fail(const std::string& what) {
    throw std::invalid_argument("NSegmentAlgorithms::ConvertContourStack: " + what);
}

void checkArguments(const FVoxelSpaceGeometry& grid, const ContourStackOptions& options) {
    const auto isDistance = [](double value) { return std::isfinite(value) && value >= 0.0; };
    if (!isDistance(options.planeSpacing) || !isDistance(options.widestGap)) {
        fail("plane spacing and widest gap must be 0 or more");
    }
    if (grid.xsize() < 1 || grid.ysize() < 1 || grid.zsize() < 1) {
        fail("the grid has no voxels");
    }
}

/// `index` is the name of the contour in messages.
PlanarContour placeOnGrid(const PatientContour& contour, std::size_t index,
                          const FVoxelSpaceGeometry& grid) {
    PlanarContour placed{0.0, {}};
    for (const MVectorTemplate<double>& point : contour) {
        const MVectorTemplate<double> p = grid.RealToVoxel(point);
        placed.points.emplace_back(p.x + 0.5, p.y + 0.5);
        if (!trelis::detail::isUsable(placed.points.back()) || !std::isfinite(p.z)) {
            fail("contour " + std::to_string(index) + " has a coordinate that is not finite");
        }
        placed.z = placed.points.size() == 1 ? p.z : placed.z;
        if (!(std::fabs(p.z - placed.z) * grid.zres() <= kPlaneToleranceMM)) {
            fail("contour " + std::to_string(index) + " does not lie in a plane of the grid");
        }
    }
    return placed;
}

/// By ascending z.
std::vector<PlanarContour> sortedContours(const std::vector<PatientContour>& contours,
                                          const FVoxelSpaceGeometry& grid) {
    std::vector<PlanarContour> sorted;
    for (std::size_t i = 0; i < contours.size(); ++i) {
        if (contours[i].size() >= kFewestPoints) {
            sorted.push_back(placeOnGrid(contours[i], i, grid));
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const PlanarContour& a, const PlanarContour& b) { return a.z < b.z; });
    return sorted;
}

/// The contours by planes; each plane begins with its lowest contour.
std::vector<Plane> planesOf(const std::vector<PatientContour>& contours,
                            const FVoxelSpaceGeometry& grid, FProgressReportingBody& progress) {
    std::vector<PlanarContour> sorted = sortedContours(contours, grid);
    std::vector<Plane> planes;
    for (std::size_t i = 0; i < sorted.size();) {
        progress.ReportProgress(static_cast<double>(i) / static_cast<double>(sorted.size()));
        Plane plane{sorted[i].z, {}};
        Glyph glyph;
        while (i < sorted.size() && (sorted[i].z - plane.z) * grid.zres() <= kPlaneToleranceMM) {
            glyph.push_back(std::move(sorted[i++].points));
        }
        for (OutlineGroup& group : trelis::detail::outlineGroupsOf(glyph)) {
            plane.parts.push_back({std::move(group)});
        }
        planes.push_back(std::move(plane));
    }
    return planes;
}

/// The median distance of neighbouring planes, of two in the middle the smaller one.
double medianDistance(const std::vector<Plane>& planes) {
    std::vector<double> distances;
    for (std::size_t i = 1; i < planes.size(); ++i) {
        distances.push_back(planes[i].z - planes[i - 1].z);
    }
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>((distances.size() - 1) / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle;
}

/// How planes of a stack lie to each other, in voxels.
struct Spacing {
    double distance;
    double widestGap;
    bool caps;
};

Spacing spacingOf(const std::vector<Plane>& planes, const FVoxelSpaceGeometry& grid,
                  const ContourStackOptions& options) {
    const double distance = options.planeSpacing > 0.0 ? options.planeSpacing / grid.zres()
                            : planes.size() > 1        ? medianDistance(planes)
                                                       : 1.0;
    return {distance, options.widestGap * distance + kPlaneToleranceMM / grid.zres(),
            options.endCaps};
}

/// Joins those of two planes' parts that overlap; these are numbered from `firstLower` and
/// `firstUpper` on.
void joinOverlapping(const std::vector<Part>& lower, std::size_t firstLower,
                     const std::vector<Part>& upper, std::size_t firstUpper, DisjointSets& sets) {
    for (std::size_t i = 0; i < lower.size(); ++i) {
        for (std::size_t k = 0; k < upper.size(); ++k) {
            const bool isNew = sets.find(firstLower + i) != sets.find(firstUpper + k);
            if (isNew && doOverlap(lower[i].group, upper[k].group)) {
                sets.join(firstLower + i, firstUpper + k);
            }
        }
    }
}

/// Divides a stack into bodies: parts that overlap within the widest gap belong to one. Each has
/// the planes that hold a part of it.
std::vector<std::vector<Plane>> bodiesOf(const std::vector<Plane>& planes, double widestGap) {
    std::vector<std::size_t> firstParts = {0};
    for (const Plane& plane : planes) {
        firstParts.push_back(firstParts.back() + plane.parts.size());
    }
    DisjointSets sets(firstParts.back());
    for (std::size_t i = 0; i < planes.size(); ++i) {
        for (std::size_t k = i + 1; k < planes.size() && planes[k].z - planes[i].z <= widestGap;
             ++k) {
            joinOverlapping(planes[i].parts, firstParts[i], planes[k].parts, firstParts[k], sets);
        }
    }
    std::vector<std::vector<Plane>> bodies(firstParts.back());
    for (std::size_t i = 0; i < planes.size(); ++i) {
        for (std::size_t a = 0; a < planes[i].parts.size(); ++a) {
            std::vector<Plane>& body = bodies[sets.find(firstParts[i] + a)];
            if (body.empty() || body.back().z != planes[i].z) {
                body.push_back({planes[i].z, {}});
            }
            body.back().parts.push_back(planes[i].parts[a]);
        }
    }
    std::erase_if(bodies, [](const std::vector<Plane>& body) { return body.empty(); });
    return bodies;
}

/// The covered share of the stretch from `low` to `high` by the one from `begin` to `end`.
double shareOf(double low, double high, double begin, double end) {
    const double share = (std::min(high, end) - std::max(low, begin)) / (high - low);
    return share > 1.0 - kSamePlace ? 1.0 : std::max(share, 0.0);
}

/// The contour planes of a body and what lies between them.
class Body {
  public:
    Body(std::vector<Plane> planes, const Spacing& spacing, const FVoxelSpaceGeometry& grid)
        : planes_(std::move(planes)), spacing_(spacing), grid_(grid) {
        for (std::size_t i = 0; i + 1 < planes_.size(); ++i) {
            join(planes_[i], planes_[i + 1]);
        }
    }

    double firstZ() const { return planes_.front().z - capBelow(0); }
    double lastZ() const { return planes_.back().z + capAbove(planes_.size() - 1); }

    /// The squares that any plane touches.
    SquareBox box() const {
        SquareBox box;
        for (const Plane& plane : planes_) {
            for (const Part& part : plane.parts) {
                box = enclosing(box, boxOf(part.group, grid_.xsize(), grid_.ysize()));
            }
        }
        return box;
    }

    /// Adds the mean covered fractions over a plane of the grid to an image that encloses `box()`.
    void addPlane(int z, CoverageImage& image) {
        if (z + 0.5 <= firstZ() || z - 0.5 >= lastZ()) {
            return;
        }
        const double slices =
            std::clamp(std::floor(1.0 / spacing_.distance + 0.5), 1.0, kMostSlices);
        for (double i = 0.0; i < slices; ++i) {
            addSlice(z - 0.5 + i / slices, z - 0.5 + (i + 1.0) / slices, 1.0 / slices, image);
        }
    }

  private:
    static constexpr double kMostSlices = 1000.0;

    void join(Plane& lower, Plane& upper) const {
        if (upper.z - lower.z > spacing_.widestGap) {
            return;
        }
        for (Part& below : lower.parts) {
            for (Part& above : upper.parts) {
                if (!(below.joinedAbove && above.joinedBelow) &&
                    doOverlap(below.group, above.group)) {
                    below.joinedAbove = true;
                    above.joinedBelow = true;
                }
            }
        }
    }

    double cap() const { return spacing_.caps ? spacing_.distance / 2.0 : 0.0; }

    double capBelow(std::size_t i) const {
        return i == 0 ? cap() : std::min(cap(), (planes_[i].z - planes_[i - 1].z) / 2.0);
    }

    double capAbove(std::size_t i) const {
        return i + 1 == planes_.size() ? cap() : capBelow(i + 1);
    }

    /// Where a part, or all of several parts, of plane i begins and ends along z.
    double beginOf(std::size_t i, bool joinedBelow) const {
        return joinedBelow ? -kInfinity : planes_[i].z - capBelow(i);
    }
    double endOf(std::size_t i, bool joinedAbove) const {
        return joinedAbove ? kInfinity : planes_[i].z + capAbove(i);
    }

    /// Adds what is between z = low and high, taken at the middle of them.
    void addSlice(double low, double high, double weight, CoverageImage& image) {
        const double z = (low + high) / 2.0;
        const auto above = std::find_if(planes_.begin(), planes_.end(), [&](const Plane& plane) {
            return plane.z > z + kSamePlace;
        });
        const auto upper = static_cast<std::size_t>(above - planes_.begin());
        if (upper > 0) {
            const std::size_t lower = upper - 1;
            for (const Part& part : planes_[lower].parts) {
                if (!part.joinedAbove) {
                    const double share =
                        shareOf(low, high, beginOf(lower, part.joinedBelow), endOf(lower, false));
                    addPart(part, weight * share, image);
                }
            }
        }
        if (upper < planes_.size()) {
            for (const Part& part : planes_[upper].parts) {
                if (!part.joinedBelow) {
                    const double share =
                        shareOf(low, high, beginOf(upper, false), endOf(upper, part.joinedAbove));
                    addPart(part, weight * share, image);
                }
            }
        }
        if (upper > 0 && upper < planes_.size()) {
            addBetween(upper - 1, low, high, weight, image);
        }
    }

    void addPart(const Part& part, double weight, CoverageImage& image) const {
        if (weight > 0.0) {
            image.add(CoverageImage(part.group, grid_.xsize(), grid_.ysize()), weight);
        }
    }

    /// Adds what joins planes `lower` and lower + 1.
    void addBetween(std::size_t lower, double low, double high, double weight,
                    CoverageImage& image) {
        if (!interpolation_ || interpolated_ != lower) {
            prepare(lower);
        }
        if (!interpolation_) {
            return;
        }
        const Plane& below = planes_[lower];
        const Plane& above = planes_[lower + 1];
        const double z = (low + high) / 2.0;
        const double place = (z - below.z) / (above.z - below.z);
        const double fraction = std::fabs(z - below.z) <= kSamePlace ? 0.0 : place;
        const bool goesOnBelow = std::any_of(below.parts.begin(), below.parts.end(),
                                             [](const Part& part) { return part.joinedBelow; });
        const bool goesOnAbove = std::any_of(above.parts.begin(), above.parts.end(),
                                             [](const Part& part) { return part.joinedAbove; });
        const double share =
            shareOf(low, high, beginOf(lower, goesOnBelow), endOf(lower + 1, goesOnAbove));
        interpolation_->addTo(image, fraction, weight * share);
    }

    /// Makes the interpolation between two planes, none where no parts are joined.
    void prepare(std::size_t lower) {
        Glyph joined[2];
        for (const Part& part : planes_[lower].parts) {
            if (part.joinedAbove) {
                joined[0].insert(joined[0].end(), part.group.begin(), part.group.end());
            }
        }
        for (const Part& part : planes_[lower + 1].parts) {
            if (part.joinedBelow) {
                joined[1].insert(joined[1].end(), part.group.begin(), part.group.end());
            }
        }
        interpolated_ = lower;
        interpolation_.reset();
        if (!joined[0].empty()) {
            interpolation_ = std::make_unique<ShapeInterpolation>(
                joined[0], joined[1], grid_.xsize(), grid_.ysize(), grid_.xres(), grid_.yres());
        }
    }

    std::vector<Plane> planes_;
    Spacing spacing_;
    const FVoxelSpaceGeometry& grid_;
    std::unique_ptr<ShapeInterpolation> interpolation_;
    std::size_t interpolated_ = 0;  ///< the plane below what interpolation_ is for
};

void writePlane(const CoverageImage& image, int z, NSegment::SegmentVolume& seg) {
    trelis::detail::PlaneWriter writer(seg, z);
    const SquareBox& box = image.box();
    for (int y = box.bottom; y < box.top; ++y) {
        writer.writeRow(y, box.left,
                        std::span(image.row(y), static_cast<std::size_t>(box.width())));
    }
    writer.finish();
}

void fillSegment(std::vector<Body>& bodies, FProgressReportingBody& progress,
                 NSegment::SegmentVolume& seg) {
    double firstZ = kInfinity;
    double lastZ = -kInfinity;
    SquareBox box;
    for (const Body& body : bodies) {
        firstZ = std::min(firstZ, body.firstZ());
        lastZ = std::max(lastZ, body.lastZ());
        box = enclosing(box, body.box());
    }
    const double planes = seg.zsize();
    const int first = static_cast<int>(std::clamp(std::floor(firstZ + 0.5), 0.0, planes));
    const int end = static_cast<int>(std::clamp(std::ceil(lastZ + 0.5), 0.0, planes));
    CoverageImage image(box);
    for (int z = first; z < end; ++z) {
        progress.ReportProgress(static_cast<double>(z - first) / (end - first));
        image.clear();
        for (Body& body : bodies) {
            body.addPlane(z, image);
        }
        writePlane(image, z, seg);
    }
}

}  // namespace

void ConvertContourStack(const std::vector<PatientContour>& contours,
                         const FVoxelSpaceGeometry& grid, const ContourStackOptions& options,
                         NSegment::SegmentVolume& seg, FProgressReportingBody& progress) {
    checkArguments(grid, options);
    const std::vector<Plane> planes = planesOf(contours, grid, progress.SubRange(0.0, kPlanesDone));
    seg = NSegment::SegmentVolume(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(),
                                  grid.yres(), grid.zres());
    if (planes.empty()) {
        return;
    }
    const Spacing spacing = spacingOf(planes, grid, options);
    std::vector<Body> bodies;
    for (std::vector<Plane>& body : bodiesOf(planes, spacing.widestGap)) {
        bodies.emplace_back(std::move(body), spacing, grid);
    }
    fillSegment(bodies, progress.SubRange(kPlanesDone, 1.0), seg);
}

}  // namespace NSegmentAlgorithms
