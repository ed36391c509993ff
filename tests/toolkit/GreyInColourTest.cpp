#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;

class GreyInColour : public ::testing::Test {
protected:
    /// A picture of two pixels with these channels.
    bool OfChannels(std::uint16_t bits, std::uint16_t samples, const std::string& pixels) {
        TiffBuilder file;
        file.Page().Grey(2, 1, bits).Short(262, 2).Short(277, samples).AddPiece(pixels);
        file.Shorts(258, std::vector<std::uint16_t>(samples, bits));
        if (samples > 3) file.Shorts(338, std::vector<std::uint16_t>(samples - 3u, 2));
        file.Write(path_);
        return qvox::HoldsGreyInColour(path_);
    }

    /// A picture of two pixels whose channels are stored one after the other.
    bool OfPlanes(const std::string& red, const std::string& green, const std::string& blue) {
        TiffBuilder file;
        file.Page().Grey(2, 1, 8).Short(262, 2).Short(277, 3).Short(284, 2).Shorts(258, {8, 8, 8});
        file.AddPiece(red).AddPiece(green).AddPiece(blue);
        file.Write(path_);
        return qvox::HoldsGreyInColour(path_);
    }

    /// A picture of two pixels of brightness and two colour differences.
    bool OfDifferences(const std::string& pixels) {
        TiffBuilder file;
        file.Page().Grey(2, 1, 8).Short(262, 6).Short(277, 3).Shorts(258, {8, 8, 8}).Shorts(530, {1, 1});
        file.AddPiece(pixels);
        file.Write(path_);
        return qvox::HoldsGreyInColour(path_);
    }

    /// A picture with a palette in which the entries from `coloured` on are red.
    bool OfPalette(std::uint16_t bits, std::uint32_t width, const std::string& pixels, std::size_t coloured) {
        const std::size_t entries = std::size_t{1} << bits;
        std::vector<std::uint16_t> map(3 * entries);
        for (std::size_t i = 0; i < entries; ++i) {
            const auto value = static_cast<std::uint16_t>(i * 65535 / (entries - 1));
            map[i] = i < coloured ? value : std::uint16_t{65535};
            map[entries + i] = map[2 * entries + i] = i < coloured ? value : std::uint16_t{0};
        }
        TiffBuilder file;
        file.Page().Grey(width, 1, bits).Short(262, 3).Shorts(320, map).AddPiece(pixels);
        file.Write(path_);
        return qvox::HoldsGreyInColour(path_);
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
};

TEST_F(GreyInColour, IsRgbOfThreeEqualChannels) {
    EXPECT_TRUE(OfChannels(8, 3, "aaabbb"));
    EXPECT_FALSE(OfChannels(8, 3, "aaabbc"));
    EXPECT_FALSE(OfChannels(8, 3, "abaccc"));
}

TEST_F(GreyInColour, IsRgbWithATransparencyOfItsOwn) {
    EXPECT_TRUE(OfChannels(8, 4, "aaa1bbb2"));
    EXPECT_FALSE(OfChannels(8, 4, "aaa1bcb2"));
}

TEST_F(GreyInColour, IsRgbOfSixteenBits) {
    EXPECT_TRUE(OfChannels(16, 3, "axaxaxbybyby"));
    EXPECT_FALSE(OfChannels(16, 3, "axaxaxbybybz"));
}

TEST_F(GreyInColour, IsRgbOfThreeEqualPlanes) {
    EXPECT_TRUE(OfPlanes("ab", "ab", "ab"));
    EXPECT_FALSE(OfPlanes("ab", "ab", "aa"));
}

TEST_F(GreyInColour, IsYCbCrWithoutDifferences) {
    EXPECT_TRUE(OfDifferences("a\x80\x80z\x80\x80"));
    EXPECT_FALSE(OfDifferences("a\x80\x80z\x90\x80"));
}

TEST_F(GreyInColour, IsAPaletteOfWhichGreysAreUsedOnly) {
    EXPECT_TRUE(OfPalette(8, 4, std::string("\x00\x01\x63\x02", 4), 100));
    EXPECT_FALSE(OfPalette(8, 4, std::string("\x00\x01\x64\x02", 4), 100));
    EXPECT_TRUE(OfPalette(4, 2, "\x12", 16));
    EXPECT_FALSE(OfPalette(4, 2, "\x12", 15));
}

TEST_F(GreyInColour, IsNotAGreyPictureItself) {
    TiffBuilder file;
    file.Page().Grey(2, 1, 8).AddPiece("ab");
    file.Write(path_);
    EXPECT_FALSE(qvox::HoldsGreyInColour(path_));
}

}  // namespace
