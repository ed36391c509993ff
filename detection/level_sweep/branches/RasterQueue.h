#pragma once

#include <algorithm>
#include <cstddef>

#include "bits/BitGrid.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// Which pixels of a picture wait for their turn, the last one in raster order first. A bit of each is in words of the
/// owner's, who has to look into what lies beside it anyway. Adding and taking out cost the same however many there
/// are; and a bit per row between one taken out and the next.
class RasterQueue {
public:
    using Word = ColumnGrid::Word;
    struct Position {
        int x;
        int y;
    };

    /// Of a picture of this size.
    RasterQueue(int width, int height)
        : masksPerRow_((static_cast<std::size_t>(width) + 4095) / 4096),
          strips_(masksPerRow_ * static_cast<std::size_t>(height)),
          rows_((static_cast<std::size_t>(height) + 63) / 64) {}

    bool IsEmpty() const { return count_ == 0; }

    /// Whether the pixel does not wait already. `word`: those that wait of the 64 pixels that it is one of.
    bool Add(int x, int y, Word& word) {
        if ((word & ColumnGrid::Bit(x)) != 0) {
            return false;
        }
        word |= ColumnGrid::Bit(x);
        strips_[MaskAt(x, y)] |= ColumnGrid::Bit(x >> 6);
        rows_[static_cast<std::size_t>(y >> 6)] |= ColumnGrid::Bit(y);
        last_ = std::max(last_, y);
        ++count_;
        return true;
    }

    /// Some pixel has to wait. wordOf(x, y): the owner's word of a pixel.
    template <typename WordOf>
    Position TakeLast(WordOf wordOf) {
        auto group = static_cast<std::size_t>(last_ >> 6);
        while (rows_[group] == 0) {
            --group;
        }
        const int y = static_cast<int>(group) * 64 + BitGrid::HighestBit(rows_[group]);
        std::size_t part = masksPerRow_ - 1;
        const std::size_t masks = static_cast<std::size_t>(y) * masksPerRow_;
        while (strips_[masks + part] == 0) {
            --part;
        }
        const int strip = static_cast<int>(part) * 64 + BitGrid::HighestBit(strips_[masks + part]);
        Word& word = wordOf(strip * 64, y);
        const int x = strip * 64 + BitGrid::HighestBit(word);
        word &= ~ColumnGrid::Bit(x);
        if (word == 0) {
            strips_[masks + part] &= ~ColumnGrid::Bit(strip);
            ClearRow(y);
        }
        last_ = --count_ == 0 ? 0 : y;
        return {x, y};
    }

private:
    std::size_t MaskAt(int x, int y) const {
        return static_cast<std::size_t>(y) * masksPerRow_ + static_cast<std::size_t>(x >> 12);
    }
    void ClearRow(int y) {
        for (std::size_t part = 0; part < masksPerRow_; ++part) {
            if (strips_[static_cast<std::size_t>(y) * masksPerRow_ + part] != 0) {
                return;
            }
        }
        rows_[static_cast<std::size_t>(y >> 6)] &= ~ColumnGrid::Bit(y);
    }

    std::size_t masksPerRow_;
    ZeroedArray<Word> strips_;  // per row, a bit for each strip in which pixels wait
    ZeroedArray<Word> rows_;    // a bit for each row in which pixels wait
    int last_ = 0;              // no pixel waits below this row
    std::size_t count_ = 0;
};

}  // namespace level_sweep
