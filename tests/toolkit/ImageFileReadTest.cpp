#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <zlib.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <random>

#include "files/ImageFile.h"
#include "files/StoredDescription.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using korvane_test::TiffKind;
using korvane_test::TiffOrder;
using qvox::VoxelImage;
using qvox::VoxelType;

class ImageFileRead : public ::testing::Test {
protected:
    template <typename T>
    VoxelImage<T> Load() {
        VoxelImage<T> image;
        qvox::LoadImageFile(path_, image);
        return image;
    }

    // The message with which the file is refused; a failure of the test when it is not.
    template <typename T>
    std::string Refusal() {
        try {
            Load<T>();
        } catch (const qvox::ToolkitError& error) {
            EXPECT_NE(std::string(error.what()).find(path_), std::string::npos) << error.what();
            return error.what();
        }
        ADD_FAILURE() << "the file was read";
        return "";
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("picture \xC3\xBC \xB5 #%.tif");
};

std::vector<int> Values(const VoxelImage<std::uint8_t>& image) { return {image.begin(), image.end()}; }
std::vector<int> Values(const VoxelImage<std::uint16_t>& image) { return {image.begin(), image.end()}; }

TEST_F(ImageFileRead, TakesBothByteOrdersAndBothKindsOfFile) {
    for (const TiffOrder order : {TiffOrder::kLittle, TiffOrder::kBig}) {
        for (const TiffKind kind : {TiffKind::kClassic, TiffKind::kBig}) {
            TiffBuilder file(order, kind);
            const std::string bytes =
                file.Number(1, 2) + file.Number(258, 2) + file.Number(65535, 2) + file.Number(77, 2);
            file.Page().Grey(2, 2, 16).AddPiece(bytes).Write(path_);
            EXPECT_EQ(Values(Load<std::uint16_t>()), (std::vector<int>{1, 258, 65535, 77}));
        }
    }
}

TEST_F(ImageFileRead, PutsTilesWhereTheyBelong) {
    TiffBuilder file;
    file.Page().Grey(20, 17, 8).Short(322, 16).Short(323, 16);
    for (int tile = 0; tile < 4; ++tile) file.AddPiece(std::string(256, static_cast<char>('a' + tile)));
    file.Write(path_);
    const auto image = Load<std::uint8_t>();
    EXPECT_EQ(image(15, 15), 'a');
    EXPECT_EQ(image(16, 15), 'b');
    EXPECT_EQ(image(15, 16), 'c');
    EXPECT_EQ(image(19, 16), 'd');
}

TEST_F(ImageFileRead, InvertsWhiteIsZero) {
    TiffBuilder().Page().Grey(3, 1, 8).Short(262, 0).AddPiece(std::string("\0\1\xFF", 3)).Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{255, 254, 0}));
    TiffBuilder().Page().Grey(2, 1, 16).Short(262, 0).AddPiece(std::string("\0\0\1\0", 4)).Write(path_);
    EXPECT_EQ(Values(Load<std::uint16_t>()), (std::vector<int>{65535, 65534}));
}

TEST(ImageFileReadStored, GivesTheNumbersOfAWhiteIsZeroFileAsTheyStand) {
    const TemporaryFolder folder;
    TiffBuilder file;
    file.Page().Grey(3, 1, 16).Short(262, 0).AddPiece(std::string("\x00\x00\x01\x00\xbc\x02", 6));
    file.Write(folder.File("a.tif"));
    qvox::LabelImage image;
    qvox::LoadImageFile(folder.File("a.tif"), image, qvox::StoredValues());
    EXPECT_EQ(std::vector<std::uint16_t>(image.begin(), image.end()), (std::vector<std::uint16_t>{0, 1, 700}));
    qvox::LoadImageFile(folder.File("a.tif"), image);
    EXPECT_EQ(std::vector<std::uint16_t>(image.begin(), image.end()),
              (std::vector<std::uint16_t>{65535, 65534, 64835}));
}

TEST_F(ImageFileRead, TakesAGreyPaletteThroughItsMap) {
    std::vector<std::uint16_t> map;
    for (int channel = 0; channel < 3; ++channel) {
        for (int i = 0; i < 256; ++i) map.push_back(static_cast<std::uint16_t>((255 - i) * 257));
    }
    TiffBuilder().Page().Grey(3, 1, 8).Short(262, 3).Shorts(320, map).AddPiece(std::string("\0\1\xFF", 3)).Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{255, 254, 0}));
    for (std::size_t i = 1; i < 7; ++i) map[i] = 0x8000;  // six annotation colours do no harm
    TiffBuilder()
        .Page()
        .Grey(3, 1, 8)
        .Short(262, 3)
        .Shorts(320, map)
        .AddPiece(std::string("\0\x09\xFF", 3))
        .Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{255, 246, 0}));
    for (std::size_t i = 0; i < 100; ++i) map[i] = 0;
    TiffBuilder().Page().Grey(3, 1, 8).Short(262, 3).Shorts(320, map).AddPiece("abc").Write(path_);
    EXPECT_EQ(qvox::ProbeVoxelType(path_), VoxelType::kUnsupported);
}

TEST_F(ImageFileRead, LeavesOutAThumbnailOnTheSecondPage) {
    TiffBuilder().Page().Grey(2, 2, 8).AddPiece("abcd").Page().Grey(1, 1, 8).Long(254, 1).AddPiece("x").Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'a', 'b', 'c', 'd'}));
}

TEST_F(ImageFileRead, PassesOverAPreviewOnTheFirstPage) {
    TiffBuilder().Page().Grey(1, 1, 8).Long(254, 1).AddPiece("x").Page().Grey(2, 1, 8).AddPiece("ab").Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'a', 'b'}));
    TiffBuilder()
        .Page()
        .Grey(1, 1, 8)
        .Shorts(258, {8, 8, 8})
        .Short(262, 2)
        .Short(277, 3)
        .AddPiece("rgb")
        .Page()
        .Grey(2, 1, 8)
        .AddPiece("cd")
        .Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'c', 'd'}));
}

TEST_F(ImageFileRead, AnRgbPictureWithAGreyThumbnailStaysRgb) {
    TiffBuilder()
        .Page()
        .Grey(2, 1, 8)
        .Shorts(258, {8, 8, 8})
        .Short(262, 2)
        .Short(277, 3)
        .AddPiece("rgbrgb")
        .Page()
        .Grey(1, 1, 8)
        .AddPiece("c")
        .Write(path_);
    EXPECT_EQ(qvox::ProbeVoxelType(path_), VoxelType::kRgb8);
}

TEST_F(ImageFileRead, AnInteger32FileHasAnotherCode) {
    TiffBuilder().Page().Grey(1, 1, 32).AddPiece("abcd").Write(path_);
    EXPECT_EQ(qvox::ProbeVoxelType(path_), VoxelType::kUint32);
    TiffBuilder().Page().Grey(1, 1, 32).Short(339, 2).AddPiece("abcd").Write(path_);
    EXPECT_EQ(qvox::ProbeVoxelType(path_), VoxelType::kInt32);
    EXPECT_NE(Refusal<float>().find("32-bit signed grey"), std::string::npos);
}

TEST_F(ImageFileRead, ALoopOfPagesEnds) {
    TiffBuilder().Page().Grey(1, 1, 8).Long(254, 1).AddPiece("x").Page().Grey(1, 1, 1).AddPiece("y").Loop().Write(
        path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'x'}));
    TiffBuilder().Page().Grey(1, 1, 8).Text(270, "ImageJ=1\nimages=9\n").AddPiece("x").Loop().Write(path_);
    EXPECT_FALSE(Refusal<std::uint8_t>().empty());
}

TEST_F(ImageFileRead, AStackIsReadAsPlanes) {
    TiffBuilder file;
    for (int page = 0; page < 6; ++page) {
        file.Page().Grey(1, 1, 8).AddPiece(std::string(1, static_cast<char>('a' + page)));
        if (page == 0) file.Text(270, "ImageJ=1.53t\nimages=6\nchannels=2\nslices=3\nhyperstack=true\n");
    }
    file.Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'a', 'c', 'e'}));
}

TEST_F(ImageFileRead, PagesWithoutAStatedStackAreOnePicture) {
    TiffBuilder().Page().Grey(1, 1, 8).AddPiece("a").Page().Grey(1, 1, 8).AddPiece("b").Write(path_);
    EXPECT_EQ(Values(Load<std::uint8_t>()), (std::vector<int>{'a'}));
}

TEST_F(ImageFileRead, ATruncatedFileIsRefusedAtEveryLength) {
    std::mt19937 random(1);
    VoxelImage<std::uint16_t> image = korvane_test::RandomImage<std::uint16_t>(random, 70, 130, 0, 65535);
    for (const auto compression : {qvox::TiffCompression::kNone, qvox::TiffCompression::kDeflate}) {
        qvox::SaveImageFile(path_, image, qvox::FileFormat::kTiff, compression);
        const auto size = std::filesystem::file_size(path_);
        for (std::uintmax_t length = size - 1; length > 20; length -= std::min<std::uintmax_t>(length, 211)) {
            std::filesystem::resize_file(path_, length);
            EXPECT_FALSE(Refusal<std::uint16_t>().empty()) << length;
        }
    }
    // The directory in front of the data: the file still opens.
    TiffBuilder file;
    file.Page().Grey(4, 4, 8).Long(273, 120).Long(279, 16).AddPiece("");
    std::string bytes = file.Bytes();
    bytes.resize(130, 'x');
    std::ofstream(path_, std::ios::binary) << bytes;
    EXPECT_NE(Refusal<std::uint8_t>().find("truncated"), std::string::npos);
}

TEST_F(ImageFileRead, HugeClaimsAreRefusedAtOnce) {
    for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{1, 5, 8, 32773}) {
        for (const std::uint32_t side : {100000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
            TiffBuilder().Page().Grey(side, side, 16).Short(259, compression).AddPiece("0123456789").Write(path_);
            EXPECT_FALSE(Refusal<std::uint16_t>().empty());
        }
        TiffBuilder()
            .Page()
            .Grey(1, 1, 8)
            .Short(259, compression)
            .Long(322, 1u << 20)
            .Long(323, 1u << 20)
            .AddPiece("0123456789")
            .Write(path_);
        EXPECT_FALSE(Refusal<std::uint8_t>().empty());
    }
}

TEST_F(ImageFileRead, BrokenCompressedDataAreRefused) {
    for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{5, 8, 32773, 32946}) {
        TiffBuilder()
            .Page()
            .Grey(40, 10, 8)
            .Short(259, compression)
            .AddPiece("nothing that can be unpacked")
            .Write(path_);
        EXPECT_FALSE(Refusal<std::uint8_t>().empty()) << compression;
    }
}

// The packed data of a last strip may be those of a whole one.
TEST_F(ImageFileRead, DeflateDataOfMoreThanTheStripAreReadToItsEnd) {
    for (const int level : {0, 1, 9}) {
        for (const std::size_t length : {401u, 658u, 5000u, 70000u}) {
            const std::string voxels(length, 'q');
            uLongf size = compressBound(static_cast<uLong>(length));
            std::string packed(size, '\0');
            compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(voxels.data()),
                      static_cast<uLong>(length), level);
            packed.resize(size);
            TiffBuilder().Page().Grey(40, 10, 8).Short(259, 8).AddPiece(packed).Write(path_);
            VoxelImage<std::uint8_t> image;
            image.Resize(40, 10, 1);
            std::fill(image.begin(), image.end(), std::uint8_t{1});
            qvox::LoadImageFile(path_, image);
            EXPECT_EQ(std::string(image.begin(), image.end()), voxels.substr(0, 400)) << level << ' ' << length;
            TiffBuilder().Page().Grey(20, 10, 16).Short(259, 8).Short(317, 2).AddPiece(packed).Write(path_);
            VoxelImage<std::uint16_t> first;
            VoxelImage<std::uint16_t> second;
            first.Resize(20, 10, 1);
            second.Resize(20, 10, 1);
            std::fill(first.begin(), first.end(), std::uint16_t{1});
            std::fill(second.begin(), second.end(), std::uint16_t{2});
            qvox::LoadImageFile(path_, first);
            qvox::LoadImageFile(path_, second);
            EXPECT_TRUE(korvane_test::SameVoxels(first, second)) << level << ' ' << length;
        }
    }
}

TEST_F(ImageFileRead, WhatIsNoTiffFileIsRefusedWithTheCause) {
    EXPECT_NE(Refusal<float>().find("No such file"), std::string::npos);
    std::ofstream(path_) << "";
    EXPECT_NE(Refusal<float>().find("empty"), std::string::npos);
    std::ofstream(path_) << "This is a text and not a picture.";
    EXPECT_NE(Refusal<float>().find("not a TIFF file"), std::string::npos);
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_NE(Refusal<float>().find("directory"), std::string::npos);
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_NE(Refusal<float>().find("regular file"), std::string::npos);
}

TEST_F(ImageFileRead, TextsComeAsDescription) {
    TiffBuilder()
        .Page()
        .Grey(1, 1, 8)
        .Text(270, "two\nlines = \xC2\xB5")
        .Text(305, "A")
        .Text(315, "")
        .Text(306, "2020")
        .AddPiece("x")
        .Write(path_);
    const auto image = Load<std::uint8_t>();
    const qvox::Description expected{
        {"ImageDescription", "two\nlines = \xC2\xB5"}, {"Software", "A"}, {"Artist", ""}, {"DateTime", "2020"}};
    EXPECT_EQ(image.Metadata(), expected);
    qvox::SaveImageFile(path_, image);
    EXPECT_EQ(Load<std::uint8_t>().Metadata(), expected);
}

std::uint16_t OrientationIn(const std::string& path) {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    std::uint16_t orientation = 0;
    TIFFGetField(tiff, TIFFTAG_ORIENTATION, &orientation);
    TIFFClose(tiff);
    return orientation;
}

TEST_F(ImageFileRead, TheOrientationIsKeptAndNotApplied) {
    for (std::uint16_t orientation = 0; orientation <= 9; ++orientation) {
        TiffBuilder().Page().Grey(2, 2, 8).Short(274, orientation).AddPiece("abcd").Write(path_);
        const auto image = Load<std::uint8_t>();
        EXPECT_EQ(Values(image), (std::vector<int>{'a', 'b', 'c', 'd'})) << orientation;
        const int known = orientation >= 1 && orientation <= 8 ? orientation : 1;
        EXPECT_EQ(image.Metadata().count("Orientation"), known == 1 ? 0u : 1u);
        qvox::SaveImageFile(path_, image);
        EXPECT_EQ(OrientationIn(path_), known);
        const auto again = Load<std::uint8_t>();
        EXPECT_EQ(again.Metadata(), image.Metadata());
        EXPECT_TRUE(korvane_test::SameVoxels(again, image));
    }
}

TEST_F(ImageFileRead, AnOrientationChangedByAnotherProgramCounts) {
    VoxelImage<std::uint8_t> image;
    image.Resize(3, 2, 1);
    image.Zero();
    image.SetMetadata({{"Orientation", "6"}});
    qvox::SaveImageFile(path_, image);
    const auto set = [this](std::uint16_t orientation) {
        TIFF* tiff = TIFFOpen(path_.c_str(), "r+");
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
        TIFFRewriteDirectory(tiff);
        TIFFClose(tiff);
    };
    set(8);
    EXPECT_EQ(Load<std::uint8_t>().Metadata().at("Orientation"), "8");
    set(1);
    EXPECT_TRUE(Load<std::uint8_t>().Metadata().empty());
    // Any map comes back, also one whose entry is no orientation.
    for (const char* value : {"1", "0", "12", "", "upright"}) {
        image.SetMetadata({{"Orientation", value}});
        qvox::SaveImageFile(path_, image);
        EXPECT_EQ(OrientationIn(path_), 1);
        EXPECT_EQ(Load<std::uint8_t>().Metadata().at("Orientation"), value);
    }
}

TEST_F(ImageFileRead, WhateverLoadsCanBeSaved) {
    constexpr std::size_t kMiB = std::size_t{1} << 20;
    std::string many = "ImageJ=1.11a\nqvox=1\n";
    for (unsigned i = 0; i < 9998; ++i) many += "qvox.entry." + std::to_string(i) + "=v\n";
    const struct {
        std::string description;
        std::string software;
        const char* kept;
    } cases[] = {
        {std::string(3 * kMiB - 10, '\n'), std::string(4 * kMiB - 100, '\n'), "ImageDescription"},
        {std::string(3 * kMiB - 10, '\n'), "A", "Software"},
        // Written by another program: bytes that are escaped here.
        {"ImageJ=1.11a\nqvox=1\nqvox.entry.a=b\nqvox.entry.c=" + std::string(9 * kMiB, '\xFF'), "", "a"},
        {many, "", "0"},
    };
    for (const auto& [description, software, kept] : cases) {
        TiffBuilder().Page().Grey(1, 1, 8).Text(270, description).Text(305, software).AddPiece("x").Write(path_);
        auto image = Load<std::uint8_t>();
        EXPECT_EQ(image.Metadata().count(kept), 1u) << kept;
        image.SetResolution({0.123456789f, 0.987654321f, 0.111111111f});
        image.SetOffset({-1.23456789e-30f, -1.23456789e-30f, -1.23456789e-30f});
        qvox::SaveImageFile(path_, image);
        EXPECT_EQ(Load<std::uint8_t>().Metadata(), image.Metadata()) << kept;
    }
}

// Such a piece is held whole: stored, and maybe decoded besides.
TEST_F(ImageFileRead, APieceThatTheLibraryUnpacksMayHaveSixteenMebibytesAndNoByteMore) {
    constexpr std::size_t kMost = std::size_t{16} << 20;
    const auto isTooLarge = [this](std::uint32_t height, std::size_t storedBytes) {
        const std::string stored(storedBytes, '\0');
        TiffBuilder().Page().Grey(4096, height, 8).Short(259, COMPRESSION_CCITTFAX4).AddPiece(stored).Write(path_);
        return Refusal<std::uint8_t>().find("are too large for their compression (4)") != std::string::npos;
    };
    EXPECT_FALSE(isTooLarge(4096, kMost));
    EXPECT_TRUE(isTooLarge(4096, kMost + 1));
    EXPECT_TRUE(isTooLarge(4097, 1000));
}

TEST_F(ImageFileRead, AnOwnDescriptionMayHaveTheLargestSizeAndNoByteMore) {
    const std::string head = "ImageJ=1.11a\nqvox=1\nqvox.entry.a=b\nother=";
    const auto write = [&](std::uint64_t bytes) {
        const std::string text = head + std::string(bytes - head.size(), 'v');
        TiffBuilder().Page().Grey(1, 1, 8).Text(270, text).AddPiece("x").Write(path_);
    };
    write(qvox::kLongestOwnDescription);
    EXPECT_EQ(Load<std::uint8_t>().Metadata(), (qvox::Description{{"a", "b"}}));
    write(qvox::kLongestOwnDescription + 1);
    EXPECT_NE(Refusal<std::uint8_t>().find("its description is too long"), std::string::npos);
}

// Written by the TIFF library itself, in every combination that it knows for grey pictures.
template <typename T>
void WriteWithLibrary(const std::string& path, const VoxelImage<T>& original, int compression, int predictor,
                      bool tiled) {
    VoxelImage<T> image(original);  // the library predicts in place
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(image.SizeX()));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(image.SizeY()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * sizeof(T)));
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, std::is_same_v<T, float> ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (predictor != 1) TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor);
    if (tiled) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 32);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
        for (std::uint32_t y = 0; y < image.SizeY(); y += 16) {
            for (std::uint32_t x = 0; x < image.SizeX(); x += 32) {
                std::vector<T> tile(32 * 16);
                for (std::uint32_t j = 0; j < 16 && y + j < image.SizeY(); ++j) {
                    for (std::uint32_t i = 0; i < 32 && x + i < image.SizeX(); ++i)
                        tile[j * 32 + i] = image(x + i, y + j);
                }
                ASSERT_GT(TIFFWriteTile(tiff, tile.data(), x, y, 0, 0), 0);
            }
        }
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 7);
        for (std::uint32_t y = 0; y < image.SizeY(); ++y) ASSERT_EQ(TIFFWriteScanline(tiff, image.Row(y), y, 0), 1);
    }
    TIFFClose(tiff);
}

template <typename T>
void CheckLibraryFiles(const std::string& path, std::initializer_list<int> predictors) {
    std::mt19937 random(9);
    const VoxelImage<T> image = korvane_test::RandomImage<T>(random, 45, 31, 0, 255);
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        const bool predicts = compression != COMPRESSION_NONE && compression != COMPRESSION_PACKBITS;
        for (const int predictor : predictors) {
            if (predictor != 1 && !predicts) continue;
            for (const bool tiled : {false, true}) {
                WriteWithLibrary(path, image, compression, predictor, tiled);
                VoxelImage<T> back;
                qvox::LoadImageFile(path, back);
                EXPECT_TRUE(korvane_test::SameVoxels(image, back)) << compression << ' ' << predictor << ' ' << tiled;
            }
        }
    }
}

TEST_F(ImageFileRead, EveryCompressionWithEveryPredictor) {
    CheckLibraryFiles<std::uint8_t>(path_, {1, 2});
    CheckLibraryFiles<std::uint16_t>(path_, {1, 2});
    CheckLibraryFiles<float>(path_, {1, 2, 3});
}

TEST_F(ImageFileRead, RandomDamageNeverDoesWorseThanARefusal) {
    std::mt19937 random(7);
    VoxelImage<std::uint8_t> image = korvane_test::RandomImage<std::uint8_t>(random, 30, 40, 0, 5);
    image.SetResolution({100.0f, 100.0f, 0.0f});
    qvox::SaveImageFile(path_, image);
    std::ifstream in(path_, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    int refused = 0;
    for (int round = 0; round < 1500; ++round) {
        std::string damaged = whole;
        for (unsigned n = 1 + random() % 4; n > 0; --n)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        std::ofstream(path_, std::ios::binary) << damaged;
        try {
            Load<std::uint8_t>();
        } catch (const qvox::ToolkitError& error) {
            ++refused;
            EXPECT_NE(std::string(error.what()).find(path_), std::string::npos);
        }
    }
    EXPECT_GT(refused, 100);
}

}  // namespace
