#pragma once

#include <wx/iconbndl.h>

namespace Korvane {

/// The program's icon in the sizes that desktops ask for, drawn from packaging/korvane.svg, which the program carries
/// in itself: a window has its icon also where nothing is installed. Empty where the window toolkit draws no SVG.
wxIconBundle ProgramIcons();

}  // namespace Korvane
