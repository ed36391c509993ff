#include "MessageLog.h"

#include <algorithm>
#include <utility>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/clipbrd.h>
#include <wx/dataobj.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace Korvane {

namespace {

const char* const kCause = "Korvane.cause";
constexpr int kBorder = 10;

wxString AllText(const std::vector<ShownMessage>& messages) {
    wxString all;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if (i > 0) all << "\n\n";
        if (messages.size() > 1) all << i + 1 << ". ";
        if (!messages[i].cause.empty()) all << messages[i].cause << "\n";
        all << messages[i].text;
    }
    return all;
}

void Copy(const wxString& text) {
    const wxClipboardLocker clipboard;
    if (!clipboard) return;
    wxTheClipboard->SetData(new wxTextDataObject(text));
    // The text stays when the program ends.
    wxTheClipboard->Flush();
}

/// A message box breaks lines between words only: a long path without a space would make it wider than the screen.
bool HoldsLongWord(const wxString& message) {
    constexpr std::size_t kLongest = 80;
    std::size_t length = 0;
    for (const wxUniChar character : message) {
        const auto code = character.GetValue();
        length = code == U' ' || code == U'\n' ? 0 : length + 1;
        if (length > kLongest) return true;
    }
    return false;
}

void ShowMessages(const wxString& title, const std::vector<ShownMessage>& messages) {
    MessagesDialog(wxTheApp == nullptr ? nullptr : wxTheApp->GetTopWindow(), title, messages).ShowModal();
}

}  // namespace

void LogFailure(const wxString& message, const wxString& cause) {
    wxMAKE_LOGGER(Error).Store(kCause, cause).Log("%s", message);
}

MessagesDialog::MessagesDialog(wxWindow* parent, const wxString& title, const std::vector<ShownMessage>& messages)
    : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    if (messages.size() > 1) {
        wxString heading;
        heading << messages.size() << " messages:";
        all->Add(new wxStaticText(this, wxID_ANY, heading), 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    }
    text_ = new wxTextCtrl(this, wxID_ANY, AllText(messages), wxDefaultPosition, FromDIP(wxSize(560, 280)),
                           wxTE_MULTILINE | wxTE_READONLY | wxTE_BESTWRAP);
    all->Add(text_, 1, wxEXPAND | wxALL, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* copy = new wxButton(this, wxID_COPY);
    auto* ok = new wxButton(this, wxID_OK, "OK");
    copy->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Copy(Text()); });
    buttons->Add(copy, 0, wxRIGHT, kBorder);
    buttons->Add(ok);
    all->Add(buttons, 0, wxALIGN_RIGHT | wxLEFT | wxRIGHT | wxBOTTOM, kBorder);
    ok->SetDefault();
    SetAffirmativeId(wxID_OK);
    SetEscapeId(wxID_OK);
    SetSizerAndFit(all);
    ok->SetFocus();
    CentreOnParent();
}

wxString MessagesDialog::Text() const { return text_->GetValue(); }

void MessageLog::DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) {
    wxString cause;
    if (info.GetStrValue(kCause, &cause)) causes_.push_back({message, cause});
    wxLogGui::DoLogRecord(level, message, info);
}

void MessageLog::DoShowSingleLogMessage(const wxString& message, const wxString& title, int style) {
    const std::vector<ShownMessage> causes = std::exchange(causes_, {});
    if (!causes.empty() && HoldsLongWord(message)) {
        ShowMessages(title, causes);
    } else {
        wxMessageBox(message, title, style);
    }
}

void MessageLog::DoShowMultipleLogMessages(const wxArrayString& messages, const wxArrayInt&, const wxArrayLong&,
                                           const wxString& title, int) {
    const std::vector<ShownMessage> causes = std::exchange(causes_, {});
    std::vector<ShownMessage> shown;
    for (const wxString& message : messages) {
        const auto known = std::find_if(causes.begin(), causes.end(),
                                        [&](const ShownMessage& caused) { return caused.text == message; });
        shown.push_back(known == causes.end() ? ShownMessage{message} : *known);
    }
    ShowMessages(title, shown);
}

void WarnOf(const GatheredWarnings& warnings) {
    const wxString text = warnings.Text();
    if (!text.empty()) wxLogWarning("%s", text);
}

}  // namespace Korvane
