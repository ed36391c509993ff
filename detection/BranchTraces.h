#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

#include "BitGrid.h"
#include "BranchPruning.h"
#include "NetworkSkeleton.h"
#include "StripGrid.h"
#include "TracePath.h"
#include "WaitingPixels.h"
#include "ZeroedArray.h"

namespace Korvane {

/// The traces of the open branches of a skeleton, from their ends inwards, as PruneBranches makes them, kept up while
/// the skeleton changes.
///
/// Ends are traced from the last one to the first, each on what the ones before it left. So whether a line's pixel is
/// there for a trace is told by the end whose trace took it: it is, when that end comes before the tracing one in
/// raster order. Where lines change, the traces that have to do with it are made again, last one first, and then those
/// that have to do with what these take or leave.
class BranchTraces {
public:
    using Word = StripGrid::Word;

    /// Borrows the skeleton, of a picture of this size, for its lifetime. Branches longer than `limitPx` are marked.
    BranchTraces(const NetworkSkeleton& skeleton, int width, int height, int limitPx);

    /// To be called after every update of the skeleton.
    void Update();

    /// Whether a pixel is of a line and no trace takes it away.
    bool IsLineLeft(int x, int y) const { return (lines_[grid_.WordAt(x, y)].left & StripGrid::Bit(x)) != 0; }

    /// The same for the pixels in row y from column 64 * column on.
    Word LinesLeftIn(int column, int y) const { return lines_[grid_.WordAt(column * 64, y)].left; }

    /// 64 pixels each way from (x0, y0), both multiples of 64.
    struct Tile {
        int x0;
        int y0;
    };
    /// Marks long branches among the ends in the tiles that are bits of isWanted(tile, row), a word for a row of
    /// the tile; whose lines no other ends' traces may reach. Cost: the rows of the tiles, and the ends found.
    template <typename IsWanted>
    MarkedBranches Marked(std::vector<Tile> tiles, IsWanted isWanted);

private:
    /// A pixel's place in raster order.
    using Rank = std::uint32_t;
    static constexpr Rank kBeyondAll = UINT32_MAX;

    /// What is around a trace is asked for often, and kept together. No pixel is two of these.
    struct Lines {
        Word left;   // pixels of lines that no trace took
        Word taken;  // by a trace, but the one that is being made
        Word mine;   // taken by that one
        Word All() const { return left | taken | mine; }
    };
    struct Ends {
        Word traced;         // ends with a trace; all, once those that are none any more have been removed
        Word isLong;         // those with a first line longer than the limit
        Word robbed;         // those whose trace has lost pixels to others and is to be made again
        std::int32_t first;  // trace of an end of this word: index + 1, or 0
    };
    /// A cache line.
    struct alignas(64) Trace {
        static constexpr std::size_t kStepsAtHand = 47;
        std::size_t size;  // of its path; longer ones are in longPaths_
        Rank end;
        std::int32_t next;  // trace of another end of the same word: index + 1, or 0
        bool forks;         // has more than one count, which are in forkCounts_
        std::array<TracePath::Code, kStepsAtHand> path;
    };
    /// A pixel and where to look for it.
    struct Place {
        Lines* lines;
        int bit;
        int x;
        int y;
    };
    struct EndsOfTile {
        int x0;
        Word rows;
        std::array<Word, 64> ends;
        std::array<Word, 64> isLong;
    };
    /// For ends with forks a count for each line that ended; last end first.
    using ForkCounts = std::map<Rank, std::vector<std::int32_t>, std::greater<>>;
    /// How far the ends that are being marked have been gone through, last one first.
    struct Marking {
        MarkedBranches marked;
        std::vector<std::size_t> longOnes;  // numbers of the counts above the limit
        std::size_t next = 0;               // index of the first of them that has no end yet
        std::size_t ends = 0;
        std::size_t counts = 0;
        ForkCounts::const_iterator fork;  // the next
        void NoteCount(bool isLong) {
            if (isLong) {
                longOnes.push_back(counts);
            }
            ++counts;
        }
    };
    static constexpr std::size_t kNotedRows = 64;
    /// Changes in words above each other.
    struct NotedChanges {
        std::size_t first = 0;  // word of the first row
        std::size_t top = kNotedRows;
        std::size_t bottom = 0;
        std::array<Word, kNotedRows> changed{};
    };
    /// What a trace took when it was made last, as far as that lies in these words above each other.
    struct PixelsBefore {
        std::size_t first = 0;
        std::array<Word, kNotedRows> pixels{};
    };

    Rank RankOf(int x, int y) const { return static_cast<Rank>(y) << rankShift_ | static_cast<Rank>(x); }
    PixelPosition PositionOf(Rank rank) const {
        const Rank y = rank >> rankShift_;
        return {static_cast<int>(rank ^ y << rankShift_), static_cast<int>(y)};
    }
    std::size_t TileAt(int x, int y) const {
        return static_cast<std::size_t>(y >> 6) * tilesPerRow_ + static_cast<std::size_t>(x >> 6);
    }
    // Owners lie in blocks of 4 x 4, a cache line each.
    std::size_t OwnerAt(int x, int y) const {
        const std::size_t block = static_cast<std::size_t>(y >> 2) * blocksPerRow_ + static_cast<std::size_t>(x >> 2);
        return block << 4 | static_cast<std::size_t>((y & 3) << 2 | (x & 3));
    }
    void Touch(int x, int y);
    void TouchRank(Rank end) {
        const PixelPosition at = PositionOf(end);
        Touch(at.x, at.y);
    }
    void FetchTraces();
    void TouchTracesOf(std::size_t word, Word pixels, Rank before);
    void TouchAround(std::size_t word, Word changed, Rank before);
    void TouchAroundSides(std::size_t word, Word changed, Rank before);
    void TouchNoted(Rank before);

    void RemoveEnds();
    void Retrace(PixelPosition end);
    void Release(std::size_t word, const Trace& trace);
    void Follow(PixelPosition end, Rank rank);
    Place PlaceOf(PixelPosition at);
    Place PlaceBeside(const Place& place, int step) const;
    unsigned OpenAround(const Place& place, Rank end) const;
    unsigned OpenAtSide(const Place& place, Rank end) const;
    unsigned TakenBefore(unsigned taken, const Place& around, Rank end) const;
    bool IsAtBorder(int x, int y) const { return x == 0 || x + 1 == width_ || y == 0 || y + 1 == height_; }
    unsigned BeyondAround(int aroundX, int aroundY) const;
    void Take(const Place& place, Rank end);
    void Rob(Rank end);
    void TellAround(Rank end);

    std::int32_t FindTrace(std::size_t word, Rank end) const;
    std::int32_t AddTrace(std::size_t word, Rank end);
    void RemoveTrace(std::size_t word, std::int32_t number);
    void Keep(std::size_t word, Trace& trace);
    void Forget(const Trace& trace);
    void BeginMarking();
    void MarkInTiles(std::size_t tiles, int y0, Word rows);
    void MarkInWord(int x0, int y, Word ends, Word isLong);
    void NoteForked(Rank first, Word ends, Word isLong);
    MarkedBranches EndMarking();

    const NetworkSkeleton& skeleton_;
    const StripGrid grid_;
    int width_;
    int height_;
    int limitPx_;
    int rankShift_;
    std::size_t blocksPerRow_;
    ZeroedArray<Lines> lines_;
    ZeroedArray<Ends> ends_;
    std::size_t tilesPerRow_;
    ZeroedArray<Word> rowsWithEnds_;  // per tile
    ZeroedArray<Rank> owner_;         // of pixels that are taken: end whose trace took it
    std::vector<Trace> traces_;
    std::vector<std::int32_t> unused_;  // traces without an end
    std::unordered_map<Rank, std::vector<TracePath::Code>> longPaths_;
    ForkCounts forkCounts_;

    WaitingPixels waiting_;
    // The first ends that wait: what is asked for ahead of time has to stay in the cache until then.
    static constexpr std::size_t kMostFetched = 1024;
    std::vector<PixelPosition> toFetch_;
    // Of the trace that is being made.
    TracePath path_;
    std::vector<std::int32_t> counts_;
    std::vector<PixelPosition> stack_;
    std::vector<WordPixels> released_;
    std::vector<WordPixels> taken_;  // words with pixels taken, and those of them that are new to it
    NotedChanges noted_;
    PixelsBefore before_;
    std::vector<EndsOfTile> tilesInRow_;
    Marking marking_;
};

template <typename IsWanted>
MarkedBranches BranchTraces::Marked(std::vector<Tile> tiles, IsWanted isWanted) {
    std::sort(tiles.begin(), tiles.end(),
              [](const Tile& a, const Tile& b) { return a.y0 != b.y0 ? a.y0 > b.y0 : a.x0 > b.x0; });
    BeginMarking();
    for (auto first = tiles.begin(); first != tiles.end();) {
        std::size_t found = 0;
        Word rows = 0;
        const int y0 = first->y0;
        for (; first != tiles.end() && first->y0 == y0; ++first) {
            if (found == tilesInRow_.size()) {
                tilesInRow_.emplace_back();
            }
            EndsOfTile& tile = tilesInRow_[found++];
            tile.x0 = first->x0;
            tile.rows = 0;
            for (Word left = rowsWithEnds_[TileAt(first->x0, y0)]; left != 0; left &= left - 1) {
                const int row = BitGrid::Lowest(left);
                const Ends& at = ends_[grid_.WordAt(first->x0, y0 + row)];
                const Word ends = at.traced & isWanted(*first, row);
                tile.rows |= ends != 0 ? StripGrid::Bit(row) : 0;
                tile.ends[static_cast<std::size_t>(row)] = ends;
                tile.isLong[static_cast<std::size_t>(row)] = ends & at.isLong;
            }
            rows |= tile.rows;
        }
        MarkInTiles(found, y0, rows);
    }
    return EndMarking();
}

}  // namespace Korvane
