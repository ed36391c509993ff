#pragma once

#include <functional>

#include <wx/panel.h>

class wxStaticText;

namespace Korvane {

/// The strip above the image while the stages of detection are shown: which one, steps to the others, and why there is
/// an object under the pointer or none.
class StagesBar final : public wxPanel {
public:
    struct Links {
        std::function<void()> previous;
        std::function<void()> next;
        std::function<void()> close;
    };
    StagesBar(wxWindow* parent, Links links);

    /// As ObjectsPanel::Layout.
    bool Layout() override;

    void ShowStage(const wxString& text);
    void Explain(const wxString& text);
    /// By how much the window grew when this was shown.
    void Took(int height) { taken_ = height; }
    int Taken() const { return taken_; }

    wxString StageText() const;
    wxString Explanation() const;

private:
    int taken_ = 0;
    wxStaticText* stage_ = nullptr;
    wxStaticText* explanation_ = nullptr;
};

}  // namespace Korvane
