#include "ContourRow.h"

#include <algorithm>

namespace Korvane {

namespace {

std::uint16_t Difference(const std::uint16_t* above, const std::uint16_t* here, const std::uint16_t* below,
                         std::uint64_t left, std::uint64_t x, std::uint64_t right) {
    const std::uint16_t label = here[x];
    const auto any = static_cast<std::uint16_t>((above[left] ^ label) | (above[x] ^ label) | (above[right] ^ label) |
                                                (here[left] ^ label) | (here[right] ^ label) | (below[left] ^ label) |
                                                (below[x] ^ label) | (below[right] ^ label));
    return label == 0 ? std::uint16_t{0} : any;
}

bool AllBackground(const std::uint16_t* labels, std::uint64_t count) {
    std::uint16_t any = 0;
    for (std::uint64_t i = 0; i < count; ++i) any = static_cast<std::uint16_t>(any | labels[i]);
    return any == 0;
}

}  // namespace

bool ContourRow::MarkBlock(std::uint64_t y, std::uint64_t begin, std::uint64_t end) {
    const std::uint16_t* here = labels_.Row(y);
    if (AllBackground(here + begin, end - begin)) return false;
    // A row repeated in the place of one beyond the border adds no difference that the row itself does not show.
    const std::uint16_t* above = y > 0 ? labels_.Row(y - 1) : here;
    const std::uint16_t* below = y + 1 < labels_.SizeY() ? labels_.Row(y + 1) : here;
    const std::uint64_t lastX = labels_.SizeX() - 1;
    std::uint16_t* const differs = differs_.data();
    const std::uint64_t firstX = firstX_;
    std::uint16_t any = 0;
    if (begin == 0) {
        any = Difference(above, here, below, 0, 0, std::min<std::uint64_t>(1, lastX));
        differs[0] = any;
    }
    if (end > lastX) {
        const std::uint16_t last = Difference(above, here, below, lastX > 0 ? lastX - 1 : 0, lastX, lastX);
        differs[lastX - firstX] = last;
        any = static_cast<std::uint16_t>(any | last);
    }
    const std::uint64_t innerEnd = std::min(end, lastX);
    for (std::uint64_t x = std::max<std::uint64_t>(begin, 1); x < innerEnd; ++x) {
        const std::uint16_t difference = Difference(above, here, below, x - 1, x, x + 1);
        differs[x - firstX] = difference;
        any = static_cast<std::uint16_t>(any | difference);
    }
    return any != 0;
}

const std::vector<std::uint16_t>& ContourRow::At(std::uint64_t y) {
    const std::uint64_t end = firstX_ + differs_.size();
    for (std::uint64_t block = firstX_; block < end; block += kBlock) {
        const std::uint64_t blockEnd = std::min(block + kBlock, end);
        if (MarkBlock(y, block, blockEnd)) continue;
        std::fill(differs_.data() + (block - firstX_), differs_.data() + (blockEnd - firstX_), std::uint16_t{0});
    }
    return differs_;
}

}  // namespace Korvane
