#include "VoxelImage.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "BorrowedImage.h"
#include "support/TestImages.h"

using qvox::VoxelImage;

namespace {

TEST(VoxelImage, IsEmptyWithoutOffsetAndResolutionWhenCreated) {
    const VoxelImage<float> image;
    EXPECT_TRUE(image.Empty());
    EXPECT_EQ(image.SizeX() + image.SizeY() + image.SizeZ(), 0u);
    EXPECT_EQ(image.Resolution(), qvox::PixelResolution{});
    EXPECT_EQ(image.Offset(), qvox::VoxelOffset{});
}

TEST(VoxelImage, AnEmptyImageCanBeAssignedCopiedAndDisposed) {
    VoxelImage<std::uint16_t> empty;
    VoxelImage<std::uint16_t> copy(empty);
    auto full = korvane_test::Draw<std::uint16_t>({"12", "34"});
    full = empty;
    EXPECT_TRUE(full.Empty());
    EXPECT_TRUE(copy.Empty());
    copy.Release();
    EXPECT_TRUE(copy.Empty());
}

TEST(VoxelImage, CopiesVoxelsAndProperties) {
    VoxelImage<float> image({1, 2, 3}, {4, 5, 6});
    image.Resize(2, 1, 1);
    image[0] = 7;
    image[1] = 8;
    image.SetMetadata({{"key", "value"}});
    VoxelImage<float> copy;
    copy = image;
    image[0] = 0;
    EXPECT_EQ(copy[0], 7);
    EXPECT_EQ(copy[1], 8);
    EXPECT_EQ(copy.Resolution(), (qvox::PixelResolution{4, 5, 6}));
    EXPECT_EQ(copy.Offset(), (qvox::VoxelOffset{1, 2, 3}));
    EXPECT_EQ(copy.Metadata().at("key"), "value");
}

TEST(VoxelImage, LinearIndexRunsXThenYThenZ) {
    VoxelImage<std::uint8_t> image;
    image.Resize(3, 4, 5);
    EXPECT_EQ(image.Index(2, 3, 4), 59u);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        const auto at = image.Coordinates(i);
        ASSERT_EQ(image.Index(at[0], at[1], at[2]), i);
    }
}

TEST(VoxelImage, BorderIsFirstAndLastColumnAndRow) {
    VoxelImage<bool> image;
    image.Resize(3, 3, 1);
    for (std::uint64_t i = 0; i < 9; ++i) EXPECT_EQ(image.OnBorder(i), i != 4) << i;
    image.Resize(1, 5, 1);
    for (std::uint64_t i = 0; i < 5; ++i) EXPECT_TRUE(image.OnBorder(i));
}

TEST(VoxelImage, ValueRangePassesOverNaN) {
    VoxelImage<float> image;
    image.Resize(4, 1, 1);
    image[0] = std::numeric_limits<float>::quiet_NaN();
    image[1] = 3;
    image[2] = -1;
    image[3] = 2;
    float low = 0;
    float high = 0;
    image.ValueRange(low, high);
    EXPECT_EQ(low, -1);
    EXPECT_EQ(high, 3);
    image.Resize(1, 1, 1);
    image[0] = std::numeric_limits<float>::quiet_NaN();
    image.ValueRange(low, high);
    EXPECT_TRUE(std::isnan(low) && std::isnan(high));
    image.Release();
    EXPECT_THROW(image.ValueRange(low, high), qvox::ToolkitError);
}

TEST(VoxelImage, SizesWhoseProductOverflowsAreOutOfMemoryAndChangeNothing) {
    auto image = korvane_test::Draw<std::uint16_t>({"12"});
    EXPECT_THROW(image.Resize(1ull << 33, 1ull << 33, 1), std::bad_alloc);
    EXPECT_EQ(image.SizeX(), 2u);
    EXPECT_EQ(image[1], 2);
}

TEST(VoxelImage, MovingLeavesTheSourceEmpty) {
    auto image = korvane_test::Draw<std::uint16_t>({"12"});
    const VoxelImage<std::uint16_t> taken(std::move(image));
    EXPECT_TRUE(image.Empty());
    EXPECT_EQ(taken[1], 2);
}

TEST(BorrowedImage, ShowsVoxelsOfSomeoneElseAndLeavesThemAlone) {
    std::array<std::uint16_t, 6> voxels{1, 2, 3, 4, 5, 6};
    VoxelImage<std::uint16_t> copy;
    {
        qvox::BorrowedImage<std::uint16_t> borrowed(voxels.data(), 3, 2);
        borrowed.SetResolution({2.0f, 3.0f, 0.0f});
        const VoxelImage<std::uint16_t>& image = borrowed.Image();
        EXPECT_EQ(image.begin(), voxels.data());
        EXPECT_EQ(image(2, 1), 6);
        EXPECT_EQ(image.SizeX() * 100 + image.SizeY() * 10 + image.SizeZ(), 321u);
        copy = image;
        EXPECT_NE(copy.begin(), voxels.data());
    }
    voxels[5] = 7;
    EXPECT_EQ(copy(2, 1), 6);
    EXPECT_EQ(copy.Resolution().y, 3.0f);
    copy.Resize(1, 1, 1);
    copy[0] = 9;
    EXPECT_EQ(voxels[0], 1);
}

}  // namespace
