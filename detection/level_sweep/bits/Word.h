#pragma once

#include <cstddef>
#include <cstdint>

// Every header of the level sweep but LevelSweep.h includes this one.
#ifndef KORVANE_LEVEL_SWEEP_INTERNALS
#error "The machinery of the level sweep is private. Include LevelSweep.h."
#endif

namespace level_sweep {

/// 64 pixels of a row, a bit each; bit 0 is the westernmost pixel.
using Word = std::uint64_t;

/// Index of the lowest and of the highest bit of a word that is not 0.
inline int LowestBit(Word bits) { return __builtin_ctzll(bits); }
inline int HighestBit(Word bits) { return 63 - __builtin_clzll(bits); }

/// Calls use(first, last) for each run of set bits, from the lowest on.
template <typename Use>
void ForEachRun(Word bits, Use use) {
    while (bits != 0) {
        const int first = __builtin_ctzll(bits);
        const Word from = bits >> first;
        const int length = ~from == 0 ? 64 : __builtin_ctzll(~from);
        use(first, first + length - 1);
        bits = first + length == 64 ? 0 : bits & (~Word{0} << (first + length));
    }
}

/// Calls use(i) for each set bit i, from the lowest on.
template <typename Use>
void ForEachBit(Word bits, Use use) {
    for (; bits != 0; bits &= bits - 1) {
        use(static_cast<std::size_t>(__builtin_ctzll(bits)));
    }
}

/// The runs of bits of `open` that contain a bit of `wanted`. Inlined by force: the variants of vector code flood with
/// it and compile it for their own instruction sets.
inline __attribute__((always_inline)) Word RunsContaining(Word wanted, Word open) {
    // Upwards by the carry of an addition, which propagates to the end of a run of ones; downwards in doubling steps,
    // of which three are mostly enough.
    Word found = open & (~(open + (wanted & open)) | wanted);
    Word through = open;
    for (int step = 1; step <= 4; step *= 2) {
        found |= through & found >> step;
        through &= through >> step;
    }
    if ((open & found >> 1 & ~found) != 0) {
        for (int step = 8; step <= 32; step *= 2) {
            found |= through & found >> step;
            through &= through >> step;
        }
    }
    return found;
}

/// A word dilated by one pixel to the west and to the east, within the word.
inline Word DilateRow(Word bits) { return bits | bits << 1 | bits >> 1; }

}  // namespace level_sweep
