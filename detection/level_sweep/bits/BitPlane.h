#pragma once

#include <cstddef>
#include <cstdint>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// Pixels of one word of a BitGrid.
struct WordPart {
    std::int32_t word;
    BitGrid::Word pixels;
};

/// A bit per pixel of a picture, all 0 at first; none is set beyond it.
class BitPlane {
public:
    using Word = BitGrid::Word;
    BitPlane(int width, int height)
        : width_(width),
          height_(height),
          grid_(width, height),
          words_(grid_.Words() + 2 * static_cast<std::size_t>(grid_.WordsPerRow())) {}

    int Width() const { return width_; }
    int Height() const { return height_; }
    const BitGrid& Grid() const { return grid_; }

    Word& operator[](std::int32_t word) { return words_[Index(word)]; }
    const Word& operator[](std::int32_t word) const { return words_[Index(word)]; }

    bool Has(int x, int y) const { return ((*this)[grid_.WordAt(x, y)] & BitGrid::Bit(x)) != 0; }
    void Add(int x, int y) { (*this)[grid_.WordAt(x, y)] |= BitGrid::Bit(x); }
    void Remove(int x, int y) { (*this)[grid_.WordAt(x, y)] &= ~BitGrid::Bit(x); }

    /// The nine pixels around (x, y), row by row from west to east, the first in bit 0.
    unsigned Nine(int x, int y) const {
        const Word* word = &words_[Index(grid_.WordAt(x, y))];
        const std::ptrdiff_t row = grid_.WordsPerRow();
        const int bit = x & 63;
        if (bit == 0 || bit == 63) {
            return Three(word - row, x) | Three(word, x) << 3 | Three(word + row, x) << 6;
        }
        const Word nine =
            (word[-row] >> (bit - 1) & 7u) | (word[0] >> (bit - 1) & 7u) << 3 | (word[row] >> (bit - 1) & 7u) << 6;
        return static_cast<unsigned>(nine);
    }

private:
    unsigned Three(const Word* word, int x) const {
        if ((x & 63) == 0) {
            return static_cast<unsigned>((*word << 1 | (x > 0 ? word[-1] >> 63 : 0)) & 7u);
        }
        return static_cast<unsigned>(*word >> 62 | (x + 1 < width_ ? (word[1] & 1u) << 2 : 0));
    }
    // One row more above and below.
    std::size_t Index(std::int32_t word) const {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(word) + grid_.WordsPerRow());
    }

    int width_;
    int height_;
    BitGrid grid_;
    ZeroedArray<Word> words_;
};

}  // namespace level_sweep
