#pragma once

#include <cstdint>
#include <optional>

#include "files/ByteReader.h"
#include "files/PixelSizeNm.h"

namespace qvox {

/// The pixel size of an Olympus SIS (analySIS, iTEM) block, which starts at `offset`, the value of the TIFF tag 33560.
/// Layout, little-endian: "SIS0", time, date and name (54 bytes), int16 count of entries, and from byte 60 on, 8 bytes
/// each, int16 type, int16 count, uint32 file offset. The entry of type 1 leads to 10 bytes of something else, int16
/// exponent, double width, double height; the pixel is width x 10^exponent metres wide.
/// Nothing when the block does not begin with "SIS0" (programs that rewrite the file keep the tag, which then leads
/// anywhere), breaks off, has no such entry or holds no believable size. At most 1024 entries are looked at.
std::optional<PixelSizeNm> PixelSizeFromSis(const ByteReader& read, std::uint64_t offset);

}  // namespace qvox
