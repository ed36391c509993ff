// The watershed by basins against the plain form, and what it leaves to the queue.

#include "operations/BasinLabels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "operations/BasinPasses.h"
#include "operations/LowerNeighbours.h"
#include "operations/LowestNeighbour.h"
#include "operations/Watershed.h"
#include "reference/PlainWatershed.h"
#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"
#include "support/TrialSizes.h"
#include "toolkit/RandomMarkers.h"

namespace {

using korvane_test::Draw;
using korvane_test::ForEachNumberOfThreads;
using korvane_test::RandomMarkers;
using korvane_test::SameVoxels;
using qvox::LabelImage;
using Relief = qvox::VoxelImage<float>;

/// Noise of no two equal levels, but for chance; each pass makes it smoother.
Relief RandomRelief(std::mt19937& random, std::uint64_t width, std::uint64_t height, int passes) {
    Relief relief;
    relief.Resize(width, height, 1);
    for (float& v : relief) v = korvane_test::Uniform(random);
    for (int pass = 0; pass < passes; ++pass) {
        const Relief before = relief;
        for (std::uint64_t y = 0; y < height; ++y) {
            for (std::uint64_t x = 0; x < width; ++x) {
                float sum = 0.0f;
                for (const std::uint64_t v : {y == 0 ? y : y - 1, y, std::min(y + 1, height - 1)}) {
                    for (const std::uint64_t u : {x == 0 ? x : x - 1, x, std::min(x + 1, width - 1)})
                        sum += before(u, v);
                }
                relief(x, y) = sum;
            }
        }
    }
    return relief;
}

/// An image of the same sizes that holds anything.
LabelImage Unlike(const LabelImage& markers) {
    LabelImage image;
    image.Resize(markers.SizeX(), markers.SizeY(), 1);
    std::fill(image.begin(), image.end(), std::uint16_t{12345});
    return image;
}

/// Compares with the plain form. Returns whether basins sufficed.
bool CompareOn(const qvox::PartRunner& run, const Relief& relief, const LabelImage& markers,
               const LabelImage& expected) {
    LabelImage labels = Unlike(markers);
    qvox::ReliefBasins basins(relief, run);
    const bool made = qvox::LabelByBasins(basins, markers, labels, run);
    EXPECT_TRUE(!made || SameVoxels(expected, labels));
    return made;
}

/// The same on several numbers of threads; and what basins leave to the queue must come out right, too.
bool Compare(const Relief& relief, const LabelImage& markers, const std::string& what) {
    const LabelImage expected = korvane_reference::PlainWatershed(relief, markers);
    std::vector<bool> made;
    ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        SCOPED_TRACE(what + " on " + std::to_string(threads));
        made.push_back(CompareOn(run, relief, markers, expected));
        EXPECT_EQ(made.back(), made.front());
        LabelImage output;
        qvox::WatershedFromMarkers(relief, markers, output, qvox::Neighbourhood8{}, run);
        EXPECT_TRUE(SameVoxels(expected, output));
    });
    return made.front();
}

TEST(BasinLabels, AreThoseOfThePlainFormForAllSizesAndMarkers) {
    int sufficed = 0;
    int images = 0;
    korvane_test::ForEachSizeAndSeed([&](std::uint64_t width, std::uint64_t height, unsigned seed) {
        std::mt19937 random(seed);
        for (const int passes : {0, 1, 4}) {
            const Relief relief = RandomRelief(random, width, height, passes);
            for (const unsigned oneIn : {2u, 40u, 1000u}) {
                const LabelImage markers = RandomMarkers(random, width, height, oneIn);
                ++images;
                sufficed +=
                    CompareOn(qvox::RunOneByOne, relief, markers, korvane_reference::PlainWatershed(relief, markers))
                        ? 1
                        : 0;
                ASSERT_FALSE(::testing::Test::HasFailure());
            }
        }
    });
    EXPECT_GT(sufficed, images * 95 / 100) << images;
}

TEST(BasinLabels, AreThoseOfThePlainFormInLargerImages) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        std::mt19937 random(seed);
        const Relief relief = RandomRelief(random, 231, 197, static_cast<int>(2 * seed));
        for (const unsigned oneIn : {30u, 3000u}) {
            EXPECT_TRUE(Compare(relief, RandomMarkers(random, 231, 197, oneIn), "seed " + std::to_string(seed)));
        }
    }
}

TEST(BasinLabels, MarkersMayBeAreasOnSlopesAndBesideEachOther) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        std::mt19937 random(seed);
        const Relief relief = RandomRelief(random, 83, 71, 3);
        LabelImage markers = RandomMarkers(random, 83, 71, 4000);
        for (int area = 0; area < 8; ++area) {
            const std::uint64_t left = random() % 70;
            const std::uint64_t top = random() % 60;
            for (std::uint64_t y = top; y < top + 11; ++y) {
                std::fill_n(markers.Row(y) + left, 13, static_cast<std::uint16_t>(area % 5 + 1));
            }
        }
        Compare(relief, markers, "seed " + std::to_string(seed));
    }
}

TEST(BasinLabels, AnAreaOfOneLevelThatOneFloodEntersNeedsNoQueue) {
    std::mt19937 random(9);
    Relief relief = RandomRelief(random, 90, 80, 3);
    for (std::uint64_t y = 20; y < 60; ++y) std::fill_n(relief.Row(y) + 25, 50, 0.0f);
    LabelImage markers = RandomMarkers(random, 90, 80, 900);
    for (std::uint64_t y = 18; y < 62; ++y) std::fill_n(markers.Row(y) + 23, 54, std::uint16_t{0});
    EXPECT_TRUE(Compare(relief, markers, "without a marker"));
    markers(40, 40) = 7;
    EXPECT_TRUE(Compare(relief, markers, "with one marker"));
    markers(60, 50) = 8;
    EXPECT_FALSE(Compare(relief, markers, "with two markers"));
}

TEST(BasinLabels, TheOrderOfArrivalIsLeftToTheQueue) {
    Relief flat;
    flat.Resize(7, 1, 1);
    std::fill(flat.begin(), flat.end(), 1.0f);
    EXPECT_FALSE(Compare(flat, Draw<std::uint16_t>({"3.....1"}), "a plateau between two markers"));
    EXPECT_TRUE(Compare(flat, Draw<std::uint16_t>({"...3..."}), "a plateau with one"));
    EXPECT_TRUE(Compare(flat, Draw<std::uint16_t>({"......."}), "a plateau without"));
}

TEST(BasinLabels, AWayThatIsTooLongIsLeftToTheQueue) {
    // A slope that runs down in rows, there and back: each strip's way to the marker is most of the image.
    constexpr std::uint64_t kSide = 513;
    Relief relief;
    relief.Resize(kSide, kSide, 1);
    std::fill(relief.begin(), relief.end(), 1.0e9f);
    float level = 1.0e6f;
    for (std::uint64_t x = 0; x < kSide; x += 2) {
        for (std::uint64_t i = 0; i < kSide; ++i) relief(x, x % 4 == 0 ? i : kSide - 1 - i) = level -= 1.0f;
        if (x + 1 < kSide) relief(x + 1, x % 4 == 0 ? kSide - 1 : 0) = level -= 1.0f;
    }
    LabelImage markers;
    markers.Resize(kSide, kSide, 1);
    markers.Zero();
    markers(kSide - 1, kSide - 1) = 5;
    markers(0, 0) = 6;
    EXPECT_FALSE(Compare(relief, markers, "a long way"));
}

TEST(BasinLabels, NoiseOfSingleVoxelsIsLeftToTheQueue) {
    std::mt19937 random(11);
    const Relief relief = RandomRelief(random, 260, 240, 0);
    EXPECT_FALSE(Compare(relief, RandomMarkers(random, 260, 240, 500), "noise"));
}

TEST(LowerNeighbours, AreThoseLowerOrEqualAndEarlierAndNothingIsWrittenBehindThem) {
    constexpr int kSteps[8][2] = {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}};
    constexpr qvox::NeighbourSet kUntouched = 0xA5;
    std::mt19937 random(5);
    for (const std::size_t width : {1u, 3u, 4u, 15u, 16u, 17u, 32u, 48u, 61u}) {
        const auto stride = static_cast<std::ptrdiff_t>(width + 5);
        std::vector<qvox::Cell> levels(static_cast<std::size_t>(3 * stride + 1));
        for (qvox::Cell& level : levels) level = korvane_test::UniformInt(random, -2, 2) * (1 << 29);
        const std::size_t room = (width + 15) / 16 * 16;
        std::vector<qvox::NeighbourSet> found(room + 16, kUntouched);
        const qvox::Cell* const row = levels.data() + stride + 1;
        qvox::FindLowerNeighbours(row, width, static_cast<std::size_t>(stride), found.data());
        for (std::size_t x = 0; x < width; ++x) {
            unsigned expected = 0;
            for (unsigned i = 0; i < 8; ++i) {
                const qvox::Cell other = row[static_cast<std::ptrdiff_t>(x) + kSteps[i][0] + kSteps[i][1] * stride];
                if (i < 4 ? other <= row[x] : other < row[x]) expected |= 1u << i;
            }
            ASSERT_EQ(found[x], expected) << width << ", column " << x;
        }
        EXPECT_EQ(std::count(found.begin() + static_cast<std::ptrdiff_t>(room), found.end(), kUntouched), 16) << width;
    }
}

TEST(LowestNeighbour, IsTheFirstOfTheLowestAround) {
    using qvox::Cell;
    std::mt19937 random(3);
    for (const std::size_t width : {1u, 2u, 3u, 4u, 5u, 15u, 16u, 17u, 40u}) {
        const std::size_t stride = width + 2 + qvox::LowestNeighbour::kReadBehind;
        constexpr std::size_t kRows = 12;
        std::vector<Cell> levels(stride * (kRows + 2), qvox::kBeyond);
        for (std::size_t y = 1; y <= kRows; ++y) {
            for (std::size_t x = 1; x <= width; ++x) {
                levels[y * stride + x] = korvane_test::UniformInt(random, -2, 2) * (1 << 29);
            }
        }
        for (const qvox::AmongEquals equals : {qvox::AmongEquals::kFirst, qvox::AmongEquals::kItself}) {
            qvox::LowestNeighbour lowest(width);
            lowest.Start(&levels[1], &levels[stride + 1]);
            std::vector<std::uint8_t> directions(width + qvox::LowestNeighbour::kWrittenBehind);
            for (std::size_t y = 1; y <= kRows; ++y) {
                lowest.Next(&levels[y * stride + 1], &levels[(y + 1) * stride + 1], equals, directions.data());
                for (std::size_t x = 1; x <= width; ++x) {
                    std::uint8_t expected = 0;
                    Cell least = qvox::kBeyond;
                    for (std::uint8_t i = 0; i < 9; ++i) {
                        const Cell level = levels[(y + i / 3u - 1) * stride + x + i % 3u - 1];
                        if (level >= least) continue;
                        least = level;
                        expected = i;
                    }
                    if (equals == qvox::AmongEquals::kItself && least == levels[y * stride + x]) expected = qvox::kHere;
                    ASSERT_EQ(directions[x - 1], expected) << width << ", row " << y << ", column " << x;
                }
            }
        }
    }
}

TEST(BasinPasses, AreSortedByLevelAndKeepTheirOrderAmongEquals) {
    std::mt19937 random(4);
    for (const std::size_t count : {0u, 1u, 7u, 499u, 500u, 5000u}) {
        std::vector<qvox::BasinPass> passes(count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto level = static_cast<qvox::Cell>(random());
            passes[i] = {i % 3 == 0 ? level : level % 16, static_cast<std::uint32_t>(i), 0, 1};
        }
        std::vector<qvox::BasinPass> expected = passes;
        std::stable_sort(expected.begin(), expected.end(),
                         [](const qvox::BasinPass& a, const qvox::BasinPass& b) { return a.level < b.level; });
        qvox::SortByLevel(passes);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(passes[i].level, expected[i].level);
            ASSERT_EQ(passes[i].voxel, expected[i].voxel);
        }
    }
}

}  // namespace
