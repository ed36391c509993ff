#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/button.h>
#include <wx/spinctrl.h>

#include "CommandTable.h"
#include "DisplayRangeDialog.h"
#include "MainWindow.h"
#include "ScreenReader.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"
#include "support/Random.h"

// The entries of the menu Tools that change what is seen and nothing else.

namespace {

using namespace Korvane;
using namespace korvane_test;

using Tools = MainWindow;

TEST_F(Tools, BrighterDarkerAndResetChangeTheGreyLevelsShownAndNoLabelOrFile) {
    OpenSmall();
    AwaitShown();
    Dab(20, 20);
    const qvox::LabelImage before(Labels());
    Run(kExportPictures);
    qvox::VoxelImage<qvox::Rgb8> exported;
    qvox::LoadImageFile(folder.File("export_a.tif"), exported);
    Run(kBrighter);
    EXPECT_EQ(Status(0), "Display range: from percentile 0 to 99.5");
    Run(kDarker);
    EXPECT_EQ(Status(0), "Display range: all intensities");
    for (int i = 0; i < 6; ++i) Run(kDarker);
    EXPECT_EQ(Status(0), "Display range: from percentile 16 to 100");
    Run(kExportPictures);
    qvox::VoxelImage<qvox::Rgb8> again;
    qvox::LoadImageFile(folder.File("export_a.tif"), again);
    EXPECT_TRUE(std::equal(exported.begin(), exported.end(), again.begin(),
                           [](const auto& a, const auto& b) { return a.r == b.r && a.g == b.g && a.b == b.b; }));
    EXPECT_TRUE(SameLabels(Labels(), before));
    Run(kWholeRange);
    EXPECT_EQ(Status(0), "Display range: all intensities");
}

TEST_F(Tools, TheDialogShowsARangeAtOnceAndCancelTakesItBack) {
    OpenSmall();
    AwaitShown();
    Answers answers(wxID_NONE);
    const auto choose = [&](int button) {
        answers.Act([&, button](wxDialog& dialog) {
            EXPECT_NE(dynamic_cast<DisplayRangeDialog*>(&dialog), nullptr);
            wxSpinCtrlDouble* high = nullptr;
            for (wxWindow* const child : dialog.GetChildren()) {
                if (auto* const spin = dynamic_cast<wxSpinCtrlDouble*>(child)) high = spin;
            }
            if (high == nullptr) return false;
            high->SetValue(95.0);
            wxSpinDoubleEvent changed(wxEVT_SPINCTRLDOUBLE, high->GetId(), 95.0);
            changed.SetEventObject(high);
            high->GetEventHandler()->ProcessEvent(changed);
            EXPECT_EQ(Status(0), "Display range: from percentile 0 to 95");
            dialog.EndModal(button);
            return true;
        });
        Run(kDisplayRange);
    };
    choose(wxID_CANCEL);
    EXPECT_EQ(Status(0), "Display range: all intensities");
    choose(wxID_OK);
    EXPECT_EQ(Status(0), "Display range: from percentile 0 to 95");
}

TEST_F(Tools, TheLinesOfTheHistogramAreDragged) {
    OpenSmall();  // which has each intensity about as often as any other
    AwaitShown();
    Answers answers(wxID_NONE);
    answers.Act([&](wxDialog& dialog) {
        const auto& children = dialog.GetChildren();
        const auto histogram = std::find_if(children.begin(), children.end(), [](wxWindow* child) {
            return child->GetToolTipText().StartsWith("Drag the two lines");
        });
        if (histogram == children.end()) return false;
        const auto drag = [&](int from, int to) {
            for (const auto& [type, x] : {std::pair{wxEVT_LEFT_DOWN, from}, std::pair{wxEVT_MOTION, to},
                                          std::pair{wxEVT_LEFT_UP, to}, std::pair{wxEVT_MOTION, 0}}) {
                wxMouseEvent event(type);
                event.SetX(x);
                (*histogram)->GetEventHandler()->ProcessEvent(event);
            }
            return Status(0);
        };
        const auto expectRange = [](const wxString& said, double low, double high) {
            double shown = -1.0;
            EXPECT_TRUE(said.AfterLast(' ').ToDouble(&shown)) << said;
            EXPECT_NEAR(shown, high, 2.0) << said;
            EXPECT_TRUE(said.BeforeLast(' ').BeforeLast(' ').AfterLast(' ').ToDouble(&shown)) << said;
            EXPECT_NEAR(shown, low, 2.0) << said;
        };
        const int right = (*histogram)->GetClientSize().x - 1;
        expectRange(drag(right, right / 2), 0.0, 50.0);
        expectRange(drag(0, right / 4), 25.0, 50.0);
        expectRange(drag(right / 2, right), 25.0, 100.0);
        EXPECT_EQ(drag(right / 4, 0), "Display range: all intensities");
        dialog.EndModal(wxID_OK);
        return true;
    });
    Run(kDisplayRange);
}

TEST_F(Tools, TheHistogramHasBarsWhereIntensitiesLie) {
    constexpr std::array<std::uint8_t, 3> kLevels{10, 130, 250};
    qvox::VoxelImage<std::uint8_t> levels;
    levels.Resize(64, 64, 1);
    for (std::uint64_t i = 0; i < levels.VoxelCount(); ++i) levels[i] = kLevels[i % 3];
    levels.SetResolution({200.0f, 200.0f, 0.0f});
    qvox::SaveImageFile(folder.File("a.tif"), levels);
    Open({"a.tif"});
    AwaitShown();
    Answers answers(wxID_NONE);
    int looks = 0;
    answers.Act([&](wxDialog& dialog) {
        const auto& children = dialog.GetChildren();
        const auto histogram = std::find_if(children.begin(), children.end(), [](wxWindow* child) {
            return child->GetToolTipText().StartsWith("Drag the two lines");
        });
        if (histogram == children.end()) return false;
        // A row at half the height.
        const wxRect place = (*histogram)->GetScreenRect();
        const ColourPicture row =
            ReadScreen(place.x, place.y + place.height / 2, static_cast<unsigned>(place.width), 1);
        const std::uint64_t width = row.VoxelCount();
        std::vector<std::uint64_t> painted;
        for (std::uint64_t x = 0; x < width; ++x) {
            if (!(row[x] == row[width / 4])) painted.push_back(x);
        }
        // Under the lines of the range, at both ends, and in the middle. What lay there before may be seen at first.
        const auto inMiddle = std::count_if(painted.begin(), painted.end(),
                                            [&](std::uint64_t x) { return x > width / 2 - 8 && x < width / 2 + 8; });
        const bool areThere = !painted.empty() && painted.front() < 10 && painted.back() > width - 10 &&
                              inMiddle >= 1 && painted.size() < 20;
        if (!areThere && ++looks < 2000) return false;
        EXPECT_TRUE(areThere) << painted.size() << " of " << width << " columns are painted";
        dialog.EndModal(wxID_CANCEL);
        return true;
    });
    Run(kDisplayRange);
}

TEST_F(Tools, FitAndZoomToObject) {
    OpenSamples();
    AwaitShown();
    Run(kFitToWindow);
    const ViewState all = frame->Canvas().View();
    const ClientSize size = VirtualSize(all);
    EXPECT_LE(size.width, all.client.width);
    EXPECT_LE(size.height, all.client.height);
    Run(kZoomToObject);
    EXPECT_EQ(Status(0), "There is no object under the pointer, nor one with the current label");
    frame->SetZoomLevel(0);
    Dab(150, 150);
    Mouse(wxEVT_LEAVE_WINDOW, 0, 0, false);
    Run(kZoomToObject);
    EXPECT_EQ(Status(0), "Object 1");
    const ViewState object = frame->Canvas().View();
    EXPECT_GT(object.zoomLevel, 0);
    const ImagePoint middle = ClientToImage(object, {object.client.width / 2, object.client.height / 2});
    EXPECT_NEAR(middle.x, 150.0f, 2.0f);
    EXPECT_NEAR(middle.y, 150.0f, 2.0f);
}

TEST_F(Tools, TheScaleBarIsInExportedImagesWhenAskedFor) {
    WriteRamp(folder.File("wide.tif"), 400, 200);
    Open({"wide.tif"});
    AwaitShown();
    const auto exported = [&] {
        Run(kExportPictures);
        qvox::VoxelImage<qvox::Rgb8> image;
        qvox::LoadImageFile(folder.File("export_wide.tif"), image);
        return image;
    };
    const qvox::VoxelImage<qvox::Rgb8> before = exported();
    Run(kScaleBar);
    EXPECT_TRUE(Checked(kScaleBar));
    const auto same = [](const auto& a, const auto& b) { return a.r == b.r && a.g == b.g && a.b == b.b; };
    qvox::VoxelImage<qvox::Rgb8> after = exported();
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin(), same)) << "that of the window is not exported";
    Run(kScaleBarInExports);
    after = exported();
    // 500 nm at 5 nm per pixel, in the lower right corner.
    const std::uint64_t row = 200 - 5 - 2;
    std::uint64_t white = 0;
    for (std::uint64_t x = 290; x < 400; ++x) {
        const qvox::Rgb8& pixel = after(x, row);
        white += pixel.r == 255 && pixel.g == 255 && pixel.b == 255 ? 1 : 0;
    }
    EXPECT_EQ(white, 100u);
    Run(kScaleBarInExports);
    after = exported();
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin(), same));
    EXPECT_TRUE(told.warnings.empty());
}

TEST_F(Tools, ParametersAreSavedAndLoadedThroughFiles) {
    frame->Parameters().areaFraction = 0.25f;
    frame->Parameters().relativeExosomeSize = 1.3f;
    Answers answers(wxID_NONE);
    answers.Act(ChooseNew(folder.File("p.json")));
    Run(kSaveParameters);
    EXPECT_EQ(Status(0), "Saved parameters to " + PathOf("p.json"));
    frame->Parameters() = AnalysisParameters();
    answers.Act(Choose({folder.File("p.json")}));
    Run(kLoadParameters);
    EXPECT_EQ(Status(0), "Loaded parameters from " + PathOf("p.json"));
    EXPECT_EQ(frame->Parameters().areaFraction, 0.25f);
    EXPECT_EQ(frame->Parameters().relativeExosomeSize, 1.3f);
    EXPECT_EQ(frame->Parameters().roundnessThreshold, 0.75f);
    std::ofstream(folder.File("p.json")) << "{\"area-fraction\": 7}";
    Run(kLoadParameters);
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot load the parameters from '" + PathOf("p.json") + "'! (Error='"))
        << told.errors[0];
    EXPECT_EQ(frame->Parameters().areaFraction, 0.25f);
}

TEST_F(Tools, WhatIsBurntIntoAnImageIsSaidWhenItIsShown) {
    WriteRamp(folder.File("plain.tif"), 300, 300);
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(300, 300, 1);
    std::mt19937 random(2);
    for (std::uint8_t& voxel : image) voxel = static_cast<std::uint8_t>(UniformInt(random, 60, 140));
    for (std::uint64_t y = 270; y < 276; ++y) {
        std::fill_n(image.Row(y) + 20, 80, std::uint8_t{255});
    }
    image.SetResolution({200.0f, 200.0f, 0.0f});
    qvox::SaveImageFile(folder.File("bar.tif"), image);
    Open({"plain.tif", "bar.tif"});
    EXPECT_EQ(Status(0), "Opened 2 images");
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(Status(0), "Burnt in: scale bar or writing at 20, 270 (80 x 6)");
}

}  // namespace
