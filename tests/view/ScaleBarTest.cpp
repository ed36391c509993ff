#include "ScaleBar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "DrawnText.h"

namespace Korvane {

namespace {

ColourPicture Grey(std::uint64_t width, std::uint64_t height) {
    ColourPicture picture;
    picture.Resize(width, height, 1);
    std::fill(picture.begin(), picture.end(), qvox::Rgb8{90, 90, 90});
    return picture;
}

bool IsColour(const qvox::Rgb8& pixel, std::uint8_t level) {
    return pixel.r == level && pixel.g == level && pixel.b == level;
}

TEST(ScaleBar, IsARoundLengthOfAtMostAQuarterOfTheWidth) {
    const auto length = [](std::uint64_t width, double nm) { return PlaceScaleBar(width, 400, nm).value().lengthNm; };
    EXPECT_EQ(length(400, 1.0), 100.0);
    EXPECT_EQ(length(399, 1.0), 50.0);
    EXPECT_EQ(length(400, 0.5), 50.0);
    EXPECT_EQ(length(400, 0.3), 20.0);
    EXPECT_EQ(length(400, 30.0), 2000.0);
    EXPECT_EQ(PlaceScaleBar(400, 400, 1.0)->text, "100 nm");
    EXPECT_EQ(PlaceScaleBar(400, 400, 10.0)->text, "1 \xC2\xB5m");
    EXPECT_EQ(PlaceScaleBar(400, 400, 50.0)->text, "5 \xC2\xB5m");
    EXPECT_EQ(PlaceScaleBar(400, 400, 0.005)->text, "0.5 nm");
}

TEST(ScaleBar, HasTheWidthOfItsLengthAndLiesInTheCorner) {
    const ScaleBar bar = PlaceScaleBar(640, 480, 1.488).value();
    EXPECT_EQ(bar.lengthNm, 200.0);
    EXPECT_EQ(bar.bar.width, 134u);  // 134.4
    EXPECT_EQ(bar.bar.x + bar.bar.width, 640u - 12u);
    EXPECT_EQ(bar.bar.y + bar.bar.height, 480u - 12u);
}

TEST(ScaleBar, IsNoneWithoutRoomOrPixelSize) {
    EXPECT_FALSE(PlaceScaleBar(12, 400, 1.0));
    EXPECT_FALSE(PlaceScaleBar(400, 20, 1.0));
    EXPECT_FALSE(PlaceScaleBar(400, 400, 0.0));
    EXPECT_FALSE(PlaceScaleBar(400, 400, std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(PlaceScaleBar(0, 0, 1.0));
    // A margin of 4 pixels, a bar of 3, and 2 lines of 13.
    EXPECT_TRUE(PlaceScaleBar(400, 33, 1.0));
    EXPECT_FALSE(PlaceScaleBar(400, 32, 1.0));
}

TEST(ScaleBar, IsPaintedWhiteInABlackFrameWithItsTextAbove) {
    ColourPicture picture = Grey(400, 300);
    const ScaleBar bar = PlaceScaleBar(400, 300, 1.0).value();
    PaintScaleBar(picture, bar, DrawText(bar.text, bar.textHeightPx));
    std::size_t white = 0;
    std::size_t above = 0;
    for (std::uint64_t y = 0; y < 300; ++y) {
        for (std::uint64_t x = 0; x < 400; ++x) {
            const bool isInBar =
                x >= bar.bar.x && x < bar.bar.x + bar.bar.width && y >= bar.bar.y && y < bar.bar.y + bar.bar.height;
            if (isInBar && IsColour(picture(x, y), 255)) ++white;
            if (y < bar.bar.y - 1 && !IsColour(picture(x, y), 90)) ++above;
        }
    }
    EXPECT_EQ(white, bar.bar.width * bar.bar.height);
    EXPECT_GT(above, 60u);
    EXPECT_TRUE(IsColour(picture(bar.bar.x - 1, bar.bar.y - 1), 0));
    EXPECT_TRUE(IsColour(picture(bar.bar.x - 2, bar.bar.y), 90));
}

TEST(ScaleBar, HasItsTextCentredAboveItWithAShadowBelowOnTheRight) {
    // A text of one dot: 4 x 2 pixels with a margin of one, of which the first of the upper row is covered.
    TextMask dot{6, 4, 1, {4, 2}, std::vector<std::uint8_t>(3 * 6 * 4, 0)};
    std::fill_n(dot.coverage.begin() + 3 * (6 + 1), 3, std::uint8_t{255});
    ScaleBar bar;
    bar.bar = {20, 30, 10, 3};
    bar.textGap = 5;
    const auto painted = [&] {
        ColourPicture picture = Grey(40, 40);
        PaintScaleBar(picture, bar, dot);
        std::string places;
        for (std::uint64_t y = 0; y < bar.bar.y - 1; ++y) {
            for (std::uint64_t x = 0; x < 40; ++x) {
                const bool isWhite = IsColour(picture(x, y), 255);
                if (!isWhite && !IsColour(picture(x, y), 0)) continue;
                places += std::to_string(x) + "," + std::to_string(y) + (isWhite ? " white " : " black ");
            }
        }
        return places;
    };
    EXPECT_EQ(painted(), "23,23 white 24,24 black ");
    // A bar at the edge of the image that is narrower than its text: the shadow's margin is inside too.
    bar.bar = {37, 30, 2, 3};
    EXPECT_EQ(painted(), "34,23 white 35,24 black ");
}

TEST(DrawnText, GrowsWithItsLettersAndItsFont) {
    const TextMask one = DrawText("1", 13);
    const TextMask three = DrawText("111", 13);
    EXPECT_EQ(three.extent.height, one.extent.height);
    EXPECT_GT(three.extent.width, 2 * one.extent.width);
    EXPECT_GT(DrawText("1", 26).extent.height, one.extent.height + 8);
    EXPECT_EQ(one.width, one.extent.width + 2 * one.margin);
    EXPECT_EQ(one.height, one.extent.height + 2 * one.margin);
    ASSERT_EQ(one.coverage.size(), 3u * static_cast<std::size_t>(one.width) * static_cast<std::size_t>(one.height));
    // Strokes of a bold font are covered in full somewhere, and the margin is free.
    EXPECT_EQ(*std::max_element(one.coverage.begin(), one.coverage.end()), 255);
    EXPECT_EQ(one.coverage.front(), 0);
}

}  // namespace

}  // namespace Korvane
