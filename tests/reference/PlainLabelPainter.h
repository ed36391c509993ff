#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "LabelColours.h"
#include "LabelPainter.h"
#include "VoxelImage.h"

namespace korvane_reference {

/// One grey level; 0 where the arithmetic gives no number.
inline std::uint8_t PlainGrey(float value, float min, float max) {
    const float level = (value - min) / (max - min) * 255.0f;
    return level == level ? static_cast<std::uint8_t>(level) : std::uint8_t{0};
}

/// Whether the label voxel (x, y) has another label in its 3 x 3 neighbourhood inside the image.
inline bool PlainOnContour(const qvox::LabelImage& labels, std::uint64_t x, std::uint64_t y) {
    const auto width = static_cast<std::int64_t>(labels.SizeX());
    const auto height = static_cast<std::int64_t>(labels.SizeY());
    for (std::int64_t dy = -1; dy <= 1; ++dy) {
        for (std::int64_t dx = -1; dx <= 1; ++dx) {
            const std::int64_t nx = static_cast<std::int64_t>(x) + dx;
            const std::int64_t ny = static_cast<std::int64_t>(y) + dy;
            if (nx < 0 || ny < 0 || nx >= width || ny >= height) continue;
            if (labels(static_cast<std::uint64_t>(nx), static_cast<std::uint64_t>(ny)) != labels(x, y)) return true;
        }
    }
    return false;
}

inline qvox::Rgb8 PlainColour(std::uint8_t grey, const qvox::LabelImage& labels, std::uint64_t x, std::uint64_t y,
                              Korvane::LabelStyle style) {
    const std::uint16_t label = labels(x, y);
    const bool painted = label > 0 && (style == Korvane::LabelStyle::kRegions ||
                                       (style == Korvane::LabelStyle::kContours && PlainOnContour(labels, x, y)));
    if (!painted) return {grey, grey, grey};
    return Korvane::kLabelColours[(label - 1u) % 12u];
}

/// Mean coordinates of one label's voxels, rounded down; the label must be present.
inline std::pair<std::uint64_t, std::uint64_t> PlainAnchor(const qvox::LabelImage& labels, std::uint16_t label) {
    std::uint64_t count = 0;
    std::uint64_t sumX = 0;
    std::uint64_t sumY = 0;
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            if (labels(x, y) != label) continue;
            ++count;
            sumX += x;
            sumY += y;
        }
    }
    return {sumX / count, sumY / count};
}

}  // namespace korvane_reference
