#include "PixelHeight.h"

#include <gtest/gtest.h>

#include <limits>

#include "ToolkitError.h"

namespace Korvane {

namespace {

TEST(PixelHeight, NearTheWidthIsNoTrouble) {
    for (const float y : {672.0f, 600.0f, 68.0f, 6720.0f}) {
        EXPECT_EQ(PixelHeightTrouble({672.0f, y, 0.0f}), "") << y;
        EXPECT_NO_THROW(RequirePixelHeight({672.0f, y, 0.0f})) << y;
    }
}

TEST(PixelHeight, ThatIsUndefinedBesideAWidthIsTrouble) {
    for (const float y : {0.0f, -672.0f, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(PixelHeightTrouble({672.0f, y, 0.0f}), "The file stores a pixel width but no pixel height") << y;
    }
    EXPECT_THROW(RequirePixelHeight({672.0f, 0.0f, 0.0f}), qvox::ToolkitError);
}

TEST(PixelHeight, MoreThanTenTimesTheWidthOrLessThanATenthIsTrouble) {
    EXPECT_EQ(PixelHeightTrouble({500.0f, 1.0f, 0.0f}),
              "The file stores pixels 2.000 nm wide and 1000.000 nm high, which cannot be true");
    EXPECT_NE(PixelHeightTrouble({500.0f, 5001.0f, 0.0f}), "");
    EXPECT_NE(PixelHeightTrouble({500.0f, std::numeric_limits<float>::infinity(), 0.0f}), "");
}

TEST(PixelHeight, OfAnUndefinedWidthIsLeftToTheAnalyses) {
    EXPECT_EQ(PixelHeightTrouble({0.0f, 0.0f, 0.0f}), "");
    EXPECT_EQ(PixelHeightTrouble({0.0f, 672.0f, 0.0f}), "");
}

}  // namespace

}  // namespace Korvane
