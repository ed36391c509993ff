#pragma once

#include <string>

#include "PixelResolution.h"

namespace Korvane {

/// Why an image whose pixel width is known cannot be analysed all the same: its file stores no pixel height, or one
/// that is more than ten times larger or smaller than the width. Areas, and so roundness, would be wrong by that factor
/// and every object be dropped. Empty when the height is usable, and when the width is undefined, which the analyses
/// refuse themselves.
std::string PixelHeightTrouble(const qvox::PixelResolution& resolution);

/// Throws ToolkitError with that text where there is one.
void RequirePixelHeight(const qvox::PixelResolution& resolution);

}  // namespace Korvane
