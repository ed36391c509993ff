#pragma once

#include <wx/string.h>

#include "Position.h"
#include "files/OpenImageFile.h"

namespace Korvane {

/// LoadPosition of a file that is open already, and is closed then.
Position LoadOpened(const wxString& path, qvox::OpenImageFile& file);

}  // namespace Korvane
