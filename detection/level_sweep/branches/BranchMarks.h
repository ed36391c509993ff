#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"
#include "branches/MarkedBranches.h"

namespace level_sweep {

/// The ends of branches, how many pixels the path of each counted, and which of these ends are marked.
///
/// Rules of marking, for the ends that are wanted:
/// - Counts are kept under numbers. The last end in raster order starts with the highest number, and the number falls
///   by one whenever a line ends. The ends have the numbers from the first one, 2, up in raster order.
/// - A count above the limit marks the end that has its number. A fork lets more lines end than there are ends: from
///   there on, every count is under the number of an end further up.
/// - Counts under a number below that of the first end have no end. If one of them is above the limit, it marks the
///   map's first pixel: row 0, column 0.
///
///     ends, last first     a   b   c   d   e   f        b is a fork with the counts b1 and b2
///     counts               a   b1  b2  c   d   e        the count of d, if above the limit, marks e
///
/// As long as no mark is pending, that is waits for its end, only rows of tiles with a long branch or a fork are read.
///
/// Invariants:
/// 1. A tile's rows with ends, and with notable ends, are those of its words.
/// 2. Notable ends are ends. Each fork is one.
/// 3. Forks have more than one count, and each tile counts its forks.
/// 4. Outside of Marked no tile is wanted.
class BranchMarks {
public:
    using Word = ColumnGrid::Word;

    /// Borrows the grid, of an image of this size, for its lifetime. Branches longer than `limitPx` are marked.
    BranchMarks(const ColumnGrid& grid, int width, int height, int limitPx);

    /// An end that has come, or gone.
    void Add(int x, int y);
    void Remove(int x, int y);
    /// The counts of an end's path, one for each line that ended.
    void SetCounts(int x, int y, const std::vector<std::int32_t>& counts);

    /// Marks branches among the ends in `tiles`, of 64 x 64 pixels from (x0, y0) on, that are bits of isWanted(tile,
    /// row). Cost: the tiles; and of their rows with ends those that have a long branch or a fork, or lie between one
    /// and the end that it marks.
    template <typename Tiles, typename IsWanted>
    MarkedBranches Marked(const Tiles& tiles, IsWanted isWanted);

    /// Of a word of the grid.
    Word EndsIn(std::size_t word) const { return words_[word].ends; }
    void CheckInvariants() const;

private:
    static constexpr int kSide = 64;
    struct Ends {
        Word ends;
        Word notable;  // those with a count above the limit, or more than one count
    };
    struct TileEnds {
        Word rows;           // those with ends
        Word notableRows;    // those with notable ones
        std::int32_t forks;  // ends with more than one count
    };
    /// Of a row of tiles, those with ends of a kind, by row of pixels.
    struct TilesInRow {
        Word rows = 0;                               // any bit below
        std::array<std::vector<Word>, kSide> tiles;  // of each row of pixels, a bit for each tile
    };

    std::size_t TileAt(int x, int y) const {
        return static_cast<std::size_t>(y >> 6) * tilesPerRow_ + static_cast<std::size_t>(x >> 6);
    }
    static std::size_t KeyOf(std::size_t word, int bit) { return word << 6 | static_cast<std::size_t>(bit); }
    void SetNotable(std::size_t word, int x, int y, Word bit);

    template <typename IsWanted>
    void MarkInTiles(std::size_t tileRow, IsWanted isWanted);
    const TilesInRow& TilesToRead(std::size_t tileRow);
    void Gather(std::size_t tileRow, Word TileEnds::*rows, TilesInRow& found) const;
    void MarkIn(int x0, int y, Word wanted);
    void NumberCounts(std::size_t word, Word ends, Word notable, bool mayFork);
    void CountEnds(int x0, int y, Word ends) {
        const std::size_t end = endsSoFar_;
        endsSoFar_ += static_cast<std::size_t>(__builtin_popcountll(ends));
        if (IsMarkPending() && pending_[nextPending_] < endsSoFar_) {
            MarkPending(x0, y, ends, end);
        }
    }
    void MarkPending(int x0, int y, Word ends, std::size_t end);
    bool IsMarkPending() const { return nextPending_ < pending_.size(); }

    const ColumnGrid& grid_;
    int limitPx_;
    std::size_t tilesPerRow_;
    std::size_t tileRows_;
    std::size_t masksPerRow_;  // words with a bit for each tile of a row of tiles
    ZeroedArray<Ends> words_;  // by words of the grid
    ZeroedArray<TileEnds> tiles_;
    std::unordered_map<std::size_t, std::vector<std::int32_t>> forks_;  // the counts of ends with more than one

    std::vector<Word> wantedTiles_;
    // Of the row of tiles that is being marked.
    TilesInRow withNotable_;
    TilesInRow withEnds_;
    bool isGathered_ = false;  // withEnds_ holds this row of tiles
    // The progress of marking.
    MarkedBranches marked_;
    std::size_t surplus_ = 0;           // counts so far beyond one for each end
    std::vector<std::size_t> pending_;  // ends to be marked: how many ends come before each
    std::size_t nextPending_ = 0;       // index of the first of them still to come
    std::size_t endsSoFar_ = 0;         // ends so far
};

template <typename Tiles, typename IsWanted>
MarkedBranches BranchMarks::Marked(const Tiles& tiles, IsWanted isWanted) {
    marked_ = MarkedBranches{};
    surplus_ = 0;
    pending_.clear();
    nextPending_ = 0;
    for (const auto& tile : tiles) {
        const std::size_t first = static_cast<std::size_t>(tile.y0 / kSide) * masksPerRow_;
        wantedTiles_[first + static_cast<std::size_t>(tile.x0 / kSide) / 64] |= BitGrid::Bit(tile.x0 / kSide);
    }
    for (std::size_t tileRow = tileRows_; tileRow-- > 0;) {
        MarkInTiles(tileRow, isWanted);
    }
    std::fill(wantedTiles_.begin(), wantedTiles_.end(), Word{0});
    // A mark that is still pending after the first end has no end.
    marked_.mapOrigin = IsMarkPending();
    return std::move(marked_);
}

// Row by row from the last one up, each from its right end.
template <typename IsWanted>
void BranchMarks::MarkInTiles(std::size_t tileRow, IsWanted isWanted) {
    Gather(tileRow, &TileEnds::notableRows, withNotable_);
    isGathered_ = false;
    Word rowsLeft = ~Word{0};
    while (const Word rows = TilesToRead(tileRow).rows & rowsLeft) {
        const int row = BitGrid::HighestBit(rows);
        rowsLeft = BitGrid::Bit(row) - 1;
        for (std::size_t mask = masksPerRow_; mask-- > 0;) {
            Word tilesLeft = ~Word{0};
            while (const Word tiles = TilesToRead(tileRow).tiles[static_cast<std::size_t>(row)][mask] & tilesLeft) {
                const int bit = BitGrid::HighestBit(tiles);
                tilesLeft = BitGrid::Bit(bit) - 1;
                const int x0 = (static_cast<int>(mask) * 64 + bit) * kSide;
                const int y0 = static_cast<int>(tileRow) * kSide;
                const Word wanted = isWanted(x0, y0, row);
                const std::size_t word = grid_.WordAt(x0, y0 + row);
                __builtin_prefetch(words_.data() + word - 8);
                if ((withNotable_.tiles[static_cast<std::size_t>(row)][mask] & BitGrid::Bit(bit)) != 0) {
                    MarkIn(x0, y0 + row, wanted);
                } else {
                    CountEnds(x0, y0 + row, words_[word].ends & wanted);
                }
            }
        }
    }
}

}  // namespace level_sweep
