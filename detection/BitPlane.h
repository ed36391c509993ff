#pragma once

#include <cstddef>
#include <cstdint>

#include "BitGrid.h"
#include "ZeroedArray.h"

namespace Korvane {

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

    /// Bit 0 for the pixel to the west, bit 1 for the pixel itself, bit 2 for the one to the east; the row may be one
    /// beyond the picture.
    unsigned FromWestToEast(int x, int y) const {
        const Word* word = &words_[Index(grid_.WordAt(x, y))];
        const int bit = x & 63;
        if (bit == 0) {
            return static_cast<unsigned>((*word << 1 | (x > 0 ? word[-1] >> 63 : 0)) & 7u);
        }
        const Word beyond = bit == 63 && x + 1 < width_ ? (word[1] & 1u) << 2 : 0;
        return static_cast<unsigned>((*word >> (bit - 1) | beyond) & 7u);
    }

private:
    // One row more above and below.
    std::size_t Index(std::int32_t word) const {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(word) + grid_.WordsPerRow());
    }

    int width_;
    int height_;
    BitGrid grid_;
    ZeroedArray<Word> words_;
};

}  // namespace Korvane
