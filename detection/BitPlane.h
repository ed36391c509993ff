#pragma once

#include <cstdint>
#include <vector>

#include "CodePlane.h"

namespace Korvane {

/// One bit per pixel, rows of whole words; bit 0 of a word is its leftmost pixel. Bits beyond the width stay 0.
class BitPlane {
public:
    using Word = std::uint64_t;
    BitPlane(int width, int height)
        : wordsPerRow_((width + 63) / 64),
          words_(static_cast<std::size_t>(wordsPerRow_) * static_cast<std::size_t>(height), 0) {}

    int WordsPerRow() const { return wordsPerRow_; }
    std::int32_t WordAt(int x, int y) const { return y * wordsPerRow_ + (x >> 6); }
    Word& operator[](std::int32_t word) { return words_[static_cast<std::size_t>(word)]; }
    Word operator[](std::int32_t word) const { return words_[static_cast<std::size_t>(word)]; }

    static Word Bit(int x) { return Word{1} << (x & 63); }
    bool Get(int x, int y) const { return ((*this)[WordAt(x, y)] & Bit(x)) != 0; }
    void Set(int x, int y) { (*this)[WordAt(x, y)] |= Bit(x); }
    void Clear(int x, int y) { (*this)[WordAt(x, y)] &= ~Bit(x); }

    /// Calls visit(word, bits) for each word that the run has pixels in.
    template <typename Visit>
    void ForEachWord(const PixelRun& run, Visit visit) const {
        for (std::int32_t word = WordAt(run.x0, run.y); word <= WordAt(run.x1, run.y); ++word) {
            Word bits = ~Word{0};
            if (word == WordAt(run.x0, run.y)) {
                bits &= ~Word{0} << (run.x0 & 63);
            }
            if (word == WordAt(run.x1, run.y)) {
                bits &= ~Word{0} >> (63 - (run.x1 & 63));
            }
            visit(word, bits);
        }
    }
    void Set(const PixelRun& run) {
        ForEachWord(run, [&](std::int32_t word, Word bits) { (*this)[word] |= bits; });
    }
    void Clear(const PixelRun& run) {
        ForEachWord(run, [&](std::int32_t word, Word bits) { (*this)[word] &= ~bits; });
    }

    /// Index of the lowest bit of a word that is not 0.
    static int Lowest(Word bits) { return __builtin_ctzll(bits); }

private:
    std::int32_t wordsPerRow_;
    std::vector<Word> words_;
};

}  // namespace Korvane
