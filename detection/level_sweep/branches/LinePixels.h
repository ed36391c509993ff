#pragma once

#include <cstddef>

#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"
#include "branches/PatchComponents.h"
#include "branches/RasterOrder.h"

namespace level_sweep {

/// The pixels of a skeleton's lines, and the end whose path took each.
///
/// Paths are traced from the last end in raster order to the first. So a pixel taken by the path of an end is there for
/// a path that starts further down: that one comes first, and takes it away.
///
/// Invariants:
/// 1. A pixel of a line is one of remaining, taken and current.
/// 2. Only taken pixels are stale.
class LinePixels {
public:
    using Word = ColumnGrid::Word;
    using Rank = RasterOrder::Rank;

    /// 64 pixels: a path reads all of these together.
    struct Lines {
        Word remaining;  // taken by no path
        Word taken;      // by a path other than the current one
        Word current;    // taken by the path that is being traced
        Word stale;      // taken; from here on the path may run differently and waits to be traced again
        Word All() const { return remaining | taken | current; }
    };
    /// A pixel and its word.
    struct Place {
        const Lines* lines;
        int x;
        int y;
    };

    LinePixels(const ColumnGrid& grid, int width, int height);

    const ColumnGrid& Grid() const { return grid_; }
    const Lines& operator[](std::size_t word) const { return lines_[word]; }
    /// Of a taken or current pixel: the end whose path took it.
    Rank OwnerOf(int x, int y) const { return owner_[OwnerAt(x, y)]; }

    /// Pixels that have become pixels of lines, or no longer are.
    void Change(std::size_t word, Word pixels) {
        Lines& at = lines_[word];
        at.remaining = (at.remaining | (pixels & ~at.taken)) & ~(pixels & at.remaining);
        at.taken &= ~pixels;
        at.stale &= at.taken;
    }
    void MarkStale(std::size_t word, Word pixels) { lines_[word].stale |= pixels; }
    /// Taken pixels that no path takes any more.
    void Release(std::size_t word, Word pixels) {
        Lines& at = lines_[word];
        at.taken &= ~pixels;
        at.stale &= ~pixels;
        at.remaining |= pixels;
    }
    /// A pixel that is now of the current path, which starts at `end`.
    void Take(const Place& place, Rank end) {
        const Word bit = ColumnGrid::Bit(place.x);
        Lines& at = lines_[WordOf(place)];
        at.remaining &= ~bit;
        at.taken &= ~bit;
        at.stale &= ~bit;
        at.current |= bit;
        owner_[OwnerAt(place.x, place.y)] = end;
    }
    /// The current path is complete.
    void CompletePath(std::size_t word) {
        lines_[word].taken |= lines_[word].current;
        lines_[word].current = 0;
    }

    Place PlaceOf(PixelPosition at) const { return {&lines_[grid_.WordAt(at.x, at.y)], at.x, at.y}; }
    std::size_t WordOf(const Place& place) const { return static_cast<std::size_t>(place.lines - lines_.data()); }
    /// Pixel i of the 3 x 3 patch around a place.
    Place PlaceNear(const Place& place, int i) const {
        const Offset& by = kPatch[static_cast<std::size_t>(i)];
        Place near{place.lines + by.dy, place.x + by.dx, place.y + by.dy};
        if (((near.x ^ place.x) & 64) != 0) {
            near.lines = by.dx < 0 ? near.lines - grid_.ColumnStride() : near.lines + grid_.ColumnStride();
        }
        return near;
    }
    /// A bit for each pixel of the 3 x 3 patch of which the path of `end` finds line pixels: no path before took them.
    unsigned OpenAround(const Place& place, Rank end) const {
        const Lines* at = place.lines;
        const int bit = place.x & 63;
        if (bit == 0 || bit == 63) {
            return OpenAtSide(place, end);
        }
        const auto three = [&](Word words) { return static_cast<unsigned>(words >> (bit - 1) & 7u); };
        const unsigned remaining = three(at[-1].remaining) | three(at[0].remaining) << 3 | three(at[1].remaining) << 6;
        if (three(at[-1].taken | at[0].taken | at[1].taken) == 0) {
            return remaining;
        }
        const unsigned taken = three(at[-1].taken) | three(at[0].taken) << 3 | three(at[1].taken) << 6;
        return remaining | TakenLater(taken, place, end);
    }

    void Prefetch(std::size_t word) const { __builtin_prefetch(&lines_[word]); }
    void Prefetch(int x, int y) const {
        Prefetch(grid_.WordAt(x, y));
        __builtin_prefetch(&owner_[OwnerAt(x, y)]);
    }

    /// Outside of the tracing of a path: no pixel is current.
    void CheckInvariants() const;

private:
    // Owners lie in squares of 4 x 4 pixels, a cache line each.
    std::size_t OwnerAt(int x, int y) const {
        const std::size_t square = static_cast<std::size_t>(y >> 2) * squaresPerRow_ + static_cast<std::size_t>(x >> 2);
        return square << 4 | static_cast<std::size_t>((y & 3) << 2 | (x & 3));
    }
    unsigned OpenAtSide(const Place& place, Rank end) const;
    unsigned TakenLater(unsigned taken, const Place& place, Rank end) const;

    ColumnGrid grid_;
    std::size_t squaresPerRow_;
    ZeroedArray<Lines> lines_;
    ZeroedArray<Rank> owner_;
};

}  // namespace level_sweep
