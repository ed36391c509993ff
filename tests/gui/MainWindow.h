#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dialog.h>
#include <wx/evtloop.h>
#include <wx/log.h>
#include <wx/modalhook.h>
#include <wx/timer.h>

#include "MainFrame.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

/// Lets everything that is due happen: events, deferred calls, paints.
void Pump();

/// Pumps until `holds`, at most for a time that no machine needs. False when it did not come to hold.
bool Await(const std::function<bool()>& holds);

/// Every control of a window has its place: inside of it, and none lies on another. The choosers and boxes of the
/// platform have no children.
void ExpectLaidOut(const wxWindow& window);

/// Answers every modal dialog and remembers what it was.
class Answers : public wxModalDialogHook {
public:
    /// Answers without showing the dialog.
    explicit Answers(int answer) : Answers([answer](wxDialog&) { return answer; }) {}
    /// `answer` decides per dialog; wxID_NONE shows it, and Act then has to end it.
    explicit Answers(std::function<int(wxDialog&)> answer);
    ~Answers() override;

    /// Shows every dialog and calls `act` again and again until it returns true; it must end the dialog, at once or by
    /// what it does.
    void Act(std::function<bool(wxDialog&)> act) { act_ = std::move(act); }

    std::vector<wxString> titles;
    std::vector<wxString> texts;     ///< of message dialogs
    std::vector<wxString> captions;  ///< of message dialogs

protected:
    int Enter(wxDialog* dialog) override;
    void Exit(wxDialog* dialog) override;

private:
    class Poller;

    std::function<int(wxDialog&)> answer_;
    std::function<bool(wxDialog&)> act_;
    std::vector<std::unique_ptr<Poller>> pollers_;
    Answers* around_;  ///< one made earlier, which is not asked while this one lives
    static Answers* innermost_;
};

/// For Answers::Act: picks a file or folder in a chooser of the platform and confirms it. Several files must be all
/// that their folder holds.
std::function<bool(wxDialog&)> Choose(const std::vector<std::string>& paths);

/// For Answers::Act: a name typed into a chooser for saving.
std::function<bool(wxDialog&)> ChooseNew(const std::string& path);

/// Keeps what the program tells a person.
class Told : public wxLog {
public:
    Told() : before_(SetActiveTarget(this)) {}
    ~Told() override { SetActiveTarget(before_); }

    std::vector<wxString> errors;
    std::vector<wxString> warnings;

protected:
    void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo&) override;

private:
    wxLog* before_;
};

/// A shown main window without positions, and the ways to work it.
class MainWindow : public testing::Test {
protected:
    /// Returns when the window is on the screen.
    MainWindow();
    ~MainWindow() override;

    /// Returns when the window is on the screen, painted, and has the keyboard.
    void AwaitShown();
    /// A command, as from the menu.
    void Run(int id);
    void Mouse(wxEventType type, int x, int y, bool leftDown);
    /// A click of the brush.
    void Dab(int x, int y);
    /// The wheel over the canvas; Wheel lets what is due happen then.
    void Turn(int rotation, wxMouseWheelAxis axis);
    void Wheel(int rotation, wxMouseWheelAxis axis = wxMOUSE_WHEEL_VERTICAL);
    /// A key as the toolkit announces it before anything else sees it.
    void Key(int code);

    /// The samples, from copies in the folder.
    void OpenSamples();
    /// Three ramps of 64 by 64, a.tif, b.tif and c.tif, with a pixel size of 5 nm.
    void OpenSmall();
    void Open(const std::vector<std::string>& names);

    const qvox::LabelImage& Labels() const { return frame->Store().images.ShownLabels(); }
    wxString Status(int field) const;
    bool Checked(int id) const;
    wxString PathOf(const std::string& name) const;

    wxGUIEventLoop loop;
    TemporaryFolder folder;
    Told told;
    Korvane::MainFrame* frame = nullptr;

private:
    /// Returns when the window has the keyboard and something holds.
    void AwaitActive(const std::function<bool()>& holds);
};

/// Whether a window was told to go; it does so when the toolkit next has time.
bool IsGoing(wxWindow* window);

/// An image without any contrast, of 5 nm per pixel, which cannot be detected in.
void WriteEven(const std::string& path);
/// A ramp of grey levels with a pixel size of 5 nm, written to a file.
void WriteRamp(const std::string& path, unsigned width = 64, unsigned height = 64);

/// Copies of the labels of all positions.
std::vector<qvox::LabelImage> AllLabels(const Korvane::PositionStore& store);

/// Whether two label images have the same sizes and labels.
bool SameLabels(const qvox::LabelImage& a, const qvox::LabelImage& b);

}  // namespace korvane_test
