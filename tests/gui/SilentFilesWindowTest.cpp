#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "files/ImageFile.h"

// Files that once led to a wrong or a lost result without a word, in the window.

namespace {

using namespace Korvane;
using namespace korvane_test;

class SilentFilesInTheWindow : public MainWindow {
protected:
    std::string Folder(const std::string& name) {
        std::filesystem::create_directory(folder.Path() / name);
        return folder.File(name);
    }

    /// Opens d1/a.tif, d1/b.tif and d2/a.tif, each with a stroke of its own.
    void OpenTwoOfOneName() {
        for (const char* name : {"d1", "d2"}) Folder(name);
        for (const char* name : {"d1/a.tif", "d1/b.tif", "d2/a.tif"}) WriteRamp(folder.File(name));
        Open({"d1/a.tif", "d1/b.tif", "d2/a.tif"});
        ASSERT_EQ(PositionCount(frame->Store()), 3u);
        Dab(20, 20);
        Key(WXK_END);
        Dab(40, 40);
    }

    wxString BothNamed() const {
        return "('" + PathOf("d1/a.tif") + "' and '" + PathOf("d2/a.tif") + "' would both be ";
    }

    void ExportTable(const std::string& name) {
        Answers answers(wxID_NONE);
        answers.Act(ChooseNew(folder.File(name)));
        Run(kExportTable);
    }

    std::string Contents(const std::string& name) const {
        std::ifstream file(folder.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// A ramp without a pixel size.
    void WriteUncalibrated(const std::string& name) {
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(64, 64, 1);
        for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(i % 64);
        qvox::SaveImageFile(folder.File(name), image);
    }
};

TEST_F(SilentFilesInTheWindow, TwoPositionsOfOneNameAreNotWrittenIntoOneFolder) {
    OpenTwoOfOneName();
    const std::string out = Folder("out");
    frame->SaveSegmentationResults(PathText(out));
    frame->ImageExport(PathText(out));
    EXPECT_TRUE(std::filesystem::is_empty(out));
    EXPECT_EQ(told.errors,
              (std::vector<wxString>{"Cannot save the segmentation results! " + BothNamed() + "written to '" +
                                         PathText(out) + "/seg_a.tif'. Nothing was written.)",
                                     "Cannot export the image results! " + BothNamed() + "written to '" +
                                         PathText(out) + "/export_a.tif'. Nothing was written.)"}));
    told.errors.clear();
    Run(kSaveResults);
    EXPECT_TRUE(std::filesystem::exists(folder.File("d1/seg_a.tif")));
    EXPECT_TRUE(std::filesystem::exists(folder.File("d2/seg_a.tif")));
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(SilentFilesInTheWindow, TwoPositionsOfOneNameAreNotLoadedFromOneFolder) {
    OpenTwoOfOneName();
    const std::string out = Folder("out");
    for (const char* name : {"seg_a.tif", "seg_b.tif"}) {
        qvox::SaveImageFile(out + "/" + name, *frame->Store().images.LabelsOf(0));
    }
    const std::vector<qvox::LabelImage> before = AllLabels(frame->Store());
    frame->LoadSegmentationResults(PathText(out));
    EXPECT_EQ(told.errors, std::vector<wxString>{"Cannot load the segmentation results! " + BothNamed() +
                                                 "read from '" + PathText(out) + "/seg_a.tif'. Nothing was loaded.)"});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(i), before[i])) << i;
    }
}

TEST_F(SilentFilesInTheWindow, ATableWithUncalibratedPositionsWarnsOnceAndNamesThem) {
    WriteUncalibrated("a.tif");
    WriteRamp(folder.File("b.tif"));
    WriteUncalibrated("c.tif");
    WriteUncalibrated("without_objects.tif");
    Open({"a.tif", "b.tif", "c.tif", "without_objects.tif"});
    for (int i = 0; i < 3; ++i) {
        Dab(20, 20);
        Key(WXK_PAGEDOWN);
    }
    ExportTable("t.txt");
    EXPECT_EQ(told.warnings,
              std::vector<wxString>{"The pixel size of some positions is undefined. The table counts a pixel of theirs "
                                    "as 1000 nm: 'a.tif', 'c.tif'."});
    EXPECT_TRUE(told.errors.empty());
    const Answers yes(wxID_OK);
    Open({"b.tif"});
    Dab(20, 20);
    told.warnings.clear();
    ExportTable("u.txt");
    EXPECT_TRUE(std::filesystem::exists(folder.File("u.txt")));
    EXPECT_TRUE(told.warnings.empty());
}

TEST_F(SilentFilesInTheWindow, APositionOfTooManyPiecesCostsOnlyItselfInTheTable) {
    for (const char* name : {"a.tif", "b.tif", "c.tif"}) WriteRamp(folder.File(name), 512, 512);
    qvox::LabelImage grid;
    grid.Resize(512, 512, 1);
    grid.Zero();
    for (std::uint64_t y = 0; y < 512; y += 2) {
        for (std::uint64_t x = 0; x < 512; x += 2) grid(x, y) = 1;
    }
    qvox::SaveImageFile(folder.File("seg_b.tif"), grid);
    Open({"a.tif", "b.tif", "c.tif"});
    const Answers yes(wxID_OK);
    Run(kLoadResults);
    ASSERT_TRUE(SameLabels(*frame->Store().images.LabelsOf(1), grid));
    Dab(20, 20);
    Key(WXK_END);
    Dab(40, 40);
    ExportTable("t.txt");
    std::vector<wxString> rows = MeasurementRows(PathOf("a.tif"), *frame->Store().images.LabelsOf(0));
    rows.push_back(MeasurementRows(PathOf("c.tif"), *frame->Store().images.LabelsOf(2)).at(0));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(Contents("t.txt"), MeasurementTableText(rows));
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot measure the objects of 'b.tif'! (Error='")) << told.errors[0];
}

TEST_F(SilentFilesInTheWindow, AnAbsurdPixelHeightIsRefusedBeforeTheAnalysis) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(64, 64, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(i % 64);
    image.SetResolution({672.0f, 1.0f, 0.0f});
    qvox::SaveImageFile(folder.File("a.tif"), image);
    Open({"a.tif"});
    Dab(20, 20);
    const qvox::LabelImage before = Labels();
    Run(kDetectCurrent);
    Run(kSegmentCurrent);
    ASSERT_EQ(told.errors.size(), 2u);
    for (const wxString& error : told.errors) {
        EXPECT_NE(error.find("! (Error='The file stores pixels 1.488 nm wide and 1000.000 nm high, which cannot be "
                             "true.')\nTools > Store pixel size... "),
                  wxString::npos)
            << error;
    }
    EXPECT_TRUE(SameLabels(Labels(), before));
}

TEST_F(SilentFilesInTheWindow, ImagesOfDoubtfulPixelSizesAreNamedInOneWarning) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(64, 64, 1);
    image.Zero();
    const auto write = [&](const char* name, float x, float y) {
        image.SetResolution({x, y, 0.0f});
        qvox::SaveImageFile(folder.File(name), image);
    };
    write("a.tif", 40.0f, 40.0f);
    write("b.tif", 500.0f, 500.0f);
    write("c.tif", 500.0f, 400.0f);
    WriteUncalibrated("d.tif");
    Open({"a.tif", "b.tif", "c.tif", "d.tif"});
    EXPECT_EQ(told.warnings,
              std::vector<wxString>{"'" + PathOf("a.tif") +
                                    "' has 25 nm per pixel, outside 0.05 to 20 nm: the size may be wrong.\n'" +
                                    PathOf("c.tif") +
                                    "' has 2 x 2.5 nm per pixel: width and height differ by 25.0 %, and the analysis "
                                    "goes by the width."});
    EXPECT_TRUE(told.errors.empty());
    EXPECT_EQ(PositionCount(frame->Store()), 4u);
}

TEST_F(SilentFilesInTheWindow, DetectionNamesImagesThatAreNoLargerThanAnObjectInOneWarning) {
    WriteRamp(folder.File("a.tif"));
    WriteRamp(folder.File("b.tif"), 640, 480);
    WriteRamp(folder.File("c.tif"));
    Open({"a.tif", "b.tif", "c.tif"});
    EXPECT_TRUE(told.warnings.empty()) << "the largest object depends on the parameters of detection";
    const wxString small =
        "' has 4096 pixels, no more than the largest object of detection (14880): the whole image "
        "becomes one object, or none.";
    Run(kDetectAll);
    EXPECT_EQ(told.warnings, std::vector<wxString>{"'" + PathOf("a.tif") + small + "\n'" + PathOf("c.tif") + small});
    told.warnings.clear();
    Key(WXK_PAGEDOWN);
    Run(kDetectCurrent);
    EXPECT_TRUE(told.warnings.empty());
    frame->Parameters().maxRelativeClusterSize = 0.1f;
    Run(kDetectAll);
    EXPECT_TRUE(told.warnings.empty());
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(SilentFilesInTheWindow, AnOpenedFolderTellsHowManyProductsAreLeftOut) {
    const std::string series = Folder("series");
    for (const char* name : {"a.tif", "seg_a.tif", "export_a.tif"}) WriteRamp(series + "/" + name);
    frame->OpenFiles({PathText(series)});
    EXPECT_EQ(PositionCount(frame->Store()), 1u);
    EXPECT_EQ(Status(0), "Opened 1 image; results lie beside it: Ctrl+L loads them; 2 products of earlier runs "
                         "left out");
    const Answers yes(wxID_OK);
    frame->OpenFiles({PathText(series + "/seg_a.tif")});
    EXPECT_EQ(PositionCount(frame->Store()), 1u);
    EXPECT_EQ(Status(0), "Opened 1 image") << "what is named is opened";
}

TEST_F(SilentFilesInTheWindow, ATableNamesFilesWhoseNamesBreakItsRows) {
    for (const char* name : {"a.tif", "b\tb.tif", "c\nc.tif"}) WriteRamp(folder.File(name));
    frame->OpenFiles({PathOf("a.tif"), PathOf("b\tb.tif"), PathOf("c\nc.tif")});
    Dab(20, 20);
    ExportTable("t.txt");
    EXPECT_TRUE(told.warnings.empty()) << "the others have no rows";
    Key(WXK_PAGEDOWN);
    Dab(20, 20);
    ExportTable("u.txt");
    EXPECT_EQ(told.warnings,
              std::vector<wxString>{"'" + PathOf("b\tb.tif") +
                                    "' has a tab or the end of a line in its name: its rows of the table have other "
                                    "columns than the rest. Rename the file."});
}

}  // namespace
