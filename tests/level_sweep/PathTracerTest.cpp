#include "branches/PathTracer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <opencv2/imgproc.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ChangingSets.h"
#include "branches/AffectedPaths.h"
#include "branches/PatchComponents.h"
#include "branches/PathStore.h"
#include "branches/RasterOrder.h"
#include "reference/PlainSkeleton.h"

namespace {

using korvane_test::Between;
using level_sweep::ColumnGrid;
using level_sweep::LinePixels;
using level_sweep::PixelPosition;
using level_sweep::RasterOrder;

/// The lines of a random set, 1.0 each.
cv::Mat RandomLines(std::mt19937& random, int width, int height) {
    cv::Mat lines = korvane_test::RandomSet(random, width, height);
    korvane_reference::PlainThinning(lines);
    return lines;
}

void AddLines(const cv::Mat& lines, LinePixels& pixels) {
    for (int y = 0; y < lines.rows; ++y) {
        for (int x = 0; x < lines.cols; ++x) {
            if (lines.at<float>(y, x) == 1.0f) pixels.Change(pixels.Grid().WordAt(x, y), ColumnGrid::Bit(x));
        }
    }
}

/// Line pixels off the border with exactly one neighbour, in raster order.
std::vector<PixelPosition> EndsOf(const cv::Mat& lines) {
    std::vector<PixelPosition> ends;
    for (int y = 1; y + 1 < lines.rows; ++y) {
        for (int x = 1; x + 1 < lines.cols; ++x) {
            if (lines.at<float>(y, x) == 1.0f && cv::sum(lines(cv::Rect(x - 1, y - 1, 3, 3)))[0] == 2.0) {
                ends.push_back({x, y});
            }
        }
    }
    return ends;
}

/// Traces all paths, the last end first. Returns all counts in that order.
std::vector<std::int32_t> TraceAll(const std::vector<PixelPosition>& ends, const RasterOrder& order,
                                   level_sweep::PathTracer& tracer) {
    std::vector<std::int32_t> counts;
    for (auto end = ends.rbegin(); end != ends.rend(); ++end) {
        tracer.Start(*end);
        tracer.Trace(*end, order.RankOf(end->x, end->y));
        counts.insert(counts.end(), tracer.Counts().begin(), tracer.Counts().end());
        EXPECT_TRUE(tracer.LosingEnds().empty()) << "no later path has been traced";
        tracer.Complete();
    }
    return counts;
}

TEST(PathTracer, LeavesTheLinesAndMarksTheEndsThatPlainPruningDoes) {
    int forks = 0;
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 3, 150);
        const int height = Between(random, 3, 60);
        cv::Mat lines = RandomLines(random, width, height);
        const std::vector<PixelPosition> ends = EndsOf(lines);
        const RasterOrder order(width);
        LinePixels pixels(ColumnGrid(width, height), width, height);
        AddLines(lines, pixels);
        level_sweep::PathTracer tracer(pixels, width, height);
        const std::vector<std::int32_t> counts = TraceAll(ends, order, tracer);
        forks += counts.size() > ends.size() ? 1 : 0;
        pixels.CheckInvariants();
        const int limit = Between(random, 0, 6);
        cv::Mat marked = cv::Mat::zeros(lines.size(), CV_32F);
        korvane_reference::PlainBranchPruning(lines, marked, (static_cast<float>(limit) + 0.5f) / 15.0f);
        cv::Mat expected = cv::Mat::zeros(lines.size(), CV_32F);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] <= limit) continue;
            const PixelPosition end = i < ends.size() ? ends[ends.size() - 1 - i] : PixelPosition{0, 0};
            expected.at<float>(end.y, end.x) = 1.0f;
        }
        EXPECT_EQ(cv::countNonZero(marked != expected), 0);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool remains = (pixels[pixels.Grid().WordAt(x, y)].remaining & ColumnGrid::Bit(x)) != 0;
                ASSERT_EQ(remains, lines.at<float>(y, x) == 1.0f) << "column " << x << ", row " << y;
            }
        }
    }
    EXPECT_GT(forks, 5);
}

// A path is stale where a changed pixel, or a line pixel adjacent to one, is adjacent to it.
TEST(AffectedPaths, AreThoseWithPixelsAdjacentToAChangeOrToALinePixelAdjacentToOne) {
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 3, 200);
        const int height = Between(random, 3, 150);
        const cv::Mat lines = RandomLines(random, width, height);
        const std::vector<PixelPosition> ends = EndsOf(lines);
        const RasterOrder order(width);
        LinePixels pixels(ColumnGrid(width, height), width, height);
        AddLines(lines, pixels);
        level_sweep::PathTracer tracer(pixels, width, height);
        TraceAll(ends, order, tracer);
        const RasterOrder::Rank before =
            Between(random, 0, 1) == 0 ? RasterOrder::kBeyondAll : order.RankOf(0, Between(random, 0, height - 1));
        cv::Mat changed = cv::Mat::zeros(lines.size(), CV_8U);
        level_sweep::AffectedPaths affected(pixels, height);
        affected.Begin(before);
        for (int i = Between(random, 1, 60); i > 0; --i) {
            const int x = Between(random, 0, width - 1);
            const int y = Between(random, 0, height - 1);
            changed.at<uchar>(y, x) = 1;
            affected.Add(pixels.Grid().WordAt(x, y), ColumnGrid::Bit(x));
        }
        const std::vector<RasterOrder::Rank>& found = affected.Finish();
        affected.CheckInvariants();
        cv::Mat isLine = lines > 0.5f;
        cv::Mat dilated;
        const cv::Mat square = cv::Mat::ones(3, 3, CV_8U);
        cv::dilate(changed, dilated, square);
        cv::Mat centres = (dilated & isLine) | changed;
        cv::Mat near;
        cv::dilate(centres, near, square);
        std::set<RasterOrder::Rank> expected;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const LinePixels::Lines& at = pixels[pixels.Grid().WordAt(x, y)];
                const bool isTaken = (at.taken & ColumnGrid::Bit(x)) != 0;
                const bool isStale = isTaken && near.at<uchar>(y, x) != 0 && pixels.OwnerOf(x, y) < before;
                ASSERT_EQ((at.stale & ColumnGrid::Bit(x)) != 0, isStale) << "column " << x << ", row " << y;
                if (isStale) expected.insert(pixels.OwnerOf(x, y));
            }
        }
        ASSERT_EQ(std::set<RasterOrder::Rank>(found.begin(), found.end()), expected);
    }
}

TEST(PathStore, HoldsThePathLastKeptForEachEnd) {
    std::mt19937 random(4);
    const ColumnGrid grid(130, 5);
    const RasterOrder order(130);
    level_sweep::PathStore store(grid, order);
    std::map<std::pair<int, int>, std::vector<level_sweep::PathCode::Code>> expected;  // by y and x
    std::set<std::pair<int, int>> losing;
    for (int round = 0; round < 5000; ++round) {
        const int x = Between(random, 0, 129);
        const int y = Between(random, 0, 4);
        const std::size_t word = grid.WordAt(x, y);
        const bool isThere = expected.count({y, x}) != 0;
        ASSERT_EQ((store.EndsIn(word) & ColumnGrid::Bit(x)) != 0, isThere);
        if (!isThere) {
            store.Add(word, order.RankOf(x, y));
            expected[{y, x}] = {};
        } else if (Between(random, 0, 3) == 0) {
            ASSERT_EQ(store.TakeLoss(word, x), losing.erase({y, x}) == 1);
            store.Remove(word, order.RankOf(x, y));
            expected.erase({y, x});
        } else if (Between(random, 0, 3) == 0) {
            store.NoteLoss(word, x);
            losing.insert({y, x});
        } else {
            level_sweep::PathCode path;
            path.Begin({x, y});
            for (int i = Between(random, 0, 100); i > 0; --i) path.Add(x + i % 5, y);
            store.Keep(store.PathOf(word, order.RankOf(x, y)), path, 1);
            expected[{y, x}].assign(path.Codes(), path.Codes() + path.Size());
        }
        store.CheckInvariants();
        for (const auto& [end, codes] : expected) {
            const auto& path = store.PathOf(grid.WordAt(end.second, end.first), order.RankOf(end.second, end.first));
            ASSERT_TRUE(std::equal(codes.begin(), codes.end(), store.CodesOf(path), store.CodesOf(path) + path.size));
        }
    }
}

TEST(PatchComponents, AreThoseOfLabellingThePatchWithoutItsCentre) {
    for (unsigned code = 0; code < 512; ++code) {
        cv::Mat patch(3, 3, CV_8U);
        for (int i = 0; i < 9; ++i) patch.at<uchar>(i / 3, i % 3) = i != 4 && (code >> i & 1u) != 0 ? 1 : 0;
        cv::Mat labels;
        const int components = cv::connectedComponents(patch, labels, 8, CV_32S) - 1;
        EXPECT_EQ(level_sweep::PatchComponents(code), components) << "code " << code;
        EXPECT_EQ(level_sweep::kIsOneComponent[code], components == 1) << "code " << code;
    }
}

TEST(RasterOrder, RanksComparePositionsInRasterOrder) {
    std::mt19937 random(2);
    for (const int width : {1, 2, 63, 64, 65, 5000}) {
        const RasterOrder order(width);
        for (int round = 0; round < 500; ++round) {
            const PixelPosition a{Between(random, 0, width - 1), Between(random, 0, 3)};
            const PixelPosition b{Between(random, 0, width - 1), Between(random, 0, 3)};
            const bool isBefore = a.y < b.y || (a.y == b.y && a.x < b.x);
            ASSERT_EQ(order.RankOf(a.x, a.y) < order.RankOf(b.x, b.y), isBefore);
            ASSERT_EQ(order.PositionOf(order.RankOf(a.x, a.y)).x, a.x);
            ASSERT_EQ(order.PositionOf(order.RankOf(a.x, a.y)).y, a.y);
        }
    }
}

}  // namespace
