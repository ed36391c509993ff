// Whole files with makers' entries: which source counts, and what is said of it.

#include <gtest/gtest.h>
#include <tiff.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "files/VendorPixelSize.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"
#include "support/VendorBlocks.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using korvane_test::TiffKind;
using korvane_test::TiffOrder;
using qvox::ImageFileInfo;
using qvox::ResolutionSource;

constexpr std::uint16_t kSis = 33560;
constexpr std::uint16_t kZeiss = 34118;
constexpr std::uint16_t kFei = 34682;
constexpr std::uint16_t kTvips = 37706;

class VendorPixelSize : public ::testing::Test {
protected:
    VendorPixelSize() { Start(TiffOrder::kLittle, TiffKind::kClassic); }

    void Start(TiffOrder order, TiffKind kind) {
        file_ = TiffBuilder(order, kind);
        file_.Page().Grey(1, 1, 8).AddPiece("x").Rational(282, 72, 1).Rational(283, 72, 1).Short(296, 2);
    }
    ImageFileInfo Inspect(const std::string& behind = "") {
        const std::string bytes = file_.Bytes() + behind;
        std::ofstream(path_, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return qvox::InspectImageFile(path_);
    }
    // Where bytes behind the file's last will stand, once the entry has been added.
    std::uint32_t OffsetBehind(std::uint16_t tag) {
        return static_cast<std::uint32_t>(file_.Long(tag, 0).Bytes().size());
    }
    ImageFileInfo InspectWithSis(double x, double y) {
        const std::uint32_t offset = OffsetBehind(kSis);
        file_.Long(kSis, offset);
        return Inspect(korvane_test::SisBlock(offset, -9, x, y));
    }
    ImageFileInfo InspectWithTvips(float x, float y) {
        file_.Long(kTvips, OffsetBehind(kTvips));
        return Inspect(korvane_test::TvipsBlock(x, y));
    }
    void AddGatan(double x, double y) {
        file_.Real(65009, x).Real(65010, y).Text(65003, "\xB5m").Text(65004, "\xB5m");
        file_.Text(65012, "micrometer").Text(65013, "micrometer");
    }
    static void Expect(const ImageFileInfo& info, double x, double y, ResolutionSource source) {
        EXPECT_NEAR(static_cast<double>(info.resolution.x), 1000.0 / x, 1e-6 * 1000.0 / x);
        EXPECT_NEAR(static_cast<double>(info.resolution.y), 1000.0 / y, 1e-6 * 1000.0 / y);
        EXPECT_EQ(info.resolutionSource, source);
    }
    static void Expect(const ImageFileInfo& info, double x, double y, const char* vendorName) {
        Expect(info, x, y, ResolutionSource::kVendorBlock);
        EXPECT_EQ(info.resolutionNote, vendorName);
    }
    static void ExpectUndefined(const ImageFileInfo& info, const char* name) {
        EXPECT_EQ(info.resolution, qvox::PixelResolution());
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kNone);
        EXPECT_NE(info.resolutionNote.find(name), std::string::npos) << info.resolutionNote;
        EXPECT_NE(info.resolutionNote.find("print resolution"), std::string::npos) << info.resolutionNote;
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
    TiffBuilder file_;
};

TEST(VendorBlocks, HaveNamesOfTheirOwnAndAreQueriedInThisOrder) {
    std::vector<std::string> names;
    std::vector<std::uint32_t> tags;
    for (const qvox::VendorBlock& block : qvox::VendorBlocks()) {
        names.emplace_back(block.name);
        tags.push_back(block.tag);
    }
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    EXPECT_EQ(names, (std::vector<std::string>{"Olympus SIS block", "FEI block", "Zeiss block", "Gatan export entries",
                                               "JEOL description: magnification and resolution entry", "TVIPS block"}));
    EXPECT_EQ(tags, (std::vector<std::uint32_t>{kSis, kFei, kZeiss, 65009, 270, kTvips}));
}

TEST_F(VendorPixelSize, OfEachMakerInEveryKindOfFile) {
    for (const TiffOrder order : {TiffOrder::kLittle, TiffOrder::kBig}) {
        for (const TiffKind kind : {TiffKind::kClassic, TiffKind::kBig}) {
            Start(order, kind);
            Expect(InspectWithSis(0.77, 0.75), 0.77, 0.75, "Olympus SIS block");
            Start(order, kind);
            file_.Text(kFei, "[Scan]\r\nPixelWidth=7.5e-009\r\nPixelHeight=8e-009\r\n");
            Expect(Inspect(), 7.5, 8.0, "FEI block");
            Start(order, kind);
            file_.Text(kZeiss, "AP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = 2.615 \xB5m\r\n");
            Expect(Inspect(), 2615.0, 2615.0, "Zeiss block");
            Start(order, kind);
            AddGatan(0.5, 5.0);
            Expect(Inspect(), 500.0, 5000.0, "Gatan export entries");
            Start(order, kind);
            file_.Text(TIFFTAG_IMAGEDESCRIPTION, korvane_test::JeolXml("MAG", "150000"));
            const double jeol = 25.4e6 / 72 / 150000;
            Expect(Inspect(), jeol, jeol, "JEOL description: magnification and resolution entry");
            Start(order, kind);
            Expect(InspectWithTvips(1.5f, 1.25f), 1.5, 1.25, "TVIPS block");
        }
    }
}

TEST_F(VendorPixelSize, ComesBeforeEveryOtherSource) {
    file_.Text(kFei, "[Scan]\nPixelWidth=2e-9\nPixelHeight=2e-9\n").Rational(282, 10000, 1).Rational(283, 10000, 1);
    for (const char* description :
         {"ImageJ=1.53t\nunit=nm\n",
          "<OME xmlns=\"x\"><Image><Pixels SizeX=\"1\" PhysicalSizeX=\"1\" PhysicalSizeY=\"1\"/></Image></OME>", "x"}) {
        file_.Text(TIFFTAG_IMAGEDESCRIPTION, description).Short(296, 3);
        Expect(Inspect(), 2.0, 2.0, "FEI block");
    }
}

TEST_F(VendorPixelSize, TheFirstMakerThatGivesOneCounts) {
    file_.Text(kFei, "[Scan]\nPixelWidth=\n").Text(kZeiss, "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 4 nm\n");
    AddGatan(0.5, 0.5);
    Expect(Inspect(), 4.0, 4.0, "Zeiss block");
    Expect(InspectWithSis(3.0, 3.0), 3.0, 3.0, "Olympus SIS block");
}

TEST_F(VendorPixelSize, AnUnusableEntryLeavesItToTheOtherSources) {
    file_.Long(kSis, 8).Rational(282, 2000000, 1).Rational(283, 2000000, 1).Short(296, 3);
    const ImageFileInfo info = Inspect();
    Expect(info, 5.0, 5.0, ResolutionSource::kResolutionTags);
    EXPECT_NE(info.resolutionNote.find("resolution entry"), std::string::npos) << info.resolutionNote;
}

TEST_F(VendorPixelSize, OfThePageThatIsRead) {
    file_ = TiffBuilder();
    file_.Page().Grey(1, 1, 8).Short(262, 2).Short(277, 3).Shorts(258, {8, 8, 8}).AddPiece("rgb");
    file_.Page().Grey(1, 1, 16).AddPiece("xy");
    Expect(InspectWithSis(0.77, 0.77), 0.77, 0.77, "Olympus SIS block");
}

TEST_F(VendorPixelSize, AStalePointerIsSaidToGiveNone) {
    for (const std::uint32_t offset : {0u, 1u, 8u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        Start(TiffOrder::kLittle, TiffKind::kClassic);
        file_.Long(kSis, offset);
        ExpectUndefined(Inspect(), "Olympus SIS block gives no pixel size");
        Start(TiffOrder::kLittle, TiffKind::kClassic);
        file_.Long(kTvips, offset);
        ExpectUndefined(Inspect(), "TVIPS block gives no pixel size");
    }
    Start(TiffOrder::kLittle, TiffKind::kBig);
    file_.Raw(kSis, 16, 1, file_.Number(~std::uint64_t{0}, 8));
    ExpectUndefined(Inspect(), "Olympus SIS block gives no pixel size");
}

TEST_F(VendorPixelSize, BlocksOfDiffractionGiveNone) {
    AddGatan(0.5, 0.5);
    file_.Text(65003, "1/nm").Text(65012, "1/nanometer");
    ExpectUndefined(Inspect(), "Gatan export entries give no pixel size");
    Start(TiffOrder::kLittle, TiffKind::kClassic);
    file_.Text(TIFFTAG_IMAGEDESCRIPTION, korvane_test::JeolXml("DIFF", "400", "mm"));
    ExpectUndefined(Inspect(), "mode \"DIFF\"");
}

// Every entry with every type, small and lying counts, and a value that leads nowhere.
TEST_F(VendorPixelSize, EntriesOfWrongTypesAndCountsAreHarmless) {
    for (const std::uint16_t tag : {kSis, kZeiss, kFei, kTvips, std::uint16_t{65003}, std::uint16_t{65009}}) {
        for (std::uint16_t type = 0; type <= 18; ++type) {
            for (const std::uint64_t count : {0u, 1u, 2u, 3u, 1000u, 0x40000000u, 0xFFFFFFFFu}) {
                for (const char* value : {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", "\x08\0\0\0\0\0\0\0"}) {
                    Start(TiffOrder::kLittle, TiffKind::kClassic);
                    if (tag == 65003) AddGatan(0.5, 0.5);
                    file_.Raw(tag, type, count, std::string(value, 4));
                    const ImageFileInfo info = Inspect();
                    EXPECT_EQ(info.sizeX, 1u) << tag << " " << type << " " << count;
                    if (tag == 65003) continue;
                    EXPECT_EQ(info.resolution.x, 0.0f) << tag << " " << type << " " << count;
                }
            }
        }
    }
}

TEST_F(VendorPixelSize, ATextWithoutAnEndIsReadAsFarAsItGoes) {
    // The library puts a NUL in the place of the last byte of such an ASCII entry, here a line end.
    const std::string text = "[Scan]\nPixelWidth=2e-9\nPixelHeight=2e-9\n";
    for (const std::uint16_t type : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{7}}) {
        file_.Raw(kFei, type, text.size(), text);
        Expect(Inspect(), 2.0, 2.0, "FEI block");
    }
}

TEST_F(VendorPixelSize, LoadingTakesItToo) {
    AddGatan(0.5, 0.25);
    Inspect();
    qvox::VoxelImage<std::uint8_t> image;
    qvox::LoadImageFile(path_, image);
    EXPECT_FLOAT_EQ(image.Resolution().x, 2.0f);
    EXPECT_FLOAT_EQ(image.Resolution().y, 4.0f);
    EXPECT_EQ(image[0], 'x');
}

}  // namespace
