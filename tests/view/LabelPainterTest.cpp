#include "LabelPainter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "LabelColours.h"
#include "reference/PlainLabelPainter.h"
#include "support/Random.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using korvane_test::Draw;
using korvane_test::RandomImage;
using qvox::LabelImage;
using qvox::Rgb8;
using qvox::VoxelImage;

constexpr Rgb8 kBlack{0, 0, 0};
constexpr Rgb8 kRed{255, 0, 0};

/// Labels in blocks, so that there are insides, contours and touching objects.
LabelImage BlockLabels(std::mt19937& random, std::uint64_t width, std::uint64_t height) {
    const LabelImage coarse = RandomImage<std::uint16_t>(random, width / 3 + 1, height / 3 + 1, -2, 14);
    LabelImage labels;
    labels.Resize(width, height, 1);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            const std::uint16_t value = coarse(x / 3, y / 3);
            labels(x, y) = value > 60000 ? std::uint16_t{0} : value;
        }
    }
    return labels;
}

VoxelImage<float> RandomRaw(std::mt19937& random, std::uint64_t width, std::uint64_t height) {
    VoxelImage<float> raw;
    raw.Resize(width, height, 1);
    for (float& voxel : raw) voxel = korvane_test::Uniform(random, -70.0f, 65535.0f);
    return raw;
}

ColourPicture PaintRegion(const LabelImage& labels, LabelStyle style) {
    GreyPicture grey;
    grey.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
    grey.Zero();
    ColourPicture picture;
    PaintLabels(grey, labels, style, WholeImage(labels), picture);
    return picture;
}

TEST(LabelColours, AreTheTwelveOfTheTable) {
    const Rgb8 expected[] = {{255, 0, 0}, {255, 255, 0}, {0, 255, 0}, {255, 128, 255}, {0, 0, 255},     {0, 255, 255},
                             {128, 0, 0}, {0, 128, 0},   {0, 0, 128}, {255, 128, 0},   {128, 128, 255}, {128, 0, 255}};
    for (std::uint16_t label = 1; label <= 12; ++label) EXPECT_EQ(LabelColour(label), expected[label - 1]) << label;
    EXPECT_EQ(LabelColour(0), kBlack);
}

TEST(LabelColours, RepeatEveryTwelveLabels) {
    EXPECT_EQ(LabelColour(13), LabelColour(1));
    EXPECT_EQ(LabelColour(65535), LabelColour(65535 % 12));
}

TEST(GreyConversion, StretchesTheValueRangeAndTruncates) {
    VoxelImage<float> raw;
    raw.Resize(4, 1, 1);
    raw[0] = -10.0f;
    raw[1] = 30.0f;
    raw[2] = 0.0f;  // 10 / 40 * 255 = 63.75
    raw[3] = 29.9f;
    GreyPicture grey;
    ConvertToGrey(raw, grey);
    EXPECT_EQ(grey[0], 0);
    EXPECT_EQ(grey[1], 255);
    EXPECT_EQ(grey[2], 63);
    EXPECT_EQ(grey[3], 254);
}

TEST(GreyConversion, OfAConstantImageIsBlack) {
    VoxelImage<float> raw;
    raw.Resize(5, 3, 1);
    for (float& voxel : raw) voxel = 7.0f;
    GreyPicture grey;
    ConvertToGrey(raw, grey);
    for (const std::uint8_t level : grey) EXPECT_EQ(level, 0);
}

TEST(GreyConversion, TakesNanAndInfinityAsBlack) {
    VoxelImage<float> raw;
    raw.Resize(3, 1, 1);
    raw[0] = 1.0f;
    raw[1] = std::numeric_limits<float>::quiet_NaN();
    raw[2] = 3.0f;
    GreyPicture grey;
    ConvertToGrey(raw, grey);
    EXPECT_EQ(grey[0], 0);
    EXPECT_EQ(grey[1], 0);
    EXPECT_EQ(grey[2], 255);
    raw[1] = std::numeric_limits<float>::infinity();
    ConvertToGrey(raw, grey);
    for (const std::uint8_t level : grey) EXPECT_EQ(level, 0);
    raw[0] = -std::numeric_limits<float>::max();
    raw[1] = 0.0f;
    raw[2] = std::numeric_limits<float>::max();  // the range is beyond a float
    ConvertToGrey(raw, grey);
    for (const std::uint8_t level : grey) EXPECT_EQ(level, 0);
}

TEST(GreyConversion, OfAnEmptyImageIsEmpty) {
    GreyPicture grey;
    ConvertToGrey(VoxelImage<float>(), grey);
    EXPECT_TRUE(grey.Empty());
}

TEST(GreyConversion, EqualsThePlainForm) {
    for (unsigned seed = 0; seed < 30; ++seed) {
        std::mt19937 random(seed);
        const VoxelImage<float> raw = RandomRaw(random, 1 + seed * 7 % 41, 1 + seed * 3 % 17);
        float min = 0.0f;
        float max = 0.0f;
        raw.ValueRange(min, max);
        GreyPicture grey;
        ConvertToGrey(raw, grey);
        for (std::uint64_t i = 0; i < raw.VoxelCount(); ++i) {
            ASSERT_EQ(grey[i], korvane_reference::PlainGrey(raw[i], min, max)) << "seed " << seed << ", voxel " << i;
        }
    }
}

TEST(PaintLabels, RegionsAreFilledWithTheLabelsColour) {
    const LabelImage labels = Draw<std::uint16_t>({".11", ".12"});
    const ColourPicture picture = PaintRegion(labels, LabelStyle::kRegions);
    EXPECT_EQ(picture(0, 0), kBlack);
    EXPECT_EQ(picture(1, 0), kRed);
    EXPECT_EQ(picture(2, 1), (Rgb8{255, 255, 0}));
}

TEST(PaintLabels, RawOnlyLeavesTheGreyLevels) {
    GreyPicture grey;
    grey.Resize(2, 1, 1);
    grey[0] = 9;
    grey[1] = 200;
    ColourPicture picture;
    PaintLabels(grey, Draw<std::uint16_t>({"11"}), LabelStyle::kNone, {0, 0, 2, 1}, picture);
    EXPECT_EQ(picture[0], (Rgb8{9, 9, 9}));
    EXPECT_EQ(picture[1], (Rgb8{200, 200, 200}));
}

TEST(PaintLabels, TheImageBorderAloneMakesNoContour) {
    const ColourPicture all = PaintRegion(Draw<std::uint16_t>({"111", "111", "111"}), LabelStyle::kContours);
    for (const Rgb8& voxel : all) EXPECT_EQ(voxel, kBlack);
    const ColourPicture corner =
        PaintRegion(Draw<std::uint16_t>({"1111", "1111", "1111", "111."}), LabelStyle::kContours);
    for (std::uint64_t i = 0; i < 16; ++i) {
        const bool besideTheHole = i == 10 || i == 11 || i == 14;
        EXPECT_EQ(corner[i], besideTheHole ? kRed : kBlack) << i;
    }
}

TEST(PaintLabels, TouchingLabelsHaveAContourBetweenThem) {
    const ColourPicture picture =
        PaintRegion(Draw<std::uint16_t>({"111222", "111222", "111222"}), LabelStyle::kContours);
    EXPECT_EQ(picture(1, 1), kBlack);
    EXPECT_EQ(picture(2, 1), kRed);
    EXPECT_EQ(picture(3, 1), (Rgb8{255, 255, 0}));
    EXPECT_EQ(picture(4, 1), kBlack);
}

TEST(PaintLabels, EqualsThePlainFormOnEveryPartOfTheImage) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        std::mt19937 random(seed);
        const std::uint64_t width = 1 + random() % 40;
        const std::uint64_t height = 1 + random() % 23;
        const LabelImage labels = BlockLabels(random, width, height);
        const GreyPicture grey = RandomImage<std::uint8_t>(random, width, height, 0, 255);
        PixelRectangle part{random() % width, random() % height, 0, 0};
        part.width = 1 + random() % (width - part.x);
        part.height = 1 + random() % (height - part.y);
        for (const LabelStyle style : {LabelStyle::kNone, LabelStyle::kRegions, LabelStyle::kContours}) {
            ColourPicture picture;
            PaintLabels(grey, labels, style, part, picture);
            ASSERT_EQ(picture.SizeX(), part.width);
            ASSERT_EQ(picture.SizeY(), part.height);
            for (std::uint64_t y = 0; y < part.height; ++y) {
                for (std::uint64_t x = 0; x < part.width; ++x) {
                    const Rgb8 expected = korvane_reference::PlainColour(grey(part.x + x, part.y + y), labels,
                                                                         part.x + x, part.y + y, style);
                    ASSERT_EQ(picture(x, y), expected) << "seed " << seed << " at " << x << ", " << y;
                }
            }
        }
    }
}

TEST(PaintLabels, AnEmptyPartGivesAnEmptyPicture) {
    const LabelImage labels = Draw<std::uint16_t>({"11"});
    GreyPicture grey;
    grey.Resize(2, 1, 1);
    grey.Zero();
    ColourPicture picture;
    PaintLabels(grey, labels, LabelStyle::kContours, {2, 0, 0, 1}, picture);
    EXPECT_TRUE(picture.Empty());
}

TEST(PaintLabels, RefusesOtherSizesAndPartsBeyondTheImage) {
    const LabelImage labels = Draw<std::uint16_t>({"11"});
    GreyPicture grey;
    grey.Resize(2, 1, 1);
    grey.Zero();
    ColourPicture picture;
    EXPECT_THROW(PaintLabels(grey, labels, LabelStyle::kRegions, {1, 0, 2, 1}, picture), qvox::ToolkitError);
    EXPECT_THROW(PaintLabels(grey, labels, LabelStyle::kRegions, {0, 0, ~std::uint64_t{0}, 1}, picture),
                 qvox::ToolkitError);
    grey.Resize(1, 1, 1);
    EXPECT_THROW(PaintLabels(grey, labels, LabelStyle::kRegions, {0, 0, 1, 1}, picture), qvox::ToolkitError);
}

TEST(ContourVoxels, AreThoseThatAreColouredAsContours) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        std::mt19937 random(seed);
        const LabelImage labels = BlockLabels(random, 1 + random() % 30, 1 + random() % 30);
        std::set<std::uint64_t> expected;
        for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
            const auto [x, y, z] = labels.Coordinates(i);
            ASSERT_EQ(z, 0u);
            if (labels[i] > 0 && korvane_reference::PlainOnContour(labels, x, y)) expected.insert(i);
        }
        std::set<std::uint64_t> found;
        for (const ContourVoxel& voxel : ContourVoxels(labels, WholeImage(labels))) {
            EXPECT_EQ(voxel.label, labels(voxel.x, voxel.y));
            found.insert(labels.Index(voxel.x, voxel.y));
        }
        ASSERT_EQ(found, expected) << "seed " << seed;
    }
}

TEST(LabelAnchors, AreTheIntegerMeansOfEachLabel) {
    const std::vector<LabelAnchor> anchors = LabelAnchors(Draw<std::uint16_t>({"3..3", "...7"}));
    ASSERT_EQ(anchors.size(), 2u);
    EXPECT_EQ(anchors[0].label, 3);
    EXPECT_EQ(anchors[0].x, 1u);  // (0 + 3) / 2
    EXPECT_EQ(anchors[0].y, 0u);
    EXPECT_EQ(anchors[1].label, 7);
    EXPECT_EQ(anchors[1].x, 3u);
    EXPECT_EQ(anchors[1].y, 1u);
}

TEST(LabelAnchors, EqualThePlainForm) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::mt19937 random(seed);
        const LabelImage labels = BlockLabels(random, 1 + random() % 50, 1 + random() % 50);
        for (const LabelAnchor& anchor : LabelAnchors(labels)) {
            const auto [x, y] = korvane_reference::PlainAnchor(labels, anchor.label);
            ASSERT_EQ(anchor.x, x) << "seed " << seed << ", label " << anchor.label;
            ASSERT_EQ(anchor.y, y) << "seed " << seed << ", label " << anchor.label;
        }
    }
}

TEST(PaintPosition, IsTheWholeImageAtScaleOneWithItsResolution) {
    VoxelImage<float> raw;
    raw.Resize(3, 2, 1);
    for (std::uint64_t i = 0; i < 6; ++i) raw[i] = static_cast<float>(i);
    raw.SetResolution({672.0f, 500.0f, 0.0f});
    const ColourPicture picture = PaintPosition(raw, Draw<std::uint16_t>({"1..", "..."}), LabelStyle::kContours);
    EXPECT_EQ(picture.Resolution(), raw.Resolution());
    EXPECT_EQ(picture(0, 0), kRed);
    EXPECT_EQ(picture(1, 0), (Rgb8{51, 51, 51}));
    EXPECT_EQ(picture(2, 1), (Rgb8{255, 255, 255}));
}

}  // namespace

}  // namespace Korvane
