#include <trelis/segment/undo_stack.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <span>
#include <utility>

#include <trelis/foundation/diagnostics.h>
#include <trelis/segment/detail/stripe_code.h>

namespace NSegmentUndo {

namespace {

using NSegment::SegmentVolume;
using NSegment::VolumeCell;

constexpr int kWordBytes = 8;
constexpr bool kLittleEndian = std::endian::native == std::endian::little;

std::size_t planeCount(const SegmentVolume& segment) {
    return static_cast<std::size_t>(std::max(0, segment.zsize()));
}

/// The segment on the grid of another one: what it lacks is 0, what it has beyond is left out.
SegmentVolume onGridOf(const SegmentVolume& grid, const SegmentVolume& segment) {
    SegmentVolume result(grid.xsize(), grid.ysize(), grid.zsize(), 1.0, 1.0, 1.0);
    const int width = std::min(grid.xsize(), segment.xsize());
    for (int z = 0; z < std::min(grid.zsize(), segment.zsize()); ++z) {
        for (int y = 0; y < std::min(grid.ysize(), segment.ysize()); ++y) {
            std::copy_n(segment.GetConstSpanX(y, z).begin(), width, result.GetSpanX(y, z).begin());
        }
    }
    return result;
}

/// The bits in which the eight values from a and from b on differ.
std::uint64_t difference(const unsigned char* a, const unsigned char* b) {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::memcpy(&first, a, sizeof(first));
    std::memcpy(&second, b, sizeof(second));
    return first ^ second;
}

/// Whether two rows of a cell differ.
bool rowsDiffer(const unsigned char* a, const unsigned char* b) {
    std::uint64_t bits = 0;
    for (int i = 0; i < VolumeCell::kRowBytes; i += kWordBytes) {
        bits |= difference(a + i, b + i);
    }
    return bits != 0;
}

/// The place in memory of the first byte of a word that is not 0.
int firstByte(std::uint64_t word) {
    return (kLittleEndian ? std::countr_zero(word) : std::countl_zero(word)) / 8;
}

/// The place in memory of the last byte of a word that is not 0.
int lastByte(std::uint64_t word) {
    return kWordBytes - 1 - (kLittleEndian ? std::countl_zero(word) : std::countr_zero(word)) / 8;
}

/// Where in two rows of a cell, which differ, the first and the last difference are.
int firstDifference(const unsigned char* a, const unsigned char* b) {
    int x = 0;
    while (difference(a + x, b + x) == 0) {
        x += kWordBytes;
    }
    return x + firstByte(difference(a + x, b + x));
}
int lastDifference(const unsigned char* a, const unsigned char* b) {
    int x = VolumeCell::kRowBytes - kWordBytes;
    while (difference(a + x, b + x) == 0) {
        x -= kWordBytes;
    }
    return x + lastByte(difference(a + x, b + x));
}

/// For each plane of a cell a bit per row, bit 0 for the first.
using RowBits = std::array<std::uint32_t, VolumeCell::kSizeZ>;

/// Two cells at one place that differ, and the rows in which they do.
struct CellPair {
    std::size_t index;
    int x;
    const unsigned char* before;
    const unsigned char* after;
    RowBits rows;
};

/// The pairs in a row of cells along x, `firstPair` up to but not including `endPair`, and the rows
/// in which any of them differs.
struct CellRow {
    int y;
    int z;
    std::size_t firstPair;
    std::size_t endPair;
    RowBits rows;
};

/// Records the differences of two segments of equal size: first the cells are compared, then the
/// rows of those that differ are visited in the order of z and y.
class Recorder {
  public:
    Recorder(const SegmentVolume& before, const SegmentVolume& after)
        : before_(before.Cells()),
          after_(after.Cells()),
          cellsX_(static_cast<std::size_t>(before.superBlockSizeX())),
          values_(cellsX_ * VolumeCell::kRowBytes),
          code_(values_.size() * detail::kLargestCodeOfValue) {
        const auto cellsY = static_cast<std::size_t>(before.superBlockSizeY());
        const auto cellsZ = static_cast<std::size_t>(before.superBlockSizeZ());
        for (std::size_t z = 0; z < cellsZ; ++z) {
            if (mayDiffer(z * cellsY * cellsX_, cellsY * cellsX_)) {
                for (std::size_t y = 0; y < cellsY; ++y) {
                    compareRowOfCells(y, z, (z * cellsY + y) * cellsX_);
                }
            }
        }
    }

    /// Appends the stripes in the order of z and y.
    void appendTo(std::vector<ActionStripe>& stripes) {
        stripes.reserve(stripes.size() + rowCount_);
        auto row = cellRows_.cbegin();
        while (row != cellRows_.cend()) {
            const auto layer = row;
            row = std::find_if(row, cellRows_.cend(),
                               [&](const CellRow& other) { return other.z != layer->z; });
            for (int z = 0; z < VolumeCell::kSizeZ; ++z) {
                for (auto inLayer = layer; inLayer != row; ++inLayer) {
                    std::uint32_t bits = inLayer->rows[static_cast<std::size_t>(z)];
                    for (; bits != 0; bits &= bits - 1) {
                        appendRow(*inLayer, std::countr_zero(bits), z, stripes);
                    }
                }
            }
        }
    }

  private:
    /// Compares the words of n cells, not the values. Equal words are equal states: no two cells
    /// have the same storage.
    bool mayDiffer(std::size_t first, std::size_t n) const {
        return n > 0 && std::memcmp(before_ + first, after_ + first, n * sizeof(VolumeCell)) != 0;
    }

    void compareRowOfCells(std::size_t y, std::size_t z, std::size_t first) {
        if (!mayDiffer(first, cellsX_)) {
            return;
        }
        CellRow row{static_cast<int>(y) * VolumeCell::kSizeY,
                    static_cast<int>(z) * VolumeCell::kSizeZ,
                    pairs_.size(),
                    pairs_.size(),
                    {}};
        for (std::size_t i = 0; i < cellsX_; ++i) {
            if (mayDiffer(first + i, 1)) {
                compareCells(first + i, static_cast<int>(i) * VolumeCell::kSizeX, row.rows);
            }
        }
        row.endPair = pairs_.size();
        if (row.endPair != row.firstPair) {
            for (const std::uint32_t bits : row.rows) {
                rowCount_ += static_cast<std::size_t>(std::popcount(bits));
            }
            cellRows_.push_back(row);
        }
    }

    void compareCells(std::size_t index, int x, RowBits& rowsOfAll) {
        const unsigned char* before = before_[index].values();
        const unsigned char* after = after_[index].values();
        if (std::memcmp(before, after, VolumeCell::kBytes) == 0) {
            return;
        }
        CellPair& pair = pairs_.emplace_back(CellPair{index, x, before, after, {}});
        for (std::size_t z = 0; z < pair.rows.size(); ++z) {
            std::uint32_t bits = 0;
            for (int y = 0; y < VolumeCell::kSizeY; ++y) {
                bits |= std::uint32_t{rowsDiffer(before, after)} << y;
                before += VolumeCell::kRowBytes;
                after += VolumeCell::kRowBytes;
            }
            pair.rows[z] = bits;
            rowsOfAll[z] |= bits;
        }
    }

    /// Appends the stripe of row y in plane z of a row of cells.
    void appendRow(const CellRow& row, int y, int z, std::vector<ActionStripe>& stripes) {
        const int offset = SegmentVolume::offsetInCell(0, y, z);
        const auto isEqual = [y, z](const CellPair& pair) {
            return (pair.rows[static_cast<std::size_t>(z)] >> y & 1U) == 0;
        };
        const CellPair* left = pairs_.data() + row.firstPair;
        while (isEqual(*left)) {
            ++left;
        }
        const CellPair* right = pairs_.data() + row.endPair - 1;
        while (isEqual(*right)) {
            --right;
        }
        const int first = left->x + firstDifference(left->before + offset, left->after + offset);
        const int last = right->x + lastDifference(right->before + offset, right->after + offset);

        unsigned char* values = values_.data();
        for (std::size_t i = left->index; i <= right->index; ++i) {
            std::memcpy(values, before_[i].values() + offset, VolumeCell::kRowBytes);
            values += VolumeCell::kRowBytes;
        }
        const std::span changed(values_.data() + (first - left->x),
                                static_cast<std::size_t>(last - first + 1));
        const unsigned char* code = code_.data();
        const unsigned char* codeEnd = detail::encodeStripe(changed, code_.data());
        stripes.push_back({.x = first, .y = row.y + y, .z = row.z + z, .bytes = {code, codeEnd}});
    }

    const VolumeCell* before_;
    const VolumeCell* after_;
    std::size_t cellsX_;
    std::size_t rowCount_ = 0;
    std::vector<CellPair> pairs_;
    std::vector<CellRow> cellRows_;
    std::vector<unsigned char> values_;
    std::vector<unsigned char> code_;
};

/// Plays stripes on a segment; writes if `target`, which is that segment, is not null.
class Player {
  public:
    Player(const SegmentVolume& segment, SegmentVolume* target, std::vector<PlaneChange>& changes)
        : segment_(segment),
          target_(target),
          changes_(changes),
          values_(static_cast<std::size_t>(std::max(0, segment.xsize()))) {
        changes_.resize(std::max(changes_.size(), planeCount(segment)));
    }

    void play(const std::vector<ActionStripe>& stripes) {
        for (const ActionStripe& stripe : stripes) {
            play(stripe);
        }
    }

  private:
    bool startsInside(const ActionStripe& stripe) const {
        return 0 <= stripe.x && stripe.x < segment_.xsize() && 0 <= stripe.y &&
               stripe.y < segment_.ysize() && 0 <= stripe.z && stripe.z < segment_.zsize();
    }

    void play(const ActionStripe& stripe) {
        const int room = startsInside(stripe) ? segment_.xsize() - stripe.x : 0;
        const std::size_t count = detail::decodeStripe(
            stripe.bytes, std::span(values_).first(static_cast<std::size_t>(room)));
        const unsigned char* values = values_.data();
        const int end = stripe.x + static_cast<int>(count);
        for (int x = stripe.x; x < end;) {
            const int n = std::min(VolumeCell::kSizeX - x % VolumeCell::kSizeX, end - x);
            play(values, n, x, stripe.y, stripe.z);
            values += n;
            x += n;
        }
    }

    /// Plays n values that lie in one cell.
    void play(const unsigned char* values, int n, int x, int y, int z) {
        const std::size_t index = segment_.cellIndex(x, y, z);
        const int xInCell = x % VolumeCell::kSizeX;
        const int offset = SegmentVolume::offsetInCell(0, y, z);
        const unsigned char* now = segment_.Cells()[index].values() + offset;
        unsigned char then[VolumeCell::kRowBytes];
        std::memcpy(then, now, sizeof(then));
        std::memcpy(then + xInCell, values, static_cast<std::size_t>(n));
        if (!rowsDiffer(now, then)) {
            return;
        }
        PlaneChange& change = changes_[static_cast<std::size_t>(z)];
        change.changed = true;
        change.xmin = std::min(change.xmin, x - xInCell + firstDifference(now, then));
        change.ymin = std::min(change.ymin, y);
        change.xmax = std::max(change.xmax, x - xInCell + lastDifference(now, then));
        change.ymax = std::max(change.ymax, y);
        if (target_ != nullptr) {
            VolumeCell& cell = target_->Cells()[index];
            cell.allocateKeepingValues();
            std::memcpy(cell.data() + offset, then, sizeof(then));
        }
    }

    const SegmentVolume& segment_;
    SegmentVolume* target_;
    std::vector<PlaneChange>& changes_;
    std::vector<unsigned char> values_;
};

/// Takes the top edit of one stack back and puts its inverse on the other one.
void moveTop(Stack& from, Stack& to, SegmentVolume& seg, std::vector<PlaneChange>& changes) {
    to.SetUndoPoint(seg);
    const ActionName name = from.TopName();
    from.Undo(seg, changes, false);
    to.PushModifications(seg, name);
}

std::size_t sizeInBytes(const Stack& stack) {
    std::size_t bytes = 0;
    for (const Action& action : stack.Actions()) {
        for (const ActionStripe& stripe : action.stripes) {
            bytes += stripe.bytes.size();
        }
    }
    return bytes;
}

}  // namespace

void Action::RecordDifferences(const SegmentVolume& before, const SegmentVolume& after) {
    if (!before.hasEqualSize(after)) {
        RecordDifferences(before, onGridOf(before, after));
        return;
    }
    Recorder(before, after).appendTo(stripes);
}

void Action::PlayDifferences(SegmentVolume& seg, std::vector<PlaneChange>& changes,
                             bool dryRun) const {
    Player(seg, dryRun ? nullptr : &seg, changes).play(stripes);
}

void Stack::SetUndoPoint(const SegmentVolume& seg) { undoPoint_ = seg; }

void Stack::PushModifications(const SegmentVolume& seg, const ActionName& name) {
    Action action{name, {}};
    action.RecordDifferences(undoPoint_, seg);
    actions_.push_back(std::move(action));
}

void Stack::Undo(SegmentVolume& seg, std::vector<PlaneChange>& changes, bool dryRun) {
    changes.assign(planeCount(seg), PlaneChange());
    if (!actions_.empty()) {
        actions_.back().PlayDifferences(seg, changes, dryRun);
        if (!dryRun) {
            actions_.pop_back();
        }
    }
}

void Stack::GetModifiedPlanes(const SegmentVolume& seg, std::vector<PlaneChange>& changes) const {
    changes.assign(planeCount(seg), PlaneChange());
    if (!actions_.empty()) {
        Player(seg, nullptr, changes).play(actions_.back().stripes);
    }
}

ActionName Stack::TopName() const {
    if (actions_.empty()) {
        Crash(L"undo name not available");
    }
    return actions_.back().name;
}

void Stack::MarkTopAs4DOperation() {
    if (actions_.empty()) {
        Crash(L"undo stack empty in MarkTopAs4DOperation");
    }
    actions_.back().name.is4DOperation = true;
}

void StackRedoable::SetUndoPoint(const SegmentVolume& seg) {
    undo_.SetUndoPoint(seg);
    redo_.reset();
}

void StackRedoable::PushModifications(const SegmentVolume& seg, const ActionName& name) {
    undo_.PushModifications(seg, name);
    redo_.reset();
}

void StackRedoable::Undo(SegmentVolume& seg, std::vector<PlaneChange>& changes) {
    if (!redo_) {
        redo_.emplace();
    }
    moveTop(undo_, *redo_, seg, changes);
}

void StackRedoable::Redo(SegmentVolume& seg, std::vector<PlaneChange>& changes) {
    if (redo_) {
        moveTop(*redo_, undo_, seg, changes);
    }
}

ActionName StackRedoable::UndoName() const { return undo_.TopName(); }

ActionName StackRedoable::RedoName() const {
    if (!redo_) {
        Crash(L"NSegmentUndo::StackRedoable::RedoName");
    }
    return redo_->TopName();
}

void StackRedoable::MarkTopUndoAs4DOperation() { undo_.MarkTopAs4DOperation(); }

void StackRedoable::GetUndoModifiedPlanes(const SegmentVolume& seg,
                                          std::vector<PlaneChange>& changes) const {
    undo_.GetModifiedPlanes(seg, changes);
}

void StackRedoable::GetRedoModifiedPlanes(const SegmentVolume& seg,
                                          std::vector<PlaneChange>& changes) const {
    if (redo_) {
        redo_->GetModifiedPlanes(seg, changes);
    }
}

int GetAllStackCount(const StackRedoable& stack) {
    const Stack* redo = stack.RedoStack();
    const std::size_t redoable = redo == nullptr ? 0 : redo->Actions().size();
    return static_cast<int>(stack.UndoStack().Actions().size() + redoable);
}

std::size_t GetAllStackSizeInBytes(const StackRedoable& stack) {
    const Stack* redo = stack.RedoStack();
    return sizeInBytes(stack.UndoStack()) + (redo == nullptr ? 0 : sizeInBytes(*redo));
}

}  // namespace NSegmentUndo
