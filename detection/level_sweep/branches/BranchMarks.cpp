#include "branches/BranchMarks.h"

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
    for (TilesInRow* rows : {&withNoted_, &withEnds_}) {
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
    Note(word, x, y, false);
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
    Note(word, x, y, isFork || counts[0] > limitPx_);
}

void BranchMarks::Note(std::size_t word, int x, int y, bool isNoted) {
    words_[word].noted = With(words_[word].noted, ColumnGrid::Bit(x), isNoted);
    TileEnds& tile = tiles_[TileAt(x, y)];
    tile.notedRows = With(tile.notedRows, ColumnGrid::Bit(y), words_[word].noted != 0);
}

// Without a mark that waits for its end only noted ends matter.
const BranchMarks::TilesInRow& BranchMarks::TilesToLookAt(std::size_t tileRow) {
    if (!IsMarkDue()) {
        return withNoted_;
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
    const Word noted = words_[word].noted & wanted;
    if (noted == 0 && !IsMarkDue()) {
        return;
    }
    const bool mayFork = tiles_[TileAt(x0, y)].forks != 0;
    if (moved_ == 0 && !mayFork) {
        for (Word left = noted; left != 0; left ^= Highest(left)) {
            marked_.ends.push_back({x0 + BitGrid::HighestBit(left), y});
        }
        return;
    }
    if (!IsMarkDue()) {
        due_.clear();
        nextDue_ = 0;
        passed_ = 0;
    }
    const Word ends = words_[word].ends & wanted;
    Number(word, ends, noted, mayFork);
    Pass(x0, y, ends);
}

// Finds the ends that are marked for what was counted in a word.
void BranchMarks::Number(std::size_t word, Word ends, Word noted, bool mayFork) {
    for (; noted != 0; noted ^= Highest(noted)) {
        const std::size_t end = passed_ + CountOf(ends & ~(Highest(noted) | (Highest(noted) - 1)));
        const auto fork = mayFork ? forks_.find(KeyOf(word, BitGrid::HighestBit(noted))) : forks_.end();
        if (fork == forks_.end()) {
            due_.push_back(end + moved_);
            continue;
        }
        for (std::size_t i = 0; i < fork->second.size(); ++i) {
            if (fork->second[i] > limitPx_) {
                due_.push_back(end + moved_ + i);
            }
        }
        moved_ += fork->second.size() - 1;
    }
}

// `end`: the number of a word's first end.
void BranchMarks::MarkDue(int x0, int y, Word ends, std::size_t end) {
    for (; IsMarkDue() && due_[nextDue_] < passed_; ++nextDue_) {
        for (; end < due_[nextDue_]; ++end) {
            ends ^= Highest(ends);
        }
        marked_.ends.push_back({x0 + BitGrid::HighestBit(ends), y});
    }
}

}  // namespace level_sweep
