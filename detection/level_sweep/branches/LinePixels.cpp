#include "branches/LinePixels.h"

#include "Assert.h"

namespace level_sweep {

LinePixels::LinePixels(const ColumnGrid& grid, int width, int height)
    : grid_(grid),
      squaresPerRow_((static_cast<std::size_t>(width) + 3) / 4),
      lines_(grid_.Words()),
      owner_(squaresPerRow_ * ((static_cast<std::size_t>(height) + 3) / 4) * 16) {}

// OpenAround a pixel at the west or east side of a word.
unsigned LinePixels::OpenAtSide(const Place& place, Rank end) const {
    const bool isWest = (place.x & 63) == 0;
    const auto three = [&](const Lines& at, const Lines& adjacent, Word Lines::*kind) {
        const Word bits = isWest ? at.*kind << 1 | adjacent.*kind >> 63 : at.*kind >> 62 | adjacent.*kind << 2;
        return static_cast<unsigned>(bits & 7u);
    };
    unsigned remaining = 0;
    unsigned taken = 0;
    for (int row = 0; row < 3; ++row) {
        const Lines* at = place.lines + row - 1;
        const Lines* adjacent = isWest ? at - grid_.ColumnStride() : at + grid_.ColumnStride();
        remaining |= three(*at, *adjacent, &Lines::remaining) << 3 * row;
        taken |= three(*at, *adjacent, &Lines::taken) << 3 * row;
    }
    return remaining | TakenLater(taken, place, end);
}

// Of the taken pixels of a patch those that only a later path takes: that of an end further up.
unsigned LinePixels::TakenLater(unsigned taken, const Place& place, Rank end) const {
    unsigned later = 0;
    for (; taken != 0; taken &= taken - 1) {
        const int i = __builtin_ctz(taken);
        const Offset& by = kPatch[static_cast<std::size_t>(i)];
        later |= (OwnerOf(place.x + by.dx, place.y + by.dy) < end ? 1u : 0u) << i;
    }
    return later;
}

void LinePixels::CheckInvariants() const {
    for (std::size_t word = 0; word < lines_.size(); ++word) {
        const Lines& at = lines_[word];
        KORVANE_ASSERT((at.remaining & at.taken) == 0);  // 1
        KORVANE_ASSERT(at.current == 0);
        KORVANE_ASSERT((at.stale & ~at.taken) == 0);  // 2
    }
}

}  // namespace level_sweep
