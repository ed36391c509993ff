#pragma once

#include <cstdint>
#include <optional>

#include "files/ByteReader.h"
#include "files/PixelSizeNm.h"

namespace qvox {

/// The pixel size of a TVIPS camera block of version 2, which starts at `offset`, the value of the TIFF tag 37706.
/// Layout, little-endian: int32 version at 0, float width and height of a pixel in nanometres at 2968 and 2972, and the
/// bytes AA AA AA AA at 6308, its end. Nothing when one of those is missing, for blocks of version 1 (which hold
/// camera pixel and magnification only) and for sizes that are not believable.
std::optional<PixelSizeNm> PixelSizeFromTvips(const ByteReader& read, std::uint64_t offset);

}  // namespace qvox
