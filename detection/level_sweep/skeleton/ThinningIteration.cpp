#include "skeleton/ThinningIteration.h"

#include <array>
#include <cstddef>
#include <tuple>

namespace level_sweep {
namespace {

using Word = BitGrid::Word;
using ThinFunction = void (*)(BlockSurroundings&, const BlockSurroundings*, PixelBlock&);

// A subiteration removes a pixel if walking around it crosses into the set exactly once, if the smaller of two counts
// of its neighbours in pairs is 2 or 3, and if the neighbours on the subiteration's side do not keep it. It decides on
// all pixels by the set that it starts with. All conditions are evaluated for 64 pixels at a time; p2 .. p9 are the
// neighbours clockwise from north.
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

// The pixels that a subiteration leaves of rows 1 to `rows`. The pixel west of a row is bit `westBit` of its west word,
// the one east of it bit `eastBit` of its east word.
template <typename Subiteration, std::size_t rows, int westBit, int eastBit>
KORVANE_INLINED void ThinRows(const Word* west, const Word* centre, const Word* east, Word* __restrict remaining) {
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
        remaining[i - 1] = centre[i] & ~(oneCrossing & twoOfFirst & twoOfSecond & ~fourOfBoth & ~kept);
    }
}

// The second subiteration also reads the pixels that the first one leaves of the columns adjacent to the block. With
// the columns that the first one reads on either side of these, six columns of each row make up a row of their own, the
// sides:
//
//     columns  -2 -1  0        63 64 65
//     bits      0  1  2         8  9 10
KORVANE_INLINED Word Side(const BlockSurroundings& neighbourhood, std::size_t row) {
    const Word centre = neighbourhood.centre[row];
    return neighbourhood.west[row] >> 62 | (centre & 1u) << 2 | centre >> 63 << 8 | (neighbourhood.east[row] & 3u) << 9;
}

KORVANE_INLINED void ThinInlined(BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels,
                                 PixelBlock& remaining) {
    constexpr std::size_t rows = BlockSurroundings::kRows;
    // The rows of the sides lie behind all others. 22 rows are needed, in whole vectors.
    constexpr std::size_t vectorRows = 24;
    static_assert(vectorRows + 2 <= std::tuple_size<BlockSurroundings::Rows>::value, "one more on either side");
    for (std::size_t i = 0; i < rows; ++i) {
        neighbourhood.centre[rows + i] = Side(neighbourhood, i);
    }
    for (std::size_t i = rows; i < vectorRows + 2; ++i) {
        neighbourhood.west[i] = 0;
        neighbourhood.east[i] = 0;
    }
    neighbourhood.centre[2 * rows] = 0;
    neighbourhood.centre[2 * rows + 1] = 0;
    std::array<Word, vectorRows> after;  // from the second row on
    ThinRows<FirstSubiteration, vectorRows, 63, 0>(neighbourhood.west.data(), neighbourhood.centre.data(),
                                                   neighbourhood.east.data(), after.data());
    if (fixedPixels != nullptr) {
        for (std::size_t i = 0; i < rows - 2; ++i) {
            after[i] |= fixedPixels->centre[i + 1];
            after[rows + i] |= Side(*fixedPixels, i + 1);
        }
    }
    const Word* sides = &after[rows];
    ThinRows<SecondSubiteration, std::size_t{kBlockRows}, 1, 9>(sides, after.data(), sides, remaining.rows.data());
    if (fixedPixels != nullptr) {
        for (std::size_t i = 0; i < remaining.rows.size(); ++i) {
            remaining[i] |= fixedPixels->centre[i + 2];
        }
    }
}

void ThinBaseline(BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels, PixelBlock& remaining) {
    ThinInlined(neighbourhood, fixedPixels, remaining);
}

__attribute__((target("avx2"))) void ThinAvx2(BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels,
                                              PixelBlock& remaining) {
    ThinInlined(neighbourhood, fixedPixels, remaining);
}

__attribute__((target("avx512f"))) void ThinAvx512(BlockSurroundings& neighbourhood,
                                                   const BlockSurroundings* fixedPixels, PixelBlock& remaining) {
    ThinInlined(neighbourhood, fixedPixels, remaining);
}

#undef KORVANE_INLINED

ThinFunction Function(qvox::InstructionSet set) {
    if (set == qvox::InstructionSet::kAvx512) return ThinAvx512;
    if (set == qvox::InstructionSet::kAvx2) return ThinAvx2;
    return ThinBaseline;
}

}  // namespace

void ThinWith(qvox::InstructionSet set, BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels,
              PixelBlock& remaining) {
    Function(set)(neighbourhood, fixedPixels, remaining);
}

void ThinningIteration::Thin(BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels,
                             PixelBlock& remaining) {
    static const ThinFunction best = Function(qvox::WidestInstructionSet());
    best(neighbourhood, fixedPixels, remaining);
}

}  // namespace level_sweep
