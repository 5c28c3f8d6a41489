#include <trelis/segment_algorithms/sub_voxel_measures.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <trelis/segment_algorithms/detail/inside_bits.h>

namespace plexa {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;
using NSegmentAlgorithms::detail::insideBitsOfRow;
using NSegmentAlgorithms::detail::kBitsPerWord;
using NSegmentAlgorithms::detail::wordsPerRow;

/// The level of the interpolated field that is the boundary.
constexpr double kLevel = 127.5;

/// Integration lines along an axis of a lattice square or cube.
constexpr int kLines = 8;

/// What a lattice square or cube with an inside corner counts at least.
constexpr double kSmallestFraction = 0.001;

constexpr double lineAt(int i) { return (i + 0.5) / kLines; }

double lerp(double p, double q, double t) { return p * (1.0 - t) + q * t; }

/// The part of a line that is above the level, for a field that is linear between its ends. Without
/// branches, so that it goes through vector registers; two ends at the level (0 / 0) give 1.
double coveredFraction(double end, double otherEnd) {
    const double low = end < otherEnd ? end : otherEnd;
    const double high = end < otherEnd ? otherEnd : end;
    const double crossing = (high - kLevel) / (high - low);
    const double atMostOne = crossing < 1.0 ? crossing : 1.0;
    return atMostOne > 0.0 ? atMostOne : 0.0;
}

/// The eight corner values of a lattice cube, x fastest, then y, then z; of a square the first
/// four.
using Corners = std::array<unsigned char, 8>;

double squareFraction(const Corners& c) {
    double sum = 0.0;
    for (int i = 0; i < kLines; ++i) {
        sum += coveredFraction(lerp(c[0], c[2], lineAt(i)), lerp(c[1], c[3], lineAt(i)));
    }
    return std::max(sum / kLines, kSmallestFraction);
}

double cubeFraction(const Corners& c) {
    // One sum for each of the eight lines side by side, so that they go through vector registers.
    double sums[kLines] = {};
    for (int i = 0; i < kLines; ++i) {
        const double a = lerp(c[0], c[2], lineAt(i));
        const double b = lerp(c[1], c[3], lineAt(i));
        const double aNext = lerp(c[4], c[6], lineAt(i));
        const double bNext = lerp(c[5], c[7], lineAt(i));
        double ends[kLines];
        double otherEnds[kLines];
        for (int j = 0; j < kLines; ++j) {
            ends[j] = lerp(a, b, lineAt(j));
            otherEnds[j] = lerp(aNext, bNext, lineAt(j));
        }
        for (int j = 0; j < kLines; ++j) {
            sums[j] += coveredFraction(ends[j], otherEnds[j]);
        }
    }
    double sum = 0.0;
    for (const double lineSum : sums) {
        sum += lineSum;
    }
    return std::max(sum / (kLines * kLines), kSmallestFraction);
}

/// Fractions of lattice cubes by their corners. Binary structures have few kinds of cubes, and also
/// in soft ones neighbours repeat: the last fraction of each key is kept.
class CubeFractions {
  public:
    CubeFractions() : entries_(kEntries) {}

    double of(const Corners& corners) {
        const auto key = std::bit_cast<std::uint64_t>(corners);
        Entry& entry = entries_[(key * 0x9E3779B97F4A7C15U) >> (64 - kEntryBits)];
        if (entry.key != key) {
            entry = {key, cubeFraction(corners)};
        }
        return entry.fraction;
    }

  private:
    static constexpr int kEntryBits = 12;
    static constexpr std::size_t kEntries = std::size_t{1} << kEntryBits;

    /// The first key, of a cube without inside corner, is never asked for.
    struct Entry {
        std::uint64_t key = 0;
        double fraction = 0.0;
    };
    std::vector<Entry> entries_;
};

/// A row of voxels.
class Row {
  public:
    Row(const SegmentVolume& segment, int y, int z)
        : cells_(segment.Cells() + segment.cellIndex(0, y, z)),
          offset_(SegmentVolume::offsetInCell(0, y, z)) {}

    unsigned char operator[](int x) const {
        const int offset = offset_ + (x & VolumeCell::kMaskX);
        return static_cast<unsigned char>(cells_[x >> VolumeCell::kShiftX].value(offset));
    }

  private:
    const VolumeCell* cells_;
    int offset_;
};

/// Sums the inside fractions of the lattice cells between rows that lie side by side: two rows for
/// squares, four for cubes. `bits` are the inside bits of the rows. Cells without inside corner and
/// with nothing else are told by these bits alone; `fractionAt(x)` gives the others.
template <std::size_t kRows, typename Fraction>
double sumAlongRow(const std::array<const std::uint64_t*, kRows>& bits, int cellCount,
                   const Fraction& fractionAt) {
    double sum = 0.0;
    const auto wordCount = static_cast<std::size_t>(cellCount) / kBitsPerWord + 1;
    for (std::size_t w = 0; w * kBitsPerWord < static_cast<std::size_t>(cellCount); ++w) {
        std::uint64_t any = 0;
        std::uint64_t all = ~std::uint64_t{0};
        for (const std::uint64_t* row : bits) {
            const std::uint64_t carry = w + 1 < wordCount ? row[w + 1] << (kBitsPerWord - 1) : 0;
            const std::uint64_t next = row[w] >> 1 | carry;
            any |= row[w] | next;
            all &= row[w] & next;
        }
        const int first = static_cast<int>(w) * kBitsPerWord;
        if (cellCount - first < kBitsPerWord) {
            const std::uint64_t used = (std::uint64_t{1} << (cellCount - first)) - 1;
            any &= used;
            all &= used;
        }
        sum += std::popcount(all);
        for (std::uint64_t partial = any & ~all; partial != 0; partial &= partial - 1) {
            sum += fractionAt(first + std::countr_zero(partial));
        }
    }
    return sum;
}

/// The inside bits of the rows of one plane.
class PlaneBits {
  public:
    explicit PlaneBits(const SegmentVolume& segment)
        : segment_(segment),
          words_(static_cast<std::size_t>(wordsPerRow(segment))),
          bits_(words_ * static_cast<std::size_t>(segment.ysize())) {}

    /// Loads rows yFirst to yLast of plane z; other rows are not to be read.
    void load(int z, int yFirst, int yLast) {
        for (int y = yFirst; y <= yLast; ++y) {
            insideBitsOfRow(segment_, y, z, bits_.data() + words_ * static_cast<std::size_t>(y));
        }
    }
    const std::uint64_t* row(int y) const {
        return bits_.data() + words_ * static_cast<std::size_t>(y);
    }
    void swap(PlaneBits& other) { bits_.swap(other.bits_); }

  private:
    const SegmentVolume& segment_;
    std::size_t words_;
    std::vector<std::uint64_t> bits_;
};

double sumOfCubes(const SegmentVolume& segment) {
    int xmin, ymin, zmin, xmax, ymax, zmax;
    segment.GetBoundingBoxForIteration(xmin, ymin, zmin, xmax, ymax, zmax);
    // Cubes without inside corner count nothing. Without inside voxels the box is beyond the grid.
    const int zFirst = std::max(zmin - 1, 0);
    const int zLast = std::min(zmax, segment.zsize() - 2);
    const int yFirst = std::max(ymin - 1, 0);
    const int yLast = std::min(ymax, segment.ysize() - 2);
    if (zFirst > zLast || yFirst > yLast) {
        return 0.0;
    }
    double sum = 0.0;
    CubeFractions fractions;
    PlaneBits plane(segment);
    PlaneBits nextPlane(segment);
    nextPlane.load(zFirst, yFirst, yLast + 1);
    for (int z = zFirst; z <= zLast; ++z) {
        plane.swap(nextPlane);
        nextPlane.load(z + 1, yFirst, yLast + 1);
        for (int y = yFirst; y <= yLast; ++y) {
            const Row rows[4] = {
                {segment, y, z}, {segment, y + 1, z}, {segment, y, z + 1}, {segment, y + 1, z + 1}};
            sum += sumAlongRow<4>(
                {plane.row(y), plane.row(y + 1), nextPlane.row(y), nextPlane.row(y + 1)},
                segment.xsize() - 1, [&](int x) {
                    return fractions.of({rows[0][x], rows[0][x + 1], rows[1][x], rows[1][x + 1],
                                         rows[2][x], rows[2][x + 1], rows[3][x], rows[3][x + 1]});
                });
        }
    }
    return sum;
}

}  // namespace

double CalculateSurfaceWithSubVoxelModeling(const SegmentVolume& seg, int z,
                                            FProgressReportingBody& /*progress*/) {
    if (seg.xsize() < 2 || seg.ysize() < 2) {
        return 0.0;
    }
    double sum = 0.0;
    PlaneBits plane(seg);
    plane.load(z, 0, seg.ysize() - 1);
    for (int y = 0; y + 1 < seg.ysize(); ++y) {
        const Row row(seg, y, z);
        const Row nextRow(seg, y + 1, z);
        sum += sumAlongRow<2>({plane.row(y), plane.row(y + 1)}, seg.xsize() - 1, [&](int x) {
            return squareFraction({row[x], row[x + 1], nextRow[x], nextRow[x + 1]});
        });
    }
    return seg.xres() * seg.yres() * sum;
}

double CalculateVolumeWithSubVoxelModeling(const SegmentVolume& seg,
                                           FProgressReportingBody& /*progress*/) {
    return seg.xres() * seg.yres() * seg.zres() * sumOfCubes(seg);
}

double CalculateVolumeWithoutSkipping(const SegmentVolume& seg, FProgressReportingBody& progress) {
    return CalculateVolumeWithSubVoxelModeling(seg, progress);
}

}  // namespace plexa
