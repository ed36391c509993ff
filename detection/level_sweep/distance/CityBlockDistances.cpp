#include "distance/CityBlockDistances.h"

#include <algorithm>

namespace level_sweep {

CityBlockDistances::CityBlockDistances(const TiledSet& set, const PixelBox& box) : box_(box) {
    const auto width = static_cast<std::size_t>(box.Width());
    const auto height = static_cast<std::size_t>(box.Height());
    const int far = set.Width() + set.Height();
    distances_.resize(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        std::int32_t* row = &distances_[y * width];
        int west = far;
        for (std::size_t x = 0; x < width; ++x) {
            const bool isSet = set.Has(box.x0 + static_cast<int>(x), box.y0 + static_cast<int>(y));
            west = isSet ? std::min(west, y > 0 ? row[x - width] : far) + 1 : 0;
            row[x] = west;
        }
    }
    for (std::size_t y = height; y-- > 0;) {
        std::int32_t* row = &distances_[y * width];
        int east = far;
        for (std::size_t x = width; x-- > 0;) {
            east = std::min({row[x], east + 1, (y + 1 < height ? row[x + width] : far) + 1});
            row[x] = east;
        }
    }
}

}  // namespace level_sweep
