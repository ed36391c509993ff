#include "StatusTexts.h"

#include <gtest/gtest.h>

#include <limits>

namespace Korvane {

namespace {

TEST(StatusTexts, ReadWithDashesWithoutAPosition) {
    EXPECT_EQ(StatusTextsWithoutPosition(),
              (StatusFields{"Pixel size: -", "Label: -", "Radius: -", "Objects: -", "Mode: -"}));
}

TEST(StatusTexts, TellThePixelSizeInNanometres) {
    StatusFacts facts;
    facts.resolution = {200.0f, 200.0f, 0.0f};
    facts.objectCount = 12;
    EXPECT_EQ(StatusTexts(facts),
              (StatusFields{"Pixel size: 5.0x5.0 nm", "Label: 1", "Radius: 10", "Objects: 12", "Mode: Brush"}));
    facts.resolution = {672.0f, 504.0f, 0.0f};
    EXPECT_EQ(StatusTexts(facts)[0], "Pixel size: 1.5x2.0 nm");
    facts.resolution.x = std::numeric_limits<float>::denorm_min();
    EXPECT_GT(StatusTexts(facts)[0].size(), 50u);
}

TEST(StatusTexts, TellThatThePixelSizeIsUnknown) {
    StatusFacts facts;
    for (const float bad :
         {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        facts.resolution = {bad, 200.0f, 0.0f};
        EXPECT_EQ(StatusTexts(facts)[0], "Pixel size: unknown") << bad;
    }
}

TEST(StatusTexts, ShowRadiusOneInContourMode) {
    StatusFacts facts;
    facts.currentLabel = 65535;
    facts.brushRadiusPx = 42;
    facts.mode = DrawingMode::kContour;
    EXPECT_EQ(StatusTexts(facts),
              (StatusFields{"Pixel size: unknown", "Label: 65535", "Radius: 1", "Objects: 0", "Mode: Contour"}));
}

TEST(Title, CountsPositionsFromOne) {
    EXPECT_EQ(PositionTitle(0, 3, L"/data/\u00fc %d.tif"), L"Position [1/3] - /data/\u00fc %d.tif");
    EXPECT_STREQ(kStartTitle, "TEM Korvane");
}

}  // namespace

}  // namespace Korvane
