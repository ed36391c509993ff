#include "network/PieceTiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using level_sweep::PieceTiles;
using level_sweep::PixelRun;
using level_sweep::TileGrid;

constexpr char kNeither = '.';
constexpr char kRegion = 'r';
constexpr char kPatch = 'p';

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

using Map = std::vector<std::string>;
using Pixels = std::vector<std::pair<int, int>>;  // rows and columns, in raster order

bool IsAmong(const std::vector<PieceTiles::PieceAt>& pieces, PieceTiles::PieceAt at) {
    return std::any_of(pieces.begin(), pieces.end(), [&](const PieceTiles::PieceAt& other) {
        return other.tile == at.tile && other.piece == at.piece;
    });
}

PieceTiles::PieceAt Numbered(std::int32_t tile, std::size_t number) {
    return {tile, static_cast<std::int32_t>(number)};
}

void RelabelPatch(PieceTiles& tiles, PieceTiles::PieceAt at) {
    level_sweep::PieceSet relabelled{};
    relabelled[static_cast<std::size_t>(at.piece) / 64] = PieceTiles::BitOf(at);
    tiles.RelabelPatches(at.tile, relabelled);
}

/// The pieces of the same tile that a piece is linked with.
std::vector<PieceTiles::PieceAt> LinkedWith(const PieceTiles& tiles, PieceTiles::PieceAt at) {
    std::vector<PieceTiles::PieceAt> linked;
    const std::size_t here = static_cast<std::size_t>(at.piece) / 64;
    for (std::size_t i = 0; i < tiles.MaskCount(at.tile); ++i) {
        level_sweep::ForEachBit(tiles.LinkedWith(at.tile, here, PieceTiles::BitOf(at), i),
                                [&](std::size_t bit) { linked.push_back(Numbered(at.tile, i * 64 + bit)); });
    }
    return linked;
}

/// The pieces of other tiles that a piece has contacts with.
std::vector<PieceTiles::PieceAt> AdjacentInOtherTiles(PieceTiles& tiles, PieceTiles::PieceAt at) {
    std::vector<PieceTiles::PieceAt> adjacent;
    const std::size_t here = static_cast<std::size_t>(at.piece) / 64;
    for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
        if ((tiles.AtBorder(at.tile, here, direction) & PieceTiles::BitOf(at)) == 0) continue;
        const PieceTiles::Contacts contacts = tiles.ContactsOf(at.tile, direction);
        for (const level_sweep::PieceContacts::Contact* contact = contacts.first; contact != contacts.last; ++contact) {
            if (contact->here == at.piece) adjacent.push_back(Numbered(contacts.tile, contact->there));
        }
    }
    return adjacent;
}

/// A piece and those of its kind that are linked with it, directly or not: some were patches and have been relabelled.
std::vector<PieceTiles::PieceAt> GroupOf(PieceTiles& tiles, PieceTiles::PieceAt at) {
    std::vector<PieceTiles::PieceAt> group{at};
    for (std::size_t i = 0; i < group.size(); ++i) {
        for (const PieceTiles::PieceAt& near : LinkedWith(tiles, group[i])) {
            if (tiles.IsPatch(near) == tiles.IsPatch(at) && !IsAmong(group, near)) group.push_back(near);
        }
    }
    return group;
}

Pixels PixelsOf(const PieceTiles& tiles, const std::vector<PieceTiles::PieceAt>& group) {
    Pixels pixels;
    for (const PieceTiles::PieceAt& at : group) {
        for (int row = 0; row < PieceTiles::kSide; ++row) {
            for (int x = 0; x < PieceTiles::kSide; ++x) {
                if ((tiles.PixelsOfRow(at, row) >> x & 1u) != 0) {
                    pixels.emplace_back(tiles.Grid().North(at.tile) + row, tiles.Grid().West(at.tile) + x);
                }
            }
        }
    }
    std::sort(pixels.begin(), pixels.end());
    return pixels;
}

/// The pixels of the same kind and tile that are connected with one, by looking at one after the other.
Pixels PieceByLooking(const Map& map, int x, int y) {
    const auto width = static_cast<int>(map[0].size());
    const auto height = static_cast<int>(map.size());
    Pixels found{{y, x}};
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (int v = found[i].first - 1; v <= found[i].first + 1; ++v) {
            for (int u = found[i].second - 1; u <= found[i].second + 1; ++u) {
                if (u < 0 || v < 0 || u >= width || v >= height || u / 64 != x / 64 || v / 64 != y / 64) continue;
                if (map[static_cast<std::size_t>(v)][static_cast<std::size_t>(u)] !=
                    map[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)]) {
                    continue;
                }
                if (std::find(found.begin(), found.end(), std::pair<int, int>{v, u}) == found.end()) {
                    found.emplace_back(v, u);
                }
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool AreAdjacent(const Pixels& a, const Pixels& b) {
    for (const auto& p : a) {
        for (const auto& q : b) {
            if (std::abs(p.first - q.first) <= 1 && std::abs(p.second - q.second) <= 1) return true;
        }
    }
    return false;
}

/// The groups that a group is adjacent to, by their first pixels.
Pixels NeighboursOf(PieceTiles& tiles, const std::vector<PieceTiles::PieceAt>& group) {
    Pixels first;
    for (const PieceTiles::PieceAt& at : group) {
        std::vector<PieceTiles::PieceAt> adjacent = AdjacentInOtherTiles(tiles, at);
        const std::vector<PieceTiles::PieceAt> linked = LinkedWith(tiles, at);
        adjacent.insert(adjacent.end(), linked.begin(), linked.end());
        for (const PieceTiles::PieceAt& near : adjacent) {
            if (!IsAmong(group, near)) first.push_back(PixelsOf(tiles, GroupOf(tiles, near)).front());
        }
    }
    std::sort(first.begin(), first.end());
    first.erase(std::unique(first.begin(), first.end()), first.end());
    return first;
}

void ExpectPiecesByLooking(PieceTiles& tiles, const Map& map) {
    std::vector<std::pair<std::vector<PieceTiles::PieceAt>, Pixels>> groups;
    for (int y = 0; y < static_cast<int>(map.size()); ++y) {
        for (int x = 0; x < static_cast<int>(map[0].size()); ++x) {
            const char kind = map[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
            if (kind == kNeither) continue;
            const PieceTiles::PieceAt at = tiles.Find(x, y);
            ASSERT_EQ(tiles.IsPatch(at), kind == kPatch) << "column " << x << ", row " << y;
            const std::vector<PieceTiles::PieceAt> group = GroupOf(tiles, at);
            Pixels pixels = PixelsOf(tiles, group);
            if (pixels.front() != std::pair<int, int>{y, x}) continue;
            ASSERT_EQ(pixels, PieceByLooking(map, x, y)) << "column " << x << ", row " << y;
            groups.emplace_back(group, std::move(pixels));
        }
    }
    for (const auto& [group, pixels] : groups) {
        Pixels expected;
        for (const auto& [other, otherPixels] : groups) {
            if (&otherPixels != &pixels && AreAdjacent(pixels, otherPixels)) expected.push_back(otherPixels.front());
        }
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(NeighboursOf(tiles, group), expected);
    }
}

/// Calls the tiles' and the map's changes by runs and pieces at random.
void ChangeAtRandom(std::mt19937& random, PieceTiles& tiles, Map& map) {
    const auto width = static_cast<int>(map[0].size());
    for (int i = Between(random, 1, 60); i > 0; --i) {
        const int y = Between(random, 0, static_cast<int>(map.size()) - 1);
        const int x0 = Between(random, 0, width - 1);
        const PixelRun run{y, x0, std::min(x0 + Between(random, 0, 70), width - 1)};
        std::string& row = map[static_cast<std::size_t>(y)];
        for (int x = run.x0; x <= run.x1; ++x) {
            if (row[static_cast<std::size_t>(x)] != kNeither) continue;
            row[static_cast<std::size_t>(x)] = kPatch;
            tiles.AddPatch(x / PieceTiles::kSide, y, level_sweep::BitGrid::Bit(x));
        }
        const PieceTiles::PieceAt at = tiles.Find(run.x1, y);
        if (i % 2 == 0 && tiles.IsPatch(at)) {
            for (const auto& [v, u] : PixelsOf(tiles, {at})) {
                map[static_cast<std::size_t>(v)][static_cast<std::size_t>(u)] = kRegion;
            }
            RelabelPatch(tiles, at);
        }
        if (i % 3 == 0) {
            tiles.ClearRegion(run);
            for (int x = run.x0; x <= run.x1; ++x) {
                char& kind = row[static_cast<std::size_t>(x)];
                kind = kind == kRegion ? kPatch : kind;
            }
        }
    }
}

void ExpectPatchesAround(const PieceTiles& tiles, const Map& map) {
    const int width = static_cast<int>(map[0].size());
    const int height = static_cast<int>(map.size());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            bool expected = false;
            for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
                for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width - 1); ++u) {
                    expected = expected || map[static_cast<std::size_t>(v)][static_cast<std::size_t>(u)] == kPatch;
                }
            }
            ASSERT_EQ(tiles.Pixels().IsPatchAround(x, y), expected) << "column " << x << ", row " << y;
        }
    }
}

TEST(PieceTiles, PiecesAndTheirNeighboursAreThoseOfTheMapAfterAnyChange) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 1, 150);
        const int height = Between(random, 1, 100);
        Map map(static_cast<std::size_t>(height), std::string(static_cast<std::size_t>(width), kNeither));
        PieceTiles tiles(width, height);
        for (int step = 0; step < 6; ++step) {
            ChangeAtRandom(random, tiles, map);
            tiles.CheckInvariants();
            ExpectPiecesByLooking(tiles, map);
            ExpectPatchesAround(tiles, map);
            tiles.CheckInvariants();
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(PieceTiles, PiecesAndTheirNeighboursAreThoseOfTheMapWhereATileHasMoreThanAMaskOfThem) {
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        Map map(70, std::string(75, kNeither));
        PieceTiles tiles(75, 70);
        for (int y = 0; y < 70; ++y) {
            for (int x = y % 2; x < 75; x += 2) {  // those of a kind are not adjacent
                if (Between(random, 0, 3) == 0) continue;
                const bool isPatch = y % 2 != 0;
                map[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = isPatch ? kPatch : kRegion;
                const PieceTiles::Word pixel = level_sweep::BitGrid::Bit(x);
                tiles.AddRow(tiles.Grid().TileAt(x, y), y, isPatch ? 0 : pixel, isPatch ? pixel : 0);
            }
        }
        ExpectPiecesByLooking(tiles, map);
        EXPECT_GT(tiles.MaskCount(0), 20u) << "pieces in many masks were wanted";
        ChangeAtRandom(random, tiles, map);
        ExpectPiecesByLooking(tiles, map);
        tiles.CheckInvariants();
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(PieceTiles, PixelsOfPiecesAreTheSameFromFewOfThemAndFromMany) {
    std::mt19937 random(11);
    Map map(64, std::string(64, kNeither));
    PieceTiles tiles(64, 64);
    for (int step = 0; step < 20; ++step) {
        ChangeAtRandom(random, tiles, map);
        tiles.Refresh(0);
        level_sweep::PieceSet wanted{};
        Pixels expected;
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                if (map[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == kNeither) continue;
                const PieceTiles::PieceAt at = tiles.Find(x, y);
                if (at.piece % 5 >= 1 + step % 4) continue;
                wanted[static_cast<std::size_t>(at.piece) / 64] |= PieceTiles::BitOf(at);
                expected.emplace_back(y, x);
            }
        }
        level_sweep::TileRows pixels;
        tiles.FindPixels(0, wanted, pixels);
        Pixels found;
        for (std::size_t y = 0; y < pixels.size(); ++y) {
            level_sweep::ForEachBit(
                pixels[y], [&](std::size_t x) { found.emplace_back(static_cast<int>(y), static_cast<int>(x)); });
        }
        ASSERT_EQ(found, expected) << "step " << step;
    }
}

PieceTiles::Word Columns(int first, int last) {
    return (level_sweep::BitGrid::Bit(last) << 1) - level_sweep::BitGrid::Bit(first);
}

TEST(PieceTiles, APatchThatIsRelabelledAndClearedAgainIsThePatchThatItWas) {
    PieceTiles tiles(40, 3);
    tiles.AddRow(0, 1, Columns(2, 9), Columns(10, 20));
    const PieceTiles::PieceAt patch = tiles.Find(15, 1);
    RelabelPatch(tiles, patch);
    EXPECT_FALSE(tiles.IsPatch(tiles.Find(15, 1)));
    EXPECT_EQ(PixelsOf(tiles, GroupOf(tiles, tiles.Find(15, 1))).size(), 19u);
    tiles.ClearRegion({1, 10, 20});
    EXPECT_TRUE(tiles.IsPatch(tiles.Find(15, 1)));
    EXPECT_EQ(PixelsOf(tiles, GroupOf(tiles, tiles.Find(15, 1))).size(), 11u);
    RelabelPatch(tiles, tiles.Find(15, 1));
    tiles.ClearRegion({1, 30, 35});                               // of neither kind
    tiles.AddPatch(0, 1, Columns(30, 30));                        // away from the rest
    EXPECT_EQ(PixelsOf(tiles, {tiles.Find(15, 1)}).size(), 19u);  // found again, as one
}

TEST(PieceTiles, RegionChangesAreReportedOnceAndOnlyIfTheyStay) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 1, 150);
        Map map(static_cast<std::size_t>(Between(random, 1, 100)),
                std::string(static_cast<std::size_t>(width), kNeither));
        PieceTiles tiles(width, static_cast<int>(map.size()));
        Map written = map;
        for (int step = 0; step < 6; ++step) {
            ChangeAtRandom(random, tiles, map);
            tiles.TakeRegionChanges([&](std::int32_t tile, int y, PieceTiles::Word gained, PieceTiles::Word lost) {
                for (int i = 0; i < PieceTiles::kSide; ++i) {
                    if (((gained | lost) >> i & 1u) == 0) continue;
                    const bool gains = (gained >> i & 1u) != 0;
                    char& kind =
                        written[static_cast<std::size_t>(y)][static_cast<std::size_t>(tiles.Grid().West(tile) + i)];
                    ASSERT_EQ(kind == kRegion, !gains);
                    kind = gains ? kRegion : kNeither;
                }
            });
            for (std::size_t y = 0; y < map.size(); ++y) {
                for (std::size_t x = 0; x < map[y].size(); ++x) {
                    ASSERT_EQ(written[y][x] == kRegion, map[y][x] == kRegion) << "column " << x << ", row " << y;
                }
            }
            tiles.TakeRegionChanges([](std::int32_t, int, PieceTiles::Word, PieceTiles::Word) { FAIL(); });
        }
    }
}

}  // namespace
