#pragma once

#include <optional>
#include <string>

#include "files/ImageFile.h"
#include "files/PixelSizeNm.h"
#include "files/ResolutionTags.h"

namespace qvox {

class TiffHandle;

/// What the private entries of a microscope's or camera's maker say of the pixel size.
struct VendorFinding {
    std::optional<PixelSizeNm> size;
    ResolutionSource source = ResolutionSource::kNone;
    std::string note;  ///< which entry gave the size; or, of an entry that is there and gives none, why
};

/// Asks the entries of the page that the handle stands on, in this order: Olympus SIS, FEI, Zeiss, Gatan, JEOL, TVIPS.
/// The first that gives a size counts. `description` is the first page's ImageDescription, `tags` are the chosen
/// page's.
VendorFinding FindVendorPixelSize(const TiffHandle& file, const std::string& description, const ResolutionTags& tags);

}  // namespace qvox
