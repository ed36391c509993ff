// Grey images that are stored in colour, and numbers that are read as they are stored.

#include <gtest/gtest.h>
#include <tiff.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "files/StoredNumbers.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using qvox::ColourRule;

class ColourToGrey : public ::testing::Test {
protected:
    void WriteRgb(const std::string& bytes, std::uint16_t bits, std::uint16_t channels = 3) {
        const auto width = static_cast<std::uint32_t>(bytes.size() * 8 / bits / channels);
        TiffBuilder file;
        file.Page()
            .Grey(width, 1, bits)
            .Shorts(TIFFTAG_BITSPERSAMPLE, std::vector<std::uint16_t>(channels, bits))
            .Short(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB)
            .Short(TIFFTAG_SAMPLESPERPIXEL, channels)
            .AddPiece(bytes);
        file.Write(path_);
    }
    void WritePalette(const std::string& bytes, const std::vector<std::uint16_t>& map) {
        TiffBuilder file;
        file.Page()
            .Grey(static_cast<std::uint32_t>(bytes.size()), 1, 8)
            .Short(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE)
            .Shorts(TIFFTAG_COLORMAP, map)
            .AddPiece(bytes);
        file.Write(path_);
    }
    template <typename T>
    std::vector<unsigned> Read(ColourRule colour) {
        qvox::ReadOptions options;
        options.colour = colour;
        qvox::VoxelImage<T> image;
        qvox::LoadImageFile(path_, image, options);
        return {image.begin(), image.end()};
    }
    std::string Refusal(ColourRule colour) {
        try {
            Read<std::uint8_t>(colour);
        } catch (const qvox::ToolkitError& error) {
            return error.what();
        }
        return "read";
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
};

using Values = std::vector<unsigned>;

TEST_F(ColourToGrey, EqualChannelsGiveTheirValue) {
    WriteRgb(std::string("\x00\x00\x00\x07\x07\x07\xFF\xFF\xFF", 9), 8);
    EXPECT_EQ(Read<std::uint8_t>(ColourRule::kEqualChannels), (Values{0, 7, 255}));
    EXPECT_EQ(Read<std::uint8_t>(ColourRule::kLuminance), (Values{0, 7, 255}));
    EXPECT_EQ(qvox::GreyTypeOf(path_), qvox::VoxelType::kUint8);
    EXPECT_NE(Refusal(ColourRule::kRefuse), "read") << "only where it is asked for";
    WriteRgb("\x34\x12\x34\x12\x34\x12", 16);
    EXPECT_EQ(Read<std::uint16_t>(ColourRule::kEqualChannels), (Values{0x1234}));
    EXPECT_EQ(qvox::GreyTypeOf(path_), qvox::VoxelType::kUint16);
}

TEST_F(ColourToGrey, FurtherChannelsArePassedOver) {
    WriteRgb("\x07\x07\x07\xFF\x09\x09\x09\x10", 8, 4);
    EXPECT_EQ(Read<std::uint8_t>(ColourRule::kEqualChannels), (Values{7, 9}));
}

TEST_F(ColourToGrey, ChannelsThatDifferAreRefusedWithTheLargestDifference) {
    WriteRgb(std::string("\x05\x05\x06\x64\x32\x46", 6), 8);
    const std::string refusal = Refusal(ColourRule::kEqualChannels);
    EXPECT_NE(refusal.find("its channels differ by up to 50 of 256 levels"), std::string::npos) << refusal;
    EXPECT_EQ(Read<std::uint8_t>(ColourRule::kLuminance), (Values{5, (299 * 100 + 587 * 50 + 114 * 70) / 1000}));
}

TEST_F(ColourToGrey, OnlyTheColoursOfAPaletteThatThePictureUsesCount) {
    std::vector<std::uint16_t> map(768);
    for (unsigned i = 0; i < 256; ++i) {
        map[i] = static_cast<std::uint16_t>(i * 257);
        map[256 + i] = static_cast<std::uint16_t>(i < 128 ? i * 257 : 0);
        map[512 + i] = static_cast<std::uint16_t>(i * 257);
    }
    WritePalette("\x01\x7F\x03", map);
    EXPECT_EQ(Read<std::uint8_t>(ColourRule::kEqualChannels), (Values{1, 127, 3}));
    WritePalette("\x01\x80\x03", map);
    EXPECT_NE(Refusal(ColourRule::kEqualChannels).find("by up to 128 of 256"), std::string::npos);
}

TEST(StoredNumbers, AreReadWithoutInversionOrPalette) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    const float real = 70000.5f;
    std::string realBytes(4, '\0');
    std::memcpy(realBytes.data(), &real, 4);
    const struct {
        std::uint16_t bits;
        std::uint16_t format;
        std::string bytes;
        double value;
    } kinds[] = {{8, SAMPLEFORMAT_UINT, "\x07", 7.0},
                 {8, SAMPLEFORMAT_INT, "\xFF", -1.0},
                 {16, SAMPLEFORMAT_UINT, std::string("\x01\x02", 2), 513.0},
                 {32, SAMPLEFORMAT_UINT, "\xFF\xFF\xFF\xFF", 4294967295.0},
                 {32, SAMPLEFORMAT_INT, "\xFE\xFF\xFF\xFF", -2.0},
                 {32, SAMPLEFORMAT_IEEEFP, realBytes, 70000.5}};
    for (const auto& kind : kinds) {
        for (const std::uint16_t photometric : std::initializer_list<std::uint16_t>{0, 1}) {  // white, black is zero
            TiffBuilder file;
            file.Page()
                .Grey(1, 1, kind.bits)
                .Short(TIFFTAG_SAMPLEFORMAT, kind.format)
                .Short(TIFFTAG_PHOTOMETRIC, photometric)
                .AddPiece(kind.bytes);
            file.Write(path);
            qvox::VoxelImage<double> image;
            qvox::LoadStoredNumbers(path, image);
            EXPECT_EQ(image[0], kind.value) << kind.bits << ", " << kind.format;
        }
    }
    TiffBuilder file;
    file.Page().Grey(1, 1, 8).AddPiece("a");
    file.Page().Grey(1, 1, 8).AddPiece("b");
    file.Write(path);
    qvox::VoxelImage<double> image;
    EXPECT_THROW(qvox::LoadStoredNumbers(path, image), qvox::ToolkitError) << "which of the two pages?";
}

}  // namespace
