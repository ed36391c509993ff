#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>

#include "CommandTable.h"
#include "LabelEditing.h"
#include "MainWindow.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

// Commands by their identifier, as scripts and menus send them.

namespace {

using namespace Korvane;
using namespace korvane_test;

using Commands = MainWindow;

/// An image that holds every label from 1 on, `count` of them.
qvox::LabelImage EveryLabel(std::uint16_t count) {
    qvox::LabelImage labels;
    labels.Resize(256, 256, 1);
    labels.Zero();
    for (std::uint16_t label = count; label > 0; --label) labels[label] = label;
    return labels;
}

/// One position with these labels, loaded through the window.
class ManyLabels : public MainWindow {
protected:
    void OpenWith(const qvox::LabelImage& labels) {
        WriteRamp(folder.File("many.tif"), 256, 256);
        qvox::SaveImageFile(folder.File("seg_many.tif"), labels);
        Open({"many.tif"});
        const Answers answers(wxID_OK);
        Run(kLoadResults);
        ASSERT_TRUE(SameLabels(Labels(), labels));
    }
};

TEST_F(Commands, UnknownIdentifiersAndTheGapDoNothing) {
    OpenSmall();
    const Answers answers(wxID_OK);
    for (const int id : {20000, 20011, 20031}) Run(id);
    EXPECT_TRUE(answers.titles.empty());
    EXPECT_EQ(FindCommand(20011), nullptr);
    EXPECT_EQ(PositionCount(frame->Store()), 3u);
}

TEST_F(Commands, EachLeavesTheWindowEnabledAndTheChecksTrueWithAndWithoutPositions) {
    const auto runAll = [&] {
        const Answers answers(wxID_CANCEL);
        for (const Command& command : kCommands) {
            // The about box is no dialog of the toolkit's; it has a test of its own.
            if (command.id == kQuit || command.id == kAbout) continue;
            SCOPED_TRACE(command.text);
            Run(command.id);
            EXPECT_TRUE(frame->IsEnabled());
            EXPECT_EQ(Checked(kObjects), frame->ShowsObjects());
            EXPECT_EQ(Checked(kStages), frame->ShowsStages());
            // While stages are shown, the canvas shows what these entries do not say.
            if (frame->ShowsStages()) continue;
            const CanvasState state = frame->StateOfCanvas();
            EXPECT_EQ(Checked(kOnlyRaw), state.style == LabelStyle::kNone);
            EXPECT_EQ(Checked(kLabelNumbers), state.numbers == CanvasState::Numbers::kShown);
            EXPECT_EQ(Checked(kContourMode), state.editing->mode == DrawingMode::kContour);
        }
    };
    runAll();
    EXPECT_TRUE(told.errors.empty());
    OpenSmall();
    runAll();
    EXPECT_EQ(PositionCount(frame->Store()), 3u);
}

TEST_F(Commands, TheViewEntriesSwitchWhatTheyNameAndTheirMarks) {
    OpenSmall();
    EXPECT_EQ(frame->StateOfCanvas().style, LabelStyle::kContours);
    Run(kOnlyContours);
    EXPECT_EQ(frame->StateOfCanvas().style, LabelStyle::kRegions);
    EXPECT_FALSE(Checked(kOnlyContours));
    Run(kOnlyRaw);
    EXPECT_EQ(frame->StateOfCanvas().style, LabelStyle::kNone);
    EXPECT_TRUE(Checked(kOnlyRaw));
    EXPECT_FALSE(Checked(kOnlyContours));
    Run(kOnlyContours);
    Run(kOnlyRaw);
    EXPECT_EQ(frame->StateOfCanvas().style, LabelStyle::kContours);
    Run(kLabelNumbers);
    EXPECT_EQ(frame->StateOfCanvas().numbers, CanvasState::Numbers::kShown);
    EXPECT_TRUE(Checked(kLabelNumbers));
}

TEST_F(Commands, LabelsGoUpDownToNoneAndToTheFirstUnused) {
    OpenSmall();
    const auto label = [&] { return frame->Store().currentLabel; };
    Run(kNextLabel);
    EXPECT_EQ(label(), 2);
    Run(kPreviousLabel);
    EXPECT_EQ(label(), 1);
    Run(kEmptyLabel);
    EXPECT_EQ(label(), 0);
    Run(kPreviousLabel);
    EXPECT_EQ(label(), 0);
    Run(kUniqueLabel);
    EXPECT_EQ(label(), 1);
    Dab(20, 20);
    Run(kUniqueLabel);
    EXPECT_EQ(label(), 2);
}

TEST_F(Commands, TheRadiusStaysInContourMode) {
    OpenSmall();
    Run(kContourMode);
    Run(kIncreaseRadius);
    Run(kDecreaseRadius);
    Run(kDecreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 10);
    Run(kContourMode);
    Run(kDecreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 9);
}

TEST_F(Commands, ClearingTheCurrentPositionAsksNothingAndIsUndone) {
    OpenSmall();
    Run(kNextLabel);
    Dab(20, 20);
    const qvox::LabelImage drawn = Labels();
    const Answers answers(wxID_OK);
    Run(kClearCurrent);
    EXPECT_TRUE(answers.titles.empty());
    EXPECT_EQ(CountLabels(Labels()), 0u);
    EXPECT_EQ(frame->Store().labelCount, 0u);
    EXPECT_EQ(frame->Store().currentLabel, 1);
    Key(WXK_BACK);
    EXPECT_TRUE(SameLabels(Labels(), drawn));
    Key(WXK_BACK);
    EXPECT_TRUE(SameLabels(Labels(), drawn)) << "one level only";
}

TEST_F(Commands, ClearingAllPositionsAsksAndCannotBeUndone) {
    OpenSmall();
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Dab(30, 30);
    Key(WXK_HOME);
    Run(kNextLabel);
    {
        const Answers answers(wxID_CANCEL);
        Run(kClearAll);
        EXPECT_EQ(answers.captions, std::vector<wxString>{"Confirmation"});
        EXPECT_EQ(CountLabels(frame->Store(), 0), 1u);
        EXPECT_EQ(CountLabels(frame->Store(), 1), 1u);
        EXPECT_EQ(frame->Store().currentLabel, 2);
    }
    const Answers answers(wxID_OK);
    Run(kClearAll);
    Key(WXK_BACK);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(CountLabels(frame->Store(), i), 0u) << i;
    EXPECT_EQ(frame->Store().labelCount, 0u);
    EXPECT_EQ(frame->Store().currentLabel, 1);
}

TEST_F(Commands, UndoDoesNotReachIntoAnotherPosition) {
    OpenSmall();
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Key(WXK_BACK);
    EXPECT_EQ(CountLabels(frame->Store(), 0), 1u);
    EXPECT_EQ(CountLabels(frame->Store(), 1), 0u);
    Key(WXK_PAGEUP);
    Key(WXK_BACK);
    EXPECT_EQ(CountLabels(frame->Store(), 0), 1u) << "the copy is gone after a switch";
}

TEST_F(Commands, NothingChangesThePositionWhileAContourIsDrawn) {
    OpenSmall();
    Key(WXK_PAGEDOWN);
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 10, 10, true);
    for (const int key : {WXK_PAGEDOWN, WXK_PAGEUP, WXK_HOME, WXK_END}) {
        Key(key);
        EXPECT_EQ(frame->Store().current, 1u) << key;
    }
    Mouse(wxEVT_RIGHT_UP, 40, 40, false);
    EXPECT_EQ(frame->Store().currentLabel, 1) << "no picking meanwhile";
    // Flipping the mode drops the points.
    Run(kContourMode);
    Key(WXK_END);
    EXPECT_EQ(frame->Store().current, 2u);
}

TEST_F(Commands, PickingOutsideTheImageSelectsNoLabel) {
    OpenSmall();
    frame->SetClientSize(400, 300);
    Pump();
    Mouse(wxEVT_RIGHT_UP, 100, 20, false);
    EXPECT_EQ(frame->Store().currentLabel, 0);
}

TEST_F(Commands, ObjectsAreCountedByLabelNotByNumber) {
    OpenSmall();
    qvox::LabelImage labels = Labels();
    labels[0] = 1;
    labels[100] = 5;
    labels[200] = 900;
    qvox::SaveImageFile(folder.File("seg_a.tif"), labels);
    const Answers answers(wxID_OK);
    Run(kLoadResults);
    frame->RefreshStatusTexts();
    EXPECT_EQ(frame->Store().labelCount, 3u);
    EXPECT_EQ(Status(4), wxString("Objects: 3"));
}

TEST_F(ManyLabels, AfterTheLastLabelAMessageTellsSo) {
    OpenWith(EveryLabel(65535));
    EXPECT_EQ(frame->Store().labelCount, 65535u);
    Answers answers(wxID_OK);
    Run(kUniqueLabel);
    EXPECT_EQ(answers.texts, std::vector<wxString>{"Maximum number of labels reached!"});
    EXPECT_EQ(frame->Store().currentLabel, 1);
    // The last voxel of the labels has the last number.
    frame->SetClientSize(300, 300);
    // The window manager takes its time on a busy machine; until then the voxel lies outside of the canvas.
    ASSERT_TRUE(Await([this] {
        Mouse(wxEVT_RIGHT_UP, 255, 255, false);
        return frame->Store().currentLabel == 65535;
    }));
    Run(kNextLabel);
    EXPECT_EQ(answers.texts.back(), wxString("The maximum number of labels reached!"));
    EXPECT_EQ(answers.captions, std::vector<wxString>(2, wxMessageBoxCaptionStr));
    EXPECT_EQ(frame->Store().currentLabel, 65535);
}

TEST_F(ManyLabels, OneGapIsFoundAmongAllLabels) {
    qvox::LabelImage labels = EveryLabel(65535);
    labels[40000] = 1;
    OpenWith(labels);
    const Answers answers(wxID_OK);
    Run(kUniqueLabel);
    EXPECT_TRUE(answers.texts.empty());
    EXPECT_EQ(frame->Store().currentLabel, 40000);
}

TEST_F(Commands, StatusAndTitleFollowEveryChange) {
    OpenSmall();
    const auto texts = [&] {
        frame->Canvas().Refresh(false);
        return [this](const std::map<int, wxString>& wanted) {
            return Await([&] {
                for (const auto& [field, text] : wanted) {
                    if (Status(field) != text) return false;
                }
                return true;
            });
        };
    };
    EXPECT_TRUE(texts()(
        {{1, "Pixel size: 5.0x5.0 nm"}, {2, "Label: 1"}, {3, "Radius: 10"}, {4, "Objects: 0"}, {5, "Mode: Brush"}}));
    Run(kNextLabel);
    Run(kIncreaseRadius);
    Dab(20, 20);
    EXPECT_TRUE(texts()({{2, "Label: 2"}, {3, "Radius: 11"}, {4, "Objects: 1"}}));
    Run(kContourMode);
    EXPECT_TRUE(texts()({{3, "Radius: 1"}, {5, "Mode: Contour"}}));
    Key(WXK_END);
    EXPECT_TRUE(texts()({{4, "Objects: 0"}}));
    EXPECT_EQ(frame->GetTitle(), "Position [3/3] - " + PathOf("c.tif"));
}

TEST_F(Commands, TheWindowFitsTheFirstPosition) {
    OpenSmall();
    // The window manager may take its time; wider than the smallest window that the desktop allows.
    WriteRamp(folder.File("wide.tif"), 620, 410);
    const Answers answers(wxID_OK);
    Open({"wide.tif"});
    EXPECT_TRUE(Await([&] { return frame->GetClientSize() == wxSize(624, 414); }))
        << frame->GetClientSize().x << " x " << frame->GetClientSize().y;
    WriteRamp(folder.File("huge.tif"), 3000, 3000);
    Open({"huge.tif"});
    const wxSize most(wxGetDisplaySize().x * 85 / 100, wxGetDisplaySize().y * 85 / 100);
    EXPECT_TRUE(Await([&] { return frame->GetClientSize() == most; }))
        << frame->GetClientSize().x << " x " << frame->GetClientSize().y;
}

}  // namespace
