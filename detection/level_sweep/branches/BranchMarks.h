#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bits/BitGrid.h"
#include "branches/MarkedBranches.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The ends of branches with how many pixels their traces counted, as far as marking asks for it, and the marks among
/// some of the ends.
///
/// Counts go to consecutive numbers from the last end's downwards, one for each line that ends. A fork has several, so
/// it moves all that come after it on by an end: what is counted for one then marks an end further up. As long as no
/// mark waits for its end, only rows of tiles that have a long branch or a fork are looked at.
class BranchMarks {
public:
    using Word = ColumnGrid::Word;

    /// Borrows the grid, of a picture of this size, for its lifetime. Branches longer than `limitPx` are marked.
    BranchMarks(const ColumnGrid& grid, int width, int height, int limitPx);

    /// An end that is new, or gone.
    void Add(int x, int y);
    void Remove(int x, int y);
    /// How many pixels were counted for an end: a number for each line that ended.
    void SetCounts(int x, int y, const std::vector<std::int32_t>& counts);

    /// Marks branches among the ends in `tiles`, of 64 x 64 pixels from (x0, y0) on, that are bits of isWanted(tile,
    /// row). Cost: the tiles; and of their rows with ends those that have a long branch or a fork, or lie between one
    /// and the mark it leads to.
    template <typename Tiles, typename IsWanted>
    MarkedBranches Marked(const Tiles& tiles, IsWanted isWanted);

private:
    static constexpr int kSide = 64;
    struct Ends {
        Word ends;
        Word noted;  // those with a long first line, or more than one count
    };
    struct TileEnds {
        Word rows;           // those with ends
        Word notedRows;      // those with noted ones
        std::int32_t forks;  // ends with more than one count
    };
    /// Of a row of tiles, the ones that are looked at.
    struct TilesInRow {
        Word rows = 0;                               // any bit below
        std::array<std::vector<Word>, kSide> tiles;  // of each row of pixels, a bit for each tile
    };

    std::size_t TileAt(int x, int y) const {
        return static_cast<std::size_t>(y >> 6) * tilesPerRow_ + static_cast<std::size_t>(x >> 6);
    }
    static std::size_t KeyOf(std::size_t word, int bit) { return word << 6 | static_cast<std::size_t>(bit); }
    void Note(std::size_t word, int x, int y, bool isNoted);

    template <typename IsWanted>
    void MarkInTiles(std::size_t tileRow, IsWanted isWanted);
    const TilesInRow& TilesToLookAt(std::size_t tileRow);
    void Gather(std::size_t tileRow, Word TileEnds::*rows, TilesInRow& found) const;
    void MarkIn(int x0, int y, Word wanted);
    void Number(std::size_t word, Word ends, Word noted, bool mayFork);
    void Pass(int x0, int y, Word ends) {
        const std::size_t end = passed_;
        passed_ += static_cast<std::size_t>(__builtin_popcountll(ends));
        if (IsMarkDue() && due_[nextDue_] < passed_) {
            MarkDue(x0, y, ends, end);
        }
    }
    void MarkDue(int x0, int y, Word ends, std::size_t end);
    bool IsMarkDue() const { return nextDue_ < due_.size(); }

    const ColumnGrid& grid_;
    int limitPx_;
    std::size_t tilesPerRow_;
    std::size_t tileRows_;
    std::size_t masksPerRow_;  // words with a bit for each tile of a row of tiles
    ZeroedArray<Ends> words_;  // by words of the grid
    ZeroedArray<TileEnds> tiles_;
    std::unordered_map<std::size_t, std::vector<std::int32_t>> forks_;  // the counts of ends with more than one

    std::vector<Word> wantedTiles_;
    // The rows of the row of tiles that is being marked.
    TilesInRow withNoted_;
    TilesInRow withEnds_;
    bool isGathered_ = false;  // withEnds_ is
    // How far the marking has come.
    MarkedBranches marked_;
    std::size_t moved_ = 0;         // how many more counts than ends there were
    std::vector<std::size_t> due_;  // ends to be marked, by their number
    std::size_t nextDue_ = 0;       // index of the first of them that has not been met
    std::size_t passed_ = 0;        // number of the next end
};

template <typename Tiles, typename IsWanted>
MarkedBranches BranchMarks::Marked(const Tiles& tiles, IsWanted isWanted) {
    marked_ = MarkedBranches{};
    moved_ = 0;
    due_.clear();
    nextDue_ = 0;
    for (const auto& tile : tiles) {
        const std::size_t first = static_cast<std::size_t>(tile.y0 / kSide) * masksPerRow_;
        wantedTiles_[first + static_cast<std::size_t>(tile.x0 / kSide) / 64] |= BitGrid::Bit(tile.x0 / kSide);
    }
    for (std::size_t tileRow = tileRows_; tileRow-- > 0;) {
        MarkInTiles(tileRow, isWanted);
    }
    std::fill(wantedTiles_.begin(), wantedTiles_.end(), Word{0});
    // What is left over when there are no more ends marks the map's first pixel.
    marked_.mapOrigin = IsMarkDue();
    return std::move(marked_);
}

// Row by row from the last one up, each from its right end.
template <typename IsWanted>
void BranchMarks::MarkInTiles(std::size_t tileRow, IsWanted isWanted) {
    Gather(tileRow, &TileEnds::notedRows, withNoted_);
    isGathered_ = false;
    Word rowsLeft = ~Word{0};
    while (const Word rows = TilesToLookAt(tileRow).rows & rowsLeft) {
        const int row = BitGrid::HighestBit(rows);
        rowsLeft = BitGrid::Bit(row) - 1;
        for (std::size_t mask = masksPerRow_; mask-- > 0;) {
            Word tilesLeft = ~Word{0};
            while (const Word tiles = TilesToLookAt(tileRow).tiles[static_cast<std::size_t>(row)][mask] & tilesLeft) {
                const int bit = BitGrid::HighestBit(tiles);
                tilesLeft = BitGrid::Bit(bit) - 1;
                const int x0 = (static_cast<int>(mask) * 64 + bit) * kSide;
                const int y0 = static_cast<int>(tileRow) * kSide;
                const Word wanted = isWanted(x0, y0, row);
                const std::size_t word = grid_.WordAt(x0, y0 + row);
                __builtin_prefetch(words_.data() + word - 8);
                if ((withNoted_.tiles[static_cast<std::size_t>(row)][mask] & BitGrid::Bit(bit)) != 0) {
                    MarkIn(x0, y0 + row, wanted);
                } else {
                    Pass(x0, y0 + row, words_[word].ends & wanted);
                }
            }
        }
    }
}

}  // namespace level_sweep
