#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/button.h>
#include <wx/choice.h>
#include <wx/frame.h>
#include <wx/image.h>
#include <wx/listctrl.h>
#include <wx/msgdlg.h>
#include <wx/settings.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "ObjectsPanel.h"
#include "SingleImageCanvas.h"
#include "SizeHistogram.h"
#include "StagesBar.h"
#include "StagesView.h"
#include "WindowLibrary.h"
#include "evaluation/EvaluationPhantoms.h"
#include "files/ImageFile.h"

// The menu Results: the panel of objects, the stages of detection, the report.

namespace {

using namespace Korvane;
using namespace korvane_test;

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Results : public MainWindow {
protected:
    void OpenDiscs() {
        const TrainingImage discs = DiscImage(1);
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(discs.image.SizeX(), discs.image.SizeY(), 1);
        std::transform(discs.image.begin(), discs.image.end(), image.begin(),
                       [](float value) { return static_cast<std::uint8_t>(value * 200.0f); });
        image.SetResolution(discs.image.Resolution());
        qvox::SaveImageFile(folder.File("discs.tif"), image);
        Open({"discs.tif"});
        AwaitShown();
    }

    /// Two objects at the first of three positions, 1 and 2, and one at the second.
    void OpenWithObjects() {
        for (const char* name : {"a.tif", "b.tif", "c.tif"}) WriteRamp(folder.File(name), 200, 160);
        Open({"a.tif", "b.tif", "c.tif"});
        AwaitShown();
        Dab(16, 16);
        Run(kNextLabel);
        Dab(44, 44);
        Key(WXK_PAGEDOWN);
        Dab(30, 30);
        Key(WXK_PAGEUP);
    }

    ObjectsPanel& Panel() { return frame->Objects(); }

    void ShowPanel() {
        Run(kObjects);
        ASSERT_TRUE(frame->ShowsObjects());
        AwaitMeasured();
        ExpectLaidOut(Panel());
    }
    void AwaitMeasured() {
        ASSERT_TRUE(Await([&] { return Panel().IsUpToDate(); }));
    }

    void Press(int id) {
        wxWindow* const button = Panel().FindWindow(id);
        ASSERT_NE(button, nullptr);
        wxCommandEvent event(wxEVT_BUTTON, id);
        event.SetEventObject(button);
        button->GetEventHandler()->ProcessEvent(event);
    }

    std::vector<std::uint16_t> Rows() {
        std::vector<std::uint16_t> labels;
        for (std::size_t i = 0; i < Panel().List().RowCount(); ++i) labels.push_back(Panel().List().At(i).label);
        return labels;
    }

    template <typename Control>
    Control* Nth(int index) {
        for (wxWindow* const child : Panel().GetChildren()) {
            auto* const control = dynamic_cast<Control*>(child);
            if (control != nullptr && index-- == 0) return control;
        }
        return nullptr;
    }

    /// Chooses the folder "report", and `answer` where it asks.
    std::string Report(int answer) {
        std::filesystem::create_directory(folder.Path() / "report");
        std::string page;
        frame->OpenPagesBy([&](const wxString& address) { page = address.utf8_string(); });
        Answers answers([&](wxDialog& dialog) {
            return dynamic_cast<wxMessageDialog*>(&dialog) != nullptr ? answer : static_cast<int>(wxID_NONE);
        });
        answers.Act(Choose({folder.File("report")}));
        Run(kReport);
        asked = answers.texts;
        return page;
    }

    std::vector<wxString> asked;
};

using LabelList = std::vector<std::uint16_t>;

TEST_F(Results, ThePanelListsWhatThePositionHoldsAndFollowsEveryChange) {
    OpenWithObjects();
    const wxSize before = frame->Canvas().GetSize();
    ShowPanel();
    EXPECT_EQ(frame->Canvas().GetSize().x, before.x) << "the image keeps its room";
    EXPECT_GE(Panel().GetSize().x, frame->FromDIP(400));
    EXPECT_GE(Panel().GetSize().y, frame->FromDIP(560)) << "the window grows with the panel";
    EXPECT_EQ(Rows(), (LabelList{1, 2}));
    EXPECT_TRUE(Panel().Statistics().StartsWith("2 objects, 2 counted\nMean ")) << Panel().Statistics();
    Run(kUndo);
    Run(kUndo);
    AwaitMeasured();
    EXPECT_EQ(Rows(), LabelList{1});
    Run(kRedo);
    AwaitMeasured();
    EXPECT_EQ(Rows(), (LabelList{1, 2}));
    Key(WXK_PAGEDOWN);
    AwaitMeasured();
    EXPECT_TRUE(Rows().empty());
    Run(kRedo);
    AwaitMeasured();
    EXPECT_EQ(Rows(), LabelList{2});
    const Answers answers(wxID_OK);
    Open({"c.tif"});
    AwaitMeasured();
    EXPECT_TRUE(Rows().empty());
    Run(kObjects);
    EXPECT_FALSE(frame->ShowsObjects());
}

TEST_F(Results, ThePanelFollowsAStrokeWhoseButtonIsReleasedElsewhere) {
    OpenWithObjects();
    ShowPanel();
    const LabelList before = Rows();
    Run(kUniqueLabel);
    Mouse(wxEVT_LEFT_DOWN, 5, 60, true);
    Mouse(wxEVT_LEFT_UP, -20, 60, false);
    AwaitMeasured();
    EXPECT_EQ(Rows().size(), before.size() + 1);
}

TEST_F(Results, ARowCentresAndFramesItsObjectAndPickingOneChoosesItsRow) {
    OpenWithObjects();
    ShowPanel();
    wxListView& table = Panel().Table();
    ASSERT_EQ(table.GetItemCount(), 2);
    table.Select(1);
    Pump();
    const PixelRectangle framed = frame->StateOfCanvas().framed;
    EXPECT_EQ(framed.x, 35u);
    EXPECT_EQ(framed.width, 19u);
    EXPECT_EQ(Status(0), "Object 2");
    Mouse(wxEVT_RIGHT_UP, 16, 16, false);
    EXPECT_EQ(table.GetFirstSelected(), 0);
    EXPECT_EQ(table.GetSelectedItemCount(), 1);
    EXPECT_EQ(frame->StateOfCanvas().framed.x, 7u);
    // Of all positions: the row leads to another one.
    auto* const which = Nth<wxChoice>(0);
    which->SetSelection(1);
    wxCommandEvent chosen(wxEVT_CHOICE, which->GetId());
    chosen.SetEventObject(which);
    which->GetEventHandler()->ProcessEvent(chosen);
    AwaitMeasured();
    EXPECT_EQ(Rows(), (LabelList{1, 2, 2}));
    table.Select(2);
    Pump();
    EXPECT_EQ(frame->Store().current, 1u);
    EXPECT_EQ(frame->StateOfCanvas().framed.x, 21u);
    EXPECT_EQ(table.GetFirstSelected(), 2);
    // What is drawn there is no longer what was framed.
    Dab(10, 50);
    EXPECT_EQ(frame->StateOfCanvas().framed.width, 0u);
}

TEST_F(Results, AnObjectStaysFramedWhileOtherPositionsChange) {
    OpenWithObjects();
    Run(kSaveResults);
    std::filesystem::remove(folder.File("seg_a.tif"));
    Key(WXK_PAGEDOWN);
    Dab(70, 70);
    Key(WXK_PAGEUP);
    ShowPanel();
    Panel().Table().Select(0);
    Pump();
    const PixelRectangle framed = frame->StateOfCanvas().framed;
    EXPECT_GT(framed.width, 0u);
    const Answers answers(wxID_OK);
    Run(kLoadResults);
    EXPECT_EQ(CountLabels(*frame->Store().images.LabelsOf(1)), 1u) << "that of the file";
    EXPECT_EQ(frame->StateOfCanvas().framed.width, framed.width) << "which the first has none of";
    Dab(70, 44);
    EXPECT_EQ(frame->StateOfCanvas().framed.width, 0u);
}

TEST_F(Results, TheChosenObjectStaysChosenWhenTheTableIsSorted) {
    OpenWithObjects();
    ShowPanel();
    wxListView& table = Panel().Table();
    const auto sort = [&table] {
        wxListEvent event(wxEVT_LIST_COL_CLICK, table.GetId());
        event.SetEventObject(&table);
        event.m_col = 1;
        table.GetEventHandler()->ProcessEvent(event);
    };
    table.Select(1);
    const auto chosen = [&] { return Panel().List().At(static_cast<std::size_t>(table.GetFirstSelected())).label; };
    std::vector<LabelList> orders;
    for (int i = 0; i < 3; ++i) {
        sort();
        orders.push_back(Rows());
        ASSERT_EQ(table.GetSelectedItemCount(), 1) << i;
        EXPECT_EQ(chosen(), 2) << i;
    }
    EXPECT_EQ(orders[2], orders[0]);
    EXPECT_NE(orders[1], orders[0]);
    table.Select(0);
    table.Select(1);
    sort();
    EXPECT_EQ(table.GetSelectedItemCount(), 0) << "one of several would be no choice of a person's";
}

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

TEST_F(Results, FiltersCountAsTheReportDoes) {
    OpenWithObjects();
    ShowPanel();
    auto* const smallest = Nth<wxTextCtrl>(0);
    ASSERT_NE(smallest, nullptr);
    smallest->SetValue("200,5");
    AwaitMeasured();
    EXPECT_EQ(Panel().Statistics(), "2 objects, 0 counted (too small: 2)");
    smallest->SetValue("abc");
    AwaitMeasured();
    EXPECT_TRUE(Panel().Statistics().StartsWith("2 objects, 2 counted"));
    smallest->SetValue("");
    EXPECT_EQ(Rows(), (LabelList{1, 2})) << "the rows stay";
}

TEST_F(Results, DeletedObjectsComeBackByUndo) {
    OpenWithObjects();
    ShowPanel();
    const qvox::LabelImage before(Labels());
    Panel().Table().Select(0);
    Press(wxID_DELETE);
    EXPECT_EQ(frame->Store().labelCount, 1u);
    EXPECT_EQ(std::count(Labels().begin(), Labels().end(), 1), 0);
    EXPECT_GT(std::count(Labels().begin(), Labels().end(), 2), 0);
    EXPECT_EQ(Status(0), "Deleted 1 object; Ctrl+Z brings it back");
    AwaitMeasured();
    EXPECT_EQ(Rows(), LabelList{2});
    Run(kUndo);
    EXPECT_TRUE(Status(0).StartsWith("Undone: deletion of objects")) << Status(0);
    EXPECT_TRUE(SameLabels(Labels(), before));
}

TEST_F(Results, OnlyChosenObjectsCanBeDeleted) {
    OpenWithObjects();
    ShowPanel();
    const wxWindow* const button = Panel().FindWindow(wxID_DELETE);
    ASSERT_NE(button, nullptr);
    EXPECT_FALSE(button->IsEnabled());
    Panel().Table().Select(0);
    Panel().Table().Select(1);
    EXPECT_TRUE(button->IsEnabled());
    Panel().Table().Select(1, false);
    EXPECT_TRUE(button->IsEnabled()) << "the first is chosen still";
    Panel().Table().Select(0, false);
    EXPECT_FALSE(button->IsEnabled());
}

TEST_F(Results, TheKeyDelInTheTableTakesTheChosenObjectsOnlyAndEscLeadsBack) {
    OpenWithObjects();
    ShowPanel();
    wxUIActionSimulator simulator;
    Panel().Table().SetFocus();
    Pump();
    simulator.Char(WXK_DELETE);
    simulator.Char(WXK_DOWN);
    ASSERT_TRUE(Await([&] { return Panel().Table().GetSelectedItemCount() > 0; }));
    EXPECT_EQ(frame->Store().labelCount, 2u) << "nothing was chosen when the key was pressed first";
    const std::uint16_t label = Panel().List().At(static_cast<std::size_t>(Panel().Table().GetFirstSelected())).label;
    simulator.Char(WXK_DELETE);
    ASSERT_TRUE(Await([&] { return frame->Store().labelCount == 1; }));
    EXPECT_EQ(std::count(Labels().begin(), Labels().end(), label), 0);
    simulator.Char(WXK_ESCAPE);
    EXPECT_TRUE(Await([&] { return wxWindow::FindFocus() == &frame->Canvas(); }));
}

TEST_F(Results, TheKeyDelInAFieldEditsItsText) {
    OpenWithObjects();
    ShowPanel();
    wxUIActionSimulator simulator;
    for (int i = 0; i < 3; ++i) {
        auto* const field = Nth<wxTextCtrl>(i);
        ASSERT_NE(field, nullptr);
        field->ChangeValue("12");
        Panel().Table().Select(0);
        field->SetFocus();
        field->SetInsertionPoint(0);
        Pump();
        simulator.Char(WXK_DELETE);
        EXPECT_TRUE(Await([&] { return field->GetValue() == "2"; })) << i;
        EXPECT_EQ(frame->Store().labelCount, 2u) << i;
        field->SetValue("");
        AwaitMeasured();
    }
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
    const wxWindow* const explanation = bar.GetChildren().GetLast()->GetData();
    for (int width = 300; width < 360; ++width) {
        bar.SetClientSize(width, 100);
        bar.Explain(wxString::Format("No object of %d: the filter removed it, which wants more of its edge", width));
        EXPECT_LE(explanation->GetBestSize().x, width - 8) << "4 pixels on both sides";
    }
}

TEST_F(Results, HidingThePanelLeavesAWindowThatWasMadeNarrowUsable) {
    OpenSmall();
    Run(kObjects);
    frame->SetSize(400, 500);
    Pump();
    const int width = frame->GetSize().x;
    Run(kObjects);
    Pump();
    EXPECT_GE(frame->GetSize().x, std::min(width, 360));
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
