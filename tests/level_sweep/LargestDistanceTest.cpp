#include "distance/LargestDistance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "ChangingSets.h"

namespace {

using korvane_test::Between;
using korvane_test::ChangeByDiscs;
using korvane_test::ChangeTo;
using korvane_test::RandomSet;

/// Some of the pixels of a set, tile by tile.
class Parts {
public:
    Parts(const level_sweep::LargestDistance& distance, const cv::Mat& chosen) {
        for (int y = 0; y < chosen.rows; ++y) {
            for (int x = 0; x < chosen.cols; ++x) {
                if (chosen.at<uchar>(y, x) != 0) {
                    rows_[distance.TileAt(x, y)][static_cast<std::size_t>(y % 64)] |= level_sweep::BitGrid::Bit(x);
                }
            }
        }
    }
    std::vector<level_sweep::LargestDistance::Part> All() const {
        std::vector<level_sweep::LargestDistance::Part> parts;
        for (const auto& [tile, rows] : rows_) parts.push_back({tile, rows.data()});
        return parts;
    }

private:
    std::map<std::int32_t, std::array<level_sweep::BitGrid::Word, 64>> rows_;
};

/// Some of the parts that hang together by sides, each in one of `chances` cases.
cv::Mat SomeOf(std::mt19937& random, const cv::Mat& set, int chances) {
    cv::Mat numbers;
    const int count = cv::connectedComponents(set > 0.0f, numbers, 4, CV_32S);
    std::vector<uchar> isChosen(static_cast<std::size_t>(count), 0);
    for (std::size_t i = 1; i < isChosen.size(); ++i) isChosen[i] = Between(random, 1, chances) == 1 ? 255 : 0;
    cv::Mat chosen(set.size(), CV_8U);
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            chosen.at<uchar>(y, x) = isChosen[static_cast<std::size_t>(numbers.at<int>(y, x))];
        }
    }
    return chosen;
}

int LargestByTransform(const cv::Mat& set, const cv::Mat& chosen) {
    cv::Mat plain;
    cv::distanceTransform(set > 0.0f, plain, cv::DIST_L1, 3, CV_32F);
    double largest = 0.0;
    if (cv::countNonZero(chosen) > 0) cv::minMaxLoc(plain, nullptr, &largest, nullptr, nullptr, chosen);
    return static_cast<int>(largest);
}

/// The largest found after changes, asked for after some of them only, of all and of a part of the set.
class Follower {
public:
    Follower(std::mt19937& random, cv::Size size)
        : random_(random), distance_(size.width, size.height), known_(cv::Mat::zeros(size, CV_32F)) {}

    void Follow(cv::Mat& wanted) {
        wanted.at<float>(0, 0) = 0.0f;  // with no pixel outside the set there is no distance
        ChangeTo(wanted, known_, distance_);
        for (int asked = Between(random_, 0, 2); asked > 0; --asked) {
            const cv::Mat chosen = SomeOf(random_, wanted, Between(random_, 1, 4));
            const Parts parts(distance_, chosen);
            const int expected = LargestByTransform(wanted, chosen);
            ASSERT_EQ(distance_.Largest(parts.All()), expected);
            distance_.CheckInvariants();
            most_ = std::max(most_, expected);
        }
    }
    int Most() const { return most_; }

private:
    std::mt19937& random_;
    level_sweep::LargestDistance distance_;
    cv::Mat known_;
    int most_ = 0;
};

TEST(LargestDistance, LargestIsThatOfTheWholeSetMeasuredAnewAfterAnyChange) {
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        const cv::Size size(Between(random, 2, 200), Between(random, 1, 200));
        Follower follower(random, size);
        cv::Mat wanted = cv::Mat::zeros(size, CV_32F);
        for (int step = 0; step < 10; ++step) {
            if (step % 5 == 0) wanted = RandomSet(random, size.width, size.height);
            for (int i = Between(random, 0, 3); i > 0; --i) {
                const cv::Point at(Between(random, 0, size.width - 1), Between(random, 0, size.height - 1));
                cv::circle(wanted, at, Between(random, 0, 15), cv::Scalar(Between(random, 0, 1)), cv::FILLED);
            }
            follower.Follow(wanted);
            ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
    }
}

TEST(LargestDistance, LargestIsRightWhereDistancesExceedATile) {
    int most = 0;
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        const cv::Size size(Between(random, 90, 320), Between(random, 90, 320));
        Follower follower(random, size);
        cv::Mat wanted = cv::Mat::ones(size, CV_32F);
        for (int step = 0; step < 20; ++step) {
            ChangeByDiscs(random, wanted);
            follower.Follow(wanted);
            ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
        most = std::max(most, follower.Most());
    }
    EXPECT_GT(most, 200);
}

/// A frame with a wide inside, into which boxes, rings and discs come and go, some of them deep inside.
void ChangeDeepInside(std::mt19937& random, cv::Mat& set) {
    for (int i = Between(random, 1, 2); i > 0; --i) {
        const cv::Point at(Between(random, 0, set.cols - 1), Between(random, 0, set.rows - 1));
        const cv::Point other(Between(random, 0, set.cols - 1), Between(random, 0, set.rows - 1));
        switch (Between(random, 0, 4)) {
            case 0:
                cv::rectangle(set, at, other, cv::Scalar(1), cv::FILLED);
                break;
            case 1:
                cv::rectangle(set, at, other, cv::Scalar(Between(random, 0, 1)));
                break;
            case 2:
                cv::circle(set, at, Between(random, 40, 200), cv::Scalar(Between(random, 0, 1)), Between(random, 1, 4));
                break;
            case 3:
                cv::circle(set, at, Between(random, 40, 200), cv::Scalar(1), cv::FILLED);
                break;
            default:
                cv::circle(set, at, Between(random, 0, 6), cv::Scalar(Between(random, 0, 1)), cv::FILLED);
        }
    }
}

TEST(LargestDistance, LargestIsRightInBoxesAndRingsSeveralTilesDeep) {
    int most = 0;
    for (std::uint32_t seed = 1; seed <= 15; ++seed) {
        std::mt19937 random(seed);
        const cv::Size size(Between(random, 300, 800), Between(random, 130, 600));
        Follower follower(random, size);
        cv::Mat wanted = cv::Mat::ones(size, CV_32F);
        for (int step = 0; step < 25; ++step) {
            ChangeDeepInside(random, wanted);
            follower.Follow(wanted);
            ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
        most = std::max(most, follower.Most());
    }
    EXPECT_GT(most, 400);
}

void ExpectLargest(level_sweep::LargestDistance& distance, const cv::Mat& set, const cv::Mat& chosen, int expected) {
    EXPECT_EQ(LargestByTransform(set, chosen), expected);
    EXPECT_EQ(distance.Largest(Parts(distance, chosen).All()), expected);
    distance.CheckInvariants();
}

TEST(LargestDistance, APixelAddedNextToATileMayMakeADistanceInsideItLarger) {
    cv::Mat set = cv::Mat::zeros(5, 70, CV_32F);
    cv::Mat known = set.clone();
    level_sweep::LargestDistance distance(set.cols, set.rows);
    for (const cv::Point at : {cv::Point(62, 2), cv::Point(63, 2), cv::Point(63, 1), cv::Point(63, 3)}) {
        set.at<float>(at) = 1.0f;
    }
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 1);
    set.at<float>(2, 64) = 1.0f;
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 2);
}

// The pixel added is two tiles away from the one with the largest distance, and that tile holds a second part of the
// set, so that what is found out about it without that part does not hold for the whole tile.
TEST(LargestDistance, APixelAddedFarFromATileMayMakeADistanceInsideItLarger) {
    cv::Mat set = cv::Mat::zeros(200, 320, CV_32F);
    set(cv::Rect(6, 0, 243, 130)) = 1.0f;
    set.col(244) = 0.0f;
    set(cv::Rect(63, 62, 3, 3)) = 0.0f;
    set.at<float>(63, 64) = 1.0f;
    cv::Mat known = cv::Mat::zeros(set.size(), CV_32F);
    level_sweep::LargestDistance distance(set.cols, set.rows);
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 119);
    set(cv::Rect(244, 0, 1, 130)) = 1.0f;
    ChangeTo(set, known, distance);
    cv::Mat withoutSecond = set > 0.0f;
    withoutSecond.at<uchar>(63, 64) = 0;
    ExpectLargest(distance, set, withoutSecond, 122);
    ExpectLargest(distance, set, set > 0.0f, 122);
    // The bound of the whole tile is known by now, and larger than what is looked at around a tile for a part of it.
    ExpectLargest(distance, set, withoutSecond, 122);
}

// The middle of a wide box is outside the set, and then joins it: the distances of the tiles around grow by as much as
// the distance of the pixel that joined.
TEST(LargestDistance, APixelThatJoinsDeepInsideTheSetMakesDistancesLargerSeveralTilesAway) {
    cv::Mat set = cv::Mat::zeros(641, 641, CV_32F);
    set(cv::Rect(1, 1, 639, 639)) = 1.0f;
    set.at<float>(320, 320) = 0.0f;
    cv::Mat known = cv::Mat::zeros(set.size(), CV_32F);
    level_sweep::LargestDistance distance(set.cols, set.rows);
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 213);
    set.at<float>(320, 320) = 1.0f;
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 320);
    set.at<float>(320, 400) = 0.0f;
    ChangeTo(set, known, distance);
    ExpectLargest(distance, set, set > 0.0f, 240);
}

TEST(LargestDistance, NothingAskedForHasNoDistance) {
    level_sweep::LargestDistance distance(70, 70);
    distance.Add(0, 7);
    EXPECT_EQ(distance.Largest({}), 0);
}

}  // namespace
