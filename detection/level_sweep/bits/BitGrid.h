#pragma once

#include <cstddef>
#include <cstdint>

#include "Assert.h"
#include "bits/Pixels.h"
#include "bits/Word.h"

namespace level_sweep {

/// Layout of a map's pixels in words, row by row; each row takes whole words.
class BitGrid {
public:
    using Word = level_sweep::Word;
    using WordIndex = std::int32_t;
    BitGrid(int width, int height)
        : wordsPerRow_((width + 63) / 64),
          words_(static_cast<std::size_t>(wordsPerRow_) * static_cast<std::size_t>(height)) {}

    std::size_t Words() const { return words_; }
    int WordsPerRow() const { return wordsPerRow_; }
    /// The word of a pixel. The rows next to the map, y = -1 and y = height, have words as well: below 0, and from
    /// Words() on.
    WordIndex WordAt(int x, int y) const {
        KORVANE_ASSERT(x >= 0 && (x >> 6) < wordsPerRow_);
        KORVANE_ASSERT(y >= -1 && (y <= 0 || static_cast<std::size_t>(y) <= words_ / Stride()));
        return y * wordsPerRow_ + (x >> 6);
    }
    WordPosition PositionOf(WordIndex word) const {
        const int y = word / wordsPerRow_;
        return {word - y * wordsPerRow_, y};
    }
    static Word Bit(int x) { return Word{1} << (x & 63); }
    static int LowestBit(Word bits) { return level_sweep::LowestBit(bits); }
    static int HighestBit(Word bits) { return level_sweep::HighestBit(bits); }

    /// Calls use(word, bits) for each word that contains pixels of the run.
    template <typename Use>
    void ForEachWord(const PixelRun& run, Use use) const {
        const WordIndex first = WordAt(run.x0, run.y);
        const WordIndex last = WordAt(run.x1, run.y);
        for (WordIndex word = first; word <= last; ++word) {
            Word bits = ~Word{0};
            bits &= word == first ? ~Word{0} << (run.x0 & 63) : bits;
            bits &= word == last ? ~Word{0} >> (63 - (run.x1 & 63)) : bits;
            use(word, bits);
        }
    }

private:
    std::size_t Stride() const { return static_cast<std::size_t>(wordsPerRow_); }

    WordIndex wordsPerRow_;
    std::size_t words_;
};

}  // namespace level_sweep
