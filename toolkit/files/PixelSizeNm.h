#pragma once

#include <optional>

namespace qvox {

/// Width and height of a pixel on the specimen, in nanometres.
struct PixelSizeNm {
    double x = 0.0;
    double y = 0.0;
};

/// The smallest and largest size that is believed of a microscope's own record: 0.1 pm and 1 mm.
constexpr double kSmallestPixelNm = 1e-4;
constexpr double kLargestPixelNm = 1e6;

/// The two lengths as a pixel size; nothing unless both lie within the limits (0, negative, infinite and NaN do not).
std::optional<PixelSizeNm> CheckedPixelSize(double xNm, double yNm);

}  // namespace qvox
