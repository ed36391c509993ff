#include "OverlayGeometry.h"

#include <gtest/gtest.h>

namespace Korvane {

namespace {

TEST(LabelDrawing, TurnsContoursIntoPointsBelowScaleOneOnly) {
    EXPECT_TRUE(DrawingOf(LabelStyle::kContours, 0.99f).contourPoints);
    EXPECT_EQ(DrawingOf(LabelStyle::kContours, 0.99f).painted, LabelStyle::kNone);
    EXPECT_FALSE(DrawingOf(LabelStyle::kContours, 1.0f).contourPoints);
    EXPECT_EQ(DrawingOf(LabelStyle::kContours, 1.0f).painted, LabelStyle::kContours);
    EXPECT_FALSE(DrawingOf(LabelStyle::kRegions, 0.5f).contourPoints);
    EXPECT_EQ(DrawingOf(LabelStyle::kRegions, 0.5f).painted, LabelStyle::kRegions);
}

TEST(ContourVoxelPoints, FallOnScaledCoordinatesAndAreClipped) {
    ViewState view;
    view.zoomLevel = -13;  // factor 0.0935
    view.start = {10, 0};
    ColourPicture picture;
    picture.Resize(3, 2, 1);
    picture.Zero();
    PlotContourVoxels({{0, 0, 1}, {128, 11, 2}, {900, 5, 3}, {128, 900, 4}}, view, picture);
    for (std::uint64_t y = 0; y < 2; ++y) {
        for (std::uint64_t x = 0; x < 3; ++x) {
            const bool drawn = x == 2 && y == 1;
            EXPECT_EQ(picture(x, y), drawn ? (qvox::Rgb8{255, 255, 0}) : qvox::Rgb8{}) << x << ", " << y;
        }
    }
}

TEST(ToolOutline, StandsOnTheVoxelUnderThePointerWithTheToolsRadius) {
    ViewState view;
    view.zoomLevel = 1;
    view.start = {12, 24};
    EditingState state;
    ToolOutline outline = OutlineAt(view, state, {7, 5});
    EXPECT_EQ(outline.centre, (Pixel{15, 24}));  // 19 / 1.2 = 15.83, 29 / 1.2 = 24.17
    EXPECT_EQ(outline.radiusPx, 10);
    FlipDrawingMode(state);
    outline = OutlineAt(view, state, {7, 5});
    EXPECT_EQ(outline.radiusPx, 1);
    EXPECT_EQ(ToolColour(0), (qvox::Rgb8{255, 255, 255}));
    EXPECT_EQ(ToolColour(13), (qvox::Rgb8{255, 0, 0}));
}

TEST(ContourLine, GoesThroughThePointsInOrder) {
    qvox::LabelImage labels;
    labels.Resize(10, 5, 1);
    EditingState state;
    state.contourPoints = {42, 3, 3};
    EXPECT_EQ(ContourLine(state, labels), (std::vector<Pixel>{{2, 4}, {3, 0}, {3, 0}}));
}

TEST(NumberPlace, CentresWithIntegerHalvesAndAShadow) {
    const NumberPlace place = PlaceNumber({7, 100, 51}, 0.5f, {15, 9});
    EXPECT_EQ(place.text, (ClientPoint{43, 21}));  // 50 - 7, 25.5 - 4
    EXPECT_EQ(place.shadow, (ClientPoint{44, 22}));
}

}  // namespace

}  // namespace Korvane
