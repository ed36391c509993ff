// The parsers of makers' entries on their own: texts and bytes in, pixel sizes out.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "files/FeiBlock.h"
#include "files/GatanEntries.h"
#include "files/JeolXml.h"
#include "files/LengthUnit.h"
#include "files/OlympusSisBlock.h"
#include "files/TvipsBlock.h"
#include "files/ZeissBlock.h"
#include "support/VendorBlocks.h"

namespace {

using korvane_test::JeolXml;
using korvane_test::PutLittle;
using korvane_test::ReaderOf;
using korvane_test::SisBlock;
using qvox::GatanEntries;
using qvox::PixelSizeNm;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void ExpectSize(const std::optional<PixelSizeNm>& size, double x, double y) {
    ASSERT_TRUE(size);
    EXPECT_NEAR(size->x, x, 1e-7 * x);
    EXPECT_NEAR(size->y, y, 1e-7 * y);
}

std::optional<PixelSizeNm> Fei(const std::string& text) { return qvox::PixelSizeFromFei(text.data(), text.size()); }
std::optional<PixelSizeNm> Zeiss(const std::string& text) { return qvox::PixelSizeFromZeiss(text.data(), text.size()); }

TEST(CheckedPixelSize, TakesOnlyWhatAMicroscopeCanShow) {
    EXPECT_TRUE(qvox::CheckedPixelSize(1e-4, 1e6));
    for (const double bad : {0.0, -1.0, 0.9e-4, 1.1e6, kInfinity, -kInfinity, std::nan("")}) {
        EXPECT_FALSE(qvox::CheckedPixelSize(bad, 1.0)) << bad;
        EXPECT_FALSE(qvox::CheckedPixelSize(1.0, bad)) << bad;
    }
}

TEST(FeiBlock, MetresUnderScan) {
    ExpectSize(Fei("[User]\r\nDate=1\r\n[Scan]\r\nPixelWidth=7.70833e-009\r\nPixelHeight=8e-009\r\n"), 7.70833, 8.0);
    ExpectSize(Fei("[Scan]\nPixelWidth = +1e-9 \nPixelHeight=1E-9"), 1.0, 1.0);
    ExpectSize(Fei("[Scan]\nPixelWidth=1e-9\nPixelHeight=1e-9\nPixelWidth=5e-9\n[Scan]\nPixelHeight=7e-9\n"), 1.0, 1.0);
}

TEST(FeiBlock, NothingElseCounts) {
    EXPECT_FALSE(qvox::PixelSizeFromFei(nullptr, 0));
    for (const char* text : {"",
                             "[Scan]",
                             "[Scan",
                             "=",
                             "[Scan]\n=\n==\n[",
                             "PixelWidth=1e-9\nPixelHeight=1e-9\n",
                             "[EScan]\nPixelWidth=1e-9\nPixelHeight=1e-9\n",
                             "[Scan]\n[Other]\nPixelWidth=1e-9\nPixelHeight=1e-9\n",
                             "[Scan]\nPixelWidth=1e-9\n",
                             "[Scan]\nPixelHeight=1e-9\n",
                             "[Scan]\nPixelWidth=\nPixelHeight=\n",
                             "[Scan]\nPixelWidth=1e-9\nPixelHeight=0\n",
                             "[Scan]\nPixelWidth=-1e-9\nPixelHeight=1e-9\n",
                             "[Scan]\nPixelWidth=nan\nPixelHeight=nan\n",
                             "[Scan]\nPixelWidth=inf\nPixelHeight=inf\n",
                             "[Scan]\nPixelWidth=1e-999\nPixelHeight=1e-999\n",
                             "[Scan]\nPixelWidth=1e999\nPixelHeight=1e999\n",
                             "[Scan]\nPixelWidth=1e-9 m\nPixelHeight=1e-9 m\n",
                             "[Scan]\nPixelWidth=1,0e-9\nPixelHeight=1,0e-9\n",
                             "[Scan]\nPixelWidth=0x1p-30\nPixelHeight=0x1p-30\n"}) {
        EXPECT_FALSE(Fei(text)) << text;
    }
    const std::string width = "[Scan]\nPixelWidth=1e-9\n";
    const std::string height = "\nPixelHeight=1e-9\n";
    ASSERT_TRUE(Fei(width + height));
    EXPECT_FALSE(Fei(width + '\0' + height)) << "the text ends at the NUL";
    EXPECT_FALSE(Fei("[Scan]\nPixelWidth=" + std::string(100000, '9') + "\nPixelHeight=1e-9\n"));
}

TEST(ZeissBlock, TheLineBelowTheName) {
    ExpectSize(Zeiss("0\r\n5e-9\r\nAP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = 4.466 nm\r\nAP_X\r\n"), 4.466, 4.466);
    ExpectSize(Zeiss("AP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = 2.615 \xB5m\r\n"), 2615.0, 2615.0);
    ExpectSize(Zeiss("AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 815.2 pm"), 0.8152, 0.8152);
    ExpectSize(Zeiss("AP_PIXEL_SIZE\r\nPixel Size = 5.825 nm\r\n"), 5.825, 5.825);
    ExpectSize(Zeiss("AP_PIXEL_SIZE\nPixel Size = 1 nm\nAP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 2 nm\n"), 2.0, 2.0);
}

TEST(ZeissBlock, NothingElseCounts) {
    EXPECT_FALSE(qvox::PixelSizeFromZeiss(nullptr, 0));
    for (const char* text :
         {"", "AP_IMAGE_PIXEL_SIZE", "AP_IMAGE_PIXEL_SIZE\r\n", "AP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = ",
          "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 4.466\n", "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size 4.466 nm\n",
          "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 0.0 fm\n", "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 0 nm\n",
          "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = -4 nm\n", "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = nan nm\n",
          "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 4 Degrees\n", "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = nm nm\n",
          "AP_FIB_PIXEL_SIZE\nFIB Pixel Size = 4 nm\n", "Image Pixel Size = 4 nm\n",
          "AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 0 nm\nAP_PIXEL_SIZE\nPixel Size = 4 nm\n"}) {
        EXPECT_FALSE(Zeiss(text)) << text;
    }
    EXPECT_FALSE(Zeiss("AP_IMAGE_PIXEL_SIZE\nImage Pixel Size = 4 " + std::string(1 << 20, '\xB5')));
}

GatanEntries Gatan(double x, double y, const char* symbol, const char* name) {
    GatanEntries entries;
    entries.x = x;
    entries.y = y;
    if (symbol != nullptr) entries.symbolX = entries.symbolY = symbol;
    if (name != nullptr) entries.unitNameX = entries.unitNameY = name;
    return entries;
}

TEST(GatanEntries, NumberTimesUnit) {
    ExpectSize(qvox::PixelSizeFromGatan(Gatan(0.5, 0.25, "\xB5m", "micrometer")), 500.0, 250.0);
    ExpectSize(qvox::PixelSizeFromGatan(Gatan(1.5, 1.5, "nm", nullptr)), 1.5, 1.5);
    ExpectSize(qvox::PixelSizeFromGatan(Gatan(1.5, 1.5, nullptr, "nanometer")), 1.5, 1.5);
    GatanEntries mixed = Gatan(1.5, 0.5, "nm", nullptr);
    mixed.symbolY = "\xB5m";
    ExpectSize(qvox::PixelSizeFromGatan(mixed), 1.5, 500.0);
}

TEST(GatanEntries, NothingWithoutAnAgreedLength) {
    EXPECT_FALSE(qvox::PixelSizeFromGatan({}));
    EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, 1, nullptr, nullptr)));
    EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, 1, "", "")));
    EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, 1, "1/nm", "1/nanometer")));
    EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, 1, "nm", "micrometer")));
    EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, 1, "1/nm", "nanometer")));
    for (const double bad : {0.0, -1.0, kInfinity, std::nan(""), 1e300}) {
        EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(bad, 1, "nm", nullptr))) << bad;
        EXPECT_FALSE(qvox::PixelSizeFromGatan(Gatan(1, bad, "nm", nullptr))) << bad;
    }
    GatanEntries oneAxis = Gatan(1, 1, "nm", nullptr);
    oneAxis.y.reset();
    EXPECT_FALSE(qvox::PixelSizeFromGatan(oneAxis));
}

qvox::JeolFinding Jeol(const std::string& text, const qvox::ResolutionTags& tags = {93.0, 93.0, 2}) {
    return qvox::ReadJeolXml(text.data(), text.size(), tags);
}

TEST(JeolXml, ResolutionEntryOverMagnification) {
    ExpectSize(Jeol(JeolXml("MAG", "150000")).size, 25.4e6 / 93 / 150000, 25.4e6 / 93 / 150000);
    ExpectSize(Jeol(JeolXml("MAG", "1000", ""), {100.0, 200.0, 3}).size, 100.0, 50.0);
    ExpectSize(Jeol(JeolXml("MAG", "1000"), {254.0, std::nullopt, std::nullopt}).size, 100.0, 100.0);
    ExpectSize(Jeol(JeolXml("MAG", "1000") + std::string(40, '\0'), {254.0, 254.0, 2}).size, 100.0, 100.0);
}

TEST(JeolXml, NoSizeWithoutAMagnifiedImage) {
    EXPECT_NE(Jeol(JeolXml("DIFF", "400", "mm")).reason.find("DIFF"), std::string::npos);
    for (const std::string& text :
         {JeolXml("DIFF", "400"), JeolXml("", "400"), JeolXml("MAG", ""), JeolXml("MAG", "0"), JeolXml("MAG", "-5"),
          JeolXml("MAG", "nan"), JeolXml("MAG", "inf"), JeolXml("MAG", "1e-300"), JeolXml("MAG", "1e300"),
          JeolXml("MAG", "150k"), JeolXml("MAG", "400", "mm"), std::string("<TemReporter/>")}) {
        const qvox::JeolFinding finding = Jeol(text);
        EXPECT_TRUE(finding.isJeol) << text;
        EXPECT_FALSE(finding.size) << text;
        EXPECT_FALSE(finding.reason.empty()) << text;
    }
    const qvox::ResolutionTags bad[] = {
        {std::nullopt, std::nullopt, 2}, {93.0, 93.0, 1}, {0.0, 93.0, 2}, {93.0, -93.0, 2}, {kInfinity, 93.0, 2}};
    for (const qvox::ResolutionTags& tags : bad) EXPECT_FALSE(Jeol(JeolXml("MAG", "150000"), tags).size);
}

TEST(JeolXml, OtherTextsAreNotJeol) {
    EXPECT_FALSE(qvox::ReadJeolXml(nullptr, 0, {}).isJeol);
    const std::string whole = JeolXml("MAG", "150000");
    for (const std::string& text : {std::string(), std::string("ImageJ=1.53t\n"), std::string("<OME/>"),
                                    whole.substr(0, whole.size() / 2), "x" + whole, "<a>" + whole + "</a>"}) {
        EXPECT_FALSE(Jeol(text).isJeol) << text;
    }
}

TEST(OlympusSisBlock, WidthTimesPowerOfTen) {
    const std::string gap(100, '\x55');
    ExpectSize(qvox::PixelSizeFromSis(ReaderOf(gap + SisBlock(100, -9, 0.7706622, 0.5)), 100), 0.7706622, 0.5);
    ExpectSize(qvox::PixelSizeFromSis(ReaderOf(gap + SisBlock(100, -6, 2.5e-5, 2.5e-5)), 100), 0.025, 0.025);
}

TEST(OlympusSisBlock, NothingBeyondTheEndOrWithoutTheMark) {
    const std::string block = SisBlock(0, -9, 1.5, 1.5);
    ASSERT_TRUE(qvox::PixelSizeFromSis(ReaderOf(block), 0));
    const std::size_t needed = 76 + 28;
    for (std::size_t size = 0; size < needed; ++size) {
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block.substr(0, size)), 0)) << size;
    }
    EXPECT_TRUE(qvox::PixelSizeFromSis(ReaderOf(block.substr(0, needed)), 0));
    for (const std::uint64_t offset : {std::uint64_t{1}, std::uint64_t{1000}, ~std::uint64_t{0}, ~std::uint64_t{59}}) {
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block), offset)) << offset;
    }
}

TEST(OlympusSisBlock, LyingCountsOffsetsAndNumbers) {
    std::string block = SisBlock(0, -9, 1.5, 1.5);
    PutLittle<std::int16_t>(block, 68, 2);  // no calibration among the entries
    EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block), 0));
    PutLittle<std::uint16_t>(block, 58, 0xFFFF);
    EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block), 0));
    block = SisBlock(0, -9, 1.5, 1.5);
    PutLittle<std::uint16_t>(block, 58, 0);
    EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block), 0));
    block = SisBlock(0, -9, 1.5, 1.5);
    for (const std::uint32_t offset : {~std::uint32_t{0}, std::uint32_t{1} << 31, std::uint32_t{150}}) {
        PutLittle(block, 72, offset);
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(block), 0)) << offset;
    }
    for (const int exponent : {-32768, -400, -31, -20, 0, 31, 32767}) {
        const auto narrow = static_cast<std::int16_t>(exponent);
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(SisBlock(0, narrow, 1.5, 1.5)), 0)) << exponent;
    }
    for (const double bad : {0.0, -1.5, kInfinity, std::nan(""), 1e300, 1e-300}) {
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(SisBlock(0, -9, bad, 1.5)), 0)) << bad;
        EXPECT_FALSE(qvox::PixelSizeFromSis(ReaderOf(SisBlock(0, -9, 1.5, bad)), 0)) << bad;
    }
}

TEST(TvipsBlock, FloatsOfVersionTwo) {
    ExpectSize(qvox::PixelSizeFromTvips(ReaderOf("xx" + korvane_test::TvipsBlock(1.5f, 2.5f)), 2), 1.5, 2.5);
}

TEST(TvipsBlock, NothingOfOtherBlocks) {
    const std::string block = korvane_test::TvipsBlock(1.5f, 1.5f);
    ASSERT_TRUE(qvox::PixelSizeFromTvips(ReaderOf(block), 0));
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(block.substr(0, block.size() - 1)), 0));
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(block), 1));
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(block), ~std::uint64_t{0}));
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(""), 0));
    std::string other = block;
    PutLittle<std::int32_t>(other, 0, 1);
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(other), 0));
    other = block;
    PutLittle<std::uint32_t>(other, 6308, 0);
    EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(other), 0));
    for (const float bad : {0.0f, -1.5f, std::numeric_limits<float>::infinity(), std::nanf(""), 1e30f}) {
        EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(korvane_test::TvipsBlock(bad, 1.5f)), 0)) << bad;
        EXPECT_FALSE(qvox::PixelSizeFromTvips(ReaderOf(korvane_test::TvipsBlock(1.5f, bad)), 0)) << bad;
    }
}

TEST(DecimalNumber, MayHaveAPlusBeforeItsDigits) {
    EXPECT_EQ(qvox::DecimalNumber("+5"), 5.0);
    EXPECT_EQ(qvox::DecimalNumber(" +1.5e-3\n"), 1.5e-3);
    EXPECT_EQ(qvox::DecimalNumber("+"), std::nullopt);
    EXPECT_EQ(qvox::DecimalNumber("++5"), std::nullopt);
}

TEST(LengthUnit, OverlongTextsAreNoUnit) {
    EXPECT_TRUE(qvox::MicrometresPerUnit(std::string(1000, ' ') + "nm"));
    EXPECT_FALSE(qvox::MicrometresPerUnit(std::string(1 << 20, 'u')));
}

}  // namespace
