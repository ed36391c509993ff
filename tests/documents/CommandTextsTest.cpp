#include "CommandTexts.h"

#include <gtest/gtest.h>

namespace {

using namespace Korvane;

TEST(CommandTexts, OpeningTellsImagesFailuresResultsAndProducts) {
    EXPECT_EQ(OpenedText({1, 0, 0, 0}), "Opened 1 image");
    EXPECT_EQ(OpenedText({3, 1, 0, 0}), "Opened 3 images, 1 failed");
    EXPECT_EQ(OpenedText({1, 0, 0, 1}), "Opened 1 image; results lie beside it: Ctrl+L loads them");
    EXPECT_EQ(OpenedText({3, 0, 0, 3}), "Opened 3 images; results lie beside them: Ctrl+L loads them");
    EXPECT_EQ(OpenedText({3, 0, 2, 1}),
              "Opened 3 images; results lie beside 1 of them: Ctrl+L loads them; 2 products of earlier runs left out");
}

TEST(CommandTexts, SavingNamesTheFolderFailuresAndWhatWasKept) {
    FilesOutcome saved{{"/d/seg_a.tif", "/d/seg_b.tif"}, 0, {}, 0};
    EXPECT_EQ(SavedText(saved), "Saved 2 label files in /d");
    saved.files.emplace_back("/e/seg_c.tif");
    saved.failed = 1;
    saved.kept = {"/d/seg_a.tif.bak"};
    EXPECT_EQ(SavedText(saved),
              "Saved 3 label files in the folders of the images, 1 failed; the older one was kept as seg_a.tif.bak");
    saved.kept.emplace_back("/d/seg_b.tif.bak");
    EXPECT_EQ(SavedText(saved),
              "Saved 3 label files in the folders of the images, 1 failed; 2 older ones were kept, "
              "the first as seg_a.tif.bak");
    EXPECT_EQ(SavedText({{}, 2, {}, 0}), "Saved 0 label files, 2 failed");
    EXPECT_EQ(SavedText({{"seg_a.tif"}, 0, {}, 0}), "Saved 1 label file in the current folder");
}

TEST(CommandTexts, LoadingTellsForHowManyPositionsThereIsNoFile) {
    EXPECT_EQ(LoadedText({{"/d/seg_a.tif"}, 0, {}, 2}), "Loaded 1 label file from /d, none for 2 positions");
    EXPECT_EQ(LoadedText({{}, 0, {}, 1}), "Loaded 0 label files, none for 1 position");
    EXPECT_EQ(ExportedText({{"/d/export_a.tif"}, 0, {}, 0}), "Exported 1 image to /d");
}

TEST(CommandTexts, AnAnalysisTellsWhatWasFoundWhereNothingWasAndWhatFailed) {
    EXPECT_EQ(AnalysedText("Detection", {{12}, {}, {}, {}}), "Detection: 12 objects at 1 position");
    EXPECT_EQ(AnalysedText("Detection", {{0}, {0}, {}, {}}), "Detection: 0 objects at 1 position");
    EXPECT_EQ(AnalysedText("Detection", {{1, 0, 0}, {1, 4}, {}, {2}}),
              "Detection: 1 object at 3 positions; none at numbers 2 and 5; failed at number 3");
    EXPECT_EQ(AnalysedText("Segmentation", {{}, {}, {0, 1, 2}, {}}),
              "Segmentation: no position was analysed; no seeds at numbers 1, 2 and 3");
    EXPECT_EQ(AnalysedText("Segmentation", {{3}, {}, {0, 1, 2, 3, 4, 5, 6}, {}}),
              "Segmentation: 3 objects at 1 position; no seeds at 7 positions");
}

TEST(CommandTexts, PositionsOfOneNameAreToldApartByFolder) {
    const std::vector<wxString> paths{"/d/a.tif", "/e/a.tif", "/e/b.tif"};
    EXPECT_EQ(PositionName(paths, 1), "a.tif in /e");
    EXPECT_EQ(PositionName(paths, 2), "b.tif");
    EXPECT_EQ(WorkText(paths, 0, "detection"), "Position 1 of 3, a.tif in /d: detection");
}

TEST(CommandTexts, UndoNamesThePositionsWhereThereAreSeveral) {
    EXPECT_EQ(TravelText("Undone: ", "brush stroke", {0}, 1), "Undone: brush stroke");
    EXPECT_EQ(TravelText("Undone: ", "brush stroke", {2, 2}, 3), "Undone: brush stroke at position 3");
    EXPECT_EQ(TravelText("Redone: ", "detection", {2, 0, 1}, 3), "Redone: detection at 3 positions");
}

TEST(CommandTexts, WhatIsBurntInIsNamedWithItsPlace) {
    EXPECT_EQ(BurntInText({}, Annotations()), "");
    EXPECT_EQ(BurntInText({0, 32}, Annotations()), "Burnt in: 32 rows at the bottom");
    Annotations annotations;
    annotations.pieces.push_back({Annotation::Kind::kScaleBar, {10, 20, 30, 4}, 120, 30});
    EXPECT_EQ(BurntInText({}, annotations), "Burnt in: scale bar or writing at 10, 20 (30 x 4)");
    EXPECT_EQ(BurntInText({8, 0}, annotations), "Burnt in: 8 rows at the top; scale bar or writing at 10, 20 (30 x 4)");
}

TEST(CommandTexts, UnsavedPositionsAreCounted) {
    EXPECT_EQ(UnsavedText(0), "No position has unsaved changes.");
    EXPECT_EQ(UnsavedText(1), "1 position has unsaved changes.");
    EXPECT_EQ(UnsavedText(7), "7 positions have unsaved changes.");
}

}  // namespace
