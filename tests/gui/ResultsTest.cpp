#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/image.h>
#include <wx/settings.h>
#include <wx/stattext.h>

#include "CommandTable.h"
#include "ResultsWindow.h"
#include "SizeHistogram.h"
#include "StagesBar.h"
#include "StagesView.h"
#include "WindowLibrary.h"
#include "files/ImageFile.h"

// The menu Results: the stages of detection, the report, the exported table.

namespace {

using namespace Korvane;
using namespace korvane_test;

using Results = ResultsWindow;

TEST_F(Results, BarsOfTheHistogramAreAsWideAsTheirBinsAndAsHighAsTheirCounts) {
    wxFrame window(nullptr, wxID_ANY, "bins");
    auto* const histogram = new SizeHistogram(&window);
    histogram->Show({{10.0, 20.0, 4}, {20.0, 30.0, 0}, {30.0, 40.0, 2}, {40.0, 50.0, 4}});
    int paints = 0;
    histogram->Bind(wxEVT_PAINT, [&paints](wxPaintEvent& event) {
        ++paints;
        event.Skip();
    });
    window.SetClientSize(400, 160);
    window.wxWindow::Show();
    window.Raise();
    const wxColour bar = wxSystemSettings::GetColour(wxSYS_COLOUR_HIGHLIGHT);
    wxImage shot;
    const auto isBar = [&](int x, int y) {
        return shot.GetRed(x, y) == bar.Red() && shot.GetGreen(x, y) == bar.Green() && shot.GetBlue(x, y) == bar.Blue();
    };
    // Pixels of bars in a row of the screen.
    const auto inRow = [&](int y) {
        int count = 0;
        for (int x = 0; x < shot.GetWidth(); ++x) count += isBar(x, y) ? 1 : 0;
        return count;
    };
    const auto isShown = [&] {
        if (paints == 0 || histogram->GetClientSize().x < 400) return false;
        const wxSize size = histogram->GetClientSize();
        const wxPoint corner = histogram->ClientToScreen({0, 0});
        auto* const root = OfLibrary<GdkWindow*()>("gdk_get_default_root_window")();
        auto* const grab = OfLibrary<GdkPixbuf*(GdkWindow*, int, int, int, int)>("gdk_pixbuf_get_from_window");
        shot = wxBitmap(grab(root, corner.x, corner.y, size.x, size.y)).ConvertToImage();
        return inRow(size.y / 4) > 0;
    };
    ASSERT_TRUE(Await(isShown));
    // Four bins share the width, less margins and the number on the left; bars have an outline.
    const int high = inRow(shot.GetHeight() / 4);
    EXPECT_GT(high, 2 * 400 / 4 - 40);
    EXPECT_LT(high, 2 * 400 / 4);
    const int low = inRow(shot.GetHeight() * 6 / 10);
    EXPECT_GT(low, 3 * 400 / 4 - 60);
    EXPECT_NEAR(low * 2, high * 3, 6);
    // From the right: the outline between the two that are beside each other is one pixel wide.
    int x = shot.GetWidth() - 1;
    const int y = shot.GetHeight() * 6 / 10;
    while (x > 0 && !isBar(x, y)) --x;
    while (x > 0 && isBar(x, y)) --x;
    EXPECT_TRUE(isBar(x - 1, y));
}

TEST_F(Results, TheExportedTableHoldsTheBytesOfTheBatchTool) {
    OpenWithObjects();
    ShowPanel();
    Nth<wxTextCtrl>(0)->SetValue("80");
    Run(kSaveResults);
    Answers answers(wxID_NONE);
    answers.Act(ChooseNew(folder.File("window.csv")));
    Press(wxID_SAVEAS);
    EXPECT_EQ(Status(0), "Exported 2 objects to " + PathOf("window.csv"));
    const std::string command = "LC_ALL=C '" KORVANE_BATCH_PROGRAM "' measure --quiet --min-diameter-nm 80 --csv '" +
                                folder.File("batch.csv") + "' '" + folder.File("a.tif") + "' > '" + folder.File("log") +
                                "' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << BytesOf(folder.File("log"));
    EXPECT_GT(BytesOf(folder.File("window.csv")).size(), 500u);
    EXPECT_EQ(BytesOf(folder.File("window.csv")), BytesOf(folder.File("batch.csv")));
}

TEST_F(Results, TheReportIsOfTheLabelsInMemoryAndIsShown) {
    OpenWithObjects();
    const std::string page = Report(wxID_CANCEL);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(page, "file://" + folder.File("report/report.html"));
    EXPECT_EQ(Status(0), "The report is " + PathOf("report/report.html"));
    EXPECT_TRUE(told.errors.empty());
    const std::string html = BytesOf(folder.File("report/report.html"));
    EXPECT_NE(html.find("a.tif"), std::string::npos);
    const std::string objects = BytesOf(folder.File("report/objects.csv"));
    EXPECT_EQ(std::count(objects.begin(), objects.end(), '\n'), 4);
    EXPECT_NE(html.find("it has no labels"), std::string::npos) << "the third position";
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
}

TEST_F(Results, AReportIsReplacedOnlyWhenAskedFor) {
    OpenWithObjects();
    Report(wxID_CANCEL);
    const std::string before = BytesOf(folder.File("report/objects.csv"));
    Run(kClearCurrent);
    EXPECT_EQ(Report(wxID_CANCEL), "");
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0], "'" + PathOf("report/report.html") + "' exists already. Replace the report in this folder?");
    EXPECT_EQ(Status(0), "No report was written");
    EXPECT_EQ(BytesOf(folder.File("report/objects.csv")), before);
    EXPECT_NE(Report(wxID_OK), "");
    EXPECT_NE(BytesOf(folder.File("report/objects.csv")), before);
}

TEST_F(Results, AReportNeedsLabelsAndAPixelSize) {
    OpenSmall();
    EXPECT_EQ(Report(wxID_OK), "");
    EXPECT_EQ(Status(0), "There are no labels to report on: detect some, or load them");
    qvox::VoxelImage<std::uint8_t> bare;
    qvox::LoadImageFile(folder.File("a.tif"), bare);
    bare.SetResolution({});
    qvox::SaveImageFile(folder.File("bare.tif"), bare);
    const Answers answers(wxID_OK);
    Open({"bare.tif", "b.tif"});
    told.warnings.clear();
    AwaitShown();
    Dab(20, 20);
    EXPECT_EQ(Report(wxID_OK), "");
    EXPECT_EQ(Status(0), "A report needs labels and the pixel size, and no position has both");
    Key(WXK_PAGEDOWN);
    Dab(20, 20);
    EXPECT_NE(Report(wxID_OK), "");
    EXPECT_EQ(std::count(told.warnings.begin(), told.warnings.end(),
                         "The report leaves out positions without a pixel size: 'bare.tif'."),
              1);
}

TEST_F(Results, TheStagesAreSteppedThroughAndSayWhatBecameOfAPlace) {
    OpenDiscs();
    Run(kDetectCurrent);
    const qvox::LabelImage labels(Labels());
    Run(kExportPictures);
    const std::string overlay = BytesOf(folder.File("export_discs.tif"));
    Run(kNextStage);
    EXPECT_EQ(Status(0), "Results > Show detection stages (Ctrl+J) shows them first");
    Run(kStages);
    ASSERT_TRUE(frame->ShowsStages());
    EXPECT_TRUE(Checked(kStages));
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
    EXPECT_TRUE(frame->BarOfStages().StageText().StartsWith("Stage 1 of 7: edge map"));
    ExpectLaidOut(frame->BarOfStages());
    std::vector<wxString> texts;
    for (int i = 0; i < 7; ++i) {
        Run(kNextStage);
        texts.push_back(frame->BarOfStages().StageText());
    }
    EXPECT_TRUE(texts[0].StartsWith("Stage 2 of 7: candidates")) << texts[0];
    EXPECT_EQ(texts[5], "Stage 7 of 7: objects found");
    EXPECT_TRUE(texts[6].StartsWith("Stage 1 of 7"));
    Run(kPreviousStage);
    EXPECT_EQ(frame->BarOfStages().StageText(), texts[5]);
    EXPECT_TRUE(std::equal(labels.begin(), labels.end(), frame->Stages()->Areas().begin()));
    // No stroke, no Backspace; the overlay is that of the labels.
    Mouse(wxEVT_LEFT_DOWN, 30, 30, true);
    Mouse(wxEVT_LEFT_UP, 30, 30, false);
    EXPECT_TRUE(frame->BarOfStages().Explanation().StartsWith("Object 1 is found: "))
        << frame->BarOfStages().Explanation();
    Mouse(wxEVT_MOTION, 2, 2, false);
    EXPECT_TRUE(frame->BarOfStages().Explanation().StartsWith("No object: ")) << frame->BarOfStages().Explanation();
    Key(WXK_BACK);
    EXPECT_EQ(Status(0), "The stages of detection are shown: Esc ends that");
    EXPECT_TRUE(SameLabels(Labels(), labels));
    Run(kExportPictures);
    EXPECT_EQ(BytesOf(folder.File("export_discs.tif")), overlay);
    Key(WXK_ESCAPE);
    EXPECT_FALSE(frame->ShowsStages());
    EXPECT_FALSE(Checked(kStages));
    EXPECT_FALSE(frame->BarOfStages().IsShown());
    // What changes labels ends them too.
    Run(kStages);
    ASSERT_TRUE(frame->ShowsStages());
    Run(kClearCurrent);
    EXPECT_FALSE(frame->ShowsStages());
}

TEST_F(Results, TheExplanationOfAPlaceStaysWithinItsBar) {
    StagesBar bar(frame, {});
    const auto* const explanation = dynamic_cast<wxStaticText*>(bar.GetChildren().GetLast()->GetData());
    ASSERT_NE(explanation, nullptr);
    int widest = 0;
    for (int width = 300; width < 360; ++width) {
        bar.SetClientSize(width, 100);
        bar.Explain(wxString::Format("No object of %d: the filter removed it, which wants more of its edge", width));
        const wxString shown = explanation->GetLabel();
        EXPECT_NE(shown.Find('\n'), wxNOT_FOUND);
        for (const wxString& line : wxSplit(shown, '\n')) {
            const int room = width - explanation->GetTextExtent(line + " ").x;  // with the blank at which it breaks
            EXPECT_GE(room, 8) << "4 pixels on both sides";
            widest = std::max(widest, width - room);
        }
    }
    EXPECT_GT(widest, 300) << "the lines are too short to tell";
}

TEST_F(Results, StagesThatCannotBeMadeAreTold) {
    korvane_test::WriteEven(folder.File("even.tif"));
    Open({"even.tif"});
    Run(kStages);
    EXPECT_FALSE(frame->ShowsStages());
    EXPECT_FALSE(Checked(kStages));
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot show the stages of the position number 1, '")) << told.errors[0];
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
}

}  // namespace
