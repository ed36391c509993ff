#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dnd.h>
#include <wx/frame.h>
#include <wx/menu.h>
#include <wx/statusbr.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

// Opening, saving, loading and exporting through the window and the platform's choosers.

namespace {

using namespace Korvane;
using namespace korvane_test;

const wxString kOpenQuestion =
    "After selecting new images, all unsaved results will be irretrievably lost!\nDo you really want to continue?";

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Documents : public MainWindow {
protected:
    void WriteColour(const std::string& name) {
        qvox::VoxelImage<qvox::Rgb8> colour;
        colour.Resize(8, 8, 1);
        colour.Zero();
        qvox::SaveImageFile(folder.File(name), colour);
    }

    /// The second line of the message about it.
    static inline const wxString kColourRefused =
        "\nIt holds RGB, 8 bits; wanted is 8-bit, 16-bit or 32-bit float grey. It is a grey image stored as RGB: save "
        "it as grey, as korvane-batch calibrate --grey does.";

    /// Answers questions with OK and lets `act` work every other dialog.
    static int OkToQuestions(wxDialog& dialog) { return dialog.GetTitle() == "Confirmation" ? wxID_OK : wxID_NONE; }

    std::vector<std::string> FilesIn(const std::string& name) {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path() / name)) {
            files.push_back(entry.path().filename().string());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    std::string Folder(const std::string& name) {
        std::filesystem::create_directory(folder.Path() / name);
        return folder.File(name);
    }
};

TEST_F(Documents, TheOpenDialogGivesThePositions) {
    for (const char* name : {"one.tif", "two.tif"}) WriteRamp(folder.File(name));
    Answers answers(OkToQuestions);
    answers.Act(Choose({folder.File("one.tif"), folder.File("two.tif")}));
    Run(kOpenImages);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Select images to be analyzed..."});
    ASSERT_EQ(PositionCount(frame->Store()), 2u);
    EXPECT_EQ(frame->GetTitle(), "Position [1/2] - " + frame->Store().paths[0]);
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
    Dab(20, 20);
    Run(kNextLabel);
    answers.Act(Choose({folder.File("two.tif")}));
    Run(kOpenImages);
    EXPECT_EQ(answers.texts, std::vector<wxString>{kOpenQuestion});
    ASSERT_EQ(frame->Store().paths, std::vector<wxString>{PathOf("two.tif")});
    EXPECT_EQ(CountLabels(Labels()), 0u);
    EXPECT_EQ(frame->Store().currentLabel, 1);
    EXPECT_EQ(frame->Store().current, 0u);
}

TEST_F(Documents, CancellingTheQuestionOrTheChooserChangesNothing) {
    OpenSmall();
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Dab(30, 30);
    const std::vector<wxString> paths = frame->Store().paths;
    const std::vector<qvox::LabelImage> before = AllLabels(frame->Store());
    for (const int questions : {wxID_CANCEL, wxID_OK}) {
        const Answers answers(
            [&](wxDialog& dialog) { return dialog.GetTitle() == "Confirmation" ? questions : wxID_CANCEL; });
        for (const int command : {kOpenImages, kLoadResults, kLoadResultsFrom, kSaveResultsTo, kExportTable,
                                  kExportPicturesTo, kClearAll}) {
            if (questions == wxID_OK && (command == kLoadResults || command == kClearAll)) continue;
            Run(command);
            EXPECT_TRUE(frame->IsEnabled());
            ASSERT_EQ(frame->Store().paths, paths);
            EXPECT_EQ(frame->Store().current, 1u);
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(i), before[i]));
            }
        }
    }
    EXPECT_EQ(FilesIn("."), (std::vector<std::string>{"a.tif", "b.tif", "c.tif"}));
}

TEST_F(Documents, FilesThatCannotBeUsedAreToldOneByOneAndTheOthersOpen) {
    WriteRamp(folder.File("first.tif"));
    WriteColour("second.tif");
    WriteRamp(folder.File("third.tif"));
    Open({"first.tif", "second.tif", "third.tif"});
    EXPECT_EQ(frame->Store().paths, (std::vector<wxString>{PathOf("first.tif"), PathOf("third.tif")}));
    EXPECT_EQ(told.errors, std::vector<wxString>{"Cannot load the input image '" + PathOf("second.tif") +
                                                 "'! (Unsupported pixel type)" + kColourRefused});
    EXPECT_EQ(frame->GetTitle(), "Position [1/2] - " + PathOf("first.tif"));
    Key(WXK_PAGEDOWN);
    EXPECT_EQ(frame->GetTitle(), "Position [2/2] - " + PathOf("third.tif"));
}

TEST_F(Documents, OnlyUnsupportedFilesLeaveAnEmptyStoreAndOneMessageEach) {
    OpenSmall();
    WriteColour("one.tif");
    WriteColour("two.tif");
    Answers answers(wxID_OK);
    Open({"one.tif", "two.tif"});
    EXPECT_EQ(answers.texts, std::vector<wxString>{kOpenQuestion});
    EXPECT_EQ(told.errors.size(), 2u);
    EXPECT_EQ(PositionCount(frame->Store()), 0u);
    EXPECT_EQ(frame->GetTitle(), wxString("TEM Korvane"));
    EXPECT_EQ(Status(1), wxString("Pixel size: -"));
    EXPECT_EQ(Status(5), wxString("Mode: -"));
    EXPECT_TRUE(frame->IsEnabled());
    EXPECT_FALSE(frame->Canvas().HasImage());
    // An empty store asks nothing.
    Run(kLoadResults);
    EXPECT_EQ(answers.texts.size(), 1u);
}

TEST_F(Documents, ResultsGoToAFolderAndComeBackFromIt) {
    OpenSmall();
    Run(kNextLabel);
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Dab(40, 30);
    const std::vector<qvox::LabelImage> before = AllLabels(frame->Store());
    const std::string out = Folder("results");
    Answers answers(OkToQuestions);
    answers.Act(Choose({out}));
    Run(kSaveResultsTo);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Save segmentation results to..."});
    EXPECT_EQ(FilesIn("results"), (std::vector<std::string>{"seg_a.tif", "seg_b.tif", "seg_c.tif"}));
    Run(kClearAll);
    Run(kNextLabel);
    // A position without a file keeps its labels.
    std::filesystem::remove(out + "/seg_c.tif");
    Key(WXK_END);
    Dab(10, 10);
    const qvox::LabelImage kept = Labels();
    Key(WXK_PAGEUP);
    const std::uint16_t label = frame->Store().currentLabel;
    answers.titles.clear();
    Run(kLoadResultsFrom);
    EXPECT_EQ(answers.titles, (std::vector<wxString>{"Confirmation", "Load segmentation results from..."}));
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(0), before[0]));
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(1), before[1]));
    EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(2), kept));
    EXPECT_EQ(frame->Store().currentLabel, label);
    EXPECT_EQ(frame->Store().labelCount, 1u);
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(Documents, ResultsThatDoNotFitAreToldAndLeftOut) {
    OpenSmall();
    qvox::LabelImage other;
    other.Resize(64, 63, 1);
    other.Zero();
    qvox::SaveImageFile(folder.File("seg_a.tif"), other);
    WriteRamp(folder.File("seg_b.tif"));
    std::ofstream(folder.File("seg_c.tif")) << "no picture";
    Dab(20, 20);
    const qvox::LabelImage before = Labels();
    const Answers answers(wxID_OK);
    Run(kLoadResults);
    ASSERT_EQ(told.errors.size(), 3u);
    EXPECT_EQ(told.errors[0], "Cannot load the segmentation results for 'a.tif'! (Inconsistent image size)\n'" +
                                  PathOf("seg_a.tif") + "' has 64 x 63 pixels; wanted are the image's 64 x 64.");
    EXPECT_EQ(told.errors[1],
              "Cannot load the segmentation results for 'b.tif'! (Unsupported pixel type)\n'" + PathOf("seg_b.tif") +
                  "' holds 8-bit grey; wanted is 16-bit grey. korvane-batch import makes such a file of it.");
    EXPECT_TRUE(told.errors[2].StartsWith("Cannot load the segmentation results for 'c.tif'! (Error='"));
    EXPECT_TRUE(SameLabels(Labels(), before));
}

TEST_F(Documents, LoadingWithoutAFileLeavesTheCountAndTheUndoCopy) {
    OpenSmall();
    Dab(20, 20);
    const Answers answers(wxID_OK);
    Run(kLoadResults);
    EXPECT_EQ(frame->Store().labelCount, 1u);
    Key(WXK_BACK);
    EXPECT_EQ(CountLabels(Labels()), 0u);
}

TEST_F(Documents, WhatCannotBeWrittenIsToldForEachPosition) {
    OpenSmall();
    for (const char* name : {"seg_b.tif", "export_b.tif"}) Folder(name);
    Run(kSaveResults);
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot save the segmentation results for 'b.tif'! (Error='"));
    Run(kExportPictures);
    ASSERT_EQ(told.errors.size(), 2u);
    EXPECT_TRUE(told.errors[1].StartsWith("Cannot export the image results for 'b.tif'! (Error='"));
    for (const char* name : {"seg_a.tif", "seg_c.tif", "export_a.tif", "export_c.tif"}) {
        EXPECT_TRUE(std::filesystem::is_regular_file(folder.Path() / name)) << name;
    }
}

TEST_F(Documents, TheTableIsWrittenWhereItWasAskedForWithItsOwnEnding) {
    OpenSmall();
    Answers answers(OkToQuestions);
    answers.Act(ChooseNew(folder.File("results.csv")));
    Run(kExportTable);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Export quantitative results to..."});
    EXPECT_EQ(Contents(folder.File("results.txt")),
              "Filename\tLabel\tDiameter(nm)\tRoundness\tPerimeter(nm)\tArea(nm^2)\t\n");
    EXPECT_FALSE(std::filesystem::exists(folder.File("results.csv")));
    Key(WXK_PAGEDOWN);
    Dab(30, 20);
    Run(kExportTable);
    std::vector<wxString> rows = MeasurementRows(PathOf("b.tif"), Labels());
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(Contents(folder.File("results.txt")), MeasurementTableText(rows));
}

TEST_F(Documents, ATableWarnsOfEachPositionThatLacksAPixelWidthOrHeight) {
    const std::vector<std::pair<const char*, qvox::PixelResolution>> sizes{{"both.tif", {200.0f, 200.0f, 0.0f}},
                                                                           {"height.tif", {0.0f, 200.0f, 0.0f}},
                                                                           {"none.tif", {0.0f, 0.0f, 0.0f}},
                                                                           {"width.tif", {200.0f, 0.0f, 0.0f}}};
    std::vector<std::string> names;
    for (const auto& [name, resolution] : sizes) {
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(64, 64, 1);
        for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(i % 251);
        image.SetResolution(resolution);
        qvox::SaveImageFile(folder.File(name), image);
        names.emplace_back(name);
    }
    Open(names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        Dab(20, 20);
        Key(WXK_PAGEDOWN);
    }
    told.warnings.clear();
    Answers answers(OkToQuestions);
    answers.Act(ChooseNew(folder.File("results.txt")));
    Run(kExportTable);
    ASSERT_EQ(told.warnings.size(), 1u);
    EXPECT_TRUE(told.warnings[0].EndsWith(" as 1000 nm: 'height.tif', 'none.tif', 'width.tif'.")) << told.warnings[0];
}

TEST_F(Documents, PicturesGoBesideTheImagesOrToAFolderAndTheViewStays) {
    OpenSmall();
    Key(WXK_END);
    Dab(20, 20);
    const wxString title = frame->GetTitle();
    Run(kExportPictures);
    const std::string out = Folder("pictures");
    Answers answers(wxID_NONE);
    answers.Act(Choose({out}));
    Run(kExportPicturesTo);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Export image results to..."});
    EXPECT_EQ(FilesIn("pictures"), (std::vector<std::string>{"export_a.tif", "export_b.tif", "export_c.tif"}));
    EXPECT_EQ(frame->Store().current, 2u);
    EXPECT_EQ(frame->GetTitle(), title);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string name = FilesIn("pictures")[i];
        EXPECT_EQ(Contents(folder.File(name)), Contents(out + "/" + name));
        qvox::VoxelImage<qvox::Rgb8> picture;
        qvox::LoadImageFile(out + "/" + name, picture);
        ColourPicture wanted;
        const PositionImages& images = frame->Store().images;
        wanted = PaintPosition(*images.IntensitiesOf(i), *images.LabelsOf(i), LabelStyle::kContours);
        ASSERT_TRUE(picture.SameSizes(wanted));
        EXPECT_TRUE(std::equal(picture.begin(), picture.end(), wanted.begin())) << name;
    }
    // With numbers the picture is another one, and only where there are labels.
    Run(kLabelNumbers);
    Run(kExportPictures);
    EXPECT_EQ(Contents(folder.File("export_a.tif")), Contents(out + "/export_a.tif"));
    EXPECT_NE(Contents(folder.File("export_c.tif")), Contents(out + "/export_c.tif"));
}

TEST_F(Documents, AnOpenContourIsInThePictureOfItsOwnPositionAlone) {
    OpenSmall();
    Key(WXK_PAGEDOWN);
    Run(kExportPictures);
    const auto picture = [this](const char* name) { return Contents(folder.File(name)); };
    const std::string plain = picture("export_b.tif");
    ASSERT_EQ(picture("export_a.tif"), plain) << "the images are alike";
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 10, 10, true);
    Mouse(wxEVT_MOTION, 40, 10, true);
    Run(kExportPictures);
    EXPECT_NE(picture("export_b.tif"), plain);
    EXPECT_EQ(picture("export_a.tif"), plain);
    EXPECT_EQ(picture("export_c.tif"), plain);
    Run(kContourMode);
    Mouse(wxEVT_LEFT_UP, 40, 10, false);
}

TEST_F(Documents, AnyFileNameServesForOpeningResultsTableAndPictures) {
    const std::string odd = "\xc3\xbc \xc3\xa9 \xc2\xb5 \xe4\xb8\xad #%25 %s";
    const std::string input = Folder(odd) + "/" + odd + ".tif";
    WriteRamp(input);
    Answers answers(OkToQuestions);
    answers.Act(Choose({input}));
    Run(kOpenImages);
    ASSERT_EQ(frame->Store().paths, std::vector<wxString>{PathText(input)});
    EXPECT_EQ(frame->GetTitle(), "Position [1/1] - " + PathText(input));
    Dab(20, 20);
    const qvox::LabelImage before = Labels();
    Run(kSaveResults);
    Run(kExportPictures);
    Run(kClearCurrent);
    Run(kLoadResults);
    EXPECT_TRUE(SameLabels(Labels(), before));
    const std::string out = Folder(odd + "/out " + odd);
    answers.Act(Choose({out}));
    Run(kSaveResultsTo);
    Run(kExportPicturesTo);
    answers.Act(ChooseNew(out + "/" + odd + ".txt"));
    Run(kExportTable);
    EXPECT_EQ(FilesIn(odd + "/out " + odd),
              (std::vector<std::string>{"export_" + odd + ".tif", "seg_" + odd + ".tif", odd + ".txt"}));
    const std::string table = Contents(out + "/" + odd + ".txt");
    EXPECT_EQ(table, MeasurementTableText(MeasurementRows(PathText(input), before)));
    EXPECT_NE(table.find("\n" + input + "\t1\t"), std::string::npos);
    WriteColour("%s %d %n \xe4\xb8\xad.tif");
    Open({"%s %d %n \xe4\xb8\xad.tif"});
    EXPECT_EQ(told.errors, std::vector<wxString>{"Cannot load the input image '" + PathOf("%s %d %n \xe4\xb8\xad.tif") +
                                                 "'! (Unsupported pixel type)" + kColourRefused});
}

TEST_F(Documents, DroppedFilesAreOpenedAfterTheSameQuestion) {
    OpenSmall();
    WriteRamp(folder.File("dropped.tif"));
    auto* const target = dynamic_cast<wxFileDropTarget*>(frame->Canvas().GetDropTarget());
    ASSERT_NE(target, nullptr);
    wxArrayString names;
    names.Add(PathOf("dropped.tif"));
    Answers answers(wxID_CANCEL);
    EXPECT_TRUE(target->OnDropFiles(1, 1, names));
    EXPECT_TRUE(answers.texts.empty()) << "not while the other program waits";
    Pump();
    EXPECT_EQ(answers.texts, std::vector<wxString>{kOpenQuestion});
    EXPECT_EQ(PositionCount(frame->Store()), 3u);
    const Answers yes(wxID_OK);
    target->OnDropFiles(1, 1, names);
    Pump();
    EXPECT_EQ(frame->Store().paths, std::vector<wxString>{PathOf("dropped.tif")});
    EXPECT_TRUE(frame->IsEnabled());
    EXPECT_EQ(frame->GetTitle(), "Position [1/1] - " + PathOf("dropped.tif"));
    for (wxWindow* const window : {static_cast<wxWindow*>(frame->GetMenuBar()),
                                   static_cast<wxWindow*>(frame->GetStatusBar())}) {
        auto* const other = dynamic_cast<wxFileDropTarget*>(window->GetDropTarget());
        ASSERT_NE(other, nullptr);
        wxArrayString name;
        name.Add(PathOf(window == frame->GetStatusBar() ? "a.tif" : "b.tif"));
        other->OnDropFiles(1, 1, name);
        Pump();
        EXPECT_EQ(frame->Store().paths, std::vector<wxString>{name[0]});
    }
}

TEST_F(Documents, QuitClosesWithoutAQuestionWhenNothingIsOpenAndAfterOk) {
    auto* const second = new MainFrame;
    second->Show();
    const Answers answers(wxID_OK);
    wxCommandEvent quit(wxEVT_MENU, kQuit);
    second->ProcessWindowEvent(quit);
    EXPECT_TRUE(IsGoing(second));
    EXPECT_TRUE(answers.texts.empty());
    Pump();
    OpenSmall();
    auto* const third = new MainFrame;
    third->Show();
    third->OpenFiles({PathOf("a.tif")});
    EXPECT_TRUE(third->Close());
    EXPECT_EQ(answers.texts, std::vector<wxString>{"After terminating the application, all unsaved results will be "
                                                   "irretrievably lost!\nDo you really want to continue?"});
    EXPECT_EQ(answers.captions, std::vector<wxString>{"Confirmation"});
    EXPECT_TRUE(IsGoing(third));
}

}  // namespace
