#include <cstdint>
#include <random>
#include <utility>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "ClusterSeparation.h"
#include "reference/PlainClusterSeparation.h"
#include "support/MaskPictures.h"

namespace {

void ExpectSameAsPlain(const cv::Mat& filtered, float scale) {
    const cv::Mat before = filtered.clone();
    const cv::Mat expected = korvane_reference::PlainSeparateClusters(filtered, scale);
    const cv::Mat actual = Korvane::SeparateClusters(filtered, scale);
    ASSERT_EQ(korvane_test::DifferingElements(expected, actual), 0)
        << filtered.cols << " x " << filtered.rows << ", scale " << scale;
    ASSERT_EQ(korvane_test::DifferingElements(before, filtered), 0) << "the input was changed";
}

cv::Mat Filtered(const cv::Mat& mask) {
    cv::Mat filtered;
    mask.convertTo(filtered, CV_8UC1, 255.0);
    return filtered;
}

TEST(ClusterSeparationDifferential, EqualsThePlainFormOnThousandsOfSmallPictures) {
    constexpr float kScales[] = {0.05f, 0.5f, 0.999f, 1.0f, 1.5f, 2.0f};
    for (unsigned seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const cv::Mat mask = korvane_test::RandomMask(random, seed % 20 == 0 ? 60 : 26);
        ExpectSameAsPlain(Filtered(mask), kScales[random() % 6]);
        if (HasFatalFailure()) return;
    }
}

TEST(ClusterSeparationDifferential, EqualsThePlainFormOnClustersOfDiscs) {
    for (unsigned seed = 0; seed < 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        cv::Mat filtered = cv::Mat::zeros(64, 70, CV_8UC1);
        for (int disc = 0; disc < 6; ++disc) {
            const int cx = static_cast<int>(random() % 70);
            const int cy = static_cast<int>(random() % 64);
            const int r = 4 + static_cast<int>(random() % 12);
            for (int y = 0; y < 64; ++y) {
                for (int x = 0; x < 70; ++x) {
                    if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) filtered.at<std::uint8_t>(y, x) = 255;
                }
            }
        }
        ExpectSameAsPlain(filtered, 1.0f);
        if (HasFatalFailure()) return;
    }
}

TEST(ClusterSeparationDifferential, EqualsThePlainFormOnEmptyFullAndSingleLinePictures) {
    for (const int side : {1, 2, 3, 9, 30}) {
        for (const float scale : {0.05f, 1.0f, 2.0f}) {
            ExpectSameAsPlain(cv::Mat::zeros(side, side, CV_8UC1), scale);
            ExpectSameAsPlain(cv::Mat(side, side, CV_8UC1, cv::Scalar(255)), scale);
            ExpectSameAsPlain(cv::Mat(1, side, CV_8UC1, cv::Scalar(255)), scale);
            cv::Mat oneHole(side, side, CV_8UC1, cv::Scalar(255));
            oneHole.at<std::uint8_t>(0, side - 1) = 0;
            ExpectSameAsPlain(oneHole, scale);
        }
    }
}

TEST(ClusterSeparationDifferential, EqualsThePlainFormWhereALineLeadsToTheRightAndUpIntoALobe) {
    // From a large disc to a small one; only the first pixel of each level piece can raise what follows.
    cv::Mat filtered = cv::Mat::zeros(30, 48, CV_8UC1);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 48; ++x) {
            const bool isLarge = (x - 10) * (x - 10) + (y - 18) * (y - 18) <= 49;
            const bool isSmall = (x - 33) * (x - 33) + (y - 8) * (y - 8) <= 10;
            if (isLarge || isSmall) filtered.at<std::uint8_t>(y, x) = 255;
        }
    }
    for (const auto& [x, y] : {std::pair{11, 10}, {12, 10}, {13, 9}, {14, 8}}) filtered.at<std::uint8_t>(y, x) = 255;
    filtered.row(8).colRange(14, 33).setTo(255);
    ExpectSameAsPlain(filtered, 1.0f);
}

TEST(ClusterSeparationDifferential, EqualsThePlainFormBeyond4096Columns) {
    cv::Mat filtered = cv::Mat::zeros(3, 4400, CV_8UC1);
    filtered(cv::Rect(30, 0, 4300, 3)).setTo(255);
    filtered.at<std::uint8_t>(1, 4200) = 0;
    ExpectSameAsPlain(filtered, 1.0f);
}

}  // namespace
