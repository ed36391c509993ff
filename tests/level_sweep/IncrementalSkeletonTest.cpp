#include "skeleton/IncrementalSkeleton.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>
#include <utility>

#include "ChangingSets.h"
#include "reference/PlainSkeleton.h"

namespace {

using korvane_test::Between;
using korvane_test::ChangeByDiscs;
using korvane_test::ChangeTo;
using korvane_test::RandomSet;

void ExpectLinesOf(const cv::Mat& wanted, const level_sweep::IncrementalSkeleton& skeleton) {
    cv::Mat lines = wanted.clone();
    korvane_reference::PlainThinning(lines);
    for (int y = 0; y < wanted.rows; ++y) {
        for (int x = 0; x < wanted.cols; ++x) {
            ASSERT_EQ(korvane_test::IsLine(skeleton, x, y), lines.at<float>(y, x) == 1.0f)
                << "column " << x << ", row " << y;
        }
    }
}

TEST(ThinningHistory, TellsWhatRemainsInEveryBlock) {
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{64, 8}, std::pair{130, 21}}) {
        level_sweep::ThinningHistory history(width, height);
        cv::Mat known = cv::Mat::zeros(height, width, CV_32F);
        cv::Mat lines = RandomSet(random, width, height);
        ChangeTo(lines, known, history);
        history.Update([](int, int, const level_sweep::PixelBlock&) {});
        korvane_reference::PlainThinning(lines);
        int pixels = 0;
        history.ForEachRemaining([&](int left, int top, const level_sweep::PixelBlock& remaining) {
            for (int y = top; y < std::min(top + level_sweep::kBlockRows, height); ++y) {
                const auto row = remaining[static_cast<std::size_t>(y - top)];
                for (int x = left; x < std::min(left + 64, width); ++x) {
                    ++pixels;
                    ASSERT_EQ((row & level_sweep::ColumnGrid::Bit(x)) != 0, lines.at<float>(y, x) == 1.0f)
                        << "column " << x << ", row " << y;
                }
            }
        });
        EXPECT_EQ(pixels, width * height);
    }
}

TEST(IncrementalSkeleton, LinesAreThoseOfThinningTheWholeSetAfterAnyChange) {
    for (std::uint32_t seed = 1; seed <= 120; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 1, 200);
        const int height = Between(random, 1, 60);
        level_sweep::IncrementalSkeleton skeleton(width, height);
        cv::Mat known = cv::Mat::zeros(height, width, CV_32F);
        for (int step = 0; step < 8; ++step) {
            cv::Mat wanted = step % 3 == 0 ? RandomSet(random, width, height) : known.clone();
            for (int i = Between(random, 0, 6); i > 0; --i) {
                const cv::Point at(Between(random, 0, width - 1), Between(random, 0, height - 1));
                cv::circle(wanted, at, Between(random, 0, 5), cv::Scalar(Between(random, 0, 1)), cv::FILLED);
            }
            ChangeTo(wanted, known, skeleton);
            skeleton.Update();
            skeleton.CheckInvariants();
            korvane_reference::PlainThinning(wanted);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    ASSERT_EQ(korvane_test::IsLine(skeleton, x, y), wanted.at<float>(y, x) == 1.0f)
                        << "seed " << seed << ", step " << step << ", column " << x << ", row " << y;
                }
            }
        }
    }
}

// Single pixels in thick sets: what they change is far from where thinning still goes on, or just about near enough.
TEST(IncrementalSkeleton, LinesAreThoseOfThinningTheWholeSetAfterChangesOfSinglePixels) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 60, 100);
        const int height = Between(random, 8, 30);
        level_sweep::IncrementalSkeleton skeleton(width, height);
        cv::Mat known = cv::Mat::zeros(height, width, CV_32F);
        cv::Mat wanted(height, width, CV_32F);
        const int pixelsPerHole = Between(random, 10, 200);
        for (float& pixel : cv::Mat_<float>(wanted)) pixel = Between(random, 1, pixelsPerHole) == 1 ? 0.0f : 1.0f;
        for (int step = 0; step < 40; ++step) {
            for (int i = Between(random, 1, 3); i > 0; --i) {
                // Mostly where four words meet that are kept apart.
                const bool isAtCorner = Between(random, 0, 2) != 0;
                const int x = isAtCorner ? 64 + Between(random, -4, 3) : Between(random, 0, width - 1);
                const int y = isAtCorner ? 8 + Between(random, -4, 3) : Between(random, 0, height - 1);
                float& pixel = wanted.at<float>(std::min(y, height - 1), std::min(x, width - 1));
                pixel = 1.0f - pixel;
            }
            ChangeTo(wanted, known, skeleton);
            skeleton.Update();
            skeleton.CheckInvariants();
            cv::Mat lines = wanted.clone();
            korvane_reference::PlainThinning(lines);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    ASSERT_EQ(korvane_test::IsLine(skeleton, x, y), lines.at<float>(y, x) == 1.0f)
                        << "seed " << seed << ", step " << step << ", column " << x << ", row " << y;
                }
            }
        }
    }
}

// What is taken in the strip across a corner, or three pixels away, hardly ever is all that happens near a change.
// Found among 150,000 sets: of the first three, the next one, the next two and the two after these, each misses a
// different corner if it is not looked at, and the last three what is three pixels away.
TEST(IncrementalSkeleton, LinesAreThoseOfThinningTheWholeSetWherePixelsAreTakenJustNearEnough) {
    for (const std::uint32_t seed : {73u, 16398u, 19059u, 9195u, 2889u, 8995u, 844u, 4141u, 37248u, 53910u, 59570u}) {
        std::mt19937 random(seed);
        cv::Mat wanted = cv::Mat::zeros(24, 128, CV_32F);
        const cv::Point corner(64, 8);
        const int reach = Between(random, 3, 8);
        const int pixelsPerHole = Between(random, 2, 20);
        cv::Mat part = wanted(cv::Rect(corner.x - reach, corner.y - reach, 2 * reach, 2 * reach));
        for (float& pixel : cv::Mat_<float>(part)) pixel = Between(random, 1, pixelsPerHole) == 1 ? 0.0f : 1.0f;
        cv::Mat known = cv::Mat::zeros(wanted.size(), CV_32F);
        level_sweep::IncrementalSkeleton skeleton(wanted.cols, wanted.rows);
        for (int step = 0; step < 5; ++step) {
            ChangeTo(wanted, known, skeleton);
            skeleton.Update();
            skeleton.CheckInvariants();
            ASSERT_NO_FATAL_FAILURE(ExpectLinesOf(wanted, skeleton)) << "seed " << seed << ", step " << step;
            const int x = corner.x + Between(random, -3, 2);
            const int y = corner.y + Between(random, -3, 2);
            wanted.at<float>(y, x) = 1.0f - wanted.at<float>(y, x);
        }
    }
}

TEST(IncrementalSkeleton, LinesAreThoseOfThinningAWideSetAfterAnyChange) {
    int mostSteps = 0;
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        std::mt19937 random(seed);
        cv::Mat wanted = cv::Mat::ones(Between(random, 90, 220), Between(random, 90, 220), CV_32F);
        level_sweep::IncrementalSkeleton skeleton(wanted.cols, wanted.rows);
        cv::Mat known = cv::Mat::zeros(wanted.size(), CV_32F);
        for (int step = 0; step < 12; ++step) {
            ChangeByDiscs(random, wanted);
            ChangeTo(wanted, known, skeleton);
            skeleton.Update();
            skeleton.CheckInvariants();
            cv::Mat plain;
            cv::distanceTransform(wanted > 0.0f, plain, cv::DIST_L1, 3, CV_32F);
            double largest = 0.0;
            cv::minMaxLoc(plain, nullptr, &largest);
            mostSteps = std::max(mostSteps, static_cast<int>(largest));
            ASSERT_NO_FATAL_FAILURE(ExpectLinesOf(wanted, skeleton)) << "seed " << seed << ", step " << step;
        }
    }
    EXPECT_GT(mostSteps, 100);
}

TEST(IncrementalSkeleton, EndsAreTheLinePixelsWithOneNeighbourOffTheBorder) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 1, 150);
        const int height = Between(random, 1, 40);
        level_sweep::IncrementalSkeleton skeleton(width, height);
        cv::Mat known = cv::Mat::zeros(height, width, CV_32F);
        for (int step = 0; step < 4; ++step) {
            ChangeTo(RandomSet(random, width, height), known, skeleton);
            skeleton.Update();
            skeleton.CheckInvariants();
            cv::Mat lines = known.clone();
            korvane_reference::PlainThinning(lines);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const bool isInside = x > 0 && x + 1 < width && y > 0 && y + 1 < height;
                    const bool expected = isInside && lines.at<float>(y, x) == 1.0f &&
                                          cv::sum(lines(cv::Rect(x - 1, y - 1, 3, 3)))[0] == 2.0;
                    ASSERT_EQ(korvane_test::IsEnd(skeleton, x, y), expected)
                        << "seed " << seed << ", step " << step << ", column " << x << ", row " << y;
                }
            }
        }
    }
}

}  // namespace
