#include "OverlayGeometry.h"

#include <gtest/gtest.h>

namespace Korvane {

namespace {

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

TEST(ContourTip, IsTheBoxOfTheLastTwoPoints) {
    qvox::LabelImage labels;
    labels.Resize(10, 5, 1);
    EditingState state;
    EXPECT_EQ(ContourTip(state, labels).width, 0u);
    const auto expect = [&](std::uint64_t x, std::uint64_t y, std::uint64_t width, std::uint64_t height) {
        const PixelRectangle tip = ContourTip(state, labels);
        EXPECT_EQ(tip.x, x);
        EXPECT_EQ(tip.y, y);
        EXPECT_EQ(tip.width, width);
        EXPECT_EQ(tip.height, height);
    };
    state.contourPoints = {42};
    expect(2, 4, 1, 1);
    state.contourPoints = {0, 42, 13};
    expect(2, 1, 2, 4);
}

TEST(NumberPlace, CentresWithIntegerHalvesAndAShadow) {
    const NumberPlace place = PlaceNumber({7, 100, 51}, 0.5f, {15, 9});
    EXPECT_EQ(place.text, (ClientPoint{43, 21}));  // 50 - 7, 25.5 - 4
    EXPECT_EQ(place.shadow, (ClientPoint{44, 22}));
}

}  // namespace

}  // namespace Korvane
