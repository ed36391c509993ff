#include "network/ComponentRing.h"

namespace level_sweep {

void ComponentRing::Set(const std::vector<WordPixels<BitGrid>>& component) {
    const std::int32_t wordsPerRow = grid_.WordsPerRow();
    words_ = PixelBox{};
    for (const WordPixels<BitGrid>& part : component) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        words_.Include({y, column, column});
    }
    words_.Grow(1, wordsPerRow, height_);
    component_.assign(static_cast<std::size_t>(words_.Width()) * static_cast<std::size_t>(words_.Height()), 0);
    for (const WordPixels<BitGrid>& part : component) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        component_[static_cast<std::size_t>((y - words_.y0) * words_.Width() + column - words_.x0)] = part.pixels;
    }
}

ComponentRing::Word ComponentRing::In(int column, int y) const {
    constexpr int last = 63;
    const int width = words_.Width();
    const Word* word = component_.data() + static_cast<std::ptrdiff_t>(y - words_.y0) * width + (column - words_.x0);
    Word ring = *word << 1 | *word >> 1;
    ring |= column > words_.x0 ? word[-1] >> last : 0;
    ring |= column < words_.x1 ? word[1] << last : 0;
    ring |= y > words_.y0 ? word[-width] : 0;
    ring |= y < words_.y1 ? word[width] : 0;
    return ring;
}

}  // namespace level_sweep
