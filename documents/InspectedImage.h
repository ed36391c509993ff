#pragma once

#include <wx/string.h>

#include "Position.h"
#include "files/ImageFile.h"

namespace Korvane {

/// LoadPosition of a file that InspectImageFile has told of already with the same options: it is looked at once less.
Position LoadInspected(const wxString& path, const qvox::ImageFileInfo& info, const qvox::ReadOptions& options);

}  // namespace Korvane
