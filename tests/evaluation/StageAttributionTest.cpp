#include "StageAttribution.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "LabelExtents.h"
#include "evaluation/EvaluationPhantoms.h"

namespace Korvane {

namespace {

using korvane_test::Square;

class Attribution : public ::testing::Test {
protected:
    Attribution() {
        const auto clear = [](auto& image) {
            image.Resize(60, 30, 1);
            image.Zero();
        };
        clear(truth_);
        clear(found_);
        clear(maps_.candidates);
        clear(maps_.filtered);
        clear(maps_.blobs);
    }
    StageAttribution Attributed(float roundness = 0.75f) const {
        return AttributeToStages(CompareLabels(truth_, found_), truth_, found_, maps_, roundness);
    }

    qvox::LabelImage truth_;
    qvox::LabelImage found_;
    StageMaps maps_;
};

TEST_F(Attribution, AMissedObjectIsTheFirstStagesThatLacksIt) {
    for (std::uint64_t i = 0; i < 4; ++i) {
        const std::uint64_t x = 5 + 10 * i;
        Square(truth_, x, 5, static_cast<std::uint16_t>(i + 1), 6);
        if (i > 0) Square(maps_.candidates, x, 5, true, 6);
        if (i > 1) Square(maps_.filtered, x, 5, true, 6);
        if (i > 2) Square(maps_.blobs, x + 2, 7, true, 2);
    }
    const std::vector<FaultyStage> stages = Attributed().missed;
    EXPECT_EQ(stages, (std::vector<FaultyStage>{FaultyStage::kCandidates, FaultyStage::kFilter,
                                                FaultyStage::kSeparation, FaultyStage::kRefinement}));
    EXPECT_EQ(Attributed(0.0f).missed.back(), FaultyStage::kSeparation) << "without the refinement";
}

TEST_F(Attribution, AFewCandidatePixelsAreNoCandidate) {
    Square(truth_, 5, 5, std::uint16_t{1}, 6);
    Square(maps_.candidates, 5, 5, true, 2);
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kCandidates});
    Square(maps_.candidates, 5, 5, true, 3);
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kFilter});
}

TEST_F(Attribution, AQuarterOfAnObjectIsEnoughToBeACandidateAndToBeKept) {
    Square(truth_, 5, 5, std::uint16_t{1}, 6);
    // 8 of 36 pixels are too few, 9 are enough.
    Square(maps_.candidates, 5, 5, true, 3);
    maps_.candidates(5, 5) = false;
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kCandidates});
    Square(maps_.candidates, 5, 5, true, 3);
    Square(maps_.filtered, 5, 5, true, 3);
    maps_.filtered(5, 5) = false;
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kFilter});
    maps_.filtered(5, 5) = true;
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kSeparation});
}

TEST_F(Attribution, ABlobIsAnObjectsWithMoreThanHalfOfItsPixels) {
    Square(truth_, 5, 5, std::uint16_t{1}, 6);
    Square(maps_.candidates, 5, 5, true, 6);
    Square(maps_.filtered, 5, 5, true, 6);
    // Two columns of four inside, then three.
    Square(maps_.blobs, 9, 7, true, 4);
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kSeparation});
    for (std::uint64_t y = 7; y < 11; ++y) {
        maps_.blobs(12, y) = false;
        maps_.blobs(8, y) = true;
    }
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kRefinement});
}

TEST_F(Attribution, AnObjectWhereNothingIsWasACandidate) {
    Square(found_, 5, 5, std::uint16_t{1}, 6);
    Square(maps_.blobs, 7, 7, true, 2);
    EXPECT_EQ(Attributed().extra, std::vector<FaultyStage>{FaultyStage::kCandidates});
}

TEST_F(Attribution, PiecesOfAnObjectAreOfSeparation) {
    Square(truth_, 5, 5, std::uint16_t{1}, 12);
    Square(found_, 5, 5, std::uint16_t{1}, 6);
    Square(found_, 11, 11, std::uint16_t{2}, 6);
    Square(maps_.blobs, 7, 7, true, 2);
    Square(maps_.blobs, 13, 13, true, 2);
    Square(maps_.candidates, 5, 5, true, 12);
    Square(maps_.filtered, 5, 5, true, 12);
    EXPECT_EQ(Attributed().extra, (std::vector<FaultyStage>{FaultyStage::kSeparation, FaultyStage::kSeparation}));
    EXPECT_EQ(Attributed().missed, std::vector<FaultyStage>{FaultyStage::kSeparation});
}

TEST_F(Attribution, AnObjectOverTwoIsOfSeparation) {
    Square(truth_, 5, 5, std::uint16_t{1}, 6);
    Square(truth_, 11, 5, std::uint16_t{2}, 6);
    Square(found_, 5, 4, std::uint16_t{1}, 8);
    Square(found_, 10, 4, std::uint16_t{1}, 8);
    Square(maps_.blobs, 10, 7, true, 2);
    EXPECT_EQ(Attributed().extra, std::vector<FaultyStage>{FaultyStage::kSeparation});
}

TEST_F(Attribution, AnObjectThatGrewTooFarIsOfTheRefinement) {
    Square(truth_, 10, 10, std::uint16_t{1}, 6);
    Square(found_, 5, 5, std::uint16_t{1}, 18);
    Square(maps_.blobs, 12, 12, true, 2);
    EXPECT_EQ(Attributed().extra, std::vector<FaultyStage>{FaultyStage::kRefinement});
}

TEST(StageMaps, AreThoseOfDetection) {
    const TrainingImage image = korvane_test::DiscImage(3);
    const StageMaps maps = DetectWithStages(image.image, {}, 336.0f, qvox::RunOneByOne);
    const auto count = [](const qvox::VoxelImage<bool>& map) { return std::count(map.begin(), map.end(), true); };
    EXPECT_GT(count(maps.candidates), 0);
    EXPECT_GT(count(maps.filtered), 0);
    EXPECT_LE(count(maps.filtered), count(maps.candidates));
    EXPECT_GT(count(maps.blobs), 0);
    EXPECT_GT(LabelExtents(maps.labels).size(), 0u);
}

}  // namespace

}  // namespace Korvane
