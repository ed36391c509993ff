#include "StageExplanation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "DetectionDriver.h"
#include "NominalSizes.h"
#include "evaluation/EvaluationPhantoms.h"

namespace Korvane {

namespace {

using korvane_test::Square;

/// Maps of 80 x 40 pixels without anything, at the reference resolution.
class Explained : public ::testing::Test {
protected:
    Explained() {
        const auto clear = [](auto& image) {
            image.Resize(80, 40, 1);
            image.Zero();
        };
        clear(labels);
        clear(record.edges);
        clear(record.candidates);
        clear(record.filtered);
        clear(record.separated);
        clear(record.found);
        record.xResolution = kReferenceResolution;
    }

    /// An area that got as far as the stages told.
    void Candidate(std::uint64_t x, std::uint64_t y) {
        Square(record.candidates, x, y, static_cast<std::uint8_t>(kCandidateCode), 8);
    }
    void Kept(std::uint64_t x, std::uint64_t y) {
        Candidate(x, y);
        Square(record.filtered, x, y, kKeptCode, 8);
    }
    void Blob(std::uint64_t x, std::uint64_t y) {
        Kept(x, y);
        Square(record.separated, x + 2, y + 2, std::uint8_t{1}, 4);
    }
    void Label(std::uint64_t x, std::uint64_t y, std::uint16_t label) { Square(labels, x, y, label, 8); }

    std::string Object(std::uint16_t label) const { return StageExplanation(record, labels).OfObject(label); }
    std::string Place(std::uint64_t x, std::uint64_t y) const { return StageExplanation(record, labels).OfPlace(x, y); }

    StageRecord record;
    qvox::LabelImage labels;
};

TEST_F(Explained, AnObjectThatIsFoundNamesItsLikeAndTheOverlap) {
    Label(10, 10, 3);
    Blob(10, 10);
    Square(record.found, 10, 10, std::uint16_t{7}, 8);
    EXPECT_EQ(Object(3), "Object 3 is found: object 7 of the detection agrees with it (overlap 1.00).");
    EXPECT_EQ(Object(4), "Object 4 is not there.");
}

TEST_F(Explained, ALostObjectNamesTheStageAndTheReason) {
    Label(10, 10, 1);
    Label(30, 10, 2);
    Candidate(30, 10);
    Label(50, 10, 3);
    Kept(50, 10);
    Label(65, 10, 4);
    Blob(65, 10);
    EXPECT_EQ(Object(1),
              "Object 1 is lost (never a candidate): candidates cover 0 % of it, too little: edges do not "
              "close around it.");
    EXPECT_EQ(
        Object(2),
        "Object 2 is lost (filtered out): its candidate region of 64 px was filtered out: less than 90 % of it is "
        "left by an opening of 11 px, so it is too thin or too ragged.");
    EXPECT_EQ(Object(3),
              "Object 3 is lost (lost in cluster separation): it was cut into several blobs, or none of its "
              "own was left.");
    EXPECT_EQ(Object(4),
              "Object 4 is lost (lost in the refinement): the refinement grew its blob to another border, or "
              "dropped it as less round than 0.75.");
}

TEST_F(Explained, AFilteredObjectIsExplainedByItsOwnRegionAndNotByTheNeighboursThatItReachesInto) {
    Label(30, 10, 2);
    // The upper rows of the object lie in a wide region of a neighbour, its lower ones in one of its own.
    for (std::uint64_t x = 20; x < 60; ++x) {
        for (std::uint64_t y = 8; y < 12; ++y) record.candidates(x, y) = static_cast<std::uint8_t>(kCandidateCode);
    }
    for (std::uint64_t x = 30; x < 38; ++x) {
        for (std::uint64_t y = 13; y < 18; ++y) record.candidates(x, y) = static_cast<std::uint8_t>(kCandidateCode);
    }
    EXPECT_NE(Object(2).find("its candidate region of 40 px was filtered out"), std::string::npos) << Object(2);
}

TEST_F(Explained, OfRegionsThatHoldAsMuchOfAFilteredObjectTheFirstExplainsIt) {
    Label(30, 10, 2);
    // Three rows of it, of which the second reaches out of it.
    for (const std::uint64_t y : {10u, 12u, 14u}) {
        for (std::uint64_t x = y == 12 ? 20 : 30; x < 38; ++x) {
            record.candidates(x, y) = static_cast<std::uint8_t>(kCandidateCode);
        }
    }
    EXPECT_NE(Object(2).find("its candidate region of 8 px was filtered out"), std::string::npos) << Object(2);
}

TEST_F(Explained, RegionsAreJoinedAtTheirCornersAndNotAcrossAGap) {
    Candidate(30, 16);
    // A pixel away on every side, and at the corners.
    for (const auto& [x, y] : {std::pair{21, 16}, {39, 16}, {30, 7}, {30, 25}, {21, 7}, {39, 7}, {21, 25}, {39, 25}}) {
        Candidate(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    }
    EXPECT_NE(Place(33, 20).find("its candidate region of 64 px"), std::string::npos) << Place(33, 20);
    record.candidates(38, 24) = static_cast<std::uint8_t>(kCandidateCode);
    EXPECT_NE(Place(33, 20).find("its candidate region of 257 px"), std::string::npos) << Place(33, 20);
    record.candidates.Zero();
    // In the corners of the image.
    Candidate(0, 0);
    Candidate(72, 32);
    EXPECT_NE(Place(0, 0).find("its candidate region of 64 px"), std::string::npos) << Place(0, 0);
    EXPECT_NE(Place(79, 39).find("its candidate region of 64 px"), std::string::npos) << Place(79, 39);
}

TEST_F(Explained, APlaceWithoutALabelSaysHowFarItCame) {
    record.edges(5, 5) = 51;
    EXPECT_EQ(Place(5, 5),
              "No object: never a candidate. Edges do not enclose this place in an area of at most 50000 "
              "px; its own edge strength is 0.20.");
    record.candidates(6, 5) = static_cast<std::uint8_t>(kRingCode);
    EXPECT_EQ(Place(6, 5), "No object: this is the ring that keeps candidates apart.");
    Candidate(30, 10);
    EXPECT_EQ(Place(31, 11).rfind("No object: its candidate region of 64 px was filtered out: less than 90 %", 0), 0u)
        << Place(31, 11);
    Kept(50, 10);
    EXPECT_EQ(Place(51, 11), "No object: its region of 64 px is too thin for a blob in cluster separation.");
    Square(record.separated, 53, 13, std::uint8_t{1}, 2);
    EXPECT_EQ(Place(51, 11),
              "No object: in the refinement its object was less round than 0.75, or nothing was left of "
              "it.");
    record.found(54, 14) = 6;
    EXPECT_EQ(Place(51, 11), "No object: its region became object 6, whose border the refinement drew elsewhere.");
}

TEST_F(Explained, ALargeCandidateIsNamedAsSuch) {
    record.xResolution = kReferenceResolution / 100.0f;
    Square(record.candidates, 10, 5, static_cast<std::uint8_t>(kCandidateCode), 30);
    EXPECT_EQ(Place(20, 20), "No object: its candidate region of 900 px was filtered out: it is larger than 500 px.");
}

TEST_F(Explained, AnObjectThatOnlyTheDetectionHasIsNamed) {
    Blob(10, 10);
    Square(record.found, 10, 10, std::uint16_t{7}, 8);
    EXPECT_EQ(Place(12, 12),
              "The detection finds object 7 here, which the labels do not have (a candidate where "
              "nothing is, if they are right).");
    Label(11, 10, 2);
    EXPECT_EQ(Place(10, 12), "The detection finds object 7 here, a little larger than its label.");
}

TEST(StageRecords, HoldWhatTheStagesShowAndTheResultOfDetection) {
    const TrainingImage discs = korvane_test::DiscImage(1);
    DetectionObserver nobody;
    const float resolution = discs.image.Resolution().x;
    const StageRecord record = RecordStages(discs.image, {}, resolution, nobody, qvox::RunOneByOne);
    qvox::LabelImage found;
    found.SetResolution(discs.image.Resolution());
    DetectExosomes(discs.image, found, {}, resolution, nobody, qvox::RunOneByOne);
    EXPECT_TRUE(std::equal(found.begin(), found.end(), record.found.begin(), record.found.end()));
    const StageMaps maps = DetectWithStages(discs.image, {}, resolution, qvox::RunOneByOne);
    ASSERT_TRUE(record.candidates.SameSizes(maps.candidates));
    for (std::uint64_t i = 0; i < maps.candidates.VoxelCount(); ++i) {
        ASSERT_EQ(record.candidates[i] == static_cast<std::uint8_t>(kCandidateCode), maps.candidates[i]);
        ASSERT_EQ(record.filtered[i] != 0, maps.filtered[i]);
        ASSERT_EQ(record.separated[i] != 0, maps.blobs[i]);
    }
    EXPECT_EQ(*std::max_element(record.relief.begin(), record.relief.end()), 255);
    EXPECT_EQ(record.markers[0], kBackgroundMarker);
    // Labels that are the result itself: every object is found.
    const StageExplanation explanation(record, found);
    for (const std::uint16_t label : found) {
        if (label == 0) continue;
        const std::string name = std::to_string(label);
        ASSERT_EQ(explanation.OfObject(label),
                  "Object " + name + " is found: object " + name + " of the detection agrees with it (overlap 1.00).");
    }
    AnalysisParameters unrefined;
    unrefined.roundnessThreshold = 0.0f;
    EXPECT_TRUE(RecordStages(discs.image, unrefined, resolution, nobody, qvox::RunOneByOne).markers.Empty());
}

}  // namespace
}  // namespace Korvane
