#include "CandidateDetection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "ToolkitError.h"
#include "reference/PlainCandidateDetection.h"

namespace {

template <typename Work>
std::string MessageOf(Work work) {
    try {
        work();
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "no error";
}

TEST(CandidateDetection, RefusesMapsOfDifferentSizesAndNamesBoth) {
    Korvane::DetectionObserver observer;
    const cv::Mat edges = cv::Mat::zeros(4, 6, CV_32F);
    cv::Mat candidates = cv::Mat::zeros(4, 5, CV_32F);
    EXPECT_EQ(MessageOf([&] { Korvane::DetectCandidates(edges, candidates, 1.0f, 1.0f, observer); }),
              "Candidate detection: the edge map has 6 x 4 pixels, the candidate map 5 x 4");
}

TEST(CandidateDetection, RefusesMapsThatAreNotFloat) {
    Korvane::DetectionObserver observer;
    const cv::Mat edges = cv::Mat::zeros(4, 6, CV_8U);
    cv::Mat candidates = cv::Mat::zeros(4, 6, CV_32F);
    EXPECT_EQ(MessageOf([&] { Korvane::DetectCandidates(edges, candidates, 1.0f, 1.0f, observer); }),
              "Candidate detection: both maps must hold one channel of floats");
}

TEST(CandidateDetection, RefusesMorePixelsThanItCanNumber) {
    Korvane::DetectionObserver observer;
    float none = 0.0f;
    // Headers only: no voxel is looked at.
    const cv::Mat edges(2, 1 << 30, CV_32F, &none);
    cv::Mat candidates(2, 1 << 30, CV_32F, &none);
    EXPECT_EQ(MessageOf([&] { Korvane::DetectCandidates(edges, candidates, 1.0f, 1.0f, observer); }),
              "Candidate detection: a picture of 1073741824 x 2 pixels is too large; at most 2147483583 pixels are "
              "possible");
}

TEST(CandidateDetection, LeavesAnEmptyMapEmpty) {
    Korvane::DetectionObserver observer;
    cv::Mat candidates(0, 0, CV_32F);
    Korvane::DetectCandidates(cv::Mat(0, 0, CV_32F), candidates, 1.0f, 1.0f, observer);
    EXPECT_TRUE(candidates.empty());
}

TEST(CandidateDetection, WorksOnPartsOfLargerMaps) {
    Korvane::DetectionObserver observer;
    cv::Mat wideEdges = cv::Mat::ones(40, 50, CV_32F);
    cv::Mat edges = wideEdges(cv::Rect(5, 5, 30, 30));
    edges = cv::Scalar(0.0);
    cv::Mat wideCandidates(40, 50, CV_32F, cv::Scalar(7.0));
    cv::Mat candidates = wideCandidates(cv::Rect(5, 5, 30, 30));
    candidates = cv::Scalar(0.0);
    Korvane::DetectCandidates(edges, candidates, 1.0f, 1.0f, observer);
    EXPECT_EQ(cv::countNonZero(candidates == 2.0), 900);
    EXPECT_EQ(cv::countNonZero(wideCandidates == 7.0), 2000 - 900);
}

TEST(EdgePercentile, IsThatOfThePlainFormForValuesOfAnyKind) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> special{0.0f,
                                     -0.0f,
                                     1.0f,
                                     std::nextafter(1.0f, 0.0f),
                                     std::nextafter(1.0f, 2.0f),
                                     infinity,
                                     -infinity,
                                     -1.0e-40f,
                                     1.0e-40f,
                                     std::numeric_limits<float>::quiet_NaN(),
                                     3.0e38f,
                                     -3.0e38f};
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        std::mt19937 random(seed);
        cv::Mat edges(1 + static_cast<int>(random() % 20), 1 + static_cast<int>(random() % 600), CV_32F);
        for (int y = 0; y < edges.rows; ++y) {
            for (int x = 0; x < edges.cols; ++x) {
                const auto bin = static_cast<float>(random() % 65537);
                const float value = std::nextafter(bin / 65536.0f, static_cast<float>(random() % 3) - 0.5f);
                edges.at<float>(y, x) = random() % 10 == 0 ? special[random() % special.size()] : value;
            }
        }
        for (const double percentage : {1.0, 50.0, 97.5}) {
            ASSERT_EQ(Korvane::EdgePercentile(edges, static_cast<float>(percentage)),
                      korvane_reference::PlainPercentile(edges, percentage))
                << "seed " << seed << ", " << percentage << " %";
        }
    }
}

TEST(EdgePercentile, IsOneWhereTheLastBinReachesTheTarget) {
    EXPECT_EQ(Korvane::EdgePercentile(cv::Mat::ones(8, 8, CV_32F), 97.5f), 1.0f);
}

TEST(EdgePercentile, IsThreeTenthsWhereValuesWithoutABinKeepTheTargetOutOfReach) {
    cv::Mat edges = cv::Mat::zeros(10, 10, CV_32F);
    edges.row(0) = cv::Scalar(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(Korvane::EdgePercentile(edges, 97.5f), 0.3f);
    edges.row(0) = cv::Scalar(1.5);
    EXPECT_EQ(Korvane::EdgePercentile(edges, 97.5f), 0.3f);
}

TEST(EdgePercentile, CountsNegativeValuesInTheFirstBin) {
    EXPECT_EQ(Korvane::EdgePercentile(cv::Mat(10, 10, CV_32F, cv::Scalar(-3.0)), 97.5f), 1.0f / 65536.0f);
}

}  // namespace
