#include "RimLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "LabelPainter.h"
#include "PngEncoding.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

constexpr std::uint16_t kLabel = 5;

/// A dark disc of 20 pixels radius around (45, 40), its label smaller, and a label in the plain background.
Position Disc() {
    Position position;
    position.image.Resize(96, 80, 1);
    position.labels.Resize(96, 80, 1);
    position.labels.Zero();
    for (std::uint64_t y = 0; y < 80; ++y) {
        for (std::uint64_t x = 0; x < 96; ++x) {
            const double away = std::hypot(static_cast<double>(x) - 45.0, static_cast<double>(y) - 40.0);
            position.image(x, y) = away < 20.0 ? 60.0f : 160.0f;
            if (away < 17.0) position.labels(x, y) = kLabel;
        }
    }
    for (std::uint64_t y = 0; y < 2; ++y) position.labels(80 + y, 5) = 9;
    return position;
}

TEST(RimLines, CloseAroundEachObjectThatHasARim) {
    const Position position = Disc();
    const qvox::LabelImage lines = RimLines(position);
    ASSERT_TRUE(lines.SameSizes(position.labels));
    std::size_t drawn = 0;
    for (std::uint64_t y = 0; y < 80; ++y) {
        for (std::uint64_t x = 0; x < 96; ++x) {
            if (lines(x, y) == 0) continue;
            ++drawn;
            EXPECT_EQ(lines(x, y), kLabel);
            EXPECT_NEAR(std::hypot(static_cast<double>(x) - 45.0, static_cast<double>(y) - 40.0), 20.0, 1.2);
        }
    }
    // A line of side or corner neighbours around a disc of that size.
    EXPECT_GT(drawn, 100u);
    EXPECT_LT(drawn, 150u);
}

TEST(RimLines, ArePaintedInOverlaysInPlaceOfContours) {
    const korvane_test::TemporaryFolder folder;
    const Position position = Disc();
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(96, 80, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(position.image[i]);
    qvox::SaveImageFile(folder.File("a.tif"), image);
    qvox::SaveImageFile(folder.File("seg_a.tif"), position.labels);
    const auto run = korvane_test::RunProgram({"overlay", "--rim", "--pixel-size", "1.5", folder.File("a.tif")});
    ASSERT_EQ(run.status, 0) << run.messages;
    ColourPicture picture;
    qvox::LoadImageFile(folder.File("export_a.tif"), picture);
    const ColourPicture wanted = PaintPosition(position.image, RimLines(position), LabelStyle::kRegions);
    ASSERT_TRUE(picture.SameSizes(wanted));
    EXPECT_TRUE(std::equal(picture.begin(), picture.end(), wanted.begin()));
    std::filesystem::remove(folder.File("seg_a.tif"));
    EXPECT_EQ(korvane_test::RunProgram({"overlay", "--rim", folder.File("a.tif")}).status, 1);
}

TEST(OverlayStyles, NumbersScaleBarAndPngAddToTheOverlayOfBefore) {
    const korvane_test::TemporaryFolder folder;
    Position position = Disc();
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(96, 80, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<std::uint8_t>(position.image[i]);
    image.SetResolution({500.0f, 500.0f, 0.0f});
    const std::string file = folder.File("a.tif");
    qvox::SaveImageFile(file, image);
    qvox::SaveImageFile(folder.File("seg_a.tif"), position.labels);
    const auto overlay = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"overlay", file});
        const korvane_test::ProgramResult run = korvane_test::RunProgram(more);
        EXPECT_EQ(run.status, 0) << run.messages;
        ColourPicture painted;
        qvox::LoadImageFile(folder.File("export_a.tif"), painted);
        return painted;
    };
    const auto differences = [](const ColourPicture& a, const ColourPicture& b, std::uint64_t fromY) {
        std::size_t count = 0;
        for (std::uint64_t y = fromY; y < a.SizeY(); ++y) {
            for (std::uint64_t x = 0; x < a.SizeX(); ++x) count += a(x, y) == b(x, y) ? 0u : 1u;
        }
        return count;
    };
    const ColourPicture plain = overlay({});
    const ColourPicture numbered = overlay({"--numbers"});
    // The disc's 5 stands at its centre, the 9 above; nothing else is touched.
    EXPECT_GT(differences(plain, numbered, 30), 20u);
    EXPECT_EQ(differences(plain, numbered, 55), 0u);
    constexpr qvox::Rgb8 white{255, 255, 255};
    std::size_t whitened = 0;
    for (std::uint64_t i = 0; i < plain.VoxelCount(); ++i) whitened += plain[i] != white && numbered[i] == white;
    EXPECT_GT(whitened, 5u) << "the disc is dark, its number white";
    const ColourPicture barred = overlay({"--scale-bar"});
    EXPECT_GT(differences(plain, barred, 70), 20u);  // its frame: the background is white
    EXPECT_EQ(barred(96 - 4 - 1, 80 - 4 - 1), white);
    const std::string before = korvane_test::Contents(folder.File("export_a.tif"));
    ASSERT_EQ(korvane_test::RunProgram({"overlay", file, "--overlay-format", "png", "--scale-bar"}).status, 0);
    EXPECT_EQ(korvane_test::Contents(folder.File("export_a.png")), EncodePng(barred));
    EXPECT_EQ(korvane_test::Contents(folder.File("export_a.tif")), before);
    // Two images of one stem.
    qvox::SaveImageFile(folder.File("a.tiff"), image);
    const korvane_test::ProgramResult twice =
        korvane_test::RunProgram({"overlay", file, folder.File("a.tiff"), "--overlay-format", "png"});
    EXPECT_EQ(twice.status, 2);
    EXPECT_NE(twice.messages.find("export_a.png"), std::string::npos) << twice.messages;
    EXPECT_EQ(korvane_test::RunProgram({"overlay", file, "--raw", "--numbers"}).status, 2);
}

TEST(OverlayStyles, AScaleBarNeedsAPixelSize) {
    const korvane_test::TemporaryFolder folder;
    const Position position = Disc();
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(96, 80, 1);
    image.Zero();
    qvox::SaveImageFile(folder.File("a.tif"), image);
    qvox::SaveImageFile(folder.File("seg_a.tif"), position.labels);
    const korvane_test::ProgramResult run = korvane_test::RunProgram({"overlay", folder.File("a.tif"), "--scale-bar"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("the pixel size is not known"), std::string::npos) << run.messages;
    EXPECT_FALSE(std::filesystem::exists(folder.File("export_a.tif")));
}

}  // namespace

}  // namespace Korvane
