#pragma once

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "network/TileLabelling.h"
#include "network/TileTargets.h"

// Which of 64 pieces of a tile are adjacent to another one. For TileLabelling.cpp only.
namespace level_sweep {
namespace tile_adjacency {

using Word = BitGrid::Word;

/// Overlapping: the shapes that have one of the columns and one of the rows. HaveCommon: whether two sequences of words
/// have a bit in common at the same place.
struct BaselineVectors {
    static KORVANE_INLINED Word Overlapping(const TileShapes& shapes, Word columns, Word rows) {
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
    KORVANE_AVX512 static inline Word Overlapping(const TileShapes& shapes, Word columns, Word rows) {
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

/// The pixels of rows y0 to y1 and the eight around each: row y is around[y + 1].
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

/// Adjacent pieces need overlapping bounds; the pixels of those few are compared row by row.
template <typename Vectors>
KORVANE_INLINED Word FindAdjacentInlined(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                         Word among, const Word* rows) {
    const Word near = DilateRow(BitsFromTo(piece.y0, piece.y1));
    Word remaining = Vectors::Overlapping(shapes, DilateRow(piece.columns), near) & among;
    if (remaining == 0) {
        return 0;
    }
    std::array<Word, 66> around;
    FindAround(rows + piece.rows, piece.y0, piece.y1, around.data());
    Word found = 0;
    for (; remaining != 0; remaining &= remaining - 1) {
        const TilePiece& other = others[BitGrid::LowestBit(remaining)];
        const int first = std::max<int>(piece.y0 - 1, other.y0);
        const int last = std::min<int>(piece.y1 + 1, other.y1);
        if (Vectors::HaveCommon(around.data() + first + 1, rows + other.rows + (first - other.y0), last - first + 1)) {
            found |= remaining & (~remaining + 1);
        }
    }
    return found;
}

}  // namespace tile_adjacency
}  // namespace level_sweep
