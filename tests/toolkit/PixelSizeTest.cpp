#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <limits>

#include "files/ImageFile.h"
#include "files/LengthUnit.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using qvox::ImageFileInfo;
using qvox::ResolutionSource;

class PixelSizeInFile : public ::testing::Test {
protected:
    PixelSizeInFile() { file_.Page().Grey(1, 1, 8).AddPiece("x"); }

    ImageFileInfo Inspect() {
        file_.Write(path_);
        return qvox::InspectImageFile(path_);
    }
    void ExpectUndefined() {
        const ImageFileInfo info = Inspect();
        EXPECT_EQ(info.resolution, qvox::PixelResolution()) << info.resolutionNote;
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kNone);
        EXPECT_FALSE(info.resolutionNote.empty());
    }
    void Set(std::uint32_t numerator, std::uint32_t denominator, int unit) {
        file_.Rational(282, numerator, denominator).Rational(283, numerator, denominator);
        if (unit != 0) file_.Short(296, static_cast<std::uint16_t>(unit));
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
    TiffBuilder file_;
};

TEST_F(PixelSizeInFile, PerCentimetreAndPerInch) {
    Set(7038270, 1, 3);
    EXPECT_FLOAT_EQ(Inspect().resolution.x, 703.827f);
    Set(2540000, 1, 2);
    const ImageFileInfo info = Inspect();
    EXPECT_FLOAT_EQ(info.resolution.x, 100.0f);
    EXPECT_FLOAT_EQ(info.resolution.y, 100.0f);
    EXPECT_EQ(info.resolution.z, 0.0f);
    EXPECT_EQ(info.resolutionSource, ResolutionSource::kResolutionTags);
}

TEST_F(PixelSizeInFile, AnAbsentUnitIsInch) {
    Set(2540000, 1, 0);
    EXPECT_FLOAT_EQ(Inspect().resolution.x, 100.0f);
}

TEST_F(PixelSizeInFile, UnitNoneIsUndefined) {
    Set(200, 1, 1);
    ExpectUndefined();
}

TEST_F(PixelSizeInFile, APrintResolutionIsUndefinedAndSaidSo) {
    Set(72, 1, 2);
    ExpectUndefined();
    EXPECT_NE(Inspect().resolutionNote.find("print resolution"), std::string::npos);
    Set(25399, 1, 2);
    ExpectUndefined();
    Set(25400, 1, 2);
    EXPECT_FLOAT_EQ(Inspect().resolution.x, 1.0f);
}

TEST_F(PixelSizeInFile, InvalidNumbersAreUndefined) {
    Set(100, 0, 3);
    ExpectUndefined();
    Set(0, 100, 3);
    ExpectUndefined();
    Set(0, 0, 3);
    ExpectUndefined();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {std::nan(""), infinity, -infinity, -1e6, 0.0, 1e300}) {
        file_.Real(282, value).Real(283, value).Short(296, 3);
        ExpectUndefined();
    }
}

TEST_F(PixelSizeInFile, NothingWrittenIsUndefined) { ExpectUndefined(); }

TEST_F(PixelSizeInFile, NonSquarePixelsStayNonSquare) {
    file_.Rational(282, 2000000, 1).Rational(283, 3000000, 1).Short(296, 3);
    EXPECT_FLOAT_EQ(Inspect().resolution.x, 200.0f);
    EXPECT_FLOAT_EQ(Inspect().resolution.y, 300.0f);
}

TEST_F(PixelSizeInFile, AMissingOrZeroHeightIsTheWidth) {
    file_.Rational(282, 6720000, 1).Short(296, 3);
    EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{672.0f, 672.0f, 0.0f})) << "missing";
    for (const std::uint32_t denominator : {0u, 1u}) {
        file_.Rational(283, 0, denominator);
        EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{672.0f, 672.0f, 0.0f})) << "0 / " << denominator;
    }
}

TEST_F(PixelSizeInFile, AMissingOrZeroHeightBesideImageJsUnitIsTheWidth) {
    file_.Text(270, "ImageJ=1.53t\nunit=um\n").Rational(282, 672, 1).Short(296, 1);
    EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{672.0f, 672.0f, 0.0f})) << "missing";
    file_.Rational(283, 0, 1);
    EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{672.0f, 672.0f, 0.0f})) << "0";
}

TEST_F(PixelSizeInFile, AHeightWithoutAWidthLeavesTheWidthUndefined) {
    file_.Rational(283, 6720000, 1).Short(296, 3);
    EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{0.0f, 672.0f, 0.0f}));
}

// That one axis is undefined is for the analysis to refuse; the file has told something, and where it stands.
TEST_F(PixelSizeInFile, OneAxisIsEnoughForAPixelSizeFromTheEntries) {
    file_.Rational(283, 6720000, 1).Short(296, 3);
    const ImageFileInfo info = Inspect();
    EXPECT_EQ(info.resolution, (qvox::PixelResolution{0.0f, 672.0f, 0.0f}));
    EXPECT_EQ(info.resolutionSource, ResolutionSource::kResolutionTags);
}

TEST_F(PixelSizeInFile, OneAxisIsEnoughForAPixelSizeFromImageJ) {
    Set(672, 1, 1);
    file_.Text(270, "ImageJ=1.53t\nunit=um\nyunit=furlong\n");
    const ImageFileInfo info = Inspect();
    EXPECT_EQ(info.resolution, (qvox::PixelResolution{672.0f, 0.0f, 0.0f}));
    EXPECT_EQ(info.resolutionSource, ResolutionSource::kImageJ);
}

TEST_F(PixelSizeInFile, OneAxisIsEnoughForAPixelSizeFromOme) {
    Set(2000000, 1, 3);
    for (const bool isX : {false, true}) {
        const std::string x = isX ? "0.5" : "none";
        const std::string y = isX ? "none" : "0.5";
        file_.Text(270, "<OME><Image><Pixels PhysicalSizeX=\"" + x + "\" PhysicalSizeY=\"" + y + "\"/></Image></OME>");
        const ImageFileInfo info = Inspect();
        EXPECT_EQ(info.resolution, (qvox::PixelResolution{isX ? 2.0f : 0.0f, isX ? 0.0f : 2.0f, 0.0f}));
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kOmeXml);
    }
}

TEST_F(PixelSizeInFile, AHeightOfZeroInOmeIsTheWidth) {
    Set(2000000, 1, 3);
    for (const char* zero : {"0", "0.0", "0e5"}) {
        file_.Text(270, std::string("<OME><Image><Pixels PhysicalSizeX=\"0.5\" PhysicalSizeY=\"") + zero +
                            "\" PhysicalSizeYUnit=\"nm\"/></Image></OME>");
        EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{2.0f, 2.0f, 0.0f})) << zero;
    }
    file_.Text(270, "<OME><Image><Pixels PhysicalSizeX=\"0.5\" PhysicalSizeY=\"-1\"/></Image></OME>");
    EXPECT_EQ(Inspect().resolution, (qvox::PixelResolution{2.0f, 0.0f, 0.0f})) << "what is ill-written is no size";
}

TEST_F(PixelSizeInFile, OneAxisIsEnoughForAPixelSizeOfASavedFile) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(1, 1, 1);
    image.Zero();
    for (const qvox::PixelResolution size : {qvox::PixelResolution{672.0f, 0.0f, 0.0f}, {0.0f, 672.0f, 0.0f}}) {
        image.SetResolution(size);
        qvox::SaveImageFile(path_, image);
        const ImageFileInfo info = qvox::InspectImageFile(path_);
        EXPECT_EQ(info.resolution, size);
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kImageJ);
    }
    image.SetResolution({});
    qvox::SaveImageFile(path_, image);
    EXPECT_EQ(qvox::InspectImageFile(path_).resolutionSource, ResolutionSource::kNone);
}

TEST_F(PixelSizeInFile, OnlyOneMicrometreOnBothAxesIsTheDefaultOfOmeWriters) {
    const std::string ome = "<OME><Image><Pixels/></Image></OME>";
    for (const auto& [x, y] : {std::pair{10000u, 20000u}, {20000u, 10000u}}) {
        file_.Rational(282, x, 1).Rational(283, y, 1).Short(296, 3).Text(270, ome);
        EXPECT_EQ(Inspect().resolutionSource, ResolutionSource::kResolutionTags) << x << " x " << y;
    }
    Set(10000, 1, 3);
    ExpectUndefined();
}

TEST_F(PixelSizeInFile, ImageJUnits) {
    const std::pair<const char*, float> cases[] = {
        {"nm", 2000.0f}, {"um", 2.0f},    {"\xC2\xB5m", 2.0f}, {"\xCE\xBCm", 2.0f},    {"\\u00B5m", 2.0f},
        {"u", 2.0f},     {"\xB5m", 2.0f}, {"micron", 2.0f},    {"microns", 2.0f},      {"mm", 2e-3f},
        {"cm", 2e-4f},   {"m", 2e-6f},    {"pm", 2e6f},        {"\xC3\x85", 20000.0f}, {" nm \r", 2000.0f},
    };
    Set(2000000, 1000000, 1);
    for (const auto& [unit, expected] : cases) {
        file_.Text(270, std::string("ImageJ=1.53t\nunit=") + unit + "\nmin=0\n");
        const ImageFileInfo info = Inspect();
        EXPECT_FLOAT_EQ(info.resolution.x, expected) << unit;
        EXPECT_FLOAT_EQ(info.resolution.y, expected) << unit;
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kImageJ);
    }
    for (const char* unit : {"", " ", "pixel", "pixels", "furlong"}) {
        file_.Text(270, std::string("ImageJ=1.53t\nunit=") + unit + "\n");
        ExpectUndefined();
    }
}

TEST_F(PixelSizeInFile, ImageJInches) {
    file_.Text(270, "ImageJ=1.53t\nunit=inch\n");
    Set(254000, 1, 2);
    EXPECT_FLOAT_EQ(Inspect().resolution.x, 10.0f);
    Set(72, 1, 2);
    ExpectUndefined();
    // The axes are told apart, and neither may be coarser than 1 um.
    file_.Rational(282, 300000, 1).Rational(283, 72, 1);
    ExpectUndefined();
    file_.Rational(282, 72, 1).Rational(283, 300000, 1);
    ExpectUndefined();
    file_.Rational(282, 300000, 1).Rational(283, 254000, 1);
    EXPECT_FLOAT_EQ(Inspect().resolution.y, 10.0f);
}

TEST_F(PixelSizeInFile, ImageJSpacingIsTheThirdAxis) {
    Set(4, 1, 1);
    file_.Text(270, "ImageJ=1.53t\nimages=2\nslices=2\nunit=um\nspacing=0.5\n");
    EXPECT_FLOAT_EQ(Inspect().resolution.z, 2.0f);
}

TEST_F(PixelSizeInFile, OmeComesBeforeTheEntries) {
    const auto ome = [](const std::string& attributes) {
        return "<?xml version=\"1.0\"?><!-- a > b --><OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
               "<Image ID=\"Image:0\"><Pixels SizeX=\"1\" " +
               attributes + "/></Image></OME>";
    };
    Set(2000000, 1, 3);
    file_.Text(270, ome("PhysicalSizeX=\"0.5\" PhysicalSizeY=\"0.25\""));
    ImageFileInfo info = Inspect();
    EXPECT_FLOAT_EQ(info.resolution.x, 2.0f);
    EXPECT_FLOAT_EQ(info.resolution.y, 4.0f);
    EXPECT_EQ(info.resolutionSource, ResolutionSource::kOmeXml);
    for (const char* unit : {"nm", "&#181;m", "\xC2\xB5m", "mm", "\xC3\x85"}) {
        file_.Text(270, ome(std::string("PhysicalSizeX=\"2\" PhysicalSizeXUnit=\"") + unit + "\""));
        info = Inspect();
        const double um = *qvox::MicrometresPerUnit(unit[0] == '&' ? "um" : unit);
        EXPECT_FLOAT_EQ(info.resolution.x, static_cast<float>(0.5 / um)) << unit;
        EXPECT_EQ(info.resolution.y, info.resolution.x);
    }
    for (const char* bad : {"0", "-1", "NaN", "INF", "", "x"}) {
        file_.Text(270, ome(std::string("PhysicalSizeX=\"") + bad + "\" PhysicalSizeY=\"" + bad + "\""));
        info = Inspect();
        EXPECT_EQ(info.resolutionSource, ResolutionSource::kResolutionTags) << bad;
        EXPECT_FLOAT_EQ(info.resolution.x, 200.0f);
    }
    Set(10000000, 1000, 3);
    ExpectUndefined();
}

TEST_F(PixelSizeInFile, AnEntryThatAnotherProgramHasChangedCounts) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(1, 1, 1);
    image.Zero();
    image.SetResolution({123.456f, 123.456f, 0.0f});
    qvox::SaveImageFile(path_, image);
    TIFF* tiff = TIFFOpen(path_.c_str(), "r+");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 200.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 100.0);
    ASSERT_EQ(TIFFRewriteDirectory(tiff), 1);
    TIFFClose(tiff);
    EXPECT_FLOAT_EQ(qvox::InspectImageFile(path_).resolution.x, 200.0f);
    EXPECT_FLOAT_EQ(qvox::InspectImageFile(path_).resolution.y, 100.0f);

    tiff = TIFFOpen(path_.c_str(), "r+");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 72.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 72.0);
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    ASSERT_EQ(TIFFRewriteDirectory(tiff), 1);
    TIFFClose(tiff);
    EXPECT_EQ(qvox::InspectImageFile(path_).resolution.x, 0.0f);
}

TEST_F(PixelSizeInFile, ASavedFileIsOneThatImageJCalibrates) {
    qvox::VoxelImage<std::uint16_t> image;
    image.Resize(2, 2, 1);
    image.Zero();
    image.SetResolution({672.0f, 672.0f, 0.0f});
    qvox::SaveImageFile(path_, image);
    TIFF* tiff = TIFFOpen(path_.c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    const char* text = nullptr;
    float x = 0.0f;
    std::uint16_t unit = 0;
    std::uint16_t compression = 0;
    std::uint16_t predictor = 0;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text), 1);
    EXPECT_EQ(std::string(text), "ImageJ=1.11a\nunit=um\nqvox=1\nqvox.resolution=672 672 0\n");
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x), 1);
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_RESOLUTIONUNIT, &unit), 1);
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression), 1);
    EXPECT_EQ(TIFFGetFieldDefaulted(tiff, TIFFTAG_PREDICTOR, &predictor), 1);
    TIFFClose(tiff);
    EXPECT_EQ(x, 672.0f);
    EXPECT_EQ(unit, RESUNIT_NONE);
    EXPECT_EQ(compression, COMPRESSION_ADOBE_DEFLATE);
    EXPECT_EQ(predictor, PREDICTOR_NONE) << "ImageJ shows predicted Deflate files wrong";
}

}  // namespace
