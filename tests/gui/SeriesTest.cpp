#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <wx/progdlg.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PathText.h"
#include "ResultFiles.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"
#include "support/TestImages.h"

// A series that is too long to be read before it is shown.

namespace {

using namespace Korvane;
using namespace korvane_test;

namespace fs = std::filesystem;

class Series : public MainWindow {
protected:
    /// All but the first image are read later; the fourth has a head that is as it should be, and damaged voxels.
    void OpenSeries() {
        frame->ReadAtOnceUpTo(64 * 64);
        for (const char* name : {"a.tif", "b.tif", "c.tif", "e.tif"}) WriteRamp(folder.File(name));
        std::mt19937 random(2);
        qvox::SaveImageFile(folder.File("d.tif"), RandomImage<std::uint8_t>(random, 64, 64, 0, 15));
        std::fstream broken(folder.File("d.tif"), std::ios::binary | std::ios::in | std::ios::out);
        // Where the voxels begin.
        broken.seekp(8);
        broken << std::string(64, '\xff');
        broken.close();
        frame->OpenFiles({PathOf("a.tif"), PathOf("b.tif"), PathOf("c.tif"), PathOf("d.tif"), PathOf("e.tif")});
    }

    std::vector<wxString> Wanted() const {
        return {PathOf("a.tif"), PathOf("b.tif"), PathOf("c.tif"), PathOf("e.tif")};
    }

    void AwaitRead() {
        EXPECT_TRUE(Await([&] { return !told.errors.empty(); })) << "the series was never read";
        EXPECT_EQ(frame->Store().paths, Wanted());
        ASSERT_EQ(told.errors.size(), 1u);
        EXPECT_TRUE(told.errors[0].StartsWith("Cannot load the input image '" + PathOf("d.tif") + "'! (Error='"))
            << told.errors[0];
    }
};

TEST_F(Series, IsShownBeforeItIsReadAndSaysWhenItIs) {
    AwaitShown();
    OpenSeries();
    EXPECT_EQ(PositionCount(frame->Store()), 5u);
    EXPECT_EQ(frame->GetTitle(), "Position [1/5] - " + PathOf("a.tif"));
    EXPECT_EQ(Status(0), "Opened 5 images");
    EXPECT_TRUE(told.errors.empty());
    AwaitRead();
    EXPECT_EQ(frame->GetTitle(), "Position [1/4] - " + PathOf("a.tif"));
    EXPECT_EQ(Status(0), "Opened 4 images, 1 failed");
}

TEST_F(Series, IsReadFromTheNeighboursOfWhatIsShownOn) {
    AwaitShown();
    OpenSeries();
    const auto wasRead = [this](std::size_t i) { return frame->Store().images.WasRead(i); };
    EXPECT_TRUE(Await([&] { return wasRead(1) || wasRead(2) || wasRead(3); }));
    EXPECT_TRUE(wasRead(1));
    AwaitRead();
}

/// How often each file of a folder is opened from now on.
class OpenedFiles {
public:
    explicit OpenedFiles(const fs::path& folder) : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        // Equal events that follow one another become one: the closing between keeps them apart.
        EXPECT_GE(::inotify_add_watch(events_, folder.c_str(), IN_OPEN | IN_CLOSE), 0);
    }
    ~OpenedFiles() { ::close(events_); }
    OpenedFiles(const OpenedFiles&) = delete;
    OpenedFiles& operator=(const OpenedFiles&) = delete;

    std::map<std::string, int> Count() {
        std::array<char, 65536> buffer;
        for (ssize_t got = 0; (got = ::read(events_, buffer.data(), buffer.size())) > 0;) {
            for (ssize_t at = 0; at < got;) {
                inotify_event event;
                std::memcpy(&event, buffer.data() + at, sizeof(event));
                at += static_cast<ssize_t>(sizeof(event));
                if ((event.mask & IN_OPEN) != 0 && event.len > 0) ++counts_[buffer.data() + at];
                at += static_cast<ssize_t>(event.len);
            }
        }
        return counts_;
    }

private:
    int events_;
    std::map<std::string, int> counts_;
};

TEST_F(Series, IsReadOnce) {
    AwaitShown();
    frame->ReadAtOnceUpTo(64 * 64);
    for (const char* name : {"a.tif", "b.tif", "c.tif"}) WriteRamp(folder.File(name));
    // A bar at its bottom is told of when all images have been read and searched.
    std::mt19937 random(3);
    auto last = RandomImage<std::uint8_t>(random, 128, 128, 90, 160);
    for (std::uint64_t i = 128 * 108; i < last.VoxelCount(); ++i) last[i] = 0;
    last.SetResolution({200.0f, 200.0f, 0.0f});
    qvox::SaveImageFile(folder.File("d.tif"), last);
    OpenedFiles opened(folder.Path());
    frame->OpenFiles({PathOf("a.tif"), PathOf("b.tif"), PathOf("c.tif"), PathOf("d.tif")});
    ASSERT_TRUE(Await([&] { return !told.warnings.empty(); }));
    EXPECT_NE(told.warnings[0].find("d.tif"), std::string::npos) << told.warnings[0];
    const std::map<std::string, int> counts = opened.Count();
    // The neighbour of what is shown is read before the others, and not again with them.
    EXPECT_GE(counts.at("c.tif"), 1);
    EXPECT_EQ(counts.at("b.tif"), counts.at("c.tif"));
}

TEST_F(Series, KeepsWhatIsDrawnBehindAnImageThatTurnsOutToBeBroken) {
    frame->KeepJournal(folder.File("state"));
    AwaitShown();
    OpenSeries();
    // Before anything that was read can be handed over.
    frame->SwitchTo(4);
    EXPECT_EQ(frame->GetTitle(), "Position [5/5] - " + PathOf("e.tif"));
    frame->Enable();
    Dab(20, 20);
    const qvox::LabelImage drawn = Labels();
    AwaitRead();
    EXPECT_EQ(frame->Store().current, 3u);
    EXPECT_EQ(frame->GetTitle(), "Position [4/4] - " + PathOf("e.tif"));
    EXPECT_TRUE(SameLabels(Labels(), drawn));
    Key(WXK_HOME);
    Run(kUndo);
    EXPECT_EQ(frame->Store().current, 3u) << "undo goes to where it was drawn";
    EXPECT_EQ(frame->Store().labelCount, 0u);
    Run(kRedo);
    EXPECT_TRUE(SameLabels(Labels(), drawn));
    Run(kSaveResults);
    EXPECT_FALSE(fs::exists(folder.File("seg_d.tif")));
    qvox::LabelImage saved;
    qvox::LoadImageFile(folder.File("seg_e.tif"), saved);
    EXPECT_TRUE(SameLabels(saved, drawn));
}

TEST_F(Series, ABrokenImageThatIsTurnedToGivesWayToTheNextOne) {
    AwaitShown();
    OpenSeries();
    // Undisturbed, to the broken one.
    for (int i = 0; i < 3; ++i) frame->SwitchTo(frame->Store().current + 1);
    EXPECT_EQ(frame->Store().paths[frame->Store().current], PathOf("e.tif"));
    AwaitRead();
    EXPECT_EQ(frame->Store().current, 3u);
}

TEST_F(Series, IsReadToItsEndBeforeACommandOverAllPositions) {
    AwaitShown();
    OpenSeries();
    Run(kSaveResults);
    for (const char* name : {"seg_a.tif", "seg_b.tif", "seg_c.tif", "seg_e.tif"}) {
        EXPECT_TRUE(fs::exists(folder.File(name))) << name;
    }
    EXPECT_FALSE(fs::exists(folder.File("seg_d.tif")));
    EXPECT_TRUE(Status(0).StartsWith("Saved 4 label files")) << Status(0);
    AwaitRead();
    EXPECT_TRUE(Status(0).StartsWith("Saved 4 label files")) << "what was said of a command stays";
}

/// Presses Cancel in a progress dialog as soon as it is shown.
class CancelAtOnce final : public wxEventFilter {
public:
    CancelAtOnce() { wxEvtHandler::AddFilter(this); }
    ~CancelAtOnce() override { wxEvtHandler::RemoveFilter(this); }
    CancelAtOnce(const CancelAtOnce&) = delete;
    CancelAtOnce& operator=(const CancelAtOnce&) = delete;

    int FilterEvent(wxEvent& event) override {
        // It is shown while it is being made.
        auto* const dialog = dynamic_cast<wxGenericProgressDialog*>(event.GetEventObject());
        if (event.GetEventType() != wxEVT_SHOW || dialog == nullptr) return Event_Skip;
        messages.push_back(dialog->GetMessage());
        meanwhile();
        wxCommandEvent press(wxEVT_BUTTON, wxID_CANCEL);
        press.SetEventObject(dialog->FindWindow(wxID_CANCEL));
        dialog->FindWindow(wxID_CANCEL)->GetEventHandler()->ProcessEvent(press);
        return Event_Skip;
    }

    std::vector<wxString> messages;
    std::function<void()> meanwhile = [] {};
};

TEST_F(Series, ReadingBeforeACommandCanBeCancelledAndGoesOnLater) {
    AwaitShown();
    OpenSeries();
    frame->ShowReadingAfter(std::chrono::milliseconds(0));
    {
        CancelAtOnce cancel;
        std::size_t read = 0;
        std::size_t all = 0;
        cancel.meanwhile = [&] {
            all = PositionCount(frame->Store());
            for (std::size_t i = 0; i < all; ++i) read += frame->Store().images.WasRead(i) ? 1u : 0u;
        };
        Run(kSaveResults);
        ASSERT_EQ(cancel.messages.size(), 1u);
        EXPECT_GE(read, 1u);
        EXPECT_LT(read, all);
        EXPECT_EQ(cancel.messages[0], "Reading images: " + std::to_string(read) + " of " + std::to_string(all));
    }
    EXPECT_EQ(Status(0), "Cancelled while images were being read: nothing was done");
    EXPECT_FALSE(fs::exists(folder.File("seg_a.tif")));
    EXPECT_TRUE(frame->IsEnabled());
    AwaitRead();
    Run(kSaveResults);
    EXPECT_TRUE(fs::exists(folder.File("seg_e.tif")));
}

TEST_F(Series, ImagesThatCannotBeReadAreToldWithTheFailuresOfTheCommandThatWaitedForThem) {
    AwaitShown();
    OpenSeries();
    wxCommandEvent event(wxEVT_MENU, kSaveResults);
    fs::create_directory(folder.File("seg_b.tif"));
    frame->ProcessWindowEvent(event);
    // Nothing was due in between, so that both stand in one message.
    ASSERT_EQ(told.errors.size(), 2u);
    EXPECT_NE(told.errors[0].find("b.tif"), wxString::npos) << told.errors[0];
    EXPECT_NE(told.errors[1].find("d.tif"), wxString::npos) << told.errors[1];
    for (int i = 0; i < 20; ++i) Pump();
    EXPECT_EQ(told.errors.size(), 2u) << "told once";
}

TEST_F(Series, CanBeReplacedWhileItIsRead) {
    AwaitShown();
    OpenSeries();
    const Answers yes(wxID_OK);
    Open({"c.tif", "e.tif"});
    told.errors.clear();
    EXPECT_EQ(frame->Store().paths, (std::vector<wxString>{PathOf("c.tif"), PathOf("e.tif")}));
    EXPECT_EQ(Status(0), "Opened 2 images");
    for (int i = 0; i < 20; ++i) Pump();
    EXPECT_TRUE(told.errors.empty());
    EXPECT_EQ(PositionCount(frame->Store()), 2u);
}

}  // namespace
