#include "reference/PlainSkeleton.h"

#include "support/MatTools.h"

using namespace korvane_test;
using korvane_reference::PlainBranchPruning;
using korvane_reference::PlainThinning;

namespace {

cv::Mat PrunedEnds(cv::Mat& skeleton, float scale) {
    cv::Mat ends = cv::Mat::zeros(skeleton.size(), CV_32F);
    PlainBranchPruning(skeleton, ends, scale);
    return ends;
}

}  // namespace

TEST(PlainSkeleton, AnOpenLineIsErasedAndMarkedAtTheEndFromWhichItWasTraced) {
    cv::Mat line = DrawMap({".......", ".11111.", "......."});
    const cv::Mat ends = PrunedEnds(line, 0.0f);
    EXPECT_EQ(cv::countNonZero(line), 0);
    EXPECT_EQ(ends.at<float>(1, 5), 1.0f) << "last in, first out";
}

TEST(PlainSkeleton, ABranchOfJustTheLimitIsNotMarked) {
    const auto marks = [](float scale) {
        cv::Mat line = DrawMap({"........", ".111111.", "........"});
        return cv::countNonZero(PrunedEnds(line, scale));
    };
    EXPECT_EQ(marks(4.99f / 15.0f), 1);
    EXPECT_EQ(marks(7.01f / 15.0f), 0);
}

TEST(PlainSkeleton, ALoopOutlivesTheTailThatHangsOnIt) {
    cv::Mat skeleton =
        DrawMap({"..........", "..11......", ".1..1.....", ".1..11111.", ".1..1.....", "..11......", ".........."});
    PrunedEnds(skeleton, 10.0f);
    EXPECT_EQ(skeleton.at<float>(1, 2), 1.0f);
    EXPECT_EQ(skeleton.at<float>(3, 1), 1.0f);
    EXPECT_EQ(skeleton.at<float>(2, 4), 1.0f);
    EXPECT_EQ(skeleton.at<float>(3, 8), 0.0f);
    EXPECT_EQ(skeleton.at<float>(3, 6), 0.0f);
}

TEST(PlainSkeleton, ALooseEndOnTheMapBorderIsNoBranchEnd) {
    cv::Mat skeleton = DrawMap({"......", "11111.", "......"});
    PrunedEnds(skeleton, 10.0f);
    cv::Mat attached = DrawMap({".1....", ".1....", ".1....", ".1...."});
    PrunedEnds(attached, 10.0f);
    EXPECT_EQ(cv::countNonZero(attached), 4);
}

TEST(PlainSkeleton, RegionsStayAttachedToTheMapBorderWhenThinned) {
    cv::Mat bar = DrawMap({"..111..", "..111..", "..111..", "..111..", "..111.."});
    PlainThinning(bar);
    EXPECT_GT(cv::countNonZero(bar.row(0)), 0);
    EXPECT_GT(cv::countNonZero(bar.row(4)), 0);
    EXPECT_LT(cv::countNonZero(bar), 9);
}

TEST(PlainSkeleton, ABranchCountedUnderANumberWithoutAnEndMarksRow0Column0) {
    const char* const why = "one end, but the fork behind it ends twice";
    cv::Mat forked = DrawMap({"......", "....1.", "...1..", "..11..", "......"});
    const cv::Mat ends = PrunedEnds(forked, 0.0f);
    EXPECT_EQ(ends.at<float>(0, 0), 1.0f) << why;
    EXPECT_EQ(ends.at<float>(1, 4), 1.0f);
    EXPECT_EQ(cv::countNonZero(ends), 2);
    cv::Mat again = DrawMap({"......", "....1.", "...1..", "..11..", "......"});
    const cv::Mat onlyLong = PrunedEnds(again, 1.01f / 15.0f);
    EXPECT_EQ(onlyLong.at<float>(0, 0), 0.0f) << "its count of 1 does not exceed the limit of 1";
    EXPECT_EQ(onlyLong.at<float>(1, 4), 1.0f);
}

TEST(PlainSkeleton, AColumnTwoPixelsWideLosesItsLeftAndARowTwoPixelsHighItsLower) {
    // The first half of a pass takes what has nothing to the left, or lies at the bottom; from border to border no end
    // of the bar is involved.
    cv::Mat column = DrawMap({"..11..", "..11..", "..11..", "..11..", "..11.."});
    PlainThinning(column);
    EXPECT_TRUE(SameMaps(DrawMap({"...1..", "...1..", "...1.."}), column.rowRange(1, 4)));
    cv::Mat row = DrawMap({"......", "......", "111111", "111111", "......", "......"});
    PlainThinning(row);
    EXPECT_TRUE(SameMaps(DrawMap({"......", "......", "111111", "......", "......", "......"}).colRange(1, 5),
                         row.colRange(1, 5)));
}

TEST(PlainSkeleton, APinholeDoesNotGrow) {
    cv::Mat plate = cv::Mat::ones(6, 7, CV_32F);
    plate.at<float>(3, 3) = 0.0f;
    const cv::Mat before = plate.clone();
    PlainThinning(plate);
    EXPECT_TRUE(SameMaps(before, plate));
}
