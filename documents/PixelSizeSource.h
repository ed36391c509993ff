#pragma once

#include <wx/string.h>

#include "PixelResolution.h"

namespace Korvane {

/// Where an image's pixel size comes from, as tables name it: the entry of its file. "the file" where that cannot be
/// read any more, or has another pixel size by now than the one that is used.
wxString PixelSizeSource(const wxString& path, const qvox::PixelResolution& used);

}  // namespace Korvane
