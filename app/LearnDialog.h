#pragma once

#include <cstddef>
#include <vector>

#include <wx/dialog.h>
#include <wx/string.h>

class wxCheckListBox;
class wxSpinCtrl;

namespace Korvane {

/// A position that can be learnt from.
struct LearnChoice {
    std::size_t position = 0;
    wxString text;          ///< for the list
    bool isTicked = false;  ///< at first
};

/// Asks for the positions whose labels are to be learnt from, and for the effort of the search.
class LearnDialog final : public wxDialog {
public:
    /// `note` stands below the list; empty without any.
    LearnDialog(wxWindow* parent, std::vector<LearnChoice> choices, const wxString& note);

    /// The positions that are ticked, in their order.
    std::vector<std::size_t> Positions() const;
    std::size_t Evaluations() const;

private:
    void EnableLearn();

    std::vector<LearnChoice> choices_;
    wxCheckListBox* list_;
    wxSpinCtrl* evaluations_;
};

}  // namespace Korvane
