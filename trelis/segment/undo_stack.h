#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include <trelis/export.h>
#include <trelis/segment/segment_volume.h>

/// The history of a segment that is edited interactively. An edit is kept as the old values of the
/// rows that it changed, run-length encoded; unchanged rows take nothing.
///
/// Everything here is a value: copies are deep and independent, and refer to no segment. There is
/// no lock; different objects may be used on different threads.
namespace NSegmentUndo {

/// The application's label of an edit. The library copies and compares it.
struct ActionName {
    std::int64_t id = 0;
    std::int32_t parameter = 0;
    /// The edit is part of an operation on several phases.
    bool is4DOperation = false;

    bool operator==(const ActionName&) const = default;
};

/// A changed row: the old values from its first to its last changed voxel, both inclusive.
struct ActionStripe {
    /// The first voxel.
    std::int32_t x = -1;
    std::int32_t y = -1;
    std::int32_t z = -1;
    /// Not used.
    std::int32_t reserved = -1;
    /// The values: 0xA1, n for n + 1 values of 0; 0xA2, n for n + 1 of 255; 0xA0, b for the value
    /// b; any other byte for itself.
    std::vector<unsigned char> bytes;

    bool operator==(const ActionStripe&) const = default;
};

/// What an undo or redo changes, or would change, in one plane. The box is inclusive.
struct PlaneChange {
    bool changed = false;
    std::int32_t xmin = std::numeric_limits<std::int32_t>::max();
    std::int32_t ymin = std::numeric_limits<std::int32_t>::max();
    std::int32_t xmax = std::numeric_limits<std::int32_t>::min();
    std::int32_t ymax = std::numeric_limits<std::int32_t>::min();

    bool operator==(const PlaneChange&) const = default;
};

/// An edit: what is needed to return to the state before it.
struct Action {
    ActionName name;
    std::vector<ActionStripe> stripes;

    /// Appends a stripe with the values of `before` for every row in which the segments differ, in
    /// the order of z and then y. The rows are those of `before`; where `after` is smaller, its
    /// missing voxels count as 0, and where it is larger, its further voxels are not looked at.
    TRELIS_API void RecordDifferences(const NSegment::SegmentVolume& before,
                                      const NSegment::SegmentVolume& after);

    /// Marks in `changes` where the values of the stripes differ from the segment, widening what is
    /// marked already, and writes them into the segment unless `dryRun`. `changes` grows to the
    /// plane count where it is shorter.
    ///
    /// Values beyond the end of a row and stripes that start outside the segment are ignored. A
    /// stripe whose bytes end behind 0xA0, 0xA1 or 0xA2 calls `Crash` with "inconsistent rle 0xa0",
    /// "inconsistent rle 0xa1" or "inconsistent rle 0xa2".
    TRELIS_API void PlayDifferences(NSegment::SegmentVolume& seg, std::vector<PlaneChange>& changes,
                                    bool dryRun) const;
};

/// Edits that can be taken back one after the other, and the state before the next edit (the undo
/// point, at first a segment of one empty voxel).
class Stack {
  public:
    /// Keeps a copy of the segment as the undo point.
    TRELIS_API void SetUndoPoint(const NSegment::SegmentVolume& seg);

    /// Puts the edit that led from the undo point to `seg` on top, also when it changed nothing.
    /// The undo point stays as it is: set a new one before the next edit.
    TRELIS_API void PushModifications(const NSegment::SegmentVolume& seg, const ActionName& name);

    /// Gives `changes` one entry per plane of `seg`, takes the top edit back, reports in `changes`
    /// what that changed, and removes the edit; with `dryRun` it only reports. An empty stack
    /// leaves `seg` alone. Corrupt stripes as in `Action::PlayDifferences`.
    TRELIS_API void Undo(NSegment::SegmentVolume& seg, std::vector<PlaneChange>& changes,
                         bool dryRun);

    /// What `Undo` does with `dryRun`: reports.
    TRELIS_API void GetModifiedPlanes(const NSegment::SegmentVolume& seg,
                                      std::vector<PlaneChange>& changes) const;

    /// The name of the top edit. An empty stack calls `Crash` with "undo name not available".
    TRELIS_API ActionName TopName() const;

    /// Sets `is4DOperation` in the name of the top edit. An empty stack calls `Crash` with "undo
    /// stack empty in MarkTopAs4DOperation".
    TRELIS_API void MarkTopAs4DOperation();

    /// The edits, the last one on top.
    const std::vector<Action>& Actions() const { return actions_; }

  private:
    NSegment::SegmentVolume undoPoint_{1, 1, 1, 1.0, 1.0, 1.0};
    std::vector<Action> actions_;
};

/// A stack whose undone edits can be done again. A new undo point or a new edit starts new history:
/// there is no redo stack then. The first `Undo` makes one, which stays until history is new again.
class StackRedoable {
  public:
    /// As in `Stack`, and starts new history.
    TRELIS_API void SetUndoPoint(const NSegment::SegmentVolume& seg);

    /// As in `Stack`, and starts new history.
    TRELIS_API void PushModifications(const NSegment::SegmentVolume& seg, const ActionName& name);

    /// Takes the top edit back, gives `changes` one entry per plane of `seg` with what that
    /// changed, and keeps the edit for `Redo`; the undo point stays as it is. Without an edit it
    /// calls `Crash` with "undo name not available"; corrupt stripes as in
    /// `Action::PlayDifferences`.
    TRELIS_API void Undo(NSegment::SegmentVolume& seg, std::vector<PlaneChange>& changes);

    /// Does the edit that was undone last again, gives `changes` one entry per plane of `seg` with
    /// what that changed, and keeps the edit for `Undo`; the undo point becomes the state before.
    /// Without a redo stack it does nothing and leaves `changes` alone; with an empty one it calls
    /// `Crash` with "undo name not available"; corrupt stripes as in `Action::PlayDifferences`.
    TRELIS_API void Redo(NSegment::SegmentVolume& seg, std::vector<PlaneChange>& changes);

    /// The name of the edit that `Undo` takes back. Without one it calls `Crash` with "undo name
    /// not available".
    TRELIS_API ActionName UndoName() const;

    /// The name of the edit that `Redo` does again. Without a redo stack it calls `Crash` with
    /// "NSegmentUndo::StackRedoable::RedoName", with an empty one "undo name not available".
    TRELIS_API ActionName RedoName() const;

    /// Sets `is4DOperation` in the name of the edit that `Undo` takes back. Without one it calls
    /// `Crash` with "undo stack empty in MarkTopAs4DOperation".
    TRELIS_API void MarkTopUndoAs4DOperation();

    /// Whether there is an edit for `Undo`.
    bool IsUndoable() const { return !undo_.Actions().empty(); }
    /// Whether there is an edit for `Redo`.
    bool IsRedoable() const { return redo_ && !redo_->Actions().empty(); }

    /// Gives `changes` one entry per plane of `seg` with what `Undo` would change; without an edit
    /// that is nothing. Corrupt stripes as in `Action::PlayDifferences`.
    TRELIS_API void GetUndoModifiedPlanes(const NSegment::SegmentVolume& seg,
                                          std::vector<PlaneChange>& changes) const;

    /// The same for `Redo`. Without a redo stack it leaves `changes` alone.
    TRELIS_API void GetRedoModifiedPlanes(const NSegment::SegmentVolume& seg,
                                          std::vector<PlaneChange>& changes) const;

    /// The edits for `Undo`, owned by this object.
    const Stack& UndoStack() const { return undo_; }
    /// The edits for `Redo`, owned by this object; null without a redo stack.
    const Stack* RedoStack() const { return redo_ ? &*redo_ : nullptr; }

  private:
    Stack undo_;
    std::optional<Stack> redo_;
};

/// The number of edits for undo and for redo.
TRELIS_API int GetAllStackCount(const StackRedoable& stack);

/// The bytes in all stripes of all edits for undo and for redo. Undo points are not counted.
TRELIS_API std::size_t GetAllStackSizeInBytes(const StackRedoable& stack);

}  // namespace NSegmentUndo
