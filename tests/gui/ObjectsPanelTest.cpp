#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/button.h>
#include <wx/choice.h>
#include <wx/listctrl.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include "CommandTable.h"
#include "ObjectsPanel.h"
#include "ResultsWindow.h"
#include "SingleImageCanvas.h"

// The panel beside the image that lists objects.

namespace {

using namespace Korvane;
using namespace korvane_test;

using ObjectsPanelOfTheWindow = ResultsWindow;

TEST_F(ObjectsPanelOfTheWindow, ThePanelListsWhatThePositionHoldsAndFollowsEveryChange) {
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

TEST_F(ObjectsPanelOfTheWindow, ThePanelFollowsAStrokeWhoseButtonIsReleasedElsewhere) {
    OpenWithObjects();
    ShowPanel();
    const LabelList before = Rows();
    Run(kUniqueLabel);
    Mouse(wxEVT_LEFT_DOWN, 5, 60, true);
    Mouse(wxEVT_LEFT_UP, -20, 60, false);
    AwaitMeasured();
    EXPECT_EQ(Rows().size(), before.size() + 1);
}

TEST_F(ObjectsPanelOfTheWindow, ARowCentresAndFramesItsObjectAndPickingOneChoosesItsRow) {
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

TEST_F(ObjectsPanelOfTheWindow, AnObjectStaysFramedWhileOtherPositionsChange) {
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

TEST_F(ObjectsPanelOfTheWindow, TheChosenObjectStaysChosenWhenTheTableIsSorted) {
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

TEST_F(ObjectsPanelOfTheWindow, FiltersCountAsTheReportDoes) {
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

TEST_F(ObjectsPanelOfTheWindow, DeletedObjectsComeBackByUndo) {
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

TEST_F(ObjectsPanelOfTheWindow, OnlyChosenObjectsCanBeDeleted) {
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

TEST_F(ObjectsPanelOfTheWindow, TheKeyDelInTheTableTakesTheChosenObjectsOnlyAndEscLeadsBack) {
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

TEST_F(ObjectsPanelOfTheWindow, TheKeyDelInAFieldEditsItsText) {
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

TEST_F(ObjectsPanelOfTheWindow, HidingThePanelLeavesAWindowThatWasMadeNarrowUsable) {
    OpenSmall();
    Run(kObjects);
    frame->SetSize(400, 500);
    Pump();
    const int width = frame->GetSize().x;
    Run(kObjects);
    Pump();
    EXPECT_GE(frame->GetSize().x, std::min(width, 360));
}

}  // namespace
