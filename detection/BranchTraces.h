#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

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
    static constexpr Rank kNobody = UINT32_MAX;

    struct Lines {
        Word left;
        Word taken;   // by a trace, but the one that is being made
        Word mine;    // taken by that one
        Word traced;  // ends with a trace
        Word All() const { return left | taken | mine; }
    };
    struct Ends {
        Word traced;
        Word isLong;         // those whose first line is longer than the limit
        Word forks;          // those with more than one
        std::int32_t first;  // trace of an end of this word: index + 1, or 0
    };
    /// A cache line.
    struct Trace {
        static constexpr std::size_t kStepsAtHand = 48;
        Rank end;
        std::int32_t next;  // trace of another end of the same word: index + 1, or 0
        std::size_t size;   // of its path; longer ones are in longPaths_
        std::array<TracePath::Code, kStepsAtHand> path;
    };
    struct Place {
        Lines* lines;
        int bit;
        PixelPosition at;
    };
    struct FoundEnds {
        std::size_t word;
        int x0;
        int y;
        Word ends;
    };
    static constexpr std::size_t kNotedRows = 64;
    /// Changes in words above each other.
    struct NotedChanges {
        std::size_t first = 0;  // word of the first row
        std::size_t top = kNotedRows;
        std::size_t bottom = 0;
        std::array<Word, kNotedRows> changed{};
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
    void Release(const Trace& trace);
    void Follow(PixelPosition end, Rank rank);
    Place PlaceOf(PixelPosition at);
    Place PlaceBeside(const Place& place, int step) const;
    unsigned OpenAround(const Place& place, Rank end) const;
    unsigned OpenAtSide(const Place& place, Rank end) const;
    unsigned TakenBefore(unsigned taken, PixelPosition around, Rank end) const;
    bool IsAtBorder(PixelPosition at) const {
        return at.x == 0 || at.x + 1 == width_ || at.y == 0 || at.y + 1 == height_;
    }
    unsigned BeyondAround(PixelPosition at) const;
    void Take(const Place& place, Rank end);
    void TellAround(Rank end);
    void Leave(std::size_t word, Word pixels);

    std::int32_t FindTrace(std::size_t word, Rank end) const;
    std::int32_t AddTrace(std::size_t word, Rank end);
    void RemoveTrace(std::size_t word, std::int32_t number);
    void Keep(std::size_t word, Trace& trace);
    void Forget(std::size_t word, const Trace& trace);
    MarkedBranches MarkFound();
    std::size_t NoteLongOnes(const FoundEnds& found, std::size_t number);

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
    ZeroedArray<Rank> owner_;         // end whose trace took the pixel; kNobody where one took it and left it again
    std::vector<Trace> traces_;
    std::vector<std::int32_t> unused_;  // traces without an end
    std::unordered_map<Rank, std::vector<TracePath::Code>> longPaths_;
    std::unordered_map<Rank, std::vector<std::int32_t>> forkCounts_;  // one for each line that ended

    WaitingPixels waiting_;
    static constexpr std::size_t kMostFetched = 1024;
    std::vector<PixelPosition> toFetch_;
    // Of the trace that is being made.
    TracePath path_;
    std::vector<std::int32_t> counts_;
    std::vector<PixelPosition> stack_;
    std::vector<WordPixels> released_;
    std::vector<WordPixels> taken_;  // words with pixels taken, and those of them that are new to it
    NotedChanges noted_;
    // Of the ends that are being marked, last one first.
    std::vector<FoundEnds> found_;
    std::vector<std::size_t> longOnes_;  // numbers of counts above the limit
};

template <typename IsWanted>
MarkedBranches BranchTraces::Marked(std::vector<Tile> tiles, IsWanted isWanted) {
    std::sort(tiles.begin(), tiles.end(),
              [](const Tile& a, const Tile& b) { return a.y0 != b.y0 ? a.y0 > b.y0 : a.x0 > b.x0; });
    found_.clear();
    for (auto first = tiles.begin(); first != tiles.end();) {
        auto last = first;
        Word rows = 0;
        for (; last != tiles.end() && last->y0 == first->y0; ++last) {
            rows |= rowsWithEnds_[TileAt(last->x0, last->y0)];
        }
        for (int row = 63; row >= 0; --row) {
            if ((rows >> row & 1u) == 0) {
                continue;
            }
            for (auto tile = first; tile != last; ++tile) {
                if ((rowsWithEnds_[TileAt(tile->x0, tile->y0)] >> row & 1u) == 0) {
                    continue;
                }
                const std::size_t word = grid_.WordAt(tile->x0, tile->y0 + row);
                const Word ends = ends_[word].traced & isWanted(*tile, row);
                if (ends != 0) {
                    found_.push_back({word, tile->x0, tile->y0 + row, ends});
                }
            }
        }
        first = last;
    }
    return MarkFound();
}

}  // namespace Korvane
