#pragma once

#include <cstdint>
#include <string>

namespace qvox {

/// Where the stored bytes of one strip or tile lie, and how they are packed.
struct StoredPiece {
    int file = -1;  ///< descriptor
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;
    std::uint16_t compression = 1;
    bool bitsReversed = false;  ///< FillOrder 2
    /// The memory that unpacking may take for Zstandard and LZMA, which want as much as their data ask for.
    std::uint64_t memory = std::uint64_t{48} << 20;
};

/// True for the compressions that UnpackPiece knows: LZW, Deflate, PackBits, Zstandard and LZMA.
bool CanUnpack(std::uint16_t compression);

/// Unpacks the first `count` bytes of a piece into `target`, reading the stored bytes in small chunks, so that neither
/// they nor what their packing claims to need are ever held as a whole: at most 1 MiB beside the target, for Zstandard
/// (with windows of up to 32 MiB) and LZMA the piece's memory. The bytes are as the packing gives them, prediction and
/// byte order not yet undone. Returns an empty text, or the cause when they are broken or fewer than asked for. Old
/// LZW, with its bits the other way round, is reported as a cause. LZW: T. Welch, "A technique for high-performance
/// data compression", 1984, in the form of TIFF 6.0.
std::string UnpackPiece(const StoredPiece& piece, unsigned char* target, std::uint64_t count);

}  // namespace qvox
