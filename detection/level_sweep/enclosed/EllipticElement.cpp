#include "enclosed/EllipticElement.h"

#include <algorithm>
#include <cmath>

namespace level_sweep {

std::vector<PixelRun> ReflectedEllipticElement(int size) {
    if (size == 1) {
        return {{0, 0, 0}};
    }
    std::vector<PixelRun> runs;
    const int radius = size / 2;
    const double inverse = radius != 0 ? 1.0 / (static_cast<double>(radius) * radius) : 0.0;
    for (int i = 0; i < size; ++i) {
        const int dy = i - radius;
        // Halves are rounded to the even neighbour.
        const double half = radius * std::sqrt(static_cast<double>(radius * radius - dy * dy) * inverse);
        const int dx = static_cast<int>(std::lrint(half));
        const int first = std::max(radius - dx, 0);
        const int last = std::min(radius + dx, size - 1);
        runs.push_back({radius - i, radius - last, radius - first});
    }
    return runs;
}

}  // namespace level_sweep
