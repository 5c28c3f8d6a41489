#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <trelis/segment/segment_volume.h>
#include <trelis/segment_algorithms/detail/inside_bits.h>

namespace NSegmentAlgorithms::detail {

/// Writes the coordinates where the bits of a row change, at most xsize + 1 of them, and returns
/// the number of runs: run i is edges[2 i] <= x < edges[2 i + 1].
inline std::size_t edgesOfRow(const std::uint64_t* bits, int xsize, int* edges) {
    int* next = edges;
    std::uint64_t carry = 0;
    const int wordCount = xsize / kBitsPerWord + (xsize % kBitsPerWord > 0 ? 1 : 0);
    for (int i = 0; i < wordCount; ++i) {
        const std::uint64_t word = bits[i];
        for (std::uint64_t changes = word ^ (word << 1 | carry); changes != 0;
             changes &= changes - 1) {
            *next++ = i * kBitsPerWord + std::countr_zero(changes);
        }
        carry = word >> (kBitsPerWord - 1);
    }
    if ((next - edges) % 2 != 0) {
        *next++ = xsize;
    }
    return static_cast<std::size_t>(next - edges) / 2;
}

/// Inside voxels begin <= x < end of the row at (y, z) and the label of their component.
struct LabelledRun {
    int begin;
    int end;
    int y;
    int z;
    int label;
};

/// The components of the planes zBegin <= z < zEnd of a segment, connected and numbered as
/// `Labeling3d` does if the segment had no other planes; of one plane, as `Labeling2d` does. Keeps
/// only labels, one for each run of inside voxels of a row. Refers to the segment for the runs
/// themselves: its inside voxels must not change, but for those that `forEach` has passed.
class LabelledRuns {
  public:
    /// Throws `trelis::BadCast` when an int does not count the runs and the background.
    LabelledRuns(const NSegment::SegmentVolume& segment, int zBegin, int zEnd);

    const NSegment::SegmentVolume& segment() const { return *segment_; }

    /// The components and the background, which is label 0.
    int labelCount() const { return labelCount_; }

    /// Calls visit(LabelledRun) for all runs in raster order. It may write voxels of its run.
    template <typename Visitor>
    void forEach(const Visitor& visit) const {
        Scratch scratch(*segment_);
        for (int z = zBegin_; z < zEnd_; ++z) {
            for (int y = 0; y < segment_->ysize(); ++y) {
                forEachInRow(y, z, scratch, visit);
            }
        }
    }

    /// The label of a voxel.
    int labelAt(int x, int y, int z) const {
        int label = 0;
        Scratch scratch(*segment_);
        forEachInRow(y, z, scratch, [&](const LabelledRun& run) {
            if (run.begin <= x && x < run.end) {
                label = run.label;
            }
        });
        return label;
    }

  private:
    class Builder;

    struct Scratch {
        explicit Scratch(const NSegment::SegmentVolume& segment)
            : bits(static_cast<std::size_t>(std::max(0, wordsPerRow(segment)))),
              edges(static_cast<std::size_t>(std::max(0, segment.xsize())) + 1) {}

        std::vector<std::uint64_t> bits;
        std::vector<int> edges;
    };

    template <typename Visitor>
    void forEachInRow(int y, int z, Scratch& scratch, const Visitor& visit) const {
        const std::size_t row =
            static_cast<std::size_t>(z - zBegin_) * static_cast<std::size_t>(segment_->ysize()) +
            static_cast<std::size_t>(y);
        if (firstOfRow_[row] == firstOfRow_[row + 1]) {
            return;
        }
        insideBitsOfRow(*segment_, y, z, scratch.bits.data());
        edgesOfRow(scratch.bits.data(), segment_->xsize(), scratch.edges.data());
        const int* edge = scratch.edges.data();
        for (std::size_t run = firstOfRow_[row]; run < firstOfRow_[row + 1]; ++run, edge += 2) {
            visit(LabelledRun{edge[0], edge[1], y, z,
                              final_[static_cast<std::size_t>(provisional_[run])]});
        }
    }

    const NSegment::SegmentVolume* segment_;
    int zBegin_;
    int zEnd_;
    int labelCount_ = 1;
    std::vector<std::size_t> firstOfRow_{0};  // one more than rows
    std::vector<int> provisional_;            // of every run
    std::vector<int> final_;                  // of every provisional label
};

}  // namespace NSegmentAlgorithms::detail
