#include "ThinningStep.h"

namespace Korvane {
namespace {

using Word = BitGrid::Word;
using LeftFunction = void (*)(const StripNeighbourhood&, int, Strip&);

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

template <typename Subiteration>
KORVANE_INLINED void LeftOfRows(const Word* __restrict west, const Word* __restrict centre, const Word* __restrict east,
                                Word* __restrict left) {
    for (int i = 1; i <= kStripRows; ++i) {
        const Word p2 = centre[i - 1], p6 = centre[i + 1];
        const Word p3 = p2 >> 1 | east[i - 1] << 63, p9 = p2 << 1 | west[i - 1] >> 63;
        const Word p4 = centre[i] >> 1 | east[i] << 63, p8 = centre[i] << 1 | west[i] >> 63;
        const Word p5 = p6 >> 1 | east[i + 1] << 63, p7 = p6 << 1 | west[i + 1] >> 63;
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

KORVANE_INLINED void LeftInlined(const StripNeighbourhood& around, int step, Strip& left) {
    if (step % 2 != 0) {
        LeftOfRows<FirstSubiteration>(around.west.data(), around.centre.data(), around.east.data(), left.rows.data());
    } else {
        LeftOfRows<SecondSubiteration>(around.west.data(), around.centre.data(), around.east.data(), left.rows.data());
    }
}

void LeftBaseline(const StripNeighbourhood& around, int step, Strip& left) { LeftInlined(around, step, left); }

__attribute__((target("avx2"))) void LeftAvx2(const StripNeighbourhood& around, int step, Strip& left) {
    LeftInlined(around, step, left);
}

__attribute__((target("avx512f"))) void LeftAvx512(const StripNeighbourhood& around, int step, Strip& left) {
    LeftInlined(around, step, left);
}

#undef KORVANE_INLINED

LeftFunction Function(ThinningVariant variant) {
    if (variant == ThinningVariant::Avx512) return LeftAvx512;
    if (variant == ThinningVariant::Avx2) return LeftAvx2;
    return LeftBaseline;
}

LeftFunction Best() {
    return Function(RunsHere(ThinningVariant::Avx512) ? ThinningVariant::Avx512
                    : RunsHere(ThinningVariant::Avx2) ? ThinningVariant::Avx2
                                                      : ThinningVariant::Baseline);
}

}  // namespace

bool RunsHere(ThinningVariant variant) {
    if (variant == ThinningVariant::Avx512) return __builtin_cpu_supports("avx512f") != 0;
    if (variant == ThinningVariant::Avx2) return __builtin_cpu_supports("avx2") != 0;
    return true;
}

void ThinningLeftWith(ThinningVariant variant, const StripNeighbourhood& around, int step, Strip& left) {
    Function(variant)(around, step, left);
}

void ThinningStep::Left(const StripNeighbourhood& around, int step, Strip& left) {
    static const LeftFunction best = Best();
    best(around, step, left);
}

}  // namespace Korvane
