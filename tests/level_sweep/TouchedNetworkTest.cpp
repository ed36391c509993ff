#include "network/TouchedNetwork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ChangingSets.h"
#include "MapOfCodes.h"
#include "WordParts.h"
#include "reference/CodeMaps.h"
#include "reference/PlainComponentSweep.h"
#include "support/EdgeMaps.h"

namespace {

using korvane_reference::PixelCode;
using korvane_test::Between;
using korvane_test::CodeMap;
using korvane_test::PartsOf;
using korvane_test::PixelsOf;
using level_sweep::PixelRun;

/// A map as it is between analyses: background of both kinds, all else open.
CodeMap RandomBackground(std::mt19937& random) {
    CodeMap map(Between(random, 2, 150), Between(random, 2, 150), korvane_reference::kOpen);
    const cv::Mat noise = korvane_test::NoisePicture(map.width, map.height, 0.5 * Between(random, 1, 5),
                                                     static_cast<std::uint32_t>(random()));
    const cv::Mat kind = korvane_test::NoisePicture(map.width, map.height, 0.5 * Between(random, 1, 5),
                                                    static_cast<std::uint32_t>(random()));
    const float share = 0.1f * static_cast<float>(Between(random, 3, 7));
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            if (noise.at<float>(y, x) < share) {
                map.At(x, y) =
                    kind.at<float>(y, x) < 0.5f ? korvane_reference::kBackground : korvane_reference::kTouched;
            }
        }
    }
    return map;
}

/// The same of single pixels, most of them next to others at their corners only: a tile has hundreds of pieces.
CodeMap BackgroundOfSinglePixels(std::mt19937& random) {
    CodeMap map(Between(random, 60, 140), Between(random, 60, 140), korvane_reference::kOpen);
    const int leftOut = Between(random, 3, 40);
    for (int y = 0; y < map.height; ++y) {
        for (int x = y % 2; x < map.width; x += 2) {
            if (Between(random, 0, 99) < leftOut) continue;
            const bool isPatch = (y % 2 != 0) == (Between(random, 0, 9) != 0);
            map.At(x, y) = isPatch ? korvane_reference::kBackground : korvane_reference::kTouched;
        }
    }
    return map;
}

cv::Mat FloatsOf(CodeMap& map) {
    cv::Mat floats;
    cv::Mat(map.height, map.width, CV_8U, map.codes.data()).convertTo(floats, CV_32F);
    return floats;
}

/// Brings the background's codes in the map up to date: the pixels reported as cleared are those that
/// were touched before and are not any more.
void UpdateMap(CodeMap& map, level_sweep::TouchedNetwork& network) {
    std::set<std::pair<int, int>> expected;
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            const auto bit = level_sweep::BitGrid::Bit(x);
            const bool wasTouched = map.At(x, y) == korvane_reference::kTouched;
            if ((network.BackgroundIn(x / 64, y) & bit) != 0) map.At(x, y) = korvane_reference::kBackground;
            if ((network.TouchedIn(x / 64, y) & bit) != 0) map.At(x, y) = korvane_reference::kTouched;
            if (wasTouched && map.At(x, y) == korvane_reference::kBackground) expected.insert({y, x});
        }
    }
    std::set<std::pair<int, int>> told;
    network.TakeCleared([&](int column, int y, level_sweep::BitGrid::Word pixels) {
        level_sweep::ForEachRun(pixels, [&](int first, int last) {
            for (int x = column * 64 + first; x <= column * 64 + last; ++x) told.insert({y, x});
        });
    });
    ASSERT_EQ(told, expected);
}

bool IsFlooded(const level_sweep::TouchedNetwork& network, int x, int y) {
    return (network.FloodedIn(x / 64, y) & level_sweep::BitGrid::Bit(x)) != 0;
}

void ExpectTouchedAsInPlainForm(CodeMap& map, level_sweep::TouchedNetwork& network, int seedX, int seedY) {
    UpdateMap(map, network);
    std::vector<PixelRun> component;
    korvane_reference::RunFlood flood;
    flood.Fill(map.Plane(), seedX, seedY, korvane_reference::kAnalysed, korvane_reference::Connectivity::k4, component);
    cv::Mat plain = FloatsOf(map);
    const cv::Mat regions = korvane_reference::PlainTouchedRegions(plain, {1, seedX, seedY});
    network.Touch(PartsOf(map.width, map.height, component));
    network.CheckInvariants();
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            ASSERT_EQ(IsFlooded(network, x, y), regions.at<float>(y, x) == 1.0f) << "column " << x << ", row " << y;
        }
    }
    network.Settle();
    network.CheckInvariants();
    UpdateMap(map, network);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            ASSERT_EQ(static_cast<float>(map.At(x, y)), plain.at<float>(y, x)) << "column " << x << ", row " << y;
        }
    }
}

TEST(TouchedNetwork, FloodsAndRelabelsAsThePlainFormDoesComponentByComponent) {
    for (std::uint32_t seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        CodeMap map = seed % 4 == 0 ? BackgroundOfSinglePixels(random) : RandomBackground(random);
        level_sweep::TouchedNetwork network(PixelsOf(map, korvane_reference::kBackground),
                                            PixelsOf(map, korvane_reference::kTouched));
        for (int tries = 0; tries < (seed % 4 == 0 ? 40 : 12); ++tries) {
            const int x = Between(random, 0, map.width - 1);
            const int y = Between(random, 0, map.height - 1);
            if (map.At(x, y) == korvane_reference::kOpen) ExpectTouchedAsInPlainForm(map, network, x, y);
            if (map.At(x, y) == korvane_reference::kTouched) network.Clear({y, x, std::min(x + 5, map.width - 1)});
            if (tries % 4 == 3) UpdateMap(map, network);
            if (tries % 4 == 2 && map.At(x, y) == korvane_reference::kOpen) {
                map.At(x, y) = korvane_reference::kBackground;
                network.BackgroundAdded(x, y);
            }
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

/// Drops the known pixels adjacent to the flooded ones and adds the flooded ones, as reported and by looking; compares.
void ExpectKnownByLooking(const CodeMap& map, level_sweep::TouchedNetwork& network, cv::Mat& known) {
    cv::Mat flooded = cv::Mat::zeros(map.height, map.width, CV_8U);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) flooded.at<uchar>(y, x) = IsFlooded(network, x, y) ? 255 : 0;
    }
    cv::Mat around;
    cv::dilate(flooded, around, cv::Mat::ones(3, 3, CV_8U));
    const level_sweep::BitGrid grid(map.width, map.height);
    const auto change = [&](std::int32_t word, level_sweep::BitGrid::Word pixels, uchar from, uchar to) {
        const int y = word / grid.WordsPerRow();
        const int x0 = word % grid.WordsPerRow() * 64;
        level_sweep::ForEachRun(pixels, [&](int first, int last) {
            for (int x = x0 + first; x <= x0 + last; ++x) {
                ASSERT_EQ(known.at<uchar>(y, x), from) << "column " << x << ", row " << y;
                known.at<uchar>(y, x) = to;
            }
        });
    };
    cv::Mat expected = known & (~around | flooded);
    bool isAdding = false;
    network.UpdateKnown(
        [&](auto word, auto pixels) {
            ASSERT_FALSE(isAdding) << "dropped after the first addition";
            change(word, pixels, 255, 0);
        },
        [&](auto word, auto pixels) {
            if (!isAdding) {
                ASSERT_EQ(cv::countNonZero(known != expected), 0) << "dropped";
            }
            isAdding = true;
            change(word, pixels, 0, 255);
        });
    expected |= flooded;
    ASSERT_EQ(cv::countNonZero(known != expected), 0) << "added";
}

TEST(TouchedNetwork, KnownPixelsWereFloodedAndHaveNotBeenAdjacentToFloodedOnesSince) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        CodeMap map = seed % 4 == 0 ? BackgroundOfSinglePixels(random) : RandomBackground(random);
        level_sweep::TouchedNetwork network(PixelsOf(map, korvane_reference::kBackground),
                                            PixelsOf(map, korvane_reference::kTouched));
        cv::Mat known = cv::Mat::zeros(map.height, map.width, CV_8U);
        korvane_reference::RunFlood flood;
        for (int tries = 0; tries < 30; ++tries) {
            const int x = Between(random, 0, map.width - 1);
            const int y = Between(random, 0, map.height - 1);
            if (map.At(x, y) == korvane_reference::kOpen) {
                std::vector<PixelRun> component;
                flood.Fill(map.Plane(), x, y, korvane_reference::kAnalysed, korvane_reference::Connectivity::k4,
                           component);
                network.Touch(PartsOf(map.width, map.height, component));
                ExpectKnownByLooking(map, network, known);
                network.CheckInvariants();
                network.Settle();
            }
            for (int v = y; v < std::min(y + 6, map.height); ++v) {
                network.Clear({v, x, std::min(x + 9, map.width - 1)});
            }
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

CodeMap MapOf(const std::vector<std::string>& rows) {
    CodeMap map(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), korvane_reference::kBackground);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            map.At(x, y) = static_cast<PixelCode>(rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] - '0');
        }
    }
    return map;
}

std::vector<std::string> RowsOf(CodeMap& map) {
    std::vector<std::string> rows(static_cast<std::size_t>(map.height));
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) rows[static_cast<std::size_t>(y)] += static_cast<char>('0' + map.At(x, y));
    }
    return rows;
}

TEST(TouchedNetwork, ARegionBehindAPatchIsNotFloodedAndThePatchBehindItNotRelabelled) {
    CodeMap map = MapOf({"2330330"});
    level_sweep::TouchedNetwork network(PixelsOf(map, korvane_reference::kBackground),
                                        PixelsOf(map, korvane_reference::kTouched));
    network.Touch(PartsOf(map.width, map.height, {{0, 0, 0}}));
    EXPECT_TRUE(IsFlooded(network, 3, 0));
    EXPECT_FALSE(IsFlooded(network, 4, 0));
    network.Settle();
    UpdateMap(map, network);
    EXPECT_EQ(RowsOf(map), (std::vector<std::string>{"2333330"}));
}

TEST(TouchedNetwork, ASecondFloodOfAClusterRelabelsThePatchesBehindThoseOfTheFirst) {
    // From the left end of row 0 the region in columns 1 and 2 and the patch after it are flooded; the region in row 2
    // reaches the far side of that patch, and so the patch in column 6 becomes one of its cluster.
    CodeMap map = MapOf({"2330330", "2000131", "2333331", "2222222"});
    map.At(1, 1) = map.At(2, 1) = map.At(3, 1) = korvane_reference::kOpen;
    level_sweep::TouchedNetwork network(PixelsOf(map, korvane_reference::kBackground),
                                        PixelsOf(map, korvane_reference::kTouched));
    network.Touch(PartsOf(map.width, map.height, {{0, 0, 0}}));
    network.Settle();
    UpdateMap(map, network);
    EXPECT_EQ(map.At(3, 0), korvane_reference::kTouched);
    EXPECT_EQ(map.At(6, 0), korvane_reference::kBackground);
    network.Touch(PartsOf(map.width, map.height, {{2, 0, 0}}));
    network.Settle();
    UpdateMap(map, network);
    EXPECT_EQ(map.At(6, 0), korvane_reference::kTouched);
}

}  // namespace
