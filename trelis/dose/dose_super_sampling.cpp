#include <trelis/dose/dose_super_sampling.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include <trelis/dose/detail/dose_lattice.h>
#include <trelis/dose/detail/super_sampling.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/segment/fixed_point_iterators.h>

namespace trelis {

namespace detail {

namespace {

using NSegment::SegmentVolume;
using Vector = MVectorTemplate<double>;

/// The level of the interpolated structure that is its boundary.
constexpr double kLevel = 127.5;

/// Runs of so many points without an end inside the structure are skipped at once.
constexpr std::int64_t kRun = 32;

/// Where values vary, a constant run is looked for only every so many points.
constexpr std::int64_t kPointsBetweenRuns = 8;

/// Writes the values of the next `count` points.
template <typename Iterator>
void readValues(Iterator iterator, std::int64_t count, unsigned char* values) {
    for (std::int64_t i = 0; i < count;) {
        const std::int64_t run = std::min<std::int64_t>(iterator.stepsOfConstantValue(), count - i);
        if (run > 1) {
            std::fill_n(values + i, run, static_cast<unsigned char>(*iterator));
            iterator += static_cast<int>(run);
            i += run;
            continue;
        }
        const std::int64_t end = std::min(i + kPointsBetweenRuns, count);
        for (; i < end; ++i, ++iterator) {
            values[i] = static_cast<unsigned char>(*iterator);
        }
    }
}

bool anyInside(const unsigned char* values, std::int64_t count) {
    unsigned all = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        all |= values[i];
    }
    return all >= static_cast<unsigned>(SegmentVolume::crossingValue());
}

/// What is read at the points of a lattice row. Nothing is known outside `points`.
struct LatticeRow {
    explicit LatticeRow(std::int64_t count)
        : values(static_cast<std::size_t>(count)), doses(static_cast<std::size_t>(count)) {}

    IndexRange points;
    int z = 0;
    bool anyInside = false;
    bool hasDoses = false;
    std::vector<unsigned char> values;
    std::vector<double> doses;
};

/// One super-sampling: walks the lattice, one row along y after the other, each through all planes.
template <typename T>
class SuperSampler {
  public:
    SuperSampler(const RefinedDose<T>& dose, const DoseLattice& lattice,
                 const SegmentVolume& structure, RampHistogram& histogram)
        : dose_(dose),
          lattice_(lattice),
          structure_(structure),
          histogram_(histogram),
          reach_(structure, lattice),
          row_(lattice.pointsX()),
          nextRow_(lattice.pointsX()),
          voxels_(static_cast<std::size_t>(dose.grid().GetXSize()) + 1),
          nextVoxels_(voxels_.size()) {}

    void run(FProgressReportingBody& progress) {
        const IndexRange rows = reach_.rows();
        for (std::int64_t y = rows.first; y < rows.end; ++y) {
            if (lattice_.isPlane()) {
                sampleRow(y);
            } else {
                samplePlanes(y);
            }
            progress.ReportProgress(static_cast<double>(y - rows.first + 1) /
                                    static_cast<double>(rows.end - rows.first));
        }
    }

    const SampledExtremes& extremes() const { return extremes_; }

  private:
    /// The segments of one lattice row in a single plane, along x.
    void sampleRow(std::int64_t y) {
        load(row_, y, 0);
        if (row_.anyInside) {
            loadDoses(row_, y);
            addSegments(row_, row_, 1, {row_.points.first, row_.points.end - 1}, y);
        }
    }

    /// The segments of one lattice row between all planes, along z.
    void samplePlanes(std::int64_t y) {
        const IndexRange planes = reach_.planes();
        if (planes.isEmpty()) {
            return;
        }
        load(nextRow_, y, static_cast<int>(planes.first));
        for (auto z = static_cast<int>(planes.first) + 1; z < planes.end; ++z) {
            std::swap(row_, nextRow_);
            load(nextRow_, y, z);
            if (row_.anyInside || nextRow_.anyInside) {
                loadDoses(row_, y);
                loadDoses(nextRow_, y);
                addSegments(row_, nextRow_, 0,
                            {std::max(row_.points.first, nextRow_.points.first),
                             std::min(row_.points.end, nextRow_.points.end)},
                            y);
            }
        }
    }

    void load(LatticeRow& row, std::int64_t y, int z) {
        row.points = reach_.pointsOfRow(y, z);
        row.z = z;
        row.hasDoses = false;
        row.anyInside = false;
        if (row.points.isEmpty()) {
            return;
        }
        const Vector start = lattice_.rowStart(y, z);
        const Vector step = lattice_.step();
        if (lattice_.isPlane()) {
            loadValues(row, NSegment::SpanFixedPoint16BiLinearIterator(structure_, start.x, start.y,
                                                                       start.z, step.x, step.y));
        } else {
            loadValues(row, NSegment::SpanFixedPoint16TriLinearIterator(
                                structure_, start.x, start.y, start.z, step.x, step.y, step.z));
        }
    }

    template <typename Iterator>
    void loadValues(LatticeRow& row, Iterator iterator) {
        const std::int64_t count = row.points.end - row.points.first;
        unsigned char* values = row.values.data() + row.points.first;
        // Positions are modulo 2^32, so the low bits of the index are enough.
        iterator += static_cast<int>(row.points.first);
        readValues(iterator, count, values);
        row.anyInside = anyInside(values, count);
    }

    /// Doses of the row's points: bilinear in the plane.
    void loadDoses(LatticeRow& row, std::int64_t y) {
        if (row.hasDoses || row.points.isEmpty()) {
            return;
        }
        row.hasDoses = true;
        const int stepsX = lattice_.stepsX();
        const auto first = static_cast<int>(row.points.first / stepsX);
        const auto last = static_cast<int>((row.points.end - 1) / stepsX);
        loadVoxels(y, row.z, first, last);
        std::int64_t point = row.points.first;
        for (int x = first; x <= last; ++x) {
            const double dose = voxels_[static_cast<std::size_t>(x - first)];
            const double slope = voxels_[static_cast<std::size_t>(x - first) + 1] - dose;
            const std::int64_t voxelStart = std::int64_t{x} * stepsX;
            const std::int64_t end = std::min(voxelStart + stepsX, row.points.end);
            for (; point < end; ++point) {
                const double fraction = static_cast<double>(point - voxelStart) / stepsX;
                row.doses[static_cast<std::size_t>(point)] = dose + slope * fraction;
            }
        }
    }

    /// The doses at the voxel columns first to last + 1 of a row, linear along y. Beyond the grid
    /// the last column is repeated.
    void loadVoxels(std::int64_t y, int z, int first, int last) {
        const int end = std::min(last + 2, dose_.grid().GetXSize());
        const auto voxelY = static_cast<int>(y / lattice_.stepsY());
        const double fraction = static_cast<double>(y % lattice_.stepsY()) / lattice_.stepsY();
        const auto count = static_cast<std::size_t>(end - first);
        dose_.readRow(voxelY, z, first, end, voxels_.data());
        if (fraction > 0.0) {
            dose_.readRow(voxelY + 1, z, first, end, nextVoxels_.data());
            for (std::size_t i = 0; i < count; ++i) {
                voxels_[i] += (nextVoxels_[i] - voxels_[i]) * fraction;
            }
        }
        voxels_[count] = voxels_[count - 1];
    }

    /// The segments from the points i in a range of one row to the points i + shift of the other.
    void addSegments(const LatticeRow& row, const LatticeRow& otherRow, std::int64_t shift,
                     const IndexRange& points, std::int64_t y) {
        const unsigned char* values = row.values.data();
        const unsigned char* otherValues = otherRow.values.data() + shift;
        const double* doses = row.doses.data();
        const double* otherDoses = otherRow.doses.data() + shift;
        const Vector along(static_cast<double>(shift), 0.0, otherRow.z - row.z);
        for (std::int64_t i = points.first; i < points.end;) {
            const std::int64_t end = std::min(i + kRun, points.end);
            if (!anyInside(values + i, end - i) && !anyInside(otherValues + i, end - i)) {
                i = end;
                continue;
            }
            for (; i < end; ++i) {
                if (std::max(values[i], otherValues[i]) < SegmentVolume::crossingValue()) {
                    continue;
                }
                const auto at = [&](double fraction) {
                    return Vector(static_cast<double>(i), static_cast<double>(y), row.z) +
                           along * fraction;
                };
                addSegment({values[i], doses[i], 0.0}, {otherValues[i], otherDoses[i], 1.0}, at);
            }
        }
    }

    /// The end of a segment: value of the structure, dose, place along the segment.
    struct End {
        int value;
        double dose;
        double place;
    };

    /// `at(place)` is a place along the segment in lattice coordinates.
    template <typename At>
    void addSegment(const End& end, const End& otherEnd, const At& at) {
        const bool inOrder = end.value >= otherEnd.value;
        const End& a = inOrder ? end : otherEnd;
        const End& b = inOrder ? otherEnd : end;
        double inside = 1.0;
        double boundaryDose = b.dose;
        if (b.value < SegmentVolume::crossingValue()) {
            inside = (a.value - kLevel) / std::max(1, a.value - b.value);
            boundaryDose = (1.0 - inside) * a.dose + inside * b.dose;
        }
        histogram_.add(a.dose, boundaryDose, inside);
        extremes_.take(a.dose, [&] { return at(a.place); });
        extremes_.take(boundaryDose, [&] { return at(a.place + (b.place - a.place) * inside); });
    }

    const RefinedDose<T>& dose_;
    const DoseLattice& lattice_;
    const SegmentVolume& structure_;
    RampHistogram& histogram_;
    StructureReach reach_;
    SampledExtremes extremes_;
    LatticeRow row_;
    LatticeRow nextRow_;
    std::vector<double> voxels_;
    std::vector<double> nextVoxels_;
};

bool matches(const FVoxelSpaceGeometry& geometry, const QVolumeSize& grid) {
    return QVolumeSize(geometry.xsize(), geometry.ysize(), geometry.zsize(), geometry.xres(),
                       geometry.yres(), geometry.zres()) == grid;
}

}  // namespace

template <class T>
SampledExtremes superSample(const RefinedDose<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
                            const SegmentVolume& structure,
                            const FVoxelSpaceGeometry& structureGeometry, double sampleStep,
                            RampHistogram& histogram, FProgressReportingBody& progress) {
    if (!matches(doseGeometry, dose.grid()) ||
        !matches(structureGeometry, {structure.xsize(), structure.ysize(), structure.zsize(),
                                     structure.xres(), structure.yres(), structure.zres()})) {
        Crash(L"DVH calculation attempted with invalid geometries");
    }
    SampledExtremes extremes;
    const DoseLattice lattice(doseGeometry, structureGeometry, sampleStep);
    if (dose.hasVoxels()) {
        SuperSampler<T> sampler(dose, lattice, structure, histogram);
        sampler.run(progress);
        extremes = sampler.extremes();
    }
    histogram.integrate(lattice.segmentSize());
    if (!extremes.areDefined()) {
        return {0.0, 0.0, {}, {}};
    }
    histogram.fold(extremes.minimum, extremes.maximum);
    extremes.minimumAt = lattice.toReal(extremes.minimumAt);
    extremes.maximumAt = lattice.toReal(extremes.maximumAt);
    return extremes;
}

template SampledExtremes superSample(const RefinedDose<unsigned short>&, const FVoxelSpaceGeometry&,
                                     const SegmentVolume&, const FVoxelSpaceGeometry&, double,
                                     RampHistogram&, FProgressReportingBody&);
template SampledExtremes superSample(const RefinedDose<unsigned int>&, const FVoxelSpaceGeometry&,
                                     const SegmentVolume&, const FVoxelSpaceGeometry&, double,
                                     RampHistogram&, FProgressReportingBody&);

}  // namespace detail

template <class T>
void CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
    const QVolume<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
    const NSegment::SegmentVolume& structure, const FVoxelSpaceGeometry& structureGeometry,
    double maxValue, double offset, double sampleStep, int binCount, double* bins, double& binWidth,
    double& minSampled, MVectorTemplate<double>& minPosition, double& maxSampled,
    MVectorTemplate<double>& maxPosition, FProgressReportingBody& progress) {
    binWidth = detail::superSamplingBinWidth(maxValue, offset, binCount);
    detail::RampHistogram histogram(bins, binCount, binWidth);
    const detail::SampledExtremes extremes =
        detail::superSample(detail::RefinedDose<T>(dose, {}), doseGeometry, structure,
                            structureGeometry, sampleStep, histogram, progress);
    minSampled = extremes.minimum;
    minPosition = extremes.minimumAt;
    maxSampled = extremes.maximum;
    maxPosition = extremes.maximumAt;
}

template TRELIS_API void CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
    const QVolume<unsigned short>&, const FVoxelSpaceGeometry&, const NSegment::SegmentVolume&,
    const FVoxelSpaceGeometry&, double, double, double, int, double*, double&, double&,
    MVectorTemplate<double>&, double&, MVectorTemplate<double>&, FProgressReportingBody&);
template TRELIS_API void CalculateDoseVolumeHistogramSemiAnalyticalSuperSampling(
    const QVolume<unsigned int>&, const FVoxelSpaceGeometry&, const NSegment::SegmentVolume&,
    const FVoxelSpaceGeometry&, double, double, double, int, double*, double&, double&,
    MVectorTemplate<double>&, double&, MVectorTemplate<double>&, FProgressReportingBody&);

}  // namespace trelis
