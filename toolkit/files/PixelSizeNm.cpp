#include "files/PixelSizeNm.h"

namespace qvox {

namespace {

bool IsBelievable(double nm) { return nm >= kSmallestPixelNm && nm <= kLargestPixelNm; }

}  // namespace

std::optional<PixelSizeNm> CheckedPixelSize(double xNm, double yNm) {
    if (!IsBelievable(xNm) || !IsBelievable(yNm)) return std::nullopt;
    return PixelSizeNm{xNm, yNm};
}

}  // namespace qvox
