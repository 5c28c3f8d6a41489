#include <trelis/segment/undo_stack.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/segments.h>

namespace {

using namespace NSegmentUndo;
using NSegment::SegmentVolume;
using Bytes = std::vector<unsigned char>;
using Changes = std::vector<PlaneChange>;

/// The code of a row of which every voxel changes.
Bytes codeOf(const Bytes& values) {
    SegmentVolume before(static_cast<int>(values.size()), 1, 1, 1, 1, 1);
    std::copy(values.begin(), values.end(), before.GetSpanX(0, 0).begin());
    SegmentVolume after = before;
    std::transform(values.begin(), values.end(), after.GetSpanX(0, 0).begin(),
                   [](int v) { return v ^ 1; });
    Action action;
    action.RecordDifferences(before, after);
    return action.stripes.at(0).bytes;
}

/// What lies between two states of a segment by a comparison voxel by voxel.
struct Difference {
    std::vector<ActionStripe> stripes;
    Changes changes;

    Difference(const GridSize& size, const Bytes& before, const Bytes& after)
        : changes(static_cast<std::size_t>(size.z)) {
        auto voxel = before.begin();
        forEachVoxel(size, [&](int x, int y, int z) {
            if (*voxel != after[static_cast<std::size_t>(voxel - before.begin())]) {
                if (stripes.empty() || stripes.back().y != y || stripes.back().z != z) {
                    stripes.push_back({x, y, z, -1, {}});
                }
                stripes.back().bytes = {voxel - (x - stripes.back().x), voxel + 1};
                PlaneChange& c = changes[static_cast<std::size_t>(z)];
                c = {true, std::min(c.xmin, x), std::min(c.ymin, y), std::max(c.xmax, x), y};
            }
            ++voxel;
        });
        for (ActionStripe& stripe : stripes) {
            stripe.bytes = codeOf(stripe.bytes);
        }
    }
};

/// Replaces all or compacts at times, and fills a part of the planes.
void edit(SegmentVolume& segment, const GridSize& size, Random& random) {
    const int kind = random.integer(0, 9);
    if (kind == 0) {
        segment = randomSegment(random, size);
    } else if (kind == 1) {
        segment.compact();
    }
    const int value = std::clamp(random.integer(-100, 355), 0, 255);
    const int x = random.integer(0, size.x - 1);
    const int y = random.integer(0, size.y - 1);
    for (int z = random.integer(0, size.z - 1); z < size.z; ++z) {
        const auto row = segment.GetSpanX(y, z).begin();
        std::fill(row + x, row + random.integer(x, size.x), value);
    }
}

TEST(Undo, CodeOfARowIsAsDescribedByteForByte) {
    const std::pair<Bytes, Bytes> cases[] = {
        {{0, 255, 255, 0, 255}, {0, 0xA2, 1, 0, 255}},
        {{0xA5, 7, 7, 0x9F, 0xB0}, {0xA0, 0xA5, 7, 7, 0x9F, 0xB0}},
        {{0xA0, 0xAF}, {0xA0, 0xA0, 0xA0, 0xAF}},
        {Bytes(129, 255), {0xA2, 128}},
        {Bytes(130, 0), {0xA1, 128, 0}},
        {Bytes(300, 0), {0xA1, 128, 0xA1, 128, 0xA1, 41}}};
    for (const auto& [values, code] : cases) {
        EXPECT_EQ(codeOf(values), code);
    }
}

TEST(Undo, IgnoresWhatStripesHaveOutsideTheirRowOrTheSegment) {
    Action action;
    // Values that the segment has already mark nothing.
    action.stripes = {{29, 1, 1, -1, {0, 9, 0xA2, 255, 7, 0xA1, 255}},
                      {4, 2, 0, -1, {0xA0, 0xA0, 0}},
                      {0, 0, 1, -1, {0}}};
    for (const int outside : {-1, 40, 2147483647, -2147483647 - 1}) {
        action.stripes.push_back({outside, 0, 0, -1, {1, 1}});
        action.stripes.push_back({0, outside, 0, -1, {1, 1}});
        action.stripes.push_back({0, 0, outside, -1, {1, 1}});
    }
    SegmentVolume segment(40, 3, 2, 1, 1, 1);
    Bytes expected(240, 0);
    expected[190] = 9;
    std::fill_n(expected.begin() + 191, 9, 255);
    expected[84] = 0xA0;
    Changes changes = {{true, 1, 2, 3, 4}};
    for (const bool dryRun : {true, false}) {
        action.PlayDifferences(segment, changes, dryRun);
        EXPECT_EQ(changes, (Changes{{true, 1, 2, 4, 4}, {true, 30, 1, 39, 1}}));
        EXPECT_EQ(dense(segment), dryRun ? Bytes(240, 0) : expected);
    }
}

TEST(Undo, RecordsExactlyWhatDiffersAndReturnsToEveryStateInTenThousandSequences) {
    Random random(22);
    for (int sequence = 0; sequence < 10000; ++sequence) {
        const GridSize size = {random.integer(1, 70), random.integer(1, 20), random.integer(1, 10)};
        SegmentVolume segment(size.x, size.y, size.z, 1, 1, 1);
        StackRedoable stack;
        std::vector<Bytes> states = {dense(segment)};
        std::size_t now = 0;
        for (int step = random.integer(1, 12); step > 0; --step) {
            const bool undo = random.integer(0, 1) == 0;
            if (random.integer(0, 1) == 0) {
                stack.SetUndoPoint(segment);
                edit(segment, size, random);
                states.resize(++now);
                states.push_back(dense(segment));
                stack.PushModifications(segment, {sequence, static_cast<int>(now)});
                ASSERT_EQ(stack.UndoStack().Actions().back().stripes,
                          Difference(size, states[now - 1], states[now]).stripes);
            } else if (undo ? stack.IsUndoable() : stack.IsRedoable()) {
                const Bytes& before = states[now];
                const ActionName name = undo ? stack.UndoName() : stack.RedoName();
                ASSERT_EQ(name, (ActionName{sequence, static_cast<int>(undo ? now : now + 1)}));
                Changes foreseen;
                Changes done;
                undo ? stack.GetUndoModifiedPlanes(segment, foreseen)
                     : stack.GetRedoModifiedPlanes(segment, foreseen);
                undo ? stack.Undo(segment, done) : stack.Redo(segment, done);
                now = undo ? now - 1 : now + 1;
                ASSERT_EQ(done, foreseen);
                ASSERT_EQ(done, Difference(size, before, states[now]).changes) << sequence;
            }
            ASSERT_EQ(dense(segment), states[now]) << sequence;
            ASSERT_EQ(stack.IsUndoable(), now > 0);
            ASSERT_EQ(stack.IsRedoable(), now + 1 < states.size());
            ASSERT_EQ(GetAllStackCount(stack), static_cast<int>(states.size()) - 1);
        }
    }
}

/// One edit: a voxel got a 7.
struct Edited {
    SegmentVolume segment{9, 2, 3, 1, 1, 1};
    StackRedoable stack;
    Changes changes;

    Edited() {
        stack.SetUndoPoint(segment);
        segment.setPixel(4, 1, 2, 7);
        stack.PushModifications(segment, {5, 6});
    }
};

TEST(Undo, KeepsAnEmptyRedoStackUntilHistoryIsNewAndTheMarkOfPhases) {
    Edited e;
    StackRedoable copy = e.stack;
    copy.MarkTopUndoAs4DOperation();
    EXPECT_EQ(copy.UndoName(), (ActionName{5, 6, true}));
    EXPECT_EQ(e.stack.UndoName(), (ActionName{5, 6, false}));
    e.stack.Redo(e.segment, e.changes);
    e.stack.GetRedoModifiedPlanes(e.segment, e.changes);
    EXPECT_EQ(e.changes, Changes());
    e.stack.Undo(e.segment, e.changes);
    EXPECT_EQ(GetAllStackSizeInBytes(e.stack), 1U);
    e.stack.Redo(e.segment, e.changes);
    EXPECT_EQ(GetAllStackSizeInBytes(e.stack), 1U);
    e.stack.GetRedoModifiedPlanes(e.segment, e.changes);
    EXPECT_EQ(e.changes, Changes(3));
    e.stack.Undo(e.segment, e.changes);
    e.stack.PushModifications(e.segment, {});
    EXPECT_EQ(e.stack.RedoStack(), nullptr);
    Stack stack = e.stack.UndoStack();
    stack.Undo(e.segment, e.changes, true);
    EXPECT_TRUE(stack.Actions().at(0).stripes.empty());
    e.stack.Undo(e.segment, e.changes);
    EXPECT_EQ(e.changes, Changes(3));
    e.stack.SetUndoPoint(e.segment);
    EXPECT_EQ(e.stack.RedoStack(), nullptr);
}

TEST(UndoDeathTest, CorruptStripesAndEmptyStacksEndWithTheirMessages) {
    Edited e;
    const auto play = [&](const Bytes& bytes) {
        Action{{}, {{0, 0, 0, -1, bytes}}}.PlayDifferences(e.segment, e.changes, true);
    };
    EXPECT_DEATH(play({0xA0}), "inconsistent rle 0xa0");
    EXPECT_DEATH(play({5, 0xA1, 255, 0xA1}), "inconsistent rle 0xa1");
    EXPECT_DEATH(play({0xA0, 0xA0, 0xA2}), "inconsistent rle 0xa2");
    StackRedoable none;
    EXPECT_DEATH(none.Undo(e.segment, e.changes), "undo name not available");
    EXPECT_DEATH(none.RedoName(), "NSegmentUndo::StackRedoable::RedoName");
    EXPECT_DEATH(none.MarkTopUndoAs4DOperation(), "undo stack empty in MarkTopAs4DOperation");
    e.stack.Undo(e.segment, e.changes);
    e.stack.Redo(e.segment, e.changes);
    EXPECT_DEATH(e.stack.RedoName(), "undo name not available");
    EXPECT_DEATH(e.stack.Redo(e.segment, e.changes), "undo name not available");
}

}  // namespace
