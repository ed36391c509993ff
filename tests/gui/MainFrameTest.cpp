#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CommandTable.h"
#include "DetectionDriver.h"
#include "ImageLoading.h"
#include "MainWindow.h"
#include "PathText.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

namespace {

using namespace Korvane;
using namespace korvane_test;

TEST_F(MainWindow, StartsEmptyWithOnlyContoursChecked) {
    EXPECT_EQ(frame->GetTitle(), wxString("TEM Korvane"));
    EXPECT_EQ(Status(1), wxString("Pixel size: -"));
    EXPECT_EQ(Status(2), wxString("Label: -"));
    EXPECT_EQ(Status(3), wxString("Radius: -"));
    EXPECT_EQ(Status(4), wxString("Objects: -"));
    EXPECT_EQ(Status(5), wxString("Mode: -"));
    EXPECT_TRUE(Checked(kOnlyContours));
    EXPECT_FALSE(Checked(kOnlyRaw) || Checked(kLabelNumbers) || Checked(kContourMode));
}

TEST_F(MainWindow, NoCommandShowsOrChangesAnythingWithoutAPosition) {
    const Answers answers(wxID_CANCEL);
    for (const Command& command : kCommands) {
        if (command.id == kQuit || command.id == kAbout) continue;
        Run(command.id);
    }
    EXPECT_EQ(answers.titles, (std::vector<wxString>{"Select images to be analyzed...", "Parameters",
                                                     "Load parameters...", "Save parameters...", "Controls"}));
    EXPECT_TRUE(told.errors.empty());
    EXPECT_TRUE(frame->IsEnabled());
    EXPECT_EQ(PositionCount(frame->Store()), 0u);
}

TEST_F(MainWindow, EveryCommandAsksWhatItAsksWithPositionsAndCancelChangesNothing) {
    OpenSmall();
    const Answers answers(wxID_CANCEL);
    for (const Command& command : kCommands) {
        if (command.id == kQuit || command.id == kAbout || command.id == kSaveResults) continue;
        if (command.id == kExportPictures || command.menu == std::string("&Analysis")) continue;
        Run(command.id);
        EXPECT_TRUE(frame->IsEnabled()) << command.text;
    }
    EXPECT_EQ(answers.titles,
              (std::vector<wxString>{"Confirmation", "Confirmation", "Confirmation", "Save segmentation results to...",
                                     "Export quantitative results to...", "Export image results to...", "Confirmation",
                                     "Display range", "Load parameters...", "Save parameters...", "Load marks...",
                                     "Analysis region", "Store pixel size", "Controls"}));
    EXPECT_EQ(
        answers.texts,
        (std::vector<wxString>{
            "After selecting new images, all unsaved results will be irretrievably lost!\n"
            "Do you really want to continue?",
            "All unsaved results will be irretrievably lost!\nDo you really want to continue?",
            "All unsaved results will be irretrievably lost!\nDo you really want to continue?",
            "All unsaved results will be irretrievably lost for all positions! Do you really want to continue?"}));
    EXPECT_EQ(PositionCount(frame->Store()), 3u);
}

TEST_F(MainWindow, TitleAndStatusTellOfThePosition) {
    OpenSmall();
    EXPECT_EQ(frame->GetTitle(), "Position [1/3] - " + PathText(folder.File("a.tif")));
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(frame->GetTitle(), "Position [2/3] - " + PathText(folder.File("b.tif")));
    Key(WXK_END);
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(frame->Store().current, 2u);
    Key(WXK_HOME);
    EXPECT_EQ(frame->Store().current, 0u);
    Run(kContourMode);
    EXPECT_TRUE(Checked(kContourMode));
    frame->RefreshStatusTexts();
    EXPECT_EQ(Status(1), wxString("Pixel size: 5.0x5.0 nm"));
    EXPECT_EQ(Status(2), wxString("Label: 1"));
    EXPECT_EQ(Status(3), wxString("Radius: 1"));
    EXPECT_EQ(Status(4), wxString("Objects: 0"));
    EXPECT_EQ(Status(5), wxString("Mode: Contour"));
}

TEST_F(MainWindow, ABrushDabPaintsTheDiscAndIsUndoneOnce) {
    OpenSmall();
    Mouse(wxEVT_LEFT_DOWN, 30, 20, true);
    Mouse(wxEVT_LEFT_UP, 30, 20, false);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            const bool inside = (x - 30) * (x - 30) + (y - 20) * (y - 20) < 100;
            ASSERT_EQ(Labels()(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)), inside ? 1 : 0)
                << x << ", " << y;
        }
    }
    EXPECT_EQ(frame->Store().labelCount, 1u);
    Key(WXK_BACK);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    EXPECT_EQ(frame->Store().labelCount, 1u) << "the count stays until the next edit";
    Run(kNextLabel);
    Mouse(wxEVT_LEFT_DOWN, 5, 5, true);
    Mouse(wxEVT_LEFT_UP, 5, 5, false);
    EXPECT_EQ(Labels()(5, 5), 2);
    Mouse(wxEVT_RIGHT_UP, 40, 40, false);
    EXPECT_EQ(frame->Store().currentLabel, 0);
    Mouse(wxEVT_RIGHT_UP, 5, 5, false);
    EXPECT_EQ(frame->Store().currentLabel, 2);
}

TEST_F(MainWindow, AReleaseElsewhereThanTheLastMovementDrawsToItsPlace) {
    OpenSmall();
    const auto painted = [&] { return std::count(Labels().begin(), Labels().end(), 1); };
    Dab(20, 20);
    const auto disc = painted();
    ASSERT_GT(disc, 0);
    Mouse(wxEVT_LEFT_UP, 50, 50, false);
    EXPECT_EQ(painted(), disc) << "a release without a press draws nothing";
    Run(kClearCurrent);
    Mouse(wxEVT_LEFT_DOWN, 10, 10, true);
    Mouse(wxEVT_LEFT_UP, 50, 50, false);
    EXPECT_EQ(painted(), 2 * disc);
    EXPECT_EQ(Labels()(10, 10), 1);
    EXPECT_EQ(Labels()(50, 50), 1);
    EXPECT_EQ(Labels()(30, 30), 0) << "each event paints one disc and no line";
    Mouse(wxEVT_LEFT_UP, 30, 30, false);
    EXPECT_EQ(painted(), 2 * disc) << "the stroke has ended";
}

TEST_F(MainWindow, AContourIsFilledWhenTheButtonIsReleased) {
    OpenSmall();
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 10, 10, true);
    for (const auto& [x, y] : {std::pair{20, 10}, {20, 20}, {10, 20}}) Mouse(wxEVT_MOTION, x, y, true);
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(frame->Store().current, 0u) << "a contour belongs to one position";
    Mouse(wxEVT_LEFT_UP, 10, 20, false);
    for (std::uint64_t y = 0; y < 64; ++y) {
        for (std::uint64_t x = 0; x < 64; ++x) {
            ASSERT_EQ(Labels()(x, y), x >= 10 && x <= 20 && y >= 10 && y <= 20 ? 1 : 0) << x << ", " << y;
        }
    }
}

TEST_F(MainWindow, BareLettersRunTheirCommandOnce) {
    OpenSmall();
    Key('C');
    EXPECT_TRUE(Checked(kContourMode));
    Key('C');
    EXPECT_FALSE(Checked(kContourMode));
    Key('E');
    EXPECT_EQ(frame->Store().currentLabel, 0);
    Key('U');
    EXPECT_EQ(frame->Store().currentLabel, 1);
    Mouse(wxEVT_MOTION, 12, 12, false);
    Key('R');
    EXPECT_EQ(Labels()(63, 63), 1) << "the background under the pointer";
    Key(WXK_NUMPAD_DELETE);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    Key(WXK_NUMPAD_ADD);
    EXPECT_EQ(frame->ZoomLevel(), 1);
    Key('0');
    EXPECT_EQ(frame->ZoomLevel(), 0);
}

TEST_F(MainWindow, ClosingWithPositionsAsksAndCancelKeepsEverything) {
    OpenSmall();
    const Answers answers(wxID_CANCEL);
    Run(kQuit);
    frame->Close();
    EXPECT_EQ(answers.texts, std::vector<wxString>(2,
                                                   "After terminating the application, all unsaved results will be "
                                                   "irretrievably lost!\nDo you really want to continue?"));
    EXPECT_FALSE(IsGoing(frame));
    EXPECT_TRUE(frame->IsShown());
    EXPECT_EQ(PositionCount(frame->Store()), 3u);
}

TEST_F(MainWindow, RadiusAndLabelsStopAtTheirEnds) {
    OpenSmall();
    for (int i = 0; i < 100; ++i) Run(kIncreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 99);
    for (int i = 0; i < 100; ++i) Run(kDecreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 1);
    Run(kPreviousLabel);
    Run(kPreviousLabel);
    EXPECT_EQ(frame->Store().currentLabel, 0);
}

TEST_F(MainWindow, DetectionGivesWhatTheRoomGivesAndOnlyToTheCurrentPosition) {
    OpenSamples();
    const Position plain = LoadPosition(frame->Store().paths[0]);
    qvox::LabelImage expected = EmptyLabelsFor(plain.image);
    DetectionObserver silent;
    DetectExosomes(plain.image, expected, AnalysisParameters(), plain.image.Resolution().x, silent);
    Run(kDetectCurrent);
    EXPECT_TRUE(told.errors.empty());
    EXPECT_TRUE(frame->IsEnabled());
    ASSERT_TRUE(Labels().SameSizes(expected));
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), Labels().begin()));
    EXPECT_GT(CountLabels(expected), 0u);
    EXPECT_EQ(frame->Store().labelCount, CountLabels(expected));
    EXPECT_EQ(CountLabels(frame->Store(), 1), 0u);
}

TEST_F(MainWindow, AFailedDetectionIsToldAndLeavesTheWindowUsable) {
    qvox::VoxelImage<std::uint8_t> even;
    even.Resize(32, 32, 1);
    even.Zero();
    even.SetResolution({672.0f, 672.0f, 0.0f});
    qvox::SaveImageFile(folder.File("even.tif"), even);
    frame->OpenFiles({PathText(folder.File("even.tif"))});
    Run(kDetectAll);
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].Contains("position number 1, '" + PathText(folder.File("even.tif")) + "'"));
    EXPECT_TRUE(frame->IsEnabled());
    Run(kIncreaseRadius);
    EXPECT_EQ(frame->BrushRadius(), 11);
}

TEST_F(MainWindow, SegmentingWithoutSeedsWarnsOncePerPosition) {
    OpenSmall();
    Run(kSegmentAll);
    EXPECT_EQ(told.warnings, (std::vector<wxString>{"The position number 1 was not segmented due to missing seeds!",
                                                    "The position number 2 was not segmented due to missing seeds!",
                                                    "The position number 3 was not segmented due to missing seeds!"}));
    EXPECT_EQ(frame->Store().current, 0u);
}

TEST_F(MainWindow, ResultsAreSavedBesideTheirImagesAndLoadedAgain) {
    OpenSmall();
    Mouse(wxEVT_LEFT_DOWN, 30, 20, true);
    Mouse(wxEVT_LEFT_UP, 30, 20, false);
    const qvox::LabelImage drawn = Labels();
    Run(kSaveResults);
    Run(kExportPictures);
    Run(kClearCurrent);
    EXPECT_EQ(CountLabels(Labels()), 0u);
    const Answers answers(wxID_OK);
    Run(kLoadResults);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Confirmation"});
    EXPECT_TRUE(std::equal(drawn.begin(), drawn.end(), Labels().begin()));
    qvox::VoxelImage<qvox::Rgb8> picture;
    qvox::LoadImageFile(folder.File("export_c.tif"), picture);
    EXPECT_EQ(picture.SizeX(), 64u);
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(MainWindow, FilesThatCannotBeReadAreNamedAndLeftOut) {
    const wxString missing = PathText(folder.File("none.tif"));
    frame->OpenFiles({missing});
    Pump();
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot load the input image '" + missing + "'! (Error='"));
    EXPECT_EQ(PositionCount(frame->Store()), 0u);
    EXPECT_TRUE(frame->IsEnabled());
}

}  // namespace
