#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "bits/BitPlane.h"

namespace korvane_test {

/// Runs as pixels of words, in raster order.
inline std::vector<level_sweep::WordPixels<level_sweep::BitGrid>> PartsOf(int width, int height, const std::vector<level_sweep::PixelRun>& runs) {
    const level_sweep::BitGrid grid(width, height);
    std::map<std::int32_t, level_sweep::BitGrid::Word> words;
    for (const level_sweep::PixelRun& run : runs) {
        grid.ForEachWord(run, [&](std::int32_t word, level_sweep::BitGrid::Word pixels) { words[word] |= pixels; });
    }
    std::vector<level_sweep::WordPixels<level_sweep::BitGrid>> parts;
    for (const auto& [word, pixels] : words) parts.push_back({word, pixels});
    return parts;
}

}  // namespace korvane_test
