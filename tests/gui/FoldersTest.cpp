#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>
#include <wx/display.h>

#include "MainWindow.h"
#include "PathText.h"

// Folders in place of files, and where the window stands.

namespace {

using namespace Korvane;
using namespace korvane_test;

class Folders : public MainWindow {
protected:
    std::string Folder(const std::string& name) {
        std::filesystem::create_directory(folder.Path() / name);
        return folder.File(name);
    }

    std::vector<wxString> FileNames() const {
        std::vector<wxString> names;
        for (const wxString& path : frame->Store().paths) names.push_back(FileNameOf(path));
        return names;
    }
};

TEST_F(Folders, AFolderStandsForItsImagesInNaturalOrder) {
    const std::string series = Folder("series");
    for (const char* name : {"a10.tif", "a2.TIFF", "seg_a2.TIFF", "export_a10.tif", "b1.tif", "calibrated_b1.tif",
                             "edges_b1.tif", "markers_b1.tif"}) {
        WriteRamp(series + "/" + name);
    }
    std::ofstream(series + "/notes.txt") << "no image";
    frame->OpenFiles({PathText(series)});
    EXPECT_EQ(FileNames(), (std::vector<wxString>{"a2.TIFF", "a10.tif", "b1.tif"}));
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(Folders, FilesAndFoldersKeepTheOrderInWhichTheyWereNamed) {
    const std::string series = Folder("series");
    WriteRamp(series + "/a.tif");
    WriteRamp(folder.File("z.tif"));
    frame->OpenFiles({PathOf("z.tif"), PathText(series)});
    EXPECT_EQ(FileNames(), (std::vector<wxString>{"z.tif", "a.tif"}));
}

TEST_F(Folders, AFolderWithoutImagesIsToldAndKeepsThePositions) {
    OpenSmall();
    Answers answers(wxID_OK);
    frame->OpenFiles({PathText(Folder("empty"))});
    EXPECT_EQ(FileNames(), (std::vector<wxString>{"a.tif", "b.tif", "c.tif"}));
    EXPECT_TRUE(answers.titles.empty()) << "asked before it was known that there is nothing to open";
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_NE(told.errors[0].find("holds no image"), wxString::npos) << told.errors[0];
}

TEST_F(Folders, AnImageLargerThanWhatIsLeftOfTheScreenMovesTheWindowOntoIt) {
    AwaitShown();
    const wxRect screen = wxDisplay(frame).GetClientArea();
    frame->Move(screen.GetRight() - 200, screen.GetBottom() - 200);
    ASSERT_TRUE(Await([&] { return frame->GetRect().GetRight() > screen.GetRight(); }));
    WriteRamp(folder.File("large.tif"), 900, 700);
    frame->OpenFiles({PathOf("large.tif")});
    // What the window manager told of the first move may come in between.
    EXPECT_TRUE(Await([&] {
        return screen.Contains(frame->GetScreenRect()) && frame->GetClientSize() == wxSize(904, 704);
    })) << frame->GetScreenPosition().x
        << ", " << frame->GetScreenPosition().y << ", " << frame->GetClientSize().x << " x "
        << frame->GetClientSize().y;
}

TEST_F(Folders, TheWindowHasItsIconInTheUsualSizes) {
    EXPECT_GE(frame->GetIcons().GetIconCount(), 5u);
    EXPECT_EQ(frame->GetIcons().GetIcon(wxSize(32, 32)).GetSize(), wxSize(32, 32));
}

}  // namespace
