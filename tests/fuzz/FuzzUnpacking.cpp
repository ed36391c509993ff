// Strips that are unpacked as they are read.

#include <tiff.h>

#include <cstdint>
#include <string>
#include <vector>

#include "files/PieceStream.h"
#include "files/Predictor.h"
#include "fuzz/FuzzSupport.h"

namespace korvane_test {

// The first byte chooses the packing and the order of bits, the second how the voxels stand in the bytes.
void FuzzUnpacking(const std::uint8_t* bytes, std::size_t count) {
    if (count < 3) return;
    constexpr std::uint16_t kPackings[] = {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS,
                                           COMPRESSION_ZSTD, COMPRESSION_LZMA};
    qvox::StoredPiece piece;
    piece.file = FileDescriptorWith(bytes, count);
    piece.offset = 2;
    piece.bytes = count - 2;
    piece.compression = kPackings[bytes[0] % 5];
    piece.bitsReversed = bytes[0] >= 128;
    qvox::StoredRows rows;
    rows.sampleBytes = 1u << (bytes[1] % 3);
    rows.samples = bytes[1] & 4u ? 3 : 1;
    rows.predictor = 1 + (bytes[1] >> 3) % 3;
    rows.swapped = bytes[1] >= 128;
    rows.rowBytes = std::uint64_t{rows.sampleBytes} * rows.samples * 61;
    rows.rows = 40;
    // A buffer of exactly that many bytes, so that a step beyond its end is seen; twice, with other bytes in it before.
    std::vector<unsigned char> first(rows.rowBytes * rows.rows, 0x5A);
    std::vector<unsigned char> second(first.size(), 0xA5);
    const std::string trouble = qvox::UnpackPiece(piece, first.data(), first.size());
    Promise(qvox::UnpackPiece(piece, second.data(), second.size()) == trouble, "the same bytes give the same cause");
    if (!trouble.empty()) return;
    Promise(first == second, "every byte is unpacked, whatever was there before");
    qvox::UndoPrediction(rows, first.data());
}

}  // namespace korvane_test
