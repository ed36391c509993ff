// What a load may take beside its picture: 64 MiB of address space, tried in processes that have no more.

#include <gtest/gtest.h>
#include <lzma.h>
#include <malloc.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "support/AddressSpace.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace {

using korvane_test::AddressSpace;
using korvane_test::kSanitized;
using korvane_test::LimitAddressSpace;
using korvane_test::TemporaryFolder;
using korvane_test::TiffBuilder;
using korvane_test::TiffKind;
using korvane_test::TiffOrder;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::uint64_t kAllowance = 64 * kMiB;

/// The voxel bytes of every picture here: noise that no packing makes smaller.
class Noise {
public:
    unsigned char Next() {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<unsigned char>(state_ >> 56);
    }

private:
    std::uint64_t state_ = 1;
};

std::string NoiseBytes(std::size_t count) {
    Noise noise;
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(noise.Next());
    return bytes;
}

enum class Ended { kLoaded, kRefused, kNoMemory, kWrongVoxels, kNoResolution, kOther };
enum class Check { kNothing, kNoise, kResolution };

template <typename T>
Ended LoadHere(const std::string& path, Check check) {
    try {
        qvox::VoxelImage<T> image;
        qvox::LoadImageFile(path, image);
        if (check == Check::kResolution && image.Resolution().x <= 0.0f) return Ended::kNoResolution;
        if (check != Check::kNoise) return Ended::kLoaded;
        Noise expected;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(image.begin());
        for (std::uint64_t i = 0; i < image.VoxelCount() * sizeof(T); ++i) {
            if (bytes[i] != expected.Next()) return Ended::kWrongVoxels;
        }
        return Ended::kLoaded;
    } catch (const qvox::ToolkitError& error) {
        std::printf("    %s\n", error.what());
        std::fflush(stdout);
        return Ended::kRefused;
    } catch (const std::bad_alloc&) {
        return Ended::kNoMemory;
    }
}

/// Loads in a process that may grow by so many bytes.
template <typename T>
Ended LoadGrowingBy(const std::string& path, std::uint64_t bytes, Check check) {
    malloc_trim(0);
    const pid_t child = fork();
    if (child == 0) {
        LimitAddressSpace(AddressSpace() + bytes);
        _exit(static_cast<int>(LoadHere<T>(path, check)));
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? static_cast<Ended>(WEXITSTATUS(status)) : Ended::kOther;
}

/// Loads in a process that may grow by the picture and 64 MiB.
template <typename T>
Ended LoadWithin(const std::string& path, std::uint64_t pictureBytes, Check check = Check::kNothing) {
    return LoadGrowingBy<T>(path, pictureBytes + kAllowance, check);
}

class FileMemory : public testing::Test {
protected:
    void SetUp() override {
        if (kSanitized) GTEST_SKIP() << "the sanitizers need address space of their own";
    }

    // One strip of noise, 5000 rows.
    void WriteStrip(std::uint16_t compression, std::uint16_t bits, const char* mode, std::uint64_t bytes) {
        TIFF* tiff = TIFFOpen(path_.c_str(), mode);
        ASSERT_NE(tiff, nullptr);
        constexpr std::uint32_t kHeight = 5000;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(bytes / kHeight * 8 / bits));
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
        if (compression == COMPRESSION_LZMA) TIFFSetField(tiff, TIFFTAG_LZMAPRESET, 1);
        if (compression == COMPRESSION_ADOBE_DEFLATE) TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, 1);
        if (compression == COMPRESSION_ZSTD) TIFFSetField(tiff, TIFFTAG_ZSTD_LEVEL, 1);
        std::string voxels = NoiseBytes(bytes / kHeight * kHeight);
        ASSERT_GT(TIFFWriteEncodedStrip(tiff, 0, voxels.data(), static_cast<tmsize_t>(voxels.size())), 0);
        TIFFClose(tiff);
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.File("memory.tif");
};

// Each has more stored bytes than the allowance.
TEST_F(FileMemory, OneStripOfManyBytesIsReadWithoutHoldingIt) {
    constexpr std::uint64_t kBytes = 68 * kMiB / 10000 * 10000;
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_ZSTD}) {
        WriteStrip(static_cast<std::uint16_t>(compression), 8, "w", kBytes);
        EXPECT_EQ(LoadWithin<std::uint8_t>(path_, kBytes, Check::kNoise), Ended::kLoaded) << compression;
    }
    WriteStrip(COMPRESSION_ADOBE_DEFLATE, 16, "wb", kBytes);
    EXPECT_EQ(LoadWithin<std::uint16_t>(path_, kBytes, Check::kNoise), Ended::kLoaded);
    // Noise becomes larger here.
    constexpr std::uint64_t kLzwBytes = 52 * kMiB / 5000 * 5000;
    WriteStrip(COMPRESSION_LZW, 8, "w", kLzwBytes);
    EXPECT_GT(std::filesystem::file_size(path_), 66 * kMiB);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, kLzwBytes, Check::kNoise), Ended::kLoaded);
}

TEST_F(FileMemory, AnLzmaStripIsReadWithinTheAllowance) {
    constexpr std::uint64_t kBytes = 4 * kMiB / 5000 * 5000;
    WriteStrip(COMPRESSION_LZMA, 8, "w", kBytes);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, kBytes, Check::kNoise), Ended::kLoaded);
}

TEST_F(FileMemory, ALargeGreyJpegIsReadUnlessItIsProgressive) {
    constexpr std::uint32_t kWidth = 5000;
    constexpr std::uint32_t kHeight = 4000;
    TIFF* tiff = TIFFOpen(path_.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    std::string row(kWidth, 'a');
    for (std::uint32_t x = 0; x < kWidth; ++x) row[x] = static_cast<char>(x / 40);
    for (std::uint32_t y = 0; y < kHeight; ++y) ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), y, 0), 1);
    TIFFClose(tiff);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, std::uint64_t{kWidth} * kHeight), Ended::kLoaded);
    // The frame's marker says what kind it is.
    std::ifstream in(path_, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    const std::size_t frame = bytes.find("\xFF\xC0");
    ASSERT_NE(frame, std::string::npos);
    bytes[frame + 1] = '\xC2';
    std::ofstream(path_, std::ios::binary) << bytes;
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, std::uint64_t{kWidth} * kHeight), Ended::kRefused);
}

/// Writes two tiles of 16 MiB beside each other, the second cut by the picture's border. `setFields` adds fields.
template <typename SetFields>
void WriteLargeTiles(const std::string& path, std::uint16_t compression, std::string tile, SetFields setFields) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 4096 * 2 - 5);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 4096);
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 4096);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, 4096);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    setFields(tiff);
    for (std::uint32_t i = 0; i < 2; ++i) {
        ASSERT_GT(TIFFWriteEncodedTile(tiff, i, tile.data(), static_cast<tmsize_t>(tile.size())), 0);
    }
    TIFFClose(tiff);
}

TEST_F(FileMemory, TilesOfSixteenMebibytesAreReadWithinTheAllowance) {
    WriteLargeTiles(path_, COMPRESSION_LZW, NoiseBytes(4096 * 4096), [](TIFF*) {});
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 32 * kMiB), Ended::kLoaded);
}

TEST_F(FileMemory, TilesTextsAndUnpackingTogetherStayWithinTheAllowance) {
    const std::string longest = "ImageJ=1\nqvox=1\nqvox.entry.a=" + std::string(9 * kMiB, 'x');
    const std::string foreign(3 * kMiB - 100, 'x');
    const struct {
        std::uint16_t compression;
        int level;  // of LZMA: dictionaries of 8 and 32 MiB; of Zstandard: windows of 8 and 32 MiB
        const std::string& text;
        Ended expected;
    } cases[] = {
        {COMPRESSION_LZMA, 8, foreign, Ended::kLoaded},  {COMPRESSION_LZMA, 6, longest, Ended::kLoaded},
        {COMPRESSION_LZMA, 8, longest, Ended::kRefused}, {COMPRESSION_ZSTD, 20, foreign, Ended::kLoaded},
        {COMPRESSION_ZSTD, 19, longest, Ended::kLoaded}, {COMPRESSION_ZSTD, 20, longest, Ended::kRefused},
        {COMPRESSION_LZW, 0, longest, Ended::kLoaded},
    };
    for (const auto& [compression, level, text, expected] : cases) {
        WriteLargeTiles(path_, compression, std::string(4096 * 4096, 't'),
                        [c = compression, l = level, &words = text](TIFF* tiff) {
                            if (c == COMPRESSION_LZMA) TIFFSetField(tiff, TIFFTAG_LZMAPRESET, l);
                            if (c == COMPRESSION_ZSTD) TIFFSetField(tiff, TIFFTAG_ZSTD_LEVEL, l);
                            TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, words.c_str());
                        });
        EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 32 * kMiB), expected) << compression << ' ' << level;
    }
}

TEST_F(FileMemory, AStripForEachOfManyRowsIsReadWithinTheAllowance) {
    constexpr std::uint32_t kRows = 1u << 20;
    TIFF* tiff = TIFFOpen(path_.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 2);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kRows);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    char row[] = "ab";
    for (std::uint32_t y = 0; y < kRows; ++y) TIFFWriteScanline(tiff, row, y, 0);
    TIFFClose(tiff);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 2 * kRows), Ended::kLoaded);
}

// Entries of a page that all lead to the same bytes.
TEST_F(FileMemory, EntriesThatShareTheirBytesAreNotAllKept) {
    TiffBuilder file;
    file.Page().Grey(2, 2, 8);
    const std::string shared(4 * kMiB, 'k');
    file.AddPiece("abcd" + shared);
    std::string bytes = file.Bytes();
    // The entries are written by hand: the builder stores each value of its own.
    std::string directory = file.Number(7 + 2000, 2);
    const auto entry = [&](std::uint16_t tag, std::uint16_t type, std::uint64_t count, std::uint64_t value) {
        directory += file.Number(tag, 2) + file.Number(type, 2) + file.Number(count, 4) + file.Number(value, 4);
    };
    entry(256, 4, 1, 2);
    entry(257, 4, 1, 2);
    entry(258, 3, 1, 8);
    entry(259, 3, 1, 1);
    entry(262, 3, 1, 1);
    entry(273, 4, 1, 8);
    entry(279, 4, 1, 4);
    for (unsigned i = 0; i < 2000; ++i) entry(static_cast<std::uint16_t>(40000 + i), i % 2 == 0 ? 1 : 2, 3 * kMiB, 12);
    directory += file.Number(0, 4);
    if (bytes.size() % 2 != 0) bytes += '\0';
    bytes.replace(4, 4, file.Number(bytes.size(), 4));
    bytes += directory;
    std::ofstream(path_, std::ios::binary) << bytes;
    const Ended many = LoadWithin<std::uint8_t>(path_, 4);
    EXPECT_EQ(many, Ended::kRefused);
    // Fewer of them are passed over; the picture is read.
    const std::size_t at = bytes.size() - directory.size();
    bytes.replace(at, 2, file.Number(7 + 900, 2));
    std::memset(&bytes[at + 2 + 12 * 907], 0, 4);
    std::ofstream(path_, std::ios::binary) << bytes;
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 4), Ended::kLoaded);
}

// A hundred reduced pages 4 pixels wide and, behind them, a full one of 8; each has a private entry of so many bytes,
// all the same ones.
std::string ManyPages(std::uint64_t entryBytes) {
    const TiffBuilder number;
    std::string bytes = "II" + number.Number(42, 2) + number.Number(0, 4) + std::string(3 * kMiB, 'p');
    std::size_t link = 4;
    for (unsigned page = 0; page <= 100; ++page) {
        bytes.replace(link, 4, number.Number(bytes.size(), 4));
        const bool last = page == 100;
        const std::uint64_t entries[][4] = {{254, 4, 1, last ? 0u : 1u},
                                            {256, 4, 1, last ? 8u : 4u},
                                            {257, 4, 1, last ? 1u : 2u},
                                            {258, 3, 1, 8},
                                            {259, 3, 1, 1},
                                            {262, 3, 1, 1},
                                            {273, 4, 1, 8},
                                            {279, 4, 1, 8},
                                            {40000, 7, entryBytes, 8}};
        bytes += number.Number(std::size(entries), 2);
        for (const auto& entry : entries) {
            bytes += number.Number(entry[0], 2) + number.Number(entry[1], 2) + number.Number(entry[2], 4) +
                     number.Number(entry[3], 4);
        }
        link = bytes.size();
        bytes += number.Number(0, 4);
    }
    return bytes;
}

TEST_F(FileMemory, PagesThatShareTooManyBytesAreNotAllWalked) {
    std::ofstream(path_, std::ios::binary) << ManyPages(1000);
    EXPECT_EQ(qvox::InspectImageFile(path_).sizeX, 8u);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 8), Ended::kLoaded);
    std::ofstream(path_, std::ios::binary) << ManyPages(2 * kMiB);
    EXPECT_EQ(qvox::InspectImageFile(path_).sizeX, 4u);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 8), Ended::kLoaded);
}

TEST_F(FileMemory, LongTextsAreReadWithinTheAllowance) {
    const auto nested = [](const std::string& head, const std::string& part, std::size_t length) {
        std::string text = head;
        while (text.size() + part.size() < length) text += part;
        return text;
    };
    const std::string ome = "<OME><Image><Pixels PhysicalSizeX=\"1\"/>";
    const std::string closed = "</Image></OME>";
    std::string imageJ = "ImageJ=1\n";
    for (unsigned i = 0; imageJ.size() < 3 * kMiB - 100; ++i) imageJ += std::to_string(i) + "=\n";
    std::string own = "ImageJ=1\nqvox=1\n";
    for (unsigned i = 0; own.size() < 9 * kMiB; ++i) own += "qvox.entry." + std::to_string(i) + "=\n";
    const struct {
        std::string text;
        Check check;
    } cases[] = {
        {nested(ome, "<a/>", 3 * kMiB - 100), Check::kNothing},
        {nested(ome, "<a/>", 2 * kMiB - 100) + closed, Check::kResolution},
        {nested(ome + "<x ", "b='' ", 2 * kMiB - 100) + "/>" + closed, Check::kResolution},
        {nested("<TemReporter>", "<a/>", 2 * kMiB - 100) + "</TemReporter>", Check::kNothing},
        {imageJ, Check::kNothing},
        {"ImageJ=1\nqvox=1\nqvox.entry.a=" + std::string(9 * kMiB, 'x'), Check::kNothing},
        {own, Check::kNothing},
        {std::string(3 * kMiB - 100, 'x'), Check::kNothing},
    };
    for (const auto& [text, check] : cases) {
        TiffBuilder file;
        file.Page().Grey(2, 2, 8).Text(270, text).AddPiece("abcd").Write(path_);
        EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 4, check), Ended::kLoaded) << text.substr(0, 60);
    }
    TiffBuilder tooLong;
    for (const std::uint64_t length : {4 * kMiB, 20 * kMiB}) {
        tooLong = TiffBuilder();
        tooLong.Page().Grey(2, 2, 8).Text(270, std::string(length, 'x')).AddPiece("abcd").Write(path_);
        EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 4), Ended::kRefused);
    }
}

// An intact file is never told to be a broken one, however little memory there is.
TEST_F(FileMemory, WantOfMemoryIsToldAsSuch) {
    constexpr std::uint64_t kBytes = 3 * kMiB / 5000 * 5000;
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE,
                                  COMPRESSION_ZSTD, COMPRESSION_LZMA}) {
        WriteStrip(static_cast<std::uint16_t>(compression), 8, "w", kBytes);
        Ended ended = Ended::kNoMemory;
        for (std::uint64_t bytes = 0; bytes < kBytes + kAllowance && ended == Ended::kNoMemory; bytes += kMiB / 8) {
            ended = LoadGrowingBy<std::uint8_t>(path_, bytes, Check::kNoise);
        }
        EXPECT_EQ(ended, Ended::kLoaded) << compression;
    }
}

TEST_F(FileMemory, NothingIsLeftOutForWantOfMemory) {
    // A colour preview, and entries of the picture that matter.
    TiffBuilder file;
    const std::string noise = NoiseBytes(kMiB);
    file.Page().Grey(1, 1, 8).Shorts(258, {8, 8, 8}).Short(262, 2).Short(277, 3).AddPiece("rgb");
    file.Text(270, "ImageJ=1.53t\nunit=nm\n" + std::string(2 * kMiB, 'x'));
    file.Page().Grey(1024, 1024, 8).Rational(282, 1, 2).Rational(283, 1, 2);
    file.Text(305, std::string(2 * kMiB, 's')).AddPiece(noise).Write(path_);
    for (const Check check : {Check::kNoise, Check::kResolution}) {
        Ended ended = Ended::kNoMemory;
        for (std::uint64_t bytes = 0; bytes < kAllowance && ended == Ended::kNoMemory; bytes += kMiB / 16) {
            ended = LoadGrowingBy<std::uint8_t>(path_, bytes, check);
        }
        EXPECT_EQ(ended, Ended::kLoaded);
    }
}

TEST_F(FileMemory, APackingThatWantsALargeWindowIsRefused) {
    // A Zstandard frame of a window of 512 MiB; an LZMA stream of a dictionary of 1.5 GiB would be stopped the same
    // way.
    const std::string frame("\x28\xB5\x2F\xFD\x00\x98\x01\x00\x00", 9);
    TiffBuilder file;
    file.Page().Grey(16, 16, 8).Short(259, COMPRESSION_ZSTD).AddPiece(frame + std::string(64, '\0')).Write(path_);
    EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 256), Ended::kRefused);
}

std::string LzmaStream(const std::string& bytes, std::uint32_t dictionaryBytes) {
    lzma_options_lzma options;
    lzma_lzma_preset(&options, 0);
    options.dict_size = dictionaryBytes;
    lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    std::string stream(lzma_stream_buffer_bound(bytes.size()), '\0');
    std::size_t used = 0;
    const lzma_ret state = lzma_stream_buffer_encode(
        filters, LZMA_CHECK_NONE, nullptr, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
        reinterpret_cast<std::uint8_t*>(stream.data()), &used, stream.size());
    EXPECT_EQ(state, LZMA_OK);
    stream.resize(used);
    return stream;
}

TEST_F(FileMemory, AnLzmaDictionaryOfFortyEightMebibytesIsTooLarge) {
    for (const auto& [mebibytes, expected] : {std::pair{32u, Ended::kLoaded}, std::pair{48u, Ended::kRefused}}) {
        const std::string strip = LzmaStream("abcd", static_cast<std::uint32_t>(mebibytes * kMiB));
        TiffBuilder().Page().Grey(2, 2, 8).Short(259, COMPRESSION_LZMA).AddPiece(strip).Write(path_);
        EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 4), expected) << mebibytes;
    }
}

TEST_F(FileMemory, AnAbsurdClaimOfATinyFileIsRefusedBeforeAnythingIsAllocated) {
    for (const TiffKind kind : {TiffKind::kClassic, TiffKind::kBig}) {
        for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{1, 5, 7, 8, 32773, 34925, 50000}) {
            TiffBuilder file(TiffOrder::kLittle, kind);
            file.Page().Grey(0x80000000u, 0x80000000u, 8).Short(259, compression).AddPiece("x");
            ASSERT_LT(file.Bytes().size(), 260u);
            file.Write(path_);
            EXPECT_EQ(LoadWithin<std::uint8_t>(path_, 0), Ended::kRefused) << compression;
        }
    }
}

}  // namespace
