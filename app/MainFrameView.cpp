#include <algorithm>
#include <string>

#include <wx/app.h>
#include <wx/evtloop.h>

#include "Accessibility.h"
#include "CommandTable.h"
#include "MainFrame.h"
#include "ObjectsPanel.h"
#include "PathText.h"
#include "PixelScale.h"
#include "SingleImageCanvas.h"
#include "StagesView.h"
#include "StatusTexts.h"

namespace Korvane {

namespace {

/// The character or function that a key stands for, wherever it lies on the keyboard.
int KeyOf(const wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (key >= WXK_NUMPAD0 && key <= WXK_NUMPAD9) return '0' + key - WXK_NUMPAD0;
    switch (key) {
        case WXK_NUMPAD_ADD:
            return '+';
        case WXK_NUMPAD_SUBTRACT:
            return '-';
        case WXK_NUMPAD_LEFT:
            return WXK_LEFT;
        case WXK_NUMPAD_RIGHT:
            return WXK_RIGHT;
        case WXK_NUMPAD_UP:
            return WXK_UP;
        case WXK_NUMPAD_DOWN:
            return WXK_DOWN;
        case WXK_NUMPAD_HOME:
            return WXK_HOME;
        case WXK_NUMPAD_END:
            return WXK_END;
        case WXK_NUMPAD_PAGEUP:
            return WXK_PAGEUP;
        case WXK_NUMPAD_PAGEDOWN:
            return WXK_PAGEDOWN;
        default:
            break;
    }
#ifdef __WXGTK__
    // The key event names the key, not what the layout makes of it with Shift: "+" would be "=". The raw code does.
    const wxUint32 raw = event.GetRawKeyCode();
    if (raw >= 0x21 && raw < 0x7f) return static_cast<int>(raw);
#endif
    return key;
}

/// The key as the texts of commands name it, where the menu does not fire it; empty for every other key.
std::string MenuKeyName(const wxKeyEvent& event) {
    const std::string name = event.ShiftDown() ? "Shift+" : "";
    // The menu's "Del" means the other one only.
    if (event.GetKeyCode() == WXK_NUMPAD_DELETE) return name + "Del";
    const int key = KeyOf(event);
    if (key <= ' ' || key >= WXK_DELETE) return "";
    return name + static_cast<char>(key >= 'a' && key <= 'z' ? key - 'a' + 'A' : key);
}

}  // namespace

void MainFrame::OnLabelNumbers(wxCommandEvent&) {
    labelNumbers_ = !labelNumbers_;
    RefreshAll();
}

void MainFrame::OnOnlyRaw(wxCommandEvent&) {
    onlyRaw_ = !onlyRaw_;
    RefreshAll();
}

void MainFrame::OnOnlyContours(wxCommandEvent&) {
    onlyContours_ = !onlyContours_;
    RefreshAll();
}

CanvasState MainFrame::StateOfLabels() const {
    CanvasState state;
    state.style = onlyRaw_ ? LabelStyle::kNone : onlyContours_ ? LabelStyle::kContours : LabelStyle::kRegions;
    state.numbers = labelNumbers_ ? CanvasState::Numbers::kShown : CanvasState::Numbers::kHidden;
    state.zoomLevel = zoomLevel_;
    state.currentLabel = store_.currentLabel;
    state.editing = &editing_;
    return state;
}

CanvasState MainFrame::StateOfCanvas() const {
    CanvasState state = StateOfLabels();
    state.framed = framed_;
    if (HasPositions() && !onlyRaw_ && !ShowsStages()) {
        const std::optional<BurntInMarks>& marks = burntIn_[store_.current];
        if (marks) state.marks = &marks->boxes;
        state.region = RegionShown();
        state.handMarks = &prepared_[store_.current].marks;
        state.drawn = drag_.Shape();
    }
    if (MarksBurntIn()) state.pen = CanvasState::Pen::kMark;
    if (drag_.DrawsShape()) state.outline = CanvasState::Outline::kHidden;
    if (scaleBar_ && HasPositions()) {
        const qvox::PixelResolution& resolution = store_.images.Resolution(store_.current);
        if (IsDefined(resolution.x)) state.barPixelWidthNm = ScaleOf(resolution).widthNm;
    }
    if (stages_ == nullptr) return state;
    if (stages_->IsMap()) state.style = LabelStyle::kNone;
    // Numbers and tools are of the labels, which are not shown.
    state.numbers = CanvasState::Numbers::kHidden;
    state.outline = CanvasState::Outline::kHidden;
    return state;
}

const std::vector<LabelAnchor>& MainFrame::NumberAnchors() {
    editing_.census.Ensure(store_.images.ShownLabels());
    if (anchorsVersion_ != editing_.census.Version()) {
        anchors_ = editing_.census.Anchors();
        anchorsVersion_ = editing_.census.Version();
    }
    return anchors_;
}

void MainFrame::CountAgain() {
    RecountLabels(store_);
    LabelsReplaced(editing_);
}

void MainFrame::RefreshStatusTexts() {
    bool changed = false;
    const auto set = [&](int field, const wxString& text) {
        // A status bar repaints on every change; most paints change nothing of it.
        if (GetStatusBar()->GetStatusText(field) == text) return;
        SetStatusText(text, field);
        changed = true;
    };
    StatusFields fields = StatusTextsWithoutPosition();
    if (HasPositions()) {
        fields = StatusTexts({store_.images.Resolution(store_.current), store_.currentLabel, editing_.brushRadiusPx,
                              store_.labelCount, editing_.mode});
    }
    for (std::size_t i = 0; i < fields.size(); ++i) set(static_cast<int>(i + 1), fields[i]);
    if (changed) DescribeStatus();
}

void MainFrame::Say(const wxString& text) {
    said_ = text;
    saidAt_ = std::chrono::steady_clock::now();
    pointerText_.clear();
    ShowFirstField(text);
}

void MainFrame::ShowFirstField(const wxString& text) {
    wxStatusBar& bar = *GetStatusBar();
    if (bar.GetStatusText(0) == text) return;
    SetStatusText(text);
    wxRect field;
    // The toolkit has tips for texts that are cut off on one platform only.
    if (bar.GetFieldRect(0, field) && bar.GetTextExtent(text).x > field.width) {
        bar.SetToolTip(text);
    } else {
        bar.UnsetToolTip();
    }
    DescribeStatus();
}

void MainFrame::ShowPointer(const wxMouseEvent& event) {
    if (!HasBeenRead()) return;
    const ImagePoint point = canvas_->ImagePointUnder(event.GetPosition());
    const qvox::LabelImage& labels = store_.images.ShownLabels();
    if (event.Leaving() || !Inside(labels, point)) {
        pointerText_.clear();
        ShowFirstField(said_);
        return;
    }
    const Pixel pixel = PixelAt(point);
    const std::uint64_t at = labels.Index(static_cast<std::uint64_t>(pixel.x), static_cast<std::uint64_t>(pixel.y));
    pointerText_ = wxString::FromUTF8(PointerText({pixel, store_.images.ShownIntensities()[at], labels[at]}));
    ShowFirstField(UnreadCount() == 0 ? pointerText_ : pointerText_ + "; " + ProgressText());
}

void MainFrame::DescribeStatus() {
    wxString all;
    for (int i = 0; i < GetStatusBar()->GetFieldsCount(); ++i) {
        const wxString field = GetStatusBar()->GetStatusText(i);
        if (!field.empty()) all += (all.empty() ? "" : "; ") + field;
    }
    SetAccessibleDescription(*GetStatusBar(), all);
}

void MainFrame::SwitchTo(std::size_t index) {
    if (!editing_.contourPoints.empty()) {
        if (index < PositionCount(store_)) Say(kOpenContourText);
        return;
    }
    try {
        if (!SwitchToPosition(store_, index, 0)) return;
    } catch (...) {
        if (store_.images.WasRead(index)) throw;
        // Never read before: it is no position, and the one that takes its place is shown.
        RemoveUnreadable(index, std::current_exception());
        return SwitchTo(std::min(index, PositionCount(store_) - 1));
    }
    LabelsReplaced(editing_);
    // A drag does not go on in another image.
    if (drag_.DrawsShape()) LeaveTool();
    drag_.from.reset();
    framed_ = {};
    SetTitle(TitleOf(index));
    SetAccessibleDescription(*canvas_, GetTitle());
    // Before anything that may paint: the former images are gone.
    canvas_->SetImages(&store_.images.ShownIntensities(), &store_.images.ShownLabels());
    LeaveStages();
    if (ShowsObjects()) objects_->CurrentChanged();
    SayOfPosition(index);
    canvas_->ShowFromCorner();
    RefreshAll();
    // Painted before the handler returns; what the person does meanwhile waits its turn, so nothing is entered twice.
    if (wxEventLoopBase* const loop = wxEventLoopBase::GetActive(); loop != nullptr && !loop->IsYielding()) {
        loop->YieldFor(wxEVT_CATEGORY_UI);
    }
    // The yield alone leaves the paint to the next frame of the display, which may come after a long analysis.
    canvas_->Update();
    PlanReading();
}

wxString MainFrame::TitleOf(std::size_t index) const {
    return PositionTitle(index, PositionCount(store_), store_.paths[index].ToStdWstring());
}

/// What the title does not show: which of several images of one name it is, and what was burnt into it.
void MainFrame::SayOfPosition(std::size_t index) {
    const wxString name = PositionName(store_.paths, index);
    const bool ambiguous = name != FileNameOf(store_.paths[index]);
    const wxString burntIn = burntIn_[index].value_or(BurntInMarks()).text;
    if (!ambiguous && burntIn.empty()) return;
    Say((ambiguous ? name : wxString()) + (ambiguous && !burntIn.empty() ? "; " : "") + burntIn);
}

void MainFrame::SetZoomLevel(int level) {
    const ZoomChange change = ChangeZoom(canvas_->View(), level, {canvas_->Pointer().x, canvas_->Pointer().y});
    zoomLevel_ = change.level;
    canvas_->Rescale(change);
    RefreshAll();
}

void MainFrame::OnMouseWheel(wxMouseEvent& event) {
    if (!IsEnabled() || !HasPositions()) return;
    RunAlone([&] {
        const WheelAxis axis =
            event.GetWheelAxis() == wxMOUSE_WHEEL_VERTICAL ? WheelAxis::kVertical : WheelAxis::kHorizontal;
        const int steps = WheelSteps(event.GetWheelRotation(), axis);
        if (steps != 0) SetZoomLevel(zoomLevel_ + steps);
    });
}

bool MainFrame::HandleViewKey(int key) {
    switch (key) {
        case '+':
            SetZoomLevel(zoomLevel_ + 1);
            return true;
        case '-':
            SetZoomLevel(zoomLevel_ - 1);
            return true;
        case '0':
            SetZoomLevel(0);
            return true;
        case WXK_LEFT:
            canvas_->ScrollTo(KeyboardScrolled(canvas_->View(), ScrollDirection::kLeft));
            break;
        case WXK_RIGHT:
            canvas_->ScrollTo(KeyboardScrolled(canvas_->View(), ScrollDirection::kRight));
            break;
        case WXK_UP:
            canvas_->ScrollTo(KeyboardScrolled(canvas_->View(), ScrollDirection::kUp));
            break;
        case WXK_DOWN:
            canvas_->ScrollTo(KeyboardScrolled(canvas_->View(), ScrollDirection::kDown));
            break;
        case WXK_HOME:
            SwitchTo(0);
            return true;
        case WXK_END:
            SwitchTo(PositionCount(store_) - 1);
            return true;
        case WXK_PAGEUP:
            if (store_.current > 0) SwitchTo(store_.current - 1);
            return true;
        case WXK_PAGEDOWN:
            SwitchTo(store_.current + 1);
            return true;
        default:
            return false;
    }
    RefreshAll();
    return true;
}

void MainFrame::OnChar(wxKeyEvent& event) {
    bool handled = false;
    // With Alt a letter opens a menu: Alt+R is not R.
    if (IsEnabled() && HasPositions() && !event.AltDown()) {
        RunAlone([&] { handled = HandleViewKey(KeyOf(event)) || HandleEditKey(event.GetKeyCode()); });
    }
    if (!handled) event.Skip();
}

bool MainFrame::HandleBareKey(wxKeyEvent& event) {
    if (const Command* const command = FindCommandByKey(MenuKeyName(event)); command != nullptr) {
        RunMenuCommand(command->id);
        return true;
    }
    if (!HasPositions()) return false;
    const int key = KeyOf(event);
    bool handled = false;
    RunAlone([&] {
        handled = HandleViewKey(key);
        if (!handled && !event.ShiftDown()) handled = HandleEditKey(key == 'R' ? 'r' : key);
    });
    return handled;
}

/// While the panel beside the image has the keyboard its keys are its own.
bool MainFrame::TakePanelKey(wxKeyEvent& event) {
    wxWindow* const focus = wxWindow::FindFocus();
    if (!ShowsObjects() || focus == nullptr || !objects_->IsDescendant(focus)) return false;
    const bool bare = !event.HasAnyModifiers();
    if (bare && event.GetKeyCode() == WXK_ESCAPE) {
        canvas_->SetFocus();
    } else if (!bare || !objects_->TakeKey(event.GetKeyCode())) {
        event.Skip();
    }
    return true;
}

void MainFrame::OnCharHook(wxKeyEvent& event) {
    // Menu keys without a modifier do not fire from a drawn window, and a scrolled one takes pages and arrows; so they
    // are caught before either sees them. What is handled here goes no further: each press counts once. Dialogs are
    // windows of their own and keep their keys.
    if (TakePanelKey(event)) return;
    const bool bare = !event.ControlDown() && !event.AltDown() && !event.MetaDown();
    if (!bare || !IsEnabled() || !HandleBareKey(event)) event.Skip();
}

}  // namespace Korvane
