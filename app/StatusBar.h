#pragma once

#include <wx/statusbr.h>

namespace Korvane {

/// The toolkit's status bar, in windows of any width: a field that has no room is not painted. The toolkit would ask
/// for a rectangle of negative width to be painted, of which the drawing library complains.
class StatusBar final : public wxStatusBar {
public:
    using wxStatusBar::wxStatusBar;

protected:
    void DoUpdateStatusText(int field) override {
        wxRect place;
        if (GetFieldRect(field, place) && place.width > 0) wxStatusBar::DoUpdateStatusText(field);
    }
};

}  // namespace Korvane
