#include "ViewTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Korvane {

namespace {

ViewState View(int level, ClientPoint start, ClientSize client, std::uint64_t width, std::uint64_t height) {
    return {level, start, client, width, height};
}

TEST(Zoom, FactorsArePowersOfOnePointTwo) {
    EXPECT_EQ(ZoomFactor(0), 1.0f);
    EXPECT_EQ(ZoomFactor(1), 1.2f);
    EXPECT_EQ(ZoomFactor(2), 1.2f * 1.2f);
    for (int level = -13; level <= 13; ++level) {
        EXPECT_FLOAT_EQ(ZoomFactor(level), static_cast<float>(std::pow(double{kZoomBase}, level))) << level;
    }
}

TEST(Zoom, KeepsItsLevelAtBothEnds) {
    const ViewState view = View(13, {}, {100, 100}, 50, 50);
    EXPECT_EQ(ChangeZoom(view, 14, {0, 0}).level, 13);
    EXPECT_EQ(ChangeZoom(view, -14, {0, 0}).level, -13);
    EXPECT_EQ(ZoomFactor(14), ZoomFactor(13));
    EXPECT_EQ(ZoomFactor(-99), ZoomFactor(-13));
}

TEST(Zoom, TruncatesTheVirtualSize) {
    EXPECT_EQ(VirtualSize(View(1, {}, {}, 101, 99)), (ClientSize{121, 118}));
    EXPECT_EQ(VirtualSize(View(0, {}, {}, 8192, 1)), (ClientSize{8192, 1}));
    EXPECT_EQ(VirtualSize(View(-13, {}, {}, 1, 8192)), (ClientSize{0, 765}));
}

TEST(Zoom, WithoutAnImageScrollsNothing) {
    const ZoomChange change = ChangeZoom(View(0, {}, {300, 200}, 0, 0), 3, {10, 10});
    EXPECT_EQ(change.level, 3);
    EXPECT_EQ(change.virtualSize, ClientSize{});
    EXPECT_EQ(change.start, ClientPoint{});
}

TEST(Zoom, WithThePointerOutsideKeepsTheCentre) {
    const ViewState view = View(0, {100, 60}, {301, 201}, 1000, 1000);
    // Centre 150, 100: image point 250, 160; 250 * 1.2 - 150, 160 * 1.2 - 100.
    for (const ClientPoint outside :
         {ClientPoint{-1, 5}, ClientPoint{5, -1}, ClientPoint{301, 5}, ClientPoint{5, 201}}) {
        EXPECT_EQ(ChangeZoom(view, 1, outside).start, (ClientPoint{150, 92})) << outside.x << ", " << outside.y;
    }
    EXPECT_EQ(ChangeZoom(view, 1, {0, 0}).start, (ClientPoint{120, 72}));
}

TEST(Zoom, KeepsTheImagePointUnderThePointerWithinOnePixel) {
    std::mt19937 random(20);
    int checked = 0;
    for (int i = 0; i < 100000; ++i) {
        ViewState view = View(static_cast<int>(random() % 27) - 13, {}, {}, 1 + random() % 9000, 1 + random() % 9000);
        view.client = {1 + static_cast<int>(random() % 2000), 1 + static_cast<int>(random() % 1200)};
        view.start = ClampStart(view, {static_cast<int>(random() % 90000), static_cast<int>(random() % 90000)});
        const ClientPoint pointer{static_cast<int>(random() % static_cast<unsigned>(view.client.width)),
                                  static_cast<int>(random() % static_cast<unsigned>(view.client.height))};
        const ZoomChange change = ChangeZoom(view, static_cast<int>(random() % 27) - 13, pointer);
        ViewState zoomed = view;
        zoomed.zoomLevel = change.level;
        zoomed.start = change.start;
        // Where the widget has to clamp, the point cannot stay.
        if (!(ClampStart(zoomed, change.start) == change.start) || change.start.x == 0 || change.start.y == 0) continue;
        ++checked;
        const ImagePoint before = ClientToImage(view, pointer);
        const ImagePoint after = ClientToImage(zoomed, pointer);
        // One voxel, or one pixel of the screen where that is more.
        const float bound = std::max(1.0f, 1.0f / change.factor) + 0.01f;
        ASSERT_LT(std::abs(after.x - before.x), bound) << "case " << i;
        ASSERT_LT(std::abs(after.y - before.y), bound) << "case " << i;
    }
    EXPECT_GT(checked, 5000);
}

TEST(KeyboardScrolling, MovesFiftyPixelsAlongOneAxis) {
    const ViewState view = View(5, {70, 30}, {10, 10}, 500, 500);
    EXPECT_EQ(KeyboardScrolled(view, ScrollDirection::kLeft), (ClientPoint{20, 30}));
    EXPECT_EQ(KeyboardScrolled(view, ScrollDirection::kRight), (ClientPoint{120, 30}));
    EXPECT_EQ(KeyboardScrolled(view, ScrollDirection::kUp), (ClientPoint{70, -20}));
    EXPECT_EQ(KeyboardScrolled(view, ScrollDirection::kDown), (ClientPoint{70, 80}));
}

TEST(Wheel, TakesOneStepPerEventInTheDirectionOfItsRotation) {
    for (const int rotation : {1, 30, 120, 240, 1200}) {
        EXPECT_EQ(WheelSteps(rotation, WheelAxis::kVertical), 1) << rotation;
        EXPECT_EQ(WheelSteps(-rotation, WheelAxis::kVertical), -1) << rotation;
        EXPECT_EQ(WheelSteps(rotation, WheelAxis::kHorizontal), 0) << rotation;
    }
    EXPECT_EQ(WheelSteps(0, WheelAxis::kVertical), 0);
}

TEST(FittedFrame, TakesTheImageWithAMarginOrMostOfTheScreen) {
    EXPECT_EQ(FittedClientSize({1920, 1080}, 640, 5000), (ClientSize{644, 918}));
    EXPECT_EQ(FittedClientSize({1001, 10}, 8192, 8), (ClientSize{850, 8}));
}

}  // namespace

}  // namespace Korvane
