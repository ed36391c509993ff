#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "ComponentImage.h"
#include "Neighbourhood8.h"

namespace korvane_reference {

/// Components of equal non-zero value, found one flood at a time in raster order. Identifiers are not limited to 16
/// bit.
struct PlainComponents {
    std::vector<std::uint32_t> identifiers;
    std::vector<qvox::ComponentRecord> records;  ///< record i belongs to identifier i + 1
};

inline PlainComponents PlainLabelling(const qvox::LabelImage& source) {
    PlainComponents result;
    result.identifiers.assign(source.VoxelCount(), 0);
    const auto width = static_cast<std::int64_t>(source.SizeX());
    const auto height = static_cast<std::int64_t>(source.SizeY());
    std::vector<std::uint64_t> open;
    for (std::uint64_t first = 0; first < source.VoxelCount(); ++first) {
        if (source[first] == 0 || result.identifiers[first] != 0) continue;
        const auto identifier = static_cast<std::uint32_t>(result.records.size() + 1);
        const auto start = source.Coordinates(first);
        qvox::ComponentRecord record{
            static_cast<std::uint16_t>(identifier), source[first], 0, start[0], start[1], start[0], start[1]};
        result.identifiers[first] = identifier;
        open.push_back(first);
        while (!open.empty()) {
            const std::uint64_t index = open.back();
            open.pop_back();
            const auto at = source.Coordinates(index);
            ++record.voxelCount;
            record.minX = std::min(record.minX, at[0]);
            record.maxX = std::max(record.maxX, at[0]);
            record.minY = std::min(record.minY, at[1]);
            record.maxY = std::max(record.maxY, at[1]);
            for (const auto& offset : qvox::Neighbourhood8::kOffsets) {
                const std::int64_t x = static_cast<std::int64_t>(at[0]) + offset.dx;
                const std::int64_t y = static_cast<std::int64_t>(at[1]) + offset.dy;
                if (x < 0 || y < 0 || x >= width || y >= height) continue;
                const auto next = static_cast<std::uint64_t>(y * width + x);
                if (source[next] != source[first] || result.identifiers[next] != 0) continue;
                result.identifiers[next] = identifier;
                open.push_back(next);
            }
        }
        result.records.push_back(record);
    }
    return result;
}

}  // namespace korvane_reference
