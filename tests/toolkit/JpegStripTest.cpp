#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "ToolkitError.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr std::uint32_t kSide = 64;

/// A grey picture in one JPEG strip. Gives back where the strip lies.
std::pair<std::uint64_t, std::uint64_t> WriteJpeg(const std::string& path) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kSide);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kSide);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kSide);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    std::mt19937 random(4);
    std::string row(kSide, 'a');
    for (std::uint32_t y = 0; y < kSide; ++y) {
        for (char& grey : row) grey = static_cast<char>(random());
        TIFFWriteScanline(tiff, row.data(), y, 0);
    }
    TIFFClose(tiff);
    tiff = TIFFOpen(path.c_str(), "r");
    const std::pair<std::uint64_t, std::uint64_t> place{TIFFGetStrileOffset(tiff, 0), TIFFGetStrileByteCount(tiff, 0)};
    TIFFClose(tiff);
    return place;
}

// The decoder would make up the rows that are missing.
TEST(JpegStrip, ThatEndsEarlyIsRefused) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    const auto [offset, count] = WriteJpeg(path);
    qvox::VoxelImage<std::uint8_t> image;
    qvox::LoadImageFile(path, image);
    EXPECT_EQ(image.SizeY(), kSide);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset + count / 2));
    file << "\xFF\xD9";  // the end of a picture
    file.close();
    try {
        qvox::LoadImageFile(path, image);
        FAIL() << "half of the picture is made up";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Cannot read '" + path + "': the picture data are broken or incomplete in strip 1 of 1.");
    }
}

}  // namespace
