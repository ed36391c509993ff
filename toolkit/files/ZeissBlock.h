#pragma once

#include <cstddef>
#include <optional>

#include "files/PixelSizeNm.h"

namespace qvox {

/// The pixel size of a Zeiss SmartSEM block, the Latin-1 text of the TIFF tag 34118: a line with a name, and below it
/// one like "Image Pixel Size = 4.466 nm". AP_IMAGE_PIXEL_SIZE counts; AP_PIXEL_SIZE, which is that of the screen and
/// differs where an image was stored in another size, only in blocks without the former. Nothing when the line is
/// absent, has no number and unit of length, or is not believable. `data` may be null when `size` is 0.
std::optional<PixelSizeNm> PixelSizeFromZeiss(const char* data, std::size_t size);

}  // namespace qvox
