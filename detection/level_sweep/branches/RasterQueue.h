#pragma once

#include <algorithm>
#include <cstddef>

#include "Assert.h"
#include "bits/BitGrid.h"
#include "bits/ColumnGrid.h"
#include "bits/Pixels.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// A queue of pixels of an image, each at most once, of which the last in raster order is taken first. Adding and
/// taking cost the same however many pixels wait, and a bit for each row between a pixel taken and the next.
class RasterQueue {
public:
    using Word = ColumnGrid::Word;

    /// Of an image of this size.
    RasterQueue(int width, int height)
        : grid_(width, height),
          masksPerRow_((static_cast<std::size_t>(width) + 4095) / 4096),
          words_(grid_.Words()),
          masks_(masksPerRow_ * static_cast<std::size_t>(height)),
          rows_((static_cast<std::size_t>(height) + 63) / 64) {}

    bool IsEmpty() const { return count_ == 0; }

    /// Whether the pixel was not in the queue already.
    bool Add(int x, int y) {
        Word& word = words_[grid_.WordAt(x, y)];
        if ((word & ColumnGrid::Bit(x)) != 0) {
            return false;
        }
        word |= ColumnGrid::Bit(x);
        masks_[MaskAt(x, y)] |= ColumnGrid::Bit(x >> 6);
        rows_[static_cast<std::size_t>(y >> 6)] |= ColumnGrid::Bit(y);
        last_ = std::max(last_, y);
        ++count_;
        return true;
    }

    /// The queue must not be empty.
    PixelPosition TakeLast() {
        KORVANE_ASSERT(!IsEmpty());
        auto group = static_cast<std::size_t>(last_ >> 6);
        while (rows_[group] == 0) {
            --group;
        }
        const int y = static_cast<int>(group) * 64 + BitGrid::HighestBit(rows_[group]);
        std::size_t part = masksPerRow_ - 1;
        const std::size_t first = static_cast<std::size_t>(y) * masksPerRow_;
        while (masks_[first + part] == 0) {
            --part;
        }
        const int column = static_cast<int>(part) * 64 + BitGrid::HighestBit(masks_[first + part]);
        Word& word = words_[grid_.WordAt(column * 64, y)];
        const int x = column * 64 + BitGrid::HighestBit(word);
        word &= ~ColumnGrid::Bit(x);
        if (word == 0) {
            masks_[first + part] &= ~ColumnGrid::Bit(column);
            ClearRowIfEmpty(y);
        }
        last_ = --count_ == 0 ? 0 : y;
        return {x, y};
    }

private:
    std::size_t MaskAt(int x, int y) const {
        return static_cast<std::size_t>(y) * masksPerRow_ + static_cast<std::size_t>(x >> 12);
    }
    void ClearRowIfEmpty(int y) {
        for (std::size_t part = 0; part < masksPerRow_; ++part) {
            if (masks_[static_cast<std::size_t>(y) * masksPerRow_ + part] != 0) {
                return;
            }
        }
        rows_[static_cast<std::size_t>(y >> 6)] &= ~ColumnGrid::Bit(y);
    }

    ColumnGrid grid_;
    std::size_t masksPerRow_;
    ZeroedArray<Word> words_;  // the pixels of the queue
    ZeroedArray<Word> masks_;  // per row, a bit for each word with pixels of the queue
    ZeroedArray<Word> rows_;   // a bit for each row with pixels of the queue
    int last_ = 0;             // no row below this one has pixels of the queue
    std::size_t count_ = 0;
};

}  // namespace level_sweep
