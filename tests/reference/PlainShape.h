#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// A direction between voxels, in voxels.
struct GridDirection {
    int dx;
    int dy;
};

/// The discretised Crofton formula for any set of directions, which must be in ascending order of angle within the half
/// circle: pi / 2 x sum of (share of the half circle) x (distance of the lines) x (crossings along them).
inline double PlainCrofton(const qvox::LabelImage& labels, std::uint16_t label, double sizeX, double sizeY,
                           const std::vector<GridDirection>& directions) {
    constexpr double kPi = 3.141592653589793;
    const auto width = static_cast<std::int64_t>(labels.SizeX());
    const auto height = static_cast<std::int64_t>(labels.SizeY());
    const auto inside = [&](std::int64_t x, std::int64_t y) {
        return x >= 0 && y >= 0 && x < width && y < height &&
               labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) == label;
    };
    std::vector<double> angles;
    for (const GridDirection& d : directions) angles.push_back(std::atan2(d.dy * sizeY, d.dx * sizeX));
    double sum = 0.0;
    for (std::size_t i = 0; i < directions.size(); ++i) {
        const double before = i > 0 ? angles[i - 1] : angles.back() - kPi;
        const double after = i + 1 < angles.size() ? angles[i + 1] : angles.front() + kPi;
        const GridDirection d = directions[i];
        std::uint64_t crossings = 0;
        for (std::int64_t y = -2; y < height + 2; ++y) {
            for (std::int64_t x = -2; x < width + 2; ++x) crossings += inside(x, y) != inside(x + d.dx, y + d.dy);
        }
        const double spacing = sizeX * sizeY / std::sqrt(d.dx * d.dx * sizeX * sizeX + d.dy * d.dy * sizeY * sizeY);
        sum += (after - before) / 2.0 / kPi * spacing * static_cast<double>(crossings);
    }
    return kPi / 2.0 * sum;
}

/// The four directions of the toolkit's perimeter.
inline std::vector<GridDirection> FourDirections() { return {{1, 0}, {1, 1}, {0, 1}, {-1, 1}}; }
/// Those and the knight's moves between them.
inline std::vector<GridDirection> EightDirections() {
    return {{1, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 1}, {-1, 2}, {-1, 1}, {-2, 1}};
}

}  // namespace korvane_reference
