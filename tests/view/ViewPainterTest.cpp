#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "LabelColours.h"
#include "ViewPainter.h"
#include "ViewTransform.h"
#include "reference/PlainView.h"
#include "support/TestThreads.h"

namespace {

using namespace Korvane;

constexpr LabelStyle kStyles[] = {LabelStyle::kNone, LabelStyle::kRegions, LabelStyle::kContours};

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

/// Labels in blocks, so that there are insides, contours, background and touching objects.
Picture BlockPicture(std::uint64_t width, std::uint64_t height, std::mt19937& random) {
    Picture picture = RandomPicture(width, height, random);
    const std::uint64_t block = 1 + random() % 40;
    std::vector<std::uint16_t> blocks((width / block + 1) * (height / block + 1));
    for (std::uint16_t& label : blocks) label = static_cast<std::uint16_t>(random() % 30 < 15 ? 0 : random() % 15);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            picture.labels(x, y) = blocks[y / block * (width / block + 1) + x / block];
        }
    }
    return picture;
}

/// A random scroll position, some of it beyond what a window would scroll to.
int RandomStart(std::uint64_t size, float zoom, std::mt19937& random) {
    return static_cast<int>(random() % (static_cast<unsigned>(static_cast<float>(size) * zoom) + 20));
}

TEST(ViewPainter, APaintedRectangleEqualsThatPartOfThePlainWholeView) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        std::mt19937 random(seed);
        const std::uint64_t width = 1 + random() % (seed % 4 == 0 ? 12 : 300);
        const std::uint64_t height = 1 + random() % (seed % 5 == 0 ? 12 : 300);
        const Picture picture =
            seed % 3 == 0 ? RandomPicture(width, height, random) : BlockPicture(width, height, random);
        const float zoom = ZoomFactor(static_cast<int>(random() % 27) - 13);
        const ViewPort port{RandomStart(width, zoom, random), RandomStart(height, zoom, random), zoom};
        const int windowWidth = 1 + static_cast<int>(random() % 90);
        const int windowHeight = 1 + static_cast<int>(random() % 90);
        const LabelStyle style = kStyles[random() % 3];
        const ColourPicture whole =
            korvane_reference::PlainView(picture.grey, picture.labels, style, port, windowWidth, windowHeight);
        for (int round = 0; round < 8; ++round) {
            WindowRectangle box;
            box.x = static_cast<int>(random() % static_cast<unsigned>(windowWidth));
            box.y = static_cast<int>(random() % static_cast<unsigned>(windowHeight));
            box.width = 1 + static_cast<int>(random() % static_cast<unsigned>(windowWidth - box.x));
            box.height = 1 + static_cast<int>(random() % static_cast<unsigned>(windowHeight - box.y));
            if (round == 0) box = {0, 0, windowWidth, windowHeight};
            ColourPicture painted;
            PaintView(picture.grey, picture.labels, style, port, box, painted);
            ASSERT_EQ(painted.SizeX(), static_cast<std::uint64_t>(box.width));
            ASSERT_EQ(painted.SizeY(), static_cast<std::uint64_t>(box.height));
            for (std::uint64_t y = 0; y < painted.SizeY(); ++y) {
                for (std::uint64_t x = 0; x < painted.SizeX(); ++x) {
                    ASSERT_EQ(painted(x, y),
                              whole(static_cast<std::uint64_t>(box.x) + x, static_cast<std::uint64_t>(box.y) + y))
                        << "seed " << seed << ", zoom " << zoom << ", pixel " << x << ", " << y << " of the rectangle";
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

TEST(ViewPainter, StripsOnSeveralThreadsPaintTheSame) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        std::mt19937 random(seed);
        const Picture picture = BlockPicture(700, 600, random);
        const LabelStyle style = kStyles[seed % 3];
        const float zoom = ZoomFactor(static_cast<int>(random() % 21) - 10);
        const ViewPort port{RandomStart(700, zoom, random), RandomStart(600, zoom, random), zoom};
        // Some strips for each thread, of unequal height.
        const WindowRectangle box{3, 5, 611, 467};
        ColourPicture wanted;
        PaintView(picture.grey, picture.labels, style, port, box, wanted);
        korvane_test::ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            ColourPicture painted;
            PaintView(picture.grey, picture.labels, style, port, box, painted, run);
            EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), painted.begin())) << seed << ", " << threads;
            ContourIndex index;
            index.Use(picture.labels, 0);
            ColourPicture remembered;
            PaintView(picture.grey, index, style, port, box, remembered, run);
            EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), remembered.begin())) << seed << ", " << threads;
        });
    }
}

TEST(ViewPainter, RememberedContoursAreThoseOfTheLabelsThroughScrollsZoomsAndEdits) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        const std::uint64_t width = 1 + random() % 300;
        const std::uint64_t height = 1 + random() % 120;
        Picture picture = BlockPicture(width, height, random);
        ContourIndex index;
        std::uint64_t version = 0;
        for (int round = 0; round < 25; ++round) {
            if (random() % 4 == 0) {
                const std::uint64_t at = random() % (width * height);
                const std::uint64_t end = std::min(at + random() % 100, width * height);
                for (std::uint64_t i = at; i < end; ++i) picture.labels[i] = static_cast<std::uint16_t>(random() % 3);
                ++version;
            }
            const float zoom = ZoomFactor(static_cast<int>(random() % 27) - 13);
            const ViewPort port{RandomStart(width, zoom, random), RandomStart(height, zoom, random), zoom};
            const WindowRectangle box{static_cast<int>(random() % 20), static_cast<int>(random() % 20),
                                      1 + static_cast<int>(random() % 150), 1 + static_cast<int>(random() % 90)};
            ColourPicture wanted;
            PaintView(picture.grey, picture.labels, LabelStyle::kContours, port, box, wanted);
            ColourPicture painted;
            index.Use(picture.labels, version);
            PaintView(picture.grey, index, LabelStyle::kContours, port, box, painted);
            ASSERT_TRUE(painted.SameSizes(wanted));
            ASSERT_TRUE(std::equal(wanted.begin(), wanted.end(), painted.begin())) << "seed " << seed << ", " << round;
        }
    }
}

}  // namespace
