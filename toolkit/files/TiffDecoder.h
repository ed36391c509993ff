#pragma once

#include <cstdint>

#include "files/TiffPage.h"

namespace qvox {

class TiffHandle;

/// Checks that the file could hold the page at all: sizes within 64 bits, every strip or tile within the file, and no
/// more voxels than the stored bytes can expand to. Throws ToolkitError; allocates nothing that grows with the claims.
void CheckStorage(TiffHandle& file, const TiffPage& page);

/// Decodes the page that the handle stands on into `voxels`, width x height x VoxelBytes bytes, row by row, in this
/// machine's byte order, as stored (no inversion, no palette). Throws ToolkitError when any strip or tile is not whole.
/// Of the 64 MiB beside the image the caller holds `heldBytes`, which unpacking leaves to it.
void DecodePage(TiffHandle& file, const TiffPage& page, std::uint64_t heldBytes, unsigned char* voxels);

}  // namespace qvox
