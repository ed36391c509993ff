#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"
#include "operations/HoleFilling.h"
#include "operations/Line.h"

namespace korvane_reference {

/// Every voxel of the disc's box is tested.
inline void PlainDisc(qvox::LabelImage& labels, std::int64_t cx, std::int64_t cy, std::int64_t radius,
                      std::uint16_t label) {
    for (std::int64_t dy = -radius; dy <= radius; ++dy) {
        for (std::int64_t dx = -radius; dx <= radius; ++dx) {
            const std::int64_t x = cx + dx;
            const std::int64_t y = cy + dy;
            if (dx * dx + dy * dy >= radius * radius || x < 0 || y < 0) continue;
            if (x >= static_cast<std::int64_t>(labels.SizeX()) || y >= static_cast<std::int64_t>(labels.SizeY()))
                continue;
            labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = label;
        }
    }
}

/// Drawn and filled in an image as large as the labels.
inline void PlainContour(qvox::LabelImage& labels, const std::vector<std::uint64_t>& points, std::uint16_t label) {
    if (points.empty()) return;
    qvox::LabelImage outline;
    outline.Resize(labels.SizeX(), labels.SizeY(), 1);
    outline.Zero();
    const auto at = [&](std::uint64_t point) {
        return std::array<std::int64_t, 3>{static_cast<std::int64_t>(point % labels.SizeX()),
                                           static_cast<std::int64_t>(point / labels.SizeX()), 0};
    };
    for (std::size_t i = 1; i < points.size(); ++i) qvox::DrawLine(outline, at(points[i]), at(points[i - 1]), 65535);
    qvox::DrawLine(outline, at(points.back()), at(points.front()), 65535);
    qvox::LabelImage filled;
    qvox::FillHoles(outline, filled);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        if (filled[i] > 65534) labels[i] = label;
    }
}

}  // namespace korvane_reference
