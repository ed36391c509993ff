#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "PreparationWindow.h"
#include "ScreenReader.h"
#include "SingleImageCanvas.h"

// What the window leaves out of an image before it is analysed, and the pixel size that it stores.

namespace {

using namespace Korvane;
using namespace korvane_test;

TEST_F(PreparationWindow, FillingGivesTheLabelFilesOfTheBatchTool) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    const std::string plain = FromWindow(kDetectCurrent);
    EXPECT_FALSE(Checked(kFillBurntIn));
    Run(kFillBurntIn);
    EXPECT_TRUE(Checked(kFillBurntIn));
    EXPECT_EQ(Status(0), "Detection and segmentation fill scale bars and writing from now on");
    const std::string filled = FromWindow(kDetectCurrent);
    EXPECT_GT(filled.size(), 1000u);
    EXPECT_NE(filled, plain) << "the bar hides vesicles";
    EXPECT_EQ(filled, FromBatch("detect --quiet --overwrite --fill-annotations"));
    const std::string segmented = FromWindow(kSegmentAll);
    std::filesystem::create_directory(folder.File("seeds"));
    std::ofstream(folder.File("seeds/seg_a.tif"), std::ios::binary) << filled;
    EXPECT_EQ(segmented,
              FromBatch("segment --quiet --overwrite --fill-annotations --labels '" + folder.File("seeds") + "'"));
    Run(kFillBurntIn);
    EXPECT_EQ(FromWindow(kDetectCurrent), plain);
}

TEST_F(PreparationWindow, ARegionGivesTheLabelFilesOfTheBatchToolAndIsOfItsPositionAlone) {
    SaveMarked("a.tif");
    std::filesystem::copy_file(folder.File("a.tif"), folder.File("b.tif"));
    Open({"a.tif", "b.tif"});
    ChooseRegion({60, 40, 300, 280});
    EXPECT_EQ(Status(0), "Detection and segmentation look at 300 x 280 pixels from 60, 40");
    EXPECT_EQ(FromWindow(kDetectAll), FromBatch("detect --quiet --overwrite --region 60,40,300,280"));
    const PositionImages::Labels first = frame->Store().images.LabelsOf(0);
    const PositionImages::Labels second = frame->Store().images.LabelsOf(1);
    EXPECT_FALSE(SameLabels(*first, *second));
    for (std::uint64_t x = 0; x < kMarkedWidth; ++x) ASSERT_EQ((*first)(x, 20), 0) << x;
    Run(kFillBurntIn);
    EXPECT_EQ(FromWindow(kDetectCurrent),
              FromBatch("detect --quiet --overwrite --fill-annotations --region 60,40,300,280"));
}

TEST_F(PreparationWindow, TheRegionDialogShowsWhatIsChosenAndCancelTakesItBack) {
    OpenSmall();
    AwaitShown();
    const auto shown = [&] { return frame->StateOfCanvas().region; };
    EXPECT_EQ(shown().width, 0u);
    Answers answers(wxID_NONE);
    answers.Act([&](wxDialog& dialog) {
        Enter(dialog, RegionDialog::kFields[0], 50);
        Enter(dialog, RegionDialog::kFields[2], 60);
        const auto& region = dynamic_cast<RegionDialog&>(dialog);
        EXPECT_EQ(region.Chosen()->width, 14) << "no more than there is";
        EXPECT_EQ(shown().x, 50u);
        EXPECT_EQ(shown().width, 14u);
        EXPECT_FALSE(wxWindow::FindWindowById(RegionDialog::kWithoutBars, &dialog)->IsEnabled());
        const auto most = [&](std::size_t field) {
            return dynamic_cast<wxSpinCtrl&>(*dialog.FindWindow(RegionDialog::kFields[field])).GetMax();
        };
        EXPECT_EQ(most(2), 14);
        EXPECT_EQ(most(3), 64);
        Press(dialog, RegionDialog::kWhole);
        EXPECT_FALSE(region.Chosen());
        Enter(dialog, RegionDialog::kFields[1], 10);
        EXPECT_EQ(most(2), 64);
        EXPECT_EQ(most(3), 54);
        dialog.EndModal(wxID_CANCEL);
        return true;
    });
    Run(kAnalysisRegion);
    EXPECT_EQ(shown().width, 0u);
    answers.Act([&](wxDialog& dialog) {
        Enter(dialog, RegionDialog::kFields[1], 10);
        dynamic_cast<wxCheckBox&>(*wxWindow::FindWindowById(RegionDialog::kForAll, &dialog)).SetValue(true);
        dialog.EndModal(wxID_OK);
        return true;
    });
    Run(kAnalysisRegion);
    EXPECT_EQ(Status(0), "Detection and segmentation look at 64 x 54 pixels from 0, 10, at 3 positions");
    frame->SwitchTo(2);
    EXPECT_EQ(shown().y, 10u);
    EXPECT_EQ(shown().height, 54u);
}

TEST_F(PreparationWindow, AnInformationBarIsLeftOutOnRequest) {
    SaveMarked("a.tif");
    qvox::VoxelImage<std::uint16_t> image;
    qvox::LoadImageFile(folder.File("a.tif"), image);
    for (std::uint64_t y = kMarkedHeight - 30; y < kMarkedHeight; ++y) {
        std::fill_n(image.Row(y), kMarkedWidth, std::uint16_t{0});
    }
    qvox::SaveImageFile(folder.File("a.tif"), image);
    Open({"a.tif"});
    Answers answers(wxID_NONE);
    answers.Act([&](wxDialog& dialog) {
        Press(dialog, RegionDialog::kWithoutBars);
        dialog.EndModal(wxID_OK);
        return true;
    });
    Run(kAnalysisRegion);
    EXPECT_EQ(Status(0), "Detection and segmentation look at 420 x 330 pixels from 0, 0");
    EXPECT_EQ(FromWindow(kDetectCurrent), FromBatch("detect --quiet --overwrite --region 0,0,420,330"));
}

TEST_F(PreparationWindow, WhatWasBurntInIsOutlinedUnlessOnlyTheImageIsShown) {
    SaveMarked("a.tif");
    Open({"a.tif"});
    AwaitShown();
    const std::vector<PixelRectangle>* const marks = frame->StateOfCanvas().marks;
    ASSERT_NE(marks, nullptr);
    ASSERT_EQ(marks->size(), 1u);
    EXPECT_EQ(marks->front().x, 270u);
    EXPECT_EQ(marks->front().width, 130u);
    frame->SetZoomLevel(0);
    Run(kFitToWindow);
    frame->SetZoomLevel(0);
    Pump();
    const auto yellow = [&] {
        const wxRect client = frame->Canvas().GetScreenRect();
        const ColourPicture seen =
            ReadScreen(client.x, client.y, static_cast<unsigned>(client.width), static_cast<unsigned>(client.height));
        return std::count_if(seen.begin(), seen.end(),
                             [](const qvox::Rgb8& c) { return c.r == 255 && c.g == 200 && c.b == 0; });
    };
    // A frame two pixels away from the bar on each side: 135 by 11 around its corners.
    EXPECT_TRUE(Await([&] { return yellow() > 200; })) << yellow();
    Run(kOnlyRaw);
    EXPECT_TRUE(Await([&] { return yellow() == 0; })) << yellow();
}

TEST_F(PreparationWindow, APixelSizeIsStoredInACopyThatIsOpenThen) {
    SaveMarked("a.tif", Size::kMissing);
    SaveMarked("b.tif", Size::kMissing);
    const std::string before = Bytes("a.tif");
    Open({"a.tif", "b.tif"});
    frame->SwitchTo(1);
    ChooseRegion({10, 20, 300, 200});
    EXPECT_TRUE(Store({{PixelSizeDialog::kNumberNm, "1,5"}}).empty());
    EXPECT_EQ(frame->Store().paths[0], PathOf("a.tif"));
    EXPECT_EQ(frame->Store().paths[1], PathOf("calibrated_b.tif"));
    EXPECT_EQ(frame->Store().current, 1u);
    EXPECT_EQ(frame->StateOfCanvas().region.y, 20u) << "the region stays";
    EXPECT_EQ(Status(0), "Stored 1.5 nm per pixel in calibrated_b.tif, which is open now");
    EXPECT_NEAR(frame->Store().images.Resolution(1).x, 1000.0f / 1.5f, 1e-3f);
    EXPECT_EQ(Bytes("b.tif"), before) << "both were alike";
    const std::string command = "'" KORVANE_BATCH_PROGRAM "' calibrate --quiet --pixel-size 1.5 -o '" +
                                folder.File("batch") + "' '" + folder.File("b.tif") + "' > /dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(Bytes("calibrated_b.tif"), Bytes("batch/b.tif"));
    // Again, for the copy that is open: its image is copied anew after a question.
    const std::string once = Bytes("calibrated_b.tif");
    EXPECT_EQ(Store({{PixelSizeDialog::kNumberNm, "2"}}, wxID_CANCEL).size(), 1u);
    EXPECT_EQ(Status(0), "No pixel size was stored");
    EXPECT_EQ(Bytes("calibrated_b.tif"), once);
    const std::vector<wxString> asked = Store({{PixelSizeDialog::kNumberNm, "2"}});
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked.front(), "'" + PathOf("calibrated_b.tif") + "' exists already. Replace it?");
    EXPECT_NEAR(frame->Store().images.Resolution(1).x, 500.0f, 1e-3f);
    EXPECT_FALSE(std::filesystem::exists(folder.File("calibrated_calibrated_b.tif")));
}

TEST_F(PreparationWindow, TheScaleBarThatWasFoundNeedsItsLengthAlone) {
    SaveMarked("a.tif", Size::kMissing);
    std::filesystem::copy_file(folder.File("a.tif"), folder.File("b.tif"));
    Open({"a.tif", "b.tif"});
    Store({{PixelSizeDialog::kBarNm, "260"}}, wxID_OK, true);
    EXPECT_EQ(Status(0), "Stored 2 nm per pixel in 2 copies, which are open now");
    for (std::size_t i = 0; i < 2; ++i) EXPECT_NEAR(frame->Store().images.Resolution(i).x, 500.0f, 1e-3f) << i;
    // Labels that are not saved are asked for.
    Dab(20, 20);
    std::filesystem::remove(folder.File("calibrated_a.tif"));
    EXPECT_EQ(Store({{PixelSizeDialog::kNumberNm, "3"}}, wxID_CANCEL).size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(folder.File("calibrated_a.tif")));
    EXPECT_GT(std::count(Labels().begin(), Labels().end(), 1), 0);
}

TEST_F(PreparationWindow, TextsThatAreNoSizeAreRefused) {
    SaveMarked("a.tif", Size::kMissing);
    Open({"a.tif"});
    Answers answers([](wxDialog& dialog) {
        return dynamic_cast<PixelSizeDialog*>(&dialog) != nullptr ? int{wxID_NONE} : int{wxID_OK};
    });
    answers.Act([&](wxDialog& dialog) {
        for (const char* const text : {"", "0", "nm"}) {
            Type(dialog, PixelSizeDialog::kNumberNm, text);
            Press(dialog, wxID_OK);
        }
        // Each was told, and the dialog stays.
        EXPECT_EQ(answers.texts.size(), 3u);
        EXPECT_TRUE(dialog.IsShown());
        dialog.EndModal(wxID_CANCEL);
        return true;
    });
    Run(kStorePixelSize);
    EXPECT_FALSE(std::filesystem::exists(folder.File("calibrated_a.tif")));
    EXPECT_EQ(frame->Store().paths[0], PathOf("a.tif"));
}

}  // namespace
