#include "ImageLoading.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "FailureText.h"
#include "PathText.h"
#include "PositionStore.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"
#include "support/TiffBuilder.h"

namespace Korvane {

namespace {

template <typename T>
qvox::VoxelImage<T> Ramp() {
    qvox::VoxelImage<T> image;
    image.Resize(4, 3, 1);
    for (std::uint64_t i = 0; i < 12; ++i) image[i] = static_cast<T>(i);
    image.SetResolution({672.0f, 672.0f, 0.0f});
    return image;
}

wxString LoadMessage(const std::string& path) {
    try {
        LoadPosition(PathText(path));
    } catch (...) {
        return FailureMessage(FileTask::kLoadInput, PathText(path), std::current_exception());
    }
    return "loaded";
}

TEST(LoadPosition, KeepsTheIntensitiesOfAnEightBitFile) {
    const korvane_test::TemporaryFolder folder;
    qvox::VoxelImage<std::uint8_t> image = Ramp<std::uint8_t>();
    image[11] = 255;
    qvox::SaveImageFile(folder.File("a.tif"), image);
    const Position position = LoadPosition(PathText(folder.File("a.tif")));
    for (std::uint64_t i = 0; i < 12; ++i) EXPECT_EQ(position.image[i], static_cast<float>(image[i]));
    EXPECT_EQ(position.path, PathText(folder.File("a.tif")));
}

TEST(LoadPosition, KeepsTheIntensitiesOfASixteenBitFile) {
    const korvane_test::TemporaryFolder folder;
    qvox::VoxelImage<std::uint16_t> image = Ramp<std::uint16_t>();
    image[11] = 65535;
    qvox::SaveImageFile(folder.File("a.tif"), image);
    const Position position = LoadPosition(PathText(folder.File("a.tif")));
    EXPECT_EQ(position.image[11], 65535.0f);
    EXPECT_EQ(position.image[5], 5.0f);
}

TEST(LoadPosition, CopiesAFloatFile) {
    const korvane_test::TemporaryFolder folder;
    qvox::VoxelImage<float> image = Ramp<float>();
    image[11] = -1.5e20f;
    qvox::SaveImageFile(folder.File("a.tif"), image);
    EXPECT_TRUE(korvane_test::SameVoxels(image, LoadPosition(PathText(folder.File("a.tif"))).image));
}

TEST(LoadPosition, MakesZeroLabelsWithTheImagesSizesAndResolution) {
    const korvane_test::TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Ramp<std::uint16_t>());
    const Position position = LoadPosition(PathText(folder.File("a.tif")));
    EXPECT_TRUE(position.labels.SameSizes(position.image));
    EXPECT_EQ(position.labels.Resolution(), position.image.Resolution());
    EXPECT_GT(position.labels.Resolution().x, 671.0f);
    EXPECT_EQ(position.labels.Metadata(), position.image.Metadata());
    EXPECT_EQ(CountLabels(position.labels), 0u);
}

TEST(LoadPosition, RefusesAColourFile) {
    const korvane_test::TemporaryFolder folder;
    qvox::VoxelImage<qvox::Rgb8> image;
    image.Resize(2, 2, 1);
    image.Zero();
    image(1, 1) = {1, 2, 3};
    qvox::SaveImageFile(folder.File("rgb.tif"), image);
    const wxString begin =
        PathText("Cannot load the input image '" + folder.File("rgb.tif") + "'! (Unsupported pixel type)\n");
    const wxString wanted = "It holds RGB, 8 bits; wanted is 8-bit, 16-bit or 32-bit float grey.";
    EXPECT_EQ(LoadMessage(folder.File("rgb.tif")), begin + wanted);
    image(1, 1) = {2, 2, 2};
    qvox::SaveImageFile(folder.File("rgb.tif"), image);
    EXPECT_EQ(
        LoadMessage(folder.File("rgb.tif")),
        begin + wanted + " It is a grey image stored as RGB: save it as grey, as korvane-batch calibrate --grey does.");
}

TEST(LoadPosition, TellsOfAGreyImageStoredWithAPalette) {
    const korvane_test::TemporaryFolder folder;
    std::vector<std::uint16_t> map;
    for (int channel = 0; channel < 3; ++channel) {
        for (unsigned i = 0; i < 16; ++i) map.push_back(static_cast<std::uint16_t>(i * 4369));
    }
    korvane_test::TiffBuilder file;
    file.Page().Grey(2, 1, 4).Short(262, 3).Shorts(320, map).AddPiece("\x12");
    file.Write(folder.File("a.tif"));
    EXPECT_TRUE(LoadMessage(folder.File("a.tif"))
                    .EndsWith("(Unsupported pixel type)\nIt holds 4-bit colour palette; wanted is 8-bit, 16-bit or "
                              "32-bit float grey. It is a grey image stored with a palette: save it as grey."));
}

TEST(LoadPosition, TellsWhyAFileCannotBeRead) {
    const korvane_test::TemporaryFolder folder;
    std::ofstream(folder.File("text.tif")) << "no picture";
    const wxString begin = PathText("Cannot load the input image '" + folder.File("text.tif") + "'! (Error='");
    EXPECT_TRUE(LoadMessage(folder.File("text.tif")).StartsWith(begin));
    EXPECT_EQ(LoadMessage(folder.File("none.tif")), PathText("Cannot load the input image '" + folder.File("none.tif") +
                                                             "'! (Error='No such file or directory.')"));
}

TEST(LoadPosition, OpensFilesOfAnyName) {
    const korvane_test::TemporaryFolder folder;
    for (const char* name : {"\xC3\xBC \xC3\xA9 \xC2\xB5 \xE4\xB8\xAD #1 100%.tif", "bad\xFF\x80.tif"}) {
        qvox::SaveImageFile(folder.File(name), Ramp<std::uint8_t>());
        EXPECT_EQ(LoadMessage(folder.File(name)), wxString("loaded"));
    }
}

TEST(AppendPosition, CountsOnlyWhatWasLoaded) {
    const korvane_test::TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("1.tif"), Ramp<std::uint8_t>());
    qvox::VoxelImage<qvox::Rgb8> colour;
    colour.Resize(2, 2, 1);
    colour.Zero();
    qvox::SaveImageFile(folder.File("2.tif"), colour);
    qvox::SaveImageFile(folder.File("3.tif"), Ramp<float>());
    PositionStore store;
    int failures = 0;
    for (const char* name : {"1.tif", "2.tif", "3.tif"}) {
        try {
            AppendPosition(store, LoadPosition(PathText(folder.File(name))));
        } catch (const UnsupportedPixelType&) {
            ++failures;
        }
    }
    EXPECT_EQ(failures, 1);
    ASSERT_EQ(PositionCount(store), 2u);
    EXPECT_EQ(store.paths[1], PathText(folder.File("3.tif")));
    EXPECT_EQ(store.images.Count(), 2u);
}

}  // namespace

}  // namespace Korvane
