#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "DisplayRange.h"
#include "LabelEditing.h"
#include "PixelResolution.h"

namespace Korvane {

/// The frame's title until a position is shown.
inline constexpr const char* kStartTitle = "TEM Korvane";

/// Told while no position is open.
inline constexpr const char* kNothingOpenText = "Open images (Ctrl+O) or drop files here";

/// Told when something is refused because a contour is being drawn.
inline constexpr const char* kOpenContourText = "A contour is open: Esc discards it";

/// What lies under the pointer.
struct PointerFacts {
    Pixel at;
    float grey = 0.0f;
    std::uint16_t label = 0;
};

/// "12, 7: grey 143, label 3", without the label on the background.
std::string PointerText(const PointerFacts& facts);

/// "from percentile 0.5 to 98".
std::string RangeText(const DisplayRange& range);

/// Fields 1 to 5 of the status bar, in order; field 0 belongs to the menus' help texts.
using StatusFields = std::array<std::string, 5>;

/// The state of the current position and of the tools that the status bar shows.
struct StatusFacts {
    qvox::PixelResolution resolution;  ///< of the current position; not a finite number above 0 is unknown
    std::uint16_t currentLabel = 1;
    int brushRadiusPx = kFirstBrushRadiusPx;
    std::size_t objectCount = 0;
    DrawingMode mode = DrawingMode::kBrush;
};

/// The texts while a position is shown. The pixel size is in nanometres with one decimal, "." in every locale. While a
/// contour is drawn the radius reads 1, the size of the tip, whatever the brush's is.
StatusFields StatusTexts(const StatusFacts& facts);

/// The texts while no position is open.
StatusFields StatusTextsWithoutPosition();

/// The frame's title for a position: its number from 1, how many there are, and its path as it is stored.
std::wstring PositionTitle(std::size_t index, std::size_t count, const std::wstring& path);

}  // namespace Korvane
