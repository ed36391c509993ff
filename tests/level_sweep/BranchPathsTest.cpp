#include "branches/BranchPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <opencv2/imgproc.hpp>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ChangingSets.h"
#include "branches/MarkedBranches.h"
#include "skeleton/IncrementalSkeleton.h"
#include "bits/ColumnGrid.h"
#include "branches/PathCode.h"
#include "branches/RasterQueue.h"
#include "reference/PlainSkeleton.h"
#include "support/EdgeMaps.h"

namespace {

using level_sweep::BranchPaths;
using level_sweep::IncrementalSkeleton;

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

cv::Mat RandomSet(std::mt19937& random, int width, int height) {
    const cv::Mat noise =
        korvane_test::NoisePicture(width, height, 0.5 * Between(random, 1, 4), static_cast<std::uint32_t>(random()));
    return noise > 0.1 * Between(random, 4, 6);
}

void ChangeTo(const cv::Mat& wanted, cv::Mat& set, IncrementalSkeleton& skeleton) {
    const level_sweep::BitGrid grid(set.cols, set.rows);
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            if (wanted.at<uchar>(y, x) == set.at<uchar>(y, x)) continue;
            const std::int32_t word = grid.WordAt(x, y);
            const auto bit = level_sweep::BitGrid::Bit(x);
            wanted.at<uchar>(y, x) != 0 ? skeleton.Add(word, bit) : skeleton.Remove(word, bit);
        }
    }
    skeleton.Update();
    set = wanted.clone();
}

/// A part of the set made of whole 8-connected groups, about half of them.
cv::Mat SomeGroups(std::mt19937& random, const cv::Mat& set) {
    cv::Mat groups;
    cv::connectedComponents(set, groups, 8, CV_32S);
    std::vector<bool> isWanted(set.total() + 1);
    for (std::size_t i = 0; i < isWanted.size(); ++i) isWanted[i] = Between(random, 0, 1) == 1;
    cv::Mat part = cv::Mat::zeros(set.size(), CV_8U);
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            const int group = groups.at<int>(y, x);
            part.at<uchar>(y, x) = group != 0 && isWanted[static_cast<std::size_t>(group)] ? 1 : 0;
        }
    }
    return part;
}

std::vector<std::pair<int, int>> Sorted(const std::vector<level_sweep::PixelPosition>& ends) {
    std::vector<std::pair<int, int>> positions;
    for (const level_sweep::PixelPosition& end : ends) positions.emplace_back(end.y, end.x);
    std::sort(positions.begin(), positions.end());
    return positions;
}

struct Tile {
    int x0;
    int y0;
};

std::vector<Tile> TilesOf(const cv::Mat& picture) {
    std::vector<Tile> tiles;
    for (int x0 = 0; x0 < picture.cols; x0 += 64) {
        for (int y0 = 0; y0 < picture.rows; y0 += 64) tiles.push_back({x0, y0});
    }
    return tiles;
}

/// Compares marks and pruned pixels on a part of the set with what pruning the lines of that part alone gives.
void ExpectAsPrunedAnew(const cv::Mat& part, const IncrementalSkeleton& skeleton, BranchPaths& paths, int limit) {
    const auto isLine = [&](int x, int y) { return part.at<uchar>(y, x) != 0 && korvane_test::IsLine(skeleton, x, y); };
    cv::Mat lines = cv::Mat::zeros(part.size(), CV_32F);
    for (int y = 0; y < part.rows; ++y) {
        for (int x = 0; x < part.cols; ++x) lines.at<float>(y, x) = isLine(x, y) ? 1.0f : 0.0f;
    }
    cv::Mat marked = cv::Mat::zeros(part.size(), CV_32F);
    // A scale at which the limit is `limit` pixels, whatever is rounded.
    korvane_reference::PlainBranchPruning(lines, marked, (static_cast<float>(limit) + 0.5f) / 15.0f);
    std::vector<std::pair<int, int>> expected;
    for (int y = 0; y < part.rows; ++y) {
        for (int x = 0; x < part.cols; ++x) {
            // No end lies on the border, so the first pixel is marked for nothing but pixels without an end.
            if (marked.at<float>(y, x) == 1.0f && (x != 0 || y != 0)) expected.emplace_back(y, x);
        }
    }
    const level_sweep::MarkedBranches kept = paths.Marked(TilesOf(part), [&](int x0, int y0, int row) {
        level_sweep::ColumnGrid::Word wanted = 0;
        for (int x = x0; x < std::min(x0 + 64, part.cols); ++x) {
            wanted |= part.at<uchar>(y0 + row, x) != 0 ? level_sweep::ColumnGrid::Bit(x) : 0;
        }
        return wanted;
    });
    ASSERT_EQ(Sorted(kept.ends), expected);
    ASSERT_EQ(kept.mapOrigin, marked.at<float>(0, 0) == 1.0f);
    for (int y = 0; y < part.rows; ++y) {
        for (int x = 0; x < part.cols; ++x) {
            if (isLine(x, y)) {
                const bool isLeft = (paths.LinesLeftIn(x / 64, y) & level_sweep::ColumnGrid::Bit(x)) != 0;
                ASSERT_EQ(isLeft, lines.at<float>(y, x) == 1.0f) << "column " << x << ", row " << y;
            }
        }
    }
}

TEST(BranchPaths, MarksAndPruningAreThoseOfTracingAnewAfterAnyChange) {
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 1, 150);
        const int height = Between(random, 1, 70);
        IncrementalSkeleton skeleton(width, height);
        const int limit = Between(random, 0, 6);
        BranchPaths paths(skeleton, width, height, limit);
        cv::Mat set = cv::Mat::zeros(height, width, CV_8U);
        for (int step = 0; step < 12; ++step) {
            cv::Mat wanted = step % 6 == 0 ? RandomSet(random, width, height) : set.clone();
            for (int i = Between(random, 1, 8); i > 0; --i) {
                const cv::Point at(Between(random, 0, width - 1), Between(random, 0, height - 1));
                cv::circle(wanted, at, Between(random, 0, 4), cv::Scalar(255 * Between(random, 0, 1)), cv::FILLED);
            }
            ChangeTo(wanted, set, skeleton);
            paths.Update();
            paths.CheckInvariants();
            ExpectAsPrunedAnew(set, skeleton, paths, limit);
            ExpectAsPrunedAnew(SomeGroups(random, set), skeleton, paths, limit);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

/// Draws, or deletes, some lines of one pixel.
void ChangeLines(std::mt19937& random, cv::Mat& set) {
    for (int i = Between(random, 1, 12); i > 0; --i) {
        const cv::Point from(Between(random, 0, set.cols - 1), Between(random, 0, set.rows - 1));
        const cv::Point to(Between(random, 0, set.cols - 1), Between(random, 0, set.rows - 1));
        cv::line(set, from, to, cv::Scalar(Between(random, 0, 2) != 0 ? 255 : 0));
    }
}

// Traces of more pixels than are kept at hand, over more rows than are noted together, with forks far from their ends.
TEST(BranchPaths, LongTracesAreThoseOfTracingAnewAfterAnyChange) {
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 60, 260);
        const int height = Between(random, 60, 260);
        IncrementalSkeleton skeleton(width, height);
        const int limit = Between(random, 0, 60);
        BranchPaths paths(skeleton, width, height, limit);
        cv::Mat set = cv::Mat::zeros(height, width, CV_8U);
        for (int step = 0; step < 10; ++step) {
            cv::Mat wanted = set.clone();
            ChangeLines(random, wanted);
            ChangeTo(wanted, set, skeleton);
            paths.Update();
            paths.CheckInvariants();
            ExpectAsPrunedAnew(set, skeleton, paths, limit);
            ExpectAsPrunedAnew(SomeGroups(random, set), skeleton, paths, limit);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(RasterQueue, TheLastInRasterOrderIsTakenFirst) {
    for (const auto& [width, height] :
         {std::pair{9000, 70}, std::pair{64, 300}, std::pair{1, 200}, std::pair{130, 1}}) {
        std::mt19937 random(7);
        level_sweep::RasterQueue waiting(width, height);
        std::set<std::pair<int, int>> expected;
        for (int round = 0; round < 300; ++round) {
            for (int i = Between(random, 0, 20); i > 0; --i) {
                const int x = Between(random, 0, width - 1);
                const int y = Between(random, 0, height - 1);
                ASSERT_EQ(waiting.Add(x, y), expected.emplace(y, x).second);
            }
            for (int i = Between(random, 0, 20); i > 0 && !expected.empty(); --i) {
                ASSERT_FALSE(waiting.IsEmpty());
                const level_sweep::PixelPosition at = waiting.TakeLast();
                ASSERT_EQ(std::pair(at.y, at.x), *expected.rbegin()) << width << " x " << height << ", round " << round;
                expected.erase(std::prev(expected.end()));
            }
            ASSERT_EQ(waiting.IsEmpty(), expected.empty());
        }
    }
}

/// Pixels after one another, mostly near the last one and the first of them near `end`.
std::vector<level_sweep::PixelPosition> NearAndFar(std::mt19937& random, level_sweep::PixelPosition end, int count) {
    std::vector<level_sweep::PixelPosition> pixels;
    for (level_sweep::PixelPosition at = end; count > 0; --count) {
        const int reach = Between(random, 0, 9) == 0 ? 70000 : 9;
        at.x += Between(random, -reach, reach);
        at.y += Between(random, -reach, reach);
        pixels.push_back(at);
    }
    return pixels;
}

level_sweep::PathCode PathOf(level_sweep::PixelPosition end, const std::vector<level_sweep::PixelPosition>& pixels) {
    level_sweep::PathCode path;
    path.Begin(end);
    for (const level_sweep::PixelPosition& at : pixels) path.Add(at.x, at.y);
    return path;
}

TEST(PathCode, GivesBackEveryPixelNearAndFar) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        const level_sweep::PixelPosition end{Between(random, 0, 70000), Between(random, 0, 70000)};
        const std::vector<level_sweep::PixelPosition> pixels = NearAndFar(random, end, Between(random, 0, 100));
        const level_sweep::PathCode path = PathOf(end, pixels);
        level_sweep::PathCode::Walk walk(end, path.Codes(), path.Size());
        for (const level_sweep::PixelPosition& expected : pixels) {
            ASSERT_TRUE(walk.Next());
            ASSERT_EQ(walk.At().x, expected.x);
            ASSERT_EQ(walk.At().y, expected.y);
        }
        ASSERT_FALSE(walk.Next());
    }
}

TEST(PathCode, GoesOnFromItsBeginning) {
    std::mt19937 random(12);
    for (int round = 0; round < 200; ++round) {
        const level_sweep::PixelPosition end{Between(random, 0, 70000), Between(random, 0, 70000)};
        const std::vector<level_sweep::PixelPosition> pixels = NearAndFar(random, end, Between(random, 1, 100));
        const level_sweep::PathCode path = PathOf(end, pixels);
        const std::vector<level_sweep::PathCode::Code> codes(path.Codes(), path.Codes() + path.Size());
        level_sweep::PathCode::Walk walk(end, codes.data(), codes.size());
        const int kept = Between(random, 0, static_cast<int>(pixels.size()));
        for (int i = 0; i < kept; ++i) ASSERT_TRUE(walk.Next());
        level_sweep::PathCode again;
        again.Begin(codes.data(), walk.SizeSoFar(), walk.At());
        for (std::size_t i = static_cast<std::size_t>(kept); i < pixels.size(); ++i)
            again.Add(pixels[i].x, pixels[i].y);
        ASSERT_EQ(std::vector<level_sweep::PathCode::Code>(again.Codes(), again.Codes() + again.Size()), codes);
    }
}

}  // namespace
