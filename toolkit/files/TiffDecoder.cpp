#include "files/TiffDecoder.h"

#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "files/PieceStream.h"
#include "files/Predictor.h"
#include "files/TiffHandle.h"

namespace qvox {

namespace {

// A load may hold 64 MiB in all beside its image: the lists of strips, one tile, the stored bytes of one
// strip or tile, and what unpacking them takes.
constexpr std::uint64_t kAllowance = std::uint64_t{64} << 20;
constexpr std::uint64_t kLargestTile = std::uint64_t{16} << 20;
constexpr std::uint64_t kMostStored = std::uint64_t{16} << 20;
constexpr std::uint64_t kLongestPredictedRow = std::uint64_t{16} << 20;

// The strips or tiles of a page: `across` of them side by side, each width x height voxels when whole.
struct Pieces {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t across = 1;
    std::uint32_t down = 1;
    bool tiled = false;
    std::uint64_t unpackerMemory = 0;  ///< the memory that unpacking one of them may take

    std::uint64_t Count() const { return std::uint64_t{across} * down; }
};

std::uint32_t CeilDivide(std::uint32_t a, std::uint32_t b) { return a / b + (a % b != 0 ? 1 : 0); }

Pieces PiecesOf(TiffHandle& file, const TiffPage& page) {
    TIFF* tiff = file.Get();
    Pieces pieces;
    pieces.tiled = TIFFIsTiled(tiff) != 0;
    if (pieces.tiled) {
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &pieces.width);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &pieces.height);
    } else {
        pieces.width = page.width;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &pieces.height);
        pieces.height = std::min(pieces.height, page.height);
    }
    if (pieces.width == 0 || pieces.height == 0) file.FailReading("its strips or tiles have no size");
    pieces.across = CeilDivide(page.width, pieces.width);
    pieces.down = CeilDivide(page.height, pieces.height);
    const std::uint64_t stored = pieces.tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    if (stored != pieces.Count()) file.FailReading("its strips or tiles do not cover the picture");
    return pieces;
}

// The memory left for unpacking a piece when a load holds everything else: the entries and two lists of
// strips by the library, one tile, what the caller has, and the buffers and code of reading.
std::uint64_t UnpackerMemory(const TiffPage& page, const Pieces& pieces, std::uint64_t heldBytes) {
    constexpr std::uint64_t kMost = std::uint64_t{48} << 20;
    constexpr std::uint64_t kBuffers = std::uint64_t{2} << 20;
    const std::uint64_t tile = pieces.tiled ? std::uint64_t{pieces.width} * pieces.height * page.VoxelBytes() : 0;
    const std::uint64_t lists = pieces.Count() * 2 * sizeof(std::uint64_t);
    const std::uint64_t held =
        TiffSource::kMostEntryBytes + kBuffers + std::min(tile, kLargestTile) + lists + heldBytes;
    return held < kAllowance ? std::min(kMost, kAllowance - held) : 0;
}

// The most that one stored byte can become.
std::uint64_t LargestExpansion(std::uint16_t compression) {
    switch (compression) {
        case COMPRESSION_NONE:
            return 1;
        case COMPRESSION_PACKBITS:
            return 64;
        case COMPRESSION_LZW:
            return 2731;  // 4096 bytes by a 12-bit code
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:
            return 1032;
        case COMPRESSION_JPEG:
        case COMPRESSION_OJPEG:
            return 512;  // 64 voxels by two bits, twice that to be sure
        default:
            return 1u << 16;
    }
}

std::string Name(const Pieces& pieces, std::uint64_t index) {
    return (pieces.tiled ? "tile " : "strip ") + std::to_string(index + 1) + " of " + std::to_string(pieces.Count());
}

void CheckPiece(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index) {
    const std::uint64_t offset = TIFFGetStrileOffset(file.Get(), index);
    std::uint64_t bytes = TIFFGetStrileByteCount(file.Get(), index);
    const std::uint32_t row = index / pieces.across * pieces.height;
    const std::uint64_t rows = pieces.tiled ? pieces.height : std::min(pieces.height, page.height - row);
    const std::uint64_t needed = rows * pieces.width * page.VoxelBytes();
    const std::uint64_t expansion = LargestExpansion(page.compression);
    // Some writers give the last, shorter strip the size of a whole one.
    if (page.compression == COMPRESSION_NONE) bytes = std::min(bytes, needed);
    if (offset > file.FileBytes() || bytes > file.FileBytes() - offset) {
        file.FailReading("the file is truncated: " + Name(pieces, index) + " lies beyond its end");
    }
    if (needed / expansion > bytes) {
        file.FailReading("the picture is incomplete: " + Name(pieces, index) + " has too few bytes");
    }
}

// True when the frame of a JPEG stream is a sequential one, which its decoder does not need to hold: the first marker
// of a frame tells (ITU-T T.81, 1992, table B.1).
bool IsSequentialJpeg(const TiffHandle& file, std::uint64_t offset) {
    constexpr unsigned kMostSegments = 1000;
    const ByteReader read = file.Reader();
    offset += 2;
    for (unsigned i = 0; i < kMostSegments; ++i) {
        unsigned char head[4];
        if (read(offset, head, sizeof head) != sizeof head || head[0] != 0xFF) return false;
        const bool isFrame =
            head[1] >= 0xC0 && head[1] <= 0xCF && head[1] != 0xC4 && head[1] != 0xC8 && head[1] != 0xCC;
        if (isFrame) return head[1] <= 0xC1;
        if (head[1] == 0xDA) return false;
        offset += 2u + (std::uint64_t{head[2]} << 8 | head[3]);
    }
    return false;
}

// Decoders other than those that unpack here want all stored bytes of a piece at once, and some hold it decoded
// besides.
void CheckMemory(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index) {
    if (page.compression == COMPRESSION_NONE || CanUnpack(page.compression)) return;
    const std::uint64_t decoded = std::uint64_t{pieces.width} * pieces.height * page.VoxelBytes();
    const bool isGreyJpeg = page.compression == COMPRESSION_JPEG && page.samples == 1;
    const bool heldDecoded =
        decoded > kMostStored && !(isGreyJpeg && IsSequentialJpeg(file, TIFFGetStrileOffset(file.Get(), index)));
    if (TIFFGetStrileByteCount(file.Get(), index) > kMostStored || heldDecoded) {
        file.FailReading("its strips or tiles are too large for their compression (" +
                         std::to_string(page.compression) + "): " + Name(pieces, index) + " has " +
                         std::to_string(decoded >> 20) + " MiB, 16 MiB is the most");
    }
}

// Where its data end early, the JPEG decoder makes up the missing rows and merely warns.
bool Invented(const TiffHandle& file, const TiffPage& page) {
    if (page.compression != COMPRESSION_JPEG && page.compression != COMPRESSION_OJPEG) return false;
    return file.LastWarning().find("remature end") != std::string::npos;
}

bool IsDeflate(const TiffPage& page) {
    return page.compression == COMPRESSION_ADOBE_DEFLATE || page.compression == COMPRESSION_DEFLATE;
}

// Where Deflate data hold more than the piece, the library's fast decoder stops before the code that does not fit and
// leaves the end as it was, without a word. The mark is larger than a voxel, whose bytes may be swapped.
constexpr unsigned char kMark = 0xA5;
constexpr std::uint64_t kMarkBytes = 8;

void MarkEnd(unsigned char* bytes, std::uint64_t count) {
    const std::uint64_t marked = std::min(count, kMarkBytes);
    std::memset(bytes + (count - marked), kMark, marked);
}

bool MayBeMarked(const unsigned char* bytes, std::uint64_t count) {
    return std::memchr(bytes + (count - std::min(count, kMarkBytes)), kMark, std::min(count, kMarkBytes)) != nullptr;
}

// True for the packings whose own memory is not bounded by the library, and for pieces whose stored bytes it would hold
// as a whole although they are many.
bool UnpacksHere(TiffHandle& file, const TiffPage& page, std::uint32_t index) {
    if (!CanUnpack(page.compression)) return false;
    const bool hungry = page.compression == COMPRESSION_ZSTD || page.compression == COMPRESSION_LZMA;
    std::uint16_t predictor = PREDICTOR_NONE;
    TIFFGetField(file.Get(), TIFFTAG_PREDICTOR, &predictor);
    // Bytes that the library left out could no longer be told after prediction has been undone.
    const bool predicted = IsDeflate(page) && predictor != PREDICTOR_NONE;
    return hungry || predicted || TIFFGetStrileByteCount(file.Get(), index) > kMostStored;
}

void UnpackInto(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index, unsigned char* bytes,
                std::uint64_t count) {
    std::uint16_t predictor = PREDICTOR_NONE;
    std::uint16_t fillOrder = FILLORDER_MSB2LSB;
    TIFFGetField(file.Get(), TIFFTAG_PREDICTOR, &predictor);
    TIFFGetFieldDefaulted(file.Get(), TIFFTAG_FILLORDER, &fillOrder);
    StoredRows rows;
    rows.rowBytes = pieces.width * page.VoxelBytes();
    rows.rows = count / rows.rowBytes;
    rows.sampleBytes = page.bits / 8u;
    rows.samples = page.samples;
    rows.predictor = page.compression == COMPRESSION_PACKBITS ? PREDICTOR_NONE : predictor;
    rows.swapped = TIFFIsByteSwapped(file.Get()) != 0;
    const bool known = rows.predictor >= PREDICTOR_NONE && rows.predictor <= PREDICTOR_FLOATINGPOINT &&
                       (rows.predictor != PREDICTOR_FLOATINGPOINT || page.sampleFormat == SAMPLEFORMAT_IEEEFP);
    if (!known) file.FailReading("its predictor (" + std::to_string(predictor) + ") is not known here");
    StoredPiece piece;
    piece.file = file.Descriptor();
    piece.offset = TIFFGetStrileOffset(file.Get(), index);
    piece.bytes = TIFFGetStrileByteCount(file.Get(), index);
    piece.compression = page.compression;
    piece.bitsReversed = fillOrder == FILLORDER_LSB2MSB;
    piece.memory = pieces.unpackerMemory;
    const std::string trouble = UnpackPiece(piece, bytes, count);
    if (!trouble.empty()) {
        file.FailReading("the picture data are broken or incomplete in " + Name(pieces, index) + " (" + trouble + ")");
    }
    UndoPrediction(rows, bytes);
}

void DecodeByLibrary(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index,
                     unsigned char* bytes, std::uint64_t count) {
    const auto size = static_cast<tmsize_t>(count);
    const tmsize_t done = pieces.tiled ? TIFFReadEncodedTile(file.Get(), index, bytes, size)
                                       : TIFFReadEncodedStrip(file.Get(), index, bytes, size);
    if (done != size || !file.FirstError().empty() || Invented(file, page)) {
        file.ThrowIfOutOfMemory(std::min(kMostStored, TIFFGetStrileByteCount(file.Get(), index)));
        file.FailReading("the picture data are broken or incomplete in " + Name(pieces, index));
    }
}

std::uint64_t HashOf(const unsigned char* bytes, std::uint64_t count) {
    std::uint64_t hash = 14695981039346656037u;  // FNV-1a
    for (std::uint64_t i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 1099511628211u;
    return hash;
}

// For packings that only the library knows, of which JPEG is the one in use. On broken data its decoder may leave bytes
// as they were and say that all went well. So the bytes are decoded over two fillings and have to come out the same.
void DecodeTwice(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index,
                 unsigned char* bytes, std::uint64_t count) {
    std::memset(bytes, 0, count);
    DecodeByLibrary(file, page, pieces, index, bytes, count);
    const std::uint64_t hash = HashOf(bytes, count);
    std::memset(bytes, 0xFF, count);
    DecodeByLibrary(file, page, pieces, index, bytes, count);
    if (HashOf(bytes, count) != hash) {
        file.FailReading("the picture data are broken or incomplete in " + Name(pieces, index));
    }
}

void DecodeInto(TiffHandle& file, const TiffPage& page, const Pieces& pieces, std::uint32_t index, unsigned char* bytes,
                std::uint64_t count) {
    file.ForgetMessages();
    if (UnpacksHere(file, page, index)) {
        UnpackInto(file, page, pieces, index, bytes, count);
        return;
    }
    if (IsDeflate(page)) MarkEnd(bytes, count);
    if (!CanUnpack(page.compression) && page.compression != COMPRESSION_NONE) {
        DecodeTwice(file, page, pieces, index, bytes, count);
    } else {
        DecodeByLibrary(file, page, pieces, index, bytes, count);
    }
    if (IsDeflate(page) && MayBeMarked(bytes, count)) UnpackInto(file, page, pieces, index, bytes, count);
}

void DecodeTiles(TiffHandle& file, const TiffPage& page, const Pieces& pieces, unsigned char* voxels) {
    const std::uint64_t voxelBytes = page.VoxelBytes();
    const std::uint64_t rowBytes = page.width * voxelBytes;
    const std::uint64_t tileRow = pieces.width * voxelBytes;
    const std::uint64_t tileBytes = tileRow * pieces.height;
    std::unique_ptr<unsigned char[]> tile;
    for (std::uint32_t down = 0; down < pieces.down; ++down) {
        const std::uint64_t y = std::uint64_t{down} * pieces.height;
        const std::uint64_t rows = std::min<std::uint64_t>(pieces.height, page.height - y);
        for (std::uint32_t across = 0; across < pieces.across; ++across) {
            const std::uint32_t index = down * pieces.across + across;
            unsigned char* target = voxels + y * rowBytes + across * tileRow;
            if (tileRow == rowBytes && rows == pieces.height) {
                DecodeInto(file, page, pieces, index, target, tileBytes);
                continue;
            }
            if (tileBytes > kLargestTile) file.FailReading("its tiles are too large for their picture");
            if (!tile) tile.reset(new unsigned char[tileBytes]);
            DecodeInto(file, page, pieces, index, tile.get(), tileBytes);
            const std::uint64_t bytes = std::min(tileRow, rowBytes - across * tileRow);
            for (std::uint64_t row = 0; row < rows; ++row) {
                std::memcpy(target + row * rowBytes, tile.get() + row * tileRow, bytes);
            }
        }
    }
}

}  // namespace

void CheckStorage(TiffHandle& file, const TiffPage& page) {
    if (page.width == 0 || page.height == 0) file.FailReading("the picture has no pixels");
    if (TIFFIsCODECConfigured(page.compression) == 0) {
        file.FailReading("its compression (" + std::to_string(page.compression) + ") is not known here");
    }
    const Pieces pieces = PiecesOf(file, page);
    const std::uint64_t rows = pieces.tiled ? std::uint64_t{pieces.height} * pieces.down : page.height;
    std::uint64_t needed = 0;
    const bool tooMuch =
        __builtin_mul_overflow(std::uint64_t{pieces.width} * pieces.across, page.VoxelBytes(), &needed) ||
        __builtin_mul_overflow(needed, rows, &needed);
    if (tooMuch || needed / LargestExpansion(page.compression) > file.FileBytes()) {
        file.FailReading("the file is truncated or broken: it claims " + std::to_string(page.width) + " x " +
                         std::to_string(page.height) + " pixels, which its " + std::to_string(file.FileBytes()) +
                         " bytes cannot hold");
    }
    std::uint16_t predictor = PREDICTOR_NONE;
    TIFFGetField(file.Get(), TIFFTAG_PREDICTOR, &predictor);
    if (predictor == PREDICTOR_FLOATINGPOINT && pieces.width * page.VoxelBytes() > kLongestPredictedRow) {
        file.FailReading("its rows are too long for their predictor");
    }
    for (std::uint32_t index = 0; index < pieces.Count(); ++index) {
        CheckPiece(file, page, pieces, index);
        CheckMemory(file, page, pieces, index);
    }
}

void DecodePage(TiffHandle& file, const TiffPage& page, std::uint64_t heldBytes, unsigned char* voxels) {
    Pieces pieces = PiecesOf(file, page);
    pieces.unpackerMemory = UnpackerMemory(page, pieces, heldBytes);
    if (pieces.tiled) {
        DecodeTiles(file, page, pieces, voxels);
        return;
    }
    const std::uint64_t rowBytes = page.width * page.VoxelBytes();
    for (std::uint32_t index = 0; index < pieces.down; ++index) {
        const std::uint64_t y = std::uint64_t{index} * pieces.height;
        const std::uint64_t rows = std::min<std::uint64_t>(pieces.height, page.height - y);
        DecodeInto(file, page, pieces, index, voxels + y * rowBytes, rows * rowBytes);
    }
}

}  // namespace qvox
