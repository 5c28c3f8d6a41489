#include <apps/trelis/evaluation/structure_edits.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include <fmt/format.h>

#include <trelis/segment/boolean_operations.h>
#include <trelis/segment/undo_stack.h>
#include <trelis/segment_algorithms/beam_geometry_segment.h>
#include <trelis/segment_algorithms/clean_up.h>
#include <trelis/segment_algorithms/margin.h>

#include <apps/trelis/evaluation/structure_segments.h>

namespace app {

namespace {

using NSegment::SegmentVolume;

/// A copy of a structure that is edited, and the way back.
class EditedStructure {
  public:
    explicit EditedStructure(const EvaluatedStructure& original) : structure_(original) {
        structure_.name += " (edited)";
    }

    const EvaluatedStructure& structure() const { return structure_; }
    EvaluatedStructure take() { return std::move(structure_); }

    void addMargin(double m, FProgressReportingBody& progress) {
        apply(fmt::format("{} by {:.4g} mm", m < 0.0 ? "shrunk" : "grown", std::abs(m)),
              [&](const SegmentVolume& in, SegmentVolume& out) {
                  NSegmentAlgorithms::Margin(in, m, m, m, m, m, m, out, progress);
              });
    }

    void subtract(const EvaluatedStructure& other) {
        const NSegmentAlgorithms::BeamGeometrySegment onThisGrid(other.segment, structure_.geometry,
                                                                 other.geometry.GetTransform());
        apply(fmt::format("{} subtracted", other.name),
              [&](const SegmentVolume& in, SegmentVolume& out) {
                  NSegmentAlgorithms::Subtract(in, onThisGrid.GetBeamSegment(), out);
                  out.compact();
              });
    }

    /// What takes the place of an edit that cannot be made.
    void leaveAsIs(std::string description) {
        apply(std::move(description),
              [](const SegmentVolume& in, SegmentVolume& out) { out = in; });
    }

    void keepLargest(int parts) {
        apply(parts == 1 ? "largest part kept" : fmt::format("{} largest parts kept", parts),
              [&](const SegmentVolume& in, SegmentVolume& out) {
                  out = in;
                  NSegmentAlgorithms::KeepNLargestSegments(parts, out);
              });
    }

    void undo() {
        std::vector<NSegmentUndo::PlaneChange> changes;
        const auto edit = static_cast<std::size_t>(stack_.UndoName().id);
        stack_.Undo(structure_.segment, changes);
        structure_.edits[edit].undone = true;
        structure_.volume = structure_.edits[edit].volumeBefore;
    }

  private:
    template <typename Operation>
    void apply(std::string description, const Operation& operation) {
        QProgressReporterNull nobody;
        SegmentVolume& segment = structure_.segment;
        SegmentVolume result(segment.xsize(), segment.ysize(), segment.zsize(), segment.xres(),
                             segment.yres(), segment.zres());
        operation(segment, result);
        stack_.SetUndoPoint(segment);
        NSegmentUndo::ActionName name;
        name.id = static_cast<std::int64_t>(structure_.edits.size());
        const std::size_t bytesBefore = NSegmentUndo::GetAllStackSizeInBytes(stack_);
        stack_.PushModifications(result, name);
        const double volume = measureVolume(result, nobody);
        structure_.edits.push_back({std::move(description), structure_.volume, volume,
                                    NSegmentUndo::GetAllStackSizeInBytes(stack_) - bytesBefore,
                                    false});
        segment = std::move(result);
        structure_.volume = volume;
    }

    EvaluatedStructure structure_;
    NSegmentUndo::StackRedoable stack_;
};

/// The structures of a study and their edited copies.
class Editor {
  public:
    Editor(std::vector<std::optional<EvaluatedStructure>> originals, Messages& messages)
        : originals_(std::move(originals)), edited_(originals_.size()), messages_(messages) {}

    bool exists(std::size_t i) const { return originals_[i].has_value(); }

    EditedStructure& edit(std::size_t i) {
        if (!edited_[i]) {
            edited_[i].emplace(*originals_[i]);
        }
        return *edited_[i];
    }

    void subtract(std::size_t other, const std::string& name, std::size_t target) {
        if (exists(other)) {
            edit(target).subtract(edited_[other] ? edited_[other]->structure()
                                                 : *originals_[other]);
            return;
        }
        edit(target).leaveAsIs(fmt::format("{} not subtracted", name));
        messages_.fault(edit(target).structure().name,
                        fmt::format("\"{}\" is not subtracted: it was left out", name));
    }

    /// Ends the edits.
    std::vector<EvaluatedStructure> take(std::optional<std::size_t> target) {
        std::vector<EvaluatedStructure> all;
        for (std::size_t i = 0; i < originals_.size(); ++i) {
            if (!originals_[i]) {
                continue;
            }
            all.push_back(std::move(*originals_[i]));
            if (edited_[i]) {
                all.push_back(edited_[i]->take());
                if (all.back().segment.IsEmpty()) {
                    messages_.warn(all.back().name, "nothing is left of it");
                }
            }
            all.back().isTarget = target == i;
        }
        return all;
    }

  private:
    std::vector<std::optional<EvaluatedStructure>> originals_;
    std::vector<std::optional<EditedStructure>> edited_;
    Messages& messages_;
};

}  // namespace

std::vector<EvaluatedStructure> editStructures(
    std::vector<std::optional<EvaluatedStructure>> originals, const Study& study,
    const EvaluationPlan& plan, const EvaluationOptions& options, Messages& messages,
    FProgressReportingBody& progress) {
    Editor editor(std::move(originals), messages);
    double done = 0.0;
    const auto count = static_cast<double>(plan.margins.size() + 1);
    for (const EvaluationPlan::Margin& margin : plan.margins) {
        if (editor.exists(margin.structure)) {
            editor.edit(margin.structure)
                .addMargin(margin.millimetres,
                           progress.SubRange(done / count, (done + 1.0) / count));
        }
        ++done;
    }
    if (plan.target && editor.exists(*plan.target)) {
        for (const std::size_t other : plan.subtractions) {
            progress.ReportProgress(done / count);
            editor.subtract(other, study.structures[other].name, *plan.target);
        }
        if (options.keepLargest) {
            editor.edit(*plan.target).keepLargest(*options.keepLargest);
        }
        for (int i = 0; i < options.undo; ++i) {
            editor.edit(*plan.target).undo();
        }
    }
    return editor.take(plan.target);
}

}  // namespace app
