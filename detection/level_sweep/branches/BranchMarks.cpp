#include "branches/BranchMarks.h"

#include "Assert.h"

namespace level_sweep {
namespace {

using Word = ColumnGrid::Word;

Word Highest(Word bits) { return Word{1} << BitGrid::HighestBit(bits); }

std::size_t CountOf(Word bits) { return static_cast<std::size_t>(__builtin_popcountll(bits)); }

Word With(Word bits, Word bit, bool isSet) { return isSet ? bits | bit : bits & ~bit; }

}  // namespace

BranchMarks::BranchMarks(const ColumnGrid& grid, int width, int height, int limitPx)
    : grid_(grid),
      limitPx_(limitPx),
      tilesPerRow_((static_cast<std::size_t>(width) + kSide - 1) / kSide),
      tileRows_((static_cast<std::size_t>(height) + kSide - 1) / kSide),
      masksPerRow_((tilesPerRow_ + 63) / 64),
      words_(grid.Words()),
      tiles_(tilesPerRow_ * tileRows_),
      wantedTiles_(tileRows_ * masksPerRow_) {
    for (TilesInRow* rows : {&withNotable_, &withEnds_}) {
        rows->tiles.fill(std::vector<Word>(masksPerRow_));
    }
}

void BranchMarks::Add(int x, int y) {
    words_[grid_.WordAt(x, y)].ends |= ColumnGrid::Bit(x);
    tiles_[TileAt(x, y)].rows |= ColumnGrid::Bit(y);
}

void BranchMarks::Remove(int x, int y) {
    const std::size_t word = grid_.WordAt(x, y);
    words_[word].ends &= ~ColumnGrid::Bit(x);
    TileEnds& tile = tiles_[TileAt(x, y)];
    tile.rows = With(tile.rows, ColumnGrid::Bit(y), words_[word].ends != 0);
    tile.forks -= tile.forks > 0 && forks_.erase(KeyOf(word, x & 63)) > 0 ? 1 : 0;
    SetNotable(word, x, y, 0);
}

void BranchMarks::SetCounts(int x, int y, const std::vector<std::int32_t>& counts) {
    const std::size_t word = grid_.WordAt(x, y);
    std::int32_t& forks = tiles_[TileAt(x, y)].forks;
    const bool isFork = counts.size() > 1;
    if (isFork) {
        forks += forks_.insert_or_assign(KeyOf(word, x & 63), counts).second ? 1 : 0;
    } else if (forks > 0) {
        forks -= forks_.erase(KeyOf(word, x & 63)) > 0 ? 1 : 0;
    }
    SetNotable(word, x, y, isFork || counts[0] > limitPx_ ? ColumnGrid::Bit(x) : 0);
}

// `bit`: that of the end if it is notable, otherwise 0.
void BranchMarks::SetNotable(std::size_t word, int x, int y, Word bit) {
    words_[word].notable = (words_[word].notable & ~ColumnGrid::Bit(x)) | bit;
    TileEnds& tile = tiles_[TileAt(x, y)];
    tile.notableRows = With(tile.notableRows, ColumnGrid::Bit(y), words_[word].notable != 0);
}

// Only notable ends matter while no mark is pending.
const BranchMarks::TilesInRow& BranchMarks::TilesToRead(std::size_t tileRow) {
    if (!IsMarkPending()) {
        return withNotable_;
    }
    if (!isGathered_) {
        isGathered_ = true;
        Gather(tileRow, &TileEnds::rows, withEnds_);
    }
    return withEnds_;
}

void BranchMarks::Gather(std::size_t tileRow, Word TileEnds::*rows, TilesInRow& found) const {
    for (Word left = found.rows; left != 0; left &= left - 1) {
        std::vector<Word>& tiles = found.tiles[static_cast<std::size_t>(BitGrid::LowestBit(left))];
        std::fill(tiles.begin(), tiles.end(), Word{0});
    }
    found.rows = 0;
    for (std::size_t mask = 0; mask < masksPerRow_; ++mask) {
        const TileEnds* tiles = &tiles_[tileRow * tilesPerRow_ + mask * 64];
        for (Word left = wantedTiles_[tileRow * masksPerRow_ + mask]; left != 0; left &= left - 1) {
            const int tile = BitGrid::LowestBit(left);
            found.rows |= tiles[tile].*rows;
            for (Word row = tiles[tile].*rows; row != 0; row &= row - 1) {
                found.tiles[static_cast<std::size_t>(BitGrid::LowestBit(row))][mask] |= BitGrid::Bit(tile);
            }
        }
    }
}

void BranchMarks::MarkIn(int x0, int y, Word wanted) {
    const std::size_t word = grid_.WordAt(x0, y);
    const Word notable = words_[word].notable & wanted;
    if (notable == 0 && !IsMarkPending()) {
        return;
    }
    const bool mayFork = tiles_[TileAt(x0, y)].forks != 0;
    if (surplus_ == 0 && !mayFork) {
        for (Word left = notable; left != 0; left ^= Highest(left)) {
            marked_.ends.push_back({x0 + BitGrid::HighestBit(left), y});
        }
        return;
    }
    if (!IsMarkPending()) {
        pending_.clear();
        nextPending_ = 0;
        endsSoFar_ = 0;
    }
    const Word ends = words_[word].ends & wanted;
    NumberCounts(word, ends, notable, mayFork);
    CountEnds(x0, y, ends);
}

// Finds which ends the counts of a word mark.
void BranchMarks::NumberCounts(std::size_t word, Word ends, Word notable, bool mayFork) {
    for (; notable != 0; notable ^= Highest(notable)) {
        const std::size_t end = endsSoFar_ + CountOf(ends & ~(Highest(notable) | (Highest(notable) - 1)));
        const auto fork = mayFork ? forks_.find(KeyOf(word, BitGrid::HighestBit(notable))) : forks_.end();
        if (fork == forks_.end()) {
            pending_.push_back(end + surplus_);
            continue;
        }
        for (std::size_t i = 0; i < fork->second.size(); ++i) {
            if (fork->second[i] > limitPx_) {
                pending_.push_back(end + surplus_ + i);
            }
        }
        surplus_ += fork->second.size() - 1;
    }
}

// `end`: how many ends come before those of the word.
void BranchMarks::MarkPending(int x0, int y, Word ends, std::size_t end) {
    for (; IsMarkPending() && pending_[nextPending_] < endsSoFar_; ++nextPending_) {
        for (; end < pending_[nextPending_]; ++end) {
            ends ^= Highest(ends);
        }
        marked_.ends.push_back({x0 + BitGrid::HighestBit(ends), y});
    }
}

void BranchMarks::CheckInvariants() const {
    std::vector<std::int32_t> forks(tiles_.size());
    for (const auto& [key, counts] : forks_) {
        const std::size_t word = key >> 6;
        const int bit = static_cast<int>(key & 63);
        KORVANE_ASSERT(counts.size() > 1);                                   // 3
        KORVANE_ASSERT((words_[word].notable & ColumnGrid::Bit(bit)) != 0);  // 2
        ++forks[TileAt(grid_.FirstXOf(word) + bit, grid_.RowOf(word))];
    }
    std::vector<TileEnds> expected(tiles_.size());
    for (std::size_t word = 0; word < words_.size(); ++word) {
        const Ends& at = words_[word];
        KORVANE_ASSERT((at.notable & ~at.ends) == 0);  // 2
        if (at.ends != 0) {
            TileEnds& tile = expected[TileAt(grid_.FirstXOf(word), grid_.RowOf(word))];
            tile.rows |= ColumnGrid::Bit(grid_.RowOf(word));
            tile.notableRows |= at.notable != 0 ? ColumnGrid::Bit(grid_.RowOf(word)) : 0;
        }
    }
    for (std::size_t tile = 0; tile < tiles_.size(); ++tile) {
        KORVANE_ASSERT(tiles_[tile].rows == expected[tile].rows);                // 1
        KORVANE_ASSERT(tiles_[tile].notableRows == expected[tile].notableRows);  // 1
        KORVANE_ASSERT(tiles_[tile].forks == forks[tile]);                       // 3
    }
    for (const Word tiles : wantedTiles_) {
        KORVANE_ASSERT(tiles == 0);  // 4
    }
}

}  // namespace level_sweep
