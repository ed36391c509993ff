#pragma once

#include <string>

#include "NumberPainter.h"

namespace Korvane {

/// Draws a UTF-8 text of one line without a display, in the bold sans-serif font of the machine, as the window writes
/// the numbers of objects. Its pixels depend on the fonts that are installed. `heightPx`: of the font, from 1.
/// Throws ToolkitError where no font is installed.
TextMask DrawText(const std::string& text, int heightPx);

/// Of the numbers of objects.
inline constexpr int kNumberHeightPx = 13;

}  // namespace Korvane
