#pragma once

#include <cstdint>
#include <vector>

#include <wx/string.h>

#include "BackgroundReader.h"
#include "LabelPainter.h"

namespace Korvane {

/// What the window keeps of what was burnt into an image.
struct BurntInMarks {
    wxString text;                           ///< for the status bar; empty without any
    std::vector<PixelRectangle> boxes;       ///< to be outlined: bars, and writing line by line
    std::vector<std::int64_t> barLengthsPx;  ///< of the scale bars, each once
};

/// `width`, `height`: of the image.
BurntInMarks MarksOf(const BurntIn& burntIn, std::uint64_t width, std::uint64_t height);

}  // namespace Korvane
