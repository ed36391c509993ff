#include "PositionStore.h"

#include <gtest/gtest.h>

#include "ImageLoading.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

PositionStore StoreOf(std::size_t count) {
    PositionStore store;
    for (std::size_t i = 0; i < count; ++i) {
        Position position;
        position.image.Resize(3, 2, 1);
        position.image.Zero();
        position.labels = EmptyLabelsFor(position.image);
        position.path = wxString::Format("/p%d.tif", static_cast<int>(i));
        AppendPosition(store, std::move(position));
    }
    return store;
}

void SetLabel(PositionStore& store, std::size_t index, std::uint64_t voxel, std::uint16_t label) {
    qvox::LabelImage labels = *store.images.LabelsOf(index);
    labels[voxel] = label;
    store.images.SetLabels(index, labels);
}

TEST(CountLabels, CountsValuesNotTheLargestOne) {
    PositionStore store = StoreOf(1);
    EXPECT_EQ(CountLabels(store, 0), 0u);
    SetLabel(store, 0, 0, 1);
    SetLabel(store, 0, 2, 5);
    SetLabel(store, 0, 3, 5);
    SetLabel(store, 0, 5, 900);
    EXPECT_EQ(CountLabels(store, 0), 3u);
    EXPECT_EQ(CountLabels(store, 1), 0u);
}

TEST(CountLabels, CountsTheLargestLabelOfAll) {
    PositionStore store = StoreOf(1);
    SetLabel(store, 0, 5, 65535);
    EXPECT_EQ(CountLabels(store, 0), 1u);
}

TEST(CountLabels, OfAnEmptyImageIsNone) { EXPECT_EQ(CountLabels(qvox::LabelImage()), 0u); }

TEST(PositionStore, StartsEmpty) {
    const PositionStore store;
    EXPECT_EQ(PositionCount(store), 0u);
    EXPECT_EQ(store.current, 0u);
    EXPECT_EQ(store.currentLabel, 1);
    EXPECT_EQ(store.labelCount, 0u);
    EXPECT_TRUE(store.undoLabels.Empty());
}

TEST(SwitchToPosition, RefusesAnIndexBeyondTheLast) {
    PositionStore store = StoreOf(2);
    EXPECT_FALSE(SwitchToPosition(store, 2, 0));
    EXPECT_EQ(store.current, 0u);
    EXPECT_TRUE(SwitchToPosition(store, 1, 0));
    EXPECT_FALSE(SwitchToPosition(store, store.current + 1, 0));
    EXPECT_EQ(store.current, 1u);
    PositionStore empty;
    EXPECT_FALSE(SwitchToPosition(empty, 0, 0));
}

TEST(SwitchToPosition, IsRefusedWhileAContourIsOpen) {
    PositionStore store = StoreOf(2);
    store.undoLabels = *store.images.LabelsOf(0);
    EXPECT_FALSE(SwitchToPosition(store, 1, 1));
    EXPECT_EQ(store.current, 0u);
    EXPECT_FALSE(store.undoLabels.Empty());
}

TEST(SwitchToPosition, RecountsTheLabelsAndForgetsTheUndoCopy) {
    PositionStore store = StoreOf(2);
    SetLabel(store, 1, 0, 4);
    SetLabel(store, 1, 1, 9);
    store.undoLabels = *store.images.LabelsOf(0);
    ASSERT_TRUE(SwitchToPosition(store, 1, 0));
    EXPECT_EQ(store.labelCount, 2u);
    EXPECT_TRUE(store.undoLabels.Empty());
}

TEST(ClearAllLabels, LeavesTheUndoCopyAlone) {
    PositionStore store = StoreOf(2);
    SetLabel(store, 0, 1, 7);
    SetLabel(store, 1, 1, 8);
    store.labelCount = 1;
    store.currentLabel = 3;
    ClearAllLabels(store);
    EXPECT_EQ(CountLabels(store, 0) + CountLabels(store, 1), 0u);
    EXPECT_TRUE(store.undoLabels.Empty());
    EXPECT_EQ(store.currentLabel, 1);
    EXPECT_EQ(store.labelCount, 0u);
}

TEST(ClearAllLabels, DoesNothingInAnEmptyStore) {
    PositionStore store;
    store.currentLabel = 5;
    ClearAllLabels(store);
    EXPECT_EQ(store.currentLabel, 5);
}

TEST(RemoveAllPositions, EmptiesTheSequencesAndWhatWasKeptForUndo) {
    PositionStore store = StoreOf(3);
    store.current = 2;
    store.labelCount = 4;
    store.undoLabels.Resize(8, 8, 1);
    RemoveAllPositions(store);
    EXPECT_TRUE(store.undoLabels.Empty());
    EXPECT_EQ(store.labelCount, 0u);
    EXPECT_EQ(PositionCount(store), 0u);
    EXPECT_EQ(store.images.Count(), 0u);
    EXPECT_EQ(store.current, 0u);
}

}  // namespace

}  // namespace Korvane
