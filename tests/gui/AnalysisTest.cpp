#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/gauge.h>
#include <wx/progdlg.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "CommandTable.h"
#include "DetectionProgress.h"
#include "MainWindow.h"
#include "PathText.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

// Detection and segmentation run from the window.

namespace {

using namespace Korvane;
using namespace korvane_test;

/// Watches the progress dialog from the events that it lets through.
class ProgressWatch {
public:
    explicit ProgressWatch(MainFrame& frame) : frame_(frame) {
        frame.Bind(wxEVT_PAINT, &ProgressWatch::OnPaint, this);
        frame.Canvas().Bind(wxEVT_PAINT, &ProgressWatch::OnPaint, this);
    }

    ~ProgressWatch() {
        frame_.Unbind(wxEVT_PAINT, &ProgressWatch::OnPaint, this);
        frame_.Canvas().Unbind(wxEVT_PAINT, &ProgressWatch::OnPaint, this);
    }

    static wxProgressDialog* Shown() {
        for (wxWindow* const window : wxTopLevelWindows) {
            if (auto* const progress = dynamic_cast<wxProgressDialog*>(window)) return progress;
        }
        return nullptr;
    }

    /// What to do whenever the window paints while the dialog is up.
    std::function<void()> meanwhile = [] {};
    std::vector<int> ranges;       ///< every other value than the last
    std::vector<wxString> titles;  ///< of the frame, likewise
    wxString title;
    long style = 0;
    bool frameEnabled = false;

private:
    void OnPaint(wxPaintEvent& event) {
        event.Skip();
        wxProgressDialog* const progress = Shown();
        if (progress == nullptr) return;
        title = progress->GetTitle();
        style = progress->GetWindowStyle();
        frameEnabled = frameEnabled || frame_.IsEnabled();
        if (ranges.empty() || ranges.back() != progress->GetRange()) ranges.push_back(progress->GetRange());
        if (titles.empty() || titles.back() != frame_.GetTitle()) titles.push_back(frame_.GetTitle());
        meanwhile();
    }

    MainFrame& frame_;
};

class Analysis : public MainWindow {
protected:
    /// korvane-batch with these arguments.
    void RunBatch(const std::string& arguments) {
        const std::string command =
            "LC_ALL=C '" KORVANE_BATCH_PROGRAM "' " + arguments + " > '" + folder.File("batch.log") + "' 2>&1";
        const int status = std::system(command.c_str());
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_EQ(WEXITSTATUS(status), 0) << command;
    }

    std::string Contents(const std::string& name) {
        std::ifstream file(folder.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void SetParameters(const std::vector<std::pair<int, const char*>>& values) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            for (const auto& [id, text] : values) {
                dynamic_cast<wxTextCtrl&>(*wxWindow::FindWindowById(id, &dialog)).SetValue(text);
            }
            wxCommandEvent ok(wxEVT_BUTTON, wxID_OK);
            dialog.GetEventHandler()->ProcessEvent(ok);
            return true;
        });
        Run(kParameters);
    }

    void ExportTable(const std::string& name) {
        Answers answers(wxID_NONE);
        answers.Act(ChooseNew(folder.File(name)));
        Run(kExportTable);
    }
};

TEST_F(Analysis, EveryResultEqualsTheBatchToolsWithDefaultParameters) {
    OpenSamples();
    std::filesystem::create_directory(folder.Path() / "batch");
    Run(kDetectAll);
    Run(kSaveResults);
    ExportTable("table.txt");
    Run(kExportPictures);
    RunBatch("detect --quiet --overlay -o '" + folder.File("batch") + "' --table '" + folder.File("batch/table.txt") +
             "' '" + folder.File("vesicles_8bit.tif") + "' '" + folder.File("neighbours_16bit.tif") + "'");
    for (const char* name : {"vesicles_8bit.tif", "neighbours_16bit.tif"}) {
        for (const char* prefix : {"seg_", "export_"}) {
            const std::string file = std::string(prefix) + name;
            EXPECT_FALSE(Contents(file).empty());
            EXPECT_EQ(Contents(file), Contents("batch/" + file)) << file;
        }
    }
    EXPECT_GT(Contents("table.txt").size(), 1000u);
    EXPECT_EQ(Contents("table.txt"), Contents("batch/table.txt"));
    // Saved, loaded and written again: the same table.
    const Answers answers(wxID_OK);
    Run(kClearAll);
    Run(kLoadResults);
    ExportTable("again.txt");
    EXPECT_EQ(Contents("again.txt"), Contents("table.txt"));
}

TEST_F(Analysis, EveryResultEqualsTheBatchToolsWithChangedParameters) {
    OpenSamples();
    std::filesystem::create_directory(folder.Path() / "batch");
    Run(kDetectAll);
    Run(kSaveResults);
    const std::string withDefaults = Contents("seg_vesicles_8bit.tif");
    SetParameters({{10001, "0.5"}, {10002, "0.3"}, {10003, "0.6"}, {10005, "1.4"}, {10006, "1.2"}, {10007, "0.1"}});
    Run(kDetectAll);
    Run(kSaveResults);
    EXPECT_NE(Contents("seg_vesicles_8bit.tif"), withDefaults);
    const std::string parameters =
        "--area-fraction 0.3 --roundness 0.6 --max-cluster-size 1.4 --exosome-size 1.2 --edge-contrast 0.5 ";
    const std::string inputs =
        "'" + folder.File("vesicles_8bit.tif") + "' '" + folder.File("neighbours_16bit.tif") + "'";
    RunBatch("detect --quiet " + parameters + "-o '" + folder.File("batch") + "' " + inputs);
    const std::vector<std::string> files{"seg_vesicles_8bit.tif", "seg_neighbours_16bit.tif"};
    for (const std::string& file : files) EXPECT_EQ(Contents(file), Contents("batch/" + file)) << file;
    // Segmentation from these labels, with the smallest diameter.
    const std::string before = Contents("seg_vesicles_8bit.tif");
    Run(kSegmentAll);
    Run(kSaveResults);
    ExportTable("table.txt");
    EXPECT_NE(Contents("seg_vesicles_8bit.tif"), before);
    RunBatch("segment --quiet --overwrite --min-diameter 0.1 -o '" + folder.File("batch") + "' --table '" +
             folder.File("batch/table.txt") + "' " + inputs);
    for (const std::string& file : files) EXPECT_EQ(Contents(file), Contents("batch/" + file)) << file;
    EXPECT_EQ(Contents("table.txt"), Contents("batch/table.txt"));
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(Analysis, DetectionOfTheCurrentPositionCountsToSix) {
    OpenSmall();
    AwaitShown();
    ProgressWatch watch(*frame);
    watch.meanwhile = [&] { frame->Canvas().Refresh(false); };
    // A dialog that comes and goes between two frames of the display lets no paint through.
    for (int runs = 0; runs < 50 && watch.ranges.empty(); ++runs) {
        frame->Canvas().Refresh(false);
        Run(kDetectCurrent);
    }
    EXPECT_EQ(watch.ranges, std::vector<int>{6});
    EXPECT_EQ(watch.title, wxString("Please wait ..."));
    EXPECT_TRUE((watch.style & wxSTAY_ON_TOP) != 0);
    EXPECT_FALSE(watch.frameEnabled);
    EXPECT_EQ(ProgressWatch::Shown(), nullptr);
    EXPECT_TRUE(frame->IsEnabled());
}

TEST_F(Analysis, TheDialogNamesTheImageAndTheStage) {
    wxProgressDialog dialog("Please wait ...", "", 20, nullptr, wxPD_AUTO_HIDE);
    DetectionProgress progress(dialog);
    std::vector<wxString> shown;
    for (const DetectionStageRow& row : kDetectionStages) {
        if (row.text.empty()) continue;
        const int value = progress.ProgressValue();
        progress.BeginStage(row.stage, {value + 1, value / kProgressStepsPerPosition + 1});
        shown.push_back(dialog.GetMessage());
    }
    EXPECT_EQ(shown, (std::vector<wxString>{"Image: 1 preprocessing", "Image: 1 detection of exosomes",
                                            "Image: 1 filtering candidates", "Image: 1 cluster separation",
                                            "Image: 1 finalizing", "Image: 2 finalization"}));
    EXPECT_EQ(dialog.GetValue(), 6);
}

TEST_F(Analysis, DetectionOfEmptyPositionsPassesOverTheOthersAndLowersTheEnd) {
    OpenSmall();
    Key(WXK_PAGEDOWN);
    Dab(20, 20);
    const qvox::LabelImage kept = Labels();
    Key(WXK_END);
    AwaitShown();
    ProgressWatch watch(*frame);
    watch.meanwhile = [&] { frame->Canvas().Refresh(false); };
    Run(kDetectEmpty);
    EXPECT_EQ(watch.ranges, (std::vector<int>{16, 11}));
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(1), kept));
    EXPECT_EQ(frame->Store().current, 2u);
    EXPECT_EQ(frame->GetTitle(), "Position [3/3] - " + PathOf("c.tif"));
}

TEST_F(Analysis, EachPositionIsShownWithItsTitleWhileItIsWorkedOn) {
    OpenSmall();
    Key(WXK_PAGEDOWN);
    AwaitShown();
    for (const int command : {kDetectAll, kSegmentAll}) {
        ProgressWatch watch(*frame);
        Run(command);
        EXPECT_EQ(watch.ranges, std::vector<int>{command == kDetectAll ? 16 : 4});
        EXPECT_EQ(watch.titles,
                  (std::vector<wxString>{"Position [1/3] - " + PathOf("a.tif"), "Position [2/3] - " + PathOf("b.tif"),
                                         "Position [3/3] - " + PathOf("c.tif"), "Position [2/3] - " + PathOf("b.tif")}))
            << command;
        EXPECT_EQ(frame->Store().current, 1u);
        EXPECT_EQ(frame->GetTitle(), "Position [2/3] - " + PathOf("b.tif"));
    }
}

TEST_F(Analysis, PositionsWithoutSeedsAreNamedAndTheOthersSegmented) {
    OpenSmall();
    Dab(32, 32);
    const qvox::LabelImage seeds = Labels();
    Key(WXK_END);
    Dab(32, 32);
    Run(kSegmentAll);
    EXPECT_EQ(told.warnings, std::vector<wxString>{"The position number 2 was not segmented due to missing seeds!"});
    EXPECT_FALSE(SameLabels(*frame->Store().images.LabelsOf(0), seeds));
    EXPECT_FALSE(SameLabels(*frame->Store().images.LabelsOf(2), seeds));
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(0), *frame->Store().images.LabelsOf(2)));
    EXPECT_EQ(frame->Store().current, 2u);
    Key(WXK_PAGEUP);
    Run(kSegmentCurrent);
    EXPECT_EQ(told.warnings.size(), 2u);
    EXPECT_EQ(told.warnings[0], told.warnings[1]);
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(Analysis, WithoutPositionsNothingIsShown) {
    const Answers answers(wxID_OK);
    ProgressWatch watch(*frame);
    for (const int command : {kDetectCurrent, kDetectEmpty, kDetectAll, kSegmentCurrent, kSegmentAll}) Run(command);
    EXPECT_TRUE(answers.titles.empty());
    EXPECT_TRUE(watch.ranges.empty());
    EXPECT_TRUE(told.errors.empty() && told.warnings.empty());
}

TEST_F(Analysis, AFaultNamesItsPositionAndLeavesTheOthersAndTheWindow) {
    WriteRamp(folder.File("good.tif"));
    korvane_test::WriteEven(folder.File("even.tif"));
    WriteRamp(folder.File("last.tif"));
    Open({"good.tif", "even.tif", "last.tif"});
    for (std::size_t i = 0; i < 3; ++i) {
        Dab(20, 20);
        Key(WXK_PAGEDOWN);
    }
    const qvox::LabelImage before = Labels();
    Run(kDetectAll);
    EXPECT_FALSE(SameLabels(*frame->Store().images.LabelsOf(2), before)) << "the one after it is analysed";
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot detect the exosomes in the position number 2, '" +
                                          PathOf("even.tif") + "'! (Error='"))
        << told.errors[0];
    EXPECT_EQ(ProgressWatch::Shown(), nullptr);
    EXPECT_TRUE(frame->IsEnabled());
    EXPECT_EQ(frame->Store().current, 2u);
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(1), before)) << "what failed keeps its labels";
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(frame->Store().images.LabelsOf(i)->SameSizes(*frame->Store().images.IntensitiesOf(i)));
    }
    Run(kIncreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 11);
}

TEST_F(Analysis, EveryFailureIsToldWhenTheOthersAreDoneAndAMissingPixelSizeWithAWayOut) {
    korvane_test::WriteEven(folder.File("even.tif"));
    WriteRamp(folder.File("good.tif"));
    qvox::VoxelImage<std::uint8_t> bare;
    qvox::LoadImageFile(folder.File("good.tif"), bare);
    bare.SetResolution({});
    qvox::SaveImageFile(folder.File("bare.tif"), bare);
    Open({"even.tif", "bare.tif", "good.tif"});
    for (std::size_t i = 0; i < 3; ++i) {
        Dab(20, 20);
        Key(WXK_PAGEDOWN);
    }
    const qvox::LabelImage before = Labels();
    for (const auto& [command, task] : {std::pair{kDetectAll, "detect"}, std::pair{kSegmentAll, "segment"}}) {
        told.errors.clear();
        if (command == kSegmentAll) Dab(20, 20);
        Run(command);
        ASSERT_EQ(told.errors.size(), command == kDetectAll ? 2u : 1u);
        const wxString start = wxString("Cannot ") + task + " the exosomes in the position number ";
        EXPECT_TRUE(told.errors.front().StartsWith(start + (command == kDetectAll ? "1, '" : "2, '")));
        EXPECT_TRUE(told.errors.back().StartsWith(start + "2, '" + PathOf("bare.tif") + "'! (Error='"));
        EXPECT_TRUE(told.errors.back().EndsWith("Tools > Store pixel size... stores it in a copy of the image and "
                                                "opens the copy."));
        EXPECT_EQ(told.errors.front().find("Store pixel size") == wxString::npos, command == kDetectAll);
        EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(1), before));
        EXPECT_FALSE(SameLabels(*frame->Store().images.LabelsOf(2), before)) << task;
    }
}

TEST_F(Analysis, NothingIsEnteredWhileACommandRuns) {
    OpenSmall();
    AwaitShown();
    const Answers answers(wxID_OK);
    ProgressWatch watch(*frame);
    bool inside = false;
    int tries = 0;
    const std::size_t before = frame->Store().paths.size();
    watch.meanwhile = [&] {
        if (inside) return;
        inside = true;
        ++tries;
        // As if the disabled window let them through.
        for (const Command& command : kCommands) {
            if (command.id == kAbout) continue;
            wxCommandEvent event(wxEVT_MENU, command.id);
            frame->ProcessWindowEvent(event);
        }
        frame->OpenFiles({PathOf("a.tif")});
        frame->Close();
        Dab(20, 20);
        wxKeyEvent key(wxEVT_CHAR_HOOK);
        key.m_keyCode = WXK_PAGEDOWN;
        frame->Canvas().ProcessWindowEvent(key);
        inside = false;
    };
    Run(kDetectAll);
    EXPECT_GT(tries, 0);
    EXPECT_TRUE(answers.titles.empty());
    EXPECT_FALSE(IsGoing(frame));
    EXPECT_EQ(frame->Store().paths.size(), before);
    EXPECT_EQ(frame->Store().current, 0u);
    EXPECT_EQ(frame->BrushRadius(), 10);
    EXPECT_EQ(frame->Store().currentLabel, 1);
    EXPECT_TRUE(Checked(kOnlyContours));
    EXPECT_FALSE(Checked(kContourMode) || Checked(kOnlyRaw) || Checked(kLabelNumbers));
    EXPECT_TRUE(frame->IsEnabled());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 3) << "no file was written";
}

TEST_F(Analysis, ASwitchPaintsThePositionBeforeItReturns) {
    OpenSmall();
    AwaitShown();
    int paints = 0;
    frame->Canvas().Bind(wxEVT_PAINT, [&](wxPaintEvent& event) {
        ++paints;
        event.Skip();
    });
    for (int i = 0; i < 20; ++i) {
        const int before = paints;
        frame->SwitchTo(static_cast<std::size_t>(i % 3));
        ASSERT_GT(paints, before) << "switch " << i;
    }
}

}  // namespace
