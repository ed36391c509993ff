#include "LabelExtents.h"

#include <algorithm>

namespace Korvane {

namespace {

void AddRun(LabelExtent& extent, std::uint64_t first, std::uint64_t last, std::uint64_t y) {
    if (extent.pixels == 0) {
        extent.minX = first;
        extent.maxX = last;
        extent.minY = y;
    }
    extent.pixels += last - first + 1;
    extent.minX = std::min(extent.minX, first);
    extent.maxX = std::max(extent.maxX, last);
    extent.maxY = y;
}

}  // namespace

std::vector<LabelExtent> LabelExtents(const qvox::LabelImage& labels) {
    std::vector<LabelExtent> byLabel(65536);
    const std::uint64_t width = labels.SizeX();
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        const std::uint16_t* const row = labels.Row(y);
        for (std::uint64_t x = 0; x < width;) {
            const std::uint64_t first = x;
            const std::uint16_t label = row[x];
            while (x < width && row[x] == label) ++x;
            if (label != 0) AddRun(byLabel[label], first, x - 1, y);
        }
    }
    std::vector<LabelExtent> extents;
    for (std::size_t label = 1; label < byLabel.size(); ++label) {
        if (byLabel[label].pixels == 0) continue;
        byLabel[label].label = static_cast<std::uint16_t>(label);
        extents.push_back(byLabel[label]);
    }
    return extents;
}

bool LiesNearFrame(const LabelExtent& extent, const ImagePart& part) {
    return extent.minX <= part.x + 1 || extent.minY <= part.y + 1 || extent.maxX + 2 >= part.x + part.width ||
           extent.maxY + 2 >= part.y + part.height;
}

}  // namespace Korvane
