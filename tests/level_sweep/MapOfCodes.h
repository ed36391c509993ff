#pragma once

#include <cstddef>
#include <vector>

#include "bits/BitPlane.h"
#include "reference/CodeMaps.h"

namespace korvane_test {

/// A component map of codes, as the plain forms read it.
struct CodeMap {
    CodeMap(int columns, int rows, korvane_reference::PixelCode code)
        : width(columns),
          height(rows),
          codes(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), code) {}
    korvane_reference::CodePlane Plane() { return {codes.data(), width, width, height}; }
    korvane_reference::PixelCode& At(int x, int y) {
        return codes[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
    int width;
    int height;
    std::vector<korvane_reference::PixelCode> codes;
};

/// The pixels of the map that have a code.
inline level_sweep::BitPlane PixelsOf(CodeMap& map, korvane_reference::PixelCode code) {
    level_sweep::BitPlane pixels(map.width, map.height);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            if (map.At(x, y) == code) pixels.Add(x, y);
        }
    }
    return pixels;
}
}  // namespace korvane_test
