#include "network/TileLabelling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ios>
#include <random>
#include <utility>
#include <vector>

#include "network/TileFlood.h"

namespace {

using level_sweep::TilePiece;
using level_sweep::TileRows;
using qvox::InstructionSet;
using Word = level_sweep::BitGrid::Word;
using Pixels = std::vector<std::pair<int, int>>;  // rows and columns, in raster order

bool IsSet(const TileRows& rows, int x, int y) { return (rows[static_cast<std::size_t>(y)] >> x & 1u) != 0; }

/// From few pixels to nearly all; blots, single ones and long lines.
TileRows RandomTile(std::mt19937_64& random, int round) {
    TileRows rows;
    for (std::size_t y = 0; y < rows.size(); ++y) {
        rows[y] = random();
        if (round % 5 == 0) rows[y] &= random() & random();
        if (round % 5 == 1) rows[y] |= random() | random();
        if (round % 5 == 2) rows[y] = y % 4 == 0 ? ~Word{0} : Word{1} << (y / 4 % 2 == 0 ? 63 : 0);  // a serpentine
        if (round % 5 == 3) rows[y] = y > 0 && y % 3 != 0 ? rows[y - 1] : rows[y] & rows[y] << 1;
    }
    return rows;
}

Pixels PieceByLooking(const TileRows& rows, int x, int y) {
    TileRows remaining = rows;
    const auto take = [&](int u, int v) { remaining[static_cast<std::size_t>(v)] &= ~(Word{1} << u); };
    Pixels found{{y, x}};
    take(x, y);
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (int v = std::max(found[i].first - 1, 0); v <= std::min(found[i].first + 1, 63); ++v) {
            for (int u = std::max(found[i].second - 1, 0); u <= std::min(found[i].second + 1, 63); ++u) {
                if (!IsSet(remaining, u, v)) continue;
                take(u, v);
                found.emplace_back(v, u);
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

Pixels PixelsOf(const TilePiece& piece, const Word* rows) {
    Pixels pixels;
    for (int y = piece.y0; y <= piece.y1; ++y) {
        level_sweep::ForEachBit(rows[static_cast<int>(piece.rows) + y - piece.y0],
                                [&](std::size_t x) { pixels.emplace_back(y, static_cast<int>(x)); });
    }
    return pixels;
}

void ExpectSides(const TilePiece& piece, const Pixels& pixels) {
    Word north = 0, south = 0, west = 0, east = 0, columns = 0;
    for (const auto& [y, x] : pixels) {
        north |= y == 0 ? Word{1} << x : 0;
        south |= y == 63 ? Word{1} << x : 0;
        west |= x == 0 ? Word{1} << y : 0;
        east |= x == 63 ? Word{1} << y : 0;
        columns |= Word{1} << x;
    }
    EXPECT_EQ(piece.north, north);
    EXPECT_EQ(piece.south, south);
    EXPECT_EQ(piece.west, west);
    EXPECT_EQ(piece.east, east);
    EXPECT_EQ(piece.columns, columns);
    EXPECT_EQ(piece.y0, pixels.front().first);
    EXPECT_EQ(piece.y1, pixels.back().first);
}

bool AreAdjacent(const Pixels& a, const Pixels& b) {
    return std::any_of(a.begin(), a.end(), [&](const auto& p) {
        return std::any_of(b.begin(), b.end(), [&](const auto& q) {
            return std::abs(p.first - q.first) <= 1 && std::abs(p.second - q.second) <= 1;
        });
    });
}

class TileLabellingTest : public ::testing::TestWithParam<InstructionSet> {
protected:
    void SetUp() override {
        if (!qvox::RunsHere(GetParam())) GTEST_SKIP() << "not run by this processor";
    }
};

// The processors that use it are few: it is held to the plain form on all that can run it.
TEST(TileFlood, RunsFoundByAnAdditionAreThoseOfTheDoublingSteps) {
    if (!__builtin_cpu_supports("bmi2") || !__builtin_cpu_supports("avx2")) GTEST_SKIP() << "not run by this processor";
    std::mt19937_64 random(1);
    for (int round = 0; round < 20000; ++round) {
        const Word open = round % 2 == 0 ? random() : random() | random() | random();
        Word seeds = open & random() & random();
        if (round % 7 == 0) seeds = 0;
        if (round % 11 == 0) seeds = open;
        ASSERT_EQ(level_sweep::tile_flood::Bmi2Carry::RunsContaining(seeds, open),
                  level_sweep::RunsContaining(seeds, open))
            << std::hex << seeds << " in " << open;
    }
    EXPECT_EQ(level_sweep::tile_flood::Bmi2Carry::RunsContaining(Word{1} << 40, ~Word{0}), ~Word{0});
}

TEST_P(TileLabellingTest, PiecesAreTheConnectedPixels) {
    std::mt19937_64 random(3);
    level_sweep::TilePieces found;
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const TileRows rows = RandomTile(random, round);
        level_sweep::FindTilePiecesWith(GetParam(), rows, found);
        TileRows covered{};
        for (const TilePiece& piece : found.pieces) {
            const Pixels pixels = PixelsOf(piece, found.rows.data());
            ASSERT_FALSE(pixels.empty());
            ASSERT_EQ(pixels, PieceByLooking(rows, pixels[0].second, pixels[0].first));
            ExpectSides(piece, pixels);
            for (const auto& [y, x] : pixels) {
                ASSERT_FALSE(IsSet(covered, x, y)) << "in two pieces: column " << x << ", row " << y;
                covered[static_cast<std::size_t>(y)] |= Word{1} << x;
            }
        }
        ASSERT_EQ(covered, rows);
    }
}

TEST_P(TileLabellingTest, ChangesAreThePixelsThatDifferAndThoseAroundThem) {
    std::mt19937_64 random(4);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const TileRows before = RandomTile(random, round);
        TileRows now = before;
        for (int i = 0; i < round; ++i) now[random() % 64] ^= Word{1} << random() % 64;
        level_sweep::TileChanges changes;
        level_sweep::FindTileChangesWith(GetParam(), now, before, changes);
        Word columns = 0;
        for (int y = -1; y <= 64; ++y) {
            Word expected = 0;
            for (int v = std::max(y - 1, 0); v <= std::min(y + 1, 63); ++v) {
                expected |=
                    level_sweep::DilateRow(now[static_cast<std::size_t>(v)] ^ before[static_cast<std::size_t>(v)]);
            }
            ASSERT_EQ(changes.rows[static_cast<std::size_t>(y + 1)], expected) << "row " << y;
            columns |= expected;
            if (y < 0 || y > 63) continue;
            ASSERT_EQ(changes.inRows >> y & 1u, expected != 0 ? 1u : 0u) << "row " << y;
            const auto at = static_cast<std::size_t>(y);
            ASSERT_EQ(changes.added[at], now[at] & ~before[at]) << "row " << y;
        }
        ASSERT_EQ(changes.inColumns, columns);
    }
}

TEST_P(TileLabellingTest, PiecesAdjacentToAPieceHaveAPixelAdjacentToOneOfIts) {
    std::mt19937_64 random(6);
    level_sweep::TilePieces one;
    level_sweep::TilePieces others;
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const TileRows rows = RandomTile(random, round);
        TileRows free = RandomTile(random, round / 5);
        for (std::size_t y = 0; y < rows.size(); ++y) free[y] &= ~rows[y];
        level_sweep::FindTilePiecesWith(GetParam(), rows, one);
        level_sweep::FindTilePiecesWith(GetParam(), free, others);
        // As in a tile: all rows in one place.
        std::vector<Word> all(others.rows.data(), others.rows.data() + others.rowCount);
        const auto firstRow = static_cast<std::uint32_t>(all.size());
        all.insert(all.end(), one.rows.data(), one.rows.data() + one.rowCount);
        others.pieces.resize(std::min<std::size_t>(others.pieces.size(), 64));
        level_sweep::TileShapes shapes{};
        std::vector<Pixels> pixels;
        for (std::size_t i = 0; i < others.pieces.size(); ++i) {
            shapes.columns[i] = others.pieces[i].columns;
            shapes.rows[i] = level_sweep::BitsFromTo(others.pieces[i].y0, others.pieces[i].y1);
            pixels.push_back(PixelsOf(others.pieces[i], all.data()));
        }
        for (TilePiece piece : one.pieces) {
            piece.rows += firstRow;
            const Word among = random() | random();
            Word expected = 0;
            for (std::size_t i = 0; i < pixels.size(); ++i) {
                expected |= Word{AreAdjacent(PixelsOf(piece, all.data()), pixels[i])} << i & among;
            }
            ASSERT_EQ(level_sweep::FindAdjacentTilePiecesWith(GetParam(), piece, others.pieces.data(), shapes, among,
                                                              all.data()),
                      expected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, TileLabellingTest,
                         ::testing::Values(InstructionSet::kBaseline, InstructionSet::kAvx2, InstructionSet::kAvx512));

}  // namespace
