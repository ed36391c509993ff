// Which page of a file is the picture, which pages are its planes, and which kinds of pages are refused.

#include <gtest/gtest.h>
#include <tiff.h>

#include <string>
#include <utility>

#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using qvox::ImageFileInfo;
using qvox::VoxelType;

class PageChoice : public ::testing::Test {
protected:
    TiffBuilder& Grey(std::uint32_t width, const std::string& bytes, std::uint16_t bits = 8) {
        return file_.Page().Grey(width, 1, bits).AddPiece(bytes);
    }
    TiffBuilder& Rgb(std::uint32_t width) {
        return file_.Page()
            .Grey(width, 1, 8)
            .Shorts(TIFFTAG_BITSPERSAMPLE, {8, 8, 8})
            .Short(TIFFTAG_PHOTOMETRIC, 2)
            .Short(TIFFTAG_SAMPLESPERPIXEL, 3)
            .AddPiece(std::string(3 * width, 'r'));
    }
    ImageFileInfo Inspect() {
        file_.Write(path_);
        return qvox::InspectImageFile(path_);
    }
    std::string Read() {
        file_.Write(path_);
        qvox::VoxelImage<std::uint8_t> image;
        qvox::LoadImageFile(path_, image);
        return std::string(image.begin(), image.end());
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
    TiffBuilder file_;
};

TEST_F(PageChoice, TheFirstFullSizeGreyPageAfterAnRgbPreview) {
    Rgb(2);
    Grey(1, "x");
    Grey(4, "abcd").Long(TIFFTAG_SUBFILETYPE, 1);
    Grey(4, "efgh");
    Grey(4, "ijkl");
    EXPECT_EQ(Read(), "efgh");
}

TEST_F(PageChoice, TheFirstFullSizeGreyPageAfterReducedOnesAndMasks) {
    Grey(2, "xy").Long(TIFFTAG_SUBFILETYPE, 1);
    Grey(4, "mask").Long(TIFFTAG_SUBFILETYPE, 4);
    Rgb(4);
    Grey(4, "abcd").Long(TIFFTAG_SUBFILETYPE, 2);  // a page of several is a full one
    EXPECT_EQ(Read(), "abcd");
}

TEST_F(PageChoice, TheOldKindOfPageCountsWhereTheNewOneIsNotWritten) {
    Grey(2, "xy").Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_REDUCEDIMAGE);
    Grey(4, "abcd").Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_PAGE);
    EXPECT_EQ(Read(), "abcd");
    file_ = TiffBuilder();
    Grey(2, "xy").Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_IMAGE);
    Grey(4, "abcd");
    EXPECT_EQ(Read(), "xy");
    file_ = TiffBuilder();
    Grey(2, "xy").Long(TIFFTAG_SUBFILETYPE, 0).Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_REDUCEDIMAGE);
    Grey(4, "abcd");
    EXPECT_EQ(Read(), "xy");
    // Of a stack too.
    file_ = TiffBuilder();
    Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=3\n");
    Grey(2, "cd").Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_PAGE);
    Grey(2, "ef").Short(TIFFTAG_OSUBFILETYPE, OFILETYPE_REDUCEDIMAGE);
    EXPECT_EQ(Read(), "abcd");
}

TEST_F(PageChoice, APageThatIsAskedForIsReadAlone) {
    Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=3\n");
    Grey(2, "cd");
    Grey(2, "ef").Long(TIFFTAG_SUBFILETYPE, 1);
    file_.Write(path_);
    for (const auto& [number, expected] : {std::pair<std::uint32_t, std::string>{1, "ab"}, {2, "cd"}, {3, "ef"}}) {
        qvox::ReadOptions options;
        options.page = number;
        qvox::VoxelImage<std::uint8_t> image;
        qvox::LoadImageFile(path_, image, options);
        EXPECT_EQ(std::string(image.begin(), image.end()), expected);
        const ImageFileInfo info = qvox::InspectImageFile(path_, options);
        EXPECT_EQ(info.page, number);
        EXPECT_EQ(info.sizeZ, 1u);
    }
    qvox::ReadOptions beyond;
    beyond.page = 4;
    try {
        qvox::InspectImageFile(path_, beyond);
        FAIL() << "there is no such page";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_NE(std::string(error.what()).find("it has 3 pages, and no page 4"), std::string::npos) << error.what();
    }
}

TEST_F(PageChoice, PagesThatAreNotReadAreCounted) {
    Rgb(2);
    Grey(2, "ab");
    Grey(1, "c").Long(TIFFTAG_SUBFILETYPE, 1);
    ImageFileInfo info = Inspect();
    EXPECT_EQ(info.page, 2u);
    EXPECT_EQ(info.pages, 3u);
    EXPECT_EQ(info.fullPages, 2u);
    EXPECT_TRUE(qvox::HasFurtherPages(info));
    file_ = TiffBuilder();
    Grey(2, "ab");
    Grey(1, "c").Long(TIFFTAG_SUBFILETYPE, 1);
    info = Inspect();
    EXPECT_EQ(info.pages, 2u);
    EXPECT_FALSE(qvox::HasFurtherPages(info)) << "a reduced version holds nothing more";
    file_ = TiffBuilder();
    Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=2\n");
    Grey(2, "cd");
    info = Inspect();
    EXPECT_EQ(info.sizeZ, 2u);
    EXPECT_FALSE(qvox::HasFurtherPages(info)) << "a stack is read as a whole";
}

TEST_F(PageChoice, AColourPalettePreviewIsPassedOver) {
    std::vector<std::uint16_t> map;
    for (unsigned i = 0; i < 768; ++i) map.push_back(static_cast<std::uint16_t>(i * 40503u));
    Grey(2, "xy").Short(TIFFTAG_PHOTOMETRIC, 3).Shorts(TIFFTAG_COLORMAP, map);
    Grey(2, "ab");
    EXPECT_EQ(Read(), "ab");
}

TEST_F(PageChoice, AFileOfReducedPagesOnlyShowsItsFirst) {
    Grey(2, "ab").Long(TIFFTAG_SUBFILETYPE, 1);
    Grey(1, "c").Long(TIFFTAG_SUBFILETYPE, 1);
    EXPECT_EQ(Read(), "ab");
}

TEST_F(PageChoice, AGreyPictureOfAnotherKindIsNotAPreviewOfTheNextPage) {
    Grey(2, "abcd", 16).Short(TIFFTAG_SAMPLEFORMAT, 2);
    Grey(2, "ef");
    EXPECT_EQ(Inspect().type, VoxelType::kInt16);
    file_ = TiffBuilder();
    Grey(1, "abcdefgh", 64).Short(TIFFTAG_SAMPLEFORMAT, 6);
    Grey(2, "ef");
    EXPECT_EQ(Inspect().type, VoxelType::kUnsupported);
}

TEST_F(PageChoice, KindsThatAreNotReadHaveOtherCodes) {
    const struct {
        std::uint16_t bits;
        std::uint16_t format;
        VoxelType type;
        const char* text;
    } kinds[] = {
        {8, 2, VoxelType::kInt8, "8-bit signed grey"},
        {16, 2, VoxelType::kInt16, "16-bit signed grey"},
        {32, 2, VoxelType::kInt32, "32-bit signed grey"},
        {32, 1, VoxelType::kUint32, "32-bit grey"},
        {64, 3, VoxelType::kFloat64, "64-bit float grey"},
        {16, 3, VoxelType::kUnsupported, "16-bit float grey"},
        {32, 5, VoxelType::kUnsupported, "32-bit complex grey"},
        {64, 6, VoxelType::kUnsupported, "64-bit complex grey"},
        {1, 1, VoxelType::kBilevel, "1-bit grey"},
        {12, 1, VoxelType::kUnsupported, "12-bit grey"},
    };
    for (const auto& kind : kinds) {
        file_ = TiffBuilder();
        Grey(1, "abcdefgh", kind.bits).Short(TIFFTAG_SAMPLEFORMAT, kind.format);
        const ImageFileInfo info = Inspect();
        EXPECT_EQ(info.type, kind.type) << kind.text;
        EXPECT_EQ(info.typeText, kind.text);
        EXPECT_NE(info.type, VoxelType::kUint8);
        EXPECT_NE(info.type, VoxelType::kUint16);
        EXPECT_NE(info.type, VoxelType::kFloat32);
    }
    file_ = TiffBuilder();
    Grey(1, "abc").Short(TIFFTAG_SAMPLESPERPIXEL, 3);
    EXPECT_EQ(Inspect().typeText, "8-bit grey with 2 further channels");
    file_ = TiffBuilder();
    Rgb(2);
    EXPECT_EQ(Inspect().type, VoxelType::kRgb8);
}

TEST_F(PageChoice, APaletteWithTwentySixColoursOfAnnotationsIsGrey) {
    std::vector<std::uint16_t> map(768);
    for (std::size_t i = 0; i < 256; ++i) map[i] = map[256 + i] = map[512 + i] = static_cast<std::uint16_t>(i * 257);
    for (std::size_t i = 9; i <= 234; i += 9) map[i] = static_cast<std::uint16_t>(map[i] ^ 0x8000u);
    Grey(3, "abd").Short(TIFFTAG_PHOTOMETRIC, 3).Shorts(TIFFTAG_COLORMAP, map);
    EXPECT_EQ(Inspect().type, VoxelType::kUint8);
    EXPECT_EQ(Read(), "abd");
}

TEST_F(PageChoice, AStatedStackHasAsManyPlanesAsItsFileHoldsOfOneKind) {
    for (const char* description : {"ImageJ=1.53t\nimages=3\nslices=3\n", "ImageJ=1.53t\nimages=9\n",
                                    "<OME xmlns=\"x\"><Image><Pixels DimensionOrder=\"XYZCT\" SizeX=\"2\" SizeY=\"1\" "
                                    "SizeZ=\"3\"/></Image></OME>"}) {
        file_ = TiffBuilder();
        Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, description);
        Grey(2, "cd");
        Grey(2, "ef");
        EXPECT_EQ(Read(), "abcdef") << description;
    }
}

TEST_F(PageChoice, AStatedStackEndsBeforeAThumbnailOrAPageOfAnotherKind) {
    const auto start = [this] {
        file_ = TiffBuilder();
        Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53t\nimages=3\n");
        Grey(2, "cd");
    };
    start();
    Grey(2, "ef").Long(TIFFTAG_SUBFILETYPE, 1);
    EXPECT_EQ(Read(), "abcd");
    start();
    Grey(1, "e");
    EXPECT_EQ(Read(), "abcd");
    start();
    Grey(2, "efgh", 16);
    EXPECT_EQ(Read(), "abcd");
}

TEST_F(PageChoice, EqualPagesWithoutAStatementAreSeparatePictures) {
    for (const char* description : {"", "images=3", "ImageJ=1.53t\nunit=nm\n", "<OME/>"}) {
        file_ = TiffBuilder();
        Grey(2, "ab").Text(TIFFTAG_IMAGEDESCRIPTION, description);
        Grey(2, "cd");
        Grey(2, "ef");
        EXPECT_EQ(Read(), "ab") << description;
        EXPECT_EQ(Inspect().sizeZ, 1u);
    }
}

}  // namespace
