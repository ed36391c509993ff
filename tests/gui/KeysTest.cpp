#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "SingleImageCanvas.h"
#include "WindowLibrary.h"

// Real presses: they go through the display, the window manager and the window library, as a person's do.

namespace {

using namespace Korvane;
using namespace korvane_test;

/// A second of Await.
constexpr int kLooksPerPress = 200;

class Keys : public MainWindow {
protected:
    Keys() {
        frame->Bind(wxEVT_MENU, [this](wxCommandEvent& event) {
            ++commands[event.GetId()];
            event.Skip();
        });
    }

    void SetUp() override {
        OpenSmall();
        frame->Raise();
        frame->SetFocus();
        frame->Canvas().SetFocus();
        ASSERT_TRUE(Await([&] { return frame->IsActive() && wxWindow::FindFocus() == &frame->Canvas(); }));
    }

    /// Presses and releases; returns when all of it was dealt with, which a radius command sent after it shows.
    void Press(int key, int modifiers = wxMOD_NONE) {
        simulator.Char(key, modifiers);
        const int before = commands[kIncreaseRadius];
        simulator.Char(WXK_F4);
        ASSERT_TRUE(Await([&] { return commands[kIncreaseRadius] == before + 1; })) << "key " << key;
    }

    /// Waits until keys reach the window again: for a moment after a dialog has closed, they go to no window. Like
    /// Press, returns when all that was pressed before was dealt with.
    bool AwaitKeys() {
        const int before = commands[kIncreaseRadius];
        int looks = 0;
        return Await([&] {
            if (looks++ % kLooksPerPress == 0) simulator.Char(WXK_F4);
            return commands[kIncreaseRadius] > before;
        });
    }

    /// How often each command ran but the one that Press uses.
    std::map<int, int> Ran() {
        std::map<int, int> ran = commands;
        ran.erase(kIncreaseRadius);
        return ran;
    }

    std::map<int, int> commands;
    wxUIActionSimulator simulator;
};

struct CommandKey {
    int key;
    int modifiers;
    int command;
};

const std::vector<CommandKey> kDrawingKeys{
    {'C', wxMOD_NONE, kContourMode},
    {'E', wxMOD_NONE, kEmptyLabel},
    {'U', wxMOD_NONE, kUniqueLabel},
    {WXK_DELETE, wxMOD_NONE, kClearCurrent},
    {WXK_NUMPAD_DELETE, wxMOD_NONE, kClearCurrent},
    {WXK_F1, wxMOD_NONE, kPreviousLabel},
    {WXK_F2, wxMOD_NONE, kNextLabel},
    {WXK_F3, wxMOD_NONE, kDecreaseRadius},
    {WXK_F5, wxMOD_NONE, kLabelNumbers},
    {WXK_F6, wxMOD_NONE, kOnlyRaw},
    {WXK_F7, wxMOD_NONE, kOnlyContours},
};

const std::vector<CommandKey> kOtherKeys{
    {'O', wxMOD_CONTROL, kOpenImages},
    {'L', wxMOD_CONTROL, kLoadResults},
    {'L', wxMOD_CONTROL | wxMOD_SHIFT, kLoadResultsFrom},
    {'S', wxMOD_CONTROL | wxMOD_SHIFT, kSaveResultsTo},
    {'E', wxMOD_CONTROL, kExportTable},
    {'I', wxMOD_CONTROL | wxMOD_SHIFT, kExportPicturesTo},
    {'S', wxMOD_CONTROL, kSaveResults},
    {'I', wxMOD_CONTROL, kExportPictures},
    {'Q', wxMOD_CONTROL, kQuit},
    {WXK_DELETE, wxMOD_SHIFT, kClearAll},
    {'P', wxMOD_CONTROL, kParameters},
    {'R', wxMOD_CONTROL, kSegmentCurrent},
    {'R', wxMOD_CONTROL | wxMOD_SHIFT, kSegmentAll},
    {'D', wxMOD_CONTROL, kDetectCurrent},
    {'D', wxMOD_CONTROL | wxMOD_SHIFT, kDetectAll},
    {'D', wxMOD_CONTROL | wxMOD_ALT, kDetectEmpty},
    {'Z', wxMOD_CONTROL, kUndo},
    {'Y', wxMOD_CONTROL, kRedo},
    {'K', wxMOD_CONTROL, kDisplayRange},
    {'B', wxMOD_CONTROL, kBrighter},
    {'B', wxMOD_CONTROL | wxMOD_SHIFT, kDarker},
    {'B', wxMOD_CONTROL | wxMOD_ALT, kWholeRange},
    {'F', wxMOD_CONTROL, kFitToWindow},
    {'G', wxMOD_CONTROL, kZoomToObject},
    {'U', wxMOD_CONTROL, kScaleBar},
    {'M', wxMOD_CONTROL, kMarkBurntIn},
    {'E', wxMOD_CONTROL | wxMOD_SHIFT, kReport},
    {'T', wxMOD_CONTROL, kObjects},
    {'J', wxMOD_CONTROL, kStages},
    {'N', wxMOD_CONTROL, kNextStage},
    {'N', wxMOD_CONTROL | wxMOD_SHIFT, kPreviousStage},
};

TEST_F(Keys, EveryCommandKeyRunsItsCommandOncePerPress) {
    const Answers answers(wxID_CANCEL);
    for (const auto* keys : {&kDrawingKeys, &kOtherKeys}) {
        for (const CommandKey& key : *keys) {
            commands.clear();
            // Commands that disable the window take no key until it is enabled again.
            simulator.Char(key.key, key.modifiers);
            ASSERT_TRUE(Await([&] { return commands[key.command] > 0 && frame->IsEnabled(); })) << key.command;
            ASSERT_TRUE(AwaitKeys()) << key.command;
            EXPECT_EQ(Ran(), (std::map<int, int>{{key.command, 1}})) << "key " << key.key << ", " << key.modifiers;
        }
    }
}

TEST_F(Keys, BareKeysCountOncePerPressWhicheverChildHasTheFocus) {
    const std::vector<wxWindow*> focusable{&frame->Canvas(), frame, frame->GetStatusBar()};
    for (wxWindow* const window : focusable) {
        window->SetFocus();
        Pump();
        for (const CommandKey& key : kDrawingKeys) {
            commands.clear();
            Press(key.key, key.modifiers);
            EXPECT_EQ(Ran(), (std::map<int, int>{{key.command, 1}})) << "key " << key.key;
        }
    }
}

TEST_F(Keys, CapitalLettersByShiftRunNothing) {
    for (const int key : {'C', 'E', 'U'}) Press(key, wxMOD_SHIFT);
    EXPECT_TRUE(Ran().empty());
}

TEST_F(Keys, TheLettersWorkUnderCapsLock) {
    Press(WXK_CAPITAL);
    Press('E');
    EXPECT_EQ(frame->Store().currentLabel, 0);
    Press('U');
    EXPECT_EQ(frame->Store().currentLabel, 1);
    Press(WXK_CAPITAL);
    EXPECT_EQ(Ran(), (std::map<int, int>{{kEmptyLabel, 1}, {kUniqueLabel, 1}}));
}

TEST_F(Keys, PagesHomeAndEndChangeThePositionByOnePress) {
    for (const auto& [down, up, home, end] :
         {std::array{WXK_PAGEDOWN, WXK_PAGEUP, WXK_HOME, WXK_END},
          std::array{WXK_NUMPAD_PAGEDOWN, WXK_NUMPAD_PAGEUP, WXK_NUMPAD_HOME, WXK_NUMPAD_END}}) {
        Press(down);
        EXPECT_EQ(frame->Store().current, 1u);
        Press(up);
        EXPECT_EQ(frame->Store().current, 0u);
        Press(up);
        EXPECT_EQ(frame->Store().current, 0u);
        Press(end);
        EXPECT_EQ(frame->Store().current, 2u);
        Press(down);
        EXPECT_EQ(frame->Store().current, 2u);
        Press(home);
        EXPECT_EQ(frame->Store().current, 0u);
    }
}

TEST_F(Keys, PlusMinusAndZeroZoomByOneLevelPerPress) {
    Press('=', wxMOD_SHIFT);  // "+" on this keyboard
    EXPECT_EQ(frame->ZoomLevel(), 1);
    Press(WXK_NUMPAD_ADD);
    EXPECT_EQ(frame->ZoomLevel(), 2);
    Press('-');
    EXPECT_EQ(frame->ZoomLevel(), 1);
    Press(WXK_NUMPAD_SUBTRACT);
    Press(WXK_NUMPAD_SUBTRACT);
    EXPECT_EQ(frame->ZoomLevel(), -1);
    Press('0');
    EXPECT_EQ(frame->ZoomLevel(), 0);
    for (int i = 0; i < 15; ++i) Press(WXK_NUMPAD_ADD);
    EXPECT_EQ(frame->ZoomLevel(), 13);
    Press('0');
    for (int i = 0; i < 15; ++i) Press('-');
    EXPECT_EQ(frame->ZoomLevel(), -13);
    EXPECT_TRUE(Ran().empty());
}

TEST_F(Keys, ArrowsScrollByFiftyPixelsPerPress) {
    for (int i = 0; i < 13; ++i) Press(WXK_NUMPAD_ADD);
    frame->Canvas().Scroll(100, 100);
    const auto start = [&] { return frame->Canvas().GetViewStart(); };
    ASSERT_EQ(start(), wxPoint(100, 100));
    Press(WXK_RIGHT);
    EXPECT_EQ(start(), wxPoint(150, 100));
    Press(WXK_DOWN);
    EXPECT_EQ(start(), wxPoint(150, 150));
    Press(WXK_LEFT);
    EXPECT_EQ(start(), wxPoint(100, 150));
    Press(WXK_UP);
    EXPECT_EQ(start(), wxPoint(100, 100));
    for (int i = 0; i < 3; ++i) Press(WXK_NUMPAD_LEFT);
    EXPECT_EQ(start(), wxPoint(0, 100));
}

TEST_F(Keys, BackspaceUndoesOnceAndRRepaintsUnderThePointer) {
    Dab(20, 20);
    Press(WXK_BACK);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    Press(WXK_BACK);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    Dab(20, 20);
    const qvox::LabelImage drawn = Labels();
    Press(WXK_F2);
    simulator.MouseMove(frame->Canvas().ClientToScreen({20, 20}));
    ASSERT_TRUE(Await([&] { return frame->Canvas().Pointer() == wxPoint(20, 20); }));
    Press('R');
    EXPECT_EQ(Labels()(20, 20), 2);
    EXPECT_EQ(CountLabels(Labels()), 1u);
    Press(WXK_BACK);
    EXPECT_TRUE(SameLabels(Labels(), drawn));
}

TEST_F(Keys, NoneReachesTheWindowWhileADialogIsOpen) {
    Dab(20, 20);
    const qvox::LabelImage before = Labels();
    frame->Canvas().Refresh(false);
    Pump();
    commands.clear();
    Answers answers(wxID_NONE);
    wxTextCtrl* field = nullptr;
    answers.Act([&](wxDialog& dialog) {
        if (field == nullptr) {
            if (!dialog.IsActive()) return false;
            field = dynamic_cast<wxTextCtrl*>(wxWindow::FindWindowById(10002, &dialog));
            field->SetFocus();
            field->SetSelection(-1, -1);
            for (const int key : {'C', 'E', 'U', 'R', '-'}) simulator.Char(key);
            for (const int key :
                 {WXK_DELETE, WXK_NUMPAD_DELETE, WXK_NUMPAD_ADD, WXK_PAGEDOWN, WXK_END, WXK_BACK, WXK_F2}) {
                simulator.Char(key);
            }
            simulator.Char('1');
        }
        // The digit comes last of all.
        if (!field->GetValue().EndsWith("1")) return false;
        EXPECT_EQ(field->GetValue(), "ceur-1");
        dialog.EndModal(wxID_CANCEL);
        return true;
    });
    Run(kParameters);
    EXPECT_EQ(commands, (std::map<int, int>{{kParameters, 1}}));
    EXPECT_TRUE(SameLabels(Labels(), before));
    EXPECT_EQ(frame->Store().current, 0u);
    EXPECT_EQ(frame->ZoomLevel(), 0);
    EXPECT_EQ(frame->Store().currentLabel, 1);
    // And they work again afterwards.
    ASSERT_TRUE(AwaitKeys());
    Press('E');
    EXPECT_EQ(frame->Store().currentLabel, 0);
}

TEST_F(Keys, TheWheelZoomsOneLevelPerNotchThroughTheWindow) {
    simulator.MouseMove(frame->Canvas().ClientToScreen({30, 30}));
    ASSERT_TRUE(Await([&] { return frame->Canvas().Pointer() == wxPoint(30, 30); }));
    const auto notch = [](unsigned button) {
        auto* const press = OfLibrary<int(void*, unsigned, int, unsigned long)>("XTestFakeButtonEvent");
        press(wxGetDisplay(), button, 1, 0);
        press(wxGetDisplay(), button, 0, 0);
        OfLibrary<int(void*)>("XFlush")(wxGetDisplay());
    };
    constexpr unsigned kUp = 4;
    constexpr unsigned kDown = 5;
    constexpr unsigned kLeft = 6;
    for (int i = 0; i < 2; ++i) notch(kUp);
    notch(kLeft);
    Press(WXK_F3);
    EXPECT_EQ(frame->ZoomLevel(), 2);
    for (int i = 0; i < 3; ++i) notch(kDown);
    Press(WXK_F3);
    EXPECT_EQ(frame->ZoomLevel(), -1);
}

TEST_F(Keys, WithoutPositionsKeysAndWheelDoNothing) {
    // Opening what cannot be read leaves no position.
    const Answers answers(wxID_OK);
    Open({"none.tif"});
    ASSERT_EQ(PositionCount(frame->Store()), 0u);
    for (const int key : {WXK_NUMPAD_ADD, WXK_PAGEDOWN, WXK_END, WXK_RIGHT, WXK_BACK}) Press(key);
    Press('R');
    Press('0');
    Wheel(120);
    EXPECT_EQ(frame->ZoomLevel(), 0);
    EXPECT_TRUE(Ran().empty());
}

TEST_F(Keys, WheelTurnsOfTheFrameAndOfTheCanvasAreTheSame) {
    Wheel(120);
    EXPECT_EQ(frame->ZoomLevel(), 1);
    Wheel(-240);
    EXPECT_EQ(frame->ZoomLevel(), 0) << "one step per event, however far the wheel turned";
    Wheel(-1);
    EXPECT_EQ(frame->ZoomLevel(), -1);
    Wheel(0);
    Wheel(120, wxMOUSE_WHEEL_HORIZONTAL);
    EXPECT_EQ(frame->ZoomLevel(), -1);
    wxMouseEvent event(wxEVT_MOUSEWHEEL);
    event.m_wheelRotation = 120;
    event.m_wheelDelta = 120;
    event.m_wheelAxis = wxMOUSE_WHEEL_VERTICAL;
    frame->ProcessWindowEvent(event);
    EXPECT_EQ(frame->ZoomLevel(), 0);
    frame->Disable();
    frame->ProcessWindowEvent(event);
    Key('0');
    Key('-');
    EXPECT_EQ(frame->ZoomLevel(), 0);
    frame->Enable();
}

TEST_F(Keys, ClearingAllIsRefusedInSilenceWhileTheLeftButtonIsHeld) {
    const Answers answers(wxID_OK);
    simulator.MouseMove(frame->Canvas().ClientToScreen({20, 20}));
    simulator.MouseDown();
    ASSERT_TRUE(Await([&] { return CountLabels(Labels()) == 1 && wxGetMouseState().LeftIsDown(); }));
    Run(kClearAll);
    EXPECT_TRUE(answers.titles.empty());
    EXPECT_EQ(CountLabels(Labels()), 1u);
    simulator.MouseUp();
    ASSERT_TRUE(Await([&] { return !wxGetMouseState().LeftIsDown(); }));
    Run(kClearAll);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Confirmation"});
    EXPECT_EQ(CountLabels(Labels()), 0u);
}

}  // namespace
