#include <trelis/segment_algorithms/connected_components.h>

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

#include <trelis/foundation/bad_cast.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/segment_algorithms/detail/labelled_runs.h>

namespace NSegmentAlgorithms {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

/// One bit for each of 64 voxels along x.
using Word = std::uint64_t;

/// What the values around an edge, or around a corner, must add up to.
constexpr int kSquareThreshold = 510;
constexpr int kCubeThreshold = 1020;

std::size_t indexOf(int i) { return static_cast<std::size_t>(i); }

/// Short runs are written with a constant number of stores that may pass their end.
constexpr int kAhead = 8;

/// Writes value to from <= i < to, and possibly beyond `to`, but not beyond `limit`.
void fillAhead(int* from, int* to, const int* limit, int value) {
    if (to - from > kAhead || limit - from < kAhead) {
        std::fill(from, to, value);
    } else {
        std::fill_n(from, kAhead, value);
    }
}

/// Provisional labels in disjoint sets. The root of a set is its smallest label.
class LabelSets {
  public:
    int size() const { return static_cast<int>(parent_.size()); }

    /// Adds that many labels, each a set of its own.
    void append(std::size_t count) {
        const std::size_t old = parent_.size();
        parent_.resize(old + count);
        std::iota(parent_.begin() + static_cast<std::ptrdiff_t>(old), parent_.end(),
                  static_cast<int>(old));
    }

    void unite(int a, int b) {
        a = root(a);
        b = root(b);
        parent(std::max(a, b)) = std::min(a, b);
    }

    int root(int label) {
        while (parent(label) != label) {
            label = parent(label) = parent(parent(label));
        }
        return label;
    }

    /// Hands out the roots of the labels from `first` on, each of which is its own root or united
    /// with labels before; the roots among them are renumbered without gaps and stay, others go.
    void settle(int first, int* roots) {
        int next = first;
        for (int label = first; label < size(); ++label) {
            const int above = parent(label);
            if (above == label) {
                parent(next) = next;
            }
            *roots++ = above == label ? next++ : root(above);
        }
        parent_.resize(static_cast<std::size_t>(next));
    }

    /// Hands out, for every label, the position of its root among the roots; counts these.
    std::vector<int> positions(int& count) && {
        count = 0;
        for (int label = 0; label < size(); ++label) {
            const int above = parent(label);
            parent(label) = above == label ? count++ : parent(above);
        }
        return std::move(parent_);
    }

  private:
    int& parent(int label) { return parent_[indexOf(label)]; }

    std::vector<int> parent_{0};
};

/// A row of voxels, where known.
struct Row {
    const VolumeCell* cells = nullptr;  // null beyond the grid
    int offset = 0;
    bool hasRuns = false;
    std::vector<Word> bits;
    std::vector<int> runs;  // for each inside voxel the number of its run
};

/// The inside bits of 64 voxels, and of the 64 that are one voxel before them.
struct Bits {
    Word here;
    Word before;

    Bits mirrored() const { return {before, here}; }
};

Bits bitsOf(const Row& row, std::size_t word) {
    const Word bits = row.bits[word];
    return {bits, bits << 1 | (word == 0 ? 0 : row.bits[word - 1] >> (detail::kBitsPerWord - 1))};
}

/// Of the squares of a (here, before) and b, those where a (here) and b (before) alone are inside.
Word diagonal(const Bits& a, const Bits& b) { return a.here & b.before & ~a.before & ~b.here; }

/// Of the cubes of four rows, those where a (here) and the opposite corner b (before) are inside
/// without a path of faces between them. The other six corners form a ring: a path has two
/// neighbours of it.
Word corner(const Bits& a, const Bits& b, const Bits& c, const Bits& d) {
    const Word path = (a.before & c.before) | (c.before & c.here) | (c.here & b.here) |
                      (b.here & d.here) | (d.here & d.before) | (d.before & a.before);
    return a.here & b.before & ~path;
}

/// The values of 64 voxels of a row, after that of the one before them.
using Values = std::array<unsigned char, detail::kBitsPerWord + 1>;
using Sums = std::array<std::uint16_t, detail::kBitsPerWord + 1>;

Values valuesOf(const Row& row, std::size_t word, int cellCount) {
    Values values{};
    if (row.cells == nullptr) {
        return values;
    }
    const int first = static_cast<int>(word) * (detail::kBitsPerWord / VolumeCell::kSizeX);
    const int last = std::min(first + detail::kBitsPerWord / VolumeCell::kSizeX, cellCount);
    if (first > 0) {
        values[0] = row.cells[first - 1].values()[row.offset + VolumeCell::kMaskX];
    }
    for (int cell = first; cell < last; ++cell) {
        std::copy_n(row.cells[cell].values() + row.offset, VolumeCell::kSizeX,
                    &values[1 + static_cast<std::size_t>(cell - first) * VolumeCell::kSizeX]);
    }
    return values;
}

Sums sumOf(const Values& a, const Values& b) {
    Sums sums;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] = static_cast<std::uint16_t>(a[i] + b[i]);
    }
    return sums;
}

/// The voxels for which sum(i) reaches the threshold; i is the place in `Sums` of the voxel before.
template <typename Sum>
Word reaching(int threshold, const Sum& sum) {
    constexpr int kTopBit = 0x8000;
    unsigned char tops[detail::kBitsPerWord];
    for (std::size_t i = 0; i < detail::kBitsPerWord; ++i) {
        tops[i] = static_cast<unsigned char>(
            static_cast<std::uint16_t>(sum(i) + (kTopBit - threshold)) >> 8);
    }
    Word bits = 0;
    for (int i = 0; i < detail::kBitsPerWord; i += 8) {
        bits |= static_cast<Word>(detail::topBitsOf8(tops + i)) << i;
    }
    return bits;
}

/// The squares of two rows that reach the threshold, from the sums of their columns.
Word squaresReaching(const Sums& columns) {
    return reaching(kSquareThreshold, [&](std::size_t i) { return columns[i] + columns[i + 1]; });
}

}  // namespace

namespace detail {

/// Connects each row with the one above it (y - 1), the one in back (z - 1) and the one above that.
/// Contacts that a path of faces through the same square or cube bridges anyway are not looked at.
class LabelledRuns::Builder {
  public:
    explicit Builder(LabelledRuns& result)
        : result_(result),
          segment_(result.segment()),
          words_(static_cast<std::size_t>(wordsPerRow(segment_))),
          rows_(result.zEnd_ - result.zBegin_ > 1 ? static_cast<std::size_t>(segment_.ysize()) + 2
                                                  : 2),
          edges_(static_cast<std::size_t>(segment_.xsize()) + 1) {
        beyond_.bits.resize(words_);
        for (Row& row : rows_) {
            row.bits.resize(words_);
            row.runs.resize(static_cast<std::size_t>(segment_.xsize()) + kAhead);
        }
    }

    void addRow(int y, int z) {
        const std::size_t number = result_.firstOfRow_.size() - 1;
        Row& row = rows_[number % rows_.size()];
        const int first = sets_.size();
        int* const labels = readRow(y, z, row);
        const bool hasBack = z > result_.zBegin_;
        const auto earlier = [&](bool exists, std::size_t distance) {
            return exists ? &rows_[(number - distance) % rows_.size()] : &beyond_;
        };
        const auto plane = static_cast<std::size_t>(segment_.ysize());
        row_ = &row;
        above_ = earlier(y > 0, 1);
        back_ = earlier(hasBack, plane);
        aboveBack_ = earlier(y > 0 && hasBack, plane + 1);
        if (row.hasRuns || (above_->hasRuns && back_->hasRuns)) {
            for (std::size_t word = 0; word < words_; ++word) {
                connect(word);
            }
        }
        sets_.settle(first, labels);
    }

    void finish() { result_.final_ = std::move(sets_).positions(result_.labelCount_); }

  private:
    /// Numbers the runs of a row, with a label for each of them. Returns where these labels are.
    int* readRow(int y, int z, Row& row) {
        row.cells = segment_.Cells() + segment_.cellIndex(0, y, z);
        row.offset = SegmentVolume::offsetInCell(0, y, z);
        insideBitsOfRow(segment_, y, z, row.bits.data());
        const std::size_t count = edgesOfRow(row.bits.data(), segment_.xsize(), edges_.data());
        row.hasRuns = count != 0;
        std::vector<int>& labels = result_.provisional_;
        const std::size_t first = labels.size();
        if (first + count >= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw trelis::BadCast();
        }
        labels.resize(first + count);
        std::iota(labels.begin() + static_cast<std::ptrdiff_t>(first), labels.end(), sets_.size());
        sets_.append(count);
        for (std::size_t i = 0; i < count; ++i) {
            fillAhead(row.runs.data() + edges_[2 * i], row.runs.data() + edges_[2 * i + 1],
                      row.runs.data() + row.runs.size(), static_cast<int>(first + i));
        }
        result_.firstOfRow_.push_back(labels.size());
        return labels.data() + first;
    }

    void connect(std::size_t word) {
        const Bits row = bitsOf(*row_, word);
        const Bits above = bitsOf(*above_, word);
        if ((row.here | row.before | above.here | above.before) == 0) {
            return;
        }
        const Bits back = bitsOf(*back_, word);
        const Bits aboveBack = bitsOf(*aboveBack_, word);
        const int x = static_cast<int>(word) * kBitsPerWord;

        unite(row.here & above.here & ~(row.before & above.before), *row_, x, *above_, x);
        unite(row.here & back.here & ~(row.before & back.before) & ~(above.here & aboveBack.here),
              *row_, x, *back_, x);

        const Word plane = diagonal(row, above);
        const Word planeMirrored = diagonal(above, row);
        const Word wall = diagonal(row, back);
        const Word wallMirrored = diagonal(back, row);
        const Word profile = row.here & aboveBack.here & ~above.here & ~back.here;
        const Word profileMirrored = above.here & back.here & ~row.here & ~aboveBack.here;
        const Word cube = corner(row, aboveBack, back, above);
        const Word cubeMirrored =
            corner(row.mirrored(), aboveBack.mirrored(), back.mirrored(), above.mirrored());
        // These two ask for the square in back only. With its voxel behind the one above inside, it
        // has connected that one already.
        const Word forward = corner(above, back, aboveBack, row) & ~aboveBack.here;
        const Word forwardMirrored =
            corner(above.mirrored(), back.mirrored(), aboveBack.mirrored(), row.mirrored()) &
            ~aboveBack.before;
        if ((plane | planeMirrored | wall | wallMirrored | profile | profileMirrored | cube |
             cubeMirrored | forward | forwardMirrored) == 0) {
            return;
        }

        const Values rowValues = values(*row_, word);
        const Values backValues = values(*back_, word);
        const Sums front = sumOf(rowValues, values(*above_, word));
        const Sums rear = sumOf(backValues, values(*aboveBack_, word));
        if (const Word squares = (plane | planeMirrored) != 0 ? squaresReaching(front) : 0) {
            unite(plane & squares, *row_, x, *above_, x - 1);
            unite(planeMirrored & squares, *row_, x - 1, *above_, x);
        }
        if (const Word squares =
                (wall | wallMirrored) != 0 ? squaresReaching(sumOf(rowValues, backValues)) : 0) {
            unite(wall & squares, *row_, x, *back_, x - 1);
            unite(wallMirrored & squares, *row_, x - 1, *back_, x);
        }
        if ((profile | profileMirrored) != 0) {
            const Word squares = reaching(
                kSquareThreshold, [&](std::size_t i) { return front[i + 1] + rear[i + 1]; });
            unite(profile & squares, *row_, x, *aboveBack_, x);
            unite(profileMirrored & squares, *above_, x, *back_, x);
        }
        if ((cube | cubeMirrored) != 0) {
            const Word cubes = reaching(kCubeThreshold, [&](std::size_t i) {
                return front[i] + front[i + 1] + rear[i] + rear[i + 1];
            });
            unite(cube & cubes, *row_, x, *aboveBack_, x - 1);
            unite(cubeMirrored & cubes, *row_, x - 1, *aboveBack_, x);
        }
        if (const Word squares = (forward | forwardMirrored) != 0 ? squaresReaching(rear) : 0) {
            unite(forward & squares, *above_, x, *back_, x - 1);
            unite(forwardMirrored & squares, *above_, x - 1, *back_, x);
        }
    }

    Values values(const Row& row, std::size_t word) const {
        return valuesOf(row, word, segment_.superBlockSizeX());
    }

    /// Unites the runs at voxel xa + i of row a and xb + i of row b for every bit i. Of successive
    /// bits, which are of the same runs, only the first counts.
    void unite(Word contacts, const Row& a, int xa, const Row& b, int xb) {
        const std::vector<int>& labels = result_.provisional_;
        for (contacts &= ~(contacts << 1); contacts != 0; contacts &= contacts - 1) {
            const int i = std::countr_zero(contacts);
            const int runA = a.runs[indexOf(xa + i)];
            const int runB = b.runs[indexOf(xb + i)];
            sets_.unite(labels[indexOf(runA)], labels[indexOf(runB)]);
        }
    }

    LabelledRuns& result_;
    const SegmentVolume& segment_;
    std::size_t words_;
    std::vector<Row> rows_;  // the newest, used in turn
    Row beyond_;
    std::vector<int> edges_;
    LabelSets sets_;
    const Row* row_ = nullptr;
    const Row* above_ = nullptr;
    const Row* back_ = nullptr;
    const Row* aboveBack_ = nullptr;
};

LabelledRuns::LabelledRuns(const SegmentVolume& segment, int zBegin, int zEnd)
    : segment_(&segment), zBegin_(zBegin), zEnd_(zEnd) {
    if (segment.xsize() < 1 || segment.ysize() < 1 || zEnd < zBegin) {
        zEnd_ = zBegin;
        return;
    }
    Builder builder(*this);
    for (int z = zBegin; z < zEnd; ++z) {
        for (int y = 0; y < segment.ysize(); ++y) {
            builder.addRow(y, z);
        }
    }
    builder.finish();
}

}  // namespace detail

namespace {

/// Writes the label of every voxel of `count` planes from zBegin on.
int writeLabels(const SegmentVolume& segment, int zBegin, int count, int* labels) {
    const detail::LabelledRuns runs(segment, zBegin, zBegin + count);
    const auto xsize = static_cast<std::ptrdiff_t>(std::max(segment.xsize(), 0));
    const auto ysize = static_cast<std::ptrdiff_t>(std::max(segment.ysize(), 0));
    int* const end = labels + xsize * ysize * std::max(count, 0);
    int* next = labels;
    runs.forEach([&](const detail::LabelledRun& run) {
        int* const row = labels + ((run.z - zBegin) * ysize + run.y) * xsize;
        fillAhead(next, row + run.begin, end, 0);
        next = row + run.end;
        fillAhead(row + run.begin, next, end, run.label);
    });
    std::fill(next, end, 0);
    return runs.labelCount();
}

}  // namespace

void Labeling2d(const SegmentVolume& seg, int z, int& labelCount, int* labels) {
    labelCount = writeLabels(seg, z, 1, labels);
}

void Labeling3d(const SegmentVolume& seg, int& labelCount, QVolume<int>& labels) {
    if (seg.xsize() != labels.GetXSize() || seg.ysize() != labels.GetYSize() ||
        seg.zsize() != labels.GetZSize()) {
        Crash(L"Labeling3d : segment and labelVolume sizes differ");
    }
    labelCount = writeLabels(seg, 0, seg.zsize(), labels.begin());
}

}  // namespace NSegmentAlgorithms
