#include "network/TileLabelling.h"

#include <immintrin.h>

#include "network/TileAdjacency.h"
#include "network/TileFlood.h"
#include "network/TileTargets.h"

namespace level_sweep {
namespace {

using tile_adjacency::Avx512Vectors;
using tile_adjacency::BaselineVectors;
using tile_adjacency::FindAdjacentInlined;
using tile_flood::BaselineCarry;
using tile_flood::Bmi2Carry;
using tile_flood::FindPiecesInlined;
using Word = BitGrid::Word;

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

struct Functions {
    void (*findChanges)(const TileRows&, const TileRows&, TileChanges&);
    void (*findPieces)(const TileRows&, TilePieces&);
    Word (*findAdjacent)(const TilePiece&, const TilePiece*, const TileShapes&, Word, const Word*);
};

struct Baseline {
    static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes) {
        FindChangesInlined(now, before, changes);
        changes.inRows = NotZeroInlined(changes.rows.data() + 1);
    }
    static void FindPieces(const TileRows& pixels, TilePieces& found) {
        FindPiecesInlined<BaselineCarry>(pixels, found);
    }
    static Word FindAdjacent(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes, Word among,
                             const Word* rows) {
        return FindAdjacentInlined<BaselineVectors>(piece, others, shapes, among, rows);
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
    KORVANE_AVX2 static Word FindAdjacent(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                          Word among, const Word* rows) {
        return FindAdjacentInlined<BaselineVectors>(piece, others, shapes, among, rows);
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
    KORVANE_AVX512 static Word FindAdjacent(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                            Word among, const Word* rows) {
        return FindAdjacentInlined<Avx512Vectors>(piece, others, shapes, among, rows);
    }
};

Functions FunctionsOf(qvox::InstructionSet set) {
    if (set == qvox::InstructionSet::kAvx512) return {Avx512::FindChanges, Avx512::FindPieces, Avx512::FindAdjacent};
    if (set == qvox::InstructionSet::kAvx2) return {Avx2::FindChanges, Avx2::FindPieces, Avx2::FindAdjacent};
    return {Baseline::FindChanges, Baseline::FindPieces, Baseline::FindAdjacent};
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

Word TileLabelling::FindAdjacent(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes, Word among,
                                 const Word* rows) {
    return Best().findAdjacent(piece, others, shapes, among, rows);
}

void FindTileChangesWith(qvox::InstructionSet set, const TileRows& now, const TileRows& before, TileChanges& changes) {
    FunctionsOf(set).findChanges(now, before, changes);
}

void FindTilePiecesWith(qvox::InstructionSet set, const TileRows& pixels, TilePieces& found) {
    FunctionsOf(set).findPieces(pixels, found);
}

Word FindAdjacentTilePiecesWith(qvox::InstructionSet set, const TilePiece& piece, const TilePiece* others,
                                const TileShapes& shapes, Word among, const Word* rows) {
    return FunctionsOf(set).findAdjacent(piece, others, shapes, among, rows);
}

}  // namespace level_sweep
