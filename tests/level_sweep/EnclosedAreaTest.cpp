#include "enclosed/EnclosedArea.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "WordParts.h"

namespace {

using level_sweep::BitPlane;
using level_sweep::PixelRun;

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

/// A pixel's letter: '.' is neither, 'i' inside, 'r' on the ring.
using Letters = std::vector<std::string>;

Letters Blank(int width, int height) {
    return Letters(static_cast<std::size_t>(height), std::string(static_cast<std::size_t>(width), '.'));
}

char& At(Letters& letters, int x, int y) { return letters[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)]; }

/// 4-connected flood of '.' from a pixel.
void Flood(Letters& letters, int x, int y, char letter) {
    std::vector<std::pair<int, int>> waiting{{x, y}};
    while (!waiting.empty()) {
        const auto [u, v] = waiting.back();
        waiting.pop_back();
        if (u < 0 || v < 0 || v >= static_cast<int>(letters.size()) || u >= static_cast<int>(letters[0].size()))
            continue;
        if (At(letters, u, v) != '.') continue;
        At(letters, u, v) = letter;
        for (const auto& [dx, dy] : {std::pair{0, -1}, {0, 1}, {-1, 0}, {1, 0}}) waiting.emplace_back(u + dx, v + dy);
    }
}

/// The same as EnclosedArea, pixel by pixel over the whole picture; '#' are lines.
Letters Plain(const Letters& lines, int seedX, int seedY) {
    Letters filled = lines;
    Flood(filled, seedX, seedY, 'i');
    const int width = static_cast<int>(lines[0].size());
    const int height = static_cast<int>(lines.size());
    // The box that is looked at: one more pixel on every side.
    int x0 = width, x1 = 0, y0 = height, y1 = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (At(filled, x, y) != 'i') {
                At(filled, x, y) = '.';
                continue;
            }
            x0 = std::max(std::min(x0, x - 1), 0);
            x1 = std::min(std::max(x1, x + 1), width - 1);
            y0 = std::max(std::min(y0, y - 1), 0);
            y1 = std::min(std::max(y1, y + 1), height - 1);
        }
    }
    Letters box;
    for (int y = y0; y <= y1; ++y) {
        box.push_back(filled[static_cast<std::size_t>(y)].substr(static_cast<std::size_t>(x0),
                                                                 static_cast<std::size_t>(x1 - x0 + 1)));
    }
    for (int y = 0; y <= y1 - y0; ++y) {
        for (int x = 0; x <= x1 - x0; ++x) {
            if (x == 0 || y == 0 || x == x1 - x0 || y == y1 - y0) Flood(box, x, y, 'o');
        }
    }
    Letters result = Blank(width, height);
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            if (At(box, x - x0, y - y0) != 'o') At(result, x, y) = 'i';
        }
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (At(result, x, y) != '.') continue;
            for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
                for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width - 1); ++u) {
                    if (At(result, u, v) == 'i') At(result, x, y) = 'r';
                }
            }
        }
    }
    return result;
}

Letters Found(level_sweep::EnclosedArea& area, const Letters& lines, int seedX, int seedY) {
    const int width = static_cast<int>(lines[0].size());
    const int height = static_cast<int>(lines.size());
    BitPlane isLine(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (lines[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#') isLine.Add(x, y);
        }
    }
    Letters result = Blank(width, height);
    area.Find(
        korvane_test::PartsOf(width, height, {{seedY, seedX, seedX}}),
        [&](int column, int y) { return isLine[isLine.Grid().WordAt(column * 64, y)]; },
        [&](std::size_t word, BitPlane::Word inside, BitPlane::Word ring) {
            EXPECT_EQ(inside & ring, 0u);
            for (BitPlane::Word left = inside | ring; left != 0; left &= left - 1) {
                const int x = area.Grid().FirstXOf(word) + level_sweep::LowestBit(left);
                const int y = area.Grid().RowOf(word);
                ASSERT_TRUE(x < width && y >= 0 && y < height);
                EXPECT_EQ(At(result, x, y), '.') << "a word came twice";
                At(result, x, y) = (inside & level_sweep::BitGrid::Bit(x)) != 0 ? 'i' : 'r';
            }
        });
    area.CheckInvariants();
    return result;
}

TEST(EnclosedArea, AreaHolesAndRingAreThoseOfFloodsPixelByPixel) {
    for (std::uint32_t seed = 1; seed <= 600; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 1, seed % 2 == 0 ? 200 : 20);
        const int height = Between(random, 1, 40);
        const int share = Between(random, 0, 60);
        level_sweep::EnclosedArea area(width, height);
        for (int tries = 0; tries < 4; ++tries) {
            Letters lines = Blank(width, height);
            for (std::string& row : lines) {
                for (char& letter : row) letter = Between(random, 0, 99) < share ? '#' : '.';
            }
            const int x = Between(random, 0, width - 1);
            const int y = Between(random, 0, height - 1);
            At(lines, x, y) = '.';
            ASSERT_EQ(Found(area, lines, x, y), Plain(lines, x, y)) << "seed " << seed << ", try " << tries;
        }
    }
}

/// A spiral of one pixel's width: floods go round word by word.
TEST(EnclosedArea, FollowsASpiralAndLeavesTheWayBetweenItsTurnsOutside) {
    constexpr int side = 151;
    Letters lines(side, std::string(side, '#'));
    int x = 75;
    int y = 75;
    int dx = 1;
    int dy = 0;
    At(lines, x, y) = '.';
    for (int length = 2; length < 146; length += 2) {
        for (int twice = 0; twice < 2; ++twice) {
            for (int i = 0; i < length; ++i) {
                x += dx;
                y += dy;
                At(lines, x, y) = '.';
            }
            const int before = dx;
            dx = -dy;
            dy = before;
        }
    }
    level_sweep::EnclosedArea area(side, side);
    Letters found = Found(area, lines, 75, 75);
    EXPECT_EQ(found, Plain(lines, 75, 75));
    EXPECT_EQ(At(found, 75, 75), 'i');
    EXPECT_EQ(At(found, 75, 76), 'r');
}

}  // namespace
