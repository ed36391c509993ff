#include "enclosed/EnclosedArea.h"

#include <algorithm>

#include "Assert.h"

namespace level_sweep {

EnclosedArea::EnclosedArea(int width, int height)
    : height_(height),
      lastColumn_((width - 1) / 64),
      inLastColumn_(~Word{0} >> (63 - ((width - 1) & 63))),
      grid_(width, height),
      filled_(grid_.Words()),
      closed_(grid_.Words()) {
    for (int column = -1; column <= lastColumn_ + 1; ++column) {
        closed_[grid_.WordAt(WordPosition{column, -1})] = ~Word{0};
        closed_[grid_.WordAt(WordPosition{column, height})] = ~Word{0};
    }
    for (int y = 0; y < height; ++y) {
        closed_[grid_.WordAt(WordPosition{-1, y})] = ~Word{0};
        closed_[grid_.WordAt(WordPosition{lastColumn_ + 1, y})] = ~Word{0};
    }
}

// The words that contain filled pixels and the pixels next to these.
void EnclosedArea::FindBox() {
    int x0 = INT32_MAX;
    int x1 = 0;
    int y0 = height_;
    int y1 = 0;
    for (const WordPosition& at : reachedWords_) {
        const Word filled = filled_[grid_.WordAt(at)];
        if (filled != 0) {
            x0 = std::min(x0, at.column * 64 + LowestBit(filled));
            x1 = std::max(x1, at.column * 64 + HighestBit(filled));
            y0 = std::min(y0, at.y);
            y1 = std::max(y1, at.y);
        }
    }
    firstColumn_ = std::max(x0 - 1, 0) / 64;
    boxColumns_ = std::min((x1 + 1) / 64, lastColumn_) - firstColumn_ + 1;
    firstRow_ = std::max(y0 - 1, 0);
    boxRows_ = std::min(y1 + 1, height_ - 1) - firstRow_ + 1;
    boxStride_ = static_cast<std::size_t>(boxRows_) + 2;
}

// Everything except the holes and the filled pixels is reached from the border of the box.
void EnclosedArea::FindHoles() {
    box_.assign((static_cast<std::size_t>(boxColumns_) + 2) * boxStride_, 0);
    for (int column = 0; column < boxColumns_; ++column) {
        const Word pixels = PixelsOfColumn(firstColumn_ + column);
        const Word* filled = &filled_[grid_.WordAt(WordPosition{firstColumn_ + column, firstRow_})];
        Word* free = &box_[static_cast<std::size_t>(column + 1) * boxStride_ + 1];
        for (int row = 0; row < boxRows_; ++row) {
            free[row] = ~filled[row] & pixels;
        }
        boxSeeds_.push_back({static_cast<std::size_t>(column + 1) * boxStride_ + 1, ~Word{0}});
        boxSeeds_.push_back({static_cast<std::size_t>(column + 2) * boxStride_ - 2, ~Word{0}});
    }
    FillOutside();
    const Word lastPixels = PixelsOfColumn(firstColumn_ + boxColumns_ - 1);
    for (std::size_t row = 1; row <= static_cast<std::size_t>(boxRows_); ++row) {
        boxSeeds_.push_back({boxStride_ + row, 1});
        boxSeeds_.push_back({static_cast<std::size_t>(boxColumns_) * boxStride_ + row, lastPixels & ~(lastPixels >> 1)});
    }
    FillOutside();
    for (int column = 0; column < boxColumns_; ++column) {
        const Word* filled = &filled_[grid_.WordAt(WordPosition{firstColumn_ + column, firstRow_})];
        Word* area = &box_[static_cast<std::size_t>(column + 1) * boxStride_ + 1];
        for (int row = 0; row < boxRows_; ++row) {
            area[row] |= filled[row];
        }
    }
}

// Removes from the box all pixels that are reached from the seeds.
void EnclosedArea::FillOutside() {
    const auto seed = [&](std::size_t word, Word pixels) {
        if ((pixels & box_[word]) != 0) {
            boxSeeds_.push_back({word, pixels});
        }
    };
    while (!boxSeeds_.empty()) {
        const WordPixels<ColumnGrid> at = boxSeeds_.back();
        boxSeeds_.pop_back();
        const Word found = RunsContaining(at.pixels & box_[at.word], box_[at.word]);
        box_[at.word] &= ~found;
        seed(at.word - 1, found);
        seed(at.word + 1, found);
        if ((found & 1u) != 0) {
            seed(at.word - boxStride_, Word{1} << 63);
        }
        if (found >> 63 != 0) {
            seed(at.word + boxStride_, 1);
        }
    }
}

void EnclosedArea::CheckInvariants() const {
#ifdef KORVANE_ASSERTIONS
    for (int column = -1; column <= lastColumn_ + 1; ++column) {
        for (int y = -1; y <= height_; ++y) {
            const bool inside = column >= 0 && column <= lastColumn_ && y >= 0 && y < height_;
            KORVANE_ASSERT(filled_[grid_.WordAt(WordPosition{column, y})] == 0);
            KORVANE_ASSERT(closed_[grid_.WordAt(WordPosition{column, y})] == (inside ? 0 : ~Word{0}));
        }
    }
#endif
}

}  // namespace level_sweep
