#include "branches/AffectedPaths.h"

#include <algorithm>

#include "Assert.h"
#include "bits/BitGrid.h"

namespace level_sweep {

void AffectedPaths::Begin(Rank before) {
    ends_.clear();
    before_ = before;
}

// Changes at the sides of a word affect paths in the next word and are processed at once, others together with those
// above and below.
void AffectedPaths::Add(std::size_t word, Word changed) {
    if ((changed & (Word{3} | Word{3} << 62)) != 0) {
        FindAtSides(word, changed);
        return;
    }
    if (word - first_ >= kRows) {
        FindCollected();
        first_ = word - kRows / 2;
    }
    const std::size_t row = word - first_;
    top_ = std::min(top_, row);
    bottom_ = std::max(bottom_, row);
    changed_[row] |= changed;
}

const std::vector<AffectedPaths::Rank>& AffectedPaths::Finish() {
    FindCollected();
    return ends_;
}

void AffectedPaths::FindCollected() {
    const std::size_t top = top_;
    const std::size_t bottom = bottom_;
    if (top > bottom) {
        return;
    }
    // Rows `row` - 1 and `row` - 2 get their centres and their near pixels in turn: the row two further up is complete
    // once the centres of the three rows around it are known.
    const int x0 = lines_.Grid().FirstXOf(first_ + top - 2);
    const int y0 = lines_.Grid().RowOf(first_ + top - 2);
    const LinePixels::Lines* at = &lines_[first_ + top];
    Word centresAbove = 0;
    Word centres = 0;
    Word changedAbove = 0;
    Word changed = 0;
    for (std::size_t row = top; row < bottom + 5; ++row, ++at) {
        const Word changedBelow = row <= bottom ? changed_[row] : 0;
        const Word centresBelow = (DilateRow(changedAbove | changed | changedBelow) & at[-1].All()) | changed;
        const Word near = DilateRow(centresAbove | centres | centresBelow) & at[-2].taken;
        if (near != 0) {
            int x = x0;
            int y = y0 + static_cast<int>(row - top);
            for (; y >= height_; y -= static_cast<int>(lines_.Grid().ColumnStride())) {
                x += 64;  // the words continue at the top of the next column
            }
            MarkStale(first_ + row - 2, x, y, near);
        }
        centresAbove = centres;
        centres = centresBelow;
        changedAbove = changed;
        changed = changedBelow;
    }
    std::fill(changed_.begin() + top, changed_.begin() + bottom + 1, Word{0});
    top_ = kRows;
    bottom_ = 0;
}

void AffectedPaths::FindAtSides(std::size_t word, Word changed) {
    const std::size_t stride = lines_.Grid().ColumnStride();
    const Word dilated = DilateRow(changed);
    std::array<Word, 5> west{};
    std::array<Word, 5> near{};
    std::array<Word, 5> east{};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t row = word - 1 + i;
        const Word centres = (dilated & lines_[row].All()) | (i == 1 ? changed : 0);
        const Word centresWest = changed << 63 & lines_[row - stride].All();
        const Word centresEast = changed >> 63 & lines_[row + stride].All();
        for (std::size_t k = i; k < i + 3; ++k) {
            west[k] |= centresWest | centresWest >> 1 | centres << 63;
            near[k] |= DilateRow(centres) | centresWest >> 63 | centresEast << 63;
            east[k] |= centresEast | centresEast << 1 | centres >> 63;
        }
    }
    const int x0 = lines_.Grid().FirstXOf(word);
    const int y0 = lines_.Grid().RowOf(word) - 2;
    for (std::size_t i = 0; i < 5; ++i) {
        const auto mark = [&](std::size_t at, int x, Word pixels) {
            if ((pixels & lines_[at].taken) != 0) {
                MarkStale(at, x, y0 + static_cast<int>(i), pixels & lines_[at].taken);
            }
        };
        mark(word - stride - 2 + i, x0 - 64, west[i]);
        mark(word - 2 + i, x0, near[i]);
        mark(word + stride - 2 + i, x0 + 64, east[i]);
    }
}

// The path of a pixel that was stale before is queued already.
void AffectedPaths::MarkStale(std::size_t word, int x0, int y, Word pixels) {
    Word stale = 0;
    for (pixels &= ~lines_[word].stale; pixels != 0; pixels &= pixels - 1) {
        const int bit = BitGrid::LowestBit(pixels);
        const Rank owner = lines_.OwnerOf(x0 + bit, y);
        if (owner < before_) {
            stale |= ColumnGrid::Bit(bit);
            if (ends_.empty() || owner != ends_.back()) {
                ends_.push_back(owner);
            }
        }
    }
    lines_.MarkStale(word, stale);
}

void AffectedPaths::CheckInvariants() const {
    KORVANE_ASSERT(top_ == kRows && bottom_ == 0);
    for (const Word changed : changed_) {
        KORVANE_ASSERT(changed == 0);
    }
}

}  // namespace level_sweep
