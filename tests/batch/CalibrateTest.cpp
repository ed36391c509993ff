#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

template <typename T>
qvox::VoxelImage<T> Ramp(std::uint64_t planes, qvox::PixelResolution resolution) {
    qvox::VoxelImage<T> image;
    image.Resize(7, 5, planes);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<T>(static_cast<double>(i) * 1.5);
    image.SetResolution(resolution);
    image.SetOffset({1.0f, 2.0f, 3.0f});
    image.SetMetadata({{"Make", "someone"}, {"Note", "50 % \xC2\xB5"}});
    return image;
}

class Calibrate : public ::testing::Test {
protected:
    std::string File(const std::string& name) const { return folder_.File(name); }
    template <typename T>
    std::string Save(const std::string& name, std::uint64_t planes, qvox::PixelResolution resolution = {}) {
        qvox::SaveImageFile(File(name), Ramp<T>(planes, resolution));
        return File(name);
    }
    template <typename T>
    void ExpectCopy(const std::string& source, const std::string& copy, qvox::PixelResolution resolution) {
        qvox::VoxelImage<T> expected;
        qvox::VoxelImage<T> found;
        qvox::LoadImageFile(source, expected);
        ASSERT_TRUE(fs::exists(copy));
        qvox::LoadImageFile(copy, found);
        ASSERT_EQ(found.SizeZ(), expected.SizeZ());
        ASSERT_EQ(found.VoxelCount(), expected.VoxelCount());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), found.begin()));
        EXPECT_EQ(found.Resolution(), resolution);
        EXPECT_EQ(found.Offset(), expected.Offset());
        EXPECT_EQ(found.Metadata(), expected.Metadata());
    }
    TemporaryFolder folder_;
};

TEST_F(Calibrate, CopiesEveryTypeWithAllPlanesAndTheSizeGiven) {
    const std::string narrow = Save<std::uint8_t>("a.tif", 1);
    const std::string wide = Save<std::uint16_t>("b.tif", 3, {0.0f, 0.0f, 20.0f});
    const std::string real = Save<float>("c.tif", 2);
    const std::string before = Contents(narrow);
    const ProgramResult run = RunProgram({"calibrate", "--pixel-size", "2.5", "-o", File("out"), narrow, wide, real});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.messages.find("a.tif: 2.5 nm per pixel"), std::string::npos) << run.messages;
    ExpectCopy<std::uint8_t>(narrow, File("out/a.tif"), {400.0f, 400.0f, 0.0f});
    ExpectCopy<std::uint16_t>(wide, File("out/b.tif"), {400.0f, 400.0f, 20.0f});
    ExpectCopy<float>(real, File("out/c.tif"), {400.0f, 400.0f, 0.0f});
    EXPECT_EQ(Contents(narrow), before);
    EXPECT_FALSE(fs::exists(File("out/korvane-run.json")));
    const ProgramResult info = RunProgram({"info", File("out/b.tif")});
    EXPECT_NE(info.output.find("7 x 5 x 3, 16-bit grey, 2.5 nm per pixel"), std::string::npos) << info.output;
}

TEST_F(Calibrate, TheImagesOwnScaleBarGivesThePixelSizeWithItsLength) {
    const auto save = [this](const char* name, std::initializer_list<std::uint64_t> lengths) {
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(300, 200, 1);
        for (std::uint64_t i = 0; i < image.VoxelCount(); ++i)
            image[i] = static_cast<std::uint8_t>(90 + (7919 * i >> 3) % 31);
        std::uint64_t top = 150;
        for (const std::uint64_t length : lengths) {
            for (std::uint64_t y = top; y < top + 5; ++y) std::fill_n(image.Row(y) + 40, length, std::uint8_t{255});
            top += 20;
        }
        qvox::SaveImageFile(File(name), image);
        return File(name);
    };
    const std::string one = save("one.tif", {80});
    const ProgramResult run = RunProgram({"calibrate", "--bar-length-nm", "100", "-o", File("out"), one});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.messages.find("one.tif: 1.25 nm per pixel"), std::string::npos) << run.messages;
    ExpectCopy<std::uint8_t>(one, File("out/one.tif"), {800.0f, 800.0f, 0.0f});
    const auto refusal = [&](const std::string& image) {
        const ProgramResult refused = RunProgram({"calibrate", "--bar-length-nm", "100", "-o", File("out"), image});
        EXPECT_EQ(refused.status, 1);
        return refused.messages;
    };
    EXPECT_NE(refusal(save("none.tif", {})).find("No scale bar is found in it"), std::string::npos);
    EXPECT_NE(refusal(save("two.tif", {80, 60})).find("scale bars of 80 and of 60 pixels"), std::string::npos);
    EXPECT_EQ(RunProgram({"calibrate", "--bar-length-nm", "0", one}).status, 2);
    EXPECT_EQ(RunProgram({"calibrate", "--bar-length-nm", "1", "--pixel-size", "1", one}).status, 2);
}

TEST_F(Calibrate, WithoutAFolderTheCopyLiesBesideItsImage) {
    const std::string image = Save<std::uint8_t>("a.tif", 1);
    const std::string before = Contents(image);
    for (int round = 0; round < 2; ++round) {
        const ProgramResult run = RunProgram({"calibrate", "--pixel-size", "2", folder_.Path().string()});
        ASSERT_EQ(run.status, 0) << run.messages;
        ExpectCopy<std::uint8_t>(image, File("calibrated_a.tif"), {500.0f, 500.0f, 0.0f});
        EXPECT_FALSE(fs::exists(File("calibrated_calibrated_a.tif")));
    }
    EXPECT_EQ(Contents(image), before);
}

TEST_F(Calibrate, AnotherPixelSizeIsReplacedOnlyByForce) {
    const std::string image = Save<std::uint8_t>("a.tif", 1, {672.0f, 672.0f, 0.0f});
    const std::string plain = Save<std::uint8_t>("b.tif", 1);
    const ProgramResult refused = RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), image, plain});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.messages.find("error: Cannot calibrate '" + image + "'! (The file stores 1.4881 nm per pixel ("),
              std::string::npos)
        << refused.messages;
    EXPECT_NE(refused.messages.find("--force replaces it"), std::string::npos);
    EXPECT_FALSE(fs::exists(File("out/a.tif")));
    EXPECT_TRUE(fs::exists(File("out/b.tif"))) << "the others are done";
    const ProgramResult forced = RunProgram({"calibrate", "--force", "--pixel-size", "2", "-o", File("out"), image});
    EXPECT_EQ(forced.status, 0) << forced.messages;
    ExpectCopy<std::uint8_t>(image, File("out/a.tif"), {500.0f, 500.0f, 0.0f});
}

TEST_F(Calibrate, TheSamePixelSizeIsNoReasonToRefuse) {
    const std::string image = Save<std::uint8_t>("a.tif", 1, {500.0001f, 500.0f, 0.0f});
    const ProgramResult run = RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), image});
    EXPECT_EQ(run.status, 0) << run.messages;
    ExpectCopy<std::uint8_t>(image, File("out/a.tif"), {500.0f, 500.0f, 0.0f});
    const std::string oblong = Save<std::uint8_t>("b.tif", 1, {500.0f, 400.0f, 0.0f});
    EXPECT_EQ(RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), oblong}).status, 1);
}

TEST_F(Calibrate, ForceReplacesAMakersEntryForGood) {
    TiffBuilder file;
    file.Page().Grey(1, 1, 8).AddPiece("x").Text(34682, "[Scan]\nPixelWidth=4e-9\nPixelHeight=4e-9\n");
    file.Write(File("a.tif"));
    EXPECT_EQ(RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), File("a.tif")}).status, 1);
    const ProgramResult run =
        RunProgram({"calibrate", "--force", "--pixel-size", "2", "-o", File("out"), File("a.tif")});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(qvox::InspectImageFile(File("out/a.tif")).resolution, (qvox::PixelResolution{500.0f, 500.0f, 0.0f}));
}

TEST_F(Calibrate, AnExistingCopyIsReplacedOnlyByOverwrite) {
    const std::string image = Save<std::uint8_t>("a.tif", 1);
    ASSERT_EQ(RunProgram({"calibrate", "--pixel-size", "2", image}).status, 0);
    const ProgramResult skipped = RunProgram({"calibrate", "--pixel-size", "4", image});
    EXPECT_EQ(skipped.status, 0);
    EXPECT_NE(skipped.messages.find("is skipped: '" + File("calibrated_a.tif") + "' exists"), std::string::npos);
    ExpectCopy<std::uint8_t>(image, File("calibrated_a.tif"), {500.0f, 500.0f, 0.0f});
    EXPECT_EQ(RunProgram({"calibrate", "--overwrite", "--pixel-size", "4", image}).status, 0);
    ExpectCopy<std::uint8_t>(image, File("calibrated_a.tif"), {250.0f, 250.0f, 0.0f});
}

TEST_F(Calibrate, NeverWritesOverItsSource) {
    const std::string image = Save<std::uint8_t>("a.tif", 1);
    const std::string before = Contents(image);
    fs::create_symlink(folder_.Path(), File("link"));
    fs::create_symlink(image, File("calibrated_a.tif"));
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{"-o", folder_.Path().string()}, {"-o", File("link")}, {}}) {
        std::vector<std::string> arguments{"calibrate", "--force", "--overwrite", "--pixel-size", "2", image};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.messages.find("is an input image"), std::string::npos) << run.messages;
        EXPECT_EQ(Contents(image), before);
    }
}

TEST_F(Calibrate, OtherKindsOfPicturesAndBrokenOnesFailAlone) {
    qvox::VoxelImage<qvox::Rgb8> colour;
    colour.Resize(2, 2, 1);
    colour.Zero();
    qvox::SaveImageFile(File("a.tif"), colour);
    const std::string good = Save<std::uint8_t>("b.tif", 1);
    const ProgramResult run =
        RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), File("a.tif"), good, File("none.tif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("'" + File("a.tif") + "'! (Unsupported pixel type)"), std::string::npos);
    EXPECT_NE(run.messages.find("2 of 3 images failed."), std::string::npos) << run.messages;
    EXPECT_FALSE(fs::exists(File("out/a.tif")));
    EXPECT_TRUE(fs::exists(File("out/b.tif")));
}

TEST_F(Calibrate, AFullDiskIsSaidAndLeavesNothing) {
    qvox::VoxelImage<float> image;
    image.Resize(300, 300, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<float>(i * 2654435761u % 65521u);
    qvox::SaveImageFile(File("a.tif"), image);
    Surroundings surroundings;
    surroundings.maxFileBytes = 50000;
    const ProgramResult run =
        RunProgram({"calibrate", "--pixel-size", "2", "-o", File("out"), File("a.tif")}, surroundings);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("Cannot calibrate '" + File("a.tif") + "'! ("), std::string::npos) << run.messages;
    EXPECT_TRUE(fs::is_empty(File("out")));
}

}  // namespace

}  // namespace korvane_test
