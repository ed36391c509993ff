#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "files/PixelSizeNm.h"
#include "files/ResolutionTags.h"
#include "files/VendorPage.h"

namespace qvox {

class TiffHandle;

/// One kind of block in which a microscope's or camera's maker stores the pixel size.
struct VendorBlock {
    std::uint32_t tag;  ///< of the block, or of the first of its entries
    const char* name;   ///< in results: the note of a file whose pixel size it gave
    VendorAnswer (*read)(const VendorPage& page, std::uint32_t tag);
};

/// All of them, in the order in which they are queried.
const std::vector<VendorBlock>& VendorBlocks();

/// The pixel size by the private entries of a microscope's or camera's maker.
struct VendorFinding {
    std::optional<PixelSizeNm> size;
    ResolutionSource source = ResolutionSource::kNone;
    std::string note;  ///< which entry gave the size; or, of an entry that is there and gives none, why
};

/// Queries VendorBlocks on the page that the handle stands on; the first that gives a size counts. `description` is the
/// first page's ImageDescription, `tags` are the chosen page's.
VendorFinding FindVendorPixelSize(const TiffHandle& file, const std::string& description, const ResolutionTags& tags);

}  // namespace qvox
