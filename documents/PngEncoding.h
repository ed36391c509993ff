#pragma once

#include <cstdint>
#include <string>

#include "VoxelImage.h"

namespace Korvane {

/// The bytes of a PNG file with this image, 8 bits a channel, its pixel size where both axes have one, and as Exif the
/// orientation of one that is not upright. The same image always gives the same bytes. Throws ToolkitError for an image
/// of several planes or none, and where the library fails.
std::string EncodePng(const qvox::VoxelImage<qvox::Rgb8>& image);
std::string EncodePng(const qvox::VoxelImage<std::uint8_t>& image);

}  // namespace Korvane
