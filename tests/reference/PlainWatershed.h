#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <queue>
#include <utility>
#include <vector>

#include "Neighbourhood8.h"
#include "VoxelImage.h"

namespace korvane_reference {

/// Marker watershed written straight from the definition: a queue ordered by level and arrival.
inline qvox::LabelImage PlainWatershed(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers) {
    struct Waiting {
        float level;
        std::uint64_t arrival;
        std::int64_t x;
        std::int64_t y;
        bool operator<(const Waiting& other) const {
            return level > other.level || (level == other.level && arrival > other.arrival);
        }
    };
    const auto levelAt = [&](std::int64_t x, std::int64_t y) {
        const float value = relief(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
        return std::isnan(value) ? std::numeric_limits<float>::infinity() : value;
    };
    const auto width = static_cast<std::int64_t>(markers.SizeX());
    const auto height = static_cast<std::int64_t>(markers.SizeY());
    qvox::LabelImage output = markers;
    std::priority_queue<Waiting> queue;
    std::uint64_t arrivals = 0;
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            if (output(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) != 0) {
                queue.push({levelAt(x, y), arrivals++, x, y});
            }
        }
    }
    while (!queue.empty()) {
        const Waiting voxel = queue.top();
        queue.pop();
        const std::uint16_t label = output(static_cast<std::uint64_t>(voxel.x), static_cast<std::uint64_t>(voxel.y));
        for (const auto& offset : qvox::Neighbourhood8::kOffsets) {
            const std::int64_t x = voxel.x + offset.dx;
            const std::int64_t y = voxel.y + offset.dy;
            if (x < 0 || y < 0 || x >= width || y >= height) continue;
            std::uint16_t& neighbour = output(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
            if (neighbour != 0) continue;
            neighbour = label;
            const float level = levelAt(x, y);
            queue.push({level > voxel.level ? level : voxel.level, arrivals++, x, y});
        }
    }
    return output;
}

}  // namespace korvane_reference
