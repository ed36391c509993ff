#include "branches/BranchMarks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bits/ColumnGrid.h"
#include "support/Random.h"

namespace {

using level_sweep::BranchMarks;
using level_sweep::ColumnGrid;

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

using Position = std::pair<int, int>;  // y, x
/// Counts by their end, last end first.
using Ends = std::map<Position, std::vector<std::int32_t>, std::greater<>>;

struct Tile {
    int x0;
    int y0;
};

struct Marks {
    std::vector<Position> ends;
    bool mapOrigin = false;
};

/// Numbers all counts and all ends that are wanted.
Marks PlainMarks(const Ends& ends, const std::function<bool(Position)>& isWanted, int limit) {
    std::vector<Position> positions;
    std::vector<std::int32_t> numbered;
    for (const auto& [position, counts] : ends) {
        if (!isWanted(position)) continue;
        positions.push_back(position);
        numbered.insert(numbered.end(), counts.begin(), counts.end());
    }
    Marks marks;
    for (std::size_t i = 0; i < numbered.size(); ++i) {
        if (numbered[i] <= limit) continue;
        if (i < positions.size()) {
            marks.ends.push_back(positions[i]);
        } else {
            marks.mapOrigin = true;
        }
    }
    return marks;
}

void ChangeEnds(std::mt19937& random, int width, int height, int forksPerMille, BranchMarks& marks, Ends& ends) {
    const auto newCounts = [&] {
        std::vector<std::int32_t> counts;
        const int lines = Between(random, 0, 999) < forksPerMille ? Between(random, 2, 5) : 1;
        for (int i = 0; i < lines; ++i) counts.push_back(Between(random, 1, 12));
        return counts;
    };
    for (int i = Between(random, 0, 400); i > 0; --i) {
        const Position at{Between(random, 0, height - 1), Between(random, 0, width - 1)};
        if (ends.count(at) == 0) marks.Add(at.second, at.first);
        ends[at] = newCounts();
        marks.SetCounts(at.second, at.first, ends[at]);
    }
    for (auto end = ends.begin(); end != ends.end();) {
        const int what = Between(random, 0, 9);
        if (what == 0) {
            marks.Remove(end->first.second, end->first.first);
            end = ends.erase(end);
            continue;
        }
        if (what == 1) {
            end->second = newCounts();
            marks.SetCounts(end->first.second, end->first.first, end->second);
        }
        ++end;
    }
}

void ExpectPlainMarks(std::mt19937& random, int width, int height, int limit, BranchMarks& marks, const Ends& ends) {
    std::vector<Tile> tiles;
    std::set<std::pair<int, int>> isTileWanted;
    const int share = Between(random, 1, 10);
    for (int y0 = 0; y0 < height; y0 += 64) {
        for (int x0 = 0; x0 < width; x0 += 64) {
            if (Between(random, 1, 10) > share) continue;
            tiles.push_back({x0, y0});
            isTileWanted.insert({y0, x0});
        }
    }
    korvane_test::Shuffle(random, tiles);
    const int dropped = Between(random, 2, 9);
    const auto isWanted = [&](Position at) {
        return (at.first + at.second) % dropped != 0 &&
               isTileWanted.count({at.first / 64 * 64, at.second / 64 * 64}) != 0;
    };
    const Marks expected = PlainMarks(ends, isWanted, limit);
    const level_sweep::MarkedBranches found = marks.Marked(tiles, [&](int x0, int y0, int row) {
        EXPECT_TRUE(isTileWanted.count({y0, x0}) != 0) << "a tile that is not wanted is asked for";
        ColumnGrid::Word wanted = 0;
        for (int x = x0; x < x0 + 64; ++x) wanted |= isWanted({y0 + row, x}) ? ColumnGrid::Bit(x) : 0;
        return wanted;
    });
    std::vector<Position> positions;
    for (const level_sweep::PixelPosition& end : found.ends) positions.emplace_back(end.y, end.x);
    ASSERT_EQ(positions, expected.ends);
    ASSERT_EQ(found.mapOrigin, expected.mapOrigin);
    marks.CheckInvariants();
}

// With no forks, so few that marks wait for their ends here and there, and so many that they nearly always do.
TEST(BranchMarks, AreThoseOfNumberingAllEndsAndCounts) {
    int originsMarked = 0;
    for (const auto& [width, height] : {std::pair{700, 300}, std::pair{9000, 140}, std::pair{64, 64}, std::pair{1, 500},
                                        std::pair{130, 65}, std::pair{4097, 63}}) {
        for (const int forksPerMille : {0, 3, 30, 300}) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + ", " + std::to_string(forksPerMille) +
                         " forks of 1000 ends");
            std::mt19937 random(static_cast<std::uint32_t>(width + forksPerMille));
            const ColumnGrid grid(width, height);
            const int limit = Between(random, 6, 11);
            BranchMarks marks(grid, width, height, limit);
            Ends ends;
            for (int round = 0; round < 40; ++round) {
                ChangeEnds(random, width, height, forksPerMille, marks, ends);
                ExpectPlainMarks(random, width, height, limit, marks, ends);
                if (::testing::Test::HasFailure()) return;
                originsMarked += PlainMarks(
                                     ends, [](Position) { return true; }, limit)
                                         .mapOrigin
                                     ? 1
                                     : 0;
            }
        }
    }
    EXPECT_GT(originsMarked, 0);
}

}  // namespace
