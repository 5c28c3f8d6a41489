#include <trelis/dose/dose_summation.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

#include <trelis/foundation/detail/parallel.h>
#include <trelis/foundation/voxel_space_geometry.h>

namespace trelis {

namespace {

using DoseVolume = QVolume<unsigned int>;
using Vector = MVectorTemplate<double>;

/// What the result of a subtraction must carry.
constexpr int kSubtractionOffset = 1 << 30;

/// How far outside the box of the source's voxel centres a sample may lie, in voxels.
constexpr double kBorderTolerance = 1e-5;

/// Voxels are resampled in runs of so many, whose arrays stay in the first-level cache.
constexpr std::size_t kRun = 128;

constexpr double kTwoTo31 = 2147483648.0;
constexpr double kTwoTo63 = kTwoTo31 * kTwoTo31 * 2;

/// Rows are handed to threads in groups of about so many voxels.
constexpr std::size_t kVoxelsPerGroup = 1 << 14;

/// From a source value to what it adds.
struct Conversion {
    double offset;
    double factor;

    double added(double value) const { return (value - offset) * factor; }

    unsigned int contribution(double value) const {
        const double x = added(value);
        return std::abs(x) < kTwoTo63 ? static_cast<unsigned int>(static_cast<std::int64_t>(x)) : 0;
    }
};

/// The largest value of the form 2^n - 1 up to which values and contributions fit an int. That of 0
/// must.
unsigned int highestForInt(const Conversion& conversion) {
    unsigned int value = std::numeric_limits<int>::max();
    while (!(std::abs(conversion.added(value)) < kTwoTo31)) {
        value /= 2;
    }
    return value;
}

void addVoxels(const Conversion& conversion, const DoseVolume& source, DoseVolume& result) {
    const unsigned int* const from = source.begin();
    unsigned int* const to = result.begin();
    const std::size_t count = source.size();
    if (!(std::abs(conversion.added(0.0)) < kTwoTo31)) {
        for (std::size_t i = 0; i < count; ++i) {
            to[i] += conversion.contribution(from[i]);
        }
        return;
    }
    // Conversions from and to int, unlike others, go through vector registers. So the high bits,
    // seldom set, are left out at first; sums modulo 2^32 can be mended exactly.
    const unsigned int mask = highestForInt(conversion);
    const auto masked = [&](unsigned int value) {
        const double added = conversion.added(static_cast<int>(value & mask));
        return static_cast<unsigned int>(static_cast<int>(added));
    };
    unsigned int bits = 0;
    for (std::size_t i = 0; i < count; ++i) {
        bits |= from[i];
        to[i] += masked(from[i]);
    }
    if (bits > mask) {
        for (std::size_t i = 0; i < count; ++i) {
            to[i] += conversion.contribution(from[i]) - masked(from[i]);
        }
    }
}

/// One axis of the source, whose cells lie between voxel centres. An axis with one voxel has one
/// cell between that voxel and itself.
class Axis {
  public:
    Axis(int size, std::ptrdiff_t stride)
        : limit_(size - 1 + kBorderTolerance),
          lastCell_(std::max(size - 2, 0)),
          stride_(static_cast<double>(stride)),
          toNeighbour_(size > 1 ? stride : 0) {}

    bool contains(double position) const {
        return position >= -kBorderTolerance && position < limit_;
    }

    /// Whether a position that is outside never comes inside by such steps.
    bool isLeaving(double position, double step) const {
        return (position < -kBorderTolerance && step <= 0.0) || (position >= limit_ && step >= 0.0);
    }

    /// Replaces positions inside by their places in their cells, 0 to 1 or slightly beyond at the
    /// borders, and adds what the cells add to the indices of voxels.
    void split(double* positions, double* indices, std::size_t count) const {
        const double last = lastCell_;
        const double stride = stride_;
        for (std::size_t i = 0; i < count; ++i) {
            const double cell = std::min<double>(static_cast<int>(positions[i]), last);
            positions[i] -= cell;
            indices[i] += stride * cell;
        }
    }

    std::ptrdiff_t toNeighbour() const { return toNeighbour_; }

  private:
    double limit_;
    double lastCell_;
    double stride_;
    std::ptrdiff_t toNeighbour_;
};

/// Samples of consecutive voxels of a result row, in arrays so that the loops over them go through
/// vector registers.
struct Run {
    /// Positions in the source, and later the places in the cells.
    double x[kRun];
    double y[kRun];
    double z[kRun];
    /// Index of the first voxel of the cell; whole numbers.
    double indices[kRun];
    /// The values at the corners of the cell, x fastest, then y, then z.
    unsigned int corners[8][kRun];
    double samples[kRun];

    Vector position(std::size_t i) const { return {x[i], y[i], z[i]}; }

    /// Takes `count` positions, each the rounded sum of the one before and the step, and leaves the
    /// next in `position`.
    void walk(Vector& position, const Vector& step, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            x[i] = position.x;
            y[i] = position.y;
            z[i] = position.z;
            position += step;
        }
    }

    /// From corners and places to samples. The corners fit the type of integers.
    template <typename Integer>
    void interpolate(std::size_t count) {
        const auto lerp = [](double a, double b, double f) { return a + f * (b - a); };
        for (std::size_t i = 0; i < count; ++i) {
            const auto alongX = [&](int k) {
                return lerp(static_cast<Integer>(corners[k][i]),
                            static_cast<Integer>(corners[k + 1][i]), x[i]);
            };
            const double low = lerp(alongX(0), alongX(2), y[i]);
            const double high = lerp(alongX(4), alongX(6), y[i]);
            samples[i] = std::max(lerp(low, high, z[i]), 0.0);
        }
    }
};

/// Trilinear values of a dose.
class Sampler {
  public:
    explicit Sampler(const DoseVolume& volume)
        : values_(volume.begin()),
          x_(volume.GetXSize(), 1),
          y_(volume.GetYSize(), volume.GetXSize()),
          z_(volume.GetZSize(),
             static_cast<std::ptrdiff_t>(volume.GetXSize()) * volume.GetYSize()) {}

    bool contains(const Vector& p) const {
        return x_.contains(p.x) && y_.contains(p.y) && z_.contains(p.z);
    }

    bool isLeaving(const Vector& p, const Vector& step) const {
        return x_.isLeaving(p.x, step.x) || y_.isLeaving(p.y, step.y) || z_.isLeaving(p.z, step.z);
    }

    /// Samples the first `count` positions of a run; they are inside.
    void sample(Run& run, std::size_t count) const {
        const unsigned int bits = readCorners(run, count);
        if (bits == 0) {
            std::fill_n(run.samples, count, 0.0);
        } else if (bits <= static_cast<unsigned int>(std::numeric_limits<int>::max())) {
            run.interpolate<int>(count);
        } else {
            run.interpolate<unsigned int>(count);
        }
    }

  private:
    /// Returns all bits of all corners.
    unsigned int readCorners(Run& run, std::size_t count) const {
        std::fill_n(run.indices, count, 0.0);
        x_.split(run.x, run.indices, count);
        y_.split(run.y, run.indices, count);
        z_.split(run.z, run.indices, count);
        std::ptrdiff_t toCorner[8];
        for (int k = 0; k < 8; ++k) {
            toCorner[k] = ((k & 1) != 0 ? x_.toNeighbour() : 0) +
                          ((k & 2) != 0 ? y_.toNeighbour() : 0) +
                          ((k & 4) != 0 ? z_.toNeighbour() : 0);
        }
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned int* first = values_ + static_cast<std::ptrdiff_t>(run.indices[i]);
            for (int k = 0; k < 8; ++k) {
                run.corners[k][i] = first[toCorner[k]];
            }
        }
        unsigned int bits = 0;
        for (const auto& values : run.corners) {
            for (std::size_t i = 0; i < count; ++i) {
                bits |= values[i];
            }
        }
        return bits;
    }

    const unsigned int* values_;
    Axis x_;
    Axis y_;
    Axis z_;
};

/// Adds samples to the voxels of a row, taken from `position` on and a step further for each voxel.
void addRow(const Conversion& conversion, const Sampler& source, Vector position,
            const Vector& step, unsigned int* voxel, const unsigned int* end) {
    for (; voxel != end && !source.contains(position); ++voxel) {
        if (source.isLeaving(position, step)) {
            return;
        }
        position += step;
    }
    Run run;
    for (bool inside = true; inside && voxel != end;) {
        const std::size_t count = std::min(kRun, static_cast<std::size_t>(end - voxel));
        run.walk(position, step, count);
        // Rounded sums are as monotonic as exact ones: what lies between two positions inside is
        // inside, and once outside the row is over.
        std::size_t insideCount = count;
        while (insideCount > 0 && !source.contains(run.position(insideCount - 1))) {
            --insideCount;
        }
        inside = insideCount == count;
        source.sample(run, insideCount);
        for (std::size_t i = 0; i < insideCount; ++i) {
            voxel[i] += conversion.contribution(run.samples[i]);
        }
        voxel += insideCount;
    }
}

void addResampled(const Conversion& conversion, const FVoxelSpaceGeometry& sourceGeometry,
                  const DoseVolume& source, const FVoxelSpaceGeometry& resultGeometry,
                  DoseVolume& result) {
    const auto sourcePosition = [&](int x, std::size_t y, std::size_t z) {
        return sourceGeometry.RealToVoxel(
            resultGeometry.VoxelToReal(Vector(x, static_cast<double>(y), static_cast<double>(z))));
    };
    const Vector step = sourcePosition(1, 0, 0) - sourcePosition(0, 0, 0);
    const Sampler sampler(source);
    unsigned int* const voxels = result.begin();
    const auto width = static_cast<std::size_t>(result.GetXSize());
    const auto height = static_cast<std::size_t>(result.GetYSize());
    const std::size_t rows = height * static_cast<std::size_t>(result.GetZSize());
    const std::size_t rowsPerGroup = std::max<std::size_t>(1, kVoxelsPerGroup / width);
    QProgressReporterNull nobody;
    detail::parallelFor((rows + rowsPerGroup - 1) / rowsPerGroup, nobody, [&](std::size_t group) {
        const std::size_t end = std::min((group + 1) * rowsPerGroup, rows);
        for (std::size_t row = group * rowsPerGroup; row < end; ++row) {
            addRow(conversion, sampler, sourcePosition(0, row % height, row / height), step,
                   voxels + row * width, voxels + (row + 1) * width);
        }
    });
}

FVoxelSpaceGeometry geometryOf(const DoseVolume& volume, const MMatrix& transform) {
    return {transform,          volume.GetXSize(),  volume.GetYSize(), volume.GetZSize(),
            volume.GetXResMM(), volume.GetYResMM(), volume.GetZResMM()};
}

}  // namespace

void AddWithWeight(double sourceScale, double sourceOffset, const MMatrix& sourceTransform,
                   const DoseVolume& source, double resultScale, int resultOffset,
                   const MMatrix& resultTransform, DoseVolume& result, double weight) {
    if (weight < 0.0 && resultOffset != kSubtractionOffset) {
        throw std::out_of_range(
            "Offset in the result matrix must be 1 << 30 when the weight is negative");
    }
    const Conversion conversion{sourceOffset, sourceScale / resultScale * weight};
    if (source.size() == 0 || result.size() == 0) {
        return;
    }
    if (source.begin() == std::as_const(result).begin()) {
        AddWithWeight(sourceScale, sourceOffset, sourceTransform, DoseVolume(source), resultScale,
                      resultOffset, resultTransform, result, weight);
    } else if (source.QVolumeSize::operator==(result) &&
               sourceTransform.EqualMatrix(resultTransform)) {
        addVoxels(conversion, source, result);
    } else {
        addResampled(conversion, geometryOf(source, sourceTransform), source,
                     geometryOf(result, resultTransform), result);
    }
}

}  // namespace trelis
