// Images and folders that give results which are not what a person believes them to be: the program says so.

#include <gtest/gtest.h>

#include <string>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace korvane_test {

namespace {

bool Says(const ProgramResult& run, const std::string& text) { return run.messages.find(text) != std::string::npos; }

class DoubtfulInput : public ::testing::Test {
protected:
    std::string File(const std::string& name) const { return folder_.File(name); }
    std::string Save(const std::string& name, float perUm, std::uint64_t width = 96) {
        qvox::SaveImageFile(File(name), Vesicles(1, width, 80, perUm));
        return File(name);
    }
    std::string SaveSquares(const std::string& name) {
        qvox::SaveImageFile(File(name), TwoSquares());
        return File(name);
    }
    TemporaryFolder folder_;
};

TEST_F(DoubtfulInput, ProductsInAFolderAreCountedInTheSummary) {
    Save("a.tif", 672.0f);
    const std::string folder = folder_.Path().string();
    const std::vector<std::string> arguments{"detect", "--overwrite", "--overlay", "--stages", folder, folder};
    const ProgramResult first = RunProgram(arguments);
    ASSERT_EQ(first.status, 0) << first.messages;
    EXPECT_FALSE(Says(first, "left out")) << first.messages;
    const ProgramResult second = RunProgram(arguments);
    EXPECT_EQ(second.status, 0) << second.messages;
    EXPECT_TRUE(Says(second, "8 files of folders left out: 8 products of earlier runs.")) << second.messages;
    EXPECT_TRUE(Says(second, "1 image done.")) << second.messages;
    const ProgramResult dry = RunProgram({"detect", "--overwrite", "--dry-run", folder});
    EXPECT_TRUE(Says(dry, "8 files of folders left out: 8 products of earlier runs.")) << dry.messages;
}

TEST_F(DoubtfulInput, AStoredPixelSizeThatIsReplacedIsSaidForEachImage) {
    const std::string image = Save("a.tif", 500.0f);
    const std::string bare = Save("b.tif", 0.0f);
    SaveSquares("seg_a.tif");
    SaveSquares("seg_b.tif");
    const ProgramResult run = RunProgram({"measure", "--quiet", "--pixel-size", "4", image, bare});
    EXPECT_TRUE(Says(run, "warning: '" + image + "' stores 2 nm per pixel (")) << run.messages;
    EXPECT_TRUE(Says(run, "; --pixel-size replaces it by 4 nm per pixel.")) << run.messages;
    EXPECT_FALSE(Says(run, bare)) << run.messages;
    EXPECT_FALSE(Says(RunProgram({"measure", "--pixel-size", "2", image}), "warning")) << "the same size";
}

TEST_F(DoubtfulInput, APixelSizeForImagesWithoutOneLeavesTheOthersAlone) {
    const std::string image = Save("a.tif", 500.0f);
    const std::string bare = Save("b.tif", 0.0f);
    SaveSquares("seg_a.tif");
    SaveSquares("seg_b.tif");
    const ProgramResult run = RunProgram({"measure", "--pixel-size-if-missing", "4", image, bare});
    EXPECT_EQ(run.messages.find("warning"), std::string::npos) << run.messages;
    EXPECT_EQ(run.output,
              RunProgram({"measure", image}).output +
                  RunProgram({"measure", "--pixel-size", "4", bare}).output.substr(run.output.find('\n') + 1));
}

TEST_F(DoubtfulInput, AnImageThatIsNoLargerThanAnObjectIsSaid) {
    const std::string small = Save("a.tif", 672.0f);
    const std::string large = Save("b.tif", 672.0f, 960);
    const ProgramResult run = RunProgram({"detect", "--quiet", small, large});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Says(run, "warning: '" + small + "' has 7680 pixels, no more than the largest object")) << run.messages;
    EXPECT_FALSE(Says(run, large)) << run.messages;
}

TEST_F(DoubtfulInput, AnAnalysedPartThatIsNoLargerThanAnObjectIsSaid) {
    const std::string image = Save("a.tif", 672.0f, 640);
    const ProgramResult run = RunProgram({"detect", "--quiet", "--region", "0,0,100,60", image});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Says(run, "warning: '" + image + "' has 6000 pixels in the analysed part, no more than the largest"))
        << run.messages;
}

TEST_F(DoubtfulInput, APixelSizeThatCannotBeRightIsSaidOnce) {
    const std::string image = Save("a.tif", 20.0f);
    SaveSquares("seg_a.tif");
    const ProgramResult run = RunProgram({"measure", "--quiet", image});
    EXPECT_EQ(run.messages, "warning: '" + image +
                                "' has 50 nm per pixel, outside 0.05 to 20 nm: the size may be "
                                "wrong.\n");
}

TEST_F(DoubtfulInput, InfoSaysThatAPixelSizeCannotBeRight) {
    const std::string image = Save("a.tif", 20.0f);
    const std::string usual = Save("b.tif", 672.0f);
    const ProgramResult run = RunProgram({"info", image, usual});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.messages,
              "warning: '" + image + "' has 50 nm per pixel, outside 0.05 to 20 nm: the size may be wrong.\n");
}

TEST_F(DoubtfulInput, PagesThatAreNotReadAreSaidAndCanBeChosen) {
    TiffBuilder file;
    for (const char* bytes : {"abc", "defghi"}) {
        const std::string voxels = bytes;
        file.Page().Grey(static_cast<std::uint32_t>(voxels.size()), 1, 8).AddPiece(voxels);
    }
    file.Write(File("a.tif"));
    const ProgramResult info = RunProgram({"info", File("a.tif")});
    EXPECT_NE(info.output.find("3 x 1, 8-bit grey"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find(", page 1 of 2\n"), std::string::npos) << info.output;
    const ProgramResult second = RunProgram({"info", "--page", "2", File("a.tif")});
    EXPECT_NE(second.output.find("6 x 1, 8-bit grey"), std::string::npos) << second.output;
    EXPECT_NE(second.output.find(", page 2 of 2\n"), std::string::npos) << second.output;
    EXPECT_EQ(RunProgram({"info", "--page", "3", File("a.tif")}).status, 1);

    const ProgramResult run = RunProgram({"calibrate", "--quiet", "--pixel-size", "2", "-o", File("o"), File("a.tif")});
    EXPECT_EQ(run.messages, "warning: 1 of 1 images has pages that were not read; --page N chooses one.\n");
    const ProgramResult chosen =
        RunProgram({"calibrate", "--quiet", "--page", "2", "--pixel-size", "2", "-o", File("p"), File("a.tif")});
    EXPECT_EQ(chosen.messages, "");
    EXPECT_EQ(qvox::InspectImageFile(File("p/a.tif")).sizeX, 6u);
}

TEST_F(DoubtfulInput, GreyImagesInColourAreCopiedAsGrey) {
    qvox::VoxelImage<qvox::Rgb8> colour({}, {500.0f, 500.0f, 0.0f});
    colour.Resize(2, 1, 1);
    colour[0] = {3, 3, 3};
    colour[1] = {200, 200, 200};
    qvox::SaveImageFile(File("a.tif"), colour);
    const ProgramResult run = RunProgram({"calibrate", "--grey", "-o", File("o"), File("a.tif")});
    ASSERT_EQ(run.status, 0) << run.messages;
    qvox::VoxelImage<std::uint8_t> copy;
    qvox::LoadImageFile(File("o/a.tif"), copy);
    EXPECT_EQ(copy[0], 3);
    EXPECT_EQ(copy[1], 200);
    EXPECT_EQ(copy.Resolution(), colour.Resolution()) << "the size stays when none is given";

    colour[0] = {3, 3, 33};
    qvox::SaveImageFile(File("b.tif"), colour);
    const ProgramResult refused = RunProgram({"calibrate", "--grey", "-o", File("o"), File("b.tif")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(Says(refused, "differ by up to 30 of 256 levels")) << refused.messages;
    EXPECT_TRUE(Says(refused, "--luminance takes the luminance")) << refused.messages;
    const ProgramResult forced = RunProgram({"calibrate", "--grey", "--luminance", "-o", File("o"), File("b.tif")});
    EXPECT_EQ(forced.status, 0) << forced.messages;
    qvox::LoadImageFile(File("o/b.tif"), copy);
    EXPECT_EQ(copy[0], (299 * 3 + 587 * 3 + 114 * 33) / 1000);
}

TEST_F(DoubtfulInput, AKindThatCannotBecomeGreyIsToldWithTheOnesThatCan) {
    TiffBuilder file;
    file.Page().Grey(8, 1, 1).AddPiece("x");
    file.Write(File("a.tif"));
    for (const bool luminance : {false, true}) {
        std::vector<std::string> arguments{"calibrate", "--grey", "-o", File("o"), File("a.tif")};
        if (luminance) arguments.emplace_back("--luminance");
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(Says(run, "(Unsupported pixel type)\nIt holds 1-bit")) << run.messages;
        EXPECT_TRUE(Says(run, "RGB of 8 or 16 bits, or an 8-bit palette.")) << run.messages;
        EXPECT_FALSE(Says(run, "--luminance")) << run.messages;
    }
}

TEST_F(DoubtfulInput, AStackIsRefusedWithTheWayToChooseAPage) {
    TiffBuilder file;
    for (int page = 0; page < 2; ++page) {
        file.Page().Grey(32, 32, 8);
        if (page == 0) file.Text(270, "ImageJ=1.53t\nimages=2\nslices=2\n");
        const qvox::VoxelImage<std::uint8_t> plane = Vesicles(1, 32, 32);
        file.AddPiece(std::string(plane.begin(), plane.end()));
    }
    file.Write(File("a.tif"));
    const ProgramResult run = RunProgram({"detect", "--pixel-size", "1.488", File("a.tif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Says(run, "2 planes; only an image of one plane can be analysed.'; --page N chooses one)"))
        << run.messages;
    EXPECT_FALSE(Says(run, "warning")) << run.messages;
    EXPECT_EQ(RunProgram({"detect", "--pixel-size", "1.488", "--page", "2", File("a.tif")}).status, 0);
}

TEST_F(DoubtfulInput, ImagesWithoutLabelsAreNotCountedAsDone) {
    const std::string image = Save("a.tif", 672.0f);
    const std::string bare = Save("b.tif", 672.0f);
    SaveSquares("seg_a.tif");
    const ProgramResult run = RunProgram({"overlay", image, bare});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Says(run, "1 image done, 1 left out for want of labels.")) << run.messages;
}

}  // namespace

}  // namespace korvane_test
