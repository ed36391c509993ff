#pragma once

#include <vector>

#include <wx/statusbr.h>

class wxStaticText;

namespace Korvane {

/// The toolkit's status bar with a label for the text of each field: a field is then an object of its own for assistive
/// technologies, with a name and the text as its value. In windows of any width: a field that has no room is not shown.
class StatusBar final : public wxStatusBar {
public:
    using wxStatusBar::wxStatusBar;

    /// Makes the labels, in the font of the bar. `names`: of all fields.
    void NameFields(const std::vector<wxString>& names);
    const wxWindow& Field(int field) const;

protected:
    void DoUpdateStatusText(int field) override;
    void DrawFieldText(wxDC& dc, const wxRect& rect, int field, int textHeight) override;

private:
    void Place(int field);

    std::vector<wxStaticText*> labels_;
};

}  // namespace Korvane
