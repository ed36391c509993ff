#pragma once

#include <wx/valnum.h>

#include "AnalysisParameters.h"

namespace Korvane {

/// Checks one field of the parameters dialog when the person is done, not key by key: the library's validator drops
/// keys that would leave the range and leaves the rest, which makes another number of it. A refused text is told with
/// the field's name and range; the field then has the focus and its text is selected.
class ParameterValidator final : public wxFloatingPointValidator<float> {
public:
    /// `value` is shown, and replaced by the number typed; it must outlive the field.
    ParameterValidator(const ParameterRange& range, float* value);
    ParameterValidator(const ParameterValidator& other);

    wxObject* Clone() const override { return new ParameterValidator(*this); }
    bool TransferToWindow() override;
    bool Validate(wxWindow* parent) override;
    bool TransferFromWindow() override;

private:
    bool IsAsShown() const;

    const ParameterRange& range_;
    wxString shown_;  ///< a value with more decimals than the field shows stays, unless its text is changed
};

/// The numbers that a field takes: "0.1 to 1.9, with at most 2 decimals".
wxString RangeText(const ParameterRange& range);

}  // namespace Korvane
