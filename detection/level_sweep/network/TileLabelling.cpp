#include "network/TileLabelling.h"

#include <immintrin.h>

#include <algorithm>

namespace level_sweep {
namespace {

using Word = BitGrid::Word;

#define KORVANE_INLINED inline __attribute__((always_inline))
#define KORVANE_AVX2 __attribute__((target("avx2,bmi,bmi2")))
#define KORVANE_AVX512 __attribute__((target("avx512f,avx512vl,bmi,bmi2")))

/// Two rows of a tile: pixels that no piece has yet, seeds in either row, and the present piece's.
struct Band {
    Word upper, lower;
    Word seeds;
    Word upperReached, lowerReached;
};
constexpr std::size_t kBands = 32;
using Bands = std::array<Band, kBands + 2>;  // band k holds rows 2k - 2 and 2k - 1; the outermost are empty

// Those stretches of open bits that have a seed; seeds are open. Upwards by the carry of an addition, which runs to the
// end of a stretch of ones, downwards in steps that double; three of them are mostly enough.
struct BaselineCarry {
    static KORVANE_INLINED Word RunsContaining(Word seeds, Word open) {
        Word reached = open & (~(open + seeds) | seeds);
        Word through = open;
        for (int length = 1; length <= 4; length *= 2) {
            reached |= through & (reached >> length);
            through &= through >> length;
        }
        if ((open & (reached >> 1) & ~reached) != 0) {
            for (int length = 8; length <= 32; length *= 2) {
                reached |= through & (reached >> length);
                through &= through >> length;
            }
        }
        return reached;
    }
};

// The addition carries out of each stretch with a seed, to the place behind its last bit: there are as many such places
// as first bits, in the same order. Only for processors with AVX-512: of the others some (AMD Zen, Zen 2) extract and
// deposit bit by bit, which takes longer than all of the doubling steps.
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

KORVANE_INLINED void FindChangesInlined(const TileRows& now, const TileRows& before, TileChanges& changes) {
    std::array<Word, 68> wide;  // row y is wide[y + 2]
    wide[0] = wide[1] = wide[66] = wide[67] = 0;
    for (std::size_t y = 0; y < 64; ++y) {
        wide[y + 2] = DilateRow(now[y] ^ before[y]);
        changes.added[y] = now[y] & ~before[y];
    }
    Word columns = 0;
    for (std::size_t y = 0; y < 66; ++y) {
        changes.rows[y] = wide[y] | wide[y + 1] | wide[y + 2];
        columns |= changes.rows[y];
    }
    changes.inColumns = columns;
}

KORVANE_INLINED Word NotZeroInlined(const Word* rows) {
    Word found = 0;
    for (std::size_t y = 0; y < 64; ++y) {
        found |= Word{rows[y] != 0} << y;
    }
    return found;
}

// The bands' reached pixels are a piece; then they are 0 again.
KORVANE_INLINED void AddPiece(Bands& bands, std::size_t first, std::size_t last, TilePieces& found) {
    TilePiece piece{};
    piece.y0 = static_cast<std::uint8_t>(2 * first - (bands[first].upperReached != 0 ? 2 : 1));
    piece.y1 = static_cast<std::uint8_t>(2 * last - (bands[last].lowerReached != 0 ? 1 : 2));
    piece.top = piece.y0 == 0 ? bands[first].upperReached : 0;
    piece.bottom = piece.y1 == 63 ? bands[last].lowerReached : 0;
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
        piece.left |= (rows[i] & 1u) << (piece.y0 + i);
    }
    for (unsigned i = 0; (piece.columns >> 63) != 0 && i < count; ++i) {
        piece.right |= (rows[i] >> 63) << (piece.y0 + i);
    }
    found.pieces.push_back(piece);
}

// Takes from a band what hangs together with seeds, and tells what that reaches in the bands above and below.
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

// Pixels in neighbouring columns of two neighbouring rows hang together whichever of the rows they are in, so two rows
// at a time, a band, are flooded as if they were one: downwards as long as there are seeds, then upwards from the
// lowest band that was left with some, and so on. What comes next is mostly known without a look at memory.
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

// Rows y0 to y1 widened, with those around them: row y is around[y + 1].
KORVANE_INLINED void FindAround(const Word* rows, unsigned y0, unsigned y1, Word* around) {
    Word* to = around + y0;
    Word above = 0;
    Word here = 0;
    for (const Word* below = rows; below <= rows + (y1 - y0); ++below, ++to) {
        *to = DilateRow(above | here | *below);
        above = here;
        here = *below;
    }
    to[0] = DilateRow(above | here);
    to[1] = DilateRow(here);
}

template <typename Vectors>
KORVANE_INLINED Word FindBesideInlined(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                       Word among, const Word* rows) {
    const Word near = DilateRow(BitsFromTo(piece.y0, piece.y1));
    Word left = Vectors::Meeting(shapes, DilateRow(piece.columns), near) & among;
    if (left == 0) {
        return 0;
    }
    std::array<Word, 66> around;
    FindAround(rows + piece.rows, piece.y0, piece.y1, around.data());
    Word found = 0;
    for (; left != 0; left &= left - 1) {
        const TilePiece& other = others[BitGrid::LowestBit(left)];
        const int first = std::max<int>(piece.y0 - 1, other.y0);
        const int last = std::min<int>(piece.y1 + 1, other.y1);
        if (Vectors::HaveCommon(around.data() + first + 1, rows + other.rows + (first - other.y0), last - first + 1)) {
            found |= left & (~left + 1);
        }
    }
    return found;
}

struct BaselineVectors {
    static KORVANE_INLINED Word Meeting(const TileShapes& shapes, Word columns, Word rows) {
        Word found = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            found |= Word{(shapes.columns[i] & columns) != 0 && (shapes.rows[i] & rows) != 0} << i;
        }
        return found;
    }
    static KORVANE_INLINED bool HaveCommon(const Word* a, const Word* b, int count) {
        int i = 0;
        while (i < count && (a[i] & b[i]) == 0) {
            ++i;
        }
        return i < count;
    }
};

struct Avx512Vectors {
    KORVANE_AVX512 static inline Word Meeting(const TileShapes& shapes, Word columns, Word rows) {
        const __m512i wantedColumns = _mm512_set1_epi64(static_cast<std::int64_t>(columns));
        const __m512i wantedRows = _mm512_set1_epi64(static_cast<std::int64_t>(rows));
        Word found = 0;
        for (std::size_t i = 0; i < 64; i += 8) {
            const __mmask8 inRows = _mm512_test_epi64_mask(_mm512_loadu_si512(&shapes.rows[i]), wantedRows);
            const __m512i itsColumns = _mm512_loadu_si512(&shapes.columns[i]);
            found |= Word{_mm512_mask_test_epi64_mask(inRows, itsColumns, wantedColumns)} << i;
        }
        return found;
    }
    KORVANE_AVX512 static inline bool HaveCommon(const Word* a, const Word* b, int count) {
        for (int i = 0; i < count; i += 8) {
            const auto wanted = static_cast<__mmask8>(count - i >= 8 ? 0xFF : (1 << (count - i)) - 1);
            const __m512i common =
                _mm512_and_si512(_mm512_maskz_loadu_epi64(wanted, a + i), _mm512_maskz_loadu_epi64(wanted, b + i));
            if (_mm512_test_epi64_mask(common, common) != 0) {
                return true;
            }
        }
        return false;
    }
};

struct Functions {
    void (*findChanges)(const TileRows&, const TileRows&, TileChanges&);
    void (*findPieces)(const TileRows&, TilePieces&);
    Word (*findBeside)(const TilePiece&, const TilePiece*, const TileShapes&, Word, const Word*);
};

struct Baseline {
    static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes) {
        FindChangesInlined(now, before, changes);
        changes.inRows = NotZeroInlined(changes.rows.data() + 1);
    }
    static void FindPieces(const TileRows& pixels, TilePieces& found) {
        FindPiecesInlined<BaselineCarry>(pixels, found);
    }
    static Word FindBeside(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes, Word among,
                           const Word* rows) {
        return FindBesideInlined<BaselineVectors>(piece, others, shapes, among, rows);
    }
};

struct Avx2 {
    KORVANE_AVX2 static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes) {
        FindChangesInlined(now, before, changes);
        changes.inRows = NotZeroInlined(changes.rows.data() + 1);
    }
    KORVANE_AVX2 static void FindPieces(const TileRows& pixels, TilePieces& found) {
        FindPiecesInlined<BaselineCarry>(pixels, found);
    }
    KORVANE_AVX2 static Word FindBeside(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                        Word among, const Word* rows) {
        return FindBesideInlined<BaselineVectors>(piece, others, shapes, among, rows);
    }
};

struct Avx512 {
    KORVANE_AVX512 static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes) {
        FindChangesInlined(now, before, changes);
        changes.inRows = 0;
        for (std::size_t y = 0; y < 64; y += 8) {
            const __m512i rows = _mm512_loadu_si512(changes.rows.data() + y + 1);
            changes.inRows |= Word{_mm512_test_epi64_mask(rows, rows)} << y;
        }
    }
    KORVANE_AVX512 static void FindPieces(const TileRows& pixels, TilePieces& found) {
        FindPiecesInlined<Bmi2Carry>(pixels, found);
    }
    KORVANE_AVX512 static Word FindBeside(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                          Word among, const Word* rows) {
        return FindBesideInlined<Avx512Vectors>(piece, others, shapes, among, rows);
    }
};

Functions FunctionsOf(qvox::InstructionSet set) {
    if (set == qvox::InstructionSet::kAvx512) return {Avx512::FindChanges, Avx512::FindPieces, Avx512::FindBeside};
    if (set == qvox::InstructionSet::kAvx2) return {Avx2::FindChanges, Avx2::FindPieces, Avx2::FindBeside};
    return {Baseline::FindChanges, Baseline::FindPieces, Baseline::FindBeside};
}

const Functions& Best() {
    static const Functions best = FunctionsOf(qvox::WidestInstructionSet());
    return best;
}

}  // namespace

void TileLabelling::FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes) {
    Best().findChanges(now, before, changes);
}

void TileLabelling::FindPieces(const TileRows& pixels, TilePieces& found) { Best().findPieces(pixels, found); }

Word TileLabelling::FindBeside(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes, Word among,
                           const Word* rows) {
    return Best().findBeside(piece, others, shapes, among, rows);
}

void FindTileChangesWith(qvox::InstructionSet set, const TileRows& now, const TileRows& before, TileChanges& changes) {
    FunctionsOf(set).findChanges(now, before, changes);
}

void FindTilePiecesWith(qvox::InstructionSet set, const TileRows& pixels, TilePieces& found) {
    FunctionsOf(set).findPieces(pixels, found);
}

Word FindTilePiecesBesideWith(qvox::InstructionSet set, const TilePiece& piece, const TilePiece* others,
                              const TileShapes& shapes, Word among, const Word* rows) {
    return FunctionsOf(set).findBeside(piece, others, shapes, among, rows);
}

}  // namespace level_sweep
