#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/msgdlg.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PathText.h"
#include "RecoveryJournal.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

// Labels that were not saved when the program died, at its next start.

namespace {

using namespace Korvane;
using namespace korvane_test;

namespace fs = std::filesystem;

class Recovery : public MainWindow {
protected:
    Recovery() { frame->KeepJournal(Journals()); }

    std::string Journals() const { return folder.File("state"); }
    std::string Left() const { return folder.File("left"); }

    static std::vector<std::string> FilesIn(const std::string& place) {
        std::vector<std::string> files;
        std::error_code none;
        for (const fs::directory_entry& entry : fs::directory_iterator(place, none)) files.push_back(entry.path());
        return files;
    }

    /// The journal as a program that dies now would leave it: unlocked, in a folder of its own.
    void Die() {
        // What waits is written when the window has nothing else to do.
        Pump();
        fs::create_directory(Left());
        for (const std::string& file : FilesIn(Journals())) {
            fs::copy_file(file, Left() + "/" + fs::path(file).filename().string());
        }
    }

    /// A program that is started after it, with an answer to its question.
    struct Next {
        explicit Next(const std::string& journals, int answer) {
            window->KeepJournal(journals + "-of-the-next");
            window->Show();
            Pump();
            const Answers answers([&](wxDialog& dialog) {
                const auto& question = dynamic_cast<wxMessageDialog&>(dialog);
                asked.push_back(question.GetMessage());
                buttons = question.GetYesLabel() + "/" + question.GetNoLabel() + "/" + question.GetCancelLabel();
                return answer;
            });
            restored = window->OfferRecovery(journals);
            Pump();
        }
        ~Next() {
            window->Destroy();
            Pump();
        }
        Next(const Next&) = delete;
        Next& operator=(const Next&) = delete;

        MainFrame* window = new MainFrame;
        std::vector<wxString> asked;
        wxString buttons;
        bool restored = false;
    };

    void ExpectSame(const MainFrame& next) const {
        ASSERT_EQ(next.Store().paths, frame->Store().paths);
        for (std::size_t i = 0; i < next.Store().paths.size(); ++i) {
            EXPECT_TRUE(SameLabels(*next.Store().images.LabelsOf(i), *frame->Store().images.LabelsOf(i))) << i;
        }
    }
};

TEST_F(Recovery, RestoresWhatWasDrawnDetectedUndoneAndLoaded) {
    OpenSamples();
    AwaitShown();
    Dab(20, 20);
    Run(kSaveResults);
    EXPECT_TRUE(FilesIn(Journals()).empty());
    Run(kNextLabel);
    Dab(60, 60);
    Dab(90, 60);
    Run(kUndo);
    Key(WXK_PAGEDOWN);
    Run(kDetectCurrent);
    Die();
    ASSERT_EQ(FilesIn(Left()).size(), 1u);
    const Next next(Left(), wxID_YES);
    ASSERT_EQ(next.asked.size(), 1u);
    EXPECT_TRUE(next.asked[0].StartsWith("Korvane ended on "));
    EXPECT_NE(next.asked[0].find(PathOf("vesicles_8bit.tif") + ": 2 objects"), wxString::npos) << next.asked[0];
    EXPECT_NE(
        next.asked[0].find(PathOf("neighbours_16bit.tif") + ": " + std::to_string(CountLabels(Labels())) + " objects"),
        wxString::npos)
        << next.asked[0];
    EXPECT_EQ(next.buttons, "Restore/Discard/Later");
    EXPECT_TRUE(next.restored);
    ExpectSame(*next.window);
    EXPECT_EQ(next.window->GetStatusBar()->GetStatusText(0),
              "Restored the labels of 2 positions; they are not saved yet");
    EXPECT_TRUE(FilesIn(Left()).empty());
}

/// As while somebody draws without a pause and each movement takes longer to paint than the next one to come.
class NeverIdle final : public wxEventFilter {
public:
    NeverIdle() { wxEvtHandler::AddFilter(this); }
    ~NeverIdle() override { wxEvtHandler::RemoveFilter(this); }
    NeverIdle(const NeverIdle&) = delete;
    NeverIdle& operator=(const NeverIdle&) = delete;

    int FilterEvent(wxEvent& event) override {
        return event.GetEventType() == wxEVT_IDLE ? Event_Processed : Event_Skip;
    }
};

TEST_F(Recovery, WhatIsDrawnIsKeptWithinSecondsThoughNoMomentIsIdle) {
    OpenSmall();
    AwaitShown();
    const NeverIdle busy;
    const auto begun = std::chrono::steady_clock::now();
    for (int y = 10; y < 50; ++y) Dab(20, y);
    EXPECT_TRUE(FilesIn(Journals()).empty());
    ASSERT_TRUE(Await([&] { return !FilesIn(Journals()).empty(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
    Die();
    const Next next(Left(), wxID_YES);
    ExpectSame(*next.window);
}

TEST_F(Recovery, WhatIsRestoredIsKeptForTheNextDeath) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    Die();
    {
        Next next(Left(), wxID_CANCEL);
        EXPECT_FALSE(next.restored);
        EXPECT_EQ(FilesIn(Left()).size(), 1u) << "later";
    }
    auto* const second = new MainFrame;
    second->KeepJournal(folder.File("second"));
    second->Show();
    Pump();
    const Answers yes(wxID_YES);
    EXPECT_TRUE(second->OfferRecovery(Left()));
    ASSERT_EQ(FilesIn(folder.File("second")).size(), 1u);
    fs::copy(folder.File("second"), folder.File("third"));
    const Next next(folder.File("third"), wxID_YES);
    EXPECT_TRUE(next.restored);
    ExpectSame(*next.window);
    second->Destroy();
    Pump();
    EXPECT_TRUE(FilesIn(folder.File("second")).empty()) << "it ended as its user wanted";
}

TEST_F(Recovery, ImagesThatAreGoneOrChangedAreNamedAndTheirLabelsStayKept) {
    OpenSmall();
    AwaitShown();
    for (int i = 0; i < 3; ++i) {
        Dab(20, 20);
        Key(WXK_PAGEDOWN);
    }
    Die();
    fs::remove(folder.File("a.tif"));
    WriteRamp(folder.File("b.tif"), 9, 7);
    const Next next(Left(), wxID_YES);
    ASSERT_EQ(next.asked.size(), 1u);
    EXPECT_NE(next.asked[0].find(PathOf("a.tif") + ": the image is gone"), wxString::npos) << next.asked[0];
    EXPECT_NE(next.asked[0].find(PathOf("b.tif") + ": the image has changed since"), wxString::npos);
    EXPECT_EQ(next.window->Store().paths, std::vector<wxString>{PathOf("c.tif")});
    EXPECT_TRUE(SameLabels(*next.window->Store().images.LabelsOf(0), Labels()));
    EXPECT_EQ(FilesIn(Left()).size(), 1u);
    fs::remove(folder.File("c.tif"));
    const Next afterNext(Left(), wxID_YES);
    EXPECT_EQ(afterNext.window->GetStatusBar()->GetStatusText(0), "No labels were restored");
    EXPECT_EQ(FilesIn(Left()).size(), 1u);
}

TEST_F(Recovery, DiscardedOrSavedThereIsNothingToRestore) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    Die();
    {
        const Next next(Left(), wxID_NO);
        EXPECT_FALSE(next.restored);
        EXPECT_EQ(PositionCount(next.window->Store()), 0u);
    }
    EXPECT_TRUE(FilesIn(Left()).empty());
    EXPECT_EQ(FilesIn(Journals()).size(), 1u);
    Run(kSaveResults);
    EXPECT_TRUE(FilesIn(Journals()).empty());
    const Next next(Journals(), wxID_YES);
    EXPECT_TRUE(next.asked.empty());
}

TEST_F(Recovery, TheEndOfTheSessionKeepsWhatIsNotSavedWithoutAQuestion) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    Run(kNextLabel);
    Dab(40, 40);
    const std::vector<qvox::LabelImage> labels = AllLabels(frame->Store());
    const std::vector<wxString> paths = frame->Store().paths;
    {
        const Answers none(wxID_CANCEL);
        wxTheApp->QueueEvent(new wxCloseEvent(wxEVT_QUERY_END_SESSION));
        wxTheApp->QueueEvent(new wxCloseEvent(wxEVT_END_SESSION));
        const MainFrame* const ended = frame;
        ASSERT_TRUE(Await([&] { return wxTopLevelWindows.Find(ended) == nullptr; }));
        EXPECT_TRUE(none.titles.empty());
    }
    // Another takes its place, for the fixture's end.
    frame = new MainFrame;
    frame->Show();
    ASSERT_EQ(FilesIn(Journals()).size(), 1u);
    const Next next(Journals(), wxID_YES);
    EXPECT_TRUE(next.restored);
    EXPECT_EQ(next.window->Store().paths, paths);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        EXPECT_TRUE(SameLabels(*next.window->Store().images.LabelsOf(i), labels[i])) << i;
    }
    EXPECT_TRUE(FilesIn(Journals()).empty());
}

TEST_F(Recovery, LabelsOfAStackComeBack) {
    qvox::VoxelImage<std::uint8_t> stack;
    stack.Resize(20, 16, 3);
    for (std::uint64_t i = 0; i < stack.VoxelCount(); ++i) stack[i] = static_cast<std::uint8_t>(i % 251);
    qvox::SaveImageFile(folder.File("stack.tif"), stack);
    qvox::LabelImage labels;
    labels.Resize(20, 16, 3);
    labels.Zero();
    for (std::uint64_t i = 330; i < 700; ++i) labels[i] = static_cast<std::uint16_t>(i / 100);
    qvox::SaveImageFile(folder.File("seg_stack.tif"), labels);
    Open({"stack.tif"});
    AwaitShown();
    ASSERT_EQ(PositionCount(frame->Store()), 1u);
    frame->LoadSegmentationResults(std::nullopt);
    ASSERT_TRUE(SameLabels(Labels(), labels));
    Run(kClearCurrent);
    Die();
    const Next next(Left(), wxID_YES);
    EXPECT_TRUE(next.restored);
    ExpectSame(*next.window);
    EXPECT_TRUE(FilesIn(Left()).empty());
}

TEST_F(Recovery, FilesOfAnotherVersionStayUntilTheyAreDiscarded) {
    fs::create_directory(Left());
    const std::string file = Left() + "/9.journal";
    std::ofstream(file) << "Korvane journal 99\nwhatever";
    {
        const Next next(Left(), wxID_NO);
        ASSERT_EQ(next.asked.size(), 1u);
        EXPECT_TRUE(next.asked[0].StartsWith("Another version of Korvane ended before labels were saved"));
        EXPECT_NE(next.asked[0].find(PathText(file)), wxString::npos) << next.asked[0];
        EXPECT_FALSE(next.restored);
    }
    EXPECT_TRUE(fs::exists(file));
    const Next next(Left(), wxID_YES);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(next.restored);
}

}  // namespace
