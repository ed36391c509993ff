// Components and distances while a map changes: the invariants of the structures after every step, and what they are
// built of against plain forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "components/LockstepSearch.h"
#include "components/PixelSurroundings.h"
#include "components/ShrinkingComponents.h"

namespace {

using level_sweep::BitPlane;
using level_sweep::PixelPosition;
using level_sweep::ShrinkingComponents;

int Between(std::mt19937& random, int first, int last) {
    return first + static_cast<int>(random() % static_cast<unsigned>(last - first + 1));
}

std::vector<PixelPosition> PixelsOf(const BitPlane& plane) {
    std::vector<PixelPosition> pixels;
    for (int y = 0; y < plane.Height(); ++y) {
        for (int x = 0; x < plane.Width(); ++x) {
            if (plane.Has(x, y)) pixels.push_back({x, y});
        }
    }
    return pixels;
}

BitPlane CopyOf(const BitPlane& plane) {
    BitPlane copy(plane.Width(), plane.Height());
    for (const PixelPosition& at : PixelsOf(plane)) copy.Add(at.x, at.y);
    return copy;
}

/// The 4-connected component of a pixel, removed from the plane.
std::vector<PixelPosition> Cut(BitPlane& plane, PixelPosition start) {
    std::vector<PixelPosition> component{start};
    plane.Remove(start.x, start.y);
    for (std::size_t i = 0; i < component.size(); ++i) {
        for (const auto& [dx, dy] : {std::pair{0, -1}, {1, 0}, {0, 1}, {-1, 0}}) {
            const PixelPosition at{component[i].x + dx, component[i].y + dy};
            const bool inside = at.x >= 0 && at.y >= 0 && at.x < plane.Width() && at.y < plane.Height();
            if (inside && plane.Has(at.x, at.y)) {
                plane.Remove(at.x, at.y);
                component.push_back(at);
            }
        }
    }
    return component;
}

BitPlane RandomPlane(std::mt19937& random, int width, int height, int percent) {
    BitPlane plane(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (Between(random, 0, 99) < percent) plane.Add(x, y);
        }
    }
    return plane;
}

TEST(PixelSurroundings, GroupsAreTheRunsOfOpenPixelsThatContainASide) {
    constexpr std::array<unsigned, 8> bitOf{1, 2, 5, 8, 7, 6, 3, 0};
    for (unsigned open = 0; open < 512; ++open) {
        const auto isOpen = [&](std::size_t i) { return (open >> bitOf[i % 8] & 1u) != 0; };
        int runs = 0;
        int closed = 0;
        for (std::size_t i = 0; i < 8; ++i) {
            closed += isOpen(i) ? 0 : 1;
            if (!isOpen(i) && isOpen(i + 1)) {
                bool hasSide = false;
                for (std::size_t k = i + 1; isOpen(k); ++k) hasSide = hasSide || k % 2 == 0;
                runs += hasSide ? 1 : 0;
            }
        }
        const level_sweep::PixelSurroundings& around = level_sweep::kSurroundings[open];
        EXPECT_EQ(around.count, closed == 0 ? 1 : runs) << open;
        EXPECT_EQ(around.anyClosed != 0, closed > 0) << open;
        for (std::size_t g = 0; g < around.count; ++g) {
            EXPECT_TRUE(isOpen(around.open[g])) << open;
            EXPECT_TRUE(closed == 0 || !isOpen(around.gap[g])) << open;
        }
    }
}

TEST(LockstepSearch, ExtractsTheComponentOfAPixelInRasterOrder) {
    std::mt19937 random(5);
    for (int trial = 0; trial < 60; ++trial) {
        BitPlane open = RandomPlane(random, Between(random, 1, 200), Between(random, 1, 20), Between(random, 40, 80));
        BitPlane expected = CopyOf(open);
        const std::vector<PixelPosition> pixels = PixelsOf(open);
        if (pixels.empty()) continue;
        const PixelPosition start = pixels[random() % pixels.size()];
        const std::size_t size = Cut(expected, start).size();
        level_sweep::LockstepSearch search;
        std::size_t count = 0;
        std::int32_t last = -1;
        for (const auto& part : search.Extract(start, open)) {
            ASSERT_GT(part.word, last) << "trial " << trial;
            last = part.word;
            level_sweep::ForEachBit(part.pixels, [&](std::size_t) { ++count; });
        }
        ASSERT_EQ(count, size) << "trial " << trial;
        for (std::size_t word = 0; word < open.Grid().Words(); ++word) {
            ASSERT_EQ(open[static_cast<std::int32_t>(word)], expected[static_cast<std::int32_t>(word)]) << trial;
        }
    }
}

TEST(ShrinkingComponents, InvariantsHoldAfterEveryRemovalAndEveryTaking) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 1, seed % 3 == 0 ? 140 : 30);
        const int height = Between(random, 1, 24);
        BitPlane plain = RandomPlane(random, width, height, Between(random, 60, 100));
        const std::int64_t limit = Between(random, 0, 60);
        ShrinkingComponents components(CopyOf(plain), limit);
        components.CheckInvariants();
        for (int step = 0; step < 25; ++step) {
            std::vector<PixelPosition> pixels = PixelsOf(plain);
            std::shuffle(pixels.begin(), pixels.end(), random);
            pixels.resize(std::min(pixels.size(), static_cast<std::size_t>(Between(random, 0, 40))));
            for (const PixelPosition& at : pixels) plain.Remove(at.x, at.y);
            components.Remove(pixels);
            components.CheckInvariants();
            if (step % 3 != 2) continue;
            BitPlane unseen = CopyOf(plain);
            std::vector<std::pair<std::int32_t, std::size_t>> expected;
            for (const PixelPosition& at : PixelsOf(plain)) {
                if (!unseen.Has(at.x, at.y)) continue;
                const std::vector<PixelPosition> component = Cut(unseen, at);
                if (static_cast<std::int64_t>(component.size()) > limit) continue;
                expected.emplace_back(at.y * width + at.x, component.size());
                for (const PixelPosition& pixel : component) plain.Remove(pixel.x, pixel.y);
            }
            std::vector<std::pair<std::int32_t, std::size_t>> taken;
            for (const level_sweep::TakenComponent& component : components.TakeSmall()) {
                taken.emplace_back(component.first, static_cast<std::size_t>(component.area));
            }
            ASSERT_EQ(taken, expected) << "seed " << seed << ", step " << step;
            components.CheckInvariants();
        }
    }
}

}  // namespace
