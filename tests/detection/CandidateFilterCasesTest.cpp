#include <opencv2/imgproc.hpp>

#include "DetectionForms.h"
#include "support/MatTools.h"

using namespace korvane_test;

namespace {

int Kept(const FilterForm& form, const cv::Mat& mask, float scale, float areaFraction) {
    cv::Mat filtered = cv::Mat::zeros(mask.size(), CV_8U);
    const cv::Mat before = mask.clone();
    form.run(mask, filtered, scale, areaFraction);
    EXPECT_TRUE(SameMaps(before, mask));
    EXPECT_EQ(cv::countNonZero(filtered == 255), cv::countNonZero(filtered));
    return cv::countNonZero(filtered);
}

cv::Mat Rectangle(int mapWidth, int mapHeight, cv::Rect rectangle) {
    cv::Mat map = cv::Mat::zeros(mapHeight, mapWidth, CV_32F);
    map(rectangle).setTo(cv::Scalar(1.0));
    return map;
}

}  // namespace

class CandidateFilterCases : public ::testing::TestWithParam<FilterForm> {};
INSTANTIATE_TEST_SUITE_P(Forms, CandidateFilterCases, ::testing::ValuesIn(FilterForms()), FormName<FilterForm>);

TEST_P(CandidateFilterCases, AnEmptyMaskYieldsNothing) {
    EXPECT_EQ(Kept(GetParam(), cv::Mat::zeros(9, 7, CV_32F), 1.0f, 0.15f), 0);
}

TEST_P(CandidateFilterCases, ARegionOfJustTheUpperAreaIsKeptAndOneOfAPixelMoreIsDropped) {
    cv::Mat map = Rectangle(80, 50, cv::Rect(4, 4, 50, 25));  // 1250 = 50000 x 0.025
    EXPECT_EQ(Kept(GetParam(), map, 0.025f, 0.0f), 1250);
    map.at<float>(29, 20) = 1.0f;
    EXPECT_EQ(Kept(GetParam(), map, 0.025f, 0.0f), 0);
}

TEST_P(CandidateFilterCases, ADiscPassesAndALineDoesNot) {
    cv::Mat map = Rectangle(120, 60, cv::Rect(60, 30, 50, 1));
    EXPECT_EQ(Kept(GetParam(), map, 1.0f, 0.15f), 0);
    cv::Mat disc = cv::Mat::zeros(60, 120, CV_32F);
    PaintDisc(disc, 30.0, 30.0, 20.0, 1.0f);
    const int area = cv::countNonZero(disc);
    EXPECT_EQ(Kept(GetParam(), disc, 1.0f, 0.15f), area);
    EXPECT_EQ(Kept(GetParam(), cv::max(map, disc), 1.0f, 0.15f), area) << "each region is judged alone";
}

TEST_P(CandidateFilterCases, RegionsThatTouchAtACornerAreOneRegion) {
    // 2 x 600 pixels are allowed alone, 1200 together are not (limit 1000).
    cv::Mat map = Rectangle(80, 60, cv::Rect(2, 2, 30, 20));
    map(cv::Rect(32, 22, 30, 20)).setTo(cv::Scalar(1.0));
    EXPECT_EQ(Kept(GetParam(), map, 0.02f, 0.0f), 0);
    map = Rectangle(80, 60, cv::Rect(2, 2, 30, 20));
    map(cv::Rect(33, 22, 30, 20)).setTo(cv::Scalar(1.0));
    EXPECT_EQ(Kept(GetParam(), map, 0.02f, 0.0f), 1200);
}

TEST_P(CandidateFilterCases, AnEvenOpeningSizeBecomesTheNextOddOne) {
    // The scale asks for 8 and the area for 2 x 5 = 10. A region of the shape of a 10 x 10 element would outlive that
    // one whole, but nothing of it outlives 11 x 11; one of the shape of that element does.
    for (const int size : {10, 11}) {
        cv::Mat map = cv::Mat::zeros(40, 40, CV_32F);
        const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size));
        map(cv::Rect(10, 10, size, size)).setTo(cv::Scalar(1.0), element);
        const int area = cv::countNonZero(element);
        ASSERT_EQ(static_cast<int>(std::sqrt(area) / 1.7724), 5);
        EXPECT_EQ(Kept(GetParam(), map, 0.73f, 1.0f), size == 10 ? 0 : area);
    }
}

TEST_P(CandidateFilterCases, NinetyPercentMustSurviveTheOpening) {
    // A 3 x 3 cross opens a 10 x n block to all but its corners and keeps nothing of a tail one pixel wide.
    cv::Mat map = Rectangle(60, 60, cv::Rect(10, 10, 10, 10));
    map(cv::Rect(20, 15, 6, 1)).setTo(cv::Scalar(1.0));
    EXPECT_EQ(Kept(GetParam(), map, 0.28f, 0.0f), 106);
    map(cv::Rect(20, 15, 8, 1)).setTo(cv::Scalar(1.0));
    EXPECT_EQ(Kept(GetParam(), map, 0.28f, 0.0f), 0);
}

TEST_P(CandidateFilterCases, TheOpeningIsTwiceTheAreaFractionOfARadiusThatTakes1point7724ForTheRootOfPi) {
    // A bar nine pixels high outlives an opening by 9 x 9 and not one by 11 x 11. Its radius is 13.11099, and 13.11059
    // with the root of pi itself, which the second fraction would take to just below 5.
    const cv::Mat bar = Rectangle(80, 30, cv::Rect(8, 8, 60, 9));
    EXPECT_EQ(Kept(GetParam(), bar, 0.5f, 0.38135f), 540);
    EXPECT_EQ(Kept(GetParam(), bar, 0.5f, 0.381366f), 0);
}

TEST_P(CandidateFilterCases, WithoutAnAreaFractionTheOpeningIsElevenTimesTheScale) {
    const cv::Mat bar = Rectangle(220, 40, cv::Rect(8, 8, 200, 10));
    EXPECT_EQ(Kept(GetParam(), bar, 0.9f, 0.0f), 2000) << "9";
    EXPECT_EQ(Kept(GetParam(), bar, 0.91f, 0.0f), 0) << "10, made 11";
}
