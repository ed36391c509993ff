#include "distance/TileDistances.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>

#include "ChangingSets.h"
#include "reference/PlainCityBlockDistances.h"

namespace {

using korvane_test::Between;
using level_sweep::TiledSet;
using level_sweep::TileDistances;
using level_sweep::Word;

TiledSet TiledFrom(const cv::Mat& set) {
    TiledSet tiled(set.cols, set.rows);
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            if (set.at<float>(y, x) != 0.0f) {
                tiled.RowsOf(tiled.TileAt(x, y))[y % TiledSet::kSide] |= level_sweep::BitGrid::Bit(x);
            }
        }
    }
    return tiled;
}

/// Largest by the plain distances of the pixels of a tile that are in `rows`.
int LargestOf(const cv::Mat& distances, const TiledSet& tiled, std::int32_t tile, const Word* rows) {
    const level_sweep::PixelPosition origin = tiled.OriginOf(tile);
    int largest = 0;
    for (int y = 0; y < tiled.RowsInside(tile); ++y) {
        level_sweep::ForEachBit(rows[y], [&](std::size_t x) {
            largest = std::max(largest, distances.at<int>(origin.y + y, origin.x + static_cast<int>(x)));
        });
    }
    return largest;
}

/// Each tile's bound, its largest distance, and every single distance. Returns the largest of all.
int ExpectDistances(const cv::Mat& set) {
    const TiledSet tiled = TiledFrom(set);
    const cv::Mat plain = korvane_reference::PlainCityBlockDistances(set);
    int most = 0;
    for (std::int32_t tile = 0; tile < tiled.Tiles(); ++tile) {
        const int expected = LargestOf(plain, tiled, tile, tiled.RowsOf(tile));
        TileDistances distances(tiled, tile);
        EXPECT_GE(distances.Bound(), expected);
        distances.Find();
        EXPECT_EQ(distances.LargestOf(tiled.RowsOf(tile)), expected);
        for (int y = 0; y < tiled.RowsInside(tile); ++y) {
            for (Word left = tiled.RowsOf(tile)[y]; left != 0; left &= left - 1) {
                Word one[TiledSet::kSide] = {};
                one[y] = left & -left;
                const int ofPixel = LargestOf(plain, tiled, tile, one);
                if (distances.LargestOf(one) != ofPixel) {
                    ADD_FAILURE() << "tile " << tile << ", row " << y << ", bits " << one[y];
                    return most;
                }
            }
        }
        most = std::max(most, expected);
    }
    return most;
}

/// All set but for some holes: single pixels, discs, rings, lines and boxes.
cv::Mat SetWithHoles(std::mt19937& random, cv::Size size) {
    cv::Mat set = cv::Mat::ones(size, CV_32F);
    for (int i = Between(random, 1, 5); i > 0; --i) {
        const cv::Point at(Between(random, 0, size.width - 1), Between(random, 0, size.height - 1));
        const cv::Point other(Between(random, 0, size.width - 1), Between(random, 0, size.height - 1));
        const cv::Scalar value(Between(random, 0, 4) == 0 ? 1 : 0);
        switch (Between(random, 0, 4)) {
            case 0:
                set.at<float>(at) = 0.0f;
                break;
            case 1:
                cv::circle(set, at, Between(random, 1, 130), value, cv::FILLED);
                break;
            case 2:
                cv::circle(set, at, Between(random, 20, 260), value, Between(random, 1, 3));
                break;
            case 3:
                cv::line(set, at, other, value);
                break;
            default:
                cv::rectangle(set, at, other, value, Between(random, 0, 2) == 0 ? cv::FILLED : 1);
        }
    }
    set.at<float>(Between(random, 0, size.height - 1), Between(random, 0, size.width - 1)) = 0.0f;
    return set;
}

TEST(TileDistances, AllDistancesAreThoseOfThePlainFormInLargeBoxesRingsAndDiscs) {
    int most = 0;
    for (std::uint32_t seed = 1; seed <= 30; ++seed) {
        std::mt19937 random(seed);
        const cv::Size size(Between(random, 1, 4) * 64 + Between(random, -63, 64), Between(random, 1, 330));
        most = std::max(most, ExpectDistances(SetWithHoles(random, size)));
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
    EXPECT_GT(most, 300);
}

TEST(TileDistances, AllDistancesAreThoseOfThePlainFormInRandomSets) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        const cv::Size size(Between(random, 2, 200), Between(random, 1, 200));
        ExpectDistances(korvane_test::RandomSet(random, size.width, size.height));
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

// One pixel outside the set in each of the eight directions, one to five tiles away.
TEST(TileDistances, ASinglePixelOutsideTheSetIsFoundFromEveryTile) {
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        std::mt19937 random(seed);
        cv::Mat set = cv::Mat::ones(Between(random, 100, 350), Between(random, 100, 350), CV_32F);
        set.at<float>(Between(random, 0, set.rows - 1), Between(random, 0, set.cols - 1)) = 0.0f;
        ExpectDistances(set);
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

TEST(TileDistances, WithoutAPixelOutsideTheSetEveryDistanceIsWidthPlusHeight) {
    const cv::Mat set = cv::Mat::ones(150, 70, CV_32F);
    EXPECT_EQ(ExpectDistances(set), 220);
}

}  // namespace
