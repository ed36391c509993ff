#pragma once

#include <cstddef>
#include <cstdint>

#include "Assert.h"
#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// A bit per pixel of a map, all 0 at first. The row above the map and the row below it can be read; no bit outside the
/// map is ever set.
class BitPlane {
public:
    using Word = level_sweep::Word;
    BitPlane(int width, int height)
        : width_(width),
          height_(height),
          grid_(width, height),
          words_(grid_.Words() + 2 * static_cast<std::size_t>(grid_.WordsPerRow())) {}

    int Width() const { return width_; }
    int Height() const { return height_; }
    const BitGrid& Grid() const { return grid_; }

    Word& operator[](BitGrid::WordIndex word) { return words_[Index(word)]; }
    const Word& operator[](BitGrid::WordIndex word) const { return words_[Index(word)]; }

    bool Has(int x, int y) const { return (words_[IndexOf(x, y)] & BitGrid::Bit(x)) != 0; }
    void Add(int x, int y) { words_[IndexOf(x, y)] |= BitGrid::Bit(x); }
    void Remove(int x, int y) { words_[IndexOf(x, y)] &= ~BitGrid::Bit(x); }

    /// The 3 x 3 pixels centred on (x, y), row by row from west to east, the first in bit 0.
    unsigned Neighbourhood(int x, int y) const {
        const Word* word = &words_[IndexOf(x, y)];
        const std::ptrdiff_t row = grid_.WordsPerRow();
        const int bit = x & 63;
        if (bit == 0 || bit == 63) {
            return RowOfThree(word - row, x) | RowOfThree(word, x) << 3 | RowOfThree(word + row, x) << 6;
        }
        const Word nine =
            (word[-row] >> (bit - 1) & 7u) | (word[0] >> (bit - 1) & 7u) << 3 | (word[row] >> (bit - 1) & 7u) << 6;
        return static_cast<unsigned>(nine);
    }

    /// Asserts that no bit outside the map is set. Cost: all words; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const {
#ifdef KORVANE_ASSERTIONS
        const int wordsPerRow = grid_.WordsPerRow();
        const Word beyond = width_ % 64 == 0 ? 0 : ~Word{0} << (width_ % 64);
        for (int y = -1; y <= height_; ++y) {
            for (int column = 0; column < wordsPerRow; ++column) {
                const bool inside = y >= 0 && y < height_;
                const Word outside = inside ? (column == wordsPerRow - 1 ? beyond : 0) : ~Word{0};
                KORVANE_ASSERT(((*this)[y * wordsPerRow + column] & outside) == 0);
            }
        }
#endif
    }

private:
    // The word's pixels at x - 1, x and x + 1, where x is the first or the last of the word.
    unsigned RowOfThree(const Word* word, int x) const {
        if ((x & 63) == 0) {
            return static_cast<unsigned>((*word << 1 | (x > 0 ? word[-1] >> 63 : 0)) & 7u);
        }
        return static_cast<unsigned>(*word >> 62 | (x + 1 < width_ ? (word[1] & 1u) << 2 : 0));
    }
    std::size_t IndexOf(int x, int y) const {
        KORVANE_ASSERT(x >= 0 && x < width_ && y >= 0 && y < height_);
        return Index(grid_.WordAt(x, y));
    }
    // The row above the map comes first. The array asserts the bounds.
    std::size_t Index(BitGrid::WordIndex word) const {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(word) + grid_.WordsPerRow());
    }

    int width_;
    int height_;
    BitGrid grid_;
    ZeroedArray<Word> words_;
};

}  // namespace level_sweep
