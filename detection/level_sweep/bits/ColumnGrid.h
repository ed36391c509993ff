#pragma once

#include <cstddef>

#include "Assert.h"
#include "bits/Pixels.h"
#include "bits/Word.h"

namespace level_sweep {

/// Layout of a map's pixels in words, column by column: a column is 64 pixels wide and as high as the map, its words
/// run from the top down, so that words above each other are adjacent in memory. There is one more column on either
/// side of the map, and `kMargin` more words above and below it.
class ColumnGrid {
public:
    using Word = level_sweep::Word;
    using WordIndex = std::size_t;
    static constexpr int kMargin = 2;
    ColumnGrid(int width, int height)
        : stride_(static_cast<std::size_t>(height) + 2 * kMargin),
          words_((static_cast<std::size_t>(width + 63) / 64 + 2) * stride_) {}

    /// All words, those around the map included.
    std::size_t Words() const { return words_; }
    /// From a word to the one east of it; the one south of it is the next.
    std::size_t ColumnStride() const { return stride_; }
    WordIndex WordAt(int x, int y) const { return WordAt(WordPosition{x >> 6, y}); }
    WordIndex WordAt(WordPosition at) const {
        KORVANE_ASSERT(at.column >= -1 && static_cast<std::size_t>(at.column + 1) < words_ / stride_);
        KORVANE_ASSERT(at.y >= -kMargin && static_cast<std::size_t>(at.y + kMargin) < stride_);
        return static_cast<std::size_t>(at.column + 1) * stride_ + static_cast<std::size_t>(at.y + kMargin);
    }
    static Word Bit(int x) { return Word{1} << (x & 63); }
    /// Where the westernmost pixel of a word is.
    int FirstXOf(WordIndex word) const {
        KORVANE_ASSERT(word < words_);
        return (static_cast<int>(word / stride_) - 1) * 64;
    }
    int RowOf(WordIndex word) const {
        KORVANE_ASSERT(word < words_);
        return static_cast<int>(word % stride_) - kMargin;
    }

private:
    std::size_t stride_;
    std::size_t words_;
};

}  // namespace level_sweep
