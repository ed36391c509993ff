#include "PixelHeight.h"

#include <wx/string.h>

#include "ToolkitError.h"

namespace Korvane {

namespace {

/// Beyond any stretching by a tilted specimen or a line scan.
constexpr float kLargestRatio = 10.0f;

std::string Nm(float pixelsPerUm) {
    return wxString::FromCDouble(1000.0 / static_cast<double>(pixelsPerUm), 3).utf8_string();
}

}  // namespace

std::string PixelHeightTrouble(const qvox::PixelResolution& resolution) {
    const auto& [x, y, z] = resolution;
    static_cast<void>(z);
    if (!(x > 0.0f)) return "";
    if (!(y > 0.0f)) return "The file stores a pixel width but no pixel height";
    if (x <= kLargestRatio * y && y <= kLargestRatio * x) return "";
    return "The file stores pixels " + Nm(x) + " nm wide and " + Nm(y) + " nm high, which cannot be true";
}

void RequirePixelHeight(const qvox::PixelResolution& resolution) {
    const std::string trouble = PixelHeightTrouble(resolution);
    if (!trouble.empty()) throw qvox::ToolkitError(trouble + ".");
}

}  // namespace Korvane
