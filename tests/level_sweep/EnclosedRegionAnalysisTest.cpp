#include "EnclosedRegionAnalysis.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "WordParts.h"
#include "reference/CodeMaps.h"
#include "reference/PlainComponentSweep.h"
#include "support/EdgeMaps.h"

namespace {

using korvane_reference::CodePlane;
using korvane_reference::PixelCode;
using level_sweep::PixelRun;

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

cv::Mat FloatsOf(cv::Mat& codes) {
    cv::Mat floats;
    codes.convertTo(floats, CV_32F);
    return floats;
}

bool Equal(cv::Mat& codes, const cv::Mat& plain) { return cv::countNonZero(FloatsOf(codes) != plain) == 0; }

CodePlane PlaneOf(cv::Mat& codes) { return {codes.ptr(), codes.cols, codes.cols, codes.rows}; }

/// Background in irregular lines, all else open.
cv::Mat RandomMap(std::mt19937& random, cv::Size size) {
    const cv::Mat noise = korvane_test::NoisePicture(size.width, size.height, 0.25 * Between(random, 1, 8),
                                                     static_cast<std::uint32_t>(random()));
    const double share = 0.05 * Between(random, 6, 13);
    cv::Mat codes(size, CV_8U, cv::Scalar(korvane_reference::kOpen));
    codes.setTo(korvane_reference::kBackground, noise < share);
    return codes;
}

level_sweep::BitPlane BackgroundOf(const cv::Mat& codes) {
    level_sweep::BitPlane background(codes.cols, codes.rows);
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            if (codes.at<uchar>(y, x) == korvane_reference::kBackground) background.Add(x, y);
        }
    }
    return background;
}

int LongBranchPx(float scale) { return static_cast<int>(15.0f * scale); }

/// Analyses the component of (x, y) in both forms.
void Analyse(cv::Mat& codes, cv::Mat& candidates, cv::Mat& plainCodes, cv::Mat& plainCandidates,
             level_sweep::EnclosedRegionAnalysis& analysis, int x, int y, float scale) {
    korvane_reference::RunFlood flood;
    std::vector<PixelRun> component;
    flood.Fill(PlaneOf(codes), x, y, korvane_reference::kAnalysed, korvane_reference::Connectivity::k4, component);
    for (const PixelRun& run : component) {
        for (int u = run.x0; u <= run.x1; ++u) plainCodes.at<float>(run.y, u) = 2.0f;
    }
    analysis.Analyse(korvane_test::PartsOf(codes.cols, codes.rows, component));
    if (codes.total() <= 4096) analysis.CheckInvariants();
    for (int v = 0; v < codes.rows; ++v) {
        for (int u = 0; u < codes.cols; ++u) {
            const auto bit = level_sweep::BitGrid::Bit(u);
            uchar& code = codes.at<uchar>(v, u);
            code = (analysis.BackgroundIn(u / 64, v) & bit) != 0 ? korvane_reference::kBackground : code;
            code = (analysis.TouchedIn(u / 64, v) & bit) != 0 ? korvane_reference::kTouched : code;
            const bool isCandidate = (analysis.CandidatesIn(u / 64, v) & bit) != 0;
            const bool isRing = (analysis.RingsIn(u / 64, v) & bit) != 0;
            ASSERT_FALSE(isCandidate && isRing);
            candidates.at<uchar>(v, u) = isRing ? korvane_reference::kRing : isCandidate ? korvane_reference::kCandidate : korvane_reference::kFree;
        }
    }
    korvane_reference::PlainEnclosedRegionAnalysis(plainCodes, {1, x, y}, plainCandidates, scale);
}

TEST(EnclosedRegionAnalysis, BothMapsEqualThePlainFormComponentByComponent) {
    for (std::uint32_t seed = 1; seed <= 1500; ++seed) {
        std::mt19937 random(seed);
        // One in fifteen reaches over several of the tiles in which the network is kept.
        const int largest = seed % 15 == 0 ? 200 : 40;
        cv::Mat codes = RandomMap(random, cv::Size(Between(random, 3, largest), Between(random, 3, largest)));
        constexpr std::array<float, 3> scales{0.05f, 0.2f, 0.5f};
        const float scale = scales[static_cast<std::size_t>(Between(random, 0, 2))];
        cv::Mat candidates(codes.size(), CV_8U, cv::Scalar(korvane_reference::kFree));
        cv::Mat plainCodes = FloatsOf(codes);
        cv::Mat plainCandidates = FloatsOf(candidates);
        level_sweep::EnclosedRegionAnalysis analysis(BackgroundOf(codes), LongBranchPx(scale));
        for (int tries = 0; tries < 10; ++tries) {
            const int x = Between(random, 0, codes.cols - 1);
            const int y = Between(random, 0, codes.rows - 1);
            if (codes.at<uchar>(y, x) != korvane_reference::kOpen) continue;
            Analyse(codes, candidates, plainCodes, plainCandidates, analysis, x, y, scale);
            ASSERT_TRUE(Equal(codes, plainCodes)) << "component map, seed " << seed << ", try " << tries;
            ASSERT_TRUE(Equal(candidates, plainCandidates)) << "candidates, seed " << seed << ", try " << tries;
        }
    }
}

/// Background all over, but for discs that are open and lines that are.
cv::Mat ThickMap(std::mt19937& random, cv::Size size) {
    cv::Mat codes(size, CV_8U, cv::Scalar(korvane_reference::kBackground));
    const auto anywhere = [&] {
        return cv::Point(Between(random, 0, size.width - 1), Between(random, 0, size.height - 1));
    };
    for (int i = Between(random, 1, 9); i > 0; --i) {
        cv::circle(codes, anywhere(), Between(random, 0, 25), cv::Scalar(korvane_reference::kOpen), cv::FILLED);
    }
    for (int i = Between(random, 0, 3); i > 0; --i) {
        cv::line(codes, anywhere(), anywhere(), cv::Scalar(korvane_reference::kOpen), Between(random, 1, 3));
    }
    return codes;
}

// Their insides are further from their borders than a tile is wide.
TEST(EnclosedRegionAnalysis, BothMapsEqualThePlainFormWhereNetworksAreThick) {
    for (std::uint32_t seed = 1; seed <= 3; ++seed) {
        std::mt19937 random(seed);
        cv::Mat codes = ThickMap(random, cv::Size(Between(random, 130, 330), Between(random, 130, 330)));
        constexpr std::array<float, 3> scales{0.05f, 0.5f, 2.0f};
        const float scale = scales[static_cast<std::size_t>(Between(random, 0, 2))];
        cv::Mat candidates(codes.size(), CV_8U, cv::Scalar(korvane_reference::kFree));
        cv::Mat plainCodes = FloatsOf(codes);
        cv::Mat plainCandidates = FloatsOf(candidates);
        level_sweep::EnclosedRegionAnalysis analysis(BackgroundOf(codes), LongBranchPx(scale));
        for (int y = 0, left = 7; y < codes.rows && left > 0; y += Between(random, 1, 9)) {
            for (int x = 0; x < codes.cols && left > 0; x += Between(random, 1, 9)) {
                if (codes.at<uchar>(y, x) != korvane_reference::kOpen) continue;
                Analyse(codes, candidates, plainCodes, plainCandidates, analysis, x, y, scale);
                ASSERT_TRUE(Equal(codes, plainCodes)) << "component map, seed " << seed << ", left " << left;
                ASSERT_TRUE(Equal(candidates, plainCandidates)) << "candidates, seed " << seed << ", left " << left;
                --left;
            }
        }
    }
}

cv::Mat MapOf(const std::vector<std::string>& rows) {
    cv::Mat codes(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()), CV_8U);
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            codes.at<uchar>(y, x) =
                static_cast<uchar>(rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] - '0');
        }
    }
    return codes;
}

std::vector<std::string> RowsOf(const cv::Mat& codes) {
    std::vector<std::string> rows(static_cast<std::size_t>(codes.rows));
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            rows[static_cast<std::size_t>(y)] += static_cast<char>('0' + codes.at<uchar>(y, x));
        }
    }
    return rows;
}

TEST(EnclosedRegionAnalysis, WhatAForkCountsWithoutAnEndClearsRowZeroColumnZero) {
    cv::Mat codes = MapOf({"01111", "00101", "00100", "01000", "00100"});
    cv::Mat candidates(codes.size(), CV_8U, cv::Scalar(korvane_reference::kFree));
    cv::Mat plainCodes = FloatsOf(codes);
    cv::Mat plainCandidates = FloatsOf(candidates);
    level_sweep::EnclosedRegionAnalysis analysis(BackgroundOf(codes), LongBranchPx(0.05f));
    Analyse(codes, candidates, plainCodes, plainCandidates, analysis, 4, 1, 0.05f);
    EXPECT_TRUE(Equal(codes, plainCodes));
    EXPECT_EQ(RowsOf(codes), (std::vector<std::string>{"02222", "03202", "33203", "31333", "33133"}));
}

TEST(EnclosedRegionAnalysis, ALaterRingCoversCandidatesOfBefore) {
    // The outer component's fill has the inner one as a hole; the inner one's ring is written over it.
    cv::Mat codes = MapOf({"11111111111", "10000000001", "10111111101", "10111111101", "10110001101", "10110101101",
                           "10110001101", "10111111101", "10111111101", "10000000001", "11111111111"});
    cv::Mat candidates(codes.size(), CV_8U, cv::Scalar(korvane_reference::kFree));
    cv::Mat plainCodes = FloatsOf(codes);
    cv::Mat plainCandidates = FloatsOf(candidates);
    level_sweep::EnclosedRegionAnalysis analysis(BackgroundOf(codes), LongBranchPx(1.0f));
    Analyse(codes, candidates, plainCodes, plainCandidates, analysis, 2, 2, 1.0f);
    EXPECT_TRUE(Equal(candidates, plainCandidates));
    EXPECT_EQ(candidates.at<uchar>(4, 5), korvane_reference::kCandidate);
    Analyse(codes, candidates, plainCodes, plainCandidates, analysis, 5, 5, 1.0f);
    EXPECT_TRUE(Equal(candidates, plainCandidates));
    EXPECT_EQ(candidates.at<uchar>(4, 5), korvane_reference::kRing);
    EXPECT_EQ(candidates.at<uchar>(5, 5), korvane_reference::kCandidate);
}

}  // namespace
