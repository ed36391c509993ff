#pragma once

#include <cstdint>

#include "files/ImageFile.h"
#include "files/TiffPage.h"

namespace qvox {

class TiffHandle;

/// The grey type of a colour page: kUint8 for RGB of interleaved 8-bit channels, with or without further ones, and
/// for an 8-bit palette, kUint16 for such RGB of 16 bits, kUnsupported for every other page, grey ones too.
VoxelType GreyTypeOf(const TiffPage& page);

/// Decodes a colour page as DecodePage does and writes it as grey: width x height voxels of GreyTypeOf(page). Throws
/// ToolkitError as DecodePage, and under kEqualChannels for an image whose channels differ, with the largest
/// difference. Of a palette only the colours that the image uses count.
void DecodeAsGrey(TiffHandle& file, const TiffPage& page, ColourRule rule, std::uint64_t heldBytes,
                  unsigned char* voxels);

}  // namespace qvox
