#include "ParameterValidator.h"

#include <optional>

#include <wx/msgdlg.h>
#include <wx/textctrl.h>

#include "ParameterText.h"

namespace Korvane {

namespace {

wxString Number(float value, int decimals) {
    wxString text = wxString::FromCDouble(static_cast<double>(value), decimals);
    while (text.EndsWith("0") && text.find('.') != wxString::npos) text.RemoveLast();
    if (text.EndsWith(".")) text.RemoveLast();
    return text;
}

}  // namespace

wxString RangeText(const ParameterRange& range) {
    wxString text = Number(range.minimum, range.decimals) + " to " + Number(range.maximum, range.decimals);
    text << ", with at most " << range.decimals << " decimals";
    return text;
}

ParameterValidator::ParameterValidator(const ParameterRange& range, float* value)
    : wxFloatingPointValidator<float>(range.decimals, value, wxNUM_VAL_NO_TRAILING_ZEROES), range_(range) {
    SetRange(range.minimum, range.maximum);
    // Its handlers drop keys and rewrite the text when the field loses the focus.
    SetEvtHandlerEnabled(false);
}

ParameterValidator::ParameterValidator(const ParameterValidator& other)
    : wxFloatingPointValidator<float>(other), range_(other.range_), shown_(other.shown_) {
    SetEvtHandlerEnabled(false);
}

bool ParameterValidator::TransferToWindow() {
    if (!wxFloatingPointValidator<float>::TransferToWindow()) return false;
    shown_ = GetTextEntry()->GetValue();
    return true;
}

bool ParameterValidator::IsAsShown() const { return !shown_.empty() && GetTextEntry()->GetValue() == shown_; }

bool ParameterValidator::Validate(wxWindow*) {
    if (IsAsShown() || ParameterFromText(GetTextEntry()->GetValue(), range_)) return true;
    wxString name = range_.label;
    if (name.EndsWith(":")) name.RemoveLast();
    wxMessageBox(name + ": please enter a number from " + RangeText(range_) + ".", "Validation conflict",
                 wxOK | wxICON_EXCLAMATION, wxGetTopLevelParent(GetWindow()));
    GetWindow()->SetFocus();
    GetTextEntry()->SelectAll();
    return false;
}

bool ParameterValidator::TransferFromWindow() {
    if (IsAsShown()) return true;
    const std::optional<float> number = ParameterFromText(GetTextEntry()->GetValue(), range_);
    if (!number) return false;
    *m_value = *number;
    return true;
}

}  // namespace Korvane
