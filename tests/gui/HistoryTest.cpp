#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <wx/msgdlg.h>
#include <wx/uiaction.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PathText.h"
#include "ResultFiles.h"
#include "SingleImageCanvas.h"
#include "StatusBar.h"
#include "WindowLibrary.h"

// Undo and redo in the window, what the status bar says of commands, and what is kept when labels are saved.

namespace {

using namespace Korvane;
using namespace korvane_test;

class History : public MainWindow {
protected:
    std::vector<qvox::LabelImage> All() const { return AllLabels(frame->Store()); }

    void ExpectAll(const std::vector<qvox::LabelImage>& wanted, const std::string& step) const {
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(i), wanted[i])) << step << ", position " << i;
        }
    }
};

TEST_F(History, EveryCommandThatChangesLabelsIsUndoneAndRedoneAtItsPosition) {
    const Answers yes(wxID_OK);
    OpenSamples();
    AwaitShown();
    std::vector<std::vector<qvox::LabelImage>> states{All()};
    std::vector<std::size_t> positions;
    const auto remember = [&](std::size_t position) {
        states.push_back(All());
        positions.push_back(position);
    };
    Dab(20, 20);
    remember(0);
    Run(kSaveResults);
    Key(WXK_PAGEDOWN);
    Run(kNextLabel);
    Dab(30, 30);
    remember(1);
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 5, 5, true);
    Mouse(wxEVT_MOTION, 15, 5, true);
    Mouse(wxEVT_MOTION, 10, 15, true);
    Mouse(wxEVT_LEFT_UP, 10, 15, false);
    remember(1);
    Run(kContourMode);
    Run(kDetectAll);
    remember(1);
    Run(kClearCurrent);
    remember(1);
    Key(WXK_BACK);
    remember(1);
    frame->Parameters().minObjectDiameterUm = 0.1f;
    Run(kSegmentCurrent);
    remember(1);
    Run(kLoadResults);
    remember(1);
    Run(kClearAll);
    remember(0);
    for (std::size_t i = 1; i < states.size(); ++i) {
        bool changed = false;
        for (std::size_t p = 0; p < 2; ++p) changed = changed || !SameLabels(states[i - 1][p], states[i][p]);
        EXPECT_TRUE(changed) << "step " << i << " shows nothing";
    }
    Key(WXK_END);
    for (std::size_t i = states.size() - 1; i > 0; --i) {
        Run(kUndo);
        EXPECT_TRUE(Status(0).StartsWith("Undone: ")) << Status(0);
        ExpectAll(states[i - 1], "undo " + std::to_string(i));
        EXPECT_EQ(CountLabels(Labels()), frame->Store().labelCount);
    }
    EXPECT_EQ(frame->Store().current, 0u) << "the first change was made there";
    EXPECT_EQ(Status(0), "Undone: brush stroke at position 1");
    Run(kUndo);
    EXPECT_EQ(Status(0), "There is nothing to undo");
    for (std::size_t i = 1; i < states.size(); ++i) {
        Run(kRedo);
        ExpectAll(states[i], "redo " + std::to_string(i));
    }
    EXPECT_EQ(Status(0), "Redone: clearing of all positions at position 1");
    Run(kRedo);
    EXPECT_EQ(Status(0), "There is nothing to redo");
}

TEST_F(History, BackspaceAfterADetectionCanBeTakenBack) {
    OpenSamples();
    Dab(20, 20);
    Run(kDetectCurrent);
    const qvox::LabelImage detected(Labels());
    Key(WXK_BACK);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    EXPECT_EQ(Status(0), "The labels from before the last stroke are back; Ctrl+Z undoes that");
    Run(kUndo);
    EXPECT_TRUE(SameLabels(Labels(), detected));
    EXPECT_EQ(frame->Store().labelCount, CountLabels(detected));
    EXPECT_EQ(Status(0), "Undone: Backspace at position 1");
}

TEST_F(History, RealKeysUndoAndRedo) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    const qvox::LabelImage painted(Labels());
    wxUIActionSimulator simulator;
    simulator.Char('Z', wxMOD_CONTROL);
    ASSERT_TRUE(Await([&] { return CountLabels(Labels()) == 0; }));
    simulator.Char('Y', wxMOD_CONTROL);
    ASSERT_TRUE(Await([&] { return SameLabels(Labels(), painted); }));
}

TEST_F(History, SaysOnceThatTheOldestChangesAreForgotten) {
    frame->KeepHistoryWithin(2000);
    OpenSmall();
    AwaitShown();
    const wxString wanted = "the oldest changes can no longer be undone, as memory for them is full";
    std::vector<wxString> said;
    for (int x = 5; x < 60; x += 5) {
        Dab(x, 5 + x % 7);
        said.push_back(Status(0));
        Run(kClearCurrent);
        said.push_back(Status(0));
    }
    EXPECT_EQ(std::count_if(said.begin(), said.end(), [&](const wxString& text) { return text.EndsWith(wanted); }), 1);
    EXPECT_FALSE(said.back().EndsWith(wanted));
}

TEST_F(History, AnOpenContourRefusesUntilEscapeDiscardsIt) {
    OpenSmall();
    Dab(20, 20);
    const qvox::LabelImage painted(Labels());
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 5, 5, true);
    Mouse(wxEVT_MOTION, 15, 5, true);
    Run(kUndo);
    EXPECT_EQ(Status(0), "A contour is open: Esc discards it");
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(frame->Store().current, 0u);
    Key(WXK_ESCAPE);
    EXPECT_EQ(Status(0), "The contour is discarded");
    // The button is still held.
    Mouse(wxEVT_MOTION, 15, 15, true);
    Mouse(wxEVT_LEFT_UP, 15, 15, false);
    EXPECT_TRUE(SameLabels(Labels(), painted));
    Run(kUndo);
    EXPECT_EQ(CountLabels(Labels()), 0u);
}

TEST_F(History, OpeningImagesForgetsWhatCanBeUndone) {
    const Answers yes(wxID_OK);
    OpenSmall();
    Dab(20, 20);
    EXPECT_TRUE(frame->History().CanUndo());
    OpenSmall();
    EXPECT_FALSE(frame->History().CanUndo());
    Run(kUndo);
    EXPECT_EQ(CountLabels(Labels()), 0u);
}

using CommandsSay = History;

TEST_F(CommandsSay, WhatTheyDidAndWhere) {
    EXPECT_EQ(Status(0), "Open images (Ctrl+O) or drop files here");
    OpenSmall();
    EXPECT_EQ(Status(0), "Opened 3 images");
    const std::string place = folder.Path().string();
    Run(kSaveResults);
    EXPECT_EQ(Status(0), "Saved 3 label files in " + place);
    const Answers yes(wxID_OK);
    Open({"a.tif", "b.tif"});
    EXPECT_EQ(Status(0), "Opened 2 images; results lie beside them: Ctrl+L loads them");
    Run(kLoadResults);
    EXPECT_EQ(Status(0), "Loaded 2 label files from " + place);
    Run(kExportPictures);
    EXPECT_EQ(Status(0), "Exported 2 images to " + place);
    Run(kSegmentAll);
    EXPECT_EQ(Status(0), "Segmentation: no position was analysed; no seeds at numbers 1 and 2");
    Run(kDetectCurrent);
    EXPECT_TRUE(Status(0).StartsWith("Detection: ")) << Status(0);
    EXPECT_TRUE(Status(0).EndsWith(" at 1 position")) << Status(0);
}

/// The texts of the status bar's first field that were painted since.
class PaintedTexts {
public:
    explicit PaintedTexts(const wxStatusBar& bar)
        : label_(dynamic_cast<const StatusBar&>(bar).Field(0).GetHandle()),
          signal_(OfLibrary<Connect>("g_signal_connect_data")(label_, "draw", &OnDraw, this, nullptr, 0)) {}
    ~PaintedTexts() { OfLibrary<void(void*, unsigned long)>("g_signal_handler_disconnect")(label_, signal_); }
    PaintedTexts(const PaintedTexts&) = delete;
    PaintedTexts& operator=(const PaintedTexts&) = delete;

    std::vector<std::string> texts;

private:
    using Drawn = int(void*, void*, PaintedTexts*);
    using Connect = unsigned long(void*, const char*, Drawn*, PaintedTexts*, void*, int);

    static int OnDraw(void* label, void* /*cairo*/, PaintedTexts* painted) {
        const std::string text = OfLibrary<const char*(void*)>("gtk_label_get_text")(label);
        if (painted->texts.empty() || painted->texts.back() != text) painted->texts.push_back(text);
        return 0;
    }

    void* label_;
    unsigned long signal_;
};

TEST_F(CommandsSay, WhichPositionOfHowManyTheyAreAtWhileTheyRun) {
    OpenSmall();
    AwaitShown();
    frame->SetSize(900, 400);
    ASSERT_TRUE(Await([&] { return frame->GetStatusBar()->GetSize().x > 800; }));
    const Answers yes(wxID_OK);
    for (const auto& [command, what] : {std::pair{kSaveResults, "saving"}, std::pair{kLoadResults, "loading"},
                                        std::pair{kExportPictures, "exporting"}}) {
        const PaintedTexts painted(*frame->GetStatusBar());
        Run(command);
        std::vector<std::string> wanted;
        for (const char* image : {"1 of 3, a.tif: ", "2 of 3, b.tif: ", "3 of 3, c.tif: "}) {
            wanted.push_back(std::string("Position ") + image + what);
            EXPECT_EQ(std::count(painted.texts.begin(), painted.texts.end(), wanted.back()), 1) << wanted.back();
        }
    }
}

TEST_F(CommandsSay, WhatIsUnderThePointerOnceTheyHadTimeToBeRead) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    Run(kClearCurrent);
    Dab(20, 20);
    const wxString said = Status(0);
    Mouse(wxEVT_MOTION, 20, 20, false);
    EXPECT_EQ(Status(0), said);
    ASSERT_TRUE(Await([&] {
        Mouse(wxEVT_MOTION, 20, 20, false);
        return Status(0) != said;
    }));
    const unsigned grey = (20 * 64 + 20) % 251;
    EXPECT_EQ(Status(0), "20, 20: grey " + std::to_string(grey) + ", label 1");
    Mouse(wxEVT_MOTION, 50, 20, false);
    EXPECT_EQ(Status(0), "50, 20: grey " + std::to_string((20 * 64 + 50) % 251));
    Mouse(wxEVT_LEAVE_WINDOW, 50, 20, false);
    EXPECT_EQ(Status(0), said);
}

TEST_F(CommandsSay, WhichOfTwoPositionsWithOneNameIsShown) {
    for (const char* name : {"one", "two"}) {
        std::filesystem::create_directory(folder.File(name));
        WriteRamp(folder.File(std::string(name) + "/a.tif"));
    }
    Open({"one/a.tif", "two/a.tif"});
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(Status(0), "a.tif in " + PathOf("two"));
}

TEST_F(CommandsSay, HowManyPositionsHaveUnsavedChangesWithCancelAsTheDefault) {
    OpenSmall();
    std::vector<wxString> extended;
    std::vector<bool> cancelIsDefault;
    const Answers answers([&](wxDialog& dialog) {
        auto& question = dynamic_cast<wxMessageDialog&>(dialog);
        extended.push_back(question.GetExtendedMessage());
        cancelIsDefault.push_back((question.GetMessageDialogStyle() & wxCANCEL_DEFAULT) != 0);
        return wxID_CANCEL;
    });
    Run(kOpenImages);
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Dab(20, 20);
    frame->Close();
    Run(kSaveResults);
    Dab(40, 20);
    Run(kLoadResults);
    EXPECT_EQ(extended,
              (std::vector<wxString>{"No position has unsaved changes.", "2 positions have unsaved changes.",
                                     "1 position has unsaved changes."}));
    EXPECT_EQ(cancelIsDefault, (std::vector<bool>{true, true, true}));
}

using Kept = History;

TEST_F(Kept, ResultsThatWereNeverSeenAreKeptWhenLabelsAreSavedOverThem) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    Run(kSaveResults);
    const Answers yes(wxID_OK);
    // A program that was started anew has seen nothing.
    auto* const second = new MainFrame;
    second->Show();
    second->OpenFiles({PathOf("a.tif"), PathOf("b.tif")});
    second->SaveSegmentationResults(std::nullopt);
    EXPECT_EQ(second->GetStatusBar()->GetStatusText(0),
              "Saved 2 label files in " + folder.Path().string() + "; the older one was kept as seg_a.tif.bak");
    qvox::LabelImage kept;
    EXPECT_EQ(LoadNewLabels(PathOf("seg_a.tif.bak"), {64, 64, 1}, kept), LabelsFound::kLoaded);
    EXPECT_TRUE(SameLabels(kept, Labels()));
    EXPECT_FALSE(std::filesystem::exists(folder.File("seg_b.tif.bak"))) << "its labels are the same";
    second->SaveSegmentationResults(std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(folder.File("seg_a.tif.bak2")));
    second->Destroy();
    Pump();
}

}  // namespace
