#include "operations/Line.h"

#include <gtest/gtest.h>

#include <limits>

#include "RasterOperationsSupport.h"
#include "reference/PlainLine.h"
#include "support/Random.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

using Point = std::array<std::int64_t, 3>;

Image Line(std::uint64_t width, std::uint64_t height, const Point& start, const Point& end) {
    Image image;
    image.Resize(width, height, 1);
    image.Zero();
    qvox::DrawLine(image, start, end, 1);
    return image;
}

TEST(DrawLine, EqualPointsGiveOneVoxel) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"...", ".1."}), Line(3, 2, {1, 1, 0}, {1, 1, 0})));
}

TEST(DrawLine, IncludesBothEndsAndRoundsHalvesAwayFromTheStart) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"1..", ".11"}), Line(3, 2, {0, 0, 0}, {2, 1, 0})));
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"11.", "..1"}), Line(3, 2, {2, 1, 0}, {0, 0, 0})));
}

TEST(DrawLine, EqualsThePlainVersionInsideAndAcrossTheBorder) {
    std::mt19937 random(15);
    const auto coordinate = [&] { return std::int64_t{korvane_test::UniformInt(random, -40, 60)}; };
    for (const auto& [width, height] : TrialSizes()) {
        Image image;
        image.Resize(width, height, 2);
        image.Zero();
        for (int trial = 0; trial < 300; ++trial) {
            const Point start{coordinate(), coordinate(), coordinate() / 30};
            const Point end{coordinate(), coordinate(), coordinate() / 30};
            const auto value = static_cast<std::uint16_t>(trial + 1);
            Image drawn(image);
            qvox::DrawLine(drawn, start, end, value);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainLine(image, start, end, value), drawn))
                << "seed 15, " << width << " x " << height << ", trial " << trial;
            image = drawn;
        }
    }
}

TEST(DrawLine, PointsAtTheEndsOfTheNumberRangeAreClippedAtOnce) {
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"...", "111", "..."}), Line(3, 3, {kMin, 1, 0}, {kMax, 1, 0})));
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"1..", ".1.", "..1"}), Line(3, 3, {kMin, kMin, 0}, {kMax, kMax, 0})));
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"...", "..."}), Line(3, 2, {kMax, kMax, 0}, {kMax, kMin, 0})));
}

TEST(DrawLine, RefusesAnEmptyImage) {
    Image empty;
    ExpectError("DrawLine: the input image is empty (0 x 0 x 0).", [&] {
        qvox::DrawLine(empty, {0, 0, 0}, {1, 1, 0}, 1);
    });
}

}  // namespace
