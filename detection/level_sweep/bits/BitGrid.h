#pragma once

#include <cstddef>
#include <cstdint>

#include "bits/Pixels.h"

namespace level_sweep {

/// Calls visit(first, last) for each stretch of bits of a word.
template <typename Visit>
void ForEachRun(std::uint64_t bits, Visit visit) {
    while (bits != 0) {
        const int first = __builtin_ctzll(bits);
        const std::uint64_t from = bits >> first;
        const int length = ~from == 0 ? 64 : __builtin_ctzll(~from);
        visit(first, first + length - 1);
        bits = first + length == 64 ? 0 : bits & (~std::uint64_t{0} << (first + length));
    }
}

/// Calls visit(i) for each bit i of a word, from the lowest on.
template <typename Visit>
void ForEachBit(std::uint64_t bits, Visit visit) {
    for (; bits != 0; bits &= bits - 1) {
        visit(static_cast<std::size_t>(__builtin_ctzll(bits)));
    }
}

/// Those stretches of bits of `open` that have a bit of `wanted`.
inline std::uint64_t RunsContaining(std::uint64_t wanted, std::uint64_t open) {
    // Upwards by the carry of an addition, which runs to the end of a stretch of ones; downwards in steps that double.
    std::uint64_t found = open & (~(open + (wanted & open)) | wanted);
    if ((open & found >> 1 & ~found) == 0) {
        return found;
    }
    for (int step = 1; step < 64; step *= 2) {
        found |= open & found >> step;
        open &= open >> step;
    }
    return found;
}

/// The bits of a word and those beside them.
inline std::uint64_t DilateRow(std::uint64_t bits) { return bits | bits << 1 | bits >> 1; }

/// How the pixels of a picture lie in words of 64, row by row, each row in whole words; bit 0 is the leftmost pixel.
class BitGrid {
public:
    using Word = std::uint64_t;
    BitGrid(int width, int height)
        : wordsPerRow_((width + 63) / 64),
          words_(static_cast<std::size_t>(wordsPerRow_) * static_cast<std::size_t>(height)) {}

    std::size_t Words() const { return words_; }
    int WordsPerRow() const { return wordsPerRow_; }
    std::int32_t WordAt(int x, int y) const { return y * wordsPerRow_ + (x >> 6); }
    static Word Bit(int x) { return Word{1} << (x & 63); }
    /// Index of the lowest and of the highest bit of a word that is not 0.
    static int LowestBit(Word bits) { return __builtin_ctzll(bits); }
    static int HighestBit(Word bits) { return 63 - __builtin_clzll(bits); }

    /// Calls visit(word, bits) for each word that the run has pixels in.
    template <typename Visit>
    void ForEachWord(const PixelRun& run, Visit visit) const {
        const std::int32_t first = WordAt(run.x0, run.y);
        const std::int32_t last = WordAt(run.x1, run.y);
        for (std::int32_t word = first; word <= last; ++word) {
            Word bits = ~Word{0};
            bits &= word == first ? ~Word{0} << (run.x0 & 63) : bits;
            bits &= word == last ? ~Word{0} >> (63 - (run.x1 & 63)) : bits;
            visit(word, bits);
        }
    }

private:
    std::int32_t wordsPerRow_;
    std::size_t words_;
};

}  // namespace level_sweep
