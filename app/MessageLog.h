#pragma once

#include <vector>

#include <wx/dialog.h>
#include <wx/log.h>

#include "ImageWarnings.h"

class wxTextCtrl;

namespace Korvane {

/// Tells a failure with its cause. Where several messages are shown at once, the cause comes first.
void LogFailure(const wxString& message, const wxString& cause);

/// One message among others, as MessagesDialog shows it.
struct ShownMessage {
    wxString text;
    wxString cause = {};  ///< empty where it is not known apart from the text
};

/// Shows any number of messages in full: numbered, the cause before the text, long lines wrapped, to be selected and
/// copied.
class MessagesDialog final : public wxDialog {
public:
    MessagesDialog(wxWindow* parent, const wxString& title, const std::vector<ShownMessage>& messages);

    /// All messages as text.
    wxString Text() const;

private:
    wxTextCtrl* text_;
};

/// Collects what is told in a command and shows it after it: one message as the toolkit does, several in a
/// MessagesDialog. The toolkit's own dialog for several cuts long lines off, in its details too.
class MessageLog final : public wxLogGui {
protected:
    void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override;
    void DoShowMultipleLogMessages(const wxArrayString& messages, const wxArrayInt& severities,
                                   const wxArrayLong& times, const wxString& title, int style) override;
    void DoShowSingleLogMessage(const wxString& message, const wxString& title, int style) override;

private:
    std::vector<ShownMessage> causes_;
};

/// Warns of several images in one message; of none where there is nothing to warn of.
void WarnOf(const GatheredWarnings& warnings);

}  // namespace Korvane
