#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "LabelPainter.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

const std::string kHeaderLine = "Filename\tLabel\tDiameter(nm)\tRoundness\tPerimeter(nm)\tArea(nm^2)\t\n";

/// A folder of pictures, each made from its number.
class BatchProgram : public ::testing::Test {
protected:
    std::string Picture(const std::string& name, unsigned seed = 1) {
        const std::string path = folder_.File(name);
        fs::create_directories(fs::path(path).parent_path());
        qvox::SaveImageFile(path, Vesicles(seed));
        return path;
    }
    std::string Squares(const std::string& name) {
        const std::string path = folder_.File(name);
        qvox::SaveImageFile(path, TwoSquares());
        return path;
    }
    bool Exists(const std::string& name) const { return fs::exists(folder_.File(name)); }
    std::string File(const std::string& name) const { return folder_.File(name); }
    nlohmann::json Report(const std::string& name = "korvane-run.json") const {
        return nlohmann::json::parse(Contents(folder_.File(name)));
    }
    TemporaryFolder folder_;
};

TEST_F(BatchProgram, DetectWritesLabelsTableOverlayAndReport) {
    Picture("in/a2.tif", 2);
    Picture("in/a10.tif", 3);
    const ProgramResult run =
        RunProgram({"detect", "-o", File("out"), "--table", File("out/table.txt"), "--overlay", File("in")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, "");
    qvox::LabelImage labels;
    qvox::LoadImageFile(File("out/seg_a2.tif"), labels);
    EXPECT_EQ(labels.SizeX(), 96u);
    EXPECT_NEAR(labels.Resolution().x, 672.0f, 0.01f);
    EXPECT_TRUE(Exists("out/export_a2.tif"));
    EXPECT_TRUE(Exists("out/export_a10.tif"));
    EXPECT_EQ(Contents(File("out/table.txt")).rfind(kHeaderLine, 0), 0u);
    const nlohmann::json report = Report("out/korvane-run.json");
    ASSERT_EQ(report.at("images").size(), 2u);
    EXPECT_EQ(report.at("images").at(0).at("path"), File("in/a2.tif"));
    EXPECT_EQ(report.at("images").at(0).at("result"), "done");
    EXPECT_NEAR(report.at("images").at(0).at("pixelSizeNm").at("x").get<double>(), 1.488, 0.001);
    EXPECT_FALSE(Exists("in/seg_a2.tif"));
    EXPECT_NE(run.messages.find("[2/2] "), std::string::npos);
}

TEST_F(BatchProgram, DetectIsTheSameForAnyNumberOfJobsAndOnASecondRun) {
    for (unsigned i = 0; i < 5; ++i) Picture("in/p" + std::to_string(i) + ".tif", i);
    const char* const jobs[] = {"1", "2", "4", "1"};
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string out = File("out" + std::to_string(i));
        const ProgramResult run = RunProgram({"detect", "--quiet", "--max-cluster-size", "0.1", "--jobs", jobs[i],
                                              "-o", out, "--table", out + ".txt", "--overlay", File("in")});
        ASSERT_EQ(run.status, 0) << run.messages;
        EXPECT_EQ(run.messages, "");
    }
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(Contents(File("out0.txt")), Contents(File("out" + std::to_string(i) + ".txt")));
        for (unsigned p = 0; p < 5; ++p) {
            for (const char* prefix : {"seg_p", "export_p"}) {
                const std::string name = "/" + (prefix + std::to_string(p)) + ".tif";
                ASSERT_EQ(Contents(File("out0" + name)), Contents(File("out" + std::to_string(i) + name))) << name;
            }
        }
    }
}

TEST_F(BatchProgram, ExistingLabelsAreSkippedUnlessTheyAreToBeReplaced) {
    const std::string image = Picture("a.tif");
    const std::string before = Contents(Squares("seg_a.tif"));
    const ProgramResult run = RunProgram({"detect", "--table", File("t.txt"), image});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.messages.find("is skipped: '" + File("seg_a.tif") + "' exists"), std::string::npos) << run.messages;
    EXPECT_EQ(Contents(File("seg_a.tif")), before);
    EXPECT_FALSE(Exists("korvane-run.json"));
    // The table covers what exists: two squares.
    EXPECT_NE(Contents(File("t.txt")).find(image + "\t700\t"), std::string::npos);

    const ProgramResult again = RunProgram({"detect", "--overwrite", image});
    EXPECT_EQ(again.status, 0) << again.messages;
    EXPECT_NE(Contents(File("seg_a.tif")), before);
    EXPECT_EQ(Report().at("images").at(0).at("result"), "done");
}

TEST_F(BatchProgram, ABadFileAmongGoodOnesFailsAlone) {
    Picture("a.tif", 1);
    Picture("c.tif", 2);
    std::ofstream(File("b.tif")) << "no picture";
    const ProgramResult run = RunProgram({"detect", "--table", File("t.txt"), folder_.Path().string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("error: Cannot load the input image '" + File("b.tif") + "'! (Error='"),
              std::string::npos)
        << run.messages;
    EXPECT_NE(run.messages.find("1 of 3 images failed."), std::string::npos);
    EXPECT_TRUE(Exists("seg_a.tif"));
    EXPECT_TRUE(Exists("seg_c.tif"));
    EXPECT_FALSE(Exists("seg_b.tif"));
    EXPECT_TRUE(Exists("t.txt"));
    const nlohmann::json images = Report().at("images");
    EXPECT_EQ(images.at(1).at("result"), "failed");
    EXPECT_NE(images.at(1).at("error").get<std::string>().find("Cannot load"), std::string::npos);
}

TEST_F(BatchProgram, AMissingFileFailsAlone) {
    const std::string image = Picture("a.tif");
    const ProgramResult run = RunProgram({"detect", File("none.tif"), image});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("none.tif"), std::string::npos);
    EXPECT_TRUE(Exists("seg_a.tif"));
}

TEST_F(BatchProgram, APictureWithoutPixelSizeNeedsOneToBeGiven) {
    const std::string path = File("a.tif");
    qvox::SaveImageFile(path, Vesicles(1, 96, 80, 0.0f));
    const ProgramResult run = RunProgram({"detect", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("stores no pixel size; give it with --pixel-size NM"), std::string::npos)
        << run.messages;
    const ProgramResult given = RunProgram({"detect", "--pixel-size", "1.488", path});
    EXPECT_EQ(given.status, 0) << given.messages;
    const nlohmann::json image = Report().at("images").at(0);
    EXPECT_EQ(image.at("pixelSizeSource"), "--pixel-size");
    EXPECT_NEAR(image.at("pixelSizeNm").at("x").get<double>(), 1.488, 1e-6);
}

TEST_F(BatchProgram, DetectWritesItsStages) {
    const ProgramResult run = RunProgram({"detect", "--stages", File("stages"), "-o", File("out"), Picture("a.tif")});
    ASSERT_EQ(run.status, 0) << run.messages;
    qvox::VoxelImage<float> edges;
    qvox::LoadImageFile(File("stages/edges_a.tif"), edges);
    EXPECT_EQ(edges.SizeX(), 96u);
}

TEST_F(BatchProgram, MeasurePrintsTheTableOfExistingLabels) {
    const std::string image = Picture("a.tif");
    Squares("seg_a.tif");
    const ProgramResult run = RunProgram({"measure", "--pixel-size", "2", image});
    ASSERT_EQ(run.status, 0) << run.messages;
    // Squares of 10 x 10 pixels of 2 nm: 400 nm², diameter sqrt(4 * 400 / pi).
    EXPECT_EQ(run.output.rfind(kHeaderLine + image + "\t3\t22.568\t", 0), 0u) << run.output;
    EXPECT_NE(run.output.find(image + "\t700\t22.568\t"), std::string::npos);
    EXPECT_EQ(run.output.substr(run.output.size() - 9), "\t400.000\n");
    const ProgramResult toFile = RunProgram({"measure", "--pixel-size", "2", "--table", File("t.txt"), image});
    EXPECT_EQ(toFile.output, "");
    EXPECT_EQ(Contents(File("t.txt")), run.output);
}

TEST_F(BatchProgram, MeasureUsesThePixelSizeOfTheImage) {
    const std::string image = Picture("a.tif");
    Squares("seg_a.tif");  // has none itself
    const ProgramResult run = RunProgram({"measure", image});
    EXPECT_NE(run.output.find("\t" + std::string("16.79")), std::string::npos) << run.output;  // 22.568 * 1.488 / 2
}

TEST_F(BatchProgram, MeasureLeavesOutImagesWithoutLabels) {
    Picture("a.tif");
    Picture("b.tif");
    Squares("seg_b.tif");
    const ProgramResult run = RunProgram({"measure", folder_.Path().string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.messages.find("'" + File("a.tif") + "' is left out"), std::string::npos) << run.messages;
    EXPECT_EQ(run.output.find("a.tif"), std::string::npos);
    EXPECT_EQ(RunProgram({"measure", File("a.tif")}).status, 1);
}

TEST_F(BatchProgram, LabelsOfAnotherSizeAreRefused) {
    const std::string image = Picture("a.tif");
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares(95, 80));
    const ProgramResult run = RunProgram({"measure", image});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("Cannot load the segmentation results for 'a.tif'! (Inconsistent image size)"),
              std::string::npos)
        << run.messages;
}

TEST_F(BatchProgram, OverlayPaintsAsThePainterDoes) {
    const std::string image = Picture("a.tif");
    fs::create_directory(File("labels"));
    Squares("labels/seg_a.tif");
    for (const auto& [option, style] :
         {std::pair<const char*, Korvane::LabelStyle>{"--quiet", Korvane::LabelStyle::kContours},
          {"--regions", Korvane::LabelStyle::kRegions},
          {"--raw", Korvane::LabelStyle::kNone}}) {
        const ProgramResult run = RunProgram({"overlay", option, "--labels", File("labels"), "-o", File("out"), image});
        ASSERT_EQ(run.status, 0) << run.messages;
        const qvox::VoxelImage<std::uint8_t> raw = Vesicles(1);
        qvox::VoxelImage<float> floats;
        floats.Resize(raw.SizeX(), raw.SizeY(), 1);
        for (std::uint64_t i = 0; i < raw.VoxelCount(); ++i) floats[i] = raw[i];
        const Korvane::ColourPicture expected = Korvane::PaintPosition(floats, TwoSquares(), style);
        Korvane::ColourPicture picture;
        qvox::LoadImageFile(File("out/export_a.tif"), picture);
        EXPECT_TRUE(SameVoxels(expected, picture)) << option;
    }
}

TEST_F(BatchProgram, SegmentGrowsSeedsAndNamesThePositionsWithoutThem) {
    Picture("a.tif", 1);
    Picture("b.tif", 1);
    Picture("c.tif", 1);
    fs::create_directory(File("seeds"));
    Squares("seeds/seg_a.tif");
    qvox::LabelImage none = TwoSquares();
    none.Zero();
    qvox::SaveImageFile(File("seeds/seg_c.tif"), none);
    const ProgramResult run =
        RunProgram({"segment", "--labels", File("seeds"), "-o", File("out"), folder_.Path().string()});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_TRUE(Exists("out/seg_a.tif"));
    EXPECT_FALSE(Exists("out/seg_b.tif"));
    EXPECT_NE(run.messages.find("The position number 2 was not segmented due to missing seeds!"), std::string::npos);
    EXPECT_NE(run.messages.find("The position number 3 was not segmented due to missing seeds!"), std::string::npos);
    EXPECT_EQ(run.messages.find("The position number 1 was"), std::string::npos);
    EXPECT_EQ(Report("out/korvane-run.json").at("images").at(1).at("result"), "no seeds");
}

TEST_F(BatchProgram, SegmentReplacesItsSeedsOnlyWhenToldTo) {
    const std::string image = Picture("a.tif");
    const std::string seeds = Contents(Squares("seg_a.tif"));
    EXPECT_EQ(RunProgram({"segment", image}).status, 0);
    EXPECT_EQ(Contents(File("seg_a.tif")), seeds);
    const ProgramResult run = RunProgram({"segment", "--overwrite", "--min-diameter", "0", image});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Report().at("command"), "segment");
}

TEST_F(BatchProgram, APixelSizeOfOneAxisOnlyIsSaid) {
    qvox::VoxelImage<std::uint8_t> picture = Vesicles(1);
    picture.SetResolution({672.0f, 0.0f, 0.0f});
    qvox::SaveImageFile(File("a.tif"), picture);
    Squares("seg_a.tif");
    const ProgramResult measured = RunProgram({"measure", "--quiet", File("a.tif")});
    EXPECT_EQ(measured.messages, "warning: '" + File("a.tif") +
                                     "' stores no pixel height: measured as if a pixel were 1000 nm high. Give the "
                                     "true one with --pixel-size.\n");
    const ProgramResult info = RunProgram({"info", File("a.tif")});
    EXPECT_NE(info.output.find(" x undefined nm per pixel"), std::string::npos) << info.output;
}

TEST_F(BatchProgram, ATableThatIsAFolderIsRefusedBeforeAnyWork) {
    const ProgramResult run = RunProgram({"detect", "--table", folder_.Path().string(), Picture("a.tif")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("' is a folder."), std::string::npos) << run.messages;
    EXPECT_FALSE(Exists("seg_a.tif"));
}

TEST_F(BatchProgram, InfoTellsWhatIsKnownOfEachFile) {
    const std::string image = Picture("a.tif");
    const ProgramResult run = RunProgram({"info", image, File("none.tif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output.rfind(image + ": 96 x 80, ", 0), 0u) << run.output;
    EXPECT_NE(run.output.find("1.488"), std::string::npos) << run.output;
    EXPECT_NE(run.messages.find("Cannot load the input image '" + File("none.tif") + "'! (Error='"), std::string::npos);
}

TEST_F(BatchProgram, VerboseTracesToTheMessagesOnly) {
    const ProgramResult run = RunProgram({"detect", "--verbose", Picture("a.tif")});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.messages.find("a.tif: preprocessing\n"), std::string::npos) << run.messages;
    EXPECT_NE(run.messages.find("a.tif: thresh"), std::string::npos) << run.messages;
}

TEST_F(BatchProgram, WrongUsageDoesNothing) {
    const std::string image = Picture("x/a.tif");
    Picture("y/a.tif");
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"detect"},
                                               {"detect", "--roundness", "1.01", image},
                                               {"detect", "-o", File("out"), image, File("y/a.tif")},
                                               {"detect", "--table", File("none/t.txt"), image},
                                               {"detect", "-o", image, image},
                                               {"detect", folder_.Path().string()},
                                               {"measure", "--labels", File("none"), image}}) {
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(run.status, 2) << run.messages;
        EXPECT_EQ(run.messages.rfind("korvane-batch: ", 0), 0u) << run.messages;
    }
    EXPECT_FALSE(Exists("out"));
    EXPECT_FALSE(Exists("x/seg_a.tif"));
}

TEST_F(BatchProgram, HelpAndVersionGoToTheOutput) {
    EXPECT_EQ(RunProgram({"--help"}).status, 0);
    EXPECT_NE(RunProgram({"--help"}).output.find("overlay"), std::string::npos);
    EXPECT_EQ(RunProgram({"--version"}).output.rfind("korvane-batch ", 0), 0u);
    EXPECT_EQ(RunProgram({"detect", "--help"}).output.find("Usage: korvane-batch detect"),
              RunProgram({"detect", "--help"}).output.find("Usage: "));
}

}  // namespace

}  // namespace korvane_test
