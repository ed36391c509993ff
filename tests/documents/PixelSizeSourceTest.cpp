#include "PixelSizeSource.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "PathText.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

TEST(PixelSizeSource, IsTheEntryOfTheFileWhereBothAxesAreUsedAsStored) {
    const korvane_test::TemporaryFolder folder;
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(8, 8, 1);
    image.Zero();
    image.SetResolution({500.0f, 400.0f, 0.0f});
    qvox::SaveImageFile(folder.File("a.tif"), image);
    const wxString path = PathText(folder.File("a.tif"));
    const qvox::ImageFileInfo stored = qvox::InspectImageFile(folder.File("a.tif"));
    ASSERT_FALSE(stored.resolutionNote.empty());
    const auto with = [&](float xFactor, float yFactor) {
        return PixelSizeSource(path, {stored.resolution.x * xFactor, stored.resolution.y * yFactor, 0.0f});
    };
    EXPECT_EQ(with(1.0f, 1.0f), PathText(stored.resolutionNote));
    EXPECT_EQ(with(2.0f, 1.0f), "the file");
    EXPECT_EQ(with(1.0f, 2.0f), "the file");
    EXPECT_EQ(PixelSizeSource(path + ".none", stored.resolution), "the file");
}

}  // namespace

}  // namespace Korvane
