#pragma once

#include <wx/string.h>
#include <wx/window.h>

namespace Korvane {

/// What assistive technologies read of a window that draws itself: a name, and what it shows now. The toolkit has no
/// way to say it under GTK; without GTK nothing happens.
void SetAccessibleName(const wxWindow& window, const wxString& name);
void SetAccessibleDescription(const wxWindow& window, const wxString& description);

}  // namespace Korvane
