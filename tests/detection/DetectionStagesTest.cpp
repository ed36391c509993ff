#include "DetectionStages.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>

namespace Korvane {

namespace {

TEST(DetectionStages, NoTwoMapsHaveTheSameFilePrefix) {
    std::set<std::string_view> prefixes;
    for (const DetectionStageRow& row : kDetectionStages) {
        if (row.filePrefix.empty()) continue;
        EXPECT_TRUE(prefixes.insert(row.filePrefix).second) << row.filePrefix;
        EXPECT_EQ(row.filePrefix.back(), '_') << row.filePrefix;
    }
    EXPECT_EQ(prefixes,
              (std::set<std::string_view>{"edges_", "candidates_", "filtered_", "separated_", "relief_", "markers_"}));
}

TEST(DetectionStages, NoTwoStagesAreAnnouncedAlike) {
    std::set<std::string_view> texts;
    for (const DetectionStageRow& row : kDetectionStages) {
        if (row.text.empty()) continue;
        EXPECT_TRUE(texts.insert(row.text).second) << row.text;
    }
    EXPECT_EQ(texts, (std::set<std::string_view>{"preprocessing", "detection of exosomes", "filtering candidates",
                                                 "cluster separation", "finalizing", "finalization"}));
}

TEST(DetectionStages, EveryStageIsAnnouncedOrLeavesAMap) {
    for (const DetectionStageRow& row : kDetectionStages) {
        EXPECT_FALSE(row.text.empty() && row.filePrefix.empty()) << static_cast<int>(row.stage);
    }
}

TEST(DetectionStages, TheRefinementAddsOneProgressStepToFive) {
    EXPECT_EQ(kProgressStepsPerPosition, 5);
    EXPECT_EQ(AnnouncedStages(StageRuns::kInRefinement), 6);
}

}  // namespace

}  // namespace Korvane
