#include <trelis/dose/dose_coverage.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include <trelis/segment/detail/cell_walk.h>

namespace trelis {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;
using NSegment::detail::CellBox;
using Vector = MVectorTemplate<double>;

/// Boxes of voxels are classified with this margin, in dose voxels, for rounding; within it each
/// voxel is mapped by itself.
constexpr double kMargin = 1e-6;

enum class Place { Inside, Outside, Partly };

/// The dose grid as structure voxels see it.
class DoseBox {
  public:
    DoseBox(const FVoxelSpaceGeometry& dose, const FVoxelSpaceGeometry& structure)
        : dose_(dose), structure_(structure) {
        const Vector origin = map({0.0, 0.0, 0.0});
        const Vector steps[3] = {map({1.0, 0.0, 0.0}) - origin, map({0.0, 1.0, 0.0}) - origin,
                                 map({0.0, 0.0, 1.0}) - origin};
        const double sizes[3] = {static_cast<double>(dose.xsize()),
                                 static_cast<double>(dose.ysize()),
                                 static_cast<double>(dose.zsize())};
        for (int axis = 0; axis < 3; ++axis) {
            axes_[axis] = {component(origin, axis), component(steps[0], axis),
                           component(steps[1], axis), component(steps[2], axis), sizes[axis]};
        }
    }

    /// Where the centres of the voxels of a box are.
    Place place(const CellBox& box) const {
        Place result = Place::Inside;
        for (int axis = 0; axis < axisCount(); ++axis) {
            const Axis& a = axes_[axis];
            const double first = a.origin + a.stepX * box.x + a.stepY * box.y + a.stepZ * box.z;
            const double alongX = a.stepX * (box.width - 1);
            const double alongY = a.stepY * (box.height - 1);
            const double alongZ = a.stepZ * (box.depth - 1);
            const double low =
                first + std::min(alongX, 0.0) + std::min(alongY, 0.0) + std::min(alongZ, 0.0);
            const double high =
                first + std::max(alongX, 0.0) + std::max(alongY, 0.0) + std::max(alongZ, 0.0);
            if (high < -kMargin || low > a.size + kMargin) {
                return Place::Outside;
            }
            if (!(low > kMargin && high < a.size - kMargin)) {
                result = Place::Partly;
            }
        }
        return result;
    }

    bool contains(int x, int y, int z) const {
        const Vector p = map(Vector(x, y, z));
        const bool inPlane = p.x >= 0.0 && p.x < dose_.xsize() && p.y >= 0.0 && p.y < dose_.ysize();
        return inPlane && (dose_.zsize() == 1 || (p.z >= 0.0 && p.z < dose_.zsize()));
    }

  private:
    /// A dose coordinate as a linear function of structure voxel coordinates.
    struct Axis {
        double origin;
        double stepX;
        double stepY;
        double stepZ;
        double size;
    };

    static double component(const Vector& v, int axis) {
        return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
    }
    int axisCount() const { return dose_.zsize() == 1 ? 2 : 3; }
    Vector map(const Vector& p) const { return dose_.RealToVoxel(structure_.VoxelToReal(p)); }

    const FVoxelSpaceGeometry& dose_;
    const FVoxelSpaceGeometry& structure_;
    Axis axes_[3];
};

/// Inside voxels and the sum of their values.
struct Tally {
    std::int64_t count = 0;
    std::int64_t sum = 0;

    void add(std::int64_t voxels, std::int64_t values) {
        count += voxels;
        sum += values;
    }
    double weight() const { return static_cast<double>(sum) / SegmentVolume::maxValue(); }
};

/// The inside voxels of a row.
Tally tally(const unsigned char* values, int count) {
    unsigned voxels = 0;
    unsigned sum = 0;
    for (int i = 0; i < count; ++i) {
        const bool inside = values[i] >= SegmentVolume::crossingValue();
        voxels += inside ? 1U : 0U;
        sum += inside ? values[i] : 0U;
    }
    Tally result;
    result.add(voxels, sum);
    return result;
}

class Coverage {
  public:
    Coverage(const SegmentVolume& structure, const DoseBox& doseBox)
        : structure_(structure), doseBox_(doseBox) {}

    void add(const CellBox& box) {
        const VolumeCell& cell = structure_.Cells()[box.index];
        if (cell.empty()) {
            return;
        }
        const Place place = doseBox_.place(box);
        if (cell.full() && place != Place::Partly) {
            addVoxels(place, VolumeCell::kBytes,
                      std::int64_t{VolumeCell::kBytes} * SegmentVolume::maxValue());
            return;
        }
        CellBox row = box;
        row.height = 1;
        row.depth = 1;
        for (row.z = box.z; row.z < box.z + box.depth; ++row.z) {
            for (row.y = box.y; row.y < box.y + box.height; ++row.y) {
                addRow(row, cell.values() + SegmentVolume::offsetInCell(row.x, row.y, row.z),
                       place == Place::Partly ? doseBox_.place(row) : place);
            }
        }
    }

    const Tally& structureTally() const { return all_; }
    const Tally& coveredTally() const { return covered_; }

  private:
    void addVoxels(Place place, std::int64_t count, std::int64_t sum) {
        all_.add(count, sum);
        if (place == Place::Inside) {
            covered_.add(count, sum);
        }
    }

    void addRow(const CellBox& row, const unsigned char* values, Place place) {
        if (place != Place::Partly) {
            const Tally inside = tally(values, row.width);
            addVoxels(place, inside.count, inside.sum);
            return;
        }
        for (int i = 0; i < row.width; ++i) {
            if (values[i] >= SegmentVolume::crossingValue()) {
                const bool contained = doseBox_.contains(row.x + i, row.y, row.z);
                addVoxels(contained ? Place::Inside : Place::Outside, 1, values[i]);
            }
        }
    }

    const SegmentVolume& structure_;
    const DoseBox& doseBox_;
    Tally all_;
    Tally covered_;
};

}  // namespace

template <class T>
void CalculateDoseCoverageForStructure(const QVolume<T>& /*dose*/,
                                       const FVoxelSpaceGeometry& doseGeometry,
                                       const SegmentVolume& structure,
                                       const FVoxelSpaceGeometry& structureGeometry,
                                       double& structureWeight, double& coveredWeight,
                                       int& coveredCount, FProgressReportingBody& progress) {
    structureWeight = 0.0;
    coveredWeight = 0.0;
    coveredCount = 0;
    const DoseBox doseBox(doseGeometry, structureGeometry);
    Coverage coverage(structure, doseBox);
    const int layers = structure.superBlockSizeZ();
    for (int layer = 0; layer < layers; ++layer) {
        NSegment::detail::forEachCellInLayers(structure, layer, layer + 1,
                                              [&](const CellBox& box) { coverage.add(box); });
        progress.ReportProgress(static_cast<double>(layer + 1) / layers);
    }
    structureWeight = coverage.structureTally().weight();
    coveredWeight = coverage.coveredTally().weight();
    coveredCount = static_cast<int>(
        std::min<std::int64_t>(coverage.coveredTally().count, std::numeric_limits<int>::max()));
}

template TRELIS_API void CalculateDoseCoverageForStructure(const QVolume<unsigned short>&,
                                                           const FVoxelSpaceGeometry&,
                                                           const SegmentVolume&,
                                                           const FVoxelSpaceGeometry&, double&,
                                                           double&, int&, FProgressReportingBody&);
template TRELIS_API void CalculateDoseCoverageForStructure(const QVolume<unsigned int>&,
                                                           const FVoxelSpaceGeometry&,
                                                           const SegmentVolume&,
                                                           const FVoxelSpaceGeometry&, double&,
                                                           double&, int&, FProgressReportingBody&);

}  // namespace trelis
