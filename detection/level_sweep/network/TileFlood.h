#pragma once

#include <immintrin.h>

#include <array>
#include <cstddef>

#include "network/TileLabelling.h"
#include "network/TileTargets.h"

// The flood that finds the pieces of a tile, two rows at a time. For TileLabelling.cpp only.
namespace level_sweep {
namespace tile_flood {

using Word = BitGrid::Word;

/// Two rows of a tile: pixels that no piece has yet, seeds in either row, and the present piece's.
struct Band {
    Word upper, lower;
    Word seeds;
    Word upperReached, lowerReached;
};
constexpr std::size_t kBands = 32;
using Bands = std::array<Band, kBands + 2>;  // band k holds rows 2k - 2 and 2k - 1; the outermost are empty

/// The runs of open bits that contain a seed; seeds are open.
struct BaselineCarry {
    static KORVANE_INLINED Word RunsContaining(Word seeds, Word open) {
        return level_sweep::RunsContaining(seeds, open);
    }
};

/// The addition carries out of each run with a seed, to the place behind its last bit: there are as many such places as
/// first bits, in the same order. Only for processors with AVX-512: of the others some (AMD Zen, Zen 2) extract and
/// deposit bit by bit, which takes longer than the doubling steps.
struct Bmi2Carry {
    KORVANE_AVX2 static inline Word RunsContaining(Word seeds, Word open) {
        unsigned long long sum = 0;
        const Word top = Word{_addcarry_u64(0, open, seeds, &sum)} << 63;
        const Word lastReached = (sum & ~open) >> 1 | top;
        const Word last = open & ~(open >> 1);
        const Word first = open & ~(open << 1);
        return (lastReached << 1) - _pdep_u64(_pext_u64(lastReached, last), first);
    }
};

// The bands' reached pixels are a piece; then they are 0 again.
KORVANE_INLINED void AddPiece(Bands& bands, std::size_t first, std::size_t last, TilePieces& found) {
    TilePiece piece{};
    piece.y0 = static_cast<std::uint8_t>(2 * first - (bands[first].upperReached != 0 ? 2 : 1));
    piece.y1 = static_cast<std::uint8_t>(2 * last - (bands[last].lowerReached != 0 ? 1 : 2));
    piece.north = piece.y0 == 0 ? bands[first].upperReached : 0;
    piece.south = piece.y1 == 63 ? bands[last].lowerReached : 0;
    // All rows of the bands are written; an empty last one is written over again.
    piece.rows = found.rowCount + (piece.y0 & 1u);
    Word* to = found.rows.data() + found.rowCount;
    for (std::size_t k = first; k <= last; ++k, to += 2) {
        Band& band = bands[k];
        to[0] = band.upperReached;
        to[1] = band.lowerReached;
        piece.columns |= band.upperReached | band.lowerReached;
        band.upperReached = band.lowerReached = 0;
    }
    const unsigned count = piece.y1 - piece.y0 + 1u;
    found.rowCount = piece.rows + count;
    const Word* rows = found.rows.data() + piece.rows;
    for (unsigned i = 0; (piece.columns & 1u) != 0 && i < count; ++i) {
        piece.west |= (rows[i] & 1u) << (piece.y0 + i);
    }
    for (unsigned i = 0; (piece.columns >> 63) != 0 && i < count; ++i) {
        piece.east |= (rows[i] >> 63) << (piece.y0 + i);
    }
    found.pieces.push_back(piece);
}

// Takes from a band the pixels that are connected with seeds, and finds those they reach in the bands above and below.
template <typename Carry>
KORVANE_INLINED void TakeFrom(Band* band, Word seeds, Word& above, Word& below) {
    const Word taken = Carry::RunsContaining(seeds, band->upper | band->lower);
    const Word upper = taken & band->upper;
    const Word lower = taken & band->lower;
    above = DilateRow(upper) & band[-1].lower;
    below = DilateRow(lower) & band[1].upper;
    band->upper ^= upper;
    band->lower ^= lower;
    band->upperReached |= upper;
    band->lowerReached |= lower;
}

// Pixels in neighbouring columns of two neighbouring rows are connected whichever of the rows they are in. So two rows,
// a band, are flooded as if they were one: downwards as long as there are seeds, then upwards from the lowest band that
// still has some, and so on. The next band's seeds are mostly known without a look at memory.
template <typename Carry, bool kIsDown>
KORVANE_INLINED void GoOn(std::size_t k, Bands& bands, Word& waiting, Word& reached) {
    for (Word seeds = bands[k].seeds; seeds != 0;) {
        bands[k].seeds = 0;
        waiting &= ~(Word{1} << k);
        reached |= Word{1} << k;
        Word above = 0;
        Word below = 0;
        TakeFrom<Carry>(&bands[k], seeds, above, below);
        const std::size_t next = kIsDown ? k + 1 : k - 1;
        const std::size_t last = kIsDown ? k - 1 : k + 1;
        const Word back = kIsDown ? above : below;
        bands[last].seeds |= back;
        waiting |= Word{back != 0} << last;
        k = next;
        seeds = bands[k].seeds | (kIsDown ? below : above);
    }
}

template <typename Carry>
KORVANE_INLINED std::size_t FloodFrom(std::size_t start, Bands& bands) {
    Word reached = 0;
    Word waiting = Word{1} << start;  // bands with seeds
    while (waiting != 0) {
        GoOn<Carry, true>(static_cast<std::size_t>(BitGrid::LowestBit(waiting)), bands, waiting, reached);
        if (waiting != 0) {
            GoOn<Carry, false>(static_cast<std::size_t>(BitGrid::HighestBit(waiting)), bands, waiting, reached);
        }
    }
    return static_cast<std::size_t>(BitGrid::HighestBit(reached));
}

template <typename Carry>
KORVANE_INLINED void FindPiecesInlined(const TileRows& pixels, TilePieces& found) {
    found.pieces.clear();
    found.rowCount = 0;
    Bands bands;
    bands.front() = bands.back() = Band{};
    for (std::size_t k = 1; k <= kBands; ++k) {
        bands[k] = {pixels[2 * k - 2], pixels[2 * k - 1], 0, 0, 0};
    }
    for (std::size_t start = 1; start <= kBands; ++start) {
        while ((bands[start].upper | bands[start].lower) != 0) {
            const Word open = bands[start].upper | bands[start].lower;
            bands[start].seeds = open & (~open + 1);
            AddPiece(bands, start, FloodFrom<Carry>(start, bands), found);
        }
    }
}

}  // namespace tile_flood
}  // namespace level_sweep
