#pragma once

#include <cmath>

#include "PixelResolution.h"

namespace Korvane {

/// Width and height of a pixel in nm. An axis without a resolution (0, negative or not finite) counts as 1 pixel per
/// micrometre, as in the measurement table.
struct PixelScale {
    double widthNm = 1000.0;
    double heightNm = 1000.0;

    /// Side of the square of a pixel's area: the unit in which lengths inside an image are compared.
    double UnitNm() const { return std::sqrt(widthNm * heightNm); }
};

inline bool IsDefined(float pixelsPerUm) { return std::isfinite(pixelsPerUm) && pixelsPerUm > 0.0f; }

inline PixelScale ScaleOf(const qvox::PixelResolution& resolution) {
    const auto size = [](float pixelsPerUm) {
        return IsDefined(pixelsPerUm) ? 1000.0 / static_cast<double>(pixelsPerUm) : 1000.0;
    };
    return {size(resolution.x), size(resolution.y)};
}

}  // namespace Korvane
