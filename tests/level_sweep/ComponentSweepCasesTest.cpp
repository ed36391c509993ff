#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "SweepForms.h"
#include "support/MatTools.h"

using namespace korvane_test;

namespace {

// At this scale areas from 12 to 6250 are in range, and a branch of two pixels is a long one.
constexpr float kScale = 0.125f;

struct Maps {
    cv::Mat components;
    cv::Mat candidates;
};

Maps Swept(const SweepForm& form, const cv::Mat& components, float before = 0.0f, float scale = kScale) {
    Maps maps{components.clone(), cv::Mat(components.size(), CV_32F, cv::Scalar(static_cast<double>(before)))};
    form.run(maps.components, maps.candidates, scale, 1.0f);
    return maps;
}

/// A map of zeros with a run of that many ones, row by row in lines of `width`, three pixels inside the border.
cv::Mat Block(int width, int area) {
    cv::Mat map = cv::Mat::zeros((area + width - 1) / width + 6, width + 6, CV_32F);
    for (int i = 0; i < area; ++i) map.at<float>(3 + i / width, 3 + i % width) = 1.0f;
    return map;
}

}  // namespace

class ComponentSweepCases : public ::testing::TestWithParam<SweepForm> {};
INSTANTIATE_TEST_SUITE_P(Forms, ComponentSweepCases, ::testing::ValuesIn(SweepForms()), FormName);

TEST(PlainComponentSweep, AMapWithoutAnyOneLeavesBothMaps) {
    const cv::Mat map = DrawMap({"..22.", ".3322", "33...", "....."});
    const Maps maps = Swept(SweepForms().front(), map, 7.0f);
    EXPECT_TRUE(SameMaps(map, maps.components));
    EXPECT_TRUE(SameMaps(cv::Mat(map.size(), CV_32F, cv::Scalar(7.0)), maps.candidates));
}

TEST_P(ComponentSweepCases, AComponentOfTheMinimumAreaIsAnalysedAndOneOfAPixelLessIsErased) {
    const Maps equal = Swept(GetParam(), Block(4, 12));
    EXPECT_EQ(cv::countNonZero(equal.components == 2.0), 12);
    EXPECT_GT(cv::countNonZero(equal.candidates), 0);
    const Maps less = Swept(GetParam(), Block(4, 11));
    EXPECT_EQ(cv::countNonZero(less.components), 0);
    EXPECT_EQ(cv::countNonZero(less.candidates), 0);
}

TEST_P(ComponentSweepCases, AComponentOfTheMaximumAreaIsAnalysedAndOneOfAPixelMoreStaysOpen) {
    const Maps equal = Swept(GetParam(), Block(125, 6250));
    EXPECT_EQ(cv::countNonZero(equal.components == 2.0), 6250);
    const cv::Mat large = Block(125, 6251);
    const Maps more = Swept(GetParam(), large);
    EXPECT_TRUE(SameMaps(large, more.components));
    EXPECT_EQ(cv::countNonZero(more.candidates), 0);
}

TEST_P(ComponentSweepCases, ComponentsThatMeetAtACornerAreMeasuredApart) {
    const Maps maps = Swept(GetParam(), DrawMap({"........", ".111....", ".111....", ".111....", "....111.", "....111.",
                                                 "....111.", "........"}));
    EXPECT_EQ(cv::countNonZero(maps.components), 0) << "two components of 9 pixels, both too small";
}

TEST_P(ComponentSweepCases, TouchedRegionsGoOnAcrossCorners) {
    const Maps maps = Swept(GetParam(),
                            DrawMap({"2222222222", "2......222", "2.1111.222", "2.1111.222", "2.1111.222", "2.1111.222",
                                     "2......222", "2222222.22", "2222222222"}),
                            0.0f, 0.15f);
    EXPECT_EQ(maps.components.at<float>(7, 7), 3.0f);
    EXPECT_EQ(maps.components.at<float>(1, 1), 3.0f);
    EXPECT_EQ(maps.components.at<float>(0, 0), 2.0f);
}

TEST(PlainComponentSweep, ALaterComponentResetsARegionThatWasTouchedBefore) {
    const Maps maps = Swept(SweepForms().front(), DrawMap({"..........", ".33333333.", ".33333333.", ".33111133.", ".33111133.",
                                                 ".33111133.", ".33333333.", ".33333333.", ".........."}));
    EXPECT_EQ(maps.components.at<float>(0, 0), 3.0f) << "the zeros behind a touched region join it";
    EXPECT_EQ(cv::countNonZero(maps.components == 3.0), 78);
}

TEST_P(ComponentSweepCases, AClosedLoopIsFilledUpToItsSkeletonWithARingAround) {
    const Maps maps = Swept(
        GetParam(), DrawMap({"22222222", "2......2", "2.1111.2", "2.1111.2", "2.1111.2", "2......2", "22222222"}));
    EXPECT_EQ(maps.candidates.at<float>(3, 3), 2.0f);
    EXPECT_EQ(maps.candidates.at<float>(3, 1), 3.0f);
    EXPECT_EQ(maps.candidates.at<float>(3, 7), 0.0f);
}

TEST(PlainComponentSweep, ARingOverwritesAnEarlierCandidateAndAnEarlierRingNeverBecomesCandidate) {
    const cv::Mat map = DrawMap({"22222222", "2......2", "2.1111.2", "2.1111.2", "2.1111.2", "2......2", "22222222"});
    const Maps overCandidate = Swept(SweepForms().front(), map, 2.0f);
    EXPECT_EQ(overCandidate.candidates.at<float>(3, 1), 3.0f);
    EXPECT_EQ(overCandidate.candidates.at<float>(3, 3), 2.0f);
    const Maps overRing = Swept(SweepForms().front(), map, 3.0f);
    EXPECT_EQ(cv::countNonZero(overRing.candidates != 3.0), 0);
}

TEST_P(ComponentSweepCases, AHoleInsideTheFilledAreaIsCandidateToo) {
    const Maps maps =
        Swept(GetParam(), DrawMap({"22222222222", "2.........2", "2.1111111.2", "2.1.....1.2", "2.1.111.1.2",
                                   "2.1.111.1.2", "2.1.....1.2", "2.1111111.2", "2.........2", "22222222222"}));
    EXPECT_EQ(maps.candidates.at<float>(4, 5), 2.0f) << "the too small component in the hole";
    EXPECT_EQ(maps.candidates.at<float>(3, 5), 2.0f) << "the inner loop";
}

TEST_P(ComponentSweepCases, WithoutAClosedLoopTheFillReachesTheMapBorder) {
    const Maps maps = Swept(GetParam(), DrawMap({"11111111", "11111111", ".....111", "11111111", "11111111"}));
    EXPECT_EQ(cv::countNonZero(maps.candidates.rowRange(0, 2) == 2.0), 16);
    EXPECT_EQ(cv::countNonZero(maps.candidates.colRange(5, 8) == 2.0), 15);
}

TEST_P(ComponentSweepCases, AComponentThatFillsTheMapTouchesNothingAndIsCandidate) {
    const Maps maps = Swept(GetParam(), cv::Mat(4, 4, CV_32F, cv::Scalar(1.0)));
    EXPECT_EQ(cv::countNonZero(maps.components == 2.0), 16);
    EXPECT_EQ(cv::countNonZero(maps.candidates == 2.0), 16);
}

TEST_P(ComponentSweepCases, TouchedBackgroundIsClearedAtTheEndOfALongBranchOnly) {
    const cv::Mat map = DrawMap({"22222222222222", "2......2222222", "2.1111.2222222", "2.1111.......2",
                                 "2.1111.2222222", "2......2222222", "22222222222222"});
    const Maps longBranch = Swept(GetParam(), map);
    EXPECT_EQ(longBranch.components.at<float>(3, 12), 0.0f);
    EXPECT_EQ(longBranch.components.at<float>(3, 11), 3.0f) << "one pixel wide, so the element is 1 x 1";
    const Maps shortBranch =
        Swept(GetParam(), DrawMap({"22222222222222", "2......2222222", "2.1111.2222222", "2.1111...22222",
                                   "2.1111.2222222", "2......2222222", "22222222222222"}));
    EXPECT_EQ(shortBranch.components.at<float>(3, 8), 3.0f) << "one pixel counts, and one is the limit";
}

TEST_P(ComponentSweepCases, APositionThatIsReachedFromTwoSidesIsCountedTwice) {
    // Two ends, at the top and at the bottom. From the lower one the line runs around the knot beside column 8 and
    // back into row 3, column 8, which was already waiting: it is counted once more, alone, under the upper end's
    // number, and the upper line goes without an end of its own.
    const cv::Mat map = DrawMap({"22222222222222", "2......22.2222", "2.1111.2.22222", "2.1111.....222",
                                 "2.1111.22.2222", "2......2.22222", "22222222222222"});
    const Maps limitOne = Swept(GetParam(), map, 0.0f, 0.125f);
    EXPECT_EQ(limitOne.components.at<float>(1, 9), 3.0f) << "one pixel is counted for it, and one is the limit";
    EXPECT_EQ(limitOne.components.at<float>(5, 8), 0.0f);
    const Maps limitNone = Swept(GetParam(), map, 0.0f, 0.06f);
    EXPECT_EQ(limitNone.components.at<float>(1, 9), 0.0f) << "one pixel is counted for it";
}

TEST_P(ComponentSweepCases, ALineWithoutAnEndOfItsOwnClearsTheFirstPixelOfTheMap) {
    // One end, at the top right. The fork behind it ends twice: three pixels under its own number, two under one that
    // no end has.
    const cv::Mat map = DrawMap({".2222222222222", "2......2222222", "2.1111.2.2.222", "2.1111.2..2222",
                                 "2.1111..2.2222", "2.1111.2222222", "2......2222222", "22222222222222"});
    const Maps limitOne = Swept(GetParam(), map, 0.0f, 0.125f);
    EXPECT_EQ(limitOne.components.at<float>(0, 0), 0.0f);
    EXPECT_EQ(limitOne.components.at<float>(2, 10), 0.0f);
    EXPECT_EQ(limitOne.components.at<float>(1, 1), 3.0f);
    const Maps limitTwo = Swept(GetParam(), map, 0.0f, 0.135f);
    EXPECT_EQ(limitTwo.components.at<float>(0, 0), 3.0f) << "two pixels, and two is the limit";
    EXPECT_EQ(limitTwo.components.at<float>(2, 10), 0.0f);
}

TEST_P(ComponentSweepCases, ALineThatRunsToTheMapBorderIsErasedToItsLastPixel) {
    cv::Mat map(9, 9, CV_32F, cv::Scalar(1.0));
    map(cv::Rect(4, 0, 1, 6)).setTo(cv::Scalar(0.0));
    const Maps maps = Swept(GetParam(), map);
    EXPECT_EQ(cv::countNonZero(maps.candidates == 2.0), 81) << "what is left of the line would be a ring";
    // The line counts six pixels, so it is marked below a limit of six and not at it.
    EXPECT_EQ(Swept(GetParam(), map, 0.0f, 5.9f / 15.0f).components.at<float>(5, 4), 0.0f);
    EXPECT_EQ(Swept(GetParam(), map, 0.0f, 6.1f / 15.0f).components.at<float>(5, 4), 3.0f);
}

TEST_P(ComponentSweepCases, TheClearedAreaIsAnEllipseAsWideAsTheGreatestCityBlockDistance) {
    // Four pixels of background around a block: 3 steps away from the rest, at a corner, though 2 by chessboard moves.
    cv::Mat map(16, 32, CV_32F, cv::Scalar(2.0));
    map(cv::Rect(8, 2, 12, 12)).setTo(cv::Scalar(0.0));
    map(cv::Rect(12, 6, 4, 4)).setTo(cv::Scalar(1.0));
    map(cv::Rect(1, 8, 7, 1)).setTo(cv::Scalar(0.0));
    map(cv::Rect(20, 5, 7, 1)).setTo(cv::Scalar(0.0));
    map(cv::Rect(20, 11, 6, 1)).setTo(cv::Scalar(0.0));
    map.at<float>(10, 26) = 0.0f;
    const Maps maps = Swept(GetParam(), map, 0.0f, 0.16f);
    EXPECT_EQ(maps.components.at<float>(8, 1), 0.0f);
    EXPECT_EQ(maps.components.at<float>(8, 2), 0.0f);
    EXPECT_EQ(maps.components.at<float>(8, 3), 3.0f);
    EXPECT_EQ(maps.components.at<float>(5, 26), 0.0f);
    EXPECT_EQ(maps.components.at<float>(5, 25), 0.0f);
    EXPECT_EQ(maps.components.at<float>(5, 24), 3.0f);
    EXPECT_EQ(maps.components.at<float>(10, 26), 0.0f);
    EXPECT_EQ(maps.components.at<float>(11, 25), 3.0f) << "the corner lies outside the 3 x 3 ellipse";
    EXPECT_EQ(cv::countNonZero(maps.components == 0.0), 5);
}

TEST_P(ComponentSweepCases, EachLineCountsForItsOwnEnd) {
    const Maps maps =
        Swept(GetParam(), DrawMap({"22222222222222", "2......2222222", "2.1111...22222", "2.1111.2222222",
                                   "2.1111.2222222", "2.1111.......2", "2......2222222", "22222222222222"}));
    EXPECT_EQ(maps.components.at<float>(5, 12), 0.0f) << "the long one";
    EXPECT_EQ(maps.components.at<float>(2, 8), 3.0f) << "the short one, of a single pixel";
}
