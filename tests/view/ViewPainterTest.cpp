#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "LabelColours.h"
#include "ViewPainter.h"
#include "ViewTransform.h"

namespace {

using namespace Korvane;

struct Picture {
    GreyPicture grey;
    qvox::LabelImage labels;
};

Picture RandomPicture(std::uint64_t width, std::uint64_t height, std::mt19937& random) {
    Picture picture;
    picture.grey.Resize(width, height, 1);
    picture.labels.Resize(width, height, 1);
    for (std::uint64_t i = 0; i < width * height; ++i) {
        picture.grey[i] = static_cast<std::uint8_t>(random() % 256);
        picture.labels[i] = static_cast<std::uint16_t>(random() % 4);
    }
    return picture;
}

bool OnContour(const qvox::LabelImage& labels, std::int64_t x, std::int64_t y) {
    const auto at = [&](std::int64_t i, std::int64_t j) {
        return labels(static_cast<std::uint64_t>(i), static_cast<std::uint64_t>(j));
    };
    for (std::int64_t j = std::max<std::int64_t>(0, y - 1); j <= y + 1 && j < static_cast<std::int64_t>(labels.SizeY());
         ++j) {
        for (std::int64_t i = std::max<std::int64_t>(0, x - 1);
             i <= x + 1 && i < static_cast<std::int64_t>(labels.SizeX()); ++i) {
            if (at(i, j) != at(x, y)) return true;
        }
    }
    return false;
}

/// What one window pixel shows, where contours are painted rather than drawn as points.
qvox::Rgb8 PlainColour(const Picture& picture, LabelStyle style, const ViewPort& port, int px, int py) {
    const auto x = static_cast<std::int64_t>(std::floor(static_cast<float>(port.startX + px) / port.zoom));
    const auto y = static_cast<std::int64_t>(std::floor(static_cast<float>(port.startY + py) / port.zoom));
    if (x < 0 || y < 0 || x >= static_cast<std::int64_t>(picture.grey.SizeX()) ||
        y >= static_cast<std::int64_t>(picture.grey.SizeY())) {
        return kViewBackground;
    }
    const std::uint64_t index = picture.grey.Index(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    const std::uint16_t label = picture.labels[index];
    const bool coloured = label != 0 && (style == LabelStyle::kRegions ||
                                         (style == LabelStyle::kContours && OnContour(picture.labels, x, y)));
    const std::uint8_t level = picture.grey[index];
    return coloured ? LabelColour(label) : qvox::Rgb8{level, level, level};
}

TEST(ViewPainter, EveryWindowPixelShowsTheImagePixelThatTheMouseMappingNames) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        const Picture picture = RandomPicture(1 + random() % 40, 1 + random() % 40, random);
        const int level = static_cast<int>(random() % 27) - 13;
        const ViewPort port{static_cast<int>(random() % 30), static_cast<int>(random() % 30), ZoomFactor(level)};
        const WindowRectangle box{static_cast<int>(random() % 20), static_cast<int>(random() % 20),
                                  1 + static_cast<int>(random() % 50), 1 + static_cast<int>(random() % 50)};
        for (const LabelStyle style : {LabelStyle::kNone, LabelStyle::kRegions, LabelStyle::kContours}) {
            if (style == LabelStyle::kContours && level < 0) continue;
            ColourPicture painted;
            PaintView(picture.grey, picture.labels, style, port, box, painted);
            ASSERT_EQ(painted.SizeX(), static_cast<std::uint64_t>(box.width));
            ASSERT_EQ(painted.SizeY(), static_cast<std::uint64_t>(box.height));
            for (int y = 0; y < box.height; ++y) {
                for (int x = 0; x < box.width; ++x) {
                    ASSERT_EQ(painted(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)),
                              PlainColour(picture, style, port, box.x + x, box.y + y))
                        << "round " << round << ", level " << level << ", pixel " << x << ", " << y;
                }
            }
        }
    }
}

TEST(ViewPainter, AThinContourSurvivesBeingShownSmaller) {
    Picture picture;
    picture.grey.Resize(90, 90, 1);
    picture.grey.Zero();
    picture.labels.Resize(90, 90, 1);
    picture.labels.Zero();
    // One column of a label that every sampling of the picture at this zoom would miss in places.
    for (std::uint64_t y = 0; y < 90; ++y) picture.labels(46, y) = 1;
    for (int level = -13; level < 0; ++level) {
        const float zoom = ZoomFactor(level);
        const int size = static_cast<int>(90.0f * zoom);
        ColourPicture painted;
        PaintView(picture.grey, picture.labels, LabelStyle::kContours, {0, 0, zoom}, {0, 0, size, size}, painted);
        const auto column = static_cast<std::uint64_t>(46.0f * zoom);
        for (std::uint64_t y = 0; y < painted.SizeY(); ++y) {
            ASSERT_EQ(painted(column, y), LabelColour(1)) << "level " << level << ", row " << y;
        }
    }
}

TEST(ViewPainter, AnEmptyRectanglePaintsNothing) {
    std::mt19937 random(1);
    const Picture picture = RandomPicture(5, 5, random);
    ColourPicture painted;
    PaintView(picture.grey, picture.labels, LabelStyle::kRegions, {0, 0, 1.0f}, {0, 0, 0, 10}, painted);
    EXPECT_TRUE(painted.Empty());
}

}  // namespace
