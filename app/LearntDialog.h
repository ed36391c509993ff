#pragma once

#include <wx/dialog.h>

#include "Tuning.h"

class wxCheckBox;
class wxStaticText;

namespace Korvane {

/// Shows what a search for parameters came to: scores, what each parameter did, warnings and the decision. Ends with
/// wxID_APPLY, or with another value for Close.
class LearntDialog final : public wxDialog {
public:
    LearntDialog(wxWindow* parent, const TuningResult& result);

    /// Those to apply: the search's choice or, where a person ticked them, the learnt ones although they are not
    /// proven better.
    const AnalysisParameters& Parameters() const;

private:
    void ShowParameters();

    const TuningResult& result_;
    wxCheckBox* unproven_ = nullptr;  ///< none where the learnt parameters are the choice
    wxStaticText* values_;
};

}  // namespace Korvane
