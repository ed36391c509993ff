#include <random>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "CandidateFilter.h"
#include "reference/PlainCandidateFilter.h"
#include "support/MaskPictures.h"

namespace {

void ExpectSameAsPlain(const cv::Mat& mask, float scale, float areaFraction) {
    cv::Mat expected = cv::Mat::zeros(mask.size(), CV_8UC1);
    cv::Mat actual = cv::Mat::zeros(mask.size(), CV_8UC1);
    korvane_reference::PlainFilterCandidates(mask.clone(), expected, scale, areaFraction);
    Korvane::FilterCandidates(mask, actual, scale, areaFraction);
    ASSERT_EQ(korvane_test::DifferingElements(expected, actual), 0)
        << mask.cols << " x " << mask.rows << ", scale " << scale << ", area fraction " << areaFraction;
}

TEST(CandidateFilterDifferential, EqualsThePlainFormOnThousandsOfSmallPictures) {
    constexpr float kScales[] = {0.05f, 0.1f, 0.25f, 0.5f, 1.0f, 1.5f, 2.0f};
    constexpr float kFractions[] = {0.0f, 0.15f, 0.5f, 1.0f};
    for (unsigned seed = 0; seed < 4000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const cv::Mat mask = korvane_test::RandomMask(random, seed % 10 == 0 ? 90 : 36);
        ExpectSameAsPlain(mask, kScales[random() % 7], kFractions[random() % 4]);
        if (HasFatalFailure()) return;
    }
}

TEST(CandidateFilterDifferential, EqualsThePlainFormWhenRegionsTouchEveryBorder) {
    for (const int side : {1, 2, 3, 5, 11, 12, 40}) {
        for (const float scale : {0.05f, 1.0f, 2.0f}) {
            ExpectSameAsPlain(cv::Mat::ones(side, side, CV_32FC1), scale, 1.0f);
            ExpectSameAsPlain(cv::Mat::ones(1, side, CV_32FC1), scale, 0.15f);
            ExpectSameAsPlain(cv::Mat::ones(side, 1, CV_32FC1), scale, 0.0f);
            ExpectSameAsPlain(cv::Mat::zeros(side, side, CV_32FC1), scale, 1.0f);
        }
    }
}

TEST(CandidateFilterDifferential, EqualsThePlainFormOnMasksThatAreNotBinary) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        cv::Mat mask = korvane_test::RandomMask(random, 30);
        for (int i = 0; i < 20; ++i) {
            mask.at<float>(static_cast<int>(random() % static_cast<unsigned>(mask.rows)),
                           static_cast<int>(random() % static_cast<unsigned>(mask.cols))) =
                static_cast<float>(random() % 5) * 0.05f;
        }
        if (seed % 2 == 0) mask *= 0.5;
        ExpectSameAsPlain(mask, 0.1f, 0.15f);
        if (HasFatalFailure()) return;
    }
}

TEST(CandidateFilterDifferential, EqualsThePlainFormBeyond4096Columns) {
    cv::Mat mask = cv::Mat::zeros(40, 5000, CV_32FC1);
    mask(cv::Rect(4000, 5, 60, 30)).setTo(1.0f);
    mask(cv::Rect(4080, 10, 40, 30)).setTo(1.0f);
    mask(cv::Rect(4970, 0, 30, 40)).setTo(1.0f);
    mask(cv::Rect(100, 39, 3000, 1)).setTo(1.0f);
    ExpectSameAsPlain(mask, 1.0f, 0.15f);
    ExpectSameAsPlain(mask, 0.3f, 1.0f);
}

TEST(CandidateFilterDifferential, EqualsThePlainFormAtTheAreaLimit) {
    for (const int extra : {-1, 0, 1}) {
        cv::Mat mask = cv::Mat::zeros(60, 60, CV_32FC1);
        mask(cv::Rect(5, 5, 50, 50)).setTo(1.0f);
        if (extra < 0) mask.at<float>(5, 5) = 0.0f;
        if (extra > 0) mask.at<float>(4, 5) = 1.0f;
        ExpectSameAsPlain(mask, 0.05f, 0.15f);
    }
}

}  // namespace
