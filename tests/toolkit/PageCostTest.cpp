// Files whose pages would make the library work for long although they are small: what they cost is limited, and files
// whose pages are really there are read to their end.

#include <gtest/gtest.h>
#include <tiff.h>

#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

// Tag, type, count and value, or where the value lies.
using Entry = std::array<std::uint64_t, 4>;

// Where the bytes lie that all pages may share.
constexpr std::uint64_t kShared = 8;

/// Reduced pages 4 pixels wide, each with these entries too, and behind them a full one of 8.
std::string PagesSharing(const std::string& shared, unsigned pages, std::uint64_t rows,
                         const std::vector<Entry>& entries) {
    const TiffBuilder number;
    std::string bytes = "II" + number.Number(42, 2) + number.Number(0, 4) + shared;
    std::size_t link = 4;
    for (unsigned page = 0; page <= pages; ++page) {
        const bool last = page == pages;
        std::vector<Entry> all = {{TIFFTAG_SUBFILETYPE, TIFF_LONG, 1, last ? 0u : 1u},
                                  {TIFFTAG_IMAGEWIDTH, TIFF_LONG, 1, last ? 8u : 4u},
                                  {TIFFTAG_IMAGELENGTH, TIFF_LONG, 1, last ? 1u : rows},
                                  {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 1, 8},
                                  {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, 1, 1},
                                  {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, 1, 1}};
        if (last) {
            all.push_back({TIFFTAG_STRIPOFFSETS, TIFF_LONG, 1, kShared});
            all.push_back({TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, 1, 8});
        } else {
            all.insert(all.end(), entries.begin(), entries.end());
        }
        bytes.replace(link, 4, number.Number(bytes.size(), 4));
        bytes += number.Number(all.size(), 2);
        for (const Entry& entry : all) {
            bytes += number.Number(entry[0], 2) + number.Number(entry[1], 2) + number.Number(entry[2], 4) +
                     number.Number(entry[3], 4);
        }
        link = bytes.size();
        bytes += number.Number(0, 4);
    }
    return bytes;
}

std::vector<Entry> Lists(std::uint64_t strips) {
    return {{TIFFTAG_STRIPOFFSETS, TIFF_LONG, strips, kShared}, {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, strips, kShared}};
}

class PageCost : public testing::Test {
protected:
    /// 8 where the pages have been followed to the last, 4 where not.
    std::uint64_t WidthOf(const std::string& bytes) {
        std::ofstream(path_, std::ios::binary) << bytes;
        return qvox::InspectImageFile(path_).sizeX;
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
};

TEST_F(PageCost, PagesThatShareLongListsOfStripsAreNotAllRead) {
    const std::string shared(4 * kMiB, '\1');
    EXPECT_EQ(WidthOf(PagesSharing(shared, 40, 1000, Lists(1000))), 8u);
    EXPECT_EQ(WidthOf(PagesSharing(shared, 40, kMiB, Lists(kMiB))), 4u);
}

TEST_F(PageCost, PagesThatClaimManyMoreStripsThanTheyListAreNotAllRead) {
    EXPECT_EQ(WidthOf(PagesSharing("abcdefgh", 40, 1000, Lists(1))), 8u);
    EXPECT_EQ(WidthOf(PagesSharing("abcdefgh", 40, 1000000, Lists(1))), 4u);
}

TEST_F(PageCost, PagesThatShareALongDescriptionAreNotAllRead) {
    const std::string shared(3 * kMiB, 'd');
    std::vector<Entry> entries = Lists(1);
    entries.push_back({TIFFTAG_IMAGEDESCRIPTION, TIFF_ASCII, 1000, kShared});
    EXPECT_EQ(WidthOf(PagesSharing(shared, 100, 1, entries)), 8u);
    entries.back()[2] = shared.size();
    EXPECT_EQ(WidthOf(PagesSharing(shared, 100, 1, entries)), 4u);
}

TEST_F(PageCost, PagesOfThousandsOfEntriesAreNotAllRead) {
    std::vector<Entry> entries = Lists(1);
    while (entries.size() < 90) entries.push_back({1000 + entries.size(), TIFF_BYTE, 4, 0});
    EXPECT_EQ(WidthOf(PagesSharing("abcdefgh", 40, 1, entries)), 8u);
    while (entries.size() < 4000) entries.push_back({1000 + entries.size(), TIFF_BYTE, 4, 0});
    EXPECT_EQ(WidthOf(PagesSharing("abcdefgh", 40, 1, entries)), 4u);
}

TEST_F(PageCost, PagesThatShareALargePrivateEntryThatIsNotShownAreAllRead) {
    const std::string shared(5 * kMiB, 'p');
    std::vector<Entry> entries = Lists(1);
    entries.push_back({40000, TIFF_UNDEFINED, shared.size(), kShared});
    EXPECT_EQ(WidthOf(PagesSharing(shared, 40, 1, entries)), 8u);
}

TEST_F(PageCost, ALargeStackOfPagesWithManyStripsIsReadToItsEnd) {
    constexpr std::uint64_t kPlanes = 300;
    constexpr std::uint64_t kStrips = 2048;
    TiffBuilder file;
    for (std::uint64_t z = 0; z < kPlanes; ++z) {
        file.Page().Grey(2, kStrips, 8).Long(TIFFTAG_ROWSPERSTRIP, 1);
        if (z == 0) file.Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=300\nslices=300\n");
        for (std::uint64_t y = 0; y < kStrips; ++y) file.AddPiece({static_cast<char>(z), static_cast<char>(y)});
    }
    file.Write(path_);
    qvox::VoxelImage<std::uint8_t> image;
    qvox::LoadImageFile(path_, image);
    ASSERT_EQ(image.SizeZ(), kPlanes);
    EXPECT_EQ(image(0, 0, 299), 299 % 256);
    EXPECT_EQ(image(1, 2047, 299), 2047 % 256);
}

TEST_F(PageCost, AStackOfMoreThan65535PlanesIsRefused) {
    for (const unsigned pages : {65535u, 65536u}) {
        TiffBuilder file;
        const std::string count = std::to_string(pages);
        for (unsigned z = 0; z < pages; ++z) {
            file.Page().Grey(1, 1, 8);
            if (z == 0)
                file.Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=" + count + "\nslices=" + count + "\n");
            file.AddPiece({static_cast<char>(z >> 8)});
        }
        file.Write(path_);
        qvox::VoxelImage<std::uint8_t> image;
        if (pages == 65535u) {
            qvox::LoadImageFile(path_, image);
            ASSERT_EQ(image.SizeZ(), 65535u);
            EXPECT_EQ(image(0, 0, 65534), 255);
            continue;
        }
        try {
            qvox::LoadImageFile(path_, image);
            FAIL() << "planes are lost";
        } catch (const qvox::ToolkitError& error) {
            EXPECT_NE(std::string(error.what()).find("its stack has more than 65535 pictures"), std::string::npos)
                << error.what();
        }
    }
}

}  // namespace
