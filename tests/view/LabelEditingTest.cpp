#include "LabelEditing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "reference/PlainIntensityHistogram.h"
#include "reference/PlainLabelEditing.h"
#include "reference/PlainLabelPainter.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using korvane_test::Draw;
using korvane_test::SameVoxels;
using qvox::LabelImage;

struct Edit {
    LabelImage labels;
    LabelImage undo;
    std::uint16_t current = 1;
    std::size_t count = 0;
    EditingState state;
    EditedPosition Position() { return {labels, undo, current, count}; }
};

Edit EmptyEdit(std::uint64_t width, std::uint64_t height) {
    Edit edit;
    edit.labels.Resize(width, height, 1);
    edit.labels.Zero();
    return edit;
}

void ExpectCensus(const Edit& edit) {
    const auto histogram = korvane_reference::PlainIntensityHistogram(edit.labels);
    std::vector<LabelAnchor> anchors = edit.state.census.Anchors();
    std::size_t objects = 0;
    for (std::size_t label = 0; label < histogram.size(); ++label) {
        const auto value = static_cast<std::uint16_t>(label);
        ASSERT_EQ(edit.state.census.VoxelCount(value), histogram[label]) << label;
        if (label == 0 || histogram[label] == 0) continue;
        ASSERT_LT(objects, anchors.size());
        const auto mean = korvane_reference::PlainAnchor(edit.labels, value);
        ASSERT_EQ(anchors[objects].label, value);
        ASSERT_EQ(anchors[objects].x, mean.first);
        ASSERT_EQ(anchors[objects].y, mean.second);
        ++objects;
    }
    EXPECT_EQ(edit.count, objects);
    EXPECT_EQ(edit.state.census.ObjectCount(), objects);
}

TEST(LabelCommands, StopAtTheFirstAndTheLastLabel) {
    std::uint16_t label = 65534;
    EXPECT_EQ(NextLabel(label), EditResult::kRepaint);
    EXPECT_EQ(NextLabel(label), EditResult::kMaximumReached);
    EXPECT_EQ(label, 65535);
    EXPECT_EQ(EmptyLabel(label), EditResult::kRepaint);
    EXPECT_EQ(PreviousLabel(label), EditResult::kNothing);
    EXPECT_EQ(label, 0);
    EXPECT_STREQ(kNoNextLabelText, "The maximum number of labels reached!");
    EXPECT_STREQ(kNoUniqueLabelText, "Maximum number of labels reached!");
}

TEST(LabelCommands, FindTheSmallestUnusedLabel) {
    Edit edit = EmptyEdit(256, 256);
    edit.current = 9;
    EXPECT_EQ(UniqueLabel(edit.Position(), edit.state), EditResult::kRepaint);
    EXPECT_EQ(edit.current, 1);
    for (std::uint64_t i = 0; i < 65536; ++i) edit.labels[i] = static_cast<std::uint16_t>(i);
    edit.labels[700] = 0;
    LabelsReplaced(edit.state);
    UniqueLabel(edit.Position(), edit.state);
    EXPECT_EQ(edit.current, 700);
    edit.labels[700] = 700;
    LabelsReplaced(edit.state);
    edit.current = 5;
    EXPECT_EQ(UniqueLabel(edit.Position(), edit.state), EditResult::kMaximumReached);
    EXPECT_EQ(edit.current, 5);
}

TEST(BrushRadius, StopsAtOneAndNinetyNine) {
    EditingState state;
    EXPECT_EQ(state.brushRadiusPx, 10);
    for (int i = 0; i < 120; ++i) EXPECT_EQ(IncreaseBrushRadius(state), EditResult::kRepaint);
    EXPECT_EQ(state.brushRadiusPx, 99);
    for (int i = 0; i < 120; ++i) EXPECT_EQ(DecreaseBrushRadius(state), EditResult::kRepaint);
    EXPECT_EQ(state.brushRadiusPx, 1);
}

TEST(BrushRadius, StaysInContourMode) {
    EditingState state;
    state.contourPoints = {3};
    FlipDrawingMode(state);
    EXPECT_TRUE(state.contourPoints.empty());
    EXPECT_EQ(IncreaseBrushRadius(state), EditResult::kRepaint);
    EXPECT_EQ(DecreaseBrushRadius(state), EditResult::kNothing);
    EXPECT_EQ(state.brushRadiusPx, 10);
}

TEST(Brush, OfRadiusOnePaintsTheCentreAndOfTwoNoPointAtItsRadius) {
    Edit edit = EmptyEdit(5, 5);
    edit.state.brushRadiusPx = 1;
    PaintDisc(edit.Position(), edit.state, {2, 2});
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({".....", ".....", "..1..", ".....", "....."}), edit.labels));
    edit.state.brushRadiusPx = 2;
    PaintDisc(edit.Position(), edit.state, {2, 2});
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({".....", ".111.", ".111.", ".111.", "....."}), edit.labels));
    EXPECT_EQ(edit.count, 1u);
}

TEST(Editing, EqualsThePlainFormsAndARecountAfterEveryStroke) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Edit edit = EmptyEdit(20 + random() % 40, 20 + random() % 40);
        LabelImage plain = edit.labels;
        const auto coordinate = [&] { return static_cast<float>(static_cast<int>(random() % 800) - 90) / 10.0f; };
        for (int step = 0; step < 60; ++step) {
            edit.current = static_cast<std::uint16_t>(random() % 6);
            edit.state.brushRadiusPx = 1 + static_cast<int>(random() % 12);
            edit.state.mode = random() % 2 == 0 ? DrawingMode::kBrush : DrawingMode::kContour;
            const LabelImage before = edit.labels;
            const ImagePoint point{coordinate(), coordinate()};
            PixelRectangle changed = PressLeft(edit.Position(), edit.state, point);
            EXPECT_TRUE(SameVoxels(before, edit.undo));
            if (edit.state.mode == DrawingMode::kBrush) {
                korvane_reference::PlainDisc(plain, PixelAt(point).x, PixelAt(point).y, edit.state.brushRadiusPx,
                                             edit.current);
            } else {
                for (auto i = random() % 7; i > 0; --i) {
                    DragLeft(edit.Position(), edit.state, {coordinate(), coordinate()});
                }
                korvane_reference::PlainContour(plain, edit.state.contourPoints, edit.current);
                changed = ReleaseLeft(edit.Position(), edit.state);
                EXPECT_TRUE(edit.state.contourPoints.empty());
            }
            ASSERT_TRUE(SameVoxels(plain, edit.labels)) << step;
            for (std::uint64_t i = 0; i < before.VoxelCount(); ++i) {
                const auto [x, y, z] = before.Coordinates(i);
                const bool in = x - changed.x < changed.width && y - changed.y < changed.height && z == 0;
                ASSERT_TRUE(in || before[i] == edit.labels[i]);
            }
            edit.state.census.Ensure(edit.labels);
            ExpectCensus(edit);
        }
    }
}

TEST(Contour, OfTwoPointsFillsTheLineBetweenThem) {
    Edit edit = EmptyEdit(5, 3);
    FlipDrawingMode(edit.state);
    PressLeft(edit.Position(), edit.state, {0.5f, 1.9f});
    DragLeft(edit.Position(), edit.state, {3.0f, 1.0f});
    DragLeft(edit.Position(), edit.state, {5.0f, 1.0f});
    EXPECT_EQ(edit.state.contourPoints, (std::vector<std::uint64_t>{5, 8}));
    ReleaseLeft(edit.Position(), edit.state);
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({".....", "1111.", "....."}), edit.labels));
    EXPECT_EQ(edit.count, 1u);
}

TEST(Contour, WithoutPointsChangesNothing) {
    Edit edit = EmptyEdit(3, 3);
    FlipDrawingMode(edit.state);
    edit.count = 77;
    EXPECT_EQ(ReleaseLeft(edit.Position(), edit.state).width, 0u);
    EXPECT_EQ(edit.count, 77u);
}

TEST(Picking, TakesTheLabelUnderThePointAndNoneOutside) {
    Edit edit = EmptyEdit(4, 4);
    edit.labels(3, 2) = 8;
    EXPECT_EQ(PickLabel(edit.Position(), edit.state, {3.99f, 2.5f}), EditResult::kRepaint);
    EXPECT_EQ(edit.current, 8);
    EXPECT_EQ(PickLabel(edit.Position(), edit.state, {4.0f, 2.5f}), EditResult::kRepaint);
    EXPECT_EQ(edit.current, 0);
    edit.current = 3;
    edit.state.contourPoints = {1};
    EXPECT_EQ(PickLabel(edit.Position(), edit.state, {3.0f, 2.0f}), EditResult::kNothing);
    EXPECT_EQ(edit.current, 3);
}

TEST(RepaintingAComponent, TakesTheWholeComponentWithItsCornersAndCanBeUndone) {
    Edit edit = EmptyEdit(4, 3);
    edit.labels = Draw<std::uint16_t>({"2..2", ".2..", "..2."});
    const LabelImage before = edit.labels;
    edit.current = 5;
    RepaintComponent(edit.Position(), edit.state, {0.5f, 0.5f});
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"5..2", ".5..", "..5."}), edit.labels));
    ExpectCensus(edit);
    EXPECT_EQ(UndoEdit(edit.Position(), edit.state), EditResult::kRepaint);
    EXPECT_TRUE(SameVoxels(before, edit.labels));
    EXPECT_EQ(RepaintComponent(edit.Position(), edit.state, {4.0f, 0.5f}).width, 0u);
    edit.state.contourPoints = {1};
    EXPECT_EQ(RepaintComponent(edit.Position(), edit.state, {0.5f, 0.5f}).width, 0u);
    EXPECT_TRUE(edit.undo.Empty());
}

TEST(Undo, RestoresOnceAndLeavesTheCount) {
    Edit edit = EmptyEdit(30, 30);
    PressLeft(edit.Position(), edit.state, {10.0f, 10.0f});
    edit.current = 2;
    PressLeft(edit.Position(), edit.state, {25.0f, 25.0f});
    const LabelImage undo = edit.undo;
    EXPECT_EQ(edit.count, 2u);
    EXPECT_EQ(UndoEdit(edit.Position(), edit.state), EditResult::kRepaint);
    EXPECT_TRUE(SameVoxels(undo, edit.labels));
    EXPECT_EQ(edit.count, 2u);
    EXPECT_EQ(UndoEdit(edit.Position(), edit.state), EditResult::kNothing);
    EXPECT_TRUE(SameVoxels(undo, edit.labels));
    PaintDisc(edit.Position(), edit.state, {10, 10});
    ExpectCensus(edit);
}

TEST(Clearing, CanBeUndone) {
    Edit edit = EmptyEdit(3, 1);
    edit.labels = Draw<std::uint16_t>({"159"});
    edit.current = 7;
    ClearLabels(edit.Position(), edit.state);
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"..."}), edit.labels));
    EXPECT_EQ(edit.count, 0u);
    EXPECT_EQ(edit.current, 1);
    UndoEdit(edit.Position(), edit.state);
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"159"}), edit.labels));
}

TEST(ApplyToEdited, TellsTheRectangleThatTheChangesCover) {
    Edit edit = EmptyEdit(10, 8);
    LabelChanges changes;
    changes.Add({3 * 10 + 2, 4, 0, 5});
    changes.Add({5 * 10 + 4, 1, 0, 6});
    for (const ChangeDirection direction : {ChangeDirection::kRedo, ChangeDirection::kUndo}) {
        const PixelRectangle box = ApplyToEdited(changes, direction, edit.Position(), edit.state);
        EXPECT_EQ(box.x, 2u);
        EXPECT_EQ(box.y, 3u);
        EXPECT_EQ(box.width, 4u);
        EXPECT_EQ(box.height, 3u);
        EXPECT_EQ(edit.count, direction == ChangeDirection::kRedo ? 2u : 0u);
    }
    EXPECT_EQ(ApplyToEdited({}, ChangeDirection::kRedo, edit.Position(), edit.state).height, 0u);
}

TEST(Clearing, UndoneTellsNoMoreThanTheImage) {
    // Around the side of the tiles that the undo copy is kept in.
    for (const std::uint64_t side : {127u, 128u, 129u, 255u, 256u}) {
        Edit edit = EmptyEdit(side, side);
        std::fill(edit.labels.begin(), edit.labels.end(), std::uint16_t{3});
        ClearLabels(edit.Position(), edit.state);
        PixelRectangle changed;
        UndoEdit(edit.Position(), edit.state, &changed);
        EXPECT_EQ(changed.x, 0u);
        EXPECT_EQ(changed.y, 0u);
        EXPECT_EQ(changed.width, side);
        EXPECT_EQ(changed.height, side);
        EXPECT_EQ(std::count(edit.labels.begin(), edit.labels.end(), 3), static_cast<std::ptrdiff_t>(side * side));
    }
}

TEST(Census, VersionChangesWithTheLabelsOnly) {
    Edit edit = EmptyEdit(30, 30);
    PaintDisc(edit.Position(), edit.state, {15, 15});
    const std::uint64_t version = edit.state.census.Version();
    PaintDisc(edit.Position(), edit.state, {15, 15});
    EXPECT_EQ(edit.state.census.Version(), version);
    PaintDisc(edit.Position(), edit.state, {16, 15});
    EXPECT_NE(edit.state.census.Version(), version);
}

}  // namespace

}  // namespace Korvane
