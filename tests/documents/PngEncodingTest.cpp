#include "PngEncoding.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstring>

#include "ToolkitError.h"
#include "files/StoredDescription.h"

namespace Korvane {

namespace {

qvox::VoxelImage<qvox::Rgb8> Gradient() {
    qvox::VoxelImage<qvox::Rgb8> image;
    image.Resize(37, 21, 1);
    for (std::uint64_t y = 0; y < 21; ++y) {
        for (std::uint64_t x = 0; x < 37; ++x) {
            image(x, y) = {static_cast<std::uint8_t>(6 * x), static_cast<std::uint8_t>(11 * y),
                           static_cast<std::uint8_t>(x * y)};
        }
    }
    return image;
}

TEST(PngEncoding, GivesThePixelsBack) {
    const qvox::VoxelImage<qvox::Rgb8> image = Gradient();
    const std::string bytes = EncodePng(image);
    png_image read = {};
    read.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&read, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(read.width, 37u);
    EXPECT_EQ(read.height, 21u);
    read.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(read));
    ASSERT_NE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr), 0);
    ASSERT_EQ(pixels.size(), 3 * image.VoxelCount());
    EXPECT_EQ(std::memcmp(pixels.data(), image.begin(), pixels.size()), 0);
    EXPECT_EQ(EncodePng(image), bytes);
}

TEST(PngEncoding, GivesGreyLevelsBack) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(3, 2, 1);
    const std::vector<std::uint8_t> levels{0, 50, 100, 150, 200, 255};
    std::copy(levels.begin(), levels.end(), image.begin());
    const std::string bytes = EncodePng(image);
    png_image read = {};
    read.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&read, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(read.format, static_cast<png_uint_32>(PNG_FORMAT_GRAY));
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(read));
    ASSERT_NE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr), 0);
    EXPECT_EQ(pixels, levels);
}

TEST(PngEncoding, StoresThePixelSizeInPixelsPerMetre) {
    qvox::VoxelImage<qvox::Rgb8> image = Gradient();
    EXPECT_EQ(EncodePng(image).find("pHYs"), std::string::npos);
    image.SetResolution({672.0f, 500.0f, 0.0f});
    const std::string bytes = EncodePng(image);
    const std::size_t at = bytes.find("pHYs");
    ASSERT_NE(at, std::string::npos);
    // 672,000,000 and 500,000,000 per metre, the most significant byte first.
    EXPECT_EQ(bytes.substr(at + 4, 9), std::string("\x28\x0d\xe8\x00\x1d\xcd\x65\x00\x01", 9));
}

TEST(PngEncoding, StoresTheOrientationOfAnImageThatIsNotUpright) {
    qvox::VoxelImage<qvox::Rgb8> image = Gradient();
    EXPECT_EQ(EncodePng(image).find("eXIf"), std::string::npos);
    qvox::Description entries;
    qvox::SetOrientation(entries, 6);
    image.SetMetadata(entries);
    const std::string bytes = EncodePng(image);
    const std::size_t at = bytes.find("eXIf");
    ASSERT_NE(at, std::string::npos);
    EXPECT_LT(at, bytes.find("IDAT"));
    // Byte order, 42, place of the entries; one entry: tag 274, type SHORT, one of them, 6; no further entries.
    EXPECT_EQ(bytes.substr(at + 4, 26),
              std::string("MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 26));
}

TEST(PngEncoding, TakesSidesOfMoreThanAMillionPixels) {
    constexpr std::uint64_t kSide = 1000001;
    for (const bool isWide : {true, false}) {
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(isWide ? kSide : 1, isWide ? 1 : kSide, 1);
        image.Zero();
        const std::string bytes = EncodePng(image);
        const std::size_t at = bytes.find("IHDR");
        ASSERT_NE(at, std::string::npos);
        // 1000001, the most significant byte first.
        EXPECT_EQ(bytes.substr(at + (isWide ? 4 : 8), 4), std::string("\x00\x0f\x42\x41", 4));
    }
}

TEST(PngEncoding, RefusesStacksAndEmptyImages) {
    qvox::VoxelImage<qvox::Rgb8> image;
    EXPECT_THROW(EncodePng(image), qvox::ToolkitError);
    image.Resize(3, 3, 2);
    EXPECT_THROW(EncodePng(image), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
