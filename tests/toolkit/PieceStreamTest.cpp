// Strips unpacked here, a chunk at a time, against the TIFF library's own decoding of the same file.

#include "files/PieceStream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "files/Predictor.h"
#include "support/TemporaryFolder.h"

namespace {

using korvane_test::TemporaryFolder;

struct Form {
    std::uint16_t compression;
    std::uint16_t bits;
    std::uint16_t samples;
    int predictor;
    const char* mode;  ///< of the library: byte order
    std::uint16_t fillOrder = FILLORDER_MSB2LSB;
};

std::string Describe(const Form& form) {
    return "compression " + std::to_string(form.compression) + ", " + std::to_string(form.samples) + " x " +
           std::to_string(form.bits) + " bits, predictor " + std::to_string(form.predictor) + ", mode " + form.mode +
           ", fill order " + std::to_string(form.fillOrder);
}

constexpr std::uint32_t kWidth = 173;
constexpr std::uint32_t kHeight = 90;

// Noise, long runs, and a repeating text, so that every branch of the packings is taken.
std::string Voxels(std::size_t count, unsigned kind) {
    std::mt19937 random(kind + 1);
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        const bool noise = kind == 0 || (kind == 3 && (i / 700) % 2 == 0);
        bytes[i] = noise ? static_cast<char>(random()) : kind == 1 ? static_cast<char>(i / 1000) : "korvane"[i % 7];
    }
    return bytes;
}

class PieceStream : public testing::Test {
protected:
    ~PieceStream() override {
        if (tiff_ != nullptr) TIFFClose(tiff_);
        if (fd_ >= 0) close(fd_);
    }

    // Writes one strip and opens the file both ways.
    void Write(const Form& form, std::string voxels) {
        if (tiff_ != nullptr) TIFFClose(tiff_);
        if (fd_ >= 0) close(fd_);
        TIFF* tiff = TIFFOpen(path_.c_str(), form.mode);
        ASSERT_NE(tiff, nullptr);
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, form.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, form.samples);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, form.bits == 32 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, form.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, form.compression);
        TIFFSetField(tiff, TIFFTAG_FILLORDER, form.fillOrder);
        if (form.predictor != 1) TIFFSetField(tiff, TIFFTAG_PREDICTOR, form.predictor);
        ASSERT_GT(TIFFWriteEncodedStrip(tiff, 0, voxels.data(), static_cast<tmsize_t>(voxels.size())), 0);
        TIFFClose(tiff);
        tiff_ = TIFFOpen(path_.c_str(), "r");
        fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        piece_.file = fd_;
        piece_.offset = TIFFGetStrileOffset(tiff_, 0);
        piece_.bytes = TIFFGetStrileByteCount(tiff_, 0);
        piece_.compression = form.compression;
        piece_.bitsReversed = form.fillOrder == FILLORDER_LSB2MSB;
        rows_.rowBytes = std::uint64_t{kWidth} * form.bits / 8 * form.samples;
        rows_.rows = kHeight;
        rows_.sampleBytes = form.bits / 8u;
        rows_.samples = form.samples;
        rows_.predictor = form.predictor;
        rows_.swapped = TIFFIsByteSwapped(tiff_) != 0;
    }

    std::string Here() {
        std::string bytes(rows_.rowBytes * rows_.rows, 'x');
        auto* const target = reinterpret_cast<unsigned char*>(bytes.data());
        EXPECT_EQ(qvox::UnpackPiece(piece_, target, bytes.size()), "");
        qvox::UndoPrediction(rows_, target);
        return bytes;
    }

    std::string ByTheLibrary() {
        std::string bytes(rows_.rowBytes * rows_.rows, 'y');
        const auto size = static_cast<tmsize_t>(bytes.size());
        EXPECT_EQ(TIFFReadEncodedStrip(tiff_, 0, bytes.data(), size), size);
        return bytes;
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.File("piece.tif");
    TIFF* tiff_ = nullptr;
    int fd_ = -1;
    qvox::StoredPiece piece_;
    qvox::StoredRows rows_;
};

using Numbers = std::initializer_list<std::uint16_t>;

const std::uint16_t kPackings[] = {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_ZSTD,
                                   COMPRESSION_LZMA};

TEST_F(PieceStream, GivesTheLibrarysBytesForEveryPackingDepthPredictorAndByteOrder) {
    std::size_t compared = 0;
    for (const std::uint16_t compression : kPackings) {
        ASSERT_TRUE(qvox::CanUnpack(compression));
        ASSERT_NE(TIFFIsCODECConfigured(compression), 0) << compression;
        for (const std::uint16_t bits : Numbers{8, 16, 32}) {
            for (const int predictor : {1, 2, 3}) {
                if (predictor == 3 && bits != 32) continue;
                if (predictor != 1 && compression == COMPRESSION_PACKBITS) continue;
                for (const char* mode : {"w", "wb"}) {
                    for (const std::uint16_t samples : Numbers{1, 3}) {
                        if (samples == 3 && bits != 8) continue;
                        const Form form{compression, bits, samples, predictor, mode};
                        SCOPED_TRACE(Describe(form));
                        for (unsigned kind = 0; kind < 4; ++kind) {
                            Write(form, Voxels(std::size_t{kWidth} * kHeight * bits / 8 * samples, kind));
                            ASSERT_EQ(Here() == ByTheLibrary(), true) << "kind " << kind;
                            ++compared;
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(compared, 200u);
}

TEST_F(PieceStream, TurnsTheBitsOfAFileThatHasThemTheOtherWayRound) {
    for (const std::uint16_t compression : Numbers{COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        Write({compression, 8, 1, 1, "w", FILLORDER_LSB2MSB}, Voxels(std::size_t{kWidth} * kHeight, 3));
        EXPECT_EQ(Here() == ByTheLibrary(), true) << compression;
    }
}

TEST_F(PieceStream, EveryCutIsReported) {
    for (const std::uint16_t compression : kPackings) {
        SCOPED_TRACE(compression);
        Write({compression, 8, 1, 1, "w"}, Voxels(std::size_t{kWidth} * kHeight, 3));
        std::string bytes(std::size_t{kWidth} * kHeight, '\0');
        auto* const target = reinterpret_cast<unsigned char*>(bytes.data());
        const std::uint64_t whole = piece_.bytes;
        // The last bytes are the end mark and the check sum of some packings.
        for (std::uint64_t left = 0; left + 40 < whole; left += 97) {
            piece_.bytes = left;
            EXPECT_NE(qvox::UnpackPiece(piece_, target, bytes.size()), "") << left << " of " << whole;
        }
        // Fewer bytes than there are can be asked for, not more.
        piece_.bytes = whole;
        EXPECT_EQ(qvox::UnpackPiece(piece_, target, 100), "");
        std::string more(bytes.size() + 1, '\0');
        EXPECT_NE(qvox::UnpackPiece(piece_, reinterpret_cast<unsigned char*>(more.data()), more.size()), "");
    }
}

}  // namespace
