#include "NumberPainter.h"

#include <gtest/gtest.h>

#include <random>

namespace Korvane {

namespace {

TextMask RandomMask(std::mt19937& random) {
    TextMask mask;
    mask.margin = static_cast<int>(random() % 4);
    mask.width = 2 * mask.margin + 1 + static_cast<int>(random() % 20);
    mask.height = 2 * mask.margin + 1 + static_cast<int>(random() % 12);
    for (int i = 0; i < 3 * mask.width * mask.height; ++i) {
        mask.coverage.push_back(static_cast<std::uint8_t>(random() % 3 == 0 ? random() % 256 : 255 * (random() % 2)));
    }
    return mask;
}

std::uint8_t Channel(const qvox::Rgb8& colour, int channel) {
    return channel == 0 ? colour.r : channel == 1 ? colour.g : colour.b;
}

TEST(StampedText, MixesEveryChannelByItsCoverageAndIsClipped) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 random(seed);
        ColourPicture before;
        before.Resize(1 + random() % 30, 1 + random() % 30, 1);
        for (qvox::Rgb8& pixel : before) {
            pixel = {static_cast<std::uint8_t>(random()), static_cast<std::uint8_t>(random()),
                     static_cast<std::uint8_t>(random())};
        }
        const TextMask mask = RandomMask(random);
        const int x = static_cast<int>(random() % 70) - 35;
        const int y = static_cast<int>(random() % 70) - 35;
        const qvox::Rgb8 colour{static_cast<std::uint8_t>(random()), 255, 0};
        ColourPicture after = before;
        StampText(after, x, y, mask, colour);
        for (int py = 0; py < static_cast<int>(before.SizeY()); ++py) {
            for (int px = 0; px < static_cast<int>(before.SizeX()); ++px) {
                const auto column = static_cast<std::uint64_t>(px);
                const auto row = static_cast<std::uint64_t>(py);
                const int mx = px - x + mask.margin;
                const int my = py - y + mask.margin;
                const bool under = mx >= 0 && my >= 0 && mx < mask.width && my < mask.height;
                for (int channel = 0; channel < 3; ++channel) {
                    const double old = Channel(before(column, row), channel);
                    const double cover =
                        under ? mask.coverage[static_cast<std::size_t>(3 * (my * mask.width + mx) + channel)] / 255.0
                              : 0.0;
                    const double wanted = cover * Channel(colour, channel) + (1.0 - cover) * old;
                    ASSERT_NEAR(Channel(after(column, row), channel), wanted, 0.5001) << "seed " << seed;
                }
            }
        }
    }
}

TEST(StampedText, InPartsOfAPictureEqualsThatOfTheWhole) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        ColourPicture whole;
        whole.Resize(40, 30, 1);
        whole.Zero();
        const TextMask mask = RandomMask(random);
        const int x = static_cast<int>(random() % 50) - 5;
        const int y = static_cast<int>(random() % 40) - 5;
        StampText(whole, x, y, mask, {255, 200, 100});
        const std::uint64_t left = random() % 30;
        const std::uint64_t top = random() % 20;
        ColourPicture part;
        part.Resize(10, 10, 1);
        part.Zero();
        StampText(part, x - static_cast<int>(left), y - static_cast<int>(top), mask, {255, 200, 100});
        for (std::uint64_t py = 0; py < 10; ++py) {
            for (std::uint64_t px = 0; px < 10; ++px) ASSERT_EQ(part(px, py), whole(left + px, top + py)) << seed;
        }
    }
}

TEST(ChangedAnchors, AreThoseThatCameWentOrMoved) {
    const std::vector<LabelAnchor> before{{1, 5, 5}, {2, 6, 6}, {4, 7, 7}, {9, 1, 1}};
    const std::vector<LabelAnchor> after{{2, 6, 6}, {3, 8, 8}, {4, 7, 9}, {9, 1, 1}, {12, 0, 0}};
    const std::vector<LabelAnchor> changed = ChangedAnchors(before, after);
    const std::vector<LabelAnchor> expected{{1, 5, 5}, {3, 8, 8}, {4, 7, 7}, {4, 7, 9}, {12, 0, 0}};
    ASSERT_EQ(changed.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(changed[i].label, expected[i].label);
        EXPECT_EQ(changed[i].x, expected[i].x);
        EXPECT_EQ(changed[i].y, expected[i].y);
    }
    EXPECT_TRUE(ChangedAnchors(after, after).empty());
    EXPECT_EQ(ChangedAnchors({}, after).size(), after.size());
}

}  // namespace

}  // namespace Korvane
