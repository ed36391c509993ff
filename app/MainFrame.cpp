#include "MainFrame.h"

#include <wx/app.h>
#include <wx/dnd.h>
#include <wx/log.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/statusbr.h>

#include "Accessibility.h"
#include "CommandTable.h"
#include "ExceptionText.h"
#include "ObjectsPanel.h"
#include "ProgramIcon.h"
#include "SingleImageCanvas.h"
#include "StagesBar.h"
#include "StagesView.h"
#include "StatusBar.h"
#include "StatusTexts.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

class DroppedFiles final : public wxFileDropTarget {
public:
    explicit DroppedFiles(MainFrame& frame) : frame_(frame) {}

    bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& names) override {
        // The question that may follow must not be asked while the other program waits for the drop to end.
        frame_.CallAfter(
            [&frame = frame_, paths = std::vector<wxString>(names.begin(), names.end())] { frame.OpenFiles(paths); });
        return true;
    }

private:
    MainFrame& frame_;
};

/// The fields have fixed widths; where the desktop's font is too wide for the longest common text, a smaller one is
/// used.
void FitStatusFont(wxStatusBar& bar, int width) {
    constexpr int kSmallestPoints = 7;
    constexpr int kPadding = 8;
    wxFont font = bar.GetFont();
    while (font.GetPointSize() > kSmallestPoints &&
           bar.GetTextExtent("Pixel size: 10.0x10.0 nm").x + kPadding > width) {
        font.SetPointSize(font.GetPointSize() - 1);
        bar.SetFont(font);
    }
}

}  // namespace

const wxEventTable MainFrame::kEventTable = {&wxFrame::sm_eventTable, MainFrameEventEntries()};
wxEventHashTable MainFrame::eventHashTable_(MainFrame::kEventTable);

const wxEventTable* MainFrame::GetEventTable() const { return &kEventTable; }

wxEventHashTable& MainFrame::GetEventHashTable() const { return eventHashTable_; }

MainFrame::MainFrame() : wxFrame(nullptr, wxID_ANY, kStartTitle), reader_([] { wxWakeUpIdle(); }) {
    SetIcons(ProgramIcons());
    SetMenuBar(MakeMenuBar());
    auto* all = new wxBoxSizer(wxVERTICAL);
    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    canvas_ = new SingleImageCanvas(this, *this, RunOnOpenCVThreads);
    canvas_->SetDoubleBuffered(true);
    canvas_->SetVirtualSize(0, 0);
    canvas_->SetDropTarget(new DroppedFiles(*this));
    sizer->Add(canvas_, 1, wxEXPAND);
    MakeObjectsPanel();
    sizer->Add(objects_, 0, wxEXPAND);
    MakeStagesBar();
    all->Add(stagesBar_, 0, wxEXPAND);
    all->Add(sizer, 1, wxEXPAND);
    SetSizer(all);
    constexpr int kWidths[] = {-1, 120, 60, 60, 80, 100};
    CreateStatusBar(static_cast<int>(std::size(kWidths)));
    SetStatusWidths(static_cast<int>(std::size(kWidths)), kWidths);
    FitStatusFont(*GetStatusBar(), kWidths[1]);
    dynamic_cast<StatusBar&>(*GetStatusBar())
        .NameFields({"Message", "Pixel size", "Current label", "Brush radius", "Objects", "Drawing mode"});
    for (wxWindow* const window : {static_cast<wxWindow*>(GetMenuBar()), static_cast<wxWindow*>(GetStatusBar())}) {
        window->SetDropTarget(new DroppedFiles(*this));
    }
    SetAccessibleName(*canvas_, "Image");
    SetAccessibleDescription(*canvas_, kNothingOpenText);
    SetAccessibleName(*GetStatusBar(), "Status");
    RefreshStatusTexts();
    Say(kNothingOpenText);
    ShowChecks();
    SetSize(500, 500);
    Bind(wxEVT_CHAR_HOOK, &MainFrame::OnCharHook, this);
    Bind(wxEVT_IDLE, &MainFrame::OnIdle, this);
    // It comes to the program, not to its window.
    wxTheApp->Bind(wxEVT_END_SESSION, &MainFrame::OnEndSession, this);
    canvas_->SetFocus();
}

MainFrame::~MainFrame() = default;

wxStatusBar* MainFrame::OnCreateStatusBar(int fields, long style, wxWindowID id, const wxString& name) {
    // The tip is set with the text, see ShowFirstField.
    auto* bar = new StatusBar(this, id, style & ~wxSTB_SHOW_TIPS, name);
    bar->SetFieldsCount(fields);
    return bar;
}

/// Marks the frame as at work; nothing else is begun meanwhile.
class MainFrame::CommandScope {
public:
    explicit CommandScope(MainFrame& frame) : frame_(frame) { frame_.work_ = Work::kRunning; }
    ~CommandScope() { frame_.work_ = Work::kNone; }
    CommandScope(const CommandScope&) = delete;
    CommandScope& operator=(const CommandScope&) = delete;

private:
    MainFrame& frame_;
};

void MainFrame::RunAlone(const std::function<void()>& work) {
    if (work_ == Work::kRunning) return;
    const CommandScope scope(*this);
    try {
        work();
        TellDropped();
        TellReadFailures();
    } catch (...) {
        // No fault of one command may end the program while positions hold unsaved work.
        wxLogError("%s", "The command was not completed! (" + ExceptionText(std::current_exception()) + ")");
        LabelsInDoubt();
    }
}

void MainFrame::OnCommand(wxCommandEvent& event) {
    const Command* command = FindCommand(event.GetId());
    if (command == nullptr) {
        event.Skip();
        return;
    }
    // Whatever a command shows may take the release away from the canvas.
    strokeAt_.reset();
    const auto run = [&] { (this->*command->handler)(event); };
    switch (command->enabled) {
        case CommandEnabled::kAlways:
            // Not as work of its own, so that it can ask whether other work runs. The frame may be gone afterwards.
            run();
            return;
        case CommandEnabled::kWithPositions:
            if (HasPositions()) {
                RunAlone(run);
            } else if (work_ == Work::kNone) {
                Say(kNothingOpenText);
            }
            break;
        case CommandEnabled::kWhenIdle:
            RunAlone(run);
            break;
    }
    // A check item has flipped its mark before the command came here, also when the command did nothing.
    if (command->kind.item == wxITEM_CHECK) ShowChecks();
}

void MainFrame::RunMenuCommand(int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    event.SetEventObject(this);
    ProcessWindowEvent(event);
}

void MainFrame::ShowChecks() {
    wxMenuBar* const bar = GetMenuBar();
    for (const Command& command : kCommands) {
        if (command.kind.isChecked != nullptr) bar->Check(command.id, (this->*command.kind.isChecked)());
    }
}

bool MainFrame::Confirm(const wxString& question) {
    wxMessageDialog dialog(this, question, "Confirmation", wxOK | wxCANCEL | wxCANCEL_DEFAULT | wxCENTRE);
    dialog.SetExtendedMessage(UnsavedText(UnsavedCount()));
    return dialog.ShowModal() == wxID_OK;
}

void MainFrame::Tell(const wxString& text) { wxMessageBox(text, wxMessageBoxCaptionStr, wxOK | wxCENTRE, this); }

void MainFrame::RefreshAll() {
    Refresh(false);
    canvas_->Refresh(false);
}

void MainFrame::OnCanvasPainted() {
    if (!afterFirstPaint_) return;
    CallAfter(std::exchange(afterFirstPaint_, nullptr));
}

void MainFrame::EnableLater() {
    CallAfter([this] {
        Enable();
        canvas_->SetFocus();
    });
}

void MainFrame::OnQuit(wxCommandEvent&) { Close(true); }

void MainFrame::OnClose(wxCloseEvent& event) {
    if (work_ == Work::kRunning) {
        if (event.CanVeto()) event.Veto();
        return;
    }
    RunAlone([this] {
        if (!HasPositions() || Confirm("After terminating the application, all unsaved results will be irretrievably "
                                       "lost!\nDo you really want to continue?")) {
            Destroy();
        }
    });
}

}  // namespace Korvane
