#include "MainWindow.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include <wx/app.h>
#include <wx/dirdlg.h>
#include <wx/filedlg.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/statusbr.h>

#include "PathText.h"
#include "SingleImageCanvas.h"
#include "WindowLibrary.h"
#include "files/ImageFile.h"
#include "support/TestData.h"

namespace korvane_test {

using namespace Korvane;

namespace {

constexpr std::chrono::seconds kLimit{20};
constexpr int kPollMs = 5;

constexpr int kAccept = -3;

bool ChooserShows(wxDialog& dialog, const std::vector<std::string>& paths) {
    std::vector<std::string> shown;
    LibraryList* const list = OfLibrary<LibraryList*(void*)>("gtk_file_chooser_get_filenames")(dialog.GetHandle());
    for (LibraryList* node = list; node != nullptr; node = node->next) {
        shown.emplace_back(static_cast<const char*>(node->data));
        OfLibrary<void(void*)>("g_free")(node->data);
    }
    OfLibrary<void(void*)>("g_slist_free")(list);
    std::sort(shown.begin(), shown.end());
    std::vector<std::string> wanted = paths;
    std::sort(wanted.begin(), wanted.end());
    return shown == wanted;
}

void Accept(wxDialog& dialog) { OfLibrary<void(void*, int)>("gtk_dialog_response")(dialog.GetHandle(), kAccept); }

}  // namespace

void Pump() {
    wxTheApp->ProcessPendingEvents();
    while (wxTheApp->Pending()) wxTheApp->Dispatch();
    wxTheApp->Yield(true);
    wxTheApp->ProcessPendingEvents();
}

bool Await(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        Pump();
        wxMilliSleep(kPollMs);
    }
    return true;
}

Answers* Answers::innermost_ = nullptr;

Answers::Answers(std::function<int(wxDialog&)> answer)
    : answer_(std::move(answer)), around_(std::exchange(innermost_, this)) {
    Register();
}

Answers::~Answers() {
    Unregister();
    innermost_ = around_;
}

void ExpectLaidOut(const wxWindow& window) {
    const wxString title = window.GetLabel();
    std::vector<const wxWindow*> shown;
    for (const wxWindow* const child : window.GetChildren()) {
        if (!child->IsShown() || child->IsTopLevel()) continue;
        if (dynamic_cast<const wxPanel*>(child) != nullptr) ExpectLaidOut(*child);
        if (dynamic_cast<const wxStaticBox*>(child) != nullptr) continue;  // which lies around others
        const wxRect place = child->GetRect();
        EXPECT_TRUE(wxRect(window.GetClientSize()).Contains(place)) << title << ": " << child->GetLabel();
        for (const wxWindow* const other : shown) {
            EXPECT_FALSE(other->GetRect().Intersects(place))
                << title << ": " << child->GetLabel() << " lies on " << other->GetLabel();
        }
        shown.push_back(child);
    }
}

/// Enter does what the button "OK" does, whatever is written on it.
void ExpectEnterConfirms(const wxDialog& dialog) {
    if (dialog.FindWindow(wxID_OK) == nullptr) return;
    const wxWindow* const button = dialog.GetDefaultItem();
    ASSERT_NE(button, nullptr) << dialog.GetTitle();
    EXPECT_EQ(button->GetId(), wxID_OK) << dialog.GetTitle();
}

/// Calls what acts on a shown dialog until that has done its part.
class Answers::Poller final : public wxTimer {
public:
    Poller(wxDialog& shown, std::function<bool(wxDialog&)> act) : shown_(shown), act_(std::move(act)) {
        Start(kPollMs);
    }

    bool Polls(const wxDialog* dialog) const { return dialog == &shown_; }

    void Notify() override {
        // What is done to the dialog may pump events.
        if (busy_ || !shown_.IsShown()) return;
        busy_ = true;
        if (!std::exchange(isLookedAt_, true)) {
            ExpectLaidOut(shown_);
            ExpectEnterConfirms(shown_);
        }
        const bool late = std::chrono::steady_clock::now() > end_;
        if (late) {
            ADD_FAILURE() << "a dialog never came to what was awaited";
            shown_.EndModal(wxID_CANCEL);
        }
        if (late || act_(shown_)) Stop();
        busy_ = false;
    }

private:
    wxDialog& shown_;
    std::function<bool(wxDialog&)> act_;
    std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + kLimit;
    bool busy_ = false;
    bool isLookedAt_ = false;
};

int Answers::Enter(wxDialog* dialog) {
    if (innermost_ != this) return wxID_NONE;
    const auto polls = [dialog](const std::unique_ptr<Poller>& poller) { return poller->Polls(dialog); };
    // The choosers of the platform announce themselves twice.
    if (std::any_of(pollers_.begin(), pollers_.end(), polls)) return wxID_NONE;
    // They keep their title as their message.
    const auto* const files = dynamic_cast<wxFileDialog*>(dialog);
    const auto* const folders = dynamic_cast<wxDirDialog*>(dialog);
    titles.push_back(files != nullptr     ? files->GetMessage()
                     : folders != nullptr ? folders->GetMessage()
                                          : dialog->GetTitle());
    if (const auto* const question = dynamic_cast<wxMessageDialog*>(dialog)) {
        texts.push_back(question->GetMessage());
        captions.push_back(question->GetTitle());
    }
    const int answer = answer_(*dialog);
    if (answer == wxID_NONE) pollers_.push_back(std::make_unique<Poller>(*dialog, act_));
    return answer;
}

void Answers::Exit(wxDialog* dialog) {
    for (auto poller = pollers_.begin(); poller != pollers_.end(); ++poller) {
        if ((*poller)->Polls(dialog)) {
            pollers_.erase(poller);
            return;
        }
    }
}

namespace {

/// Sets a chooser up and confirms it when it shows the paths, which it looks up in its own time.
std::function<bool(wxDialog&)> ChooseAfter(const std::function<void(void*)>& setUp,
                                           const std::vector<std::string>& paths) {
    constexpr int kPatience = 50;
    return [setUp, paths, polls = 0](wxDialog& dialog) mutable {
        // Setting up again begins the look-up again.
        if (polls++ % kPatience == 0) setUp(dialog.GetHandle());
        if (!ChooserShows(dialog, paths)) return false;
        Accept(dialog);
        return true;
    };
}

}  // namespace

std::function<bool(wxDialog&)> Choose(const std::vector<std::string>& paths) {
    const auto setUp = [paths](void* chooser) {
        if (paths.size() == 1) {
            OfLibrary<int(void*, const char*)>("gtk_file_chooser_select_filename")(chooser, paths[0].c_str());
            return;
        }
        const std::string parent = std::filesystem::path(paths[0]).parent_path();
        char* const current = OfLibrary<char*(void*)>("gtk_file_chooser_get_current_folder")(chooser);
        const bool there = current != nullptr && current == parent;
        OfLibrary<void(void*)>("g_free")(current);
        if (there) {
            OfLibrary<void(void*)>("gtk_file_chooser_select_all")(chooser);
        } else {
            OfLibrary<int(void*, const char*)>("gtk_file_chooser_set_current_folder")(chooser, parent.c_str());
        }
    };
    return ChooseAfter(setUp, paths);
}

std::function<bool(wxDialog&)> ChooseNew(const std::string& path) {
    const auto setUp = [path](void* chooser) {
        const std::filesystem::path parts(path);
        OfLibrary<int(void*, const char*)>("gtk_file_chooser_set_current_folder")(chooser, parts.parent_path().c_str());
        OfLibrary<void(void*, const char*)>("gtk_file_chooser_set_current_name")(chooser, parts.filename().c_str());
    };
    return ChooseAfter(setUp, {path});
}

void Told::DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo&) {
    if (level == wxLOG_Error) errors.push_back(message);
    if (level == wxLOG_Warning) warnings.push_back(message);
}

MainWindow::MainWindow() {
    wxEventLoopBase::SetActive(&loop);
    frame = new MainFrame;
    frame->Show();
    // Before the window manager has framed it, a size that is asked for may become any other, a pixel high too.
    AwaitActive([] { return true; });
}

MainWindow::~MainWindow() {
    frame->Destroy();
    Pump();
    wxEventLoopBase::SetActive(nullptr);
}

void MainWindow::AwaitActive(const std::function<bool()>& holds) {
    // A window manager that was busy with another window may have passed over the first request.
    int looks = 0;
    EXPECT_TRUE(Await([&] {
        if (++looks % 100 == 0 && !frame->IsActive()) frame->Raise();
        return frame->IsActive() && holds();
    })) << "the window did not appear";
}

void MainWindow::AwaitShown() {
    frame->Raise();
    frame->Canvas().SetFocus();
    bool painted = false;
    const auto onPaint = [&](wxPaintEvent& event) {
        painted = true;
        event.Skip();
    };
    frame->Canvas().Bind(wxEVT_PAINT, onPaint);
    frame->Canvas().Refresh(false);
    AwaitActive([&] { return painted; });
    frame->Canvas().Unbind(wxEVT_PAINT, onPaint);
    // The toolkit forgets the handler at the next event, which must not be one that paints inside of another.
    frame->Canvas().Refresh(false);
    frame->Canvas().Update();
}

void MainWindow::Run(int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    frame->ProcessWindowEvent(event);
    Pump();
}

void MainWindow::Mouse(wxEventType type, int x, int y, bool leftDown) {
    wxMouseEvent event(type);
    event.SetPosition({x, y});
    event.m_leftDown = leftDown;
    event.SetEventObject(&frame->Canvas());
    frame->Canvas().ProcessWindowEvent(event);
}

void MainWindow::Dab(int x, int y) {
    Mouse(wxEVT_LEFT_DOWN, x, y, true);
    Mouse(wxEVT_LEFT_UP, x, y, false);
}

void MainWindow::Turn(int rotation, wxMouseWheelAxis axis) {
    wxMouseEvent event(wxEVT_MOUSEWHEEL);
    event.SetPosition({10, 10});
    event.m_wheelRotation = rotation;
    event.m_wheelDelta = 120;
    event.m_wheelAxis = axis;
    event.SetEventObject(&frame->Canvas());
    frame->Canvas().ProcessWindowEvent(event);
}

void MainWindow::Wheel(int rotation, wxMouseWheelAxis axis) {
    Turn(rotation, axis);
    Pump();
}

void MainWindow::Key(int code) {
    wxKeyEvent event(wxEVT_CHAR_HOOK);
    event.m_keyCode = code;
    event.SetEventObject(&frame->Canvas());
    frame->Canvas().ProcessWindowEvent(event);
    Pump();
}

void MainWindow::OpenSamples() {
    const std::filesystem::path samples = korvane_test::SourceFile("samples");
    for (const char* name : {"vesicles_8bit.tif", "neighbours_16bit.tif"}) {
        std::filesystem::copy(samples / name, folder.Path() / name);
    }
    Open({"vesicles_8bit.tif", "neighbours_16bit.tif"});
    ASSERT_EQ(PositionCount(frame->Store()), 2u);
}

void MainWindow::OpenSmall() {
    for (const char* name : {"a.tif", "b.tif", "c.tif"}) WriteRamp(folder.File(name));
    Open({"a.tif", "b.tif", "c.tif"});
    ASSERT_EQ(PositionCount(frame->Store()), 3u);
}

void MainWindow::Open(const std::vector<std::string>& names) {
    std::vector<wxString> paths;
    for (const std::string& name : names) paths.push_back(PathOf(name));
    frame->OpenFiles(paths);
    Pump();
}

wxString MainWindow::Status(int field) const { return frame->GetStatusBar()->GetStatusText(field); }

bool MainWindow::Checked(int id) const { return frame->GetMenuBar()->IsChecked(id); }

wxString MainWindow::PathOf(const std::string& name) const { return PathText(folder.File(name)); }

bool IsGoing(wxWindow* window) { return wxPendingDelete.Member(window); }

void WriteEven(const std::string& path) {
    qvox::VoxelImage<std::uint8_t> even;
    even.Resize(64, 64, 1);
    even.Zero();
    even.SetResolution({200.0f, 200.0f, 0.0f});
    qvox::SaveImageFile(path, even);
}

void WriteRamp(const std::string& path, unsigned width, unsigned height) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(width, height, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(i % 251);
    image.SetResolution({200.0f, 200.0f, 0.0f});
    qvox::SaveImageFile(path, image);
}

std::vector<qvox::LabelImage> AllLabels(const Korvane::PositionStore& store) {
    std::vector<qvox::LabelImage> all;
    for (std::size_t i = 0; i < PositionCount(store); ++i) all.push_back(*store.images.LabelsOf(i));
    return all;
}

bool SameLabels(const qvox::LabelImage& a, const qvox::LabelImage& b) {
    return a.SameSizes(b) && std::equal(a.begin(), a.end(), b.begin());
}

}  // namespace korvane_test
