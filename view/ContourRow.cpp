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

const std::vector<std::uint16_t>& ContourRow::At(std::uint64_t y) {
    constexpr std::uint64_t kBlock = 64;
    const std::uint16_t* here = labels_.Row(y);
    // A row repeated in the place of one beyond the border adds no difference that the row itself does not show.
    const std::uint16_t* above = y > 0 ? labels_.Row(y - 1) : here;
    const std::uint16_t* below = y + 1 < labels_.SizeY() ? labels_.Row(y + 1) : here;
    const std::uint64_t lastX = labels_.SizeX() - 1;
    const std::uint64_t end = firstX_ + differs_.size();
    std::uint16_t* const differs = differs_.data();
    const std::uint64_t firstX = firstX_;
    for (const std::uint64_t x : {firstX, end - 1}) {
        const std::uint64_t left = x > 0 ? x - 1 : x;
        const std::uint64_t right = x < lastX ? x + 1 : x;
        differs[x - firstX] = Difference(above, here, below, left, x, right);
    }
    for (std::uint64_t block = firstX + 1; block + 1 < end; block += kBlock) {
        const std::uint64_t blockEnd = std::min(block + kBlock, end - 1);
        if (AllBackground(here + block, blockEnd - block)) {
            std::fill(differs + (block - firstX), differs + (blockEnd - firstX), std::uint16_t{0});
            continue;
        }
        for (std::uint64_t x = block; x < blockEnd; ++x) {
            differs[x - firstX] = Difference(above, here, below, x - 1, x, x + 1);
        }
    }
    return differs_;
}

}  // namespace Korvane
