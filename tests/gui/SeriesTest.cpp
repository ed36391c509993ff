#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
    /// All but the first image are read later; the fourth has a head that is as it should be, and ends too early.
    void OpenSeries() {
        frame->ReadAtOnceUpTo(64 * 64);
        for (const char* name : {"a.tif", "b.tif", "c.tif", "e.tif"}) WriteRamp(folder.File(name));
        std::mt19937 random(2);
        qvox::SaveImageFile(folder.File("d.tif"), RandomImage<std::uint8_t>(random, 64, 64, 0, 255));
        fs::resize_file(folder.File("d.tif"), 64 * 64 / 2);
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

TEST_F(Series, KeepsWhatIsDrawnBehindAnImageThatTurnsOutToBeBroken) {
    frame->KeepJournal(folder.File("state"));
    AwaitShown();
    OpenSeries();
    Key(WXK_END);
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

TEST_F(Series, CanBeReplacedWhileItIsRead) {
    AwaitShown();
    OpenSeries();
    const Answers yes(wxID_OK);
    Open({"c.tif", "e.tif"});
    EXPECT_EQ(frame->Store().paths, (std::vector<wxString>{PathOf("c.tif"), PathOf("e.tif")}));
    EXPECT_EQ(Status(0), "Opened 2 images");
    for (int i = 0; i < 20; ++i) Pump();
    EXPECT_TRUE(told.errors.empty());
    EXPECT_EQ(PositionCount(frame->Store()), 2u);
}

}  // namespace
