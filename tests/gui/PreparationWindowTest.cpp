#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/checkbox.h>
#include <wx/spinctrl.h>
#include <wx/textctrl.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PixelSizeDialog.h"
#include "RegionDialog.h"
#include "ScreenReader.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"
#include "support/AnnotatedPhantoms.h"

// What the window leaves out of an image before it is analysed, and the pixel size that it stores.

namespace {

using namespace Korvane;
using namespace korvane_test;

constexpr std::uint64_t kWidth = 420;
constexpr std::uint64_t kHeight = 360;
const cv::Rect kBar(270, 335, 130, 6);

/// What a field does when a person changes its value.
void Enter(wxDialog& dialog, int id, int value) {
    auto& field = dynamic_cast<wxSpinCtrl&>(*wxWindow::FindWindowById(id, &dialog));
    field.SetValue(value);
    wxSpinEvent changed(wxEVT_SPINCTRL, id);
    changed.SetEventObject(&field);
    field.GetEventHandler()->ProcessEvent(changed);
}

void Type(wxDialog& dialog, int id, const char* text) {
    dynamic_cast<wxTextCtrl&>(*wxWindow::FindWindowById(id, &dialog)).SetValue(text);
}

void Press(wxDialog& dialog, int id) {
    wxCommandEvent press(wxEVT_BUTTON, id);
    press.SetEventObject(wxWindow::FindWindowById(id, &dialog));
    wxWindow::FindWindowById(id, &dialog)->GetEventHandler()->ProcessEvent(press);
}

class PreparationWindow : public MainWindow {
protected:
    enum class Size { kStored, kMissing };

    /// Vesicles with a scale bar, as a camera of 16 bits stores them.
    void SaveMarked(const std::string& name, Size size = Size::kStored) {
        VesicleOptions options;
        options.noise = 0.02f;
        cv::Mat map = Stored(Vesicles(3, static_cast<int>(kWidth), static_cast<int>(kHeight), options), Depth::k16Bit);
        cv::rectangle(map, kBar, 65535.0, cv::FILLED);
        qvox::VoxelImage<std::uint16_t> image;
        image.Resize(kWidth, kHeight, 1);
        for (std::uint64_t y = 0; y < kHeight; ++y) {
            for (std::uint64_t x = 0; x < kWidth; ++x) {
                image(x, y) = static_cast<std::uint16_t>(map.at<float>(static_cast<int>(y), static_cast<int>(x)));
            }
        }
        if (size == Size::kStored) image.SetResolution({672.0f, 672.0f, 0.0f});
        qvox::SaveImageFile(folder.File(name), image);
    }

    std::string Bytes(const std::string& name) {
        std::ifstream file(folder.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The label file that the batch tool makes of a.tif.
    std::string FromBatch(const std::string& command) {
        const std::string all = "LC_ALL=C '" KORVANE_BATCH_PROGRAM "' " + command + " -o '" + folder.File("batch") +
                                "' '" + folder.File("a.tif") + "' > '" + folder.File("log") + "' 2>&1";
        EXPECT_EQ(std::system(all.c_str()), 0) << Bytes("log");
        return Bytes("batch/seg_a.tif");
    }

    std::string FromWindow(int command) {
        Run(command);
        std::filesystem::remove(folder.File("seg_a.tif"));
        Run(kSaveResults);
        return Bytes("seg_a.tif");
    }

    void ChooseRegion(const std::array<int, 4>& values, int button = wxID_OK) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            for (std::size_t i = 0; i < values.size(); ++i) Enter(dialog, RegionDialog::kFields[i], values[i]);
            dialog.EndModal(button);
            return true;
        });
        Run(kAnalysisRegion);
    }

    /// Stores a pixel size; questions after the dialog are answered with Replace, or not.
    std::vector<wxString> Store(const std::vector<std::pair<int, const char*>>& typed, int answer = wxID_OK,
                                bool forAll = false) {
        Answers answers([answer](wxDialog& dialog) {
            return dynamic_cast<PixelSizeDialog*>(&dialog) != nullptr ? int{wxID_NONE} : answer;
        });
        answers.Act([&](wxDialog& dialog) {
            if (dynamic_cast<PixelSizeDialog*>(&dialog) == nullptr) return false;
            for (const auto& [id, text] : typed) Type(dialog, id, text);
            if (forAll) {
                dynamic_cast<wxCheckBox&>(*wxWindow::FindWindowById(PixelSizeDialog::kForAll, &dialog)).SetValue(true);
            }
            Press(dialog, wxID_OK);
            return true;
        });
        Run(kStorePixelSize);
        return answers.texts;
    }
};

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
    for (std::uint64_t x = 0; x < kWidth; ++x) ASSERT_EQ((*first)(x, 20), 0) << x;
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
        Press(dialog, RegionDialog::kWhole);
        EXPECT_FALSE(region.Chosen());
        Enter(dialog, RegionDialog::kFields[1], 10);
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
    for (std::uint64_t y = kHeight - 30; y < kHeight; ++y) std::fill_n(image.Row(y), kWidth, std::uint16_t{0});
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
