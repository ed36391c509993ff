#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "bits/BitGrid.h"
#include "branches/MarkedBranches.h"
#include "branches/BranchMarks.h"
#include "skeleton/IncrementalSkeleton.h"
#include "bits/ColumnGrid.h"
#include "branches/PathCode.h"
#include "branches/RasterQueue.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The traces of the open branches of a skeleton, from their ends inwards, as PruneBranches makes them, kept up while
/// the skeleton changes.
///
/// Ends are traced from the last one to the first, each on what the ones before it left. So whether a line's pixel is
/// there for a trace is told by the end whose trace took it: it is, when that end comes before the tracing one in
/// raster order. Where lines change, the traces that have to do with it are made again, last one first, and then those
/// that have to do with what these take or leave.
class BranchPaths {
public:
    using Word = ColumnGrid::Word;

    /// Borrows the skeleton, of a picture of this size, for its lifetime. Branches longer than `limitPx` are marked.
    BranchPaths(const IncrementalSkeleton& skeleton, int width, int height, int limitPx);

    /// To be called after every update of the skeleton.
    void Update();

    /// Whether a pixel is of a line and no trace takes it away.
    bool IsLineLeft(int x, int y) const { return (lines_[grid_.WordAt(x, y)].left & ColumnGrid::Bit(x)) != 0; }

    /// The same for the pixels in row y from column 64 * column on.
    Word LinesLeftIn(int column, int y) const { return lines_[grid_.WordAt(column * 64, y)].left; }

    /// Marks long branches among some ends, as BranchMarks does; whose lines no other ends' traces may reach.
    template <typename Tiles, typename IsWanted>
    MarkedBranches Marked(const Tiles& tiles, IsWanted isWanted) {
        return marks_.Marked(tiles, isWanted);
    }

private:
    /// A pixel's place in raster order.
    using Rank = std::uint32_t;
    static constexpr Rank kBeyondAll = UINT32_MAX;

    /// What is around a trace is asked for often, and kept together. No pixel is two of the first three.
    struct Lines {
        Word left;     // pixels of lines that no trace took
        Word taken;    // by a trace, but the one that is being made
        Word mine;     // taken by that one
        Word touched;  // of those taken: from here its trace, which waits, may take another way
        Word All() const { return left | taken | mine; }
    };
    struct alignas(32) Ends {
        Word traced;         // ends with a trace; all, once those that are none any more have been removed
        Word waiting;        // pixels that waiting_ has
        Word robbed;         // those whose trace has lost pixels to others and is to be made again
        std::int32_t first;  // trace of an end of this word: index + 1, or 0
    };
    /// A cache line.
    struct alignas(64) Trace {
        static constexpr std::size_t kStepsAtHand = 47;
        std::size_t size;  // of its path, 0 before it is made first; longer ones are in longPaths_
        Rank end;
        std::int32_t next;  // trace of another end of the same word: index + 1, or 0
        bool forks;         // has more than one count
        std::array<PathCode::Code, kStepsAtHand> path;
    };
    /// A pixel and where its line's word is.
    struct Place {
        Lines* lines;
        int x;
        int y;
    };
    /// The first pixels of a trace that are as they would be if it were made again.
    struct Beginning {
        std::int32_t pixels = 0;
        std::size_t size = 0;  // of the path
        PixelPosition last;
        PixelPosition next;
        bool isAll;
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
    void TouchTracesOf(std::size_t word, int x0, int y, Word pixels, Rank before);
    void TouchAround(std::size_t word, Word changed, Rank before);
    void TouchAroundSides(std::size_t word, Word changed, Rank before);
    void TouchNoted(Rank before);

    void RemoveEnds();
    void Retrace(PixelPosition end);
    Beginning Release(std::size_t word, const Trace& trace, bool keepsBeginning);
    const PathCode::Code* PathOf(const Trace& trace) const;
    void Follow(PixelPosition from, Rank rank);
    Place PlaceOf(PixelPosition at);
    Place PlaceBeside(const Place& place, int step) const;
    unsigned OpenAround(const Place& around, Rank end) const;
    unsigned OpenAtSide(const Lines* lines, int x, int y, Rank end) const;
    unsigned TakenBefore(unsigned taken, int x, int y, Rank end) const;
    unsigned BeyondAround(int x, int y) const;
    void Take(const Place& place, Rank end);
    void Rob(Rank end);
    void TellAround(Rank end);

    std::int32_t FindTrace(std::size_t word, Rank end) const;
    void AddTrace(std::size_t word, Rank end);
    void RemoveTrace(std::size_t word, std::int32_t number);
    void Keep(PixelPosition end, Trace& trace);
    void Forget(const Trace& trace);

    const IncrementalSkeleton& skeleton_;
    const ColumnGrid grid_;
    int width_;
    int height_;
    int rankShift_;
    std::size_t blocksPerRow_;
    ZeroedArray<Lines> lines_;
    ZeroedArray<Ends> ends_;
    ZeroedArray<Rank> owner_;  // of pixels that are taken: end whose trace took it
    std::vector<Trace> traces_;
    std::vector<std::int32_t> unused_;  // traces without an end
    std::unordered_map<Rank, std::vector<PathCode::Code>> longPaths_;
    BranchMarks marks_;

    RasterQueue waiting_;
    // The first ends that wait: what is asked for ahead of time has to stay in the cache until then.
    static constexpr std::size_t kMostFetched = 1024;
    std::vector<PixelPosition> toFetch_;
    // Of the trace that is being made.
    PathCode path_;
    std::vector<std::int32_t> counts_;
    std::vector<PixelPosition> stack_;
    std::vector<WordPixels<ColumnGrid>> released_;
    std::vector<std::size_t> taken_;  // words with pixels that are its own now
    NotedChanges noted_;
    PixelsBefore before_;
};

}  // namespace level_sweep
