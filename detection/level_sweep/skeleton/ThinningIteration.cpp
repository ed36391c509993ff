#include "skeleton/ThinningIteration.h"

#include <array>
#include <cstddef>
#include <tuple>

namespace level_sweep {
namespace {

using Word = BitGrid::Word;
using LeftFunction = void (*)(BlockSurroundings&, const BlockSurroundings*, PixelBlock&);

// The conditions of ThinningRemoval.h, a bit per pixel; p2 .. p9 clockwise from north.
#define KORVANE_INLINED inline __attribute__((always_inline))

struct FirstSubiteration {
    static KORVANE_INLINED Word Kept(Word, Word, Word, Word, Word p6, Word p7, Word p8, Word p9) {
        return (p6 | p7 | ~p9) & p8;
    }
};

struct SecondSubiteration {
    static KORVANE_INLINED Word Kept(Word p2, Word p3, Word p4, Word p5, Word, Word, Word, Word) {
        return (p2 | p3 | ~p5) & p4;
    }
};

// What a subiteration leaves of rows 1 to `rows`. The pixels to the west and to the east of a row are a bit of a word.
template <typename Subiteration, std::size_t rows, int westBit, int eastBit>
KORVANE_INLINED void LeftOfRows(const Word* west, const Word* centre, const Word* east, Word* __restrict left) {
    for (std::size_t i = 1; i <= rows; ++i) {
        const Word w2 = west[i - 1] >> westBit & 1u, w4 = west[i] >> westBit & 1u, w6 = west[i + 1] >> westBit & 1u;
        const Word e2 = east[i - 1] >> eastBit << 63, e4 = east[i] >> eastBit << 63, e6 = east[i + 1] >> eastBit << 63;
        const Word p2 = centre[i - 1], p6 = centre[i + 1];
        const Word p3 = p2 >> 1 | e2, p9 = p2 << 1 | w2;
        const Word p4 = centre[i] >> 1 | e4, p8 = centre[i] << 1 | w4;
        const Word p5 = p6 >> 1 | e6, p7 = p6 << 1 | w6;
        const Word c34 = p3 | p4, c56 = p5 | p6, c78 = p7 | p8, c92 = p9 | p2;
        const Word from2 = ~p2 & c34, from4 = ~p4 & c56, from6 = ~p6 & c78, from8 = ~p8 & c92;
        const Word oneCrossing = ((from2 ^ from4) & ~(from6 | from8)) | ((from6 ^ from8) & ~(from2 | from4));
        const Word c23 = p2 | p3, c45 = p4 | p5, c67 = p6 | p7, c89 = p8 | p9;
        const Word twoOfFirst = (c92 & c34) | (c56 & c78) | ((c92 | c34) & (c56 | c78));
        const Word twoOfSecond = (c23 & c45) | (c67 & c89) | ((c23 | c45) & (c67 | c89));
        const Word fourOfBoth = c92 & c34 & c56 & c78 & c23 & c45 & c67 & c89;
        const Word kept = Subiteration::Kept(p2, p3, p4, p5, p6, p7, p8, p9);
        left[i - 1] = centre[i] & ~(oneCrossing & twoOfFirst & twoOfSecond & ~fourOfBoth & ~kept);
    }
}

// The second subiteration asks what the first one leaves of the columns beside the strip as well. With what the first
// one asks for on either side of these, six columns of each row make up a row of their own, the sides:
//
//     columns  -2 -1  0        63 64 65
//     bits      0  1  2         8  9 10
KORVANE_INLINED Word Side(const BlockSurroundings& around, std::size_t row) {
    const Word centre = around.centre[row];
    return around.west[row] >> 62 | (centre & 1u) << 2 | centre >> 63 << 8 | (around.east[row] & 3u) << 9;
}

KORVANE_INLINED void LeftInlined(BlockSurroundings& around, const BlockSurroundings* staying, PixelBlock& left) {
    constexpr std::size_t rows = BlockSurroundings::kRows;
    // The rows of the sides lie behind all others. 22 rows are asked for, in whole vectors.
    constexpr std::size_t vectorRows = 24;
    static_assert(vectorRows + 2 <= std::tuple_size<BlockSurroundings::Rows>::value, "one more on either side");
    for (std::size_t i = 0; i < rows; ++i) {
        around.centre[rows + i] = Side(around, i);
    }
    for (std::size_t i = rows; i < vectorRows + 2; ++i) {
        around.west[i] = 0;
        around.east[i] = 0;
    }
    around.centre[2 * rows] = 0;
    around.centre[2 * rows + 1] = 0;
    std::array<Word, vectorRows> after;  // from the second row on
    LeftOfRows<FirstSubiteration, vectorRows, 63, 0>(around.west.data(), around.centre.data(), around.east.data(),
                                                     after.data());
    if (staying != nullptr) {
        for (std::size_t i = 0; i < rows - 2; ++i) {
            after[i] |= staying->centre[i + 1];
            after[rows + i] |= Side(*staying, i + 1);
        }
    }
    const Word* sides = &after[rows];
    LeftOfRows<SecondSubiteration, std::size_t{kBlockRows}, 1, 9>(sides, after.data(), sides, left.rows.data());
    if (staying != nullptr) {
        for (std::size_t i = 0; i < left.rows.size(); ++i) {
            left[i] |= staying->centre[i + 2];
        }
    }
}

void LeftBaseline(BlockSurroundings& around, const BlockSurroundings* staying, PixelBlock& left) {
    LeftInlined(around, staying, left);
}

__attribute__((target("avx2"))) void LeftAvx2(BlockSurroundings& around, const BlockSurroundings* staying,
                                              PixelBlock& left) {
    LeftInlined(around, staying, left);
}

__attribute__((target("avx512f"))) void LeftAvx512(BlockSurroundings& around, const BlockSurroundings* staying,
                                                   PixelBlock& left) {
    LeftInlined(around, staying, left);
}

#undef KORVANE_INLINED

LeftFunction Function(qvox::InstructionSet set) {
    if (set == qvox::InstructionSet::kAvx512) return LeftAvx512;
    if (set == qvox::InstructionSet::kAvx2) return LeftAvx2;
    return LeftBaseline;
}

}  // namespace

void ThinWith(qvox::InstructionSet set, BlockSurroundings& around, const BlockSurroundings* staying,
                      PixelBlock& left) {
    Function(set)(around, staying, left);
}

void ThinningIteration::Thin(BlockSurroundings& around, const BlockSurroundings* staying, PixelBlock& left) {
    static const LeftFunction best = Function(qvox::WidestInstructionSet());
    best(around, staying, left);
}

}  // namespace level_sweep
