#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <wx/uiaction.h>

#include "ObjectsPanel.h"
#include "PreparationWindow.h"
#include "ScreenReader.h"
#include "SingleImageCanvas.h"
#include "StagesBar.h"
#include "StagesView.h"

// What a person does with the pointer other than drawing labels: marks, a region, a line over a scale bar.

namespace {

using namespace korvane_test;

class HandTools : public PreparationWindow {
protected:
    void Send(wxEventType type, const wxPoint& at, int modifiers) {
        wxMouseEvent event(type);
        event.SetPosition(at);
        event.m_leftDown = type != wxEVT_LEFT_UP;
        event.m_shiftDown = (modifiers & wxMOD_SHIFT) != 0;
        event.SetEventObject(&frame->Canvas());
        frame->Canvas().ProcessWindowEvent(event);
    }

    /// From one pixel of the image to another, at zoom 1.
    void Drag(const wxPoint& from, const wxPoint& to, int modifiers = wxMOD_NONE) {
        Send(wxEVT_LEFT_DOWN, from, modifiers);
        Send(wxEVT_MOTION, (from + to) / 2, modifiers);
        Send(wxEVT_LEFT_UP, to, modifiers);
    }

    /// Detection finds vesicles there, and nothing that looks like writing.
    void MarkAPart() {
        if (!Checked(kMarkBurntIn)) Run(kMarkBurntIn);
        Drag({100, 100}, {180, 130});
    }

    void DetectFilledPart() {
        SaveMarked("a.tif");
        Open({"a.tif"});
        AwaitShown();
        Run(kFillBurntIn);
        ChooseRegion({60, 40, 300, 280});
        Run(kDetectCurrent);
    }

    ColourPicture Seen() {
        const wxRect client = frame->Canvas().GetScreenRect();
        return ReadScreen(client.x, client.y, static_cast<unsigned>(client.width),
                          static_cast<unsigned>(client.height));
    }

    std::ptrdiff_t CountSeen(const qvox::Rgb8& colour) {
        const ColourPicture seen = Seen();
        return std::count(seen.begin(), seen.end(), colour);
    }

    /// The first dialog asks for a drawing; what is done with the ones after it.
    void DrawFromDialog(int command, int drawButton) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            Press(dialog, drawButton);
            return true;
        });
        Run(command);
    }
};

TEST_F(HandTools, MarksGiveTheLabelFilesOfTheBatchToolWithTheSameMask) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    AwaitShown();
    Run(kFillBurntIn);
    const std::string filled = FromWindow(kDetectCurrent);
    EXPECT_FALSE(Checked(kMarkBurntIn));
    MarkAPart();
    EXPECT_TRUE(Checked(kMarkBurntIn));
    EXPECT_EQ(Status(0),
              std::to_string(frame->Marks().PixelCount()) + " pixels are marked, and filled for detection and "
                                                            "segmentation");
    EXPECT_EQ(frame->Store().labelCount, CountLabels(Labels())) << "no label was drawn";
    {
        Answers answers(wxID_NONE);
        answers.Act(ChooseNew(folder.File("marks_a.tif")));
        Run(kSaveMarks);
    }
    EXPECT_EQ(Status(0), "Saved the marks to " + PathOf("marks_a.tif"));
    const std::string marked = FromWindow(kDetectCurrent);
    EXPECT_NE(marked, filled);
    EXPECT_EQ(marked, FromBatch("detect --quiet --overwrite --fill-annotations --annotations '" +
                                folder.File("marks_a.tif") + "'"));
    // A segmentation fills the marks as well, under seeds that lie there.
    Run(kMarkBurntIn);
    Run(kClearCurrent);
    Dab(140, 115);
    Run(kSaveResults);
    std::filesystem::create_directory(folder.File("seeds"));
    std::filesystem::copy_file(folder.File("seg_a.tif"), folder.File("seeds/seg_a.tif"));
    const std::string segment =
        "segment --quiet --overwrite --fill-annotations --labels '" + folder.File("seeds") + "'";
    const std::string segmented = FromWindow(kSegmentCurrent);
    EXPECT_EQ(segmented, FromBatch(segment + " --annotations '" + folder.File("marks_a.tif") + "'"));
    EXPECT_NE(segmented, FromBatch(segment)) << "the marks make a difference";
    // With the switch off marks are as little filled as what was found.
    Run(kFillBurntIn);
    const std::string plain = FromWindow(kDetectCurrent);
    EXPECT_EQ(plain, FromBatch("detect --quiet --overwrite"));
    Run(kFillBurntIn);
    ChooseRegion({60, 40, 300, 280});
    EXPECT_EQ(FromWindow(kDetectCurrent),
              FromBatch("detect --quiet --overwrite --fill-annotations --region 60,40,300,280 --annotations '" +
                        folder.File("marks_a.tif") + "'"));
}

TEST_F(HandTools, MarksAreErasedUndoneAndOfTheirPositionAlone) {
    SaveMarked("a.tif");
    std::filesystem::copy_file(folder.File("a.tif"), folder.File("b.tif"));
    Open({"a.tif", "b.tif"});
    AwaitShown();
    Run(kMarkBurntIn);
    EXPECT_TRUE(Status(0).StartsWith("Drag over bars and writing")) << Status(0);
    MarkAPart();
    const std::uint64_t marked = frame->Marks().PixelCount();
    EXPECT_GT(marked, 1000u);
    EXPECT_TRUE(Status(0).EndsWith("marked; Tools > Fill bars and writing fills them")) << Status(0);
    Drag({100, 100}, {180, 130}, wxMOD_SHIFT);
    EXPECT_TRUE(frame->Marks().Empty());
    EXPECT_EQ(Status(0), "Nothing is marked at this position");
    Run(kUndo);
    EXPECT_EQ(frame->Marks().PixelCount(), marked);
    EXPECT_EQ(Status(0), "Undone: erasing of marks at position 1");
    Key(WXK_PAGEDOWN);
    EXPECT_TRUE(Checked(kMarkBurntIn)) << "the tool stays";
    EXPECT_TRUE(frame->Marks().Empty());
    Run(kUndo);
    EXPECT_EQ(frame->Store().current, 0u) << "undo goes to where it was marked";
    EXPECT_TRUE(frame->Marks().Empty());
    Run(kRedo);
    EXPECT_EQ(frame->Marks().PixelCount(), marked);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    Key(WXK_ESCAPE);
    EXPECT_FALSE(Checked(kMarkBurntIn));
    EXPECT_EQ(Status(0), "Dragging draws labels again");
    Dab(20, 20);
    EXPECT_EQ(CountLabels(Labels()), 1u);
    // The brush of the marks, whatever labels are drawn with.
    Run(kContourMode);
    Run(kMarkBurntIn);
    const int radius = frame->BrushRadius();
    Run(kIncreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), radius + 1);
    EXPECT_TRUE(Checked(kContourMode));
}

TEST_F(HandTools, MarksAreLoadedFromAMaskOfTheSameSizesOnly) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    qvox::VoxelImage<std::uint16_t> mask;
    mask.Resize(kMarkedWidth, kMarkedHeight, 1);
    mask.Zero();
    for (std::uint64_t x = 30; x < 90; ++x) mask(x, 50) = 7;
    qvox::SaveImageFile(folder.File("mask.tif"), mask);
    WriteRamp(folder.File("small.tif"));
    const auto load = [&](const char* name) {
        std::filesystem::create_directory(folder.File("one"));
        const std::string place = folder.File(std::string("one/") + name);
        std::filesystem::copy_file(folder.File(name), place);
        Answers answers(wxID_NONE);
        answers.Act(Choose({place}));
        Run(kLoadMarks);
        std::filesystem::remove(place);
    };
    load("mask.tif");
    EXPECT_EQ(frame->Marks().PixelCount(), 60u);
    load("small.tif");
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_NE(told.errors[0].find("It has 64 x 64 pixels, the image 420 x 360."), wxString::npos) << told.errors[0];
    EXPECT_EQ(frame->Marks().PixelCount(), 60u);
    Run(kUndo);
    EXPECT_TRUE(frame->Marks().Empty());
}

TEST_F(HandTools, RealPointerAndKeysMarkAndErase) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    AwaitShown();
    wxUIActionSimulator simulator;
    simulator.Char('M', wxMOD_CONTROL);
    ASSERT_TRUE(Await([&] { return Checked(kMarkBurntIn); }));
    const wxPoint corner = frame->Canvas().GetScreenRect().GetTopLeft();
    const auto drag = [&](const wxPoint& from, const wxPoint& to) {
        simulator.MouseMove(corner + from);
        simulator.MouseDown();
        Pump();
        simulator.MouseMove(corner + to);
        Pump();
        simulator.MouseUp();
    };
    const std::ptrdiff_t before = CountSeen({255, 200, 0});
    drag({120, 120}, {170, 120});
    ASSERT_TRUE(Await([&] { return frame->Marks().PixelCount() > 1200 && !frame->Tool().from; }));
    // Its outline, and the one around the bar that was found.
    EXPECT_TRUE(Await([&] { return CountSeen({255, 200, 0}) > before + 100; })) << CountSeen({255, 200, 0});
    simulator.KeyDown(WXK_SHIFT);
    drag({120, 120}, {170, 120});
    simulator.KeyUp(WXK_SHIFT);
    EXPECT_TRUE(Await([&] { return frame->Marks().Empty(); })) << frame->Marks().PixelCount();
    EXPECT_EQ(frame->Store().labelCount, 0u);
}

TEST_F(HandTools, ADraggedRectangleBecomesTheRegionWhenItIsConfirmed) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    AwaitShown();
    DrawFromDialog(kAnalysisRegion, RegionDialog::kDraw);
    EXPECT_EQ(Status(0), "Drag a rectangle over the part to be analysed; Esc cancels");
    Send(wxEVT_LEFT_DOWN, {350, 300}, wxMOD_NONE);
    Send(wxEVT_MOTION, {100, 80}, wxMOD_NONE);
    EXPECT_EQ(Status(0), "251 x 221 pixels from 100, 80");
    EXPECT_EQ(frame->StateOfCanvas().drawn.width, 251u);
    EXPECT_EQ(frame->StateOfCanvas().region.width, 0u);
    // Beyond the image, to its corner.
    Send(wxEVT_MOTION, {-20, -30}, wxMOD_NONE);
    EXPECT_EQ(Status(0), "351 x 301 pixels from 0, 0");
    Send(wxEVT_MOTION, {60, 40}, wxMOD_NONE);
    {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            EXPECT_EQ(dynamic_cast<RegionDialog&>(dialog).Chosen()->width, 300);
            EXPECT_EQ(frame->StateOfCanvas().region.height, 280u);
            dialog.EndModal(wxID_OK);
            return true;
        });
        Send(wxEVT_LEFT_UP, {51, 21}, wxMOD_NONE);
        ASSERT_TRUE(Await([&] { return Status(0).StartsWith("Detection and segmentation look at"); }));
    }
    EXPECT_EQ(Status(0), "Detection and segmentation look at 300 x 280 pixels from 51, 21");
    EXPECT_EQ(frame->StateOfCanvas().drawn.width, 0u);
    EXPECT_EQ(FromWindow(kDetectCurrent), FromBatch("detect --quiet --overwrite --region 51,21,300,280"));
    EXPECT_EQ(frame->Store().labelCount, CountLabels(Labels()));
}

TEST_F(HandTools, EscCancelsADrawingAndWhatIsLeftOfTheDragDrawsNothing) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    AwaitShown();
    ChooseRegion({60, 40, 300, 280});
    DrawFromDialog(kAnalysisRegion, RegionDialog::kDraw);
    EXPECT_EQ(frame->StateOfCanvas().region.x, 60u) << "until another is drawn";
    Send(wxEVT_LEFT_DOWN, {100, 100}, wxMOD_NONE);
    Send(wxEVT_MOTION, {200, 200}, wxMOD_NONE);
    Key(WXK_ESCAPE);
    EXPECT_EQ(Status(0), "No region was drawn");
    Send(wxEVT_MOTION, {220, 220}, wxMOD_NONE);
    Send(wxEVT_LEFT_UP, {220, 220}, wxMOD_NONE);
    EXPECT_EQ(frame->StateOfCanvas().region.x, 60u);
    EXPECT_EQ(frame->StateOfCanvas().drawn.width, 0u);
    EXPECT_EQ(CountLabels(Labels()), 0u);
}

TEST_F(HandTools, ALineOverTheBarGivesThePixelSize) {
    SaveMarked("a.tif", Size::kMissing);
    Open({"a.tif"});
    AwaitShown();
    DrawFromDialog(kStorePixelSize, PixelSizeDialog::kDraw);
    EXPECT_EQ(Status(0), "Drag from one end of the scale bar to the other; Esc cancels");
    Send(wxEVT_LEFT_DOWN, {kBar.x, 337}, wxMOD_NONE);
    // A little below where it began: the line lies.
    Send(wxEVT_MOTION, {kBar.x + kBar.width - 1, 339}, wxMOD_NONE);
    EXPECT_EQ(Status(0), "130 pixels");
    EXPECT_EQ(frame->StateOfCanvas().drawn.height, 1u);
    {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            EXPECT_EQ(dynamic_cast<wxTextCtrl&>(*wxWindow::FindWindowById(PixelSizeDialog::kBarPx, &dialog)).GetValue(),
                      "130");
            Type(dialog, PixelSizeDialog::kBarNm, "195");
            Press(dialog, wxID_OK);
            return true;
        });
        Send(wxEVT_LEFT_UP, {kBar.x + kBar.width - 1, 339}, wxMOD_NONE);
        ASSERT_TRUE(Await([&] { return Status(0).StartsWith("Stored"); })) << Status(0);
    }
    EXPECT_EQ(Status(0), "Stored 1.5 nm per pixel in calibrated_a.tif, which is open now");
}

TEST_F(HandTools, TheStagesAreThoseOfThePartThatDetectionLooksAt) {
    DetectFilledPart();
    Run(kStages);
    ASSERT_TRUE(frame->ShowsStages());
    const StagesView& stages = *frame->Stages();
    while (stages.Text().Find("objects found") == wxNOT_FOUND) Run(kNextStage);
    EXPECT_TRUE(SameLabels(stages.Areas(), Labels())) << "in the frame of the whole image";
    EXPECT_GT(CountLabels(Labels()), 3u);
    Mouse(wxEVT_MOTION, 30, 20, false);
    EXPECT_EQ(frame->BarOfStages().Explanation(),
              "This place lies outside the analysis region: detection does not look at it.");
    // The part is of 300 x 280 pixels from (60, 40) on.
    const auto isOutside = [&](std::uint64_t x, std::uint64_t y) {
        return stages.Explain(x, y, 0).StartsWith("This place lies outside");
    };
    EXPECT_TRUE(isOutside(59, 100) && isOutside(360, 100) && isOutside(100, 39) && isOutside(100, 320));
    EXPECT_FALSE(isOutside(60, 40) || isOutside(359, 319));
    const auto object = std::find_if(Labels().begin(), Labels().end(), [](std::uint16_t label) { return label != 0; });
    const auto at = Labels().Coordinates(static_cast<std::uint64_t>(object - Labels().begin()));
    const wxString text = stages.Explain(at[0], at[1], *object);
    EXPECT_TRUE(text.StartsWith("Object " + std::to_string(*object) + " is found")) << text;
    Run(kMarkBurntIn);
    EXPECT_FALSE(frame->ShowsStages()) << "drawing needs the image";
    Run(kStages);
    ASSERT_TRUE(frame->ShowsStages());
    ChooseRegion({50, 40, 300, 280});
    EXPECT_FALSE(frame->ShowsStages()) << "they explain another detection now";
}

TEST_F(HandTools, PanelAndReportKnowWhatWasFilledAndLeftOut) {
    DetectFilledPart();
    Run(kObjects);
    MarkAPart();
    ASSERT_TRUE(Await([&] { return frame->Objects().IsUpToDate(); }));
    EXPECT_NE(frame->Objects().Statistics().Find("filled"), wxNOT_FOUND) << frame->Objects().Statistics();
    Key(WXK_ESCAPE);
    // No longer as the detection made them, which did not know the marks.
    Dab(230, 270);
    Run(kSaveResults);
    {
        Answers answers(wxID_NONE);
        answers.Act(ChooseNew(folder.File("marks_a.tif")));
        Run(kSaveMarks);
    }
    {
        Answers answers(wxID_NONE);
        answers.Act(ChooseNew(folder.File("window.csv")));
        wxCommandEvent press(wxEVT_BUTTON, wxID_SAVEAS);
        wxWindow* const button = wxWindow::FindWindowById(wxID_SAVEAS, &frame->Objects());
        press.SetEventObject(button);
        button->GetEventHandler()->ProcessEvent(press);
    }
    const std::string options = " --fill-annotations --region 60,40,300,280 --annotations '" +
                                folder.File("marks_a.tif") + "' ";
    const auto batch = [&](const std::string& words) {
        const std::string command =
            "LC_ALL=C '" KORVANE_BATCH_PROGRAM "' " + words + " > '" + folder.File("log") + "' 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << Bytes("log");
    };
    batch("measure --quiet" + options + "--csv '" + folder.File("batch.csv") + "' '" + folder.File("a.tif") + "'");
    EXPECT_NE(Bytes("window.csv").find("filled"), std::string::npos);
    EXPECT_EQ(Bytes("window.csv"), Bytes("batch.csv"));
    frame->OpenPagesBy([](const wxString&) {});
    {
        std::filesystem::create_directory(folder.File("report"));
        Answers answers(wxID_NONE);
        answers.Act(Choose({folder.File("report")}));
        Run(kReport);
    }
    batch("report --quiet" + options + "--labels '" + folder.Path().string() + "' -o '" + folder.File("other") + "' '" +
          folder.File("a.tif") + "'");
    EXPECT_GT(Bytes("report/objects.csv").size(), 500u);
    EXPECT_EQ(Bytes("report/objects.csv"), Bytes("other/objects.csv"));
}

}  // namespace
