#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "BitPlane.h"

namespace korvane_test {

/// Runs as pixels of words, in raster order.
inline std::vector<Korvane::WordPart> PartsOf(int width, int height, const std::vector<Korvane::PixelRun>& runs) {
    const Korvane::BitGrid grid(width, height);
    std::map<std::int32_t, Korvane::BitGrid::Word> words;
    for (const Korvane::PixelRun& run : runs) {
        grid.ForEachWord(run, [&](std::int32_t word, Korvane::BitGrid::Word pixels) { words[word] |= pixels; });
    }
    std::vector<Korvane::WordPart> parts;
    for (const auto& [word, pixels] : words) parts.push_back({word, pixels});
    return parts;
}

}  // namespace korvane_test
